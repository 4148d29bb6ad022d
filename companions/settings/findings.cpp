#include "findings.h"

#include <stdarg.h>
#include <stdio.h>

#include "wrapped_text.h"

void Findings::add(std::string_view key, std::string_view section, const char* what, ...)
{
    constexpr size_t room_for_place = 512;
    constexpr size_t indent = 4;
    char text[4096]; // a value and its name fit twice
    ++count_;
    int used = 0;
    if (file_ != nullptr) {
        const unsigned long line = line_ != 0 ? line_ : settings_.line_of(key, section);
        used = line != 0 ? snprintf(text, room_for_place, "%s:%lu: ", file_, line)
                         : snprintf(text, room_for_place, "%s: ", file_);
        used = used < static_cast<int>(room_for_place) ? used : static_cast<int>(room_for_place) - 1;
    }
    used += snprintf(text + used, sizeof text - static_cast<size_t>(used), "%.*s@%.*s: ", static_cast<int>(key.size()),
                     key.data(), static_cast<int>(section.size()), section.data());
    va_list values;
    va_start(values, what);
    vsnprintf(text + used, sizeof text - static_cast<size_t>(used), what, values);
    va_end(values);
    write_wrapped(text, 0, indent);
    putchar('\n');
}

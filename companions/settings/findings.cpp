#include "findings.h"

#include <stdarg.h>
#include <stdio.h>

void Findings::add(std::string_view key, std::string_view section, const char* what, ...)
{
    ++count_;
    printf("%.*s@%.*s: ", static_cast<int>(key.size()), key.data(), static_cast<int>(section.size()), section.data());
    va_list values;
    va_start(values, what);
    vprintf(what, values);
    va_end(values);
    putchar('\n');
}

#include "store_message.h"

#include <stdarg.h>
#include <stdio.h>
#include <syslog.h>
#include <unistd.h>

#include "setting_name.h"

namespace {

constexpr size_t message_capacity = 4096;
constexpr size_t shown_capacity = 2048;

bool on_stderr = false;

} // namespace

void store_messages_to_stderr()
{
    on_stderr = true;
}

void store_message(const char* format, ...)
{
    char text[message_capacity] = "ccfg: ";
    constexpr size_t prefix = 6;
    va_list values;
    va_start(values, format);
    const int wanted = vsnprintf(text + prefix, sizeof text - prefix - 1, format, values);
    va_end(values);
    if (wanted < 0)
        return;
    size_t size = prefix + static_cast<size_t>(wanted);
    if (size > sizeof text - 2)
        size = sizeof text - 2;
    if (!on_stderr) {
        text[size] = '\0';
        syslog(LOG_DAEMON | LOG_ERR, "%s", text);
        return;
    }
    text[size] = '\n';
    // One call, so that lines of several invocations do not mix; there is nobody to tell when it fails.
    if (write(STDERR_FILENO, text, size + 1) < 0)
        return;
}

const char* printable(std::string_view text)
{
    static char shown[shown_capacity];
    const size_t size = text.size() < sizeof shown - 1 ? text.size() : sizeof shown - 1;
    for (size_t i = 0; i < size; ++i)
        shown[i] = is_control(text[i]) ? '?' : text[i];
    shown[size] = '\0';
    return shown;
}

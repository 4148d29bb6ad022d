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

[[gnu::format(printf, 1, 0)]] void say(const char* format, va_list values, bool in_log)
{
    char text[message_capacity] = "ccfg: ";
    constexpr size_t prefix = 6;
    const int wanted = vsnprintf(text + prefix, sizeof text - prefix - 1, format, values);
    if (wanted < 0)
        return;
    size_t size = prefix + static_cast<size_t>(wanted);
    if (size > sizeof text - 2)
        size = sizeof text - 2;
    text[size] = '\0';
    if (in_log)
        syslog(LOG_DAEMON | LOG_ERR, "%s", text);
    text[size] = '\n';
    // One call, so that lines of several invocations do not mix; there is nobody to tell when it fails.
    if (on_stderr && write(STDERR_FILENO, text, size + 1) < 0)
        return;
}

} // namespace

void store_messages_to_stderr()
{
    on_stderr = true;
}

void store_message(const char* format, ...)
{
    va_list values;
    va_start(values, format);
    say(format, values, !on_stderr);
    va_end(values);
}

void store_warning(const char* format, ...)
{
    va_list values;
    va_start(values, format);
    say(format, values, true);
    va_end(values);
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

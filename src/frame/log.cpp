#include "log.h"

#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <limits>
#include <sys/sysinfo.h>

#include "files.h"

// The formats were checked against their values where they were written (printf_format.h).
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

namespace {

constexpr char log_path[] = "/tmp/ipv6.log";
constexpr char console_path[] = "/dev/console";
constexpr std::size_t line_size = 1536;
constexpr std::size_t longest_name = 64;

// "[name][uptime] ", which every line begins with, without a walk through a format. Returns its end.
char* write_prefix(char* to, const char* name)
{
    const std::size_t length = strnlen(name, longest_name);
    *to++ = '[';
    std::memcpy(to, name, length);
    to += length;
    *to++ = ']';
    *to++ = '[';
    char digits[std::numeric_limits<unsigned long>::digits10 + 1];
    char* const digits_end = digits + sizeof digits;
    char* digit = digits_end;
    auto rest = static_cast<unsigned long>(uptime_seconds());
    do
        *--digit = static_cast<char>('0' + rest % 10);
    while ((rest /= 10) != 0);
    while (digit < digits_end)
        *to++ = *digit++;
    *to++ = ']';
    *to++ = ' ';
    return to;
}

// Every line opens the log anew, so that it costs no look at what was opened: a link is refused and a FIFO waits for
// nobody. The console is a terminal, which takes a text when it can.
constexpr int log_flags = O_APPEND | O_NOFOLLOW | O_NONBLOCK;
constexpr int console_flags = O_NOCTTY;

int open_to_write(const char* path, int flags)
{
    return open(path, O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0644);
}

void append_line(const char* path, int flags, const char* name, const char* format, std::va_list values)
{
    char line[line_size];
    char* const message = write_prefix(line, name);
    const FileDescriptor file(open_to_write(path, flags));
    if (!file.is_open())
        return;
    vsnprintf(message, static_cast<std::size_t>(line + sizeof line - 1 - message), format, values);
    char* const end = message + std::strlen(message);
    *end = '\n';
    file.write(line, static_cast<std::size_t>(end + 1 - line));
}

} // namespace

long uptime_seconds()
{
    struct sysinfo info = {};
    sysinfo(&info);
    return info.uptime;
}

void log_formatted(const char* name, const char* format, ...)
{
    std::va_list values;
    va_start(values, format);
    append_line(log_path, log_flags, name, format, values);
    va_end(values);
}

void console_formatted(const char* name, const char* format, ...)
{
    std::va_list values;
    va_start(values, format);
    append_line(console_path, console_flags | O_APPEND, name, format, values);
    va_end(values);
}

int my_printf_formatted(const char* format, ...)
{
    if (format == nullptr)
        return 0;
    const FileDescriptor console(open_to_write(console_path, console_flags | O_TRUNC));
    if (!console.is_open())
        return 0;

    char message[512];
    char& last = message[sizeof message - 1];
    last = '\0';
    std::va_list values;
    va_start(values, format);
    const int length = vsnprintf(message, sizeof message, format, values);
    va_end(values);
    if (last != '\0') {
        constexpr char note[] = "NOTE: my_printf() overflow!!!\n";
        console.write(note, sizeof note - 1);
    }
    last = '\0';
    console.write(message, std::strlen(message));
    return length;
}

// The diagnostic log and the console.
#pragma once

#include "text.h"

// Seconds since boot, as sysinfo(2) tells.
long uptime_seconds();

// Appends one finished text behind the prefix "[name][uptime] " and a line end to /tmp/ipv6.log or /dev/console. A file
// that cannot be opened drops the line. Lines above 1535 bytes are cut, the line end kept.
void log_formatted(const char* name, const char* format, ...);
void console_formatted(const char* name, const char* format, ...);

// Opens the console anew, writes one text of at most 511 bytes. Returns what vsnprintf(3) reports, 0 when the format is
// null or the console cannot be opened.
int my_printf_formatted(const char* format, ...);

// One line of the diagnostic log. `name` is the reporting routine; the line end is added here.
template <class... A>
void log_line(const char* name, FormatFor<A...> format, const A&... values)
{
    log_formatted(name, format.text, printf_value(values)...);
}

// The same line, on the console.
template <class... A>
void console_line(const char* name, FormatFor<A...> format, const A&... values)
{
    console_formatted(name, format.text, printf_value(values)...);
}

// A console message without a prefix; `format` carries its own line end.
template <class... A>
int my_printf(FormatFor<A...> format, const A&... values)
{
    return my_printf_formatted(format.text, printf_value(values)...);
}

// The console's highlight: bold red, and back.
inline constexpr char color_start[] = "\033[1;31m";
inline constexpr char color_reset[] = "\033[0m";

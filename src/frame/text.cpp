#include "text.h"

#include <cstdio>

// The formats were checked against their values where they were written (printf_format.h).
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

bool copy_text(char* to, std::size_t size, const char* from, std::size_t length)
{
    const bool cut = length >= size;
    if (cut)
        length = size - 1;
    std::memmove(to, from, length);
    to[length] = '\0';
    return cut;
}

bool append_text(char* to, std::size_t size, const char* from, std::size_t length)
{
    const std::size_t used = std::strlen(to);
    return copy_text(to + used, size - used, from, length);
}

bool print_text(char* to, std::size_t size, const char* format, ...)
{
    std::va_list values;
    va_start(values, format);
    const bool cut = print_values(to, size, format, values);
    va_end(values);
    return cut;
}

bool print_values(char* to, std::size_t size, const char* format, std::va_list values)
{
    const int length = vsnprintf(to, size, format, values);
    return length < 0 || static_cast<std::size_t>(length) >= size;
}

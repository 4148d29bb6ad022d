// printf formats that are checked against their values when the program is compiled.
//
// The variadic routines of the C library see only machine words; this header makes a format that does not fit its
// values a compile error, also for Text, and hands the values on unchanged.
#pragma once

#include <cstddef>
#include <type_traits>

template <std::size_t N>
class Text;

enum class PrintfKind : unsigned char { text, integer, unsigned_integer, long_integer };

template <class T>
struct PrintfKindOf;
template <>
struct PrintfKindOf<const char*> {
    static constexpr PrintfKind kind = PrintfKind::text;
};
template <>
struct PrintfKindOf<char*> {
    static constexpr PrintfKind kind = PrintfKind::text;
};
template <std::size_t N>
struct PrintfKindOf<char[N]> {
    static constexpr PrintfKind kind = PrintfKind::text;
};
template <std::size_t N>
struct PrintfKindOf<Text<N>> {
    static constexpr PrintfKind kind = PrintfKind::text;
};
template <>
struct PrintfKindOf<int> {
    static constexpr PrintfKind kind = PrintfKind::integer;
};
template <>
struct PrintfKindOf<unsigned> {
    static constexpr PrintfKind kind = PrintfKind::unsigned_integer;
};
template <>
struct PrintfKindOf<long> {
    static constexpr PrintfKind kind = PrintfKind::long_integer;
};

inline const char* printf_value(const char* value)
{
    return value;
}
inline int printf_value(int value)
{
    return value;
}
inline unsigned printf_value(unsigned value)
{
    return value;
}
inline long printf_value(long value)
{
    return value;
}
template <std::size_t N>
const char* printf_value(const Text<N>& value)
{
    return value.c_str();
}

// Never defined: calling it makes a constant expression fail, with this name in the compiler's message.
void format_and_values_do_not_match();

// Walks `format` and fails to compile unless its conversions are exactly `kinds`, in order. Known conversions: s, d, u,
// x, X and ld, each with an optional zero flag and width.
consteval void check_printf_format(const char* format, const PrintfKind* kinds, std::size_t count)
{
    std::size_t used = 0;
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at != '%')
            continue;
        ++at;
        if (*at == '%')
            continue;
        while (*at >= '0' && *at <= '9')
            ++at;
        PrintfKind wanted = PrintfKind::text;
        if (*at == 's')
            wanted = PrintfKind::text;
        else if (*at == 'd')
            wanted = PrintfKind::integer;
        else if (*at == 'u' || *at == 'x' || *at == 'X')
            wanted = PrintfKind::unsigned_integer;
        else if (*at == 'l' && at[1] == 'd') {
            wanted = PrintfKind::long_integer;
            ++at;
        } else
            format_and_values_do_not_match();
        if (used == count || kinds[used] != wanted)
            format_and_values_do_not_match();
        ++used;
    }
    if (used != count)
        format_and_values_do_not_match();
}

template <class... A>
struct PrintfFormat {
    const char* text;

    consteval PrintfFormat(const char* format) : text(format) // NOLINT(google-explicit-constructor)
    {
        constexpr PrintfKind kinds[] = {PrintfKindOf<A>::kind..., PrintfKind::text};
        check_printf_format(format, kinds, sizeof...(A));
    }
};

// The format parameter of a routine template whose values are `const A&...`.
template <class... A>
using FormatFor = PrintfFormat<std::type_identity_t<A>...>;

#include "frame/printf_format.h"

#include <gtest/gtest.h>
#include <string>

#include "frame/shell.h"
#include "frame/text.h"

namespace {

// A format as a type, because only a type can be refused without ending the compilation.
template <std::size_t N>
struct Literal {
    char text[N];

    consteval Literal(const char (&literal)[N]) // NOLINT(google-explicit-constructor)
    {
        for (std::size_t i = 0; i < N; ++i)
            text[i] = literal[i];
    }
};

template <Literal format, class... A>
constexpr bool fits = requires
{
    typename std::bool_constant<(static_cast<void>(PrintfFormat<A...>(format.text)), true)>;
};

// The same for a shell line's template.
template <Literal format, class... A>
constexpr bool fits_shell = requires
{
    typename std::bool_constant<(static_cast<void>(ShellFormat<A...>(format.text)), true)>;
};

static_assert(fits_shell<"ip -6 route add %s/%d via %s metric %u", Text<46>, int, const char*, unsigned>);
static_assert(!fits_shell<"%02x", unsigned>, "the composer takes no width");
static_assert(!fits_shell<"%4s", const char*>, "the composer takes no width");
static_assert(!fits_shell<"%ld", long>, "the composer takes no long");
static_assert(!fits_shell<"date +%%s">, "the composer has no percent sign of its own");

// No value of any kind makes the format's one conversion known.
template <Literal format>
constexpr bool is_unknown =
    !fits<format, const char*> && !fits<format, int> && !fits<format, unsigned> && !fits<format, long>;

template <class T>
constexpr bool is_printable = requires
{
    PrintfKindOf<T>::kind;
};

static_assert(fits<"">);
static_assert(fits<"no conversion">);
static_assert(fits<"100%%">);
static_assert(fits<"%s", const char*>);
static_assert(fits<"%s", char*>);
static_assert(fits<"%s", char[8]>);
static_assert(fits<"%s", Text<46>>);
static_assert(fits<"%4s:%20s", Text<5>, const char*>);
static_assert(fits<"%d", int>);
static_assert(fits<"%u %x %X %02x %08x", unsigned, unsigned, unsigned, unsigned, unsigned>);
static_assert(fits<"%ld", long>);
static_assert(fits<"%s/%d via %s", Text<46>, int, const char*>);

static_assert(!fits<"%d", const char*>, "a text is no number");
static_assert(!fits<"%d", Text<8>>, "a bounded text is no number");
static_assert(!fits<"%s", int>, "a number is no text");
static_assert(!fits<"%x", int>, "%x reads an unsigned number");
static_assert(!fits<"%d", unsigned>, "%d reads a signed number");
static_assert(!fits<"%d", long>, "a long may be wider than %d reads");
static_assert(!fits<"%ld", int>, "an int may be narrower than %ld reads");
static_assert(!fits<"%s">, "a value is missing");
static_assert(!fits<"%s %s", const char*>, "the second value is missing");
static_assert(!fits<"", int>, "a value is left over");
static_assert(!fits<"%d", int, int>, "the second value is left over");
static_assert(!fits<"%%", int>, "a percent sign takes no value");
static_assert(!fits<"%s %d", int, const char*>, "the values are in the wrong order");
static_assert(!fits<"%*d", int, int>, "a width is no value");
static_assert(!is_unknown<"%d"> && !is_unknown<"%s"> && !is_unknown<"%X"> && !is_unknown<"%ld">);
static_assert(is_unknown<"%f"> && is_unknown<"%c"> && is_unknown<"%p"> && is_unknown<"%n"> && is_unknown<"%i">);
static_assert(is_unknown<"%lu"> && is_unknown<"%lx"> && is_unknown<"%lld"> && is_unknown<"%hd"> && is_unknown<"%zu">);
static_assert(is_unknown<"%-4s"> && is_unknown<"%+d"> && is_unknown<"% d"> && is_unknown<"%#x"> && is_unknown<"%.4s">);
static_assert(is_unknown<"%"> && is_unknown<"%l"> && is_unknown<"%08">, "a conversion is cut off");

static_assert(!is_printable<double>);
static_assert(!is_printable<bool>);
static_assert(!is_printable<char>);
static_assert(!is_printable<short>);
static_assert(!is_printable<std::string>);
static_assert(!is_printable<const void*>);

} // namespace

TEST(PrintfFormatTest, hands_values_on_unchanged)
{
    Text<8> text;
    text = "abc";
    const char* const literal = "def";
    EXPECT_EQ(printf_value(text), text.c_str());
    EXPECT_EQ(printf_value(literal), literal);
    EXPECT_EQ(printf_value(-1), -1);
    EXPECT_EQ(printf_value(4000000000U), 4000000000U);
    EXPECT_EQ(printf_value(-1L), -1L);
}

TEST(PrintfFormatTest, keeps_the_text_of_a_format)
{
    constexpr PrintfFormat<int> format("number %d");
    EXPECT_STREQ(format.text, "number %d");
}

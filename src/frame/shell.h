// Shell lines: composed from a fixed template and values, run, logged.
//
// A value can never become more than one word of the line: that is the composer's work, not its callers'. Nothing else
// in the program reaches the device's shell calls.
#pragma once

#include "text.h"

struct ShellValue {
    ShellValue(const char* value) : text(value), number(0) {}    // NOLINT(google-explicit-constructor)
    ShellValue(int value) : text(nullptr), number(value) {}      // NOLINT(google-explicit-constructor)
    ShellValue(unsigned value) : text(nullptr), number(value) {} // NOLINT(google-explicit-constructor)

    const char* text; // null for a number
    long long number;
};

// Composes `format` with `values` into `line` of `size` bytes. %s takes a text, %d and %u a number. A text that is
// empty or made of A-Z a-z 0-9 _ @ % + = : , . / - only goes in as it is; any other one is quoted for its place:
// outside quotes in single quotes, inside double quotes with a backslash before \ " $ and `, inside single quotes with
// each ' spliced out. Returns false when the line does not fit; `line` then holds its beginning.
bool compose_shell_line(char* line, std::size_t size, const char* format, const ShellValue* values, std::size_t count);

// Fails to compile for a template with anything but plain %s, %d and %u.
consteval void check_shell_format(const char* format)
{
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at == '%' && at[1] != 's' && at[1] != 'd' && at[1] != 'u')
            format_and_values_do_not_match();
    }
}

template <class... A>
struct ShellFormat : PrintfFormat<A...> {
    consteval ShellFormat(const char* format) : PrintfFormat<A...>(format) // NOLINT(google-explicit-constructor)
    {
        check_shell_format(format);
    }
};

// The template parameter of a routine whose values are `const A&...`.
template <class... A>
using ShellFormatFor = ShellFormat<std::type_identity_t<A>...>;

// 1023 bytes hold every line of the program with each value at its full capacity.
inline constexpr std::size_t shell_line_size = 1024;

// A composed line.
class ShellLine {
public:
    template <class... A>
    explicit ShellLine(ShellFormatFor<A...> format, const A&... values)
    {
        const ShellValue list[] = {ShellValue(printf_value(values))..., ShellValue(0)};
        fits_ = compose_shell_line(line_, sizeof line_, format.text, list, sizeof...(A));
    }

    const char* c_str() const { return line_; }
    bool fits() const { return fits_; }

private:
    char line_[shell_line_size];
    bool fits_;
};

// Runs a line and logs it with its status. Returns that status (see osSystem), -1 for a line that did not fit, which is
// logged and not run.
int zel_system(const ShellLine& line);

// Composes a line as compose_shell_line does and runs it. Returns as zel_system does. For run_shell, which has checked
// the values.
int run_composed(const char* format, const ShellValue* values, std::size_t count);

// Composes a line and runs it. Returns as zel_system does.
template <class... A>
int run_shell(ShellFormatFor<A...> format, const A&... values)
{
    const ShellValue list[] = {ShellValue(printf_value(values))..., ShellValue(0)};
    return run_composed(format.text, list, sizeof...(A));
}

// Runs a line and copies its standard output, cut to `size` - 1 bytes, into `output`. Returns the number of bytes,
// negative when the line could not be run; `output` then holds what the device's call left in it.
int shell_output(const ShellLine& line, char* output, std::size_t size);

// How a shell line is put together from its template and values (shell.h).
#include "shell.h"

namespace {

class Composer {
public:
    Composer(char* line, std::size_t size) : at_(line), end_(line + size - 1) {}

    void put(char c)
    {
        if (at_ == end_)
            fits_ = false;
        else
            *at_++ = c;
    }

    void put(const char* text)
    {
        for (; *text != '\0'; ++text)
            put(*text);
    }

    void put_number(long long number)
    {
        char digits[24];
        print_text(digits, sizeof digits, "%lld", number);
        put(digits);
    }

    bool finish()
    {
        *at_ = '\0';
        return fits_;
    }

private:
    char* at_;
    char* end_;
    bool fits_ = true;
};

bool is_plain(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')
           || (c != '\0' && std::strchr("_@%+=:,./-", c) != nullptr);
}

bool is_plain(const char* text)
{
    while (is_plain(*text))
        ++text;
    return *text == '\0';
}

// `quote` is the kind of quotes that the template has open at this place, NUL for none.
void put_text(Composer& line, const char* text, char quote)
{
    if (is_plain(text)) {
        line.put(text);
        return;
    }
    if (quote == '\0')
        line.put('\'');
    for (; *text != '\0'; ++text) {
        if (quote == '"') {
            if (std::strchr("\\\"$`", *text) != nullptr)
                line.put('\\');
            line.put(*text);
        } else if (*text == '\'') {
            line.put("'\\''");
        } else {
            line.put(*text);
        }
    }
    if (quote == '\0')
        line.put('\'');
}

} // namespace

bool compose_shell_line(char* line, std::size_t size, const char* format, const ShellValue* values, std::size_t count)
{
    Composer composer(line, size);
    char quote = '\0';
    std::size_t used = 0;
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at == '%' && used < count) { // one letter follows, as check_shell_format holds
            ++at;
            const ShellValue& value = values[used++];
            if (value.text != nullptr)
                put_text(composer, value.text, quote);
            else
                composer.put_number(value.number);
            continue;
        }
        if (*at == quote)
            quote = '\0';
        else if (quote == '\0' && (*at == '"' || *at == '\''))
            quote = *at;
        composer.put(*at);
    }
    return composer.finish();
}

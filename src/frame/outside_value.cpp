#include "outside_value.h"

#include "log.h"

namespace {

bool is_control(char c)
{
    const unsigned char byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

// The white space that separates words in scanf(3) and strtok(3).
bool is_white_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_blank_only(const char* text)
{
    return text[0] != '\0' && text[std::strspn(text, " ")] == '\0';
}

// A statement's value that nothing can break out of.
bool holds_none_of(const char* text, const char* forbidden)
{
    for (; *text != '\0'; ++text) {
        if (is_control(*text) || std::strchr(forbidden, *text) != nullptr)
            return false;
    }
    return true;
}

} // namespace

bool has_control_character(const char* text)
{
    return !holds_none_of(text, "");
}

bool is_acceptable(const char* name, const char* what, const char* text)
{
    if (!has_control_character(text))
        return true;
    log_line(name, "%s holds a control character and counts as absent.", what);
    return false;
}

bool is_acceptable_line(const char* name, const char* what, const char* line)
{
    for (const char* at = line; *at != '\0'; ++at) {
        if (is_control(*at) && !is_white_space(*at)) {
            log_line(name, "%s holds a control character and counts as absent.", what);
            return false;
        }
    }
    return true;
}

bool fits_statement(const char* name, const char* file, const char* what, const char* text)
{
    if (is_blank_only(text)) {
        say_left_out(name, file, what, "it is blank");
        return false;
    }
    if (holds_none_of(text, ";{}\"#\\\xff"))
        return true;
    say_left_out(name, file, what, "it holds a character that would end its statement");
    return false;
}

bool fits_grammar(const char* name, const char* file, const char* what, const char* text, bool taken, const char* why)
{
    if (!fits_statement(name, file, what, text))
        return false;
    if (!taken)
        say_left_out(name, file, what, why);
    return taken;
}

void say_left_out(const char* name, const char* file, const char* what, const char* why)
{
    log_line(name, "%s is left out of %s: %s.", what, file, why);
}

#include "outside_value.h"

#include "log.h"

namespace {

bool is_control(char c)
{
    const unsigned char byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
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

bool fits_statement(const char* name, const char* file, const char* what, const char* text)
{
    if (holds_none_of(text, ";{}\"#\\"))
        return true;
    log_line(name, "%s is left out of %s: it holds a character that would end its statement.", what, file);
    return false;
}

bool fits_rule(const char* name, const char* what, const char* text)
{
    if (holds_none_of(text, " \"'#\\"))
        return true;
    log_line(name, "%s is left out of the ruleset: it is no single word.", what);
    return false;
}

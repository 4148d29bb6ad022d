#include "support/statements.h"

#include <cctype>

#include "support/finding.h"

namespace {

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

bool matches_here(const char* pattern, const char* text)
{
    if (*pattern == '\0')
        return *text == '\0';
    if (*pattern == '*') {
        for (;; ++text) {
            if (matches_here(pattern + 1, text))
                return true;
            if (*text == '\0')
                return false;
        }
    }
    if (*pattern == '#') {
        if (*text == '-')
            ++text;
        if (!is_digit(*text))
            return false;
        while (is_digit(*text))
            ++text;
        return matches_here(pattern + 1, text);
    }
    return *pattern == *text && matches_here(pattern + 1, text + 1);
}

} // namespace

bool matches(const std::string& pattern, const std::string& text)
{
    return matches_here(pattern.c_str(), text.c_str());
}

Statements::Statements(const std::string& file, const std::string& text) : file_(file)
{
    std::string statement;
    const auto end_word = [&statement] {
        if (!statement.empty() && statement.back() != ' ')
            statement += ' ';
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == ' ' || c == '\n') {
            end_word();
        } else if (c == ';' || c == '{' || c == '}') {
            end_word();
            statements_.push_back(statement + c);
            statement.clear();
        } else if (c == '#') {
            finding(file_ + ": a comment");
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
            finding(file_ + ": a control character");
        } else if (c == '"') {
            const std::size_t end = text.find('"', i + 1);
            if (end == std::string::npos)
                finding(file_ + ": an open string");
            const std::string string = text.substr(i, end + 1 - i);
            if (string.find_first_of("\\\n") != std::string::npos)
                finding(file_ + ": an escape or a line end in the string " + string);
            statement += string;
            i = end;
        } else {
            statement += c;
        }
    }
    end_word();
    if (!statement.empty())
        finding(file_ + ": an open statement: " + statement);
}

bool Statements::take(const std::string& pattern)
{
    if (next_ == statements_.size() || !matches(pattern, statements_[next_]))
        return false;
    ++next_;
    return true;
}

void Statements::expect(const std::string& pattern)
{
    if (!take(pattern))
        finding(file_ + ": where `" + pattern
                + "` belongs: " + (next_ < statements_.size() ? statements_[next_] : "(the end)"));
}

void Statements::expect_end() const
{
    if (next_ < statements_.size())
        finding(file_ + ": a statement of nobody: " + statements_[next_]);
}

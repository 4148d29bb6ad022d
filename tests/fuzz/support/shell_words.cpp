#include "support/shell_words.h"

namespace {

class Splitter {
public:
    explicit Splitter(const std::string& line) : line_(line) {}

    ShellSplit split()
    {
        while (at_ < line_.size() && result_.fault.empty())
            step();
        end_word();
        return result_;
    }

private:
    char take() { return line_[at_++]; }

    void fail(const char* fault) { result_.fault = fault; }

    void end_word()
    {
        if (in_word_)
            result_.words.push_back(word_);
        word_ = {};
        in_word_ = false;
    }

    void put(char c)
    {
        word_.text += c;
        in_word_ = true;
    }

    void step()
    {
        const char c = take();
        switch (c) {
        case ' ':
        case '\t':
            return end_word();
        case '\'':
            return single_quotes();
        case '"':
            return double_quotes();
        case '\\':
            if (at_ == line_.size())
                return fail("a backslash at the end");
            word_.was_quoted = true;
            return put(take());
        case '\n':
            return fail("a line end outside quotes");
        case '$':
        case '`':
            return fail("an expansion");
        case '*':
        case '?':
        case '[':
            return fail("a pattern");
        case '~':
        case '#':
            if (!in_word_)
                return fail("a comment or a home directory");
            return put(c);
        case '|':
        case '&':
        case ';':
        case '<':
        case '>':
        case '(':
        case ')':
            end_word();
            result_.words.push_back({std::string(1, c), true, false});
            return;
        default:
            return put(c);
        }
    }

    void single_quotes()
    {
        in_word_ = true;
        word_.was_quoted = true;
        for (; at_ < line_.size(); put(take())) {
            if (line_[at_] == '\'') {
                ++at_;
                return;
            }
        }
        fail("an open single quote");
    }

    void double_quotes()
    {
        in_word_ = true;
        word_.was_quoted = true;
        while (at_ < line_.size()) {
            const char c = take();
            if (c == '"')
                return;
            if (c == '$' || c == '`')
                return fail("an expansion in double quotes");
            const bool escapes =
                c == '\\' && at_ < line_.size() && std::string("$`\"\\").find(line_[at_]) != std::string::npos;
            put(escapes ? take() : c);
        }
        fail("an open double quote");
    }

    const std::string& line_;
    std::size_t at_ = 0;
    bool in_word_ = false;
    ShellWord word_;
    ShellSplit result_;
};

} // namespace

ShellSplit split_shell_line(const std::string& line)
{
    return Splitter(line).split();
}

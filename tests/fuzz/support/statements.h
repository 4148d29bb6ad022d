// A reference tokenizer for the configuration files of radvd, dhcpd and dhclient: statements of words, each ended by
// `;`, `{` or `}`; strings in double quotes; comments behind `#`.
#pragma once

#include <string>
#include <vector>

// True when `pattern` matches all of `text`: `#` stands for a decimal number, `*` for any characters, none included.
bool matches(const std::string& pattern, const std::string& text);

class Statements {
public:
    // A finding when the text is no sequence of statements or holds a control character.
    Statements(const std::string& file, const std::string& text);

    // Takes the next statement when it matches `pattern`, its words joined by one blank, its end behind a blank.
    bool take(const std::string& pattern);

    // The same; a finding when it does not match.
    void expect(const std::string& pattern);

    // A finding unless all of them are taken.
    void expect_end() const;

private:
    std::string file_;
    std::vector<std::string> statements_;
    std::size_t next_ = 0;
};

// A reference for what a POSIX shell makes of a line (Shell Command Language, 2.2 Quoting and 2.3 Token Recognition),
// independent of the program's own quoting.
#pragma once

#include <string>
#include <vector>

struct ShellWord {
    std::string text;
    bool is_operator = false;
    bool was_quoted = false;

    bool operator==(const ShellWord&) const = default;
};

struct ShellSplit {
    std::vector<ShellWord> words;
    std::string fault; // not empty: an expansion, a pattern, a comment, an open quote, a line end
};

ShellSplit split_shell_line(const std::string& line);

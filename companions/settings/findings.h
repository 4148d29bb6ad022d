// What a look at the settings found, one line each on standard output.
#pragma once

#include <string_view>

#include "setting_lines.h"

class Findings {
public:
    // `file` is what the settings were read from: it stands in front of each finding, with the line of the setting,
    // as compilers do it. Null for settings that have no lines a person would look up.
    Findings(const SettingLines& settings, const char* file) : settings_(settings), file_(file) {}

    // Says "KEY@SECTION: what"
    [[gnu::format(printf, 4, 5)]] void add(std::string_view key, std::string_view section, const char* what, ...);

    // What is added from here on is about this line; 0: about the last line that has the setting.
    void at_line(unsigned long line) { line_ = line; }

    unsigned count() const { return count_; }

private:
    const SettingLines& settings_;
    const char* file_;
    unsigned long line_ = 0;
    unsigned count_ = 0;
};

// The settings that are looked at: lines key@section=value, from the store or from a file. Of a file every line is
// there, empty when it was a comment, so that lines can be counted.
#pragma once

#include <string_view>

class SettingLines {
public:
    explicit SettingLines(std::string_view lines) : lines_(lines), wan_section_(find_wan_section()) {}

    // The value of key@section; the last one when a file has several. False when there is none.
    bool find(std::string_view key, std::string_view section, std::string_view& value) const;

    // The same; `missing` when there is none.
    std::string_view get(std::string_view key, std::string_view section, std::string_view missing = {}) const;

    // The value as a number, `missing` when there is none or when it is no number.
    long long number(std::string_view key, std::string_view section, long long missing = 0) const;

    // Number of the last line, from 1, that has key@section; 0 when there is none.
    unsigned long line_of(std::string_view key, std::string_view section) const;

    // True when the lines tell interfaces' sections (if2sect_IFNAME@system), and this is no section of them.
    bool is_of_no_interface(std::string_view section) const;

    // Section of the WAN, as the kit's scripts find it: by the data interface.
    std::string_view wan_section() const { return wan_section_; }

    // Number of settings, repeated ones too.
    unsigned long count() const;

private:
    std::string_view find_wan_section() const;

    std::string_view lines_;
    std::string_view wan_section_;
};

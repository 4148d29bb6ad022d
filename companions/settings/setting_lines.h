// The settings that are looked at: lines key@section=value, from the store or from a file.
#pragma once

#include <string_view>

class SettingLines {
public:
    explicit SettingLines(std::string_view lines) : lines_(lines) {}

    // The value of key@section; the last one when a file has several. False when there is none.
    bool find(std::string_view key, std::string_view section, std::string_view& value) const;

    // The same; `missing` when there is none.
    std::string_view get(std::string_view key, std::string_view section, std::string_view missing = {}) const;

    // The value as a number, `missing` when there is none or when it is no number.
    long long number(std::string_view key, std::string_view section, long long missing = 0) const;

    // Section of the WAN, as the kit's scripts find it: by the data interface.
    std::string_view wan_section() const;

    std::string_view lines() const { return lines_; }

private:
    std::string_view lines_;
};

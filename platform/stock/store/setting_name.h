// Names and values of settings: their limits and their text form `key@section=value`.
#pragma once

#include <stddef.h>

#include <string_view>

inline constexpr size_t max_name_part = 63;
inline constexpr size_t max_value = 1023;

// A checked name in the form in which the store keeps it: "key@section=". The closing sign makes the store's byte
// order that of the written lines.
class SettingName {
public:
    // Takes a key and its section. Returns false when one of them is outside the limits; the name is then empty.
    bool assign(std::string_view key, std::string_view section);

    std::string_view record() const { return {text_, size_}; }
    std::string_view shown() const { return {text_, size_ > 0 ? size_ - 1 : 0}; }

private:
    char text_[2 * max_name_part + 3] = {};
    size_t size_ = 0;
};

bool is_control(char c);

// True for what a section or key is made of: A-Za-z0-9_.- .
bool is_name_letter(char c);

// True for 1 to 63 bytes of A-Za-z0-9_.- .
bool is_name_part(std::string_view text);

// Null when `value` is within the limits, otherwise what is wrong with it.
const char* value_fault(std::string_view value);

// What a name outside the limits is told.
inline constexpr char name_fault[] = "key and section must each be 1 to 63 characters of A-Za-z0-9_.-";

// Splits `key@section` into `name`. Returns null, or what is wrong with the text.
const char* parse_name(std::string_view text, SettingName& name);

// Splits `key@section=value`; `value` points into `line`. Returns null, or what is wrong with the line.
const char* parse_setting(std::string_view line, SettingName& name, std::string_view& value);

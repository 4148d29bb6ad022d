#include "setting_name.h"

#include <string.h>

#include <array>

#include "text_parts.h"

namespace {

// What a section or key is made of. A table, because every start of the program looks at every name of the store.
constexpr std::array<bool, 256> name_letters = [] {
    std::array<bool, 256> letters = {};
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-"))
        letters[static_cast<unsigned char>(c)] = true;
    return letters;
}();

} // namespace

bool is_control(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

bool is_name_letter(char c)
{
    return name_letters[static_cast<unsigned char>(c)];
}

bool is_name_part(std::string_view text)
{
    if (text.empty() || text.size() > max_name_part)
        return false;
    for (const char c : text) {
        if (!is_name_letter(c))
            return false;
    }
    return true;
}

bool SettingName::assign(std::string_view key, std::string_view section)
{
    size_ = 0;
    if (!is_name_part(key) || !is_name_part(section))
        return false;
    memcpy(text_, key.data(), key.size());
    text_[key.size()] = '@';
    memcpy(text_ + key.size() + 1, section.data(), section.size());
    size_ = key.size() + 1 + section.size() + 1;
    text_[size_ - 1] = '=';
    text_[size_] = '\0';
    return true;
}

const char* value_fault(std::string_view value)
{
    if (value.size() > max_value)
        return "a value must be at most 1023 bytes";
    for (const char c : value) {
        if (is_control(c))
            return "a value must not contain control characters";
    }
    return nullptr;
}

const char* parse_name(std::string_view text, SettingName& name)
{
    const size_t at = text.find('@');
    if (at == text.npos)
        return "there is no '@' between key and section";
    return name.assign(first_part(text, at), rest_after(text, at + 1)) ? nullptr : name_fault;
}

const char* parse_setting(std::string_view line, SettingName& name, std::string_view& value)
{
    const size_t equals = line.find('=');
    if (equals == line.npos)
        return "there is no '=' before the value";
    value = rest_after(line, equals + 1);
    const char* const fault = parse_name(first_part(line, equals), name);
    return fault != nullptr ? fault : value_fault(value);
}

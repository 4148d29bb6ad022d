#include "settings_text.h"

#include <string.h>

#include "setting_name.h"
#include "text_parts.h"

namespace {

StoredSetting setting_of(std::string_view line)
{
    const size_t value = line.find('=') + 1;
    return {first_part(line, value), rest_after(line, value)};
}

// Gives the place behind a section or key and its closing sign; null when something else is there.
const char* behind_name_part(const char* begin, char closing)
{
    const char* end = begin;
    while (is_name_letter(*end))
        ++end;
    const auto size = static_cast<size_t>(end - begin);
    return size > 0 && size <= max_name_part && *end == closing ? end + 1 : nullptr;
}

// Gives the place behind a value and its line end; null when something else is there.
const char* behind_value(const char* begin)
{
    const char* end = begin;
    while (!is_control(*end))
        ++end;
    return static_cast<size_t>(end - begin) <= max_value && *end == '\n' ? end + 1 : nullptr;
}

} // namespace

bool are_settings(std::string_view lines)
{
    if (!lines.empty() && lines.back() != '\n')
        return false;
    // Every walk stops at a line end, so that none leaves the text.
    const char* at = lines.data();
    const char* const end = at + lines.size();
    std::string_view previous;
    while (at < end) {
        const char* const section = behind_name_part(at, '@');
        const char* const value = section != nullptr ? behind_name_part(section, '=') : nullptr;
        if (value == nullptr)
            return false;
        const std::string_view record(at, static_cast<size_t>(value - at));
        at = behind_value(value);
        if (at == nullptr || record <= previous)
            return false;
        previous = record;
    }
    return true;
}

StoredSetting take_setting(std::string_view& lines)
{
    const size_t size = lines.find('\n');
    const StoredSetting setting = setting_of(first_part(lines, size));
    lines = size == lines.npos ? std::string_view() : rest_after(lines, size + 1);
    return setting;
}

bool find_setting(std::string_view lines, std::string_view record, std::string_view& value)
{
    while (!lines.empty()) {
        const void* const before = memrchr(lines.data(), '\n', lines.size() / 2);
        const size_t start =
            before == nullptr ? 0 : static_cast<size_t>(static_cast<const char*>(before) - lines.data()) + 1;
        std::string_view behind = rest_after(lines, start);
        const StoredSetting setting = take_setting(behind);
        const int order = setting.record.compare(record);
        if (order == 0) {
            value = setting.value;
            return true;
        }
        lines = order < 0 ? behind : first_part(lines, start);
    }
    return false;
}

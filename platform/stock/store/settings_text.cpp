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

// Size of "key@section=" at the front of `text`; 0 when something else is there.
size_t record_size(std::string_view text)
{
    const size_t key = name_part_size(text);
    if (key == 0 || key == text.size() || text[key] != '@')
        return 0;
    const std::string_view behind = rest_after(text, key + 1);
    const size_t section = name_part_size(behind);
    if (section == 0 || section == behind.size() || behind[section] != '=')
        return 0;
    return key + 1 + section + 1;
}

// Number of bytes before the first control character, which a line end is too.
size_t value_size(std::string_view text)
{
    size_t size = 0;
    while (size < text.size() && !is_control(text[size]))
        ++size;
    return size;
}

} // namespace

bool are_settings(std::string_view lines)
{
    std::string_view previous;
    while (!lines.empty()) {
        const std::string_view record = first_part(lines, record_size(lines));
        if (record <= previous)
            return false;
        previous = record;
        lines = rest_after(lines, record.size());
        const size_t value = value_size(lines);
        if (value > max_value || value == lines.size() || lines[value] != '\n')
            return false;
        lines = rest_after(lines, value + 1);
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

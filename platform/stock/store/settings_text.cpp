#include "settings_text.h"

#include "setting_name.h"
#include "text_parts.h"

namespace {

StoredSetting setting_of(std::string_view line)
{
    const size_t value = line.find('=') + 1;
    return {first_part(line, value), rest_after(line, value)};
}

} // namespace

bool are_settings(std::string_view lines)
{
    if (!lines.empty() && lines.back() != '\n')
        return false;
    std::string_view previous;
    while (!lines.empty()) {
        const std::string_view line = first_part(lines, lines.find('\n'));
        SettingName name;
        std::string_view value;
        if (parse_setting(line, name, value) != nullptr)
            return false;
        const StoredSetting setting = take_setting(lines);
        if (setting.record <= previous)
            return false;
        previous = setting.record;
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
        const size_t before = first_part(lines, lines.size() / 2).rfind('\n');
        const size_t start = before == lines.npos ? 0 : before + 1;
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

#include "setting_lines.h"

#include <string.h>

#include "settings_text.h"
#include "text_parts.h"
#include "value_check.h"

namespace {

constexpr std::string_view section_key = "if2sect_";

bool is_record_of(std::string_view record, std::string_view key, std::string_view section)
{
    return record.size() == key.size() + section.size() + 2 && first_part(record, key.size()) == key
           && record[key.size()] == '@' && first_part(rest_after(record, key.size() + 1), section.size()) == section;
}

} // namespace

bool SettingLines::find(std::string_view key, std::string_view section, std::string_view& value) const
{
    bool found = false;
    for (std::string_view rest = lines_; !rest.empty();) {
        const StoredSetting setting = take_setting(rest);
        if (!is_record_of(setting.record, key, section))
            continue;
        value = setting.value;
        found = true;
    }
    return found;
}

unsigned long SettingLines::line_of(std::string_view key, std::string_view section) const
{
    unsigned long last = 0;
    unsigned long line = 0;
    for (std::string_view rest = lines_; !rest.empty();) {
        ++line;
        if (is_record_of(take_setting(rest).record, key, section))
            last = line;
    }
    return last;
}

unsigned long SettingLines::count() const
{
    unsigned long count = 0;
    for (std::string_view rest = lines_; !rest.empty();)
        count += take_setting(rest).record.empty() ? 0 : 1;
    return count;
}

bool SettingLines::is_of_no_interface(std::string_view section) const
{
    bool has_any = false;
    for (std::string_view rest = lines_; !rest.empty();) {
        const StoredSetting setting = take_setting(rest);
        if (first_part(setting.record, section_key.size()) != section_key)
            continue;
        if (setting.value == section)
            return false;
        has_any = true;
    }
    return has_any;
}

std::string_view SettingLines::get(std::string_view key, std::string_view section, std::string_view missing) const
{
    std::string_view value;
    return find(key, section, value) ? value : missing;
}

long long SettingLines::number(std::string_view key, std::string_view section, long long missing) const
{
    long long number = 0;
    return parse_number(get(key, section), number) ? number : missing;
}

std::string_view SettingLines::find_wan_section() const
{
    const std::string_view interface = get("wandataif", "system", "eth0");
    char key[64] = {};
    if (interface.empty() || section_key.size() + interface.size() >= sizeof key)
        return "wan100";
    memcpy(key, section_key.data(), section_key.size());
    memcpy(key + section_key.size(), interface.data(), interface.size());
    const std::string_view section = get(key, "system");
    return section.empty() ? "wan100" : section;
}

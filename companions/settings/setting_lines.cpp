#include "setting_lines.h"

#include <string.h>

#include "settings_text.h"
#include "text_parts.h"
#include "value_check.h"

namespace {

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

std::string_view SettingLines::wan_section() const
{
    constexpr std::string_view start = "if2sect_";
    const std::string_view interface = get("wandataif", "system", "eth0");
    char key[64] = {};
    if (interface.empty() || start.size() + interface.size() >= sizeof key)
        return "wan100";
    memcpy(key, start.data(), start.size());
    memcpy(key + start.size(), interface.data(), interface.size());
    const std::string_view section = get(key, "system");
    return section.empty() ? "wan100" : section;
}

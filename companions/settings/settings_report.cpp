#include "settings_report.h"

#include <stdio.h>

#include "advice.h"
#include "findings.h"
#include "known_setting.h"
#include "setting_lines.h"
#include "setting_name_parts.h"
#include "settings_text.h"
#include "text_parts.h"
#include "value_check.h"
#include "wrapped_text.h"

namespace {

void check_section(const NameParts& name, const SettingLines& settings, Findings& findings)
{
    const std::string_view wan = settings.wan_section();
    if (section_bit(name.section, wan) == in_wan && name.section != wan && (sections_of(name.key) & in_wan) != 0
        && settings.is_of_no_interface(name.section))
        findings.add(name.key, name.section,
                     "no interface has this section: the WAN's is %.*s (wandataif@system and if2sect_IFNAME@system)",
                     static_cast<int>(wan.size()), wan.data());
}

void check_name_and_value(const StoredSetting& stored, const SettingLines& settings, Findings& findings)
{
    const NameParts name = split_name(stored.record);
    const KnownSetting* const setting = find_known_setting(name.key, section_bit(name.section, settings.wan_section()));
    if (setting != nullptr) {
        if (const char* const mismatch = value_mismatch(*setting, stored.value))
            findings.add(name.key, name.section, "\"%.*s\" %s", static_cast<int>(stored.value.size()),
                         stored.value.data(), mismatch);
    } else if (const unsigned elsewhere = sections_of(name.key)) {
        findings.add(name.key, name.section, "nothing reads this key in this section, only in %s",
                     section_names(elsewhere).c_str());
    } else if (const char* const nearest = nearest_known_key(name.key)) {
        findings.add(name.key, name.section, "nothing reads this key; did you mean %s?", nearest);
    } else {
        findings.add(name.key, name.section, "nothing reads this key");
    }
}

// `later` are the lines behind line number `line`, which has `stored`.
void check_repetition(const StoredSetting& stored, unsigned long line, std::string_view later, Findings& findings)
{
    while (!later.empty()) {
        ++line;
        const StoredSetting other = take_setting(later);
        if (other.record != stored.record || other.value == stored.value)
            continue;
        const NameParts name = split_name(stored.record);
        findings.add(name.key, name.section, "is set again in line %lu, to another value: the last one counts", line);
        return;
    }
}

} // namespace

void check_setting(std::string_view lines, std::string_view record, std::string_view value)
{
    const SettingLines settings(lines);
    Findings findings(settings, nullptr);
    check_name_and_value({record, value}, settings, findings);
    check_section(split_name(record), settings, findings);
}

unsigned check_settings(std::string_view lines, const char* file)
{
    constexpr unsigned long compared = 4000; // settings that are compared with each other: far more than a device has
    const SettingLines settings(lines);
    const unsigned long count = settings.count();
    Findings findings(settings, file);
    unsigned long line = 0;
    for (std::string_view rest = lines; !rest.empty();) {
        ++line;
        const StoredSetting stored = take_setting(rest);
        if (stored.record.empty())
            continue;
        findings.at_line(line);
        check_name_and_value(stored, settings, findings);
        if (count > compared)
            continue;
        check_section(split_name(stored.record), settings, findings);
        check_repetition(stored, line, rest, findings);
    }
    findings.at_line(0);
    advise(settings, findings);
    if (findings.count() == 0 && terminal_columns() != 0)
        printf("%lu settings, nothing wrong\n", count);
    return findings.count();
}

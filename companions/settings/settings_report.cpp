#include "settings_report.h"

#include <stdio.h>

#include "advice.h"
#include "findings.h"
#include "known_setting.h"
#include "setting_lines.h"
#include "settings_text.h"
#include "text_parts.h"
#include "value_check.h"

namespace {

struct Name {
    std::string_view key;
    std::string_view section;
};

// Of "key@section=" or "key@section".
Name split_name(std::string_view name)
{
    if (!name.empty() && name.back() == '=')
        name = first_part(name, name.size() - 1);
    const size_t at = name.find('@');
    return {first_part(name, at), at == name.npos ? std::string_view() : rest_after(name, at + 1)};
}

void check_name_and_value(const StoredSetting& stored, std::string_view wan_section, Findings& findings)
{
    const Name name = split_name(stored.record);
    const KnownSetting* const setting = find_known_setting(name.key, section_bit(name.section, wan_section));
    if (setting != nullptr) {
        if (const char* const mismatch = value_mismatch(*setting, stored.value))
            findings.add(name.key, name.section, "\"%.*s\" %s", static_cast<int>(stored.value.size()),
                         stored.value.data(), mismatch);
    } else if (find_known_setting(name.key, in_any_section) != nullptr) {
        findings.add(name.key, name.section, "nothing reads this key in this section");
    } else if (const char* const nearest = nearest_known_key(name.key)) {
        findings.add(name.key, name.section, "nothing reads this key; did you mean %s?", nearest);
    } else {
        findings.add(name.key, name.section, "nothing reads this key");
    }
}

void write_sections(const KnownSetting& setting)
{
    const struct {
        unsigned bit;
        const char* name;
    } sections[] = {{in_system, "system"}, {in_lan0, "lan0"}, {in_lan1, "lan1"}, {in_wan, "the WAN's section"}};
    const char* before = "";
    for (const auto& section : sections) {
        if ((setting.sections & section.bit) == 0)
            continue;
        printf("%s%s", before, section.name);
        before = ", ";
    }
}

void write_values_in_force(const Name& asked, const KnownSetting& setting, std::string_view lines)
{
    const std::string_view wan_section = SettingLines(lines).wan_section();
    bool found = false;
    for (std::string_view rest = lines; !rest.empty();) {
        const StoredSetting stored = take_setting(rest);
        const Name name = split_name(stored.record);
        const bool is_asked = asked.section.empty() || asked.section == name.section;
        if (!is_asked || find_known_setting(name.key, section_bit(name.section, wan_section)) != &setting)
            continue;
        if (asked.key != setting.key && asked.key != name.key)
            continue; // one of many numbered keys was asked for
        printf("  in force:   %.*s@%.*s=%.*s\n", static_cast<int>(name.key.size()), name.key.data(),
               static_cast<int>(name.section.size()), name.section.data(), static_cast<int>(stored.value.size()),
               stored.value.data());
        found = true;
    }
    if (!found)
        printf("  in force:   nothing stored\n");
}

} // namespace

unsigned check_settings(std::string_view lines)
{
    const SettingLines settings(lines);
    Findings findings;
    for (std::string_view rest = lines; !rest.empty();)
        check_name_and_value(take_setting(rest), settings.wan_section(), findings);
    advise(settings, findings);
    return findings.count();
}

bool help_setting(std::string_view name, std::string_view lines)
{
    const Name asked = split_name(name);
    const unsigned sections =
        asked.section.empty() ? in_any_section : section_bit(asked.section, SettingLines(lines).wan_section());
    const KnownSetting* const setting = find_known_setting(asked.key, sections);
    if (setting == nullptr) {
        const bool elsewhere = find_known_setting(asked.key, in_any_section) != nullptr;
        const char* const nearest = elsewhere ? nullptr : nearest_known_key(asked.key);
        fprintf(stderr, "ccfg_cli: there is no such key%s%s%s\n", elsewhere ? " in this section" : "",
                nearest != nullptr ? "; did you mean " : "", nearest != nullptr ? nearest : "");
        return false;
    }
    printf("%s\n  %s\n\n  in:         ", setting->key, setting->meaning);
    write_sections(*setting);
    printf("\n  values:     %s\n  missing:    counts as %s\n", setting->values,
           setting->fallback[0] != '\0' ? setting->fallback : "empty");
    printf("  read by:    %s\n", setting->read_by);
    printf("  written by: %s%s\n", setting->written_by[0] != '-' ? setting->written_by : "nobody",
           setting->is_state ? " (the program keeps it; leave it alone)" : "");
    write_values_in_force(asked, *setting, lines);
    return true;
}

void list_known_settings()
{
    for (size_t i = 0; i < known_setting_count; ++i) {
        printf("%-40s ", known_settings[i].key);
        write_sections(known_settings[i]);
        printf("\n");
    }
}

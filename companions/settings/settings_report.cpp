#include "settings_report.h"

#include <stdio.h>

#include <initializer_list>

#include "advice.h"
#include "findings.h"
#include "frame/text.h"
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

// Ored sections as a person reads them; valid until the next call.
const char* names_of(unsigned bits)
{
    const struct {
        unsigned bit;
        const char* name;
    } sections[] = {{in_system, "system"}, {in_lan0, "lan0"}, {in_lan1, "lan1"}, {in_wan, "the WAN's section"}};
    static Text<64> text;
    text.clear();
    for (const auto& section : sections) {
        if ((bits & section.bit) == 0)
            continue;
        if (!text.empty())
            text.append(", ");
        text.append(section.name);
    }
    return text.c_str();
}

void write_name(FILE* out, const KnownSetting& setting)
{
    fprintf(out, "%-40s %s\n", setting.key, names_of(setting.sections));
}

// Writes the keys that have the word in their name, or else in what they are for. Returns how many.
int write_keys_with(std::string_view word)
{
    int count = 0;
    for (auto* const has : {has_in_name, has_in_meaning}) {
        for (size_t i = 0; i < known_setting_count; ++i) {
            if (!has(known_settings[i], word))
                continue;
            write_name(stdout, known_settings[i]);
            ++count;
        }
        if (count > 0)
            break;
    }
    return count;
}

// What is said of a key that there is not.
void tell_unknown_key(std::string_view key)
{
    constexpr size_t shortest_word = 3;
    if (const unsigned elsewhere = sections_of(key)) {
        fprintf(stderr, "ccfg_cli: there is no such key in this section, only in %s\n", names_of(elsewhere));
        return;
    }
    const int found = key.size() < shortest_word ? 0 : write_keys_with(key);
    const char* const nearest = found > 0 ? nullptr : nearest_known_key(key);
    fprintf(stderr, "ccfg_cli: there is no such key%s%s%s\n", found > 0 ? "; the word is in those above" : "",
            nearest != nullptr ? "; did you mean " : "", nearest != nullptr ? nearest : "");
}

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
    } else if (const unsigned elsewhere = sections_of(name.key)) {
        findings.add(name.key, name.section, "nothing reads this key in this section, only in %s", names_of(elsewhere));
    } else if (const char* const nearest = nearest_known_key(name.key)) {
        findings.add(name.key, name.section, "nothing reads this key; did you mean %s?", nearest);
    } else {
        findings.add(name.key, name.section, "nothing reads this key");
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

void explain(const KnownSetting& setting, const Name& asked, std::string_view lines)
{
    printf("%s\n  %s\n\n  in:         %s\n", setting.key, setting.meaning, names_of(setting.sections));
    printf("  values:     %s\n  missing:    counts as %s\n", setting.values,
           setting.fallback[0] != '\0' ? setting.fallback : "empty");
    printf("  read by:    %s\n", setting.read_by);
    printf("  written by: %s%s\n", setting.written_by[0] != '-' ? setting.written_by : "nobody",
           setting.is_state ? " (the program keeps it; leave it alone)" : "");
    write_values_in_force(asked, setting, lines);
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
    bool is_known = false;
    // The WAN and the LANs have keys of one name that are for different things.
    for (size_t i = 0; i < known_setting_count; ++i) {
        const KnownSetting& setting = known_settings[i];
        if ((setting.sections & sections) == 0 || !is_one_of(setting, asked.key))
            continue;
        printf("%s", is_known ? "\n" : "");
        explain(setting, asked, lines);
        is_known = true;
    }
    if (!is_known)
        tell_unknown_key(asked.key);
    return is_known;
}

void list_known_settings()
{
    for (size_t i = 0; i < known_setting_count; ++i)
        write_name(stdout, known_settings[i]);
}

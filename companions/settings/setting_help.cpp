#include "setting_help.h"

#include <stdio.h>

#include <initializer_list>

#include "known_setting.h"
#include "setting_lines.h"
#include "setting_name_parts.h"
#include "settings_text.h"
#include "store_message.h"
#include "text_parts.h"
#include "wrapped_text.h"

namespace {

constexpr int key_width = 24; // of nearly all keys
constexpr int section_width = 9;
constexpr size_t label_width = 14;
constexpr size_t shortest_word = 3; // that is worth a search
constexpr size_t longest_shown = 80;

using Has = bool (*)(const KnownSetting& setting, std::string_view word);

int size_of(std::string_view text)
{
    return static_cast<int>(text.size());
}

std::string_view wan_section_of(const SettingsInForce& in_force)
{
    return SettingLines(in_force.lines).wan_section();
}

// The first sentence of what a key is for.
std::string_view summary_of(std::string_view meaning)
{
    const size_t end = meaning.find(". ");
    return first_part(meaning, end == meaning.npos ? end : end + 1);
}

void write_summary(const KnownSetting& setting, std::string_view wan_section)
{
    const Text<128> sections = section_names(setting.sections, ",", wan_section);
    const int used = printf("%-*s %-*s ", key_width, setting.key, section_width, sections.c_str());
    write_shortened(summary_of(setting.meaning), used > 0 ? static_cast<size_t>(used) : 0);
    putchar('\n');
}

void write_summaries(unsigned sections, const SettingsInForce& in_force)
{
    const std::string_view wan_section = wan_section_of(in_force);
    for (size_t i = 0; i < known_setting_count; ++i) {
        if ((known_settings[i].sections & sections) != 0)
            write_summary(known_settings[i], wan_section);
    }
}

void write_labeled(const char* label, std::string_view text)
{
    printf("  %-*s", static_cast<int>(label_width) - 2, label);
    write_wrapped(text, label_width, label_width);
    putchar('\n');
}

void write_values_in_force(const NameParts& asked, const KnownSetting& setting, const SettingsInForce& in_force)
{
    if (in_force.fault != nullptr) {
        Text<256> text;
        text.print("not known: the store cannot be read (%s)", in_force.fault);
        write_labeled("in force:", text.c_str());
        return;
    }
    const std::string_view wan_section = wan_section_of(in_force);
    bool found = false;
    for (std::string_view rest = in_force.lines; !rest.empty();) {
        const StoredSetting stored = take_setting(rest);
        const NameParts name = split_name(stored.record);
        const bool is_asked = asked.section.empty() || asked.section == name.section;
        if (!is_asked || find_known_setting(name.key, section_bit(name.section, wan_section)) != &setting)
            continue;
        if (asked.key != setting.key && asked.key != name.key)
            continue; // one of many numbered keys was asked for
        printf("  %-*s%.*s@%.*s=%.*s\n", static_cast<int>(label_width) - 2, "in force:", size_of(name.key),
               name.key.data(), size_of(name.section), name.section.data(), size_of(stored.value), stored.value.data());
        found = true;
    }
    if (!found)
        write_labeled("in force:", "nothing stored");
}

void explain(const KnownSetting& setting, const NameParts& asked, const SettingsInForce& in_force)
{
    printf("%s\n  ", setting.key);
    write_wrapped(setting.meaning, 2, 2);
    printf("\n\n");
    write_labeled("in:", section_names(setting.sections).c_str());
    write_labeled("values:", setting.values);
    Text<1024> text;
    text.print("counts as %s", setting.fallback[0] != '\0' ? setting.fallback : "empty");
    write_labeled("missing:", text.c_str());
    write_labeled("read by:", setting.read_by);
    text.print("%s%s", setting.written_by[0] != '-' ? setting.written_by : "nobody",
               setting.is_state ? " (the program keeps it; leave it alone)" : "");
    write_labeled("written by:", text.c_str());
    write_values_in_force(asked, setting, in_force);
}

// Writes the keys that have the word, or all about the one that has it. Returns false when none has.
bool tell_keys_with(Has has, std::string_view word, const char* one, const char* several,
                    const SettingsInForce& in_force)
{
    size_t count = 0;
    const KnownSetting* last = nullptr;
    for (size_t i = 0; i < known_setting_count; ++i) {
        if (!has(known_settings[i], word))
            continue;
        last = &known_settings[i];
        ++count;
    }
    if (count == 0)
        return false;
    fprintf(stderr, "ccfg_cli: there is no key \"%s\"; %s:\n", printable(word), count == 1 ? one : several);
    if (count == 1) {
        explain(*last, {last->key, {}}, in_force);
        return true;
    }
    for (size_t i = 0; i < known_setting_count; ++i) {
        if (has(known_settings[i], word))
            write_summary(known_settings[i], wan_section_of(in_force));
    }
    return true;
}

void tell_unknown_key(const NameParts& asked, const SettingsInForce& in_force)
{
    if (asked.key.empty() && !asked.section.empty()) {
        fprintf(stderr, "ccfg_cli: there is no section \"%s\"\n", printable(first_part(asked.section, longest_shown)));
        return;
    }
    const char* const shown = printable(first_part(asked.key, longest_shown));
    if (const unsigned elsewhere = sections_of(asked.key)) {
        fprintf(stderr, "ccfg_cli: there is no key \"%s\" in this section, only in %s\n", shown,
                section_names(elsewhere).c_str());
        return;
    }
    if (asked.key.size() >= shortest_word
        && (tell_keys_with(has_in_name, asked.key, "this one has it in its name", "these have it in their names",
                           in_force)
            || tell_keys_with(has_in_meaning, asked.key, "this one has to do with it", "these have to do with it",
                              in_force)))
        return;
    const char* const nearest = nearest_known_key(asked.key);
    fprintf(stderr, "ccfg_cli: there is no key \"%s\"%s%s%s\n", shown, nearest != nullptr ? "; did you mean " : "",
            nearest != nullptr ? nearest : "", nearest != nullptr ? "?" : "");
}

} // namespace

bool help_setting(std::string_view name, const SettingsInForce& in_force)
{
    const NameParts asked = split_name(name);
    const std::string_view wan_section = wan_section_of(in_force);
    const unsigned asked_section = section_bit(asked.section, wan_section);
    const unsigned sections = asked.section.empty() ? in_any_section : asked_section;
    bool is_known = false;
    // The WAN and the LANs have keys of one name that are for different things.
    for (size_t i = 0; i < known_setting_count; ++i) {
        const KnownSetting& setting = known_settings[i];
        if ((setting.sections & sections) == 0 || !is_one_of(setting, asked.key))
            continue;
        printf("%s", is_known ? "\n" : "");
        explain(setting, asked, in_force);
        is_known = true;
    }
    const unsigned whole = asked.key.empty()       ? asked_section
                           : asked.section.empty() ? section_bit(asked.key, wan_section)
                                                   : 0;
    if (!is_known && whole != 0) {
        write_summaries(whole, in_force);
        return true;
    }
    if (!is_known)
        tell_unknown_key(asked, in_force);
    return is_known;
}

void list_known_settings(const SettingsInForce& in_force)
{
    write_summaries(in_any_section, in_force);
}

Text<256> full_names(std::string_view key, const SettingsInForce& in_force)
{
    char name[64];
    copy_text(name, sizeof name, key.data(), key.size());
    Text<256> names;
    const unsigned sections = sections_of(key);
    for (const unsigned section : {in_system, in_lan0, in_lan1, in_wan}) {
        if ((sections & section) == 0)
            continue;
        names.append(names.empty() ? "" : " or ");
        names.append(name);
        names.append("@");
        names.append(section_names(section, "", wan_section_of(in_force)));
    }
    return names;
}

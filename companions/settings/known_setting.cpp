#include "known_setting.h"

#include <ctype.h>

#include <algorithm>

#include "nearness.h"
#include "text_parts.h"

namespace {

constexpr size_t shortest_part = 3; // characters of a key that are worth a guess

bool is_number(std::string_view text)
{
    return !text.empty() && text.front() != '0' && text.find_first_not_of("0123456789") == text.npos;
}

// The longest known key that stands at the end of `key`, behind a _ or -: "mtu" of "ip6_mtu". Null when there is none.
const char* longest_tail_of(std::string_view key)
{
    const char* longest = nullptr;
    size_t length = shortest_part - 1;
    for (size_t i = 0; i < known_setting_count; ++i) {
        const std::string_view known = known_settings[i].key;
        if (known.size() <= length || known.size() >= key.size() || rest_after(key, key.size() - known.size()) != known)
            continue;
        const char before = key[key.size() - known.size() - 1];
        if (before != '_' && before != '-')
            continue;
        longest = known_settings[i].key;
        length = known.size();
    }
    return longest;
}

bool is_same_letter(char one, char other)
{
    return tolower(static_cast<unsigned char>(one)) == tolower(static_cast<unsigned char>(other));
}

bool has_in(std::string_view text, std::string_view word)
{
    return std::search(text.begin(), text.end(), word.begin(), word.end(), is_same_letter) != text.end();
}

} // namespace

bool is_one_of(const KnownSetting& setting, std::string_view key)
{
    const std::string_view pattern = setting.key;
    if (pattern == key)
        return true;
    for (const std::string_view open : {std::string_view("_N"), std::string_view("_IFNAME")}) {
        if (pattern.size() <= open.size() || rest_after(pattern, pattern.size() - open.size()) != open)
            continue;
        const std::string_view start = first_part(pattern, pattern.size() - open.size() + 1);
        const std::string_view rest = rest_after(key, start.size());
        if (first_part(key, start.size()) == start && (open == "_N" ? is_number(rest) : !rest.empty()))
            return true;
    }
    return false;
}

const KnownSetting* find_known_setting(std::string_view key, unsigned sections)
{
    for (size_t i = 0; i < known_setting_count; ++i) {
        if ((known_settings[i].sections & sections) != 0 && is_one_of(known_settings[i], key))
            return &known_settings[i];
    }
    return nullptr;
}

unsigned sections_of(std::string_view key)
{
    unsigned sections = 0;
    for (size_t i = 0; i < known_setting_count; ++i)
        sections |= is_one_of(known_settings[i], key) ? known_settings[i].sections : 0;
    return sections;
}

unsigned section_bit(std::string_view section, std::string_view wan_section)
{
    return section == "system"                                         ? in_system
           : section == "lan0"                                         ? in_lan0
           : section == "lan1"                                         ? in_lan1
           : section == wan_section || first_part(section, 3) == "wan" ? in_wan
                                                                       : 0;
}

Text<128> section_names(unsigned sections, const char* separator, std::string_view wan_name)
{
    const struct {
        unsigned bit;
        std::string_view name;
    } known[] = {{in_system, "system"}, {in_lan0, "lan0"}, {in_lan1, "lan1"}, {in_wan, wan_name}};
    Text<128> names;
    for (const auto& section : known) {
        if ((sections & section.bit) == 0)
            continue;
        char name[64];
        copy_text(name, sizeof name, section.name.data(), section.name.size());
        if (!names.empty())
            names.append(separator);
        names.append(name);
    }
    return names;
}

bool has_in_name(const KnownSetting& setting, std::string_view word)
{
    return has_in(setting.key, word);
}

bool has_in_meaning(const KnownSetting& setting, std::string_view word)
{
    return has_in(setting.meaning, word);
}

const char* nearest_known_key(std::string_view key)
{
    const KnownSetting* nearest = nullptr;
    size_t best = letters_off(key.size()) + 1;
    for (size_t i = 0; i < known_setting_count; ++i) {
        const std::string_view known = known_settings[i].key;
        if (known.size() + best <= key.size() || key.size() + best <= known.size())
            continue; // so many letters are missing alone
        const size_t letters = letters_between(key, known);
        if (letters < best) {
            best = letters;
            nearest = &known_settings[i];
        }
    }
    return nearest != nullptr ? nearest->key : longest_tail_of(key);
}

#include "known_setting.h"

#include <algorithm>

#include "text_parts.h"

namespace {

constexpr size_t longest_compared = 63;
constexpr size_t near = 3;

bool is_number(std::string_view text)
{
    return !text.empty() && text.front() != '0' && text.find_first_not_of("0123456789") == text.npos;
}

// True when `key` is `pattern`, or is one of the many keys that it stands for.
bool matches(std::string_view pattern, std::string_view key)
{
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

// Number of insertions, deletions and replacements that make one text the other.
size_t distance(std::string_view one, std::string_view other)
{
    if (one.size() > longest_compared || other.size() > longest_compared)
        return longest_compared;
    size_t row[longest_compared + 1] = {};
    for (size_t i = 0; i <= other.size(); ++i)
        row[i] = i;
    for (size_t i = 1; i <= one.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t k = 1; k <= other.size(); ++k) {
            const size_t replaced = diagonal + (one[i - 1] == other[k - 1] ? 0 : 1);
            diagonal = row[k];
            row[k] = std::min({row[k] + 1, row[k - 1] + 1, replaced});
        }
    }
    return row[other.size()];
}

} // namespace

const KnownSetting* find_known_setting(std::string_view key, unsigned sections)
{
    for (size_t i = 0; i < known_setting_count; ++i) {
        if ((known_settings[i].sections & sections) != 0 && matches(known_settings[i].key, key))
            return &known_settings[i];
    }
    return nullptr;
}

unsigned section_bit(std::string_view section, std::string_view wan_section)
{
    return section == "system"                                         ? in_system
           : section == "lan0"                                         ? in_lan0
           : section == "lan1"                                         ? in_lan1
           : section == wan_section || first_part(section, 3) == "wan" ? in_wan
                                                                       : 0;
}

const char* nearest_known_key(std::string_view key)
{
    const char* nearest = nullptr;
    size_t best = near + 1;
    for (size_t i = 0; i < known_setting_count; ++i) {
        const size_t d = distance(key, known_settings[i].key);
        if (d < best) {
            best = d;
            nearest = known_settings[i].key;
        }
    }
    return nearest;
}

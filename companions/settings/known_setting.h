// Finding a key among the known settings.
#pragma once

#include <string_view>

#include "frame/text.h"
#include "settings_table.h"

// True when `key` is the setting's, or one of the many that it stands for: "extra_sid_3" is an extra_sid_N.
bool is_one_of(const KnownSetting& setting, std::string_view key);

// The first known setting that `key` is one of. Null when there is none.
const KnownSetting* find_known_setting(std::string_view key, unsigned sections);

// The sections in which `key` may stand, ored; 0 when there is no such key.
unsigned sections_of(std::string_view key);

// Every section: a search that does not look at the section.
inline constexpr unsigned in_any_section = in_system | in_lan0 | in_lan1 | in_wan;

// The section's bit; `wan_section` is the WAN's name. 0 for a section that nothing reads.
unsigned section_bit(std::string_view section, std::string_view wan_section);

// Names of ored sections with `separator` between them; the WAN's is called `wan_name`.
Text<128> section_names(unsigned sections, const char* separator = ", ",
                        std::string_view wan_name = "the WAN's section");

// The known key that looks most like `key`, or null when none is near.
const char* nearest_known_key(std::string_view key);

// True when the key's name has `word` in it, in letters of either case.
bool has_in_name(const KnownSetting& setting, std::string_view word);

// The same for what the key is for.
bool has_in_meaning(const KnownSetting& setting, std::string_view word);

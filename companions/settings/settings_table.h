// What every key of the configuration store is for. The rows are made from settings.txt when the program is built.
#pragma once

#include <stddef.h>

enum class SettingType {
    flag,
    number,
    seconds,
    ip6,
    ip4,
    host,
    ip6_list,
    name_list,
    word,
    hex2,
    gid,
    hostid,
    duid,
    interface,
    section,
    filter,
    sixrd,
    sid_list,
    text
};

// Sections in which a key may stand, ored.
inline constexpr unsigned in_system = 1;
inline constexpr unsigned in_lan0 = 2;
inline constexpr unsigned in_lan1 = 4;
inline constexpr unsigned in_wan = 8;

struct KnownSetting {
    const char* key; // "extra_sid_N" and "if2sect_IFNAME" stand for many keys
    unsigned sections;
    bool is_state; // kept by the program; a person leaves it alone
    SettingType type;
    long long low;        // of a number or of seconds
    long long high;       // the same; of a text: characters
    const char* words;    // of a word: what it may be, blanks between
    const char* values;   // what it may be, for a person
    const char* fallback; // what a missing key counts as
    const char* read_by;
    const char* written_by;
    const char* meaning;
};

extern const KnownSetting known_settings[];
extern const size_t known_setting_count;

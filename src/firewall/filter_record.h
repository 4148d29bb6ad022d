// One record of the user's list of open services.
#pragma once

#include "frame/text.h"

// Records of a list that are in force; further ones are not.
inline constexpr int filter_record_limit = 20;

// One record: name;host;protocol;first;last;protocol;first;last
struct FilterRange {
    Text<4> protocol;
    Text<8> first;
    Text<8> last;
};

struct FilterRecord {
    Text<40> name;
    Text<40> host;
    FilterRange range[2];
};

// Reads the fields up to the first empty one, as far as there are; a ' ends the record too. Fields are cut to their
// room.
FilterRecord parse_filter_record(const char* text);

// True when `host` is an IPv6 address, with or without a prefix length of 0 to 128.
bool is_filter_host(const char* host);

// True when `port` is a decimal number of 1 to 65535 without leading zeros.
bool is_filter_port(const char* port);

// Null when the loader takes the range's rules, or when the range writes none (an empty port, a protocol that is
// neither tcp nor udp nor both); otherwise what makes it left out.
const char* filter_range_fault(const FilterRecord& record, const FilterRange& range);

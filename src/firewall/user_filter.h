// The user's list of open services.
#pragma once

#include "frame/text.h"

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

// Appends the rules of at most 20 records of ip6_filter_list@<wan_sect>, none when ip6_filter_cnt equals "0". A record
// that the loader would refuse, and the whole ruleset with it, is left out with a log line.
void write_user_filter(int tid);

// The user's list of open services.
#pragma once

// Appends the rules of at most 20 records of ip6_filter_list@<wan_sect>, none when ip6_filter_cnt equals "0". A record
// that the loader would refuse, and the whole ruleset with it, is left out with a log line.
void write_user_filter(int tid);

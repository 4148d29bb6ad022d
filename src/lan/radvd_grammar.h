// What the grammar of radvd.conf takes as a value (radvd.conf(5), measured with radvd 2.19). radvd refuses a whole file
// for one value that it does not take, and no LAN is told of its prefix then.
#pragma once

// An IPv6 address and a length of 0 to 128.
bool is_radvd_prefix(const char* address, int length);

// A time in seconds: decimal digits, or "infinity". Whether the number is one of 32 bits is not looked at.
bool is_radvd_seconds(const char* text);

// One to three IPv6 addresses, parted by blanks.
bool is_radvd_server_list(const char* list);

// Domains of letters, digits, "-" and ".", parted by blanks; none that is a number or a word of the grammar.
bool is_radvd_domain_list(const char* list);

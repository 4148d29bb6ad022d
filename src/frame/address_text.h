// IPv4 and IPv6 addresses as text.
#pragma once

// Finds the IPv4 address that nslookup printed behind "Name:" and "Address 1: ". It counts only when it has at most 15
// characters and a blank follows it. Ends the address in place and returns it; null when there is none.
char* get_nslookup_addr(char* output);

// Replaces IPv6 text by its canonical form (RFC 5952, as inet_ntop(3) writes it) when that is strictly shorter; leaves
// it as it is otherwise, also when it is no address. Returns `text`.
char* compress_ip6_addr(char* text);

// True when `text` is an IPv6 address and nothing else (inet_pton(3)).
bool is_ip6_address(const char* text);

// The leading decimal number of a text, as atoi(3) reads it, and a number of the store, whose long is as wide as the
// processor's; beyond the range of int the nearest int.
int to_int(const char* text);
int to_int(long number);

// Interface addresses, set through the kernel's interface requests.
#pragma once

// Adds (`flag` 1) or deletes (any other `flag`) one address on an interface (linux/ipv6.h, struct in6_ifreq).
// `address` is IPv6 text, `pfxlen` its length in bits; a text that is no address stands for "::". Returns 1, or -1 when
// the socket or the kernel refuses; the diagnostic log says which.
int set_ipv6_addr(const char* if_name, const char* address, int pfxlen, int flag);

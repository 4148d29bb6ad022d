// IPv6 prefixes: 16 octets in network order and a length in bits.
#pragma once

#include <array>

#include "params/param_record.h"

using Ip6Octets = std::array<unsigned char, 16>;

// Parses "address/length" (groups of hexadecimal, one "::" allowed, no dotted quad) into the octets masked to the
// length. Texts below 4 or above 42 characters and texts without a length are refused. The range of the length is not
// checked. Returns 1, or -1 with nothing written.
int parse_ip6_prefix(const char* text, Ip6Octets* prefix_out, int* pfxlen_out);

// Copies the first `pfxlen` bits of `src` to `dst` and clears the rest.
void mask_ip6_prefix(Ip6Octets& dst, const Ip6Octets& src, int pfxlen);

// All sixteen octets as eight groups of four upper-case hexadecimal digits.
AddressText long_form(const Ip6Octets& octets);

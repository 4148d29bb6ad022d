// Synthesis of LAN prefixes, LAN addresses and unique-local global ids.
#pragma once

#include "ip6_prefix.h"

// Generates one text, by the first three letters of `mode`:
//   "prefix"   the /64 of one LAN: the delegated `prefix` with the side's subnet id ORed into its eighth octet, or,
//   when the
//              subnet id is empty, with the checksum of the device's settings there; sets parm.routing_prefix
//   "addr"     a host address: the first eight octets of `prefix` and the side's interface identifier
//   "ula_gid"  a 40-bit global id from the time and the MAC (RFC 4193, section 3.2.2), xx:xxxx:xxxx; `prefix` may be
//   null
// `mac_text` is the side's MAC as colon-separated text; `is_lan1` 0 takes LAN0's parameters, anything else LAN1's.
// Returns a process-wide buffer of 46 bytes that the next call overwrites, empty when nothing could be generated.
const char* generate_addr(const Ip6Octets* prefix, int pfxlen, const char* mode, const char* mac_text, int is_lan1);

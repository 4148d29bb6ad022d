// Bring-up of the WAN and the LAN side from the current parameters.
#pragma once

// By the first three letters of `side`:
//   "wan"  adds a static WAN address, records the WAN prefix, replaces the default route; returns the status of its
//   last shell
//          line, -1 when the WAN address is invalid
//   "lan"  carves one /64 per bridge out of the delegated prefix, replaces the bridges' global addresses and stores
//   both;
//          returns 0
// Any other word: 0.
int start_ipv6(int tid, const char* side);

// Flushes routing table 200 and brings the WAN side up. Returns 1.
int start_ipv6_wan(int tid);

// The 6rd tunnel (RFC 5969).
#pragma once

#include "addr/ip6_prefix.h"

#include <cstdint>

// Builds the tunnel from the DHCPv4 6rd information or the manual settings, routes through the border relay, derives
// and stores the delegated prefix, restarts the LANs and gives the tunnel its own address. Returns the status of "ip
// tunnel 6rd", 0 in every other case.
int start_6rd(int tid);

// Removes the tunnel. Returns the status of the shell line.
int del_6rd_tunnel(int tid);

// The 6rd delegated prefix (RFC 5969, section 7.1.1): the first `pfxlen` bits of `prefix`, then the bits of the WAN's
// IPv4 address (host byte order) behind its first `v4mask`. `pfxlen` 1 to 64, `v4mask` 0 to 32; with 32 all bits of the
// address stay.
Ip6Octets sixrd_delegated_prefix(const Ip6Octets& prefix, int pfxlen, std::uint32_t ip4, int v4mask);

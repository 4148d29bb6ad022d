// Detection of the WAN mode from what the upstream router advertised.
#pragma once

// Waits, one second at a time and without limit, until the kernel lists the WAN interface, judges the router's
// advertisement (RFC 4861, section 4.2: the Managed flag), records what it says and starts the DHCPv6 client: stateless
// when Managed is clear, stateful when it is set or no router answered. Returns 1, or -1 when the WAN does not run
// DHCPv6 or the limit of solicitations cannot be read.
int waninfo_main(int tid);

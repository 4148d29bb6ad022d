// The hooks of the IPv4 control protocol (IPCP, RFC 1332) of the PPP link.
#pragma once

// IPv4 came up: marks it ready, wakes the DNS forwarder when both families are, takes the three trigger rules out of
// the IPv4 filter and empties connection tracking. Returns 1, or -1 when the saved rules cannot be read; nothing is
// restored then.
int zel_ipcp_up(int tid);

// IPv4 went down: marks it, removes the link's name server from /tmp/resolv.conf and updates the resolver. Returns 1.
int zel_ipcp_down(int tid);

// The table of IPv6 neighbors that the gateway has seen.
#pragma once

// Merges the kernel's neighbor table into /tmp/.ip6_neigh and drops neighbors not seen for 600 seconds. Returns the
// number of hosts that remain, or -1 when the kernel's table cannot be had; the stored table is left as it was then.
int zel_ip6neigh_update(int tid);

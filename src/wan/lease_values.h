// The lease as the configuration store holds it.
#pragma once

// ip6_dhcp6c_prefix_mode@system. Any other value acts as random while binding and as preferred when a lease ends.
enum PrefixMode : int {
    PREFERRED_PREFIX = 0, // the delegated prefix is stored and survives the lease
    RANDOM_PREFIX = 1,    // it lives in the process only
};

int prefix_mode(int tid);

// The steps of the reset of the WAN lease values; a whole reset is all three in this order.
void reset_wan_address(int tid);
void reset_wan_domain_and_servers(int tid, bool with_servers);
void reset_wan_times_and_prefix(int tid, int mode);

void reset_wan_lease(int tid, int mode);

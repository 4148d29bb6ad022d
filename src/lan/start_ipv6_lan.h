// The restart of the LAN side after the WAN has obtained its address and prefix.
#pragma once

// Marks the WAN ready, readdresses the bridges, restarts the LAN daemons, installs the extra routes, reapplies the
// firewall and the resolver, and tells the voice service the WAN address. Returns 1.
int start_ipv6_lan(int tid);

// One look at the gateway: what everything else is judged by.
#pragma once

#include "frame/text.h"
#include "kernel_tables.h"
#include "settings_view.h"

struct Look {
    SettingsView settings;
    KernelTables kernel;
    const char* store_fault = nullptr; // null: the store was read
    const char* wan_fault = nullptr;   // null: the two names below are what the device's scripts say
    Text<32> wan_ifname;
    Text<32> wan_sect;
    bool ip6_ready = false; // ip6_wan_ready@system

    void take();
    void drop() { settings.close(); }
};

// "up", "no carrier" and the like; null for an interface that is not there.
const char* link_state(const char* ifname);

// True when the kernel has this address on the interface; `found` (may be null) then gets it.
bool has_address(const Look& look, const char* ifname, const in6_addr& address, KernelAddress* found = nullptr);

// The address as canonical text (RFC 5952).
Text<46> canonical(const in6_addr& address);

// True when the settings want the WAN to be configured by DHCPv6.
bool is_dhcp(const Look& look);

// The number in /proc/sys/net/ipv6/conf/`ifname`/`name`; `missing` when the kernel has none.
long kernel_setting(const char* ifname, const char* name, long missing);

// The command that brings the WAN in order: detection and the client, or address and tunnel; the LANs follow it. The
// empty text when nothing does, because its link is not up.
const char* wan_start(const Look& look);

// The command that starts the LANs' daemons anew. The LAN restart takes the WAN for ready, so it is for a WAN that is.
const char* lan_restart(const Look& look);

// The command that writes and loads the ruleset, which goes by the WAN's prefix.
const char* firewall_load(const Look& look);

// Seconds as a person reads them: "1h 02m".
Text<32> duration(long long seconds);

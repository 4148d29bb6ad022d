// The locks of the LAN daemons' configuration files.
#pragma once

#include "frame/file_lock.h"

inline constexpr char radvd_conf_path[] = "/tmp/radvd.conf";
inline constexpr char dhcp6d_conf_path[] = "/tmp/dhcp6d.conf";

// Held from before the daemons' stop to behind their start, so that of two invocations that overlap the later one stops
// what the earlier one has started, and each daemon runs with the file that is there. Always taken in this order, and
// before the ruleset's lock by who takes that as well.
struct DaemonLocks {
    FileLock radvd{radvd_conf_path};
    FileLock dhcp6d{dhcp6d_conf_path};
};

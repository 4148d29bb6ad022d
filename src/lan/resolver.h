// The gateway's resolver file and its DNS forwarder.
#pragma once

// Records the WAN link's IPv4 name servers, has the firmware rebuild /tmp/resolv.conf.auto, adds the IPv6 name servers
// and restarts the forwarder. Returns 1, or -1 when the rebuilt file cannot be opened; the forwarder is not restarted
// then.
int zel_resolv_update(int tid);

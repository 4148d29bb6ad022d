// The DHCPv6 server of the LANs: options only, addresses come from router advertisements.
#pragma once

// Copies the server's binary to its private name, writes /tmp/dhcp6d.conf, creates the lease and the pid file and
// starts the server; the caller holds DaemonLocks. The configuration is put in place as a whole. Returns 1, or -1 when
// a file cannot be opened or written; the server is not started then.
int start_dhcp6d(int tid);

// Removes the configuration and the lease file and stops the server. Returns 1.
int stop_dhcp6d();

// The router advertisement daemon (RFC 4861, RFC 8106).
#pragma once

// Writes /tmp/radvd.conf for both bridges, puts it in place as a whole and starts radvd; the caller holds DaemonLocks.
// Returns 1, or -1 when the file cannot be opened or written; radvd is not started then.
int start_radvd(int tid);

// Stops radvd, stops forwarding unless the WAN is dialed on demand, waits 800 ms. Returns 1.
int stop_radvd();

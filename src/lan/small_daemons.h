// LAN daemons that one shell line starts or stops.
#pragma once

// The multicast proxy between the WAN and LAN0 (RFC 4605, MLD). Each returns 1.
int start_ecmh(int tid);
int stop_ecmh();

// The daemon that collects name servers from router advertisements (RFC 8106) in /tmp/rdnssd. Each returns 1.
int start_rdnssd();
int stop_rdnssd();

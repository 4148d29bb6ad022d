// Events of the DHCPv6 client, which runs this program as its script.
#pragma once

// Handles the event that the client's environment describes (`reason` and its companions, dhclient-script(8)): stores
// what a binding granted, applies it on the EFFECT6 that follows, clears what a lease's end takes away. Returns 0; at
// the end of a lease the status of the last shell line.
int dhcp6c_main(int tid);

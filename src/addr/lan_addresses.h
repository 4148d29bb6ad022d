// The bridges' link-local and unique-local addresses (RFC 4193).
#pragma once

// Gives br-lan the link-local address of its MAC. Returns 1.
int start_lla(int tid);

// Rebuilds the unique-local address of LAN0 (`is_lan1` 0) or LAN1: generates the global id on first use, removes the
// previous address, adds and stores the new one when the side has them enabled, and switches forwarding on for the
// bridge. Returns 1.
int start_ula(int tid, int is_lan1);

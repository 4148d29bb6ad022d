// The IPv6 packet filter (RFC 6092, RFC 4890).
#pragma once

// Writes the ruleset anew, loads it in one step, runs the user's own additions and switches forwarding on; one
// invocation at a time.
void apply_ip6_firewall(int tid);

// Removes every rule.
void flush_ip6tables();

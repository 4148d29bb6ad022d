// What a DHCPv6 server granted, taken from the client's environment into the store.
#pragma once

#include "client_environment.h"

// Stores what differs from the stored lease: domain, SNTP servers, name servers, lifetimes and timers, delegated prefix
// (by the prefix `mode`), address. Leaves ip6_changed 1 when a domain, a name server, the stored prefix or the address
// changed, 0 otherwise. Returns 0.
int store_binding(int tid, const ClientEvent& event, int mode);

// The name servers that a LAN is told of.
#pragma once

#include "params/lan_side.h"

using DnsList = Text<128>;

// The system's two servers joined by `separator`, or else the bridge's own unique-local address, or else its global
// one. Possibly empty.
DnsList lan_dns_servers(const LanSide& lan, const char* separator);

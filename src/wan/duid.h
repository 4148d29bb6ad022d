// DHCPv6 client identifiers (RFC 8415, section 11).
#pragma once

#include <cstdint>

#include "params/param_record.h"

using DuidText = Text<256>;

// Builds the identifier of `type` from the record: 1 link-layer address plus time, 2 enterprise number, 3 link-layer
// address. Type 1 takes the current time. False for any other type.
bool build_duid(int type, DuidText& duid);

// Seconds since 2000-01-01 00:00 UTC modulo 2^32 (RFC 8415, section 11.2); an earlier time is taken as it is.
std::uint32_t duid_time(std::uint32_t unix_time);

// Is a value of the kind that its key asks for?
#pragma once

#include <string_view>

#include "settings_table.h"

// Null when `value` fits the setting's type and range, or is empty; otherwise what is wrong with it. The text stays
// valid until the next call.
const char* value_mismatch(const KnownSetting& setting, std::string_view value);

// True for an IPv6 address in any spelling (RFC 4291, section 2.2); `octets` are its 16 bytes.
bool parse_ip6(std::string_view text, unsigned char* octets);

// True for a decimal number without sign; `number` is 0 otherwise.
bool parse_number(std::string_view text, long long& number);

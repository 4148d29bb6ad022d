// MAC addresses and the interface identifiers made of them.
#pragma once

#include "param_record.h"

// Reads colon-separated hexadecimal octets; octets that cannot be read keep their value.
void read_mac(const char* text, MacOctets& mac);

// The modified EUI-64 interface identifier of a MAC (RFC 4291, appendix A) as four groups of upper-case hexadecimal.
AddressText modified_eui64(const MacOctets& mac);

#include "mac.h"

#include <cstdio>

void read_mac(const char* text, MacOctets& mac)
{
    static_cast<void>(
        std::sscanf(text, "%02X:%02X:%02X:%02X:%02X:%02X", &mac[0], &mac[1], &mac[2], &mac[3], &mac[4], &mac[5]));
}

AddressText modified_eui64(const MacOctets& mac)
{
    AddressText id;
    id.print("%02X%02X:%02XFF:FE%02X:%02X%02X", mac[0] ^ 2U, mac[1], mac[2], mac[3], mac[4], mac[5]);
    return id;
}

// Facts about the device that the configuration store does not hold.
//
// Each logs its result or its failure under its own name and returns 1, or -1 on failure.
#pragma once

#include "text.h"

// The interface that carries WAN data, as the firmware's wandataif.sh prints it. `size` of `ifname`, terminator
// included.
int get_wan_ifname(char* ifname, int size);

// The configuration section of the WAN interface `ifname`, as the firmware's if2sect.sh prints it, into `sect` of
// `size` bytes.
int get_wan_sect(const char* ifname, char* sect, int size);

// The boot environment's "serial" and "hw_version".
int get_serial_number(char* serial, int size);
int get_product_class(char* product_class, int size);

// The IPv4 address of an interface as dotted-decimal text (netdevice(7), SIOCGIFADDR). `address` has 16 bytes. Names
// above 15 characters are cut.
int get_ip4_addr(const char* ifname, char* address);

// The MAC address of an interface as lower-case hexadecimal octets with colons (SIOCGIFHWADDR). `mac` has 18 bytes; on
// failure it is left as it was.
int get_mac_addr(const char* ifname, char* mac);

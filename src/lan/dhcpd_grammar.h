// What the grammar of dhcpd.conf takes as a value (dhcpd.conf(5), measured with dhcpd 4.4.3). dhcpd does not start for
// one value that it does not take.
#pragma once

// A number: decimal digits, with or without a minus sign. A leading 0 makes it octal.
bool is_dhcpd_number(const char* text);

// The same, or "infinite".
bool is_dhcpd_lease_time(const char* text);

// A number of one octet.
bool is_dhcpd_octet(const char* text);

// An IPv6 address and a length of 0 to 128. Whether the address is the first one of that length is not looked at.
bool is_dhcpd_subnet(const char* address, int length);

// IPv6 addresses parted by commas.
bool is_dhcpd_server_list(const char* list);

// A domain, inside of its quotes: labels of 1 to 63 bytes, parted by dots, with or without a dot at the end.
bool is_dhcpd_domain(const char* text);

// The lease file of the DHCPv6 client (dhclient.leases(5)): what the server gave, and until when.
#pragma once

#include <netinet/in.h>

struct LeasedPart {
    bool is_there = false;
    unsigned length = 0; // 128 where the file says none
    in6_addr address = {};
    long long starts = 0;    // seconds since 1970
    long long preferred = 0; // seconds from then
    long long valid = 0;
};

struct Lease {
    LeasedPart prefix;
    LeasedPart address;
};

// True when the server gave anything.
bool has_lease(const Lease& lease);

// The newest lease of the client's own file; an empty one when there is none.
Lease read_lease();

// The newest lease of the file's text. What is not understood is passed over.
Lease parse_lease(const char* text);

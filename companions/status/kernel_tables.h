// The kernel's IPv6 addresses, routes and neighbors, by rtnetlink(7).
#pragma once

#include <netinet/in.h>
#include <stddef.h>
#include <stdint.h>

struct KernelAddress {
    unsigned index = 0;
    unsigned length = 0;
    uint32_t flags = 0;     // IFA_F_ of linux/if_addr.h
    uint32_t preferred = 0; // seconds left; UINT32_MAX is for ever
    uint32_t valid = 0;
    in6_addr address = {};
};

struct KernelRoute {
    unsigned index = 0;
    unsigned length = 0;
    bool has_gateway = false;
    in6_addr target = {};
    in6_addr gateway = {};
};

struct KernelNeighbor {
    unsigned index = 0;
    uint16_t state = 0; // NUD_ of linux/neighbour.h
    in6_addr address = {};
};

// One table; what has no room is left out.
template <class Entry, size_t N>
struct KernelTable {
    static constexpr size_t capacity = N;
    bool is_known = false; // the kernel has told all of it, and there was room for it
    size_t count = 0;
    Entry entries[N];

    const Entry* begin() const { return entries; }
    const Entry* end() const { return entries + count; }
};

struct KernelTables {
    KernelTable<KernelAddress, 512> addresses;
    KernelTable<KernelRoute, 2048> routes; // of the main table
    KernelTable<KernelNeighbor, 4096> neighbors;
};

// Fills all three anew.
void read_kernel_tables(KernelTables& tables);

bool is_same(const in6_addr& a, const in6_addr& b);

// True when the first `length` bits (0 to 128) of both are the same.
bool is_same_prefix(const in6_addr& a, const in6_addr& b, unsigned length);

// A list of IPv6 neighbors in the order in which they were first seen. The one place of the program that uses the heap.
#pragma once

#include <array>

#include "frame/text.h"

struct Neighbor {
    std::array<unsigned char, 6> lladdr = {};
    Text<46> address;
    Text<32> device;
    int last_seen = 0; // uptime in seconds
    Neighbor* next = nullptr;
};

class NeighborList {
public:
    // Each neighbor is compared with each entry: a LAN that makes up more of them must not keep the program busy.
    static constexpr int limit = 4096;

    NeighborList() = default;
    ~NeighborList();
    NeighborList(const NeighborList&) = delete;
    NeighborList& operator=(const NeighborList&) = delete;

    // Appends a copy of `neighbor`. False when the list is full or there is no memory.
    bool append(const Neighbor& neighbor);

    Neighbor* first() { return first_; }

private:
    Neighbor* first_ = nullptr;
    Neighbor* last_ = nullptr;
    int count_ = 0;
};

// Reads "ADDRESS dev DEVICE lladdr xx:xx:xx:xx:xx:xx", and behind it "uptime N" when there is one, into `neighbor`;
// fields that the line does not supply keep their value. The line has at most 511 bytes. Returns the number of fields
// read: 8 with the link-layer address, 9 with the uptime.
int parse_neighbor(const char* line, Neighbor& neighbor);

#include "neighbor_list.h"

#include <cstdio>
#include <cstdlib>
#include <new>

NeighborList::~NeighborList()
{
    while (first_ != nullptr) {
        Neighbor* const next = first_->next;
        std::free(first_);
        first_ = next;
    }
}

bool NeighborList::append(const Neighbor& neighbor)
{
    if (count_ == limit)
        return false;
    void* const memory = std::malloc(sizeof(Neighbor));
    if (memory == nullptr)
        return false;
    Neighbor* const entry = new (memory) Neighbor(neighbor);
    entry->next = nullptr;
    if (last_ == nullptr)
        first_ = entry;
    else
        last_->next = entry;
    last_ = entry;
    ++count_;
    return true;
}

int parse_neighbor(const char* line, Neighbor& neighbor)
{
    using Word = char[512];
    Word address;
    Word device;
    std::array<unsigned, 6> octets = {};
    int uptime = 0;
    const int fields =
        std::sscanf(line, "%511s dev %511s lladdr %02x:%02x:%02x:%02x:%02x:%02x uptime %d", address, device, &octets[0],
                    &octets[1], &octets[2], &octets[3], &octets[4], &octets[5], &uptime);
    if (fields >= 1)
        neighbor.address = address;
    if (fields >= 2)
        neighbor.device = device;
    for (int i = 0; i < 6 && fields >= 3 + i; ++i)
        neighbor.lladdr[static_cast<std::size_t>(i)] = static_cast<unsigned char>(octets[static_cast<std::size_t>(i)]);
    if (fields >= 9)
        neighbor.last_seen = uptime;
    return fields;
}

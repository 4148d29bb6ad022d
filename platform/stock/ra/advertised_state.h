// What the kernel knows of the advertising router of each interface, gathered from its netlink messages.
#pragma once

#include <linux/netlink.h>
#include <netinet/in.h>
#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <span>

inline constexpr uint32_t advertisement_received = 0x20;
inline constexpr uint32_t managed_flag = 0x40;
inline constexpr uint32_t other_flag = 0x80;

struct InterfaceState {
    unsigned int index = 0;
    uint32_t flags = 0;
    int router_rank = 0; // how good a witness of the router has been found; 0: none
    in6_addr router = {};
    std::optional<unsigned long> solicitations; // for who reads them to keep them here
};

class AdvertisedState {
public:
    // Interfaces that are kept; those of a gateway are a dozen.
    static constexpr size_t capacity = 512;

    void clear() { count_ = 0; }

    // Takes one message of a link, route or neighbor dump of AF_INET6; any other, and a cut one, is passed over.
    // Links must come first. `message` is the whole message, its header included.
    void take(std::span<const unsigned char> message);

    // True when every interface that has received an advertisement has a router.
    bool has_all_routers() const;

    // Null for an interface that the kernel did not list.
    InterfaceState* find(unsigned int index);

private:
    void take_link(std::span<const unsigned char> body);
    void take_route(std::span<const unsigned char> body);
    void take_neighbor(std::span<const unsigned char> body);
    void offer_router(unsigned int index, const in6_addr& router, int rank);

    size_t count_ = 0;
    InterfaceState interfaces_[capacity];
};

#include "advertised_state.h"

#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <string.h>

namespace {

using Bytes = std::span<const unsigned char>;

// Ranks of the witnesses: a neighbor entry may outlive the router's advertisements, a route does not. On a link without
// link-layer addresses, as PPP is, the kernel flags no neighbor as a router; the one there is, is the peer.
constexpr int peer_rank = 1;
constexpr int neighbor_rank = 2;
constexpr int low_route_rank = 3;
constexpr int medium_route_rank = 4;
constexpr int high_route_rank = 5;

constexpr size_t aligned(size_t size)
{
    return (size + 3) & ~size_t{3};
}

template <typename T>
bool read_value(Bytes bytes, T& value)
{
    if (bytes.size() < sizeof value)
        return false;
    memcpy(&value, bytes.data(), sizeof value);
    return true;
}

Bytes after(Bytes bytes, size_t size)
{
    return size < bytes.size() ? Bytes(bytes.data() + size, bytes.size() - size) : Bytes();
}

// Splits one attribute off `rest`. Returns false at the end or at a cut attribute.
bool next_attribute(Bytes& rest, int& type, Bytes& value)
{
    rtattr head;
    if (!read_value(rest, head) || head.rta_len < sizeof head || head.rta_len > rest.size())
        return false;
    type = head.rta_type & NLA_TYPE_MASK;
    value = Bytes(rest.data() + sizeof head, head.rta_len - sizeof head);
    rest = after(rest, aligned(head.rta_len));
    return true;
}

bool find_attribute(Bytes attributes, int wanted, Bytes& value)
{
    int type;
    while (next_attribute(attributes, type, value)) {
        if (type == wanted)
            return true;
    }
    return false;
}

template <typename T>
bool read_attribute(Bytes attributes, int wanted, T& value)
{
    Bytes bytes;
    return find_attribute(attributes, wanted, bytes) && read_value(bytes, value);
}

// The preference field of an advertisement (RFC 4191, section 2.1) as a rank.
int rank_of_preference(uint8_t preference)
{
    switch (preference) {
    case 1:
        return high_route_rank;
    case 3:
        return low_route_rank;
    default:
        return medium_route_rank;
    }
}

} // namespace

void AdvertisedState::take_link(Bytes body)
{
    ifinfomsg link;
    Bytes inet6;
    InterfaceState state;
    if (!read_value(body, link) || link.ifi_family != AF_INET6 || count_ == capacity)
        return;
    if (!find_attribute(after(body, aligned(sizeof link)), IFLA_PROTINFO, inet6)
        || !read_attribute(inet6, IFLA_INET6_FLAGS, state.flags))
        return;
    state.index = static_cast<unsigned int>(link.ifi_index);
    interfaces_[count_++] = state;
}

void AdvertisedState::offer_router(unsigned int index, const in6_addr& router, int rank)
{
    for (InterfaceState& state : std::span(interfaces_, count_)) {
        if (state.index != index || rank <= state.router_rank)
            continue;
        state.router = router;
        state.router_rank = rank;
        // The kernel flags only an advertisement that follows a solicitation; the route of an earlier one is as good a
        // witness, and the Managed and Other flags beside it are those of the advertisement that made it.
        if (rank >= low_route_rank)
            state.flags |= advertisement_received;
    }
}

void AdvertisedState::take_route(Bytes body)
{
    rtmsg route;
    if (!read_value(body, route) || route.rtm_family != AF_INET6 || route.rtm_dst_len != 0
        || route.rtm_protocol != RTPROT_RA || route.rtm_type != RTN_UNICAST || (route.rtm_flags & RTM_F_CLONED) != 0)
        return;
    const Bytes attributes = after(body, aligned(sizeof route));
    uint8_t preference = 0;
    read_attribute(attributes, RTA_PREF, preference);
    const int rank = rank_of_preference(preference);
    in6_addr gateway;
    unsigned int index;
    if (read_attribute(attributes, RTA_GATEWAY, gateway) && read_attribute(attributes, RTA_OIF, index))
        offer_router(index, gateway, rank);

    Bytes hops;
    if (!find_attribute(attributes, RTA_MULTIPATH, hops))
        return;
    rtnexthop hop;
    while (read_value(hops, hop) && hop.rtnh_len >= sizeof hop && hop.rtnh_len <= hops.size()) {
        if (read_attribute(after(Bytes(hops.data(), hop.rtnh_len), sizeof hop), RTA_GATEWAY, gateway))
            offer_router(static_cast<unsigned int>(hop.rtnh_ifindex), gateway, rank);
        hops = after(hops, aligned(hop.rtnh_len));
    }
}

void AdvertisedState::take_neighbor(Bytes body)
{
    ndmsg neighbor;
    in6_addr address;
    if (!read_value(body, neighbor) || neighbor.ndm_family != AF_INET6
        || !read_attribute(after(body, aligned(sizeof neighbor)), NDA_DST, address))
        return;
    const auto index = static_cast<unsigned int>(neighbor.ndm_ifindex);
    if ((neighbor.ndm_flags & NTF_ROUTER) != 0)
        offer_router(index, address, neighbor_rank);
    else if ((neighbor.ndm_state & NUD_NOARP) != 0 && IN6_IS_ADDR_LINKLOCAL(&address))
        offer_router(index, address, peer_rank);
}

void AdvertisedState::take(Bytes message)
{
    nlmsghdr head;
    if (!read_value(message, head) || head.nlmsg_len > message.size())
        return;
    const Bytes body = after(Bytes(message.data(), head.nlmsg_len), sizeof head);
    switch (head.nlmsg_type) {
    case RTM_NEWLINK:
        take_link(body);
        break;
    case RTM_NEWROUTE:
        take_route(body);
        break;
    case RTM_NEWNEIGH:
        take_neighbor(body);
        break;
    default:
        break;
    }
}

bool AdvertisedState::has_all_routers() const
{
    for (const InterfaceState& state : std::span(interfaces_, count_)) {
        if ((state.flags & advertisement_received) != 0 && state.router_rank == 0)
            return false;
    }
    return true;
}

InterfaceState* AdvertisedState::find(unsigned int index)
{
    for (InterfaceState& state : std::span(interfaces_, count_)) {
        if (state.index == index)
            return &state;
    }
    return nullptr;
}

#include "advertised_state.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

using Message = std::vector<unsigned char>;

void append(Message& message, std::span<const unsigned char> bytes)
{
    for (const unsigned char byte : bytes)
        message.push_back(byte);
}

template <typename T>
void append_value(Message& message, const T& value)
{
    unsigned char bytes[sizeof value];
    memcpy(bytes, &value, sizeof value);
    append(message, bytes);
}

void pad(Message& message)
{
    while (message.size() % 4 != 0)
        message.push_back(0);
}

template <typename T>
Message attribute(int type, const T& value)
{
    Message made;
    append_value(made,
                 rtattr{static_cast<unsigned short>(sizeof(rtattr) + sizeof value), static_cast<unsigned short>(type)});
    append_value(made, value);
    pad(made);
    return made;
}

Message nest(int type, const Message& inner)
{
    Message made;
    append_value(made,
                 rtattr{static_cast<unsigned short>(sizeof(rtattr) + inner.size()), static_cast<unsigned short>(type)});
    append(made, inner);
    return made;
}

Message attributes(std::initializer_list<Message> parts)
{
    Message made;
    for (const Message& part : parts)
        append(made, part);
    return made;
}

template <typename Body>
Message message_of(uint16_t type, const Body& body, const Message& inner)
{
    Message made;
    append_value(made, nlmsghdr{});
    append_value(made, body);
    pad(made);
    append(made, inner);
    nlmsghdr head = {};
    head.nlmsg_len = static_cast<uint32_t>(made.size());
    head.nlmsg_type = type;
    memcpy(made.data(), &head, sizeof head);
    return made;
}

in6_addr address(const char* text)
{
    in6_addr made;
    inet_pton(AF_INET6, text, &made);
    return made;
}

Message link(int index, uint32_t flags)
{
    ifinfomsg body = {};
    body.ifi_family = AF_INET6;
    body.ifi_index = index;
    return message_of(RTM_NEWLINK, body,
                      attributes({attribute(IFLA_MTU, 1500u), nest(IFLA_PROTINFO | NLA_F_NESTED,
                                                                   attributes({attribute(IFLA_INET6_CACHEINFO, 0ull),
                                                                               attribute(IFLA_INET6_FLAGS, flags)}))}));
}

rtmsg route_body()
{
    rtmsg body = {};
    body.rtm_family = AF_INET6;
    body.rtm_protocol = RTPROT_RA;
    body.rtm_type = RTN_UNICAST;
    body.rtm_table = RT_TABLE_MAIN;
    return body;
}

Message route(int index, const char* gateway, uint8_t preference, const rtmsg& body = route_body())
{
    return message_of(RTM_NEWROUTE, body,
                      attributes({attribute(RTA_TABLE, 254u), attribute(RTA_OIF, index),
                                  attribute(RTA_GATEWAY, address(gateway)), attribute(RTA_PREF, preference)}));
}

Message neighbor(int index, const char* text, uint8_t flags, uint16_t kind = NUD_STALE)
{
    ndmsg body = {};
    body.ndm_family = AF_INET6;
    body.ndm_ifindex = index;
    body.ndm_flags = flags;
    body.ndm_state = kind;
    return message_of(RTM_NEWNEIGH, body, attribute(NDA_DST, address(text)));
}

class AdvertisedStateTest : public testing::Test {
protected:
    std::string router(unsigned int index)
    {
        const InterfaceState* const found = state.find(index);
        if (found == nullptr || found->router_rank == 0)
            return "";
        char text[INET6_ADDRSTRLEN];
        return inet_ntop(AF_INET6, &found->router, text, sizeof text);
    }

    AdvertisedState state;
};

} // namespace

TEST_F(AdvertisedStateTest, KnowsTheFlagsOfEachInterface)
{
    state.take(link(2, 0x80000010));
    state.take(link(7, 0x800000f0));
    ASSERT_NE(state.find(2), nullptr);
    ASSERT_NE(state.find(7), nullptr);
    EXPECT_EQ(state.find(2)->flags, 0x80000010);
    EXPECT_EQ(state.find(7)->flags, 0x800000f0);
    EXPECT_EQ(state.find(3), nullptr);
    state.clear();
    EXPECT_EQ(state.find(2), nullptr);
}

TEST_F(AdvertisedStateTest, TakesTheRouterOfTheDefaultRoute)
{
    state.take(link(2, 0xa0));
    state.take(link(3, 0xa0));
    EXPECT_FALSE(state.has_all_routers());
    state.take(route(2, "fe80::2", 0));
    EXPECT_FALSE(state.has_all_routers());
    state.take(route(3, "fe80::3", 0));
    EXPECT_TRUE(state.has_all_routers());
    EXPECT_EQ(router(2), "fe80::2");
    EXPECT_EQ(router(3), "fe80::3");
}

TEST_F(AdvertisedStateTest, ARouteOfAnAdvertisementIsAWitnessOfItBeforeAnySolicitation)
{
    state.take(link(3, managed_flag | other_flag));
    state.take(route(3, "fe80::1", 0));
    EXPECT_EQ(state.find(3)->flags, advertisement_received | managed_flag | other_flag);
}

TEST_F(AdvertisedStateTest, ANeighborIsNoWitnessOfAnAdvertisement)
{
    state.take(link(3, managed_flag));
    state.take(neighbor(3, "fe80::1", NTF_ROUTER));
    EXPECT_EQ(state.find(3)->flags, managed_flag);
}

TEST_F(AdvertisedStateTest, AnInterfaceWithoutAdvertisementNeedsNoRouter)
{
    state.take(link(2, 0x800000c0));
    EXPECT_TRUE(state.has_all_routers());
}

TEST_F(AdvertisedStateTest, PrefersTheRouterThatTheAdvertisementsPrefer)
{
    state.take(link(2, 0xa0));
    state.take(route(2, "fe80::10", 3));
    EXPECT_EQ(router(2), "fe80::10");
    state.take(route(2, "fe80::20", 0));
    EXPECT_EQ(router(2), "fe80::20");
    state.take(route(2, "fe80::30", 1));
    EXPECT_EQ(router(2), "fe80::30");
    state.take(route(2, "fe80::40", 1));
    state.take(route(2, "fe80::50", 0));
    state.take(route(2, "fe80::60", 3));
    EXPECT_EQ(router(2), "fe80::30");
}

TEST_F(AdvertisedStateTest, OtherRoutesHaveNoRouter)
{
    state.take(link(2, 0xa0));
    rtmsg other = route_body();
    other.rtm_protocol = RTPROT_STATIC;
    state.take(route(2, "fe80::1", 0, other));
    other = route_body();
    other.rtm_dst_len = 64;
    state.take(route(2, "fe80::1", 0, other));
    other = route_body();
    other.rtm_type = RTN_UNREACHABLE;
    state.take(route(2, "fe80::1", 0, other));
    other = route_body();
    other.rtm_flags = RTM_F_CLONED;
    state.take(route(2, "fe80::1", 0, other));
    other = route_body();
    other.rtm_family = AF_INET;
    state.take(route(2, "fe80::1", 0, other));
    state.take(route(9, "fe80::1", 0));
    EXPECT_EQ(router(2), "");
}

TEST_F(AdvertisedStateTest, TakesTheRoutersOfARouteOfManyHops)
{
    state.take(link(2, 0xa0));
    state.take(link(3, 0xa0));
    Message hops;
    for (const int index : {2, 3}) {
        const Message gateway = attribute(RTA_GATEWAY, address(index == 2 ? "fe80::2" : "fe80::3"));
        append_value(hops, rtnexthop{static_cast<unsigned short>(sizeof(rtnexthop) + gateway.size()), 0, 0, index});
        append(hops, gateway);
    }
    state.take(message_of(RTM_NEWROUTE, route_body(), nest(RTA_MULTIPATH, hops)));
    EXPECT_EQ(router(2), "fe80::2");
    EXPECT_EQ(router(3), "fe80::3");
}

TEST_F(AdvertisedStateTest, TakesANeighborThatIsARouterWhenThereIsNoRoute)
{
    state.take(link(2, 0xa0));
    state.take(neighbor(2, "fe80::a", 0));
    EXPECT_EQ(router(2), "");
    state.take(neighbor(2, "fe80::b", NTF_ROUTER));
    EXPECT_EQ(router(2), "fe80::b");
    state.take(route(2, "fe80::c", 3));
    EXPECT_EQ(router(2), "fe80::c");
    state.take(neighbor(2, "fe80::d", NTF_ROUTER));
    EXPECT_EQ(router(2), "fe80::c");
}

TEST_F(AdvertisedStateTest, TakesThePeerOfALinkWithoutLinkLayerAddresses)
{
    state.take(link(2, 0xa0));
    state.take(neighbor(2, "ff02::1", 0, NUD_NOARP));
    state.take(neighbor(2, "3fff::1", 0, NUD_NOARP));
    EXPECT_EQ(router(2), "");
    state.take(neighbor(2, "fe80::a", 0, NUD_NOARP));
    EXPECT_EQ(router(2), "fe80::a");
    state.take(neighbor(2, "fe80::b", NTF_ROUTER));
    EXPECT_EQ(router(2), "fe80::b");
}

TEST_F(AdvertisedStateTest, CutMessagesAreHarmless)
{
    const Message whole_link = link(2, 0xa0);
    for (size_t size = 0; size < whole_link.size(); ++size) {
        // A copy of its own size, so that a read behind its end is seen by the sanitizer; with and without a length
        // that tells the truth.
        Message cut(whole_link.begin(), whole_link.begin() + static_cast<ptrdiff_t>(size));
        state.take(cut);
        if (size >= sizeof(nlmsghdr)) {
            nlmsghdr head;
            memcpy(&head, cut.data(), sizeof head);
            head.nlmsg_len = static_cast<uint32_t>(size);
            memcpy(cut.data(), &head, sizeof head);
            state.take(cut);
        }
    }
    EXPECT_EQ(state.find(2), nullptr);
    state.take(whole_link);
    for (const Message& whole : {route(2, "fe80::2", 0), neighbor(2, "fe80::2", NTF_ROUTER)}) {
        for (size_t size = sizeof(nlmsghdr); size < sizeof(nlmsghdr) + 12; ++size) {
            Message cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
            nlmsghdr head;
            memcpy(&head, cut.data(), sizeof head);
            head.nlmsg_len = static_cast<uint32_t>(size);
            memcpy(cut.data(), &head, sizeof head);
            state.take(cut);
        }
    }
    EXPECT_EQ(router(2), "");
}

TEST_F(AdvertisedStateTest, MoreInterfacesThanItKeepsAreLeftOut)
{
    for (int index = 1; index <= static_cast<int>(AdvertisedState::capacity) + 5; ++index)
        state.take(link(index, 0x20));
    EXPECT_NE(state.find(AdvertisedState::capacity), nullptr);
    EXPECT_EQ(state.find(AdvertisedState::capacity + 1), nullptr);
}

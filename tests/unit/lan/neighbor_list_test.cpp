#include "lan/neighbor_list.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using Lladdr = std::array<unsigned char, 6>;

constexpr Lladdr sample_lladdr = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0xFF};

Neighbor named(const char* address)
{
    Neighbor neighbor;
    neighbor.address = address;
    return neighbor;
}

Neighbor before()
{
    Neighbor neighbor = named("before");
    neighbor.device = "dev0";
    neighbor.lladdr = {9, 9, 9, 9, 9, 9};
    neighbor.last_seen = 99;
    return neighbor;
}

} // namespace

TEST(NeighborListTest, keeps_the_order_of_appending)
{
    NeighborList list;
    EXPECT_EQ(list.first(), nullptr);
    for (const char* const address : {"fe80::1", "fe80::2", "fe80::3"})
        EXPECT_TRUE(list.append(named(address)));
    std::string order;
    for (const Neighbor* entry = list.first(); entry != nullptr; entry = entry->next)
        order += std::string(entry->address) + " ";
    EXPECT_EQ(order, "fe80::1 fe80::2 fe80::3 ");
}

TEST(NeighborListTest, keeps_copies)
{
    NeighborList list;
    Neighbor neighbor = before();
    Neighbor unrelated;
    neighbor.next = &unrelated;
    list.append(neighbor);
    neighbor.address = "changed";
    EXPECT_STREQ(list.first()->address, "before");
    EXPECT_STREQ(list.first()->device, "dev0");
    EXPECT_EQ(list.first()->last_seen, 99);
    EXPECT_EQ(list.first()->next, nullptr);
}

TEST(NeighborListTest, holds_4096_in_their_order_and_no_more)
{
    NeighborList list;
    for (int i = 0; i < 4096; ++i)
        ASSERT_TRUE(list.append(named(std::to_string(i).c_str())));
    EXPECT_FALSE(list.append(named("4096")));
    int count = 0;
    for (const Neighbor* entry = list.first(); entry != nullptr; entry = entry->next)
        EXPECT_EQ(std::string(entry->address), std::to_string(count++));
    EXPECT_EQ(count, 4096);
}

TEST(NeighborListTest, parses_a_stored_line)
{
    Neighbor neighbor;
    EXPECT_EQ(parse_neighbor("2001:db8::5 dev br-lan lladdr 00:1a:2b:3C:4d:ff uptime 1234\n", neighbor), 9);
    EXPECT_STREQ(neighbor.address, "2001:db8::5");
    EXPECT_STREQ(neighbor.device, "br-lan");
    EXPECT_EQ(neighbor.lladdr, sample_lladdr);
    EXPECT_EQ(neighbor.last_seen, 1234);
}

TEST(NeighborListTest, parses_a_shown_line)
{
    Neighbor neighbor = before();
    EXPECT_EQ(parse_neighbor("fe80::5 dev br-lan1 lladdr 00:1a:2b:3c:4d:ff router REACHABLE\n", neighbor), 8);
    EXPECT_STREQ(neighbor.address, "fe80::5");
    EXPECT_STREQ(neighbor.device, "br-lan1");
    EXPECT_EQ(neighbor.lladdr, sample_lladdr);
    EXPECT_EQ(neighbor.last_seen, 99);
}

TEST(NeighborListTest, keeps_what_a_line_does_not_supply)
{
    Neighbor neighbor = before();
    EXPECT_EQ(parse_neighbor("fe80::5 dev br-lan FAILED\n", neighbor), 2);
    EXPECT_STREQ(neighbor.address, "fe80::5");
    EXPECT_STREQ(neighbor.device, "br-lan");
    EXPECT_EQ(neighbor.lladdr, before().lladdr);
    EXPECT_EQ(neighbor.last_seen, 99);

    neighbor = before();
    EXPECT_EQ(parse_neighbor("fe80::5 on br-lan lladdr 00:1a:2b:3c:4d:ff\n", neighbor), 1);
    EXPECT_STREQ(neighbor.address, "fe80::5");
    EXPECT_STREQ(neighbor.device, "dev0");

    neighbor = before();
    EXPECT_EQ(parse_neighbor("fe80::5 dev br-lan lladdr 00:1a:zz:3c:4d:ff uptime 5\n", neighbor), 4);
    EXPECT_EQ(neighbor.lladdr, (Lladdr{0x00, 0x1A, 9, 9, 9, 9}));
    EXPECT_EQ(neighbor.last_seen, 99);
}

TEST(NeighborListTest, parses_nothing_from_an_empty_line)
{
    for (const char* const line : {"", "\n", "   \n"}) {
        Neighbor neighbor = before();
        EXPECT_LT(parse_neighbor(line, neighbor), 1);
        EXPECT_STREQ(neighbor.address, "before");
    }
}

TEST(NeighborListTest, cuts_long_words_to_their_room)
{
    const std::string word(200, 'w');
    const std::string line = word + " dev " + word + " lladdr 00:1a:2b:3c:4d:ff uptime 7\n";
    Neighbor neighbor;
    EXPECT_EQ(parse_neighbor(line.c_str(), neighbor), 9);
    EXPECT_EQ(std::string(neighbor.address), word.substr(0, 45));
    EXPECT_EQ(std::string(neighbor.device), word.substr(0, 31));
    EXPECT_EQ(neighbor.last_seen, 7);
    EXPECT_EQ(parse_neighbor(std::string(511, 'x').c_str(), neighbor), 1);
    EXPECT_EQ(std::string(neighbor.address), std::string(45, 'x'));
}

#include "wan/advertised_servers.h"

#include "platform/device_test.h"

namespace {

using AdvertisedServersTest = DeviceTest;

} // namespace

TEST_F(AdvertisedServersTest, finds_none_without_the_file)
{
    EXPECT_EQ(get_rdnssd_dns(test_tid), 0);
    write_file("/tmp/rdnssd", "");
    EXPECT_EQ(get_rdnssd_dns(test_tid), 0);
    EXPECT_EQ(store.changes, Lines{});
}

TEST_F(AdvertisedServersTest, takes_the_first_and_the_last_line)
{
    write_file("/tmp/rdnssd", "nameserver 2001:db8::53\nnameserver 2001:db8::54\nnameserver 2001:db8::55\n");
    EXPECT_EQ(get_rdnssd_dns(test_tid), 1);
    EXPECT_STREQ(parm.wan_ip6_dns_primary, "2001:db8::53");
    EXPECT_STREQ(parm.wan_ip6_dns_secondary, "2001:db8::55");
    EXPECT_EQ(store.changes,
              (Lines{"set ip6_dns_primary@wan100=2001:db8::53", "set ip6_dns_secondary@wan100=2001:db8::54",
                     "set ip6_dns_secondary@wan100=2001:db8::55"}));
}

TEST_F(AdvertisedServersTest, cuts_the_last_character_whatever_it_is)
{
    write_file("/tmp/rdnssd", "nameserver 2001:db8::53");
    EXPECT_EQ(get_rdnssd_dns(test_tid), 1);
    EXPECT_STREQ(parm.wan_ip6_dns_primary, "2001:db8::5");
}

TEST_F(AdvertisedServersTest, cuts_an_address_to_its_room)
{
    write_file("/tmp/rdnssd", "nameserver " + std::string(60, 'f') + "\n");
    EXPECT_EQ(get_rdnssd_dns(test_tid), 1);
    EXPECT_EQ(std::string(parm.wan_ip6_dns_primary), std::string(45, 'f'));
}

TEST_F(AdvertisedServersTest, takes_no_server_with_a_control_character)
{
    write_file("/tmp/rdnssd", "nameserver 2001:db8::53\t#\n");
    EXPECT_EQ(get_rdnssd_dns(test_tid), 0);
    EXPECT_STREQ(parm.wan_ip6_dns_primary, "");
    EXPECT_EQ(log_lines().size(), 1U);
}

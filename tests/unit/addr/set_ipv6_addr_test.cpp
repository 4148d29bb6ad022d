#include "addr/set_ipv6_addr.h"

#include "platform/device_test.h"

namespace {

class SetIpv6AddrTest : public DeviceTest {
protected:
    SetIpv6AddrTest()
    {
        interfaces.by_name["br-lan"] = {.index = 2, .ip4 = "", .mac = {}};
        interfaces.by_name["abcdefghijklmno"] = {.index = 9, .ip4 = "", .mac = {}};
    }
};

} // namespace

TEST_F(SetIpv6AddrTest, adds_with_flag_1)
{
    EXPECT_EQ(set_ipv6_addr("br-lan", "2001:DB8::1", 64, 1), 1);
    EXPECT_EQ(interfaces.requests, Lines{"add 2001:db8::1/64 2"});
    EXPECT_EQ(log_lines(), Lines{"[set_ipv6_addr][1234] if_name[br-lan] 2001:DB8::1 64 1"});
    EXPECT_EQ(console_lines(), Lines{"[set_ipv6_addr] if_name[br-lan] 2001:DB8::1 64 1"});
}

TEST_F(SetIpv6AddrTest, deletes_with_every_other_flag)
{
    for (const int flag : {0, 2, -1})
        EXPECT_EQ(set_ipv6_addr("br-lan", "fd00::1", 48, flag), 1);
    EXPECT_EQ(interfaces.requests, (Lines{"del fd00::1/48 2", "del fd00::1/48 2", "del fd00::1/48 2"}));
}

TEST_F(SetIpv6AddrTest, takes_what_is_no_address_for_the_unspecified_one)
{
    set_ipv6_addr("br-lan", "", 64, 0);
    set_ipv6_addr("br-lan", "2001:DB8:", 64, 1);
    EXPECT_EQ(interfaces.requests, (Lines{"del ::/64 2", "add ::/64 2"}));
}

TEST_F(SetIpv6AddrTest, asks_with_index_0_for_an_unknown_interface)
{
    set_ipv6_addr("eth9", "2001:db8::1", 128, 1);
    EXPECT_EQ(interfaces.requests, Lines{"add 2001:db8::1/128 0"});
}

TEST_F(SetIpv6AddrTest, cuts_interface_names_to_15_characters)
{
    set_ipv6_addr("abcdefghijklmnopqrst", "2001:db8::1", 64, 1);
    EXPECT_EQ(interfaces.requests, Lines{"add 2001:db8::1/64 9"});
}

TEST_F(SetIpv6AddrTest, hands_every_length_on)
{
    set_ipv6_addr("br-lan", "2001:db8::1", 0, 1);
    set_ipv6_addr("br-lan", "2001:db8::1", -1, 1);
    set_ipv6_addr("br-lan", "2001:db8::1", 200, 1);
    EXPECT_EQ(interfaces.requests, (Lines{"add 2001:db8::1/0 2", "add 2001:db8::1/-1 2", "add 2001:db8::1/200 2"}));
}

TEST_F(SetIpv6AddrTest, says_which_request_the_kernel_refuses)
{
    interfaces.refuses_addresses = true;
    EXPECT_EQ(set_ipv6_addr("br-lan", "2001:db8::1", 64, 1), -1);
    EXPECT_EQ(log_lines().back(), "[set_ipv6_addr][1234] ioctl SIOCSIFADDR error.");
    EXPECT_EQ(set_ipv6_addr("br-lan", "2001:db8::1", 64, 0), -1);
    EXPECT_EQ(log_lines().back(), "[set_ipv6_addr][1234] ioctl SIOCDIFADDR error.");
}

TEST_F(SetIpv6AddrTest, says_when_there_is_no_socket)
{
    interfaces.refuses_sockets = true;
    EXPECT_EQ(set_ipv6_addr("br-lan", "2001:db8::1", 64, 1), -1);
    EXPECT_EQ(log_lines().back(), "[set_ipv6_addr][1234] socket error.");
    EXPECT_EQ(interfaces.requests, Lines{});
}

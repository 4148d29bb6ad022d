#include "lan/lan_dns.h"

#include "platform/device_test.h"

namespace {

class LanDnsTest : public DeviceTest {
protected:
    LanDnsTest()
    {
        parm.lan_ip6_ula_eb = 1;
        parm.lan_ip6_ula_addr = "fd00::1";
        parm.lan_ip6_addr = "2001:db8::1";
        parm.lan1_ip6_ula_eb = 1;
        parm.lan1_ip6_ula_addr = "fd01::1";
        parm.lan1_ip6_addr = "2001:db8:1::1";
    }
};

std::string servers(const LanSide& lan, const char* separator = " ")
{
    return lan_dns_servers(lan, separator).c_str();
}

} // namespace

TEST_F(LanDnsTest, joins_the_servers_of_the_system)
{
    parm.ip6_dns1 = "2001:db8::53";
    EXPECT_EQ(servers(lan0()), "2001:db8::53");
    parm.ip6_dns2 = "2001:db8::54";
    EXPECT_EQ(servers(lan0(), " "), "2001:db8::53 2001:db8::54");
    EXPECT_EQ(servers(lan1(), ","), "2001:db8::53,2001:db8::54");
}

TEST_F(LanDnsTest, ignores_a_second_server_without_a_first)
{
    parm.ip6_dns2 = "2001:db8::54";
    EXPECT_EQ(servers(lan0()), "fd00::1");
}

TEST_F(LanDnsTest, names_the_bridge_itself_otherwise)
{
    EXPECT_EQ(servers(lan0()), "fd00::1");
    EXPECT_EQ(servers(lan1()), "fd01::1");
}

TEST_F(LanDnsTest, names_the_global_address_without_a_unique_local_one)
{
    parm.lan_ip6_ula_eb = 0;
    parm.lan1_ip6_ula_addr = "";
    EXPECT_EQ(servers(lan0()), "2001:db8::1");
    EXPECT_EQ(servers(lan1()), "2001:db8:1::1");
    parm.lan_ip6_ula_eb = 2;
    EXPECT_EQ(servers(lan0()), "2001:db8::1");
    parm.lan_ip6_addr = "";
    EXPECT_EQ(servers(lan0()), "");
}

TEST_F(LanDnsTest, has_room_for_two_servers_of_full_length)
{
    const std::string server(45, 'f');
    parm.ip6_dns1 = server.c_str();
    parm.ip6_dns2 = server.c_str();
    EXPECT_EQ(servers(lan0(), ","), server + "," + server);
}

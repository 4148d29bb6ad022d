#include "addr/start_ipv6.h"

#include "platform/device_test.h"

namespace {

class StartIpv6Test : public DeviceTest {
protected:
    StartIpv6Test()
    {
        interfaces.by_name["br-lan"] = {.index = 2, .ip4 = "", .mac = {}};
        interfaces.by_name["br-lan1"] = {.index = 3, .ip4 = "", .mac = {}};
        interfaces.by_name["ppp0"] = {.index = 5, .ip4 = "", .mac = {}};
        parm.wan_ifname = "ppp0";
        parm.wan_ip6_proto = "dhcp";
        parm.lan_ip6_gua_sid = "01";
        parm.lan1_ip6_gua_sid = "02";
        parm.lan_ip6_gua_hostid = "0211:22FF:FE33:4455";
        parm.lan1_ip6_gua_hostid = "0211:22FF:FE33:4456";
        parm.delegate_prefix = "2001:db8:1234:5600::";
        parm.delegate_pfxlen = 56;
    }
};

constexpr char flush_default[] = "/usr/sbin/ip -6 route flush ::/0";

} // namespace

TEST_F(StartIpv6Test, carves_addresses_for_both_lans)
{
    EXPECT_EQ(start_ipv6(test_tid, "lan"), 0);
    EXPECT_EQ(store.changes, (Lines{
                                 "set ip6_prefix@lan0=2001:db8:1234:5601::",
                                 "set ip6_addr@lan0=2001:0DB8:1234:5601:0211:22FF:FE33:4455",
                                 "set ip6_pfxlen@lan0=64",
                                 "set ip6_prefix@lan1=2001:db8:1234:5602::",
                                 "set ip6_addr@lan1=2001:0DB8:1234:5602:0211:22FF:FE33:4456",
                                 "set ip6_pfxlen@lan1=64",
                             }));
    EXPECT_EQ(interfaces.requests, (Lines{"add 2001:db8:1234:5601:211:22ff:fe33:4455/64 2",
                                          "add 2001:db8:1234:5602:211:22ff:fe33:4456/64 3"}));
    EXPECT_STREQ(parm.lan_ip6_prefix, "2001:db8:1234:5601::");
    EXPECT_STREQ(parm.lan1_ip6_prefix, "2001:db8:1234:5602::");
    EXPECT_EQ(parm.lan_ip6_pfxlen, 64);
    EXPECT_EQ(parm.lan1_ip6_pfxlen, 64);
}

TEST_F(StartIpv6Test, removes_the_old_addresses_of_both_lans_first)
{
    parm.lan_ip6_addr = "2001:db8::1";
    parm.lan_ip6_pfxlen = 60;
    parm.lan1_ip6_addr = "2001:db8::2";
    parm.lan1_ip6_pfxlen = 61;
    start_ipv6(test_tid, "lan");
    EXPECT_EQ(beginning_with("/sbin/ifconfig", shell.lines),
              (Lines{"/sbin/ifconfig br-lan del 2001:db8::1/60", "/sbin/ifconfig br-lan1 del 2001:db8::2/61"}));
    EXPECT_EQ(shell.lines[0], "/sbin/ifconfig br-lan del 2001:db8::1/60");
    EXPECT_EQ(shell.lines[1], "/sbin/ifconfig br-lan1 del 2001:db8::2/61");
}

TEST_F(StartIpv6Test, addresses_lans_from_delegations_of_1_to_64_bits)
{
    for (const int length : {-1, 0, 65, 128}) {
        parm.delegate_pfxlen = length;
        EXPECT_EQ(start_ipv6(test_tid, "lan"), 0);
        EXPECT_EQ(store.changes, Lines{}) << length;
    }
    parm.delegate_pfxlen = 1;
    start_ipv6(test_tid, "lan");
    EXPECT_EQ(store.value("ip6_prefix@lan0"), "0:0:0:1::");
    parm.delegate_pfxlen = 64;
    start_ipv6(test_tid, "lan");
    EXPECT_EQ(store.value("ip6_prefix@lan0"), "2001:db8:1234:5600::");
    EXPECT_EQ(store.value("ip6_prefix@lan1"), "2001:db8:1234:5600::");
}

TEST_F(StartIpv6Test, leaves_the_lans_alone_without_a_delegation)
{
    parm.lan_ip6_addr = "2001:db8::1";
    for (const char* const proto : {"static", "dhcpv6", "", "tunnels"}) {
        parm.wan_ip6_proto = proto;
        EXPECT_EQ(start_ipv6(test_tid, "lan"), 0);
    }
    parm.wan_ip6_proto = "tunnel";
    parm.delegate_prefix = "";
    EXPECT_EQ(start_ipv6(test_tid, "lan"), 0);
    EXPECT_EQ(store.changes, Lines{});
    EXPECT_EQ(shell.lines, Lines{});
}

TEST_F(StartIpv6Test, records_the_wan_prefix_and_replaces_the_default_route)
{
    parm.wan_ip6_addr = "2001:db8:aaaa:bbbb:1:2:3:4";
    parm.wan_ip6_pfxlen = 52;
    parm.wan_ip6_gateway = "fe80::1";
    const std::string route = "/usr/sbin/ip -6 route add ::/0 via fe80::1 dev ppp0";
    shell.status[route] = 2;
    EXPECT_EQ(start_ipv6(test_tid, "wan"), 2);
    EXPECT_EQ(store.changes, Lines{"set ip6_prefix@wan100=2001:db8:aaaa:b000::"});
    EXPECT_STREQ(parm.wan_ip6_prefix, "2001:db8:aaaa:b000::");
    EXPECT_EQ(shell.lines, (Lines{flush_default, route}));
    EXPECT_EQ(interfaces.requests, Lines{});
}

TEST_F(StartIpv6Test, flushes_twice_without_a_gateway)
{
    parm.wan_ip6_addr = "2001:db8::1";
    parm.wan_ip6_pfxlen = 64;
    EXPECT_EQ(start_ipv6(test_tid, "wan"), 0);
    EXPECT_EQ(shell.lines, (Lines{flush_default, flush_default}));
}

TEST_F(StartIpv6Test, adds_only_a_static_wan_address)
{
    parm.wan_ip6_proto = "static";
    parm.wan_ip6_addr = "2001:db8::1";
    parm.wan_ip6_pfxlen = 64;
    start_ipv6(test_tid, "wan");
    EXPECT_EQ(interfaces.requests, Lines{"add 2001:db8::1/64 5"});
}

TEST_F(StartIpv6Test, refuses_an_incomplete_wan_address)
{
    parm.wan_ip6_pfxlen = 64;
    EXPECT_EQ(start_ipv6(test_tid, "wan"), -1);
    parm.wan_ip6_addr = "2001:db8::1";
    parm.wan_ip6_pfxlen = 0;
    EXPECT_EQ(start_ipv6(test_tid, "wan"), -1);
    EXPECT_EQ(log_lines(), (Lines{"[start_ipv6][1234] WAN IPv6 address is invalid",
                                  "[start_ipv6][1234] WAN IPv6 address is invalid"}));
    EXPECT_EQ(shell.lines, Lines{});
}

TEST_F(StartIpv6Test, looks_at_three_letters_of_the_side)
{
    EXPECT_EQ(start_ipv6(test_tid, "wan6"), -1);
    EXPECT_EQ(start_ipv6(test_tid, "lan1"), 0);
    EXPECT_EQ(store.changes.size(), 6U);
    EXPECT_EQ(start_ipv6(test_tid, "la"), 0);
    EXPECT_EQ(start_ipv6(test_tid, ""), 0);
    EXPECT_EQ(store.changes.size(), 6U);
}

TEST_F(StartIpv6Test, flushes_table_200_before_the_wan)
{
    EXPECT_EQ(start_ipv6_wan(test_tid), 1);
    EXPECT_EQ(shell.lines, Lines{"/usr/sbin/ip -6 route flush table 200"});
}

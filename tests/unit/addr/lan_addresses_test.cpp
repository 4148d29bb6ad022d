#include "addr/lan_addresses.h"

#include "platform/device_test.h"

namespace {

class LanAddressesTest : public DeviceTest {
protected:
    LanAddressesTest()
    {
        interfaces.by_name["br-lan"] = {.index = 2, .ip4 = "", .mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
        interfaces.by_name["br-lan1"] = {.index = 3, .ip4 = "", .mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x56}};
        for (const char* const bridge : {"br-lan", "br-lan1"})
            make_directory(std::string("/proc/sys/net/ipv6/conf/") + bridge);
        write_file("/tmp/ula.txt", "0123456789abcdef0123456789abcd3e41a209bc  -\n");
        parm.lan_ip6_ula_eb = 1;
        parm.lan_ip6_ula_sid = "0001";
        parm.lan_ip6_ula_hostid = "0211:22FF:FE33:4455";
        parm.lan1_ip6_ula_eb = 1;
        parm.lan1_ip6_ula_sid = "0002";
        parm.lan1_ip6_ula_hostid = "0211:22FF:FE33:4456";
    }
};

} // namespace

TEST_F(LanAddressesTest, gives_lan0_its_link_local_address)
{
    parm.lan_ip6_lla = "fe80::0211:22FF:FE33:4455";
    EXPECT_EQ(start_lla(test_tid), 1);
    EXPECT_EQ(interfaces.requests, Lines{"add fe80::211:22ff:fe33:4455/64 2"});
    EXPECT_EQ(log_lines().front(), "[start_lla][1234] lan_ip6_lla = fe80::0211:22FF:FE33:4455");
}

TEST_F(LanAddressesTest, makes_the_first_unique_local_address_of_lan0)
{
    EXPECT_EQ(start_ula(test_tid, 0), 1);
    EXPECT_EQ(store.changes, (Lines{"set ip6_ula_gid@lan0=3e:41a2:09bc", "set ip6_ula_gid@lan0=3e:41a2:09bc",
                                    "set ip6_ula_addr@lan0=FD3e:41a2:09bc:0001:0211:22FF:FE33:4455"}));
    EXPECT_EQ(interfaces.requests, Lines{"add fd3e:41a2:9bc:1:211:22ff:fe33:4455/64 2"});
    EXPECT_EQ(clock.pauses, std::vector<long>{});
    EXPECT_EQ(shell.lines.back(), "echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding");
    EXPECT_EQ(read_file("/proc/sys/net/ipv6/conf/br-lan/disable_ipv6"), "0");
    EXPECT_EQ(read_file("/proc/sys/net/ipv6/conf/br-lan/accept_ra"), "0");
    EXPECT_EQ(console_lines(),
              (Lines{"[start_ula][1234] \033[1;31m[1905] lan_ip6_ula_gid =  \033[0m",
                     "[start_ula][1234] \033[1;31m[1954] lan_ip6_ula_addr = FD3e:41a2:09bc:0001:0211:22FF:FE33:4455 "
                     "\033[0m",
                     "[set_ipv6_addr] if_name[br-lan] FD3e:41a2:09bc:0001:0211:22FF:FE33:4455 64 1"}));
}

TEST_F(LanAddressesTest, makes_the_first_unique_local_address_of_lan1)
{
    EXPECT_EQ(start_ula(test_tid, 1), 1);
    EXPECT_EQ(store.changes, (Lines{"set ip6_ula_gid@lan1=3e:41a2:09bc", "set ip6_ula_gid@lan1=3e:41a2:09bc",
                                    "set ip6_ula_addr@lan1=FD3e:41a2:09bc:0002:0211:22FF:FE33:4456"}));
    EXPECT_EQ(interfaces.requests, Lines{"add fd3e:41a2:9bc:2:211:22ff:fe33:4456/64 3"});
    EXPECT_EQ(shell.lines.back(), "echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding");
    EXPECT_EQ(read_file("/proc/sys/net/ipv6/conf/br-lan1/disable_ipv6"), "0");
    EXPECT_EQ(read_file("/proc/sys/net/ipv6/conf/br-lan1/accept_ra"), "0");
    EXPECT_EQ(console_lines().front(), "[start_ula][1234] lan1_ip6_ula_addr = FD3e:41a2:09bc:0002:0211:22FF:FE33:4456");
}

TEST_F(LanAddressesTest, replaces_the_previous_addresses_after_a_pause)
{
    parm.lan_ip6_ula_gid = "11:2222:3333";
    parm.lan_ip6_ula_addr = "fd11:2222:3333:1::1";
    store.settings["ip6_ula_addra@lan0"] = "fd11::2";
    start_ula(test_tid, 0);
    EXPECT_EQ(interfaces.requests, (Lines{"del fd11:2222:3333:1::1/64 2", "del fd11::2/64 2",
                                          "add fd11:2222:3333:1:211:22ff:fe33:4455/64 2"}));
    EXPECT_EQ(clock.pauses, std::vector<long>{1000});
}

TEST_F(LanAddressesTest, removes_and_forgets_the_address_when_switched_off)
{
    parm.lan_ip6_ula_gid = "11:2222:3333";
    parm.lan_ip6_ula_addr = "fd11:2222:3333:1::1";
    parm.lan1_ip6_ula_gid = "11:2222:3333";
    for (const int off : {0, 2}) {
        parm.lan_ip6_ula_eb = off;
        parm.lan1_ip6_ula_eb = off;
        store.changes.clear();
        interfaces.requests.clear();
        start_ula(test_tid, 0);
        start_ula(test_tid, 1);
        EXPECT_EQ(interfaces.requests, (Lines{"del fd11:2222:3333:1::1/64 2", "del ::/64 2"}));
        EXPECT_EQ(store.changes, (Lines{"unset ip6_ula_addr@lan0", "unset ip6_ula_addra@lan0",
                                        "unset ip6_ula_addr@lan1", "unset ip6_ula_addra@lan1"}));
        EXPECT_EQ(beginning_with("echo 1", shell.lines).back(), "echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding");
    }
    EXPECT_TRUE(file_exists("/proc/sys/net/ipv6/conf/br-lan/disable_ipv6"));
    EXPECT_FALSE(file_exists("/proc/sys/net/ipv6/conf/br-lan1/disable_ipv6"));
}

TEST_F(LanAddressesTest, makes_a_host_id_of_the_mac_for_lan1_only)
{
    parm.lan_ip6_ula_gid = "11:2222:3333";
    parm.lan_ip6_ula_hostid = "";
    parm.lan1_ip6_ula_gid = "11:2222:3333";
    parm.lan1_ip6_ula_hostid = "";
    start_ula(test_tid, 0);
    start_ula(test_tid, 1);
    EXPECT_EQ(store.value("ip6_ula_addr@lan0"), "FD11:2222:3333:0001:");
    EXPECT_EQ(store.value("ip6_ula_addr@lan1"), "FD11:2222:3333:0002:0211:22FF:FE33:4456");
}

TEST_F(LanAddressesTest, tries_once_more_for_a_global_id_unless_it_is_set_by_hand)
{
    write_file("/tmp/ula.txt", "");
    parm.lan_ip6_ula_manual_gid = 1;
    start_ula(test_tid, 0);
    EXPECT_EQ(beginning_with("sha1sum", shell.lines).size(), 1U);
    EXPECT_EQ(store.value("ip6_ula_addr@lan0"), "FD:0001:0211:22FF:FE33:4455");
    start_ula(test_tid, 1);
    EXPECT_EQ(beginning_with("sha1sum", shell.lines).size(), 3U);
}

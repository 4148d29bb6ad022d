#include "lan/resolver.h"

#include "platform/device_test.h"

namespace {

constexpr char resolv[] = "/tmp/resolv.conf.auto";

class ResolverTest : public DeviceTest {
protected:
    ResolverTest()
    {
        shell.output["wandataif.sh"] = "ppp0\n";
        shell.output["if2sect.sh ppp0"] = "wan7\n";
    }

    int update() { return zel_resolv_update(test_tid); }
};

} // namespace

TEST_F(ResolverTest, harvests_the_first_and_the_last_ipv4_server)
{
    write_file(resolv, "nameserver 127.0.0.1\nnameserver 10.0.0.1\nnameserver 10.0.0.2\nnameserver 10.0.0.3\n");
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(store.changes, (Lines{"set dns@wan7=10.0.0.1", "set sdns@wan7=10.0.0.2", "set sdns@wan7=10.0.0.3"}));
    EXPECT_EQ(clock.pauses, std::vector<long>{});
}

TEST_F(ResolverTest, overwrites_an_ipv6_server_with_the_first_ipv4_one)
{
    write_file(resolv, "nameserver fe80::1\nnameserver 10.0.0.1\nnameserver fe80::2\n");
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(store.value("dns@wan7"), "10.0.0.1");
    EXPECT_EQ(store.value("sdns@wan7"), "fe80::2");
}

TEST_F(ResolverTest, tries_five_times_for_an_ipv4_server)
{
    write_file(resolv, "nameserver fe80::1\n");
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(store.changes.size(), 5U);
    EXPECT_EQ(store.value("dns@wan7"), "fe80::1");
    EXPECT_EQ(clock.pauses, (std::vector<long>{1000, 1000, 1000, 1000}));
}

TEST_F(ResolverTest, keeps_an_address_of_15_characters_whole)
{
    write_file(resolv, "nameserver 198.151.100.254\n");
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(store.value("dns@wan7"), "198.151.100.254");
}

TEST_F(ResolverTest, cuts_the_last_character_whatever_it_is)
{
    write_file(resolv, "nameserver 10.0.0.12");
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(store.value("dns@wan7"), "10.0.0.1");
}

TEST_F(ResolverTest, fails_when_the_rebuilt_file_is_missing)
{
    EXPECT_EQ(update(), -1);
    EXPECT_EQ(shell.lines.back(), "/usr/sbin/resolv_update.sh SYSTEM");
    EXPECT_EQ(clock.pauses.size(), 4U);
}

TEST_F(ResolverTest, adds_the_servers_of_the_wan_once)
{
    write_file(resolv, "nameserver 10.0.0.1\n");
    store.settings["ip6_dns_primary@wan7"] = "2001:db8::53";
    store.settings["ip6_dns_secondary@wan7"] = "2001:db8::54";
    EXPECT_EQ(update(), 1);
    const std::string whole = "nameserver 10.0.0.1\nnameserver 2001:db8::53\nnameserver 2001:db8::54\n";
    EXPECT_EQ(read_file(resolv), whole);
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(read_file(resolv), whole);
}

TEST_F(ResolverTest, takes_any_occurrence_of_a_server_for_its_own)
{
    write_file(resolv, "nameserver 10.0.0.1\nnameserver 2001:db8::53\n");
    store.settings["ip6_dns_primary@wan7"] = "2001:db8::5";
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(read_file(resolv), "nameserver 10.0.0.1\nnameserver 2001:db8::53\n");
}

TEST_F(ResolverTest, prefers_the_servers_of_the_system)
{
    write_file(resolv, "nameserver 10.0.0.1\n");
    store.settings["ip6_dns_primary@wan7"] = "2001:db8::53";
    store.settings["ip6_dns_secondary@wan7"] = "2001:db8::54";
    parm.ip6_dns1 = "2001:db8::1";
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(read_file(resolv), "nameserver 10.0.0.1\nnameserver 2001:db8::1\n");
}

TEST_F(ResolverTest, has_the_firmware_rebuild_the_file_and_restarts_the_forwarder)
{
    write_file(resolv, "nameserver 10.0.0.1\n");
    store.settings["ip6_dns_primary@wan7"] = "2001:db8::53";
    store.settings["ip4addr@lan0"] = "192.168.1.1";
    store.settings["vlan7_dns1@system"] = "10.7.0.1";
    store.settings["vlan8_dns2@system"] = "10.8.0.2";
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(shell.lines,
              (Lines{"wandataif.sh", "if2sect.sh ppp0", "/usr/sbin/resolv_update.sh SYSTEM", "dnsmasq_update.sh",
                     "echo  zel_resolv_update restart dnsmasq. >/dev/console", "/etc/init.d/dnsmasq2 restart"}));
    EXPECT_EQ(console_lines(),
              (Lines{"[zel_resolv_update] wan_ip6_dns1=2001:db8::53, wan_ip6_dns2=, wan_ip4_dns1=10.0.0.1, "
                     "wan_ip4_dns2=, ipv4_lan_ip=192.168.1.1",
                     "[zel_resolv_update] vlan7_ip4_dns1=10.7.0.1, vlan7_ip4_dns2=, vlan8_ip4_dns1=, "
                     "vlan8_ip4_dns2=10.8.0.2",
                     "wan_ip6_dns1 is 2001:db8::53"}));
}

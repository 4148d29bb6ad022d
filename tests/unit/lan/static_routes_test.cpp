#include "lan/static_routes.h"

#include "platform/device_test.h"

#include <algorithm>

namespace {

class StaticRoutesTest : public DeviceTest {
protected:
    StaticRoutesTest()
    {
        parm.routing_prefix = "2001:0DB8:1234:56";
        parm.lan_ip6_pfxlen = 64;
        parm.lan_ip6_gua_sid = "01";
        parm.lan_ip6_ula_sid = "0001";
        parm.lan1_ip6_gua_sid = "02";
        parm.lan1_ip6_ula_sid = "0002";
        shell.effect["/usr/sbin/ip -6 neigh show > /tmp/ip6_rt"] = [] {
            write_file("/tmp/ip6_rt", "fe80::a dev br-lan lladdr 00:00:00:00:00:0a REACHABLE\n"
                                      "fe80::b dev br-lan1 lladdr 00:00:00:00:00:0b STALE\n");
        };
    }

    void entry(int number, const std::string& sid, const std::string& gateway)
    {
        shell.output["ccfg_cli get extra_sid_" + std::to_string(number) + "@system"] = sid + "\n";
        shell.output["ccfg_cli get extra_gateway_" + std::to_string(number) + "@system"] = gateway + "\n";
        parm.num_extra_routes = std::max(parm.num_extra_routes, number);
    }

    Lines routes() { return beginning_with("/usr/sbin/ip -6 route", shell.lines); }
    Lines unset() { return beginning_with("ccfg_cli unset", shell.lines); }
};

} // namespace

TEST_F(StaticRoutesTest, routes_every_entry_through_its_gateway)
{
    entry(1, "10", "fe80::a");
    entry(2, "2f", "fe80::b");
    set_static_route6(test_tid);
    EXPECT_EQ(routes(), (Lines{"/usr/sbin/ip -6 route add 2001:0DB8:1234:5610::/64 via fe80::a dev br-lan",
                               "/usr/sbin/ip -6 route add 2001:0DB8:1234:562f::/64 via fe80::b dev br-lan1"}));
    EXPECT_EQ(store.changes,
              (Lines{"set ip6_pre_routing_prefix@system=2001:0DB8:1234:56", "set ip6_extra_sid@system=10;2f"}));
    EXPECT_EQ(unset(), Lines{});
}

TEST_F(StaticRoutesTest, pads_a_short_subnet_id)
{
    entry(1, "5", "fe80::a");
    set_static_route6(test_tid);
    EXPECT_EQ(routes(), Lines{"/usr/sbin/ip -6 route add 2001:0DB8:1234:5605::/64 via fe80::a dev br-lan"});
    EXPECT_EQ(store.value("ip6_extra_sid@system"), "05");
}

TEST_F(StaticRoutesTest, removes_a_repeated_entry)
{
    entry(1, "1f", "fe80::a");
    entry(2, "1F", "fe80::b");
    set_static_route6(test_tid);
    EXPECT_EQ(routes().size(), 1U);
    EXPECT_EQ(unset(), (Lines{"ccfg_cli unset extra_sid_2@system", "ccfg_cli unset extra_gateway_2@system"}));
    EXPECT_EQ(store.value("ip6_extra_sid@system"), "1f");
    EXPECT_EQ(console_lines().front(), "[set_static_route6][1234] Duplicate subnet-id 1F");
}

TEST_F(StaticRoutesTest, removes_an_entry_of_a_bridge_s_subnet_but_lists_it)
{
    for (const char* const taken : {"01", "02", "0001", "0002", "1", "2"}) {
        shell.lines.clear();
        entry(1, taken, "fe80::a");
        set_static_route6(test_tid);
        EXPECT_EQ(beginning_with("/usr/sbin/ip -6 route add", shell.lines), Lines{}) << taken;
        EXPECT_EQ(unset().size(), 2U);
        EXPECT_EQ(store.value("ip6_extra_sid@system"),
                  std::string(taken).size() < 2 ? "0" + std::string(taken) : taken);
    }
}

TEST_F(StaticRoutesTest, removes_an_empty_entry)
{
    parm.num_extra_routes = 1;
    set_static_route6(test_tid);
    EXPECT_EQ(console_lines(), Lines{"[set_static_route6][1234] Duplicate subnet-id 0"});
    EXPECT_EQ(unset(), (Lines{"ccfg_cli unset extra_sid_1@system", "ccfg_cli unset extra_gateway_1@system"}));
    EXPECT_EQ(store.value("ip6_extra_sid@system"), "");
}

TEST_F(StaticRoutesTest, removes_an_entry_without_a_known_gateway)
{
    for (const char* const gateway : {"fe80::c", "FE80::A", ""}) {
        shell.lines.clear();
        entry(1, "10", gateway);
        set_static_route6(test_tid);
        EXPECT_EQ(console_lines().back(), std::string("[set_static_route6][1234] No such device matches the gateway "
                                                      "address:")
                                              + gateway + " ");
        EXPECT_EQ(unset().size(), 2U);
        EXPECT_EQ(store.value("ip6_extra_sid@system"), "10");
    }
}

TEST_F(StaticRoutesTest, takes_no_answer_with_a_control_character)
{
    entry(1, "1\x01", "fe80::a");
    entry(2, "20", "fe80::a\x1b");
    entry(3, "30\n\x01", "fe80::a\n\x01");
    set_static_route6(test_tid);
    EXPECT_EQ(routes(), Lines{"/usr/sbin/ip -6 route add 2001:0DB8:1234:5630::/64 via fe80::a dev br-lan"});
    EXPECT_EQ(unset(), (Lines{"ccfg_cli unset extra_sid_1@system", "ccfg_cli unset extra_gateway_1@system",
                              "ccfg_cli unset extra_sid_2@system", "ccfg_cli unset extra_gateway_2@system"}));
    EXPECT_EQ(beginning_with("[set_static_route6][1234] extra_sid holds a control character and counts as absent.",
                             log_lines())
                  .size(),
              3U); // read once for itself and once for each later entry
    EXPECT_EQ(beginning_with("[set_static_route6][1234] extra_gateway holds a control character", log_lines()).size(),
              1U);
}

TEST_F(StaticRoutesTest, passes_over_a_neighbor_with_a_control_character)
{
    shell.effect["/usr/sbin/ip -6 neigh show > /tmp/ip6_rt"] = [] {
        write_file("/tmp/ip6_rt", "fe80::a dev br\x01lan lladdr 00:00:00:00:00:0a REACHABLE\n"
                                  "fe80::a dev br-lan1 lladdr 00:00:00:00:00:0b STALE\n");
    };
    entry(1, "10", "fe80::a");
    set_static_route6(test_tid);
    EXPECT_EQ(routes(), Lines{"/usr/sbin/ip -6 route add 2001:0DB8:1234:5610::/64 via fe80::a dev br-lan1"});
    EXPECT_EQ(beginning_with("[set_static_route6]", log_lines()),
              Lines{"[set_static_route6][1234] a line of the neighbor table holds a control character and "
                    "counts as absent."});
}

TEST_F(StaticRoutesTest, removes_the_routes_of_the_previous_run_first)
{
    parm.pre_routing_prefix = "2001:0DB8:9999:99";
    store.settings["ip6_extra_sid@system"] = "10;2f";
    entry(1, "10", "fe80::a");
    set_static_route6(test_tid);
    EXPECT_EQ(routes(), (Lines{"/usr/sbin/ip -6 route flush 2001:0DB8:9999:9910::/64",
                               "/usr/sbin/ip -6 route flush 2001:0DB8:9999:992f::/64",
                               "/usr/sbin/ip -6 route add 2001:0DB8:1234:5610::/64 via fe80::a dev br-lan"}));
    EXPECT_EQ(store.changes, Lines{"set ip6_extra_sid@system=10"});
}

TEST_F(StaticRoutesTest, says_when_there_is_nothing_to_flush)
{
    flush_static_routes6(test_tid);
    EXPECT_EQ(console_lines(), Lines{"[flush_static_routes6][1234] ERROR: ip6_extra_sid@system is empty"});
    EXPECT_EQ(shell.lines, Lines{});
}

TEST_F(StaticRoutesTest, installs_nothing_without_entries)
{
    for (const int number : {0, -1}) {
        parm.num_extra_routes = number;
        set_static_route6(test_tid);
        EXPECT_EQ(shell.lines, Lines{});
        EXPECT_EQ(store.value("ip6_extra_sid@system"), "");
    }
}

TEST_F(StaticRoutesTest, lists_only_the_ids_that_fit)
{
    std::string fitting;
    for (int number = 1; number <= 30; ++number) {
        const std::string sid = "abc" + std::to_string(100 + number);
        entry(number, sid, "fe80::a");
        const std::string longer = fitting + (fitting.empty() ? "" : ";") + sid;
        if (longer.size() <= 127)
            fitting = longer;
    }
    set_static_route6(test_tid);
    EXPECT_EQ(store.value("ip6_extra_sid@system"), fitting);
    EXPECT_EQ(routes().size(), 30U);
    EXPECT_EQ(beginning_with("[set_static_route6][1234] subnet-id abc119 does not fit", log_lines()).size(), 1U);
}

// Values that no normal setting, file or line has, at the places that read them.
#include "addr/generate_addr.h"
#include "firewall/filter_record.h"
#include "frame/files.h"
#include "lan/dhcpd_grammar.h"
#include "lan/radvd_grammar.h"
#include "lan/static_routes.h"
#include "params/prepare_parm.h"
#include "platform/device_test.h"
#include "wan/dhcp6c.h"

namespace {

class OddValuesTest : public DeviceTest {};

} // namespace

TEST_F(OddValuesTest, a_name_of_one_folder_is_neither_empty_nor_a_way_elsewhere)
{
    for (const char* const name : {"", ".", "..", "a/b", "/"})
        EXPECT_FALSE(is_folder_name(name)) << name;
    for (const char* const name : {"ppp0", "...", ".a", "a.."})
        EXPECT_TRUE(is_folder_name(name)) << name;
}

TEST_F(OddValuesTest, a_setting_with_a_control_character_counts_as_missing)
{
    shell.output["wandataif.sh"] = "eth0\n";
    shell.output["if2sect.sh eth0"] = "wan100\n";
    store.settings["ip6_gateway@wan100"] = "fe80::\x1b[2J1";
    prepare_parm(test_tid);
    EXPECT_STREQ(parm.wan_ip6_gateway, "");
    EXPECT_EQ(beginning_with("[read_setting]", log_lines()),
              Lines{"[read_setting][1234] ip6_gateway holds a control character and counts as absent."});
}

TEST_F(OddValuesTest, a_global_id_with_a_control_character_counts_as_absent)
{
    shell.effect["sha1sum /tmp/sha.txt > /tmp/ula.txt"] = [] {
        write_file("/tmp/ula.txt", "0123456789abcdef0123456789abcd3e41\x07"
                                   "209bc  /tmp/sha.txt\n");
    };
    EXPECT_STREQ(generate_addr(nullptr, 0, "ula_gid", "00:11:22:33:44:55", 1), "");
    EXPECT_EQ(log_lines().back(),
              "[generate_addr][1234] the global id holds a control character and counts as absent.");
}

TEST_F(OddValuesTest, a_range_without_ports_or_of_no_protocol_is_none_and_no_fault)
{
    FilterRecord record;
    record.host = "3fff::10";
    FilterRange range;
    range.protocol = "tcp";
    range.first = "80";
    EXPECT_EQ(filter_range_fault(record, range), nullptr);
    range.last = "80";
    range.first = "";
    EXPECT_EQ(filter_range_fault(record, range), nullptr);
    range.first = "80";
    range.protocol = "x";
    EXPECT_EQ(filter_range_fault(record, range), nullptr);
    range.protocol = "tc";
    EXPECT_STREQ(filter_range_fault(record, range), "unknown protocol");
}

TEST_F(OddValuesTest, an_empty_line_of_the_neighbor_table_is_no_neighbor)
{
    parm.num_extra_routes = 1;
    parm.routing_prefix = "2001:0DB8:1234:56";
    shell.output["ccfg_cli get extra_sid_1@system"] = "10\n";
    shell.output["ccfg_cli get extra_gateway_1@system"] = "fe80::a\n";
    shell.effect["/usr/sbin/ip -6 neigh show > /tmp/ip6_rt"] = [] {
        write_file("/tmp/ip6_rt", "\nfe80::a dev br-lan lladdr 00:00:00:00:00:0a REACHABLE\n");
    };
    set_static_route6(test_tid);
    EXPECT_EQ(beginning_with("/usr/sbin/ip -6 route", shell.lines),
              Lines{"/usr/sbin/ip -6 route add 2001:0DB8:1234:5610::/0 via fe80::a dev br-lan"});
}

TEST_F(OddValuesTest, without_a_process_list_no_client_is_stopped_by_its_arguments)
{
    parm.wan_sect = "wan100";
    parm.wan_ifname = "eth0";
    write_file("/var/run/dhcp6c-wan.pid", "321\n");
    stop_dhcp6c(test_tid);
    EXPECT_EQ(beginning_with("/usr/sbin/dhclient", shell.lines), Lines{});
}

TEST_F(OddValuesTest, a_quoted_identifier_is_a_text_of_the_clients_grammar)
{
    parm.wan_sect = "wan100";
    parm.wan_ifname = "eth0";
    parm.wan_ip6_duid_type = 3;
    shell.effect["ps | grep dhclient > /tmp/ps_dhcp6c_s.txt"] = [] { write_file("/tmp/ps_dhcp6c_s.txt", ""); };
    const std::string request =
        "request dhcp6.name-servers, dhcp6.domain-search, dhcp6.rapid-commit, dhcp6.sntp-servers;\n";
    parm.wan_ip6_duid = "\"gateway 7\"";
    start_dhcp6c(test_tid, ASK_ADDR_INFO);
    EXPECT_EQ(read_file("/tmp/dhcp6c-wan.conf"), request + "send dhcp6.client-id \"gateway 7\";");
    for (const char* const bare : {"7", "\"", "00:03:00:01", "\"open", "open\""}) {
        parm.wan_ip6_duid = bare;
        start_dhcp6c(test_tid, ASK_ADDR_INFO);
        const bool written = std::string(bare).find('"') == std::string::npos;
        EXPECT_EQ(read_file("/tmp/dhcp6c-wan.conf"),
                  request + (written ? std::string("send dhcp6.client-id ") + bare + ";" : ""));
    }
    parm.wan_ip6_duid = "\"gate\"; option x \"y\"";
    start_dhcp6c(test_tid, ASK_ADDR_INFO);
    EXPECT_EQ(read_file("/tmp/dhcp6c-wan.conf"), request);
}

TEST_F(OddValuesTest, blanks_around_a_value_do_not_belong_to_it)
{
    EXPECT_TRUE(is_dhcpd_server_list("3fff::53 , 3fff::54"));
    EXPECT_FALSE(is_dhcpd_server_list("3fff::53 , "));
    EXPECT_TRUE(is_radvd_server_list("3fff::53  3fff::54 "));
    EXPECT_FALSE(is_radvd_server_list(" "));
}

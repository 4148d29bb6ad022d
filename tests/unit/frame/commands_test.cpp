#include "frame/commands.h"

#include "platform/device_test.h"

namespace {

constexpr char guard[] = "/tmp/zel_ipv6cp_script_running";

class CommandsTest : public DeviceTest {
protected:
    CommandsTest()
    {
        shell.output["wandataif.sh"] = "ppp0\n";
        shell.output["if2sect.sh ppp0"] = "wan100\n";
        shell.output["cat /proc/sys/net/ipv6/conf/ppp0/router_solicitations"] = "3\n";
        interfaces.by_name["br-lan"] = {.index = 2, .ip4 = "", .mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
        interfaces.by_name["br-lan1"] = {.index = 3, .ip4 = "", .mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x56}};
    }

    // Runs a command under its name with these arguments.
    static Outcome run(Outcome (*command)(const Invocation&), Lines arguments)
    {
        std::vector<char*> argv;
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        return command({.tid = test_tid, .argc = static_cast<int>(arguments.size()), .argv = argv.data()});
    }

    bool ran(const std::string& line) { return beginning_with(line, shell.lines).size() == 1; }
};

constexpr char cron[] = "/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'";

} // namespace

TEST_F(CommandsTest, supports_no_lan_start_without_an_argument)
{
    EXPECT_EQ(run(zel_ipv6_lan_command, {"zel_ipv6_lan"}), Outcome::not_supported);
    EXPECT_EQ(shell.lines, Lines{});
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(CommandsTest, starts_the_second_lan_for_any_argument_with_a_1)
{
    for (const char* const lan : {"1", "lan1", "10", "x1y"}) {
        shell.lines.clear();
        EXPECT_EQ(run(zel_ipv6_lan_command, {"zel_ipv6_lan", lan}), Outcome::completed);
        EXPECT_TRUE(ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding")) << lan;
        EXPECT_FALSE(ran("radvd -C /tmp/radvd.conf &"));
        EXPECT_EQ(shell.lines.back(), cron);
    }
}

TEST_F(CommandsTest, starts_the_first_lan_for_any_other_argument)
{
    for (const char* const lan : {"lan", "0", ""}) {
        shell.lines.clear();
        EXPECT_EQ(run(zel_ipv6_lan_command, {"zel_ipv6_lan", lan}), Outcome::completed);
        EXPECT_TRUE(ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding")) << lan;
        EXPECT_TRUE(ran("radvd -C /tmp/radvd.conf &"));
        EXPECT_EQ(shell.lines.back(), cron);
    }
}

TEST_F(CommandsTest, forgets_static_routes_when_there_were_some)
{
    run(zel_ipv6_lan_command, {"zel_ipv6_lan", "1"});
    EXPECT_EQ(store.value("num_extra_routes@system"), "(missing)");
    store.settings["add_static_route@system"] = "1";
    store.changes.clear();
    run(zel_ipv6_lan_command, {"zel_ipv6_lan", "1"});
    const Lines last(store.changes.end() - 4, store.changes.end());
    EXPECT_EQ(last, (Lines{"set add_static_route@system=0", "set num_extra_routes@system=0",
                           "set ip6_pre_routing_prefix@system=", "set ip6_extra_sid@system="}));
}

TEST_F(CommandsTest, sets_an_address_from_four_arguments)
{
    EXPECT_EQ(run(zel_ifconfig_command, {"zel_ifconfig", "br-lan", "fd00::1", "64", "1"}), Outcome::completed);
    EXPECT_EQ(run(zel_ifconfig_command, {"zel_ifconfig", "br-lan", "fd00::1", "64", "2"}), Outcome::completed);
    EXPECT_EQ(interfaces.requests, (Lines{"add fd00::1/64 2", "del fd00::1/64 2"}));
    EXPECT_EQ(log_lines().front(), "[main][1234] @[set_ip6addr][zel_ifconfig br-lan fd00::1 64 1]");
}

TEST_F(CommandsTest, supports_no_address_from_fewer_arguments)
{
    for (const Lines& arguments : {Lines{"zel_ifconfig"}, Lines{"zel_ifconfig", "br-lan", "fd00::1", "64"}})
        EXPECT_EQ(run(zel_ifconfig_command, arguments), Outcome::not_supported);
    EXPECT_EQ(interfaces.requests, Lines{});
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(CommandsTest, refuses_an_ipv6cp_hook_while_the_guard_is_up)
{
    for (const char* const word : {"1", "2\n", "7x"}) {
        write_file(guard, word);
        EXPECT_EQ(run(zel_ipv6cp_up_command, {"zel_ipv6cp_up"}), Outcome::refused);
        EXPECT_EQ(run(zel_ipv6cp_down_command, {"zel_ipv6cp_down"}), Outcome::refused);
        EXPECT_EQ(read_file(guard), word);
    }
    EXPECT_EQ(shell.lines, Lines{});
    EXPECT_EQ(store.changes, Lines{});
    EXPECT_EQ(log_lines().at(0), "[main][1234] zel_ipv6cp_up script_running[1].");
    EXPECT_EQ(log_lines().at(1), "[main][1234] @zel_ipv6cp_down script_running[1].");
}

TEST_F(CommandsTest, runs_an_ipv6cp_hook_under_the_guard)
{
    for (const char* const word : {"0", "", "-1", "x"}) {
        write_file(guard, word);
        shell.effect["ip6tables -F"] = [] { EXPECT_EQ(read_file(guard), "1"); };
        store.settings["ip6_proto@wan100"] = "static"; // nothing to detect
        EXPECT_EQ(run(zel_ipv6cp_up_command, {"zel_ipv6cp_up"}), Outcome::completed);
        EXPECT_EQ(read_file(guard), "0");
    }
}

TEST_F(CommandsTest, takes_the_wan_down)
{
    store.settings["ip6_wan_ready@system"] = "1";
    store.settings["ip4_wan_ready@system"] = "1";
    store.settings["on-demand@wan100"] = "1";
    EXPECT_EQ(run(zel_ipv6cp_down_command, {"zel_ipv6cp_down"}), Outcome::completed);
    EXPECT_EQ(store.value("ip6_wan_ready@system"), "0");
    EXPECT_TRUE(ran("ip6tables -F"));
    EXPECT_TRUE(ran("ip6tables -A OUTPUT -o ppp0 -p udp --dport 53 -j ACCEPT"));
    EXPECT_TRUE(ran("ip6tables -A OUTPUT -o ppp0 -j DROP"));
    EXPECT_TRUE(ran("sed -i '/^nameserver fe80::1/d' /tmp/resolv.conf"));
    EXPECT_TRUE(ran("echo  zel_ipv6cp_down killall USR1 dnsmasq >/dev/console"));
    EXPECT_TRUE(ran("killall -s USR1 dnsmasq"));
    EXPECT_TRUE(ran("/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 \"\" \"\""));
    EXPECT_EQ(read_file(guard), "0");
}

TEST_F(CommandsTest, leaves_the_filter_and_the_forwarder_of_a_permanent_link_alone)
{
    EXPECT_EQ(run(zel_ipv6cp_down_command, {"zel_ipv6cp_down"}), Outcome::completed);
    EXPECT_EQ(beginning_with("ip6tables", shell.lines), Lines{});
    EXPECT_FALSE(ran("killall -s USR1 dnsmasq"));
}

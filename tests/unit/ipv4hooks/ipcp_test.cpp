#include "ipv4hooks/ipcp.h"

#include "platform/device_test.h"

namespace {

class IpcpTest : public DeviceTest {
protected:
    IpcpTest()
    {
        shell.output["wandataif.sh"] = "ppp0\n";
        shell.output["if2sect.sh ppp0"] = "wan7\n";
    }

    void saved_rules(const std::string& rules)
    {
        shell.effect["iptables-save > /tmp/zel_ipt_old"] = [rules] { write_file("/tmp/zel_ipt_old", rules); };
    }

    Lines sed() { return beginning_with("sed", shell.lines); }
};

} // namespace

TEST_F(IpcpTest, takes_out_the_trigger_rules)
{
    saved_rules("*filter\n"
                "-A OUTPUT -o ppp0 -j DROP\n"
                "-A OUTPUT -o ppp1 -j DROP\n"
                "-A OUTPUT -o ppp0 -p udp -m udp --dport 53 -j ACCEPT\n"
                "-A FORWARD -j ACCEPT\n"
                "-A FORWARD -i br-lan -j ACCEPT\n"
                "COMMIT\n");
    EXPECT_EQ(zel_ipcp_up(test_tid), 1);
    EXPECT_EQ(read_file("/tmp/zel_ipt_new"),
              "*filter\n-A OUTPUT -o ppp1 -j DROP\n-A FORWARD -i br-lan -j ACCEPT\nCOMMIT\n");
    EXPECT_EQ(shell.lines, (Lines{"wandataif.sh", "iptables-save > /tmp/zel_ipt_old",
                                  "iptables-restore /tmp/zel_ipt_new", "conntrack -F"}));
    EXPECT_EQ(store.changes, Lines{"set ip4_wan_ready@system=1"});
}

TEST_F(IpcpTest, restores_other_rules_unchanged)
{
    const std::string rules =
        "*filter\n-A INPUT -m comment --comment \"" + std::string(600, 'c') + "\" -j ACCEPT\nCOMMIT";
    saved_rules(rules);
    EXPECT_EQ(zel_ipcp_up(test_tid), 1);
    EXPECT_EQ(read_file("/tmp/zel_ipt_new"), rules);
}

TEST_F(IpcpTest, restores_nothing_without_saved_rules)
{
    EXPECT_EQ(zel_ipcp_up(test_tid), -1);
    EXPECT_EQ(shell.lines.back(), "iptables-save > /tmp/zel_ipt_old");
    EXPECT_EQ(log_lines().back(), "[zel_ipcp_up][1234] Fail to iptables-save > /tmp/zel_ipt_bak.");
    EXPECT_EQ(store.changes, Lines{"set ip4_wan_ready@system=1"});
}

TEST_F(IpcpTest, wakes_the_forwarder_only_when_ipv6_is_up)
{
    saved_rules("");
    EXPECT_EQ(zel_ipcp_up(test_tid), 1);
    EXPECT_EQ(beginning_with("killall", shell.lines), Lines{});
    store.settings["ip6_wan_ready@system"] = "1";
    EXPECT_EQ(zel_ipcp_up(test_tid), 1);
    EXPECT_EQ(beginning_with("killall", shell.lines), Lines{"killall -s USR1 dnsmasq"});
    EXPECT_EQ(beginning_with("echo", shell.lines), Lines{"echo zel_ipcp_up  killall USR1 dnsmasq >/dev/console"});
}

TEST_F(IpcpTest, removes_the_server_of_the_link)
{
    store.settings["dns@wan7"] = "198.151.100.254";
    EXPECT_EQ(zel_ipcp_down(test_tid), 1);
    EXPECT_EQ(sed(), Lines{"sed -i '/^nameserver 198.151.100.254/d' /tmp/resolv.conf"});
    EXPECT_EQ(store.changes.front(), "set ip4_wan_ready@system=0");
    EXPECT_EQ(log_lines().back(), "[zel_ipcp_down][1234] zel_ipcp_down end.");
}

TEST_F(IpcpTest, removes_no_server_for_anything_but_an_ipv4_address)
{
    for (const char* const server : {"", "2001:db8::53", "/d;s/a/b/", ".*", "10.0.0"}) {
        store.settings["dns@wan7"] = server;
        EXPECT_EQ(zel_ipcp_down(test_tid), 1);
    }
    EXPECT_EQ(sed(), Lines{});
}

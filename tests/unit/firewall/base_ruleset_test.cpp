#include "firewall/base_ruleset.h"

#include "platform/device_test.h"

#include <algorithm>
#include <sstream>

namespace {

class BaseRulesetTest : public DeviceTest {
protected:
    BaseRulesetTest()
    {
        parm.wan_ifname = "ppp0";
        parm.wan_ip6_proto = "dhcp";
        parm.wan_ip6_prefix = "2001:db8:aaaa::";
        parm.wan_ip6_pfxlen = 64;
        parm.lan_ip6_prefix = "2001:db8:1234:5601::";
        parm.lan_ip6_pfxlen = 64;
        parm.delegate_prefix = "2001:db8:1234:5600::";
        parm.delegate_pfxlen = 56;
    }

    Lines ruleset()
    {
        write_file("/tmp/.ip6t", "");
        write_base_ruleset(test_tid);
        Lines lines;
        std::istringstream content(read_file("/tmp/.ip6t"));
        for (std::string line; std::getline(content, line);)
            lines.push_back(line);
        return lines;
    }
};

bool holds(const Lines& lines, const std::string& line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

constexpr char reject_ping[] = "-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d 2001:db8:aaaa::/64 -j REJECT";
constexpr char reject_ping_6rd[] = "-A INPUT -i 6rd -p ipv6-icmp --icmpv6-type echo-request -j REJECT";
constexpr char anti_spoofing[] = "-A FORWARD -i br-lan ! -s 2001:db8:1234:5601::/64 -j DROP";

} // namespace

TEST_F(BaseRulesetTest, is_one_table_from_header_to_commit)
{
    EXPECT_EQ(ruleset(),
              (Lines{
                  "*filter",
                  ":INPUT ACCEPT [0:0]",
                  ":FORWARD ACCEPT [0:0]",
                  ":OUTPUT ACCEPT [0:0]",
                  "-A INPUT -i lo -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d 2001:db8:aaaa::/64 -j REJECT",
                  "-A INPUT -m state --state NEW -i br+ -j ACCEPT",
                  "-A INPUT -m state --state RELATED,ESTABLISHED -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type no-route --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type packet-too-big --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type time-exceeded --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type echo-request -i br-lan --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type echo-reply --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type neighbour-solicitation --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type neighbour-advertisement --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type router-advertisement -s fe80::0/64 --dst ff02::1/128 --match "
                  "limit --limit 10/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type router-solicitation --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -i ppp0 -p ipv6-icmp --icmpv6-type 130 -j ACCEPT",
                  "-A INPUT -i br-lan -p ipv6-icmp --icmpv6-type 130 -j ACCEPT",
                  "-A INPUT -i br-lan -p ipv6-icmp --icmpv6-type 143 -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type 131 -s fe80::0/64 --match limit --limit 10/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type 132 -s fe80::0/64 --match limit --limit 10/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type 151 -s fe80::0/64 --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type 152 -s fe80::0/64 --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p ipv6-icmp --icmpv6-type 153 -s fe80::0/64 --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p udp --dport 53 -i br-lan --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p udp --sport 53 -i ppp0 --match limit --limit 100/sec -j ACCEPT",
                  "-A INPUT -p udp --dport 123 -i br-lan --match limit --limit 10/sec -j ACCEPT",
                  "-A INPUT -p udp --sport 123 -i ppp0 --match limit --limit 10/sec -j ACCEPT",
                  "-A INPUT -p udp --dport 546:547 -i br-lan -j ACCEPT",
                  "-A INPUT -p udp --dport 546:547 -i ppp0 -j ACCEPT",
                  "-A INPUT -j DROP",
                  "-A OUTPUT -o lo -j ACCEPT",
                  "-A OUTPUT -j ACCEPT",
                  "-A FORWARD -m rt --rt-type 0 -j DROP",
                  "-A FORWARD -s fe80::0/64 -j DROP",
                  "-A FORWARD -d fe80::0/64 -j DROP",
                  "-A FORWARD -s fd00::0/8 -j DROP",
                  "-A FORWARD -d fd00::0/8 -j DROP",
                  "-A FORWARD -i br-lan ! -s 2001:db8:1234:5601::/64 -j DROP",
                  "-A FORWARD -s fec0::/10 -j DROP",
                  "-A FORWARD -s ::/64 -j DROP",
                  "-A FORWARD -s 2001:db8::/32 -j DROP",
                  "-A FORWARD -s 2001:10::/28 -j DROP",
                  "-A FORWARD -m state --state RELATED,ESTABLISHED -j ACCEPT",
                  "-A FORWARD -m state --state NEW -i br-lan -o ppp0 -j ACCEPT",
                  "-A FORWARD -m state --state NEW -i br-lan1 -o ppp0 -j ACCEPT",
                  "-A FORWARD -i ppp0 -o br-lan -d ff00::/8 -j ACCEPT",
                  "-A FORWARD -d 2001:db8:1234:5600::/56 -p ipv6-icmp --icmpv6-type echo-request -j REJECT "
                  "--reject-with icmp6-port-unreachable",
                  "-A FORWARD -p ipv6-icmp --icmpv6-type no-route --match limit --limit 100/sec -j ACCEPT",
                  "-A FORWARD -p ipv6-icmp --icmpv6-type packet-too-big --match limit --limit 100/sec -j ACCEPT",
                  "-A FORWARD -p ipv6-icmp --icmpv6-type time-exceeded --match limit --limit 100/sec -j ACCEPT",
                  "-A FORWARD -p ipv6-icmp --icmpv6-type parameter-problem --match limit --limit 100/sec -j ACCEPT",
                  "-A FORWARD -p ipv6-icmp --icmpv6-type echo-request -d ::1/128 -j DROP",
                  "-A FORWARD -p icmpv6 --icmpv6-type echo-reply --match limit --limit 100/sec -j ACCEPT",
                  "-A FORWARD -s 2001:db8:1234:5600::/56 -d 2001:db8:1234:5600::/56 -j ACCEPT",
                  "-A FORWARD -j DROP",
                  "COMMIT",
              }));
}

TEST_F(BaseRulesetTest, rejects_pings_to_the_prefix_or_to_the_tunnel)
{
    EXPECT_TRUE(holds(ruleset(), reject_ping));
    EXPECT_FALSE(holds(ruleset(), reject_ping_6rd));
    parm.wan_ip6_proto = "tunnel6";
    EXPECT_TRUE(holds(ruleset(), reject_ping_6rd));
    EXPECT_FALSE(holds(ruleset(), reject_ping));
}

TEST_F(BaseRulesetTest, forwards_both_lans_into_a_tunnel)
{
    EXPECT_FALSE(holds(ruleset(), "-A FORWARD -i br-lan -o 6rd -j ACCEPT"));
    parm.wan_ip6_proto = "tunnel";
    EXPECT_TRUE(holds(ruleset(), "-A FORWARD -i br-lan -o 6rd -j ACCEPT"));
    EXPECT_TRUE(holds(ruleset(), "-A FORWARD -i br-lan1 -o 6rd -j ACCEPT"));
}

TEST_F(BaseRulesetTest, drops_foreign_sources_only_of_a_known_prefix)
{
    EXPECT_TRUE(holds(ruleset(), anti_spoofing));
    parm.lan_ip6_pfxlen = 0;
    EXPECT_EQ(ruleset().size(), 57U);
    parm.lan_ip6_pfxlen = 64;
    parm.lan_ip6_prefix = ":";
    EXPECT_EQ(ruleset().size(), 57U);
    parm.lan_ip6_prefix = "";
    EXPECT_EQ(ruleset().size(), 57U);
    parm.lan_ip6_prefix = "::";
    EXPECT_TRUE(holds(ruleset(), "-A FORWARD -i br-lan ! -s ::/64 -j DROP"));
}

TEST_F(BaseRulesetTest, puts_the_user_s_services_between_new_connections_and_multicast)
{
    store.settings["ip6_filter_list@wan100"] = "web;::1;tcp;80;80;;;;";
    EXPECT_EQ(ruleset().size(), 58U);
    for (const char* const none : {"0", "00", "0x"}) {
        store.settings["ip6_filter_cnt@wan100"] = none;
        EXPECT_EQ(ruleset().size(), 58U) << none;
    }
    store.settings["ip6_filter_cnt@wan100"] = "1";
    const Lines lines = ruleset();
    EXPECT_EQ(lines.size(), 60U);
    const auto rule =
        std::find(lines.begin(), lines.end(), "-A FORWARD -p tcp -s ::1 -m multiport --dports 80 -j ACCEPT");
    ASSERT_NE(rule, lines.end());
    EXPECT_EQ(rule[-1], "-A FORWARD -m state --state NEW -i br-lan1 -o ppp0 -j ACCEPT");
    EXPECT_EQ(rule[1], "-A FORWARD -p tcp -d ::1 -m multiport --dports 80 -j ACCEPT");
    EXPECT_EQ(rule[2], "-A FORWARD -i ppp0 -o br-lan -d ff00::/8 -j ACCEPT");
}

TEST_F(BaseRulesetTest, leaves_out_the_rules_of_an_interface_that_the_loader_would_refuse)
{
    for (const char* const refused : {"ppp0 -j ACCEPT", "ppp0\t", "ppp0\"", "ppp0'", "ppp#0", "ppp\\0", "ppp/0", "ppp+",
                                      "!ppp0", "ppp0123456789abc"}) {
        parm.wan_ifname = refused;
        const std::size_t before = log_lines().size();
        const Lines lines = ruleset();
        EXPECT_EQ(lines.size(), 58U - 7U) << refused;
        for (const std::string& line : lines)
            EXPECT_EQ(line.find("ppp"), std::string::npos) << line;
        EXPECT_EQ(lines.back(), "COMMIT");
        ASSERT_EQ(log_lines().size(), before + 1) << refused;
        EXPECT_EQ(log_lines().back(),
                  "[write_base_ruleset][1234] the WAN interface is left out of the ruleset: it is no "
                  "interface name.");
    }
}

TEST_F(BaseRulesetTest, writes_the_rules_of_every_interface_that_the_loader_takes)
{
    for (const char* const taken : {"", "p", "ppp0", "eth0.7", "eth0:1", "ppp0123456789ab", "a+b", "-x"}) {
        parm.wan_ifname = taken;
        EXPECT_EQ(ruleset().size(), 58U) << taken;
    }
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(BaseRulesetTest, leaves_out_the_rules_of_a_text_that_is_no_address)
{
    const char* const texts[] = {"host.example",
                                 "192.0.2.1",
                                 "2001:db8::1 -j ACCEPT",
                                 "2001:db8::,::",
                                 "2001:db8::/64",
                                 "2001:0DB8:1234:5612C::",
                                 "!2001:db8::",
                                 "::1%lo",
                                 "  ",
                                 "xx"};
    for (const char* const refused : texts) {
        parm.wan_ip6_prefix = refused;
        parm.lan_ip6_prefix = refused;
        parm.delegate_prefix = refused;
        const std::size_t before = log_lines().size();
        const Lines lines = ruleset();
        EXPECT_EQ(lines.size(), 58U - 4U) << refused;
        EXPECT_FALSE(holds(lines, reject_ping));
        ASSERT_EQ(log_lines().size(), before + 3) << refused;
    }
    for (const std::string what : {"the WAN prefix", "the LAN prefix", "the delegated prefix"}) {
        const std::string told =
            "[write_base_ruleset][1234] " + what + " is left out of the ruleset: it is no IPv6 address.";
        EXPECT_EQ(beginning_with(told, log_lines()).size(), std::size(texts));
    }
}

TEST_F(BaseRulesetTest, leaves_out_the_rules_of_a_length_that_is_none)
{
    for (const int length : {-1, 129, 1000, -2147483647}) {
        parm.wan_ip6_pfxlen = length;
        parm.lan_ip6_pfxlen = length;
        parm.delegate_pfxlen = length;
        EXPECT_EQ(ruleset().size(), 58U - 4U) << length;
        EXPECT_EQ(log_lines().back(), "[write_base_ruleset][1234] the delegated prefix is left out of the ruleset: its "
                                      "length is not within 0 to 128.");
    }
    for (const int length : {1, 64, 128}) {
        parm.wan_ip6_pfxlen = length;
        parm.lan_ip6_pfxlen = length;
        parm.delegate_pfxlen = length;
        EXPECT_EQ(ruleset().size(), 58U) << length;
    }
}

TEST_F(BaseRulesetTest, writes_an_empty_prefix_as_it_is)
{
    parm.wan_ip6_prefix = "";
    parm.delegate_prefix = "";
    parm.delegate_pfxlen = -1;
    const Lines lines = ruleset();
    EXPECT_TRUE(holds(lines, "-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d /64 -j REJECT"));
    EXPECT_TRUE(holds(lines, "-A FORWARD -s /-1 -d /-1 -j ACCEPT"));
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(BaseRulesetTest, says_nothing_of_a_prefix_that_no_rule_needs)
{
    parm.wan_ip6_proto = "tunnel";
    parm.wan_ip6_prefix = "x";
    parm.lan_ip6_prefix = "x";
    ruleset();
    parm.lan_ip6_prefix = "xyz";
    parm.lan_ip6_pfxlen = 0;
    ruleset();
    EXPECT_EQ(log_lines(), Lines{});
}

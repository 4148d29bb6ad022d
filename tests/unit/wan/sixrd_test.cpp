#include "wan/sixrd.h"

#include "platform/device_test.h"

#include <algorithm>
#include <utility>

namespace {

constexpr Ip6Octets sample = {0x20, 0x01, 0x0D, 0xB8, 0xA5, 0x5A, 0xFF, 0x81,
                              0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};

bool bit_of(const Ip6Octets& octets, int bit)
{
    return (octets[static_cast<std::size_t>(bit / 8)] >> (7 - bit % 8) & 1U) != 0;
}

// One bit after the other: the prefix, then the address behind its common bits. With all 32 bits common nothing is
// dropped. Octets behind the last one of a /64 take no address bits.
Ip6Octets bit_by_bit(const Ip6Octets& prefix, int pfxlen, std::uint32_t ip4, int v4mask)
{
    Ip6Octets delegated = {};
    const auto set = [&delegated](int bit) {
        unsigned char& octet = delegated[static_cast<std::size_t>(bit / 8)];
        octet = static_cast<unsigned char>(octet | (0x80U >> bit % 8));
    };
    for (int bit = 0; bit < pfxlen; ++bit) {
        if (bit_of(prefix, bit))
            set(bit);
    }
    const int dropped = v4mask % 32;
    const int last_octet = pfxlen / 8 + (64 - pfxlen) / 8;
    for (int i = dropped; i < 32; ++i) {
        const int bit = pfxlen + i - dropped;
        if ((ip4 >> (31 - i) & 1U) != 0 && bit / 8 <= last_octet)
            set(bit);
    }
    return delegated;
}

class SixrdTest : public DeviceTest {
protected:
    SixrdTest()
    {
        parm.wan_ifname = "ppp0";
        parm.wan_ip6_proto = "tunnel";
        parm.wan_ip6_tunnel_type = "2";
        parm.wan_ip6_6rd_ifname = "6rd";
        interfaces.by_name["ppp0"] = {.index = 5, .ip4 = "192.0.2.1", .mac = {}};
        interfaces.by_name["6rd"] = {.index = 6, .ip4 = "", .mac = {}};
        store.settings["ip6_6rd_v4mask@wan100"] = "0";
        store.settings["ip6_6rd_pfxlen@wan100"] = "32";
        store.settings["ip6_6rd_prefix@wan100"] = "2001:db8::";
        store.settings["ip6_6rd_border_relay@wan100"] = "192.0.2.254";
        shell.output["wandataif.sh"] = "ppp0\n";
        shell.output["if2sect.sh ppp0"] = "wan100\n";
        write_file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n");
    }

    // Nothing was torn down, built or stored.
    void expect_nothing_done()
    {
        EXPECT_EQ(beginning_with("/usr/sbin/ip", shell.lines), Lines{});
        EXPECT_EQ(beginning_with("set ip6_dhcp6c", store.changes), Lines{});
    }
};

} // namespace

TEST_F(SixrdTest, derives_the_prefix_for_every_mask_and_length)
{
    for (const std::uint32_t ip4 : {0xC0000201U, 0xFFFFFFFFU, 0x80000001U, 0xA5A5A5A5U, 0U}) {
        for (int v4mask = 0; v4mask <= 32; ++v4mask) {
            for (int pfxlen = 1; pfxlen <= 64; ++pfxlen) {
                EXPECT_EQ(sixrd_delegated_prefix(sample, pfxlen, ip4, v4mask), bit_by_bit(sample, pfxlen, ip4, v4mask))
                    << ip4 << " " << v4mask << " " << pfxlen;
            }
        }
    }
}

TEST_F(SixrdTest, derives_known_prefixes)
{
    const Ip6Octets prefix = {0x20, 0x01, 0x0D, 0xB8};
    EXPECT_EQ(sixrd_delegated_prefix(prefix, 32, 0xC0000201, 0), (Ip6Octets{0x20, 0x01, 0x0D, 0xB8, 0xC0, 0, 2, 1}));
    EXPECT_EQ(sixrd_delegated_prefix(prefix, 32, 0xC0000201, 8), (Ip6Octets{0x20, 0x01, 0x0D, 0xB8, 0, 2, 1}));
    EXPECT_EQ(sixrd_delegated_prefix(prefix, 28, 0xC0000201, 0),
              (Ip6Octets{0x20, 0x01, 0x0D, 0xBC, 0x00, 0x00, 0x20, 0x10}));
    EXPECT_EQ(sixrd_delegated_prefix(prefix, 32, 0xC0000201, 32), (Ip6Octets{0x20, 0x01, 0x0D, 0xB8, 0xC0, 0, 2, 1}));
}

TEST_F(SixrdTest, builds_the_tunnel)
{
    make_directory("/proc/sys/net/ipv6/conf/6rd");
    shell.status["/usr/sbin/ip tunnel 6rd dev 6rd 6rd-prefix 2001:db8::/32 6rd-relay_prefix 0.0.0.0/0"] = 3;
    EXPECT_EQ(start_6rd(test_tid), 3);
    const Lines first(shell.lines.begin(), shell.lines.begin() + 8);
    EXPECT_EQ(first, (Lines{
                         "nslookup 192.0.2.254 > /tmp/host.log",
                         "rm /tmp/host.log",
                         "/usr/sbin/ip tunnel del 6rd",
                         "/usr/sbin/ip tunnel add 6rd mode sit ttl 64 remote any local 192.0.2.1",
                         "/usr/sbin/ip link set dev 6rd up",
                         "/usr/sbin/ip tunnel 6rd dev 6rd 6rd-prefix 2001:db8::/32 6rd-relay_prefix 0.0.0.0/0",
                         "/usr/sbin/ip -6 route del default",
                         "/usr/sbin/ip -6 route add default via ::192.0.2.254 dev 6rd metric 1",
                     }));
    EXPECT_EQ(read_file("/proc/sys/net/ipv6/conf/6rd/disable_ipv6"), "0");
    EXPECT_EQ(store.value("ip6_dhcp6c_prefix_addr@system"), "2001:db8:c000:201::");
    EXPECT_EQ(store.value("ip6_dhcp6c_prefix_length@system"), "64");
    EXPECT_STREQ(parm.delegate_prefix, "2001:db8:c000:201::");
    EXPECT_EQ(parm.delegate_pfxlen, 64);
    EXPECT_EQ(store.value("ip6_wan_ready@system"), "1");
    EXPECT_EQ(interfaces.requests.back(), "add 2001:db8:c000:201::1/128 6");
}

TEST_F(SixrdTest, writes_the_relay_prefix_of_every_mask)
{
    interfaces.by_name["ppp0"].ip4 = "255.255.255.255";
    for (int v4mask = 0; v4mask <= 32; ++v4mask) {
        shell.lines.clear();
        store.settings["ip6_6rd_v4mask@wan100"] = std::to_string(v4mask);
        start_6rd(test_tid);
        std::string dotted;
        for (int octet = 0; octet < 4; ++octet) {
            int value = 0;
            for (int bit = 0; bit < 8; ++bit)
                value = value * 2 + (8 * octet + bit < v4mask ? 1 : 0);
            dotted += (octet != 0 ? "." : "") + std::to_string(value);
        }
        EXPECT_EQ(beginning_with("/usr/sbin/ip tunnel 6rd", shell.lines),
                  Lines{"/usr/sbin/ip tunnel 6rd dev 6rd 6rd-prefix 2001:db8::/32 6rd-relay_prefix " + dotted + "/"
                        + std::to_string(v4mask)});
    }
}

TEST_F(SixrdTest, takes_the_information_of_dhcpv4)
{
    parm.wan_ip6_tunnel_type = "1";
    store.settings["ip6_6rd_info@wan100"] = "8 32 2001:db8:: 198.51.100.1";
    start_6rd(test_tid);
    EXPECT_EQ(store.value("ip6_6rd_v4mask@wan100"), "8");
    EXPECT_EQ(store.value("ip6_6rd_pfxlen@wan100"), "32");
    EXPECT_EQ(store.value("ip6_6rd_prefix@wan100"), "2001:db8::");
    EXPECT_EQ(store.value("ip6_6rd_border_relay@wan100"), "198.51.100.1");
    EXPECT_STREQ(parm.delegate_prefix, "2001:db8:2:100::");
    EXPECT_EQ(parm.delegate_pfxlen, 56);
    EXPECT_EQ(log_lines().front(), "[start_6rd][1234] 6rd_info[8 32 2001:db8:: 198.51.100.1]");
}

TEST_F(SixrdTest, does_nothing_without_information_of_dhcpv4)
{
    parm.wan_ip6_tunnel_type = "1";
    EXPECT_EQ(start_6rd(test_tid), 0);
    EXPECT_EQ(store.changes, Lines{});
    EXPECT_EQ(shell.lines, Lines{});
}

TEST_F(SixrdTest, disconnects_on_half_an_information)
{
    parm.wan_ip6_tunnel_type = "1";
    store.settings["ip6_6rd_info@wan100"] = "0 32";
    EXPECT_EQ(start_6rd(test_tid), 0);
    EXPECT_EQ(store.changes,
              (Lines{"set ip6_6rd_v4mask@wan100=0", "set ip6_6rd_pfxlen@wan100=32", "set ip6_6rd_prefix@wan100=",
                     "set ip6_6rd_border_relay@wan100=", "set ip6_tunnel_status@wan100=disconnected"}));
    expect_nothing_done();
}

TEST_F(SixrdTest, does_nothing_for_another_kind_of_wan)
{
    parm.wan_ip6_proto = "dhcp";
    EXPECT_EQ(start_6rd(test_tid), 0);
    parm.wan_ip6_proto = "tunnel";
    for (const char* const type : {"0", "", "3"}) {
        parm.wan_ip6_tunnel_type = type;
        EXPECT_EQ(start_6rd(test_tid), 0);
    }
    EXPECT_EQ(shell.lines, Lines{});
    EXPECT_EQ(store.changes, Lines{});
}

TEST_F(SixrdTest, disconnects_on_incomplete_settings)
{
    const std::pair<const char*, const char*> settings[] = {
        {"ip6_6rd_v4mask@wan100", "-1"}, {"ip6_6rd_pfxlen@wan100", "0"},      {"ip6_6rd_pfxlen@wan100", "-5"},
        {"ip6_6rd_prefix@wan100", ""},   {"ip6_6rd_border_relay@wan100", ""},
    };
    const auto complete = store.settings;
    for (const auto& [key, value] : settings) {
        store.settings = complete;
        store.settings[key] = value;
        EXPECT_EQ(start_6rd(test_tid), 0);
        EXPECT_EQ(store.value("ip6_tunnel_status@wan100"), "disconnected") << key << value;
        expect_nothing_done();
    }
}

TEST_F(SixrdTest, refuses_impossible_lengths_silently)
{
    const std::pair<const char*, const char*> lengths[] = {{"33", "1"}, {"31", "64"}, {"32", "65"}, {"0", "33"}};
    for (const auto& [v4mask, pfxlen] : lengths) {
        store.settings["ip6_6rd_v4mask@wan100"] = v4mask;
        store.settings["ip6_6rd_pfxlen@wan100"] = pfxlen;
        EXPECT_EQ(start_6rd(test_tid), 0);
        EXPECT_EQ(store.value("ip6_tunnel_status@wan100"), "(missing)") << v4mask << pfxlen;
        expect_nothing_done();
    }
}

TEST_F(SixrdTest, resolves_the_relay)
{
    store.settings["ip6_6rd_border_relay@wan100"] = "relay.example";
    shell.effect["nslookup relay.example > /tmp/host.log"] = [] {
        write_file("/tmp/host.log", "Name:      relay.example\nAddress 1: 198.51.100.7 relay.example\n");
    };
    start_6rd(test_tid);
    EXPECT_EQ(beginning_with("/usr/sbin/ip -6 route add default", shell.lines),
              Lines{"/usr/sbin/ip -6 route add default via ::198.51.100.7 dev 6rd metric 1"});
    const Lines log = log_lines();
    EXPECT_NE(std::find(log.begin(), log.end(), "[start_6rd][1234] FQDN's ip = 198.51.100.7"), log.end());
}

TEST_F(SixrdTest, says_when_the_answer_about_the_relay_is_empty)
{
    start_6rd(test_tid);
    const Lines log = log_lines();
    EXPECT_NE(std::find(log.begin(), log.end(), "[start_6rd][1234] tedo: File size is zero!"), log.end());
}

TEST_F(SixrdTest, removes_the_tunnel)
{
    shell.status["/usr/sbin/ip tunnel del 6rd"] = 1;
    EXPECT_EQ(del_6rd_tunnel(test_tid), 1);
    EXPECT_EQ(shell.lines, Lines{"/usr/sbin/ip tunnel del 6rd"});
}

// What differs between processors: the width of long and of the clock, byte order, the sign of char.
#include "addr/ip6_prefix.h"
#include "frame/address_text.h"
#include "frame/log.h"
#include "frame/outside_value.h"
#include "frame/shell.h"
#include "params/param_record.h"
#include "wan/duid.h"
#include "wan/ra_record.h"
#include "wan/sixrd.h"

#include <arpa/inet.h>
#include <climits>
#include <ctime>
#include <fstream>
#include <unistd.h>

#include "platform/config_store.h"
#include "platform/device_test.h"

namespace {

using PortabilityTest = DeviceTest;

RaRecord record_of(const std::string& line)
{
    RaRecord record;
    write_file("/tmp/records", line);
    EXPECT_TRUE(read_ra_record(Stream(private_path("/tmp/records").c_str()), record));
    return record;
}

std::string delegated(const char* prefix, int pfxlen, std::uint32_t ip4, int v4mask)
{
    Ip6Octets octets = {};
    inet_pton(AF_INET6, prefix, octets.data());
    return long_form(sixrd_delegated_prefix(octets, pfxlen, ip4, v4mask)).c_str();
}

} // namespace

// With a 32-bit clock the C library fails in 2038, and every device would make the same identifier from then on.
TEST_F(PortabilityTest, the_clock_reaches_beyond_2038)
{
    static_assert(sizeof(std::time_t) == 8, "_TIME_BITS");
    clock.now = 2147483648LL; // 2038-01-19 03:14:08 UTC
    EXPECT_EQ(std::time(nullptr), 2147483648LL);
    parm.lan_mac_addr = "00:1a:2b:3c:4d:5e";
    DuidText duid;
    build_duid(1, duid);
    EXPECT_STREQ(duid, "00:01:00:01:47:92:bc:80:00:1a:2b:3c:4d:5e");
    EXPECT_EQ(log_lines().back(), "[start_dhcp6c][1234] time = [4792bc80], "
                                  "wan_ip6_duid=00:01:00:01:47:92:bc:80:00:1a:2b:3c:4d:5e");
}

TEST_F(PortabilityTest, a_file_offset_has_64_bits)
{
    static_assert(sizeof(off_t) == 8, "_FILE_OFFSET_BITS");
}

TEST_F(PortabilityTest, the_uptime_of_a_log_line_is_a_long)
{
    clock.uptime = LONG_MAX;
    log_line("main", "text");
    const std::string longest = sizeof(long) == 8 ? "9223372036854775807" : "2147483647";
    EXPECT_EQ(log_lines().back(), "[main][" + longest + "] text");
    clock.uptime = 4000000; // a device that runs for 46 days
    log_line("main", "text");
    EXPECT_EQ(log_lines().back(), "[main][4000000] text");
}

TEST_F(PortabilityTest, a_record_is_read_the_same_in_every_byte_order)
{
    const RaRecord r = record_of("20010db8000000000000000000000001 0a 40 00 80 ff 800000f0                 ppp0 "
                                 "fe80000000000000000000000000000a\n");
    EXPECT_EQ(r.index, 0x0aU);
    EXPECT_EQ(r.plen, 64U);
    EXPECT_EQ(r.if_probes, 255U);
    EXPECT_EQ(r.if_flags6, 0x800000f0U);
    EXPECT_TRUE(r.has_advertisement());
    EXPECT_STREQ(r.devname, "ppp0");
    EXPECT_STREQ(normalized(r.address), "2001:db8::1");
    EXPECT_STREQ(normalized(r.router), "fe80::a");
}

TEST_F(PortabilityTest, a_6rd_prefix_takes_the_high_bits_of_an_ipv4_address_first)
{
    EXPECT_EQ(delegated("2001:db8::", 32, 0xC0000201, 0), "2001:0DB8:C000:0201:0000:0000:0000:0000");
    EXPECT_EQ(delegated("2001:db8::", 32, 0xFFFFFFFF, 0), "2001:0DB8:FFFF:FFFF:0000:0000:0000:0000");
    EXPECT_EQ(delegated("2001:db8::", 33, 0xC0000003, 1), "2001:0DB8:4000:0003:0000:0000:0000:0000");
    EXPECT_EQ(delegated("2001:db8::", 32, 0x0A010203, 8), "2001:0DB8:0102:0300:0000:0000:0000:0000");
    EXPECT_EQ(delegated("2001:db8::", 40, 0xFF8000FF, 31), "2001:0DB8:0080:0000:0000:0000:0000:0000");
}

// Octets above 7f: negative where char is signed, positive where it is not, and neither may show.
TEST_F(PortabilityTest, the_sign_of_char_does_not_show)
{
    parm.product_class = "\x80\xff";
    parm.serial_number = "\xc3\xa9";
    DuidText duid;
    build_duid(2, duid);
    const std::string text = duid.c_str();
    EXPECT_EQ(text.substr(text.size() - 12), ":80:ff:c3:a9");
    EXPECT_FALSE(has_control_character("\x80\xff\xc3\xa9"));
    EXPECT_TRUE(has_control_character("\x1f"));
    EXPECT_TRUE(has_control_character("\x7f"));
    EXPECT_STREQ(ShellLine("echo %s", "\xc3\xa9").c_str(), "echo '\xc3\xa9'");
}

// A log grows until the device rotates it. Without 64-bit offsets a 32-bit program cannot open one above 2 GB.
TEST_F(PortabilityTest, a_log_above_2_gb_is_written_on)
{
    constexpr off_t size = off_t{3} << 30;
    write_file("/tmp/ipv6.log", "");
    ASSERT_EQ(truncate(private_path("/tmp/ipv6.log").c_str(), size), 0); // a hole: no space is taken
    log_line("main", "text");
    std::ifstream log(private_path("/tmp/ipv6.log"), std::ios::binary);
    log.seekg(size);
    std::string line;
    std::getline(log, line);
    EXPECT_EQ(line, "[main][1234] text");
}

// A 32-bit strtol stops at LONG_MAX, a 64-bit one goes on; a number of a setting is an int on both.
TEST_F(PortabilityTest, a_number_that_no_long_holds)
{
    EXPECT_EQ(to_int("2147483647"), INT_MAX);
    EXPECT_EQ(to_int("-2147483648"), INT_MIN);
    EXPECT_EQ(to_int("2147483648"), INT_MAX);
    EXPECT_EQ(to_int("-9223372036854775809"), INT_MIN);
    const int tid = tesa_start_transc();
    tesa_ccfg_set_str(tid, "wan100", "mtu", "4294967297"); // one more than 32 bits hold: not 1
    EXPECT_EQ(to_int(tesa_ccfg_get_long(tid, "wan100", "mtu", 0)), INT_MAX);
    tesa_ccfg_set_str(tid, "wan100", "mtu", "-4294967297");
    EXPECT_EQ(to_int(tesa_ccfg_get_long(tid, "wan100", "mtu", 0)), INT_MIN);
}

#include "wan/duid.h"

#include "platform/device_test.h"

#include <cstdio>

namespace {

using DuidTest = DeviceTest;

std::string built(int type)
{
    DuidText duid;
    EXPECT_TRUE(build_duid(type, duid));
    return duid.c_str();
}

std::string hex_of(const std::string& text)
{
    std::string octets;
    for (const char c : text) {
        char digits[8];
        std::snprintf(digits, sizeof digits, ":%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        octets += digits;
    }
    return octets;
}

// The build's enterprise number, octet by octet.
std::string enterprise()
{
    std::string octets;
    for (long divisor = 16777216; divisor > 0; divisor /= 256) {
        char digits[8];
        std::snprintf(digits, sizeof digits, "%s%02x", octets.empty() ? "" : ":",
                      static_cast<unsigned>(IPV6CTL_ENTERPRISE_NUMBER / divisor % 256));
        octets += digits;
    }
    return octets;
}

} // namespace

TEST_F(DuidTest, counts_seconds_since_2000)
{
    EXPECT_EQ(duid_time(0), 0U);
    EXPECT_EQ(duid_time(946684799), 946684799U);
    EXPECT_EQ(duid_time(946684800), 946684800U); // the first second itself is taken as it is
    EXPECT_EQ(duid_time(946684801), 1U);
    EXPECT_EQ(duid_time(1609459200), 662774400U);
    EXPECT_EQ(duid_time(2147483647), 1200798847U);
    EXPECT_EQ(duid_time(2147483648U), 1200798848U); // 2038-01-19
    EXPECT_EQ(duid_time(4294967295U), 3348282495U);
}

TEST_F(DuidTest, builds_a_link_layer_address_plus_time)
{
    clock.now = 946684800 + 0x01020304;
    parm.lan_mac_addr = "00:1a:2b:3c:4d:5e";
    EXPECT_EQ(built(1), "00:01:00:01:01:02:03:04:00:1a:2b:3c:4d:5e");
    EXPECT_EQ(log_lines(), Lines{"[start_dhcp6c][1234] time = [01020304], "
                                 "wan_ip6_duid=00:01:00:01:01:02:03:04:00:1a:2b:3c:4d:5e"});
}

TEST_F(DuidTest, writes_every_octet_of_the_time_with_two_digits)
{
    parm.lan_mac_addr = "00:1a:2b:3c:4d:5e";
    clock.now = 1;
    EXPECT_EQ(built(1), "00:01:00:01:00:00:00:01:00:1a:2b:3c:4d:5e");
    clock.now = 0x80000000 + 946684800LL; // after 2038
    EXPECT_EQ(built(1), "00:01:00:01:80:00:00:00:00:1a:2b:3c:4d:5e");
    clock.now = 0x100000000 + 5; // after 2106 the count starts anew
    EXPECT_EQ(built(1), "00:01:00:01:00:00:00:05:00:1a:2b:3c:4d:5e");
}

TEST_F(DuidTest, builds_an_enterprise_identifier)
{
    parm.product_class = "GW1";
    parm.serial_number = "S 9\xff";
    EXPECT_EQ(built(2), "00:02:" + enterprise() + ":47:57:31:53:20:39:ff");
    EXPECT_EQ(log_lines(),
              (Lines{"[start_dhcp6c][1234] number=" + enterprise(), "[start_dhcp6c][1234] identifier=:47:57:31",
                     "[start_dhcp6c][1234] identifier=:47:57:31:53:20:39:ff"}));
}

TEST_F(DuidTest, builds_an_enterprise_identifier_of_nothing)
{
    EXPECT_EQ(built(2), "00:02:" + enterprise());
    EXPECT_EQ(log_lines(), (Lines{"[start_dhcp6c][1234] number=" + enterprise(),
                                  "[start_dhcp6c][1234] identifier=", "[start_dhcp6c][1234] identifier="}));
}

TEST_F(DuidTest, cuts_an_identifier_to_255_characters)
{
    const std::string product(31, 'p');
    const std::string serial(63, 's');
    parm.product_class = product.c_str();
    parm.serial_number = serial.c_str();
    const std::string whole = "00:02:" + enterprise() + hex_of(product + serial);
    EXPECT_EQ(built(2), whole.substr(0, 255));
    EXPECT_EQ(log_lines().back(), "[start_dhcp6c][1234] identifier=" + hex_of(product + serial));
}

TEST_F(DuidTest, builds_a_link_layer_address)
{
    parm.lan_mac_addr = "00:1a:2b:3c:4d:5e";
    EXPECT_EQ(built(3), "00:03:00:01:00:1a:2b:3c:4d:5e");
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(DuidTest, builds_no_other_type)
{
    for (const int type : {0, 4, -1, 256}) {
        DuidText duid;
        duid = "before";
        EXPECT_FALSE(build_duid(type, duid)) << type;
        EXPECT_STREQ(duid, "before");
        EXPECT_EQ(log_lines().back(), "[start_dhcp6c][1234] The type of DHCP Unique Identifier (DUID) is incorrect.");
    }
}

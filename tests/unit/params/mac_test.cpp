#include "params/mac.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>

namespace {

MacOctets read(const char* text, MacOctets before = {})
{
    read_mac(text, before);
    return before;
}

// The identifier built bit by bit as RFC 4291, appendix A, draws it.
std::string drawn_eui64(const MacOctets& mac)
{
    unsigned octet[8] = {mac[0], mac[1], mac[2], 0xFF, 0xFE, mac[3], mac[4], mac[5]};
    octet[0] = (octet[0] & 0xFDU) | (~octet[0] & 2U);
    std::string text;
    for (int i = 0; i < 8; ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X", octet[i] & 0xFFU);
        text += (i != 0 && i % 2 == 0 ? ":" : "") + std::string(digits);
    }
    return text;
}

} // namespace

TEST(MacTest, reads_six_octets_in_either_case)
{
    EXPECT_EQ(read("00:1a:2B:3c:4D:ff"), (MacOctets{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0xFF}));
    EXPECT_EQ(read("0:1:2:3:4:5"), (MacOctets{0, 1, 2, 3, 4, 5}));
}

TEST(MacTest, keeps_octets_that_cannot_be_read)
{
    const MacOctets before = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(read("", before), before);
    EXPECT_EQ(read("none", before), before);
    EXPECT_EQ(read("00:11:22", before), (MacOctets{0, 0x11, 0x22, 9, 9, 9}));
    EXPECT_EQ(read("00:11:zz:33:44:55", before), (MacOctets{0, 0x11, 9, 9, 9, 9}));
    EXPECT_EQ(read("00-11-22-33-44-55", before), (MacOctets{0, 9, 9, 9, 9, 9}));
}

TEST(MacTest, inverts_the_universal_bit_and_inserts_fffe)
{
    EXPECT_STREQ(modified_eui64({0x00, 0x11, 0x22, 0x33, 0x44, 0x55}), "0211:22FF:FE33:4455");
    EXPECT_STREQ(modified_eui64({0x02, 0x11, 0x22, 0x33, 0x44, 0x55}), "0011:22FF:FE33:4455");
    EXPECT_STREQ(modified_eui64({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), "FDFF:FFFF:FEFF:FFFF");
    EXPECT_STREQ(modified_eui64({}), "0200:00FF:FE00:0000");
}

TEST(MacTest, makes_the_identifier_of_every_value_of_every_octet)
{
    for (unsigned value = 0; value < 256; ++value) {
        for (std::size_t i = 0; i < 6; ++i) {
            MacOctets mac = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
            mac[i] = value;
            EXPECT_EQ(std::string(modified_eui64(mac)), drawn_eui64(mac));
        }
    }
}

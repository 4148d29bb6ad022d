#include "addr/ip6_prefix.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>

namespace {

constexpr Ip6Octets sample = {0x20, 0x01, 0x0D, 0xB8, 0x12, 0x34, 0x56, 0x78,
                              0x9A, 0xBC, 0xDE, 0xF0, 0xFF, 0xFF, 0x80, 0x01};

struct Parsed {
    int result = 0;
    Ip6Octets octets = {};
    int length = -99;
};

Parsed parse(const std::string& text)
{
    Parsed p;
    p.result = parse_ip6_prefix(text.c_str(), &p.octets, &p.length);
    return p;
}

// Bit by bit: the first `length` of `octets`.
Ip6Octets first_bits(const Ip6Octets& octets, int length)
{
    Ip6Octets masked = {};
    for (std::size_t bit = 0; bit < 128 && static_cast<int>(bit) < length; ++bit)
        masked[bit / 8] = static_cast<unsigned char>(masked[bit / 8] | (octets[bit / 8] & (0x80U >> bit % 8)));
    return masked;
}

bool is_refused(const std::string& text)
{
    const Parsed p = parse(text);
    return p.result == -1 && p.octets == Ip6Octets{} && p.length == -99;
}

std::string hex(unsigned number)
{
    char digits[8];
    std::snprintf(digits, sizeof digits, "%x", number);
    return digits;
}

} // namespace

TEST(Ip6PrefixTest, masks_every_length)
{
    for (int length = -1; length <= 200; ++length) {
        Ip6Octets masked = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
        mask_ip6_prefix(masked, sample, length);
        EXPECT_EQ(masked, first_bits(sample, length)) << length;
    }
}

TEST(Ip6PrefixTest, masks_in_place)
{
    Ip6Octets octets = sample;
    mask_ip6_prefix(octets, octets, 45);
    EXPECT_EQ(octets, first_bits(sample, 45));
}

TEST(Ip6PrefixTest, parses_an_address_and_a_length)
{
    const Parsed p = parse("2001:db8::/32");
    EXPECT_EQ(p.result, 1);
    EXPECT_EQ(p.octets, (Ip6Octets{0x20, 0x01, 0x0D, 0xB8}));
    EXPECT_EQ(p.length, 32);
}

TEST(Ip6PrefixTest, masks_what_it_parsed)
{
    EXPECT_EQ(parse("fe80::1/10").octets, (Ip6Octets{0xFE, 0x80}));
    for (int length = 0; length <= 128; ++length) {
        const Parsed p = parse("2001:0db8:1234:5678:9abc:def0:ffff:8001/" + std::to_string(length));
        if (length >= 100) { // the whole text then has 43 characters
            EXPECT_EQ(p.result, -1);
            continue;
        }
        EXPECT_EQ(p.result, 1);
        EXPECT_EQ(p.length, length);
        EXPECT_EQ(p.octets, first_bits(sample, length));
    }
}

TEST(Ip6PrefixTest, fills_the_gap_wherever_it_stands)
{
    for (unsigned first = 0; first < 8; ++first) {
        for (unsigned last = first; last < 8; ++last) {
            Ip6Octets expected = {};
            std::string text;
            for (unsigned group = 0; group < 8; ++group) {
                if (group == first)
                    text += "::";
                if (group >= first && group <= last)
                    continue;
                if (!text.empty() && text.back() != ':')
                    text += ":";
                text += hex(0xA100 + group);
                expected[2 * group] = 0xA1;
                expected[2 * group + 1] = static_cast<unsigned char>(group);
            }
            const Parsed p = parse(text + "/99");
            if (text.size() < 2) {
                EXPECT_EQ(p.result, -1);
                continue;
            }
            EXPECT_EQ(p.result, 1) << text;
            EXPECT_EQ(p.octets, first_bits(expected, 99)) << text;
        }
    }
}

TEST(Ip6PrefixTest, reads_groups_of_every_length_and_case)
{
    EXPECT_EQ(parse("a:bC:dEf:0123:0:00:000:0000/64").octets,
              (Ip6Octets{0x00, 0x0A, 0x00, 0xBC, 0x0D, 0xEF, 0x01, 0x23}));
    EXPECT_EQ(parse("12345::/64").octets, (Ip6Octets{0x23, 0x45})); // the low 16 bits
}

TEST(Ip6PrefixTest, ignores_everything_behind_the_eighth_group)
{
    EXPECT_EQ(parse("1:2:3:4:5:6:7:8:9:a/64").octets, (Ip6Octets{0, 1, 0, 2, 0, 3, 0, 4}));
    EXPECT_EQ(parse("1:2:3:4:5:6:7:8::/64").octets, (Ip6Octets{0, 1, 0, 2, 0, 3, 0, 4}));
    EXPECT_EQ(parse("1:2:3:4:5:6:7:8:/64").octets, (Ip6Octets{0, 1, 0, 2, 0, 3, 0, 4}));
    EXPECT_EQ(parse(":::::::::::::::::::/64").octets, Ip6Octets{});
}

TEST(Ip6PrefixTest, leaves_missing_groups_without_a_gap_at_the_end)
{
    EXPECT_EQ(parse("2001:db8/64").octets, (Ip6Octets{0x20, 0x01, 0x0D, 0xB8}));
    EXPECT_EQ(parse("2001/64").octets, (Ip6Octets{0x20, 0x01}));
    EXPECT_EQ(parse("2001:/64").octets, (Ip6Octets{0x20, 0x01}));
}

TEST(Ip6PrefixTest, takes_the_last_of_two_gaps)
{
    EXPECT_EQ(parse("1::2::3/99").octets, (Ip6Octets{0, 1, 0, 2}));
    EXPECT_EQ(parse("1::2::3/128").octets, (Ip6Octets{0, 1, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3}));
}

TEST(Ip6PrefixTest, takes_texts_of_4_to_42_characters)
{
    EXPECT_TRUE(is_refused(""));
    EXPECT_TRUE(is_refused("/64"));
    EXPECT_TRUE(is_refused("::/"));
    EXPECT_EQ(parse("::/0").result, 1);
    EXPECT_EQ(parse("/128").result, 1);
    EXPECT_EQ(parse("2001:0db8:0000:0000:0000:0000:0000:0001/64").result, 1); // 42
    EXPECT_TRUE(is_refused("2001:0db8:0000:0000:0000:0000:0000:0001/128"));   // 43
    EXPECT_TRUE(is_refused("2001:0db8:0000:0000:0000:0000:0000:0001/0000000000064"));
}

TEST(Ip6PrefixTest, refuses_a_text_without_a_length)
{
    EXPECT_TRUE(is_refused("2001:db8::"));
    EXPECT_TRUE(is_refused("2001:db8::/"));
    EXPECT_TRUE(is_refused("2001:db8::64"));
}

TEST(Ip6PrefixTest, refuses_null)
{
    Ip6Octets octets = {};
    int length = 0;
    EXPECT_EQ(parse_ip6_prefix(nullptr, &octets, &length), -1);
    EXPECT_EQ(parse_ip6_prefix("::/64", nullptr, &length), -1);
    EXPECT_EQ(parse_ip6_prefix("::/64", &octets, nullptr), -1);
}

TEST(Ip6PrefixTest, takes_any_length)
{
    EXPECT_EQ(parse("2001:db8::/-1").length, -1);
    EXPECT_EQ(parse("2001:db8::/-1").octets, Ip6Octets{});
    EXPECT_EQ(parse("2001:db8::/200").length, 200);
    EXPECT_EQ(parse("2001:db8::/200").octets, (Ip6Octets{0x20, 0x01, 0x0D, 0xB8}));
    EXPECT_EQ(parse("2001:db8::/x").length, 0);
    EXPECT_EQ(parse("2001:db8::/64/32").length, 64);
}

TEST(Ip6PrefixTest, reads_what_is_no_group_as_zero)
{
    EXPECT_EQ(parse("x:y::1/128").octets, (Ip6Octets{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(parse("192.0.2.1/32").octets, (Ip6Octets{0x01, 0x92}));
}

TEST(Ip6PrefixTest, writes_the_long_form)
{
    EXPECT_STREQ(long_form({}), "0000:0000:0000:0000:0000:0000:0000:0000");
    EXPECT_STREQ(long_form(sample), "2001:0DB8:1234:5678:9ABC:DEF0:FFFF:8001");
    for (unsigned value = 0; value < 256; ++value) {
        for (std::size_t i = 0; i < 16; ++i) {
            Ip6Octets octets = sample;
            octets[i] = static_cast<unsigned char>(value);
            std::string expected;
            for (std::size_t j = 0; j < 16; ++j) {
                char digits[4];
                std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(octets[j]));
                expected += (j != 0 && j % 2 == 0 ? ":" : "") + std::string(digits);
            }
            EXPECT_EQ(std::string(long_form(octets)), expected);
        }
    }
}

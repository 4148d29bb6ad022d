#include "frame/outside_value.h"

#include "platform/device_test.h"

namespace {

using OutsideValueTest = DeviceTest;

bool is_control(int byte)
{
    return byte < 0x20 || byte == 0x7f;
}

// Text with one byte at the start, in the middle and at the end.
Lines around(int byte)
{
    const std::string one(1, static_cast<char>(byte));
    return {one, one + "ab", "a" + one + "b", "ab" + one};
}

} // namespace

TEST_F(OutsideValueTest, knows_control_characters_at_every_place)
{
    EXPECT_FALSE(has_control_character(""));
    for (int byte = 1; byte < 256; ++byte) {
        for (const std::string& text : around(byte))
            EXPECT_EQ(has_control_character(text.c_str()), is_control(byte)) << byte;
    }
}

TEST_F(OutsideValueTest, accepts_a_value_silently)
{
    EXPECT_TRUE(is_acceptable("dhcp6c_main", "new_ip6_address", "2001:db8::1"));
    EXPECT_TRUE(is_acceptable("dhcp6c_main", "new_ip6_address", ""));
    EXPECT_TRUE(is_acceptable("dhcp6c_main", "new_ip6_address", "'; \" $(x)"));
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(OutsideValueTest, says_which_value_counts_as_absent)
{
    EXPECT_FALSE(is_acceptable("dhcp6c_main", "new_ip6_address", "2001:db8::1\n"));
    EXPECT_EQ(log_lines(),
              Lines{"[dhcp6c_main][1234] new_ip6_address holds a control character and counts as absent."});
}

TEST_F(OutsideValueTest, lets_nothing_end_a_statement)
{
    const std::string forbidden = ";{}\"#\\";
    for (int byte = 1; byte < 256; ++byte) {
        const bool fits = !is_control(byte) && forbidden.find(static_cast<char>(byte)) == std::string::npos;
        for (const std::string& text : around(byte))
            EXPECT_EQ(fits_statement("n", "f", "w", text.c_str()), fits) << byte;
    }
    EXPECT_TRUE(fits_statement("n", "f", "w", ""));
}

TEST_F(OutsideValueTest, says_what_is_left_out_of_which_file)
{
    EXPECT_TRUE(fits_statement("start_radvd", "/tmp/radvd.conf", "the domain list", "a.example b.example"));
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_FALSE(fits_statement("start_radvd", "/tmp/radvd.conf", "the domain list", "a; };"));
    EXPECT_EQ(log_lines(), Lines{"[start_radvd][1234] the domain list is left out of /tmp/radvd.conf: it holds a "
                                 "character that would end its statement."});
}

TEST_F(OutsideValueTest, lets_only_single_words_into_a_rule)
{
    const std::string forbidden = " \"'#\\";
    for (int byte = 1; byte < 256; ++byte) {
        const bool fits = !is_control(byte) && forbidden.find(static_cast<char>(byte)) == std::string::npos;
        for (const std::string& text : around(byte))
            EXPECT_EQ(fits_rule("n", "w", text.c_str()), fits) << byte;
    }
    EXPECT_TRUE(fits_rule("n", "w", ""));
}

TEST_F(OutsideValueTest, says_what_is_left_out_of_the_ruleset)
{
    EXPECT_TRUE(fits_rule("write_base_ruleset", "the WAN interface", "ppp0"));
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_FALSE(fits_rule("write_base_ruleset", "the WAN interface", "ppp0 -j ACCEPT"));
    EXPECT_EQ(log_lines(),
              Lines{"[write_base_ruleset][1234] the WAN interface is left out of the ruleset: it is no single word."});
}

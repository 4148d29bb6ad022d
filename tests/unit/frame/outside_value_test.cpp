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
    const std::string forbidden = ";{}\"#\\\xff";
    for (int byte = 1; byte < 256; ++byte) {
        const bool fits = !is_control(byte) && forbidden.find(static_cast<char>(byte)) == std::string::npos;
        for (const std::string& text : around(byte))
            EXPECT_EQ(fits_statement("n", "f", "w", text.c_str()), fits && text != " ") << byte;
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

TEST_F(OutsideValueTest, lets_no_blank_value_into_a_statement)
{
    EXPECT_FALSE(fits_statement("start_radvd", "/tmp/radvd.conf", "ip6_lease", " "));
    EXPECT_FALSE(fits_statement("start_radvd", "/tmp/radvd.conf", "ip6_life", "   "));
    EXPECT_TRUE(fits_statement("start_radvd", "/tmp/radvd.conf", "ip6_life", " 7 "));
    EXPECT_EQ(log_lines(), (Lines{"[start_radvd][1234] ip6_lease is left out of /tmp/radvd.conf: it is blank.",
                                  "[start_radvd][1234] ip6_life is left out of /tmp/radvd.conf: it is blank."}));
}

TEST_F(OutsideValueTest, asks_for_the_grammar_only_when_nothing_breaks_out)
{
    EXPECT_TRUE(fits_grammar("n", "f", "w", "1", true, "it is no number"));
    EXPECT_EQ(log_lines(), Lines{});
    EXPECT_FALSE(fits_grammar("n", "f", "w", "x", false, "it is no number"));
    EXPECT_FALSE(fits_grammar("n", "f", "w", "1;", true, "it is no number"));
    EXPECT_FALSE(fits_grammar("n", "f", "w", "x;", false, "it is no number"));
    const std::string ends = "[n][1234] w is left out of f: it holds a character that would end its statement.";
    EXPECT_EQ(log_lines(), (Lines{"[n][1234] w is left out of f: it is no number.", ends, ends}));
}

TEST_F(OutsideValueTest, takes_white_space_of_a_line_for_what_it_is)
{
    for (int byte = 1; byte < 256; ++byte) {
        const bool white_space = byte >= '\t' && byte <= '\r';
        for (const std::string& text : around(byte))
            EXPECT_EQ(is_acceptable_line("n", "a line", text.c_str()), !is_control(byte) || white_space) << byte;
    }
    EXPECT_EQ(log_lines().back(), "[n][1234] a line holds a control character and counts as absent.");
}

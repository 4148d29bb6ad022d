#include "wan/client_process.h"

#include "platform/device_test.h"

namespace {

std::vector<std::string> arguments_of(const char* line)
{
    std::vector<std::string> arguments;
    for (const auto& argument : parse_client_process(line).arguments)
        arguments.emplace_back(argument);
    return arguments;
}

using Arguments = std::vector<std::string>;
using ClientProcessTest = DeviceTest;

} // namespace

TEST_F(ClientProcessTest, reads_the_pid_and_six_arguments)
{
    constexpr char line[] = " 1234 root      2468 /usr/sbin/dhclient -6 -P -d -q -nw -cf /tmp/dhcp6c-wan.conf -sf x\n";
    EXPECT_EQ(parse_client_process(line).pid, 1234U);
    EXPECT_EQ(arguments_of(line), (Arguments{"-6", "-P", "-d", "-q", "-nw", "-cf"}));
    EXPECT_TRUE(parse_client_process(line).is_ipv6());
}

TEST_F(ClientProcessTest, cuts_arguments_to_seven_characters)
{
    EXPECT_EQ(arguments_of("1 a b /usr/sbin/dhclient 1234567 12345678 /tmp/dhcp6c-wan.conf d e f"),
              (Arguments{"1234567", "1234567", "/tmp/dh", "d", "e", "f"}));
}

TEST_F(ClientProcessTest, leaves_missing_arguments_empty)
{
    EXPECT_EQ(arguments_of("1 a b /usr/sbin/dhclient -6\n"), (Arguments{"-6", "", "", "", "", ""}));
    EXPECT_EQ(arguments_of("1 a b /usr/sbin/dhclient\n"), (Arguments{"", "", "", "", "", ""}));
}

TEST_F(ClientProcessTest, reads_no_arguments_of_other_programs)
{
    for (const char* const line : {"1234 root 2468 /sbin/dhclient -6 -P", "1234 root 2468 grep dhclient",
                                   "1234 root /usr/sbin/dhclient -6", "1234 root 2468 S /usr/sbin/dhclient -6"}) {
        EXPECT_EQ(parse_client_process(line).pid, 1234U);
        EXPECT_EQ(arguments_of(line), (Arguments{"", "", "", "", "", ""})) << line;
        EXPECT_FALSE(parse_client_process(line).is_ipv6());
    }
}

TEST_F(ClientProcessTest, reads_a_pid_of_at_most_five_digits)
{
    EXPECT_EQ(parse_client_process("99999 a b /usr/sbin/dhclient -6").pid, 99999U);
    EXPECT_EQ(parse_client_process("123456 a b /usr/sbin/dhclient -6").pid, 12345U);
    EXPECT_EQ(arguments_of("123456 a /usr/sbin/dhclient -6"), (Arguments{"-6", "", "", "", "", ""}));
}

TEST_F(ClientProcessTest, is_no_process_without_a_pid)
{
    for (const char* const line : {"", "\n", "PID USER VSZ COMMAND", "x 1 2 /usr/sbin/dhclient -6"})
        EXPECT_EQ(parse_client_process(line).pid, 0U) << line;
}

TEST_F(ClientProcessTest, is_ipv6_by_its_first_or_second_argument)
{
    EXPECT_TRUE(parse_client_process("1 a b /usr/sbin/dhclient -d -6").is_ipv6());
    EXPECT_TRUE(parse_client_process("1 a b /usr/sbin/dhclient -6x").is_ipv6());
    EXPECT_FALSE(parse_client_process("1 a b /usr/sbin/dhclient -d -q -6").is_ipv6());
    EXPECT_FALSE(parse_client_process("1 a b /usr/sbin/dhclient -4 ppp0").is_ipv6());
    EXPECT_FALSE(parse_client_process("1 a b /usr/sbin/dhclient 6 -").is_ipv6());
    EXPECT_FALSE(parse_client_process("1 a b /usr/sbin/dhclient").is_ipv6());
}

TEST_F(ClientProcessTest, takes_no_argument_with_a_control_character)
{
    EXPECT_EQ(arguments_of("1 a b /usr/sbin/dhclient -6 -P\x01 -d \x1b[31m -nw -cf\x7f"),
              (Arguments{"-6", "", "-d", "", "-nw", ""}));
    EXPECT_EQ(log_lines().size(), 3U);
    EXPECT_EQ(log_lines().back(), "[parse_client_process][1234] an argument of the running client holds a control "
                                  "character and counts as absent.");
    EXPECT_EQ(arguments_of("1 a b /usr/sbin/dhclient 1234567\x01 -6"), (Arguments{"", "-6", "", "", "", ""}));
    EXPECT_FALSE(parse_client_process("1 a b /usr/sbin/dhclient -6\x01 -P").is_ipv6());
}

TEST_F(ClientProcessTest, takes_lines_of_full_length)
{
    const std::string word(100, 'w');
    const std::string line = "1 " + word + " " + word + " /usr/sbin/dhclient -6 " + std::string(29, 'a');
    ASSERT_EQ(line.size(), 255U);
    EXPECT_EQ(arguments_of(line.c_str()), (Arguments{"-6", "aaaaaaa", "", "", "", ""}));
    EXPECT_EQ(parse_client_process(std::string(255, '1').c_str()).pid, 11111U);
}

#include "frame/shell.h"

#include <climits>
#include <cstring>

#include "platform/device_test.h"

namespace {

using ShellTest = DeviceTest;

constexpr char plain_characters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_@%+=:,./-";

std::string composed(const ShellLine& line)
{
    EXPECT_TRUE(line.fits());
    return line.c_str();
}

} // namespace

TEST_F(ShellTest, leaves_plain_values_untouched_everywhere)
{
    EXPECT_EQ(composed(ShellLine("x %s \"%s\" '%s'", plain_characters, plain_characters, plain_characters)),
              std::string("x ") + plain_characters + " \"" + plain_characters + "\" '" + plain_characters + "'");
}

TEST_F(ShellTest, leaves_empty_values_out)
{
    EXPECT_EQ(composed(ShellLine("dhclient -6 %s %s \"%s\" '%s'", "", "-P", "", "")), "dhclient -6  -P \"\" ''");
}

TEST_F(ShellTest, quotes_every_other_character)
{
    for (int byte = 1; byte < 256; ++byte) {
        const char value[] = {static_cast<char>(byte), '\0'};
        const bool plain = std::string(plain_characters).find(value) != std::string::npos;
        const std::string quoted = byte == '\'' ? "''\\'''" : std::string("'") + value + "'";
        EXPECT_EQ(composed(ShellLine("x %s", value)), "x " + (plain ? std::string(value) : quoted)) << byte;
    }
}

TEST_F(ShellTest, quotes_a_value_as_a_whole)
{
    EXPECT_EQ(composed(ShellLine("if2sect.sh %s", "wan; reboot")), "if2sect.sh 'wan; reboot'");
    EXPECT_EQ(composed(ShellLine("if2sect.sh %s", "it's")), "if2sect.sh 'it'\\''s'");
    EXPECT_EQ(composed(ShellLine("ip addr del %s/%d", "a b", 64)), "ip addr del 'a b'/64");
}

TEST_F(ShellTest, escapes_inside_double_quotes_only_what_is_special_there)
{
    EXPECT_EQ(composed(ShellLine("x \"%s\"", "a b;c'd")), "x \"a b;c'd\"");
    EXPECT_EQ(composed(ShellLine("x \"%s\"", "\\ \" $ `")), "x \"\\\\ \\\" \\$ \\`\"");
}

TEST_F(ShellTest, splices_single_quotes_out_of_single_quotes)
{
    EXPECT_EQ(composed(ShellLine("sed -i '/^nameserver %s/d' %s", "it's", "/tmp/resolv.conf")),
              "sed -i '/^nameserver it'\\''s/d' /tmp/resolv.conf");
    EXPECT_EQ(composed(ShellLine("x 'a%sb'", "$x \"y\" \\")), "x 'a$x \"y\" \\b'");
}

TEST_F(ShellTest, knows_where_quotes_of_the_template_end)
{
    EXPECT_EQ(composed(ShellLine("x \"a'b\" %s 'c\"d' %s \"%s\"", "1 1", "2 2", "3 3")),
              "x \"a'b\" '1 1' 'c\"d' '2 2' \"3 3\"");
}

TEST_F(ShellTest, does_not_take_quotes_of_a_value_for_the_template_s)
{
    EXPECT_EQ(composed(ShellLine("x %s %s", "\"", "a b")), "x '\"' 'a b'");
    EXPECT_EQ(composed(ShellLine("x \"%s\" %s", "\"", "a b")), "x \"\\\"\" 'a b'");
    EXPECT_EQ(composed(ShellLine("x '%s' %s", "'", "a b")), "x ''\\''' 'a b'");
}

TEST_F(ShellTest, does_not_read_conversions_in_values)
{
    EXPECT_EQ(composed(ShellLine("x %s %s", "%s", "%d")), "x %s %d");
}

TEST_F(ShellTest, writes_numbers_in_decimal)
{
    EXPECT_EQ(composed(ShellLine("x %d %d %d %u", 0, INT_MIN, INT_MAX, UINT_MAX)),
              "x 0 -2147483648 2147483647 4294967295");
}

TEST_F(ShellTest, leaves_a_line_without_values_as_it_is)
{
    EXPECT_EQ(composed(ShellLine("/etc/init.d/cron add x '*/1 * * * * /usr/sbin/x'")),
              "/etc/init.d/cron add x '*/1 * * * * /usr/sbin/x'");
}

TEST_F(ShellTest, fits_up_to_the_last_byte)
{
    for (const std::size_t size : {std::size_t{8}, std::size_t{9}}) {
        char line[16] = "###############";
        const ShellValue values[] = {"abcdef"};
        EXPECT_EQ(compose_shell_line(line, size, "x %s", values, 1), size == 9) << size;
        EXPECT_EQ(std::string(line), std::string("x abcdef").substr(0, size - 1));
        EXPECT_EQ(line[size], '#') << "beyond the buffer";
    }
}

TEST_F(ShellTest, ends_a_cut_line_inside_its_buffer_in_every_context)
{
    for (const char* const format : {"%s", "\"%s\"", "'%s'", "%s%s"}) {
        for (std::size_t size = 1; size < 12; ++size) {
            char line[16] = "###############";
            const ShellValue values[] = {"'\"$'\"$'\"$", "'"};
            EXPECT_FALSE(compose_shell_line(line, size, format, values, 2)) << format << size;
            EXPECT_EQ(std::strlen(line), size - 1) << format << size;
            EXPECT_EQ(line[size], '#') << "beyond the buffer";
        }
    }
}

TEST_F(ShellTest, runs_a_line_and_then_logs_it_with_its_status)
{
    shell.status["killall radvd"] = 1;
    shell.effect["killall radvd"] = [] { EXPECT_EQ(log_lines(), Lines{}); };
    EXPECT_EQ(run_shell("killall %s", "radvd"), 1);
    EXPECT_EQ(shell.lines, Lines{"killall radvd"});
    EXPECT_EQ(log_lines(), Lines{"[zel_system][1234] [1]killall radvd"});
}

TEST_F(ShellTest, passes_on_every_status)
{
    for (const int status : {0, 127, 137, -1}) {
        shell.status["true"] = status;
        EXPECT_EQ(run_shell("true"), status);
        EXPECT_EQ(log_lines().back(), "[zel_system][1234] [" + std::to_string(status) + "]true");
    }
}

TEST_F(ShellTest, does_not_run_a_line_that_does_not_fit)
{
    const std::string long_value(1024, 'v');
    EXPECT_EQ(run_shell("x %s", long_value.c_str()), -1);
    EXPECT_EQ(shell.lines, Lines{});
    EXPECT_EQ(log_lines(), Lines{"[zel_system][1234] line too long, not run: x " + std::string(1021, 'v')});
}

TEST_F(ShellTest, does_not_ask_with_a_line_that_does_not_fit)
{
    const std::string long_value(1024, 'v');
    char output[8] = "before";
    EXPECT_LT(shell_output(ShellLine("x %s", long_value.c_str()), output, sizeof output), 0);
    EXPECT_EQ(shell.lines, Lines{});
    EXPECT_STREQ(output, "before");
    EXPECT_EQ(log_lines().size(), 1U);
}

TEST_F(ShellTest, copies_the_output_of_a_line_without_logging_it)
{
    shell.output["wandataif.sh"] = "ppp0\n";
    char output[8];
    EXPECT_EQ(shell_output(ShellLine("wandataif.sh"), output, sizeof output), 5);
    EXPECT_STREQ(output, "ppp0\n");
    EXPECT_EQ(log_lines(), Lines{});
}

TEST_F(ShellTest, has_room_for_the_longest_values_at_their_worst)
{
    const std::string servers(255, '"');
    EXPECT_TRUE(ShellLine("vorn_syslog_cli addEventCode -1 P007 \"%s\"", servers.c_str()).fits());
    const std::string relay(49, '\'');
    EXPECT_TRUE(ShellLine("nslookup %s > /tmp/host.log", relay.c_str()).fits());
    const std::string address(45, '\'');
    const std::string name(31, '\'');
    EXPECT_TRUE(ShellLine("/usr/sbin/ip -6 route add %s%s::/%d via %s dev %s", address.c_str(), address.c_str(),
                          INT_MIN, address.c_str(), name.c_str())
                    .fits());
}

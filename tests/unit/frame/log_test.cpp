#include "frame/log.h"

#include "platform/device_test.h"

namespace {

using LogTest = DeviceTest;

} // namespace

TEST_F(LogTest, begins_a_line_with_the_routine_and_the_uptime)
{
    clock.uptime = 98765;
    log_line("start_radvd", "%s/%d", "2001:db8::", 64);
    EXPECT_EQ(read_file("/tmp/ipv6.log"), "[start_radvd][98765] 2001:db8::/64\n");
}

TEST_F(LogTest, appends_to_the_log)
{
    log_line("a", "first");
    log_line("b", "second %d", 2);
    log_line("a", "%%s is no conversion");
    EXPECT_EQ(log_lines(), (Lines{"[a][1234] first", "[b][1234] second 2", "[a][1234] %s is no conversion"}));
}

TEST_F(LogTest, cuts_a_line_and_keeps_its_end)
{
    const std::string text(3000, 'x');
    log_line("name", "%s", text.c_str());
    const std::string line = "[name][1234] " + text;
    EXPECT_EQ(read_file("/tmp/ipv6.log"), line.substr(0, 1534) + "\n");
}

TEST_F(LogTest, drops_a_line_when_the_log_cannot_be_opened)
{
    make_unopenable("/tmp/ipv6.log");
    log_line("a", "first");
    EXPECT_FALSE(file_exists("/tmp/ipv6.log"));
    EXPECT_EQ(console_lines(), Lines{});
}

TEST_F(LogTest, does_not_follow_a_symbolic_link)
{
    write_file("/tmp/elsewhere", "untouched");
    make_symbolic_link("/tmp/elsewhere", "/tmp/ipv6.log");
    log_line("a", "first");
    EXPECT_EQ(read_file("/tmp/elsewhere"), "untouched");
}

TEST_F(LogTest, writes_console_lines_in_the_same_form)
{
    console_line("prepare_parm", "%s Auto_gid (%d) %s", color_start, 1, color_reset);
    EXPECT_EQ(read_file("/dev/console"), "[prepare_parm][1234] \033[1;31m Auto_gid (1) \033[0m\n");
    EXPECT_FALSE(file_exists("/tmp/ipv6.log"));
}

TEST_F(LogTest, writes_console_messages_as_they_are)
{
    EXPECT_EQ(my_printf("[main] %s , line:%d\n", "text", 12), 22);
    EXPECT_EQ(read_file("/dev/console"), "[main] text , line:12\n");
}

TEST_F(LogTest, cuts_a_console_message_at_511_bytes_and_reports_its_whole_length)
{
    const std::string fits(511, 'f');
    EXPECT_EQ(my_printf("%s", fits.c_str()), 511);
    EXPECT_EQ(read_file("/dev/console"), fits);
    const std::string text(600, 'x');
    EXPECT_EQ(my_printf("%s", text.c_str()), 600);
    EXPECT_EQ(read_file("/dev/console"), fits + text.substr(0, 511));
}

TEST_F(LogTest, says_nothing_without_a_format_or_a_console)
{
    EXPECT_EQ(my_printf_formatted(nullptr), 0);
    EXPECT_FALSE(file_exists("/dev/console"));
    make_unopenable("/dev/console");
    EXPECT_EQ(my_printf("text"), 0);
    EXPECT_FALSE(file_exists("/dev/console"));
}

TEST_F(LogTest, tells_the_uptime)
{
    clock.uptime = 31;
    EXPECT_EQ(uptime_seconds(), 31);
}

#include "firewall/ruleset_file.h"

#include "platform/device_test.h"

namespace {

using RulesetFileTest = DeviceTest;

} // namespace

TEST_F(RulesetFileTest, appends_pieces)
{
    save2file6("*filter\n:INPUT ACCEPT [0:0]\n");
    save2file6("-A INPUT -i %s -p udp --dport %d -j ACCEPT\n", "br-lan", 53);
    EXPECT_EQ(read_file("/tmp/.ip6t"),
              "*filter\n:INPUT ACCEPT [0:0]\n-A INPUT -i br-lan -p udp --dport 53 -j ACCEPT\n");
}

TEST_F(RulesetFileTest, cuts_a_piece_at_10239_bytes)
{
    const std::string text(11000, 'x');
    save2file6("%s", text.c_str());
    EXPECT_EQ(read_file("/tmp/.ip6t"), text.substr(0, 10239));
}

TEST_F(RulesetFileTest, ends_the_process_when_the_file_cannot_be_opened)
{
    make_unopenable("/tmp/.ip6t");
    EXPECT_EXIT(save2file6("COMMIT\n"), testing::ExitedWithCode(1), "");
    EXPECT_EQ(log_lines(), Lines{"[save2file6][1234] Can't open /tmp/.ip6t"});
}

TEST_F(RulesetFileTest, does_not_follow_a_symbolic_link)
{
    write_file("/tmp/elsewhere", "untouched");
    make_symbolic_link("/tmp/elsewhere", "/tmp/.ip6t");
    EXPECT_EXIT(save2file6("COMMIT\n"), testing::ExitedWithCode(1), "");
    EXPECT_EQ(read_file("/tmp/elsewhere"), "untouched");
}

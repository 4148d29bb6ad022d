#include "frame/command_table.h"

#include <gtest/gtest.h>
#include <string>

namespace {

struct Row {
    const char* word;
    Outcome (*run)(const Invocation&);
};

constexpr Row rows[] = {
    {"zel_ipv6_lan", zel_ipv6_lan_command},
    {"zel_ip6neigh_update", zel_ip6neigh_update_command},
    {"zel_dhcp6c_update", zel_dhcp6c_update_command},
    {"zel_resolv_update", zel_resolv_update_command},
    {"zel_ipcp_up", zel_ipcp_up_command},
    {"zel_ipcp_down", zel_ipcp_down_command},
    {"zel_ipv6cp_up", zel_ipv6cp_up_command},
    {"zel_ipv6cp_down", zel_ipv6cp_down_command},
    {"zel_ifconfig", zel_ifconfig_command},
    {"wan6c_restart", wan6c_restart_command},
    {"ipv6rd_restart", ipv6rd_restart_command},
    {"dhcp6c_start", dhcp6c_start_command},
    {"dhcp6c_restart", dhcp6c_restart_command},
    {"dhcp6c_release", dhcp6c_release_command},
    {"dhcp6c_renew", dhcp6c_renew_command},
    {"ipv6_lan_restart", ipv6_lan_restart_command},
};

// The first row whose word the name contains; the table's size when there is none.
std::size_t chosen_by(const std::string& name)
{
    std::size_t row = 0;
    while (row < std::size(CommandTable) && name.find(CommandTable[row].word) == std::string::npos)
        ++row;
    return row;
}

} // namespace

TEST(CommandTableTest, holds_the_sixteen_commands_in_order)
{
    ASSERT_EQ(std::size(CommandTable), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_STREQ(CommandTable[i].word, rows[i].word);
        EXPECT_EQ(CommandTable[i].run, rows[i].run) << rows[i].word;
    }
}

TEST(CommandTableTest, reaches_every_command_by_its_name_with_or_without_a_path)
{
    for (std::size_t i = 0; i < std::size(CommandTable); ++i) {
        const std::string word(CommandTable[i].word);
        EXPECT_EQ(chosen_by(word), i);
        EXPECT_EQ(chosen_by("/usr/sbin/" + word), i);
        EXPECT_EQ(chosen_by("./" + word + ".sh"), i);
    }
}

static_assert(every_command_can_be_reached());

// The commands of the program: which name runs which sequence.
#pragma once

#include <cstddef>

#include "commands.h"

struct Command {
    char word[24]; // looked for anywhere in the invocation's name, path included
    Outcome (*run)(const Invocation&);
};

// Tested in this order; the first word found wins.
inline constexpr Command CommandTable[] = {
    Command{"zel_ipv6_lan", zel_ipv6_lan_command},
    Command{"zel_ip6neigh_update", zel_ip6neigh_update_command},
    Command{"zel_dhcp6c_update", zel_dhcp6c_update_command},
    Command{"zel_resolv_update", zel_resolv_update_command},
    Command{"zel_ipcp_up", zel_ipcp_up_command},
    Command{"zel_ipcp_down", zel_ipcp_down_command},
    Command{"zel_ipv6cp_up", zel_ipv6cp_up_command},
    Command{"zel_ipv6cp_down", zel_ipv6cp_down_command},
    Command{"zel_ifconfig", zel_ifconfig_command},
    Command{"wan6c_restart", wan6c_restart_command},
    Command{"ipv6rd_restart", ipv6rd_restart_command},
    Command{"dhcp6c_start", dhcp6c_start_command},
    Command{"dhcp6c_restart", dhcp6c_restart_command},
    Command{"dhcp6c_release", dhcp6c_release_command},
    Command{"dhcp6c_renew", dhcp6c_renew_command},
    Command{"ipv6_lan_restart", ipv6_lan_restart_command},
};

// string_view::find is no constant expression for what lies inside another object when g++ 12 checks for undefined
// behavior.
consteval bool is_part_of(const char* text, const char* word)
{
    for (; *text != '\0'; ++text) {
        std::size_t same = 0;
        while (word[same] != '\0' && text[same] == word[same])
            ++same;
        if (word[same] == '\0')
            return true;
    }
    return false;
}

consteval bool every_command_can_be_reached()
{
    for (const Command& later : CommandTable) {
        for (const Command* earlier = CommandTable; earlier != &later; ++earlier) {
            if (is_part_of(later.word, earlier->word))
                return false;
        }
    }
    return true;
}

static_assert(every_command_can_be_reached(), "an earlier word is part of a later one and would win for it");

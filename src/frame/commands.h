// One routine per command name: its whole sequence, top to bottom.
#pragma once

struct Invocation {
    int tid; // the open transaction
    int argc;
    char** argv;
};

enum class Outcome {
    completed,     // commit and end, whatever the steps returned
    refused,       // the error end: nothing is committed
    not_supported, // said on standard error, otherwise a normal end
};

Outcome zel_ipv6_lan_command(const Invocation& run);
Outcome zel_ip6neigh_update_command(const Invocation& run);
Outcome zel_dhcp6c_update_command(const Invocation& run);
Outcome zel_resolv_update_command(const Invocation& run);
Outcome zel_ipcp_up_command(const Invocation& run);
Outcome zel_ipcp_down_command(const Invocation& run);
Outcome zel_ipv6cp_up_command(const Invocation& run);
Outcome zel_ipv6cp_down_command(const Invocation& run);
Outcome zel_ifconfig_command(const Invocation& run);
Outcome wan6c_restart_command(const Invocation& run);
Outcome ipv6rd_restart_command(const Invocation& run);
Outcome dhcp6c_start_command(const Invocation& run);
Outcome dhcp6c_restart_command(const Invocation& run);
Outcome dhcp6c_release_command(const Invocation& run);
Outcome dhcp6c_renew_command(const Invocation& run);
Outcome ipv6_lan_restart_command(const Invocation& run);

// Control of the external DHCPv6 client on the WAN (RFC 8415). The client reports back through its script, which is
// this program under the name zel_dhcp6c_update.
#pragma once

enum Dhcp6cMode {
    ASK_ADDR_INFO = 0, // stateful: address, delegated prefix and options
    ASK_INFO_ONLY = 1, // stateless
    SEND_DECLINE = 2,  // declines the current address
};

inline constexpr char dhcp6c_conf_file[] = "/tmp/dhcp6c-wan.conf";
inline constexpr char dhcp6c_script[] = "/usr/sbin/zel_dhcp6c_update";
inline constexpr char dhcp6c_lease_file[] = "/tmp/dhcp6c-wan.leases";
inline constexpr char dhcp6c_pid_file[] = "/var/run/dhcp6c-wan.pid";

// Kills every IPv6 client, writes the client's configuration with its identifier and launches it. Returns 1, or -1 when
// a file cannot be opened or the identifier's type is unknown.
int start_dhcp6c(int tid, Dhcp6cMode mode);

// Stops the running client: with a release and without its lease file, or, when ip6_dhcp6c_rebind_instead_of_solicit is
// "1", keeping the lease. Returns 1, or -1 when no client was found; nothing is removed then.
int stop_dhcp6c(int tid);

// Stops the client when it has a pid file, then starts it. Returns as start_dhcp6c does.
int restart_dhcp6c(int tid, Dhcp6cMode mode);

// The parameter record: everything that one invocation knows of its settings.
//
// Filled once by prepare_parm; commands that run without it see the initial names and every other value empty or 0.
// Capacities count the terminator. Keys in the comments are `key@section` of the configuration store.
#pragma once

#include <array>

#include "frame/text.h"

using AddressText = Text<46>; // the longest IPv6 text and its terminator
using MacOctets = std::array<unsigned, 6>;

struct ParamRecord {
    // Names
    Text<32> lan_ifname{"br-lan"};
    Text<32> lan1_ifname{"br-lan1"};
    Text<32> lan_sect{"lan0"};
    Text<32> lan1_sect{"lan1"};
    Text<32> wan_sect{"wan100"}; // found anew at every load

    // Device identity
    Text<32> product_class; // product_class@system
    Text<64> serial_number;
    Text<32> wan_ifname;

    // LAN0, keys in section lan0
    AddressText lan_ip6_addr;   // ip6_addr: global address
    AddressText lan_ip6_prefix; // ip6_prefix: global prefix
    int lan_ip6_pfxlen = 0;     // ip6_pfxlen
    int lan_ip6_gua_manual_hostid = 0;
    int lan_ip6_ula_manual_hostid = 0;
    AddressText lan_ip6_gua_hostid; // interface identifier of the global address
    AddressText lan_ip6_gua_sid;    // subnet id of the global prefix, two digits
    int lan_ip6_ula_eb = 0;         // unique-local address enabled
    int lan_ip6_ula_manual_gid = 0;
    int lan_ip6_pre_manual_gid = 0; // lan_ip6_ula_manual_gid at the previous load
    AddressText lan_ip6_ula_gid;    // global id (RFC 4193), xx:xxxx:xxxx
    AddressText lan_ip6_ula_sid;    // "00" and the stored two digits
    AddressText lan_ip6_ula_hostid;
    AddressText lan_ip6_ula_addr;
    int lan_ip6_ula_prefer = 0; // seconds
    int lan_ip6_ula_valid = 0;  // seconds
    Text<20> lan_mac_addr;
    MacOctets lan_mac = {};
    AddressText lan_ip6_lla; // link-local address of the bridge's MAC

    // LAN1, the same keys in section lan1; it has no link-local address of its own
    AddressText lan1_ip6_addr;
    AddressText lan1_ip6_prefix;
    int lan1_ip6_pfxlen = 0;
    int lan1_ip6_gua_manual_hostid = 0;
    int lan1_ip6_ula_manual_hostid = 0;
    AddressText lan1_ip6_gua_hostid;
    AddressText lan1_ip6_gua_sid;
    int lan1_ip6_ula_eb = 0;
    int lan1_ip6_ula_manual_gid = 0;
    int lan1_ip6_pre_manual_gid = 0;
    AddressText lan1_ip6_ula_gid;
    AddressText lan1_ip6_ula_sid;
    AddressText lan1_ip6_ula_hostid;
    AddressText lan1_ip6_ula_addr;
    int lan1_ip6_ula_prefer = 0;
    int lan1_ip6_ula_valid = 0;
    Text<20> lan1_mac_addr;
    MacOctets lan1_mac = {};

    // System values, keys in section system
    AddressText ip6_dns1;
    AddressText ip6_dns2;
    AddressText delegate_prefix; // ip6_dhcp6c_prefix_addr
    int delegate_pfxlen = 0;     // ip6_dhcp6c_prefix_length
    int ip6_wan_ready = 0;
    int ip4_wan_ready = 0;
    int add_static_route = 0;
    int num_extra_routes = 0;       // 0 unless add_static_route
    AddressText pre_routing_prefix; // ip6_pre_routing_prefix

    // WAN, keys in the section `wan_sect`
    Text<8> wan_ip6_proto; // ip6_proto: dhcp, static or tunnel
    Text<256> wan_ip6_duid;
    int wan_ip6_duid_type = 0;
    AddressText wan_ip6_addr;
    AddressText wan_ip6_prefix;
    int wan_ip6_pfxlen = 0;
    AddressText wan_ip6_gateway;
    AddressText wan_ip6_dns_primary;
    AddressText wan_ip6_dns_secondary;
    Text<256> wan_ip6_dns;
    Text<128> wan_ip6_domain;
    Text<8> wan_ip6_tunnel_type;
    Text<32> wan_ip6_6rd_ifname;
    Text<16> wan_ip6_6to4_subnetid;
    int wan_on_demand = 0; // on-demand

    // Run-time values
    AddressText routing_prefix; // first seven octets of the routing prefix
    AddressText extra_sid;      // the extra route being installed
    AddressText extra_gateway;
};

// The one record of this process.
extern ParamRecord parm;

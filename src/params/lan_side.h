// One of the two LAN bridges: the record's fields of that side, so that what is done for both is written once.
#pragma once

#include "param_record.h"

struct LanSide {
    int is_lan1;          // 0 or 1
    const char* log_name; // "lan" or "lan1", the first word of the side's log texts
    Text<32>& ifname;
    Text<32>& sect;
    AddressText& ip6_addr;
    AddressText& ip6_prefix;
    int& ip6_pfxlen;
    int& ip6_gua_manual_hostid;
    int& ip6_ula_manual_hostid;
    AddressText& ip6_gua_hostid;
    AddressText& ip6_gua_sid;
    int& ip6_ula_eb;
    int& ip6_ula_manual_gid;
    int& ip6_pre_manual_gid;
    AddressText& ip6_ula_gid;
    AddressText& ip6_ula_sid;
    AddressText& ip6_ula_hostid;
    AddressText& ip6_ula_addr;
    int& ip6_ula_prefer;
    int& ip6_ula_valid;
    Text<20>& mac_addr;
    MacOctets& mac;
};

// The side that a flag of the form "0 is LAN0, anything else LAN1" names.
LanSide lan_side(int is_lan1);

inline LanSide lan0()
{
    return lan_side(0);
}
inline LanSide lan1()
{
    return lan_side(1);
}

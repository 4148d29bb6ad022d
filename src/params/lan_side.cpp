#include "lan_side.h"

LanSide lan_side(int is_lan1)
{
    const bool second = is_lan1 != 0;
    return {
        .is_lan1 = second ? 1 : 0,
        .log_name = second ? "lan1" : "lan",
        .ifname = second ? parm.lan1_ifname : parm.lan_ifname,
        .sect = second ? parm.lan1_sect : parm.lan_sect,
        .ip6_addr = second ? parm.lan1_ip6_addr : parm.lan_ip6_addr,
        .ip6_prefix = second ? parm.lan1_ip6_prefix : parm.lan_ip6_prefix,
        .ip6_pfxlen = second ? parm.lan1_ip6_pfxlen : parm.lan_ip6_pfxlen,
        .ip6_gua_manual_hostid = second ? parm.lan1_ip6_gua_manual_hostid : parm.lan_ip6_gua_manual_hostid,
        .ip6_ula_manual_hostid = second ? parm.lan1_ip6_ula_manual_hostid : parm.lan_ip6_ula_manual_hostid,
        .ip6_gua_hostid = second ? parm.lan1_ip6_gua_hostid : parm.lan_ip6_gua_hostid,
        .ip6_gua_sid = second ? parm.lan1_ip6_gua_sid : parm.lan_ip6_gua_sid,
        .ip6_ula_eb = second ? parm.lan1_ip6_ula_eb : parm.lan_ip6_ula_eb,
        .ip6_ula_manual_gid = second ? parm.lan1_ip6_ula_manual_gid : parm.lan_ip6_ula_manual_gid,
        .ip6_pre_manual_gid = second ? parm.lan1_ip6_pre_manual_gid : parm.lan_ip6_pre_manual_gid,
        .ip6_ula_gid = second ? parm.lan1_ip6_ula_gid : parm.lan_ip6_ula_gid,
        .ip6_ula_sid = second ? parm.lan1_ip6_ula_sid : parm.lan_ip6_ula_sid,
        .ip6_ula_hostid = second ? parm.lan1_ip6_ula_hostid : parm.lan_ip6_ula_hostid,
        .ip6_ula_addr = second ? parm.lan1_ip6_ula_addr : parm.lan_ip6_ula_addr,
        .ip6_ula_prefer = second ? parm.lan1_ip6_ula_prefer : parm.lan_ip6_ula_prefer,
        .ip6_ula_valid = second ? parm.lan1_ip6_ula_valid : parm.lan_ip6_ula_valid,
        .mac_addr = second ? parm.lan1_mac_addr : parm.lan_mac_addr,
        .mac = second ? parm.lan1_mac : parm.lan_mac,
    };
}

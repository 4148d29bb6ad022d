#include "lan_side.h"

LanSide lan0()
{
    return {
        .is_lan1 = 0,
        .log_name = "lan",
        .ifname = parm.lan_ifname,
        .sect = parm.lan_sect,
        .ip6_addr = parm.lan_ip6_addr,
        .ip6_prefix = parm.lan_ip6_prefix,
        .ip6_pfxlen = parm.lan_ip6_pfxlen,
        .ip6_gua_manual_hostid = parm.lan_ip6_gua_manual_hostid,
        .ip6_ula_manual_hostid = parm.lan_ip6_ula_manual_hostid,
        .ip6_gua_hostid = parm.lan_ip6_gua_hostid,
        .ip6_gua_sid = parm.lan_ip6_gua_sid,
        .ip6_ula_eb = parm.lan_ip6_ula_eb,
        .ip6_ula_manual_gid = parm.lan_ip6_ula_manual_gid,
        .ip6_pre_manual_gid = parm.lan_ip6_pre_manual_gid,
        .ip6_ula_gid = parm.lan_ip6_ula_gid,
        .ip6_ula_sid = parm.lan_ip6_ula_sid,
        .ip6_ula_hostid = parm.lan_ip6_ula_hostid,
        .ip6_ula_addr = parm.lan_ip6_ula_addr,
        .ip6_ula_prefer = parm.lan_ip6_ula_prefer,
        .ip6_ula_valid = parm.lan_ip6_ula_valid,
        .mac_addr = parm.lan_mac_addr,
        .mac = parm.lan_mac,
    };
}

LanSide lan1()
{
    return {
        .is_lan1 = 1,
        .log_name = "lan1",
        .ifname = parm.lan1_ifname,
        .sect = parm.lan1_sect,
        .ip6_addr = parm.lan1_ip6_addr,
        .ip6_prefix = parm.lan1_ip6_prefix,
        .ip6_pfxlen = parm.lan1_ip6_pfxlen,
        .ip6_gua_manual_hostid = parm.lan1_ip6_gua_manual_hostid,
        .ip6_ula_manual_hostid = parm.lan1_ip6_ula_manual_hostid,
        .ip6_gua_hostid = parm.lan1_ip6_gua_hostid,
        .ip6_gua_sid = parm.lan1_ip6_gua_sid,
        .ip6_ula_eb = parm.lan1_ip6_ula_eb,
        .ip6_ula_manual_gid = parm.lan1_ip6_ula_manual_gid,
        .ip6_pre_manual_gid = parm.lan1_ip6_pre_manual_gid,
        .ip6_ula_gid = parm.lan1_ip6_ula_gid,
        .ip6_ula_sid = parm.lan1_ip6_ula_sid,
        .ip6_ula_hostid = parm.lan1_ip6_ula_hostid,
        .ip6_ula_addr = parm.lan1_ip6_ula_addr,
        .ip6_ula_prefer = parm.lan1_ip6_ula_prefer,
        .ip6_ula_valid = parm.lan1_ip6_ula_valid,
        .mac_addr = parm.lan1_mac_addr,
        .mac = parm.lan1_mac,
    };
}

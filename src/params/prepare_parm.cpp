#include "prepare_parm.h"

#include "frame/device_query.h"
#include "frame/log.h"
#include "frame/shell.h"
#include "load_values.h"
#include "mac.h"
#include "platform/config_store.h"

namespace {

constexpr char name[] = "prepare_parm";
constexpr char sys[] = "system";

void load_identity(int tid)
{
    load_text(tid, name, sys, "product_class", parm.product_class, nullptr);
    log_line(name, "ProductClass(system) is %s", parm.product_class);
    get_serial_number(parm.serial_number.data(), parm.serial_number.capacity);
    log_line(name, "SerialNumber is %s", parm.serial_number);
}

// Leaving manual mode discards the hand-set global id once, so that a new one is generated. The flag of the previous
// load is written at once, outside the transaction.
void follow_global_id_mode(int tid, const LanSide& lan)
{
    if (lan.ip6_ula_manual_gid != 0) {
        run_shell("ccfg_cli set ip6_pre_manual_gid@lan0=1");
        return;
    }
    load_number(tid, name, lan.sect, "ip6_pre_manual_gid", lan.ip6_pre_manual_gid, nullptr);
    console_line(name, "%s Auto_gid (%d) %s", color_start, lan.ip6_pre_manual_gid, color_reset);
    if (lan.ip6_pre_manual_gid == 1) {
        console_line(name, "%s set sid from manual to auto, empty the old ula gid %s", color_start, color_reset);
        tesa_ccfg_set_str(tid, lan.sect, "ip6_ula_gid", "");
    }
    run_shell("ccfg_cli set ip6_pre_manual_gid@lan0=0");
}

void load_lan0(int tid, const LanSide& lan)
{
    const char* const sect = lan.sect;
    load_text(tid, name, sect, "ip6_addr", lan.ip6_addr, "ip6_addr");
    load_text(tid, name, sect, "ip6_prefix", lan.ip6_prefix, "ip6_prefix");
    load_number(tid, name, sect, "ip6_pfxlen", lan.ip6_pfxlen, "ip6_pfxlen");
    load_number(tid, name, sect, "ip6_gua_manual_hostid", lan.ip6_gua_manual_hostid, nullptr);
    load_number(tid, name, sect, "ip6_ula_manual_hostid", lan.ip6_ula_manual_hostid, nullptr);
    load_text(tid, name, sect, "ip6_gua_hostid", lan.ip6_gua_hostid, "lan_ip6_gua_hostid");

    load_text(tid, name, sect, "ip6_gua_sid", lan.ip6_gua_sid, nullptr);
    repair_subnet_id(tid, name, sect, "ip6_gua_sid", lan.ip6_gua_sid, "01");
    log_line(name, "lan_ip6_gua_sid(%s):%s", sect, lan.ip6_gua_sid);

    load_number(tid, name, sect, "ip6_ula_eb", lan.ip6_ula_eb, "ip6_ula_eb");
    load_number(tid, name, sect, "ip6_ula_manual_gid", lan.ip6_ula_manual_gid, "ip6_ula_manual_gid");
    follow_global_id_mode(tid, lan);
    load_text(tid, name, sect, "ip6_ula_gid", lan.ip6_ula_gid, "ip6_ula_gid");

    load_text(tid, name, sect, "ip6_ula_sid", lan.ip6_ula_sid, nullptr);
    repair_subnet_id(tid, name, sect, "ip6_ula_sid", lan.ip6_ula_sid, "01");
    widen_ula_subnet_id(lan.ip6_ula_sid);
    log_line(name, "ip6_ula_sid(%s):%s", sect, lan.ip6_ula_sid);

    load_text(tid, name, sect, "ip6_ula_hostid", lan.ip6_ula_hostid, "ip6_ula_hostid");
    load_text(tid, name, sect, "ip6_ula_addr", lan.ip6_ula_addr, "ip6_ula_addr");
    load_number(tid, name, sect, "ip6_ula_prefer", lan.ip6_ula_prefer, "lan_ip6_ula_prefer");
    load_number(tid, name, sect, "ip6_ula_valid", lan.ip6_ula_valid, "ip6_ula_valid");

    load_text(tid, name, sys, "ip6_dns1", parm.ip6_dns1, nullptr);
    log_line(name, "[%s] ip6_dns1(system):%s", sect, parm.ip6_dns1);
    load_text(tid, name, sys, "ip6_dns2", parm.ip6_dns2, nullptr);
    log_line(name, "[%s] ip6_dns2(system):%s", sect, parm.ip6_dns2);
}

void load_wan(int tid)
{
    get_wan_ifname(parm.wan_ifname.data(), parm.wan_ifname.capacity);
    log_line(name, "wandataif is [%s]", parm.wan_ifname);
    get_wan_sect(parm.wan_ifname, parm.wan_sect.data(), parm.wan_sect.capacity);
    log_line(name, "wan0_sect is [%s]", parm.wan_sect);

    const char* const sect = parm.wan_sect;
    load_text(tid, name, sect, "ip6_proto", parm.wan_ip6_proto, "ip6_proto", "dhcp");
    load_text(tid, name, sect, "ip6_duid", parm.wan_ip6_duid, "ip6_duid");
    load_number(tid, name, sect, "ip6_duid_type", parm.wan_ip6_duid_type, "ip6_duid_type");
    load_text(tid, name, sect, "ip6_addr", parm.wan_ip6_addr, "ip6_addr");
    load_text(tid, name, sect, "ip6_prefix", parm.wan_ip6_prefix, "ip6_prefix");
    load_number(tid, name, sect, "ip6_pfxlen", parm.wan_ip6_pfxlen, "ip6_pfxlen");
    load_text(tid, name, sect, "ip6_gateway", parm.wan_ip6_gateway, "ip6_gateway");
    load_text(tid, name, sect, "ip6_dns_primary", parm.wan_ip6_dns_primary, "ip6_dns_primary");
    load_text(tid, name, sect, "ip6_dns_secondary", parm.wan_ip6_dns_secondary, "ip6_dns_secondary");
    load_text(tid, name, sect, "ip6_dns", parm.wan_ip6_dns, "ip6_dns");
    load_text(tid, name, sect, "ip6_domain", parm.wan_ip6_domain, "ip6_domain");
    load_text(tid, name, sys, "ip6_dhcp6c_prefix_addr", parm.delegate_prefix, "ip6_dhcp6c_prefix_addr");
    load_number(tid, name, sys, "ip6_dhcp6c_prefix_length", parm.delegate_pfxlen, "ip6_dhcp6c_prefix_length", 56);
    load_text(tid, name, sect, "ip6_tunnel_type", parm.wan_ip6_tunnel_type, "ip6_tunnel_type", "0");
    load_text(tid, name, sect, "ip6_6rd_ifname", parm.wan_ip6_6rd_ifname, "ip6_6rd_ifname", "6rd");
    load_text(tid, name, sect, "ip6_6to4_subnetid", parm.wan_ip6_6to4_subnetid, "ip6_6to4_subnetid", "0");
}

void derive_from_lan0_mac(int tid, LanSide& lan)
{
    load_mac(lan);
    parm.lan_ip6_lla.print("fe80::%s", modified_eui64(lan.mac));
    derive_host_ids(tid, lan);
}

void load_link_and_flags(int tid)
{
    load_number(tid, name, parm.wan_sect, "on-demand", parm.wan_on_demand, "on-demand");
    load_number(tid, name, sys, "ip6_wan_ready", parm.ip6_wan_ready, "ip6_wan_ready");
    load_number(tid, name, sys, "ip4_wan_ready", parm.ip4_wan_ready, "ip4_wan_ready");
    load_number(tid, name, sys, "add_static_route", parm.add_static_route, nullptr);
    log_line(name, "add_static_route(system):(%d)", parm.add_static_route);
    if (parm.add_static_route != 0)
        load_number(tid, name, sys, "num_extra_routes", parm.num_extra_routes, "num_extra_routes");
    load_text(tid, name, sys, "ip6_pre_routing_prefix", parm.pre_routing_prefix, nullptr);
    log_line(name, "pre_routing_prefix(system):%s", parm.pre_routing_prefix);
}

} // namespace

int prepare_parm(int tid)
{
    LanSide lan = lan0();
    load_identity(tid);
    load_lan0(tid, lan);
    prepare_parm_lan1(tid);
    load_wan(tid);
    derive_from_lan0_mac(tid, lan);
    load_link_and_flags(tid);
    return 1;
}

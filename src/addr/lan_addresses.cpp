#include "lan_addresses.h"

#include "frame/device_query.h"
#include "frame/files.h"
#include "frame/log.h"
#include "frame/pause.h"
#include "frame/shell.h"
#include "generate_addr.h"
#include "params/lan_side.h"
#include "params/mac.h"
#include "params/setting.h"
#include "platform/config_store.h"
#include "set_ipv6_addr.h"

namespace {

constexpr char name[] = "start_ula";

void enable_ipv6(const LanSide& lan)
{
    write_ipv6_conf("0", lan.ifname, "disable_ipv6");
    write_ipv6_conf("0", lan.ifname, "accept_ra");
}

void generate_global_id(const LanSide& lan)
{
    lan.ip6_ula_gid = generate_addr(nullptr, 0, "ula_gid", lan.mac_addr, lan.is_lan1);
}

void make_first_global_id(int tid, const LanSide& lan)
{
    if (!lan.ip6_ula_gid.empty())
        return;
    generate_global_id(lan);
    tesa_ccfg_set_str(tid, lan.sect, "ip6_ula_gid", lan.ip6_ula_gid);
    log_line(name, "%s_ip6_ula_gid = %s", lan.log_name, lan.ip6_ula_gid);
}

void remove_previous(int tid, const LanSide& lan)
{
    if (lan.ip6_ula_addr.empty())
        return;
    set_ipv6_addr(lan.ifname, lan.ip6_ula_addr, 64, 0);
    pause_ms(1000);
    AddressText second;
    read_setting(tid, lan.sect, "ip6_ula_addra", second);
    set_ipv6_addr(lan.ifname, second, 64, 0);
}

void forget(int tid, const LanSide& lan)
{
    tesa_ccfg_unset(tid, lan.sect, "ip6_ula_addr");
    tesa_ccfg_unset(tid, lan.sect, "ip6_ula_addra");
}

void make_global_id_again(const LanSide& lan)
{
    if (lan.ip6_ula_manual_gid == 0 && lan.ip6_ula_gid.empty())
        generate_global_id(lan);
}

void store(int tid, const LanSide& lan)
{
    tesa_ccfg_set_str(tid, lan.sect, "ip6_ula_gid", lan.ip6_ula_gid);
    tesa_ccfg_set_str(tid, lan.sect, "ip6_ula_addr", lan.ip6_ula_addr);
}

void compose_address(const LanSide& lan, const char* host_id)
{
    lan.ip6_ula_addr.print("%02X%s:%s:%s", 0xFDU, lan.ip6_ula_gid, lan.ip6_ula_sid, host_id);
}

AddressText host_id_of_mac(const LanSide& lan)
{
    MacOctets mac = {};
    read_mac(lan.mac_addr, mac);
    return modified_eui64(mac);
}

void switch_forwarding_on(const LanSide& lan)
{
    run_shell("echo 1 > /proc/sys/net/ipv6/conf/%s/forwarding", lan.ifname);
}

void start_ula_lan0(int tid, const LanSide& lan)
{
    enable_ipv6(lan);
    console_line(name, "%s[%d] lan_ip6_ula_gid = %s %s", color_start, 1905, lan.ip6_ula_gid, color_reset);
    make_first_global_id(tid, lan);
    remove_previous(tid, lan);
    get_mac_addr(lan.ifname, lan.mac_addr.data());
    if (lan.ip6_ula_eb != 1) {
        forget(tid, lan);
    } else {
        make_global_id_again(lan);
        compose_address(lan, lan.ip6_ula_hostid);
        store(tid, lan);
        console_line(name, "%s[%d] lan_ip6_ula_addr = %s %s", color_start, 1954, lan.ip6_ula_addr, color_reset);
        set_ipv6_addr(lan.ifname, lan.ip6_ula_addr, 64, 1);
    }
    switch_forwarding_on(lan);
}

// LAN1 touches the kernel's switches only when its unique-local address is enabled, and can do without a host
// identifier.
void start_ula_lan1(int tid, const LanSide& lan)
{
    make_first_global_id(tid, lan);
    remove_previous(tid, lan);
    get_mac_addr(lan.ifname, lan.mac_addr.data());
    if (lan.ip6_ula_eb != 1) {
        forget(tid, lan);
    } else {
        enable_ipv6(lan);
        make_global_id_again(lan);
        if (lan.ip6_ula_hostid.empty())
            compose_address(lan, host_id_of_mac(lan));
        else
            compose_address(lan, lan.ip6_ula_hostid);
        store(tid, lan);
        console_line(name, "lan1_ip6_ula_addr = %s", lan.ip6_ula_addr);
        set_ipv6_addr(lan.ifname, lan.ip6_ula_addr, 64, 1);
    }
    switch_forwarding_on(lan);
}

} // namespace

int start_lla(int)
{
    log_line("start_lla", "lan_ip6_lla = %s", parm.lan_ip6_lla);
    set_ipv6_addr(parm.lan_ifname, parm.lan_ip6_lla, 64, 1);
    return 1;
}

int start_ula(int tid, int is_lan1)
{
    if (is_lan1 == 0)
        start_ula_lan0(tid, lan0());
    else
        start_ula_lan1(tid, lan1());
    return 1;
}

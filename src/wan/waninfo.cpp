#include "waninfo.h"

#include "addr/start_ipv6.h"
#include "dhcp6c.h"
#include "frame/address_text.h"
#include "frame/files.h"
#include "frame/log.h"
#include "frame/outside_value.h"
#include "frame/pause.h"
#include "frame/shell.h"
#include "platform/common_library.h"
#include "platform/config_store.h"
#include "platform/ra_records.h"
#include "ra_record.h"

namespace {

constexpr char name[] = "waninfo_main";

constexpr unsigned stateless = 1; // Managed clear: the address was taken from the advertisement
constexpr unsigned managed = 2;   // Managed set, or no router answered
constexpr unsigned decided = 4;   // a record of the WAN interface has been judged

// The places that console lines name.
constexpr int line_not_dhcp = 101;
constexpr int line_no_limit = 102;
constexpr int line_entry = 103;
constexpr int line_no_records = 104;
constexpr int line_records = 105;
constexpr int line_pass_end = 106;
constexpr int line_next_pass = 107;
constexpr int line_info_only = 108;
constexpr int line_addr_info = 109;

int refuse(int line)
{
    my_printf("[zel-ipv6 waninfo_main] return ERROR_INTERNAL , line:%d\n", line);
    return -1;
}

void report(const RaRecord& r)
{
    const auto& a = r.address;
    const auto& g = r.router;
    my_printf("%4s%4s%4s%4s%4s%4s%4s%4s %02x %02x scope = %02x %02x if_probes = %02x if_flags6 = %08x devname = %20s "
              "%4s%4s%4s%4s%4s%4s%4s%4s\n",
              a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], r.index, r.plen, r.scope, r.address_flags, r.if_probes,
              r.if_flags6, r.devname, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7]);
    my_printf("wan_ifname=%s\n", parm.wan_ifname);
    log_line(name, "%4s%4s%4s%4s%4s%4s%4s%4s %02x %02x %02x %02x %02x %08x %20s %4s%4s%4s%4s%4s%4s%4s%4s", a[0], a[1],
             a[2], a[3], a[4], a[5], a[6], a[7], r.index, r.plen, r.scope, r.address_flags, r.if_probes, r.if_flags6,
             r.devname, g[0], g[1], g[2], g[3], g[4], g[5], g[6], g[7]);
}

// A stateful WAN gets its address from the server alone; the one that the kernel formed goes.
void drop_advertised_address(int tid, const RaRecord& record)
{
    log_line(name, "action=%08x, Delete the IPv6 address assigned by RA", managed);
    if (record.is_global()) {
        const AddressText address = normalized(record.address);
        run_shell("/sbin/ifconfig %s del %s/%u", parm.wan_ifname, address, record.plen);
        run_shell("/usr/sbin/ip -6 route del %s/%u dev %s", address, record.plen, parm.wan_ifname);
    }
    if (record.has_router()) {
        parm.wan_ip6_gateway = normalized(record.router);
        tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_gateway", parm.wan_ip6_gateway);
    }
}

void take_advertised_address(int tid, const RaRecord& record)
{
    if (!record.is_global())
        return;
    log_line(name, "addr6p=%s, plen=%d", joined(record.address), static_cast<int>(record.plen));
    parm.wan_ip6_addr = normalized(record.address);
    log_line(name, "wan_ip6_addr=%s", parm.wan_ip6_addr);
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_addr", parm.wan_ip6_addr);
    run_shell("vorn_syslog_cli addEventCode -1 P001 %s", parm.wan_ip6_addr);
    parm.wan_ip6_pfxlen = static_cast<int>(record.plen);
    log_line(name, "wan_ip6_pfxlen=%d", parm.wan_ip6_pfxlen);
    tesa_ccfg_set_long(tid, parm.wan_sect, "ip6_pfxlen", parm.wan_ip6_pfxlen);
    if (!record.has_router())
        return;
    log_line(name, "wan_gw=%s", joined(record.router));
    parm.wan_ip6_gateway = normalized(record.router);
    log_line(name, "wan_ip6_gateway=%s", parm.wan_ip6_gateway);
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_gateway", parm.wan_ip6_gateway);
    run_shell("vorn_syslog_cli addEventCode -1 P002 %s", parm.wan_ip6_gateway);
}

// Returns the action after one record of the WAN interface. Only the first record of a pass sets stateless or managed.
unsigned judge(int tid, const RaRecord& record, unsigned action, int max_rs)
{
    log_line(name, "action=%08x, wan_ifname=%s, if_probes=%d, if_flags6=%x", action, parm.wan_ifname,
             static_cast<int>(record.if_probes), record.if_flags6);
    my_printf("action=%08x, wan_ifname=%s, if_probes=%d, if_flags6=%x , atoi(if_max_rs) = %d\n", action,
              parm.wan_ifname, static_cast<int>(record.if_probes), record.if_flags6, max_rs);

    if (!record.has_advertisement()) {
        if (action == 0 && static_cast<int>(record.if_probes) >= max_rs) {
            log_line(name, "action=%08x, (WAN-side) No remote radvd, try DHCPv6", action);
            return managed | decided;
        }
        return action | decided;
    }
    if ((record.if_flags6 & RaRecord::managed) != 0) {
        log_line(name, "action=%08x, ManagedFlag of remote radvd is enabled, should try DHCPv6", action);
        if (action != 0)
            return action | decided;
        drop_advertised_address(tid, record);
        return managed | decided;
    }
    log_line(
        name,
        "action=%08x, When both M & O flags are ZERO, router SHOULD still send IA_PD to request PD information and "
        "pass to LAN",
        action);
    if (action != 0)
        return action | decided;
    take_advertised_address(tid, record);
    return stateless | decided;
}

unsigned one_pass(int tid, int max_rs, RaRecord& record)
{
    const Stream file(open_ra_records());
    if (!file.is_open()) {
        my_printf("[zel-ipv6 waninfo_main] fp == NULL , line:%d\n", line_no_records);
        return 0;
    }
    my_printf("[zel-ipv6 waninfo_main] fp != NULL , line:%d\n", line_records);
    unsigned action = 0;
    while (read_ra_record(file, record)) {
        report(record);
        if (parm.wan_ifname.equals(record.devname))
            action = judge(tid, record, action, max_rs);
    }
    return action;
}

unsigned wait_for_decision(int tid, int max_rs)
{
    RaRecord record; // the router columns outlive a pass
    for (;;) {
        const unsigned action = one_pass(tid, max_rs, record);
        my_printf("[zel-ipv6 waninfo_main] action = %d , line:%d\n", static_cast<int>(action), line_pass_end);
        if (action != 0)
            return action;
        pause_ms(1000);
        my_printf("[zel-ipv6 waninfo_main] action = %d , line:%d\n", 0, line_next_pass);
    }
}

void go_stateless(int tid, unsigned action)
{
    my_printf("[waninfo_main] action=%08x, Stateless\n", action);
    log_line(name, "action=%08x, Stateless", action);
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_stateless", "1");
    start_ipv6_wan(tid);
    if ((action & decided) != 0) {
        my_printf("[zel-ipv6 waninfo_main] call start_dhcp6c(tid, ASK_INFO_ONLY) , line:%d\n", line_info_only);
        start_dhcp6c(tid, ASK_INFO_ONLY);
    }
}

void go_stateful(int tid, unsigned action)
{
    my_printf("[waninfo_main] action=%08x, Stateful\n", action);
    log_line(name, "action=%08x, Stateful", action);
    my_printf("call start_dhcp6c(tid, ASK_ADDR_INFO) , line:%d\n", line_addr_info);
    start_dhcp6c(tid, ASK_ADDR_INFO);
}

} // namespace

int waninfo_main(int tid)
{
    if (std::strncmp(parm.wan_ip6_proto, "dhcp", 4) != 0)
        return refuse(line_not_dhcp);
    if (!parm.wan_ifname.empty() && !is_folder_name(parm.wan_ifname)) {
        log_line(name, "%s is no interface name.", parm.wan_ifname);
        return refuse(line_no_limit);
    }
    char if_max_rs[16];
    const ShellLine limit("cat /proc/sys/net/ipv6/conf/%s/router_solicitations", parm.wan_ifname);
    if (shell_output(limit, if_max_rs, sizeof if_max_rs) < 0) {
        log_line(name, "osSystem_GetOutput fail.");
        return refuse(line_no_limit);
    }
    utilStrTrimChar(if_max_rs, " \t\r\n");
    if (!is_acceptable(name, "router_solicitations", if_max_rs))
        if_max_rs[0] = '\0';
    log_line(name, "wan_ifname:%s, if_max_rs:%s, wan_ip6_addr:%s, wan_ip6_pfxlen:%d, wan_ip6_proto:%s", parm.wan_ifname,
             if_max_rs, parm.wan_ip6_addr, parm.wan_ip6_pfxlen, parm.wan_ip6_proto);
    my_printf("[zel-ipv6 waninfo_main] action = %d , line:%d\n", 0, line_entry);

    const unsigned action = wait_for_decision(tid, to_int(if_max_rs));
    console_line(name, "%s action(%d)%s ", color_start, static_cast<int>(action), color_reset);
    if ((action & stateless) != 0)
        go_stateless(tid, action);
    else
        go_stateful(tid, action);
    return 1;
}

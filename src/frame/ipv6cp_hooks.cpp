// The hooks of the IPv6 control protocol (IPV6CP, RFC 5072) of the PPP link.

#include "addr/set_ipv6_addr.h"
#include "address_text.h"
#include "commands.h"
#include "files.h"
#include "firewall/firewall.h"
#include "lan/daemon_locks.h"
#include "lan/dhcp6d.h"
#include "lan/radvd.h"
#include "lan/small_daemons.h"
#include "log.h"
#include "params/param_record.h"
#include "params/prepare_parm.h"
#include "platform/config_store.h"
#include "shell.h"
#include "wan/dhcp6c.h"
#include "wan/waninfo.h"

namespace {

constexpr char ipv6cp_guard_file[] = "/tmp/zel_ipv6cp_script_running";

// Keeps the two hooks apart. False when the other one, or an earlier one, is still at work.
bool enter_guard(const char* what)
{
    Text<64> running;
    get_tmp_value(ipv6cp_guard_file, running);
    log_line("main", "%s script_running[%s].", what, running);
    if (to_int(running) > 0)
        return false;
    set_tmp_value(ipv6cp_guard_file, "1");
    return true;
}

void leave_guard()
{
    set_tmp_value(ipv6cp_guard_file, "0");
}

// A link that is dialed on demand must not be kept up by stray traffic.
void allow_only_dns_out()
{
    flush_ip6tables();
    run_shell("ip6tables -A OUTPUT -o %s -p udp --dport 53 -j ACCEPT", parm.wan_ifname);
    run_shell("ip6tables -A OUTPUT -o %s -j DROP", parm.wan_ifname);
}

void mark_wan_down(int tid)
{
    parm.ip6_wan_ready = 0;
    tesa_ccfg_set_long(tid, "system", "ip6_wan_ready", 0);
}

void wake_forwarder_if_ip4_is_up(int tid)
{
    if (tesa_ccfg_cmp_str(tid, "system", "ip4_wan_ready", "1") != 0)
        return;
    log_line("main", "zel_ipv6cp_down send signal USR1 to dnsmasq. ip6_wan_ready=%d, ip4_wan_ready=%d.",
             parm.ip6_wan_ready, parm.ip4_wan_ready);
    run_shell("echo  zel_ipv6cp_down killall USR1 dnsmasq >/dev/console");
    run_shell("killall -s USR1 dnsmasq");
}

} // namespace

Outcome zel_ipv6cp_up_command(const Invocation& run)
{
    if (!enter_guard("zel_ipv6cp_up"))
        return Outcome::refused;
    prepare_parm(run.tid);
    flush_ip6tables();
    stop_dhcp6c(run.tid);
    my_printf("[zel-ipv6 main] call waninfo_main(%d) , line:%d\n", run.tid, 4077);
    waninfo_main(run.tid);
    leave_guard();
    return Outcome::completed;
}

Outcome zel_ipv6cp_down_command(const Invocation& run)
{
    if (!enter_guard("@zel_ipv6cp_down"))
        return Outcome::refused;
    prepare_parm(run.tid);
    if (parm.wan_on_demand == 1)
        allow_only_dns_out();
    mark_wan_down(run.tid);
    remove_fifo("/tmp/resolv.conf");
    run_shell("sed -i '/^nameserver %s/d' %s", "fe80::1", "/tmp/resolv.conf");
    log_line("main", "zel_ipv6cp_down starting. ip6_wan_ready=%d, ip4_wan_ready=%d.", parm.ip6_wan_ready,
             parm.ip4_wan_ready);
    wake_forwarder_if_ip4_is_up(run.tid);

    stop_rdnssd();
    {
        const DaemonLocks locks;
        stop_radvd();
        stop_dhcp6d();
        stop_dhcp6c(run.tid);
        run_shell("/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 \"\" \"\"");
        set_ipv6_addr(parm.wan_ifname, parm.wan_ip6_addr, parm.wan_ip6_pfxlen, 0);
        set_ipv6_addr(parm.lan_ifname, parm.lan_ip6_addr, parm.lan_ip6_pfxlen, 0);
        set_ipv6_addr(parm.lan1_ifname, parm.lan1_ip6_addr, parm.lan1_ip6_pfxlen, 0);

        start_radvd(run.tid);
        start_dhcp6d(run.tid);
    }
    start_rdnssd();
    leave_guard();
    return Outcome::completed;
}

#include "commands.h"

#include "addr/lan_addresses.h"
#include "addr/set_ipv6_addr.h"
#include "address_text.h"
#include "ipv4hooks/ipcp.h"
#include "lan/daemon_locks.h"
#include "lan/dhcp6d.h"
#include "lan/neighbors.h"
#include "lan/radvd.h"
#include "lan/resolver.h"
#include "lan/small_daemons.h"
#include "lan/start_ipv6_lan.h"
#include "log.h"
#include "params/param_record.h"
#include "params/prepare_parm.h"
#include "pause.h"
#include "platform/config_store.h"
#include "shell.h"
#include "wan/dhcp6c.h"
#include "wan/dhcp6c_events.h"
#include "wan/sixrd.h"
#include "wan/waninfo.h"

namespace {

// Routes of an earlier life of the LAN are forgotten, not removed: the bridges have just been set up anew.
void forget_static_routes(int tid)
{
    if (parm.add_static_route == 0)
        return;
    tesa_ccfg_set_long(tid, "system", "add_static_route", 0);
    tesa_ccfg_set_long(tid, "system", "num_extra_routes", 0);
    tesa_ccfg_set_str(tid, "system", "ip6_pre_routing_prefix", "");
    tesa_ccfg_set_str(tid, "system", "ip6_extra_sid", "");
}

void start_first_lan(int tid)
{
    {
        const DaemonLocks locks;
        stop_radvd();
        stop_dhcp6d();
        prepare_parm(tid);
        start_ula(tid, 0);
        start_lla(tid);
        start_radvd(tid);
        pause_ms(1000);
        start_dhcp6d(tid);
    }
    start_rdnssd();
}

void start_second_lan(int tid)
{
    prepare_parm(tid);
    start_ula(tid, 1);
}

} // namespace

Outcome zel_ipv6_lan_command(const Invocation& run)
{
    if (run.argc < 2)
        return Outcome::not_supported;
    if (std::strchr(run.argv[1], '1') != nullptr)
        start_second_lan(run.tid);
    else
        start_first_lan(run.tid);
    forget_static_routes(run.tid);
    run_shell("/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'");
    return Outcome::completed;
}

Outcome zel_ip6neigh_update_command(const Invocation& run)
{
    zel_ip6neigh_update(run.tid);
    return Outcome::completed;
}

Outcome zel_dhcp6c_update_command(const Invocation& run)
{
    prepare_parm(run.tid);
    my_printf("[zel-ipv6 main] call dhcp6c_main(%d) , line:%d\n", run.tid, 4044);
    dhcp6c_main(run.tid);
    return Outcome::completed;
}

Outcome zel_resolv_update_command(const Invocation& run)
{
    run_shell("echo other scripts call zel_resolv_update. >/dev/console");
    zel_resolv_update(run.tid);
    return Outcome::completed;
}

Outcome zel_ipcp_up_command(const Invocation& run)
{
    zel_ipcp_up(run.tid);
    return Outcome::completed;
}

Outcome zel_ipcp_down_command(const Invocation& run)
{
    zel_ipcp_down(run.tid);
    return Outcome::completed;
}

Outcome zel_ifconfig_command(const Invocation& run)
{
    if (run.argc < 5)
        return Outcome::not_supported;
    char** const argv = run.argv;
    log_line("main", "@[set_ip6addr][%s %s %s %s %s]", argv[0], argv[1], argv[2], argv[3], argv[4]);
    set_ipv6_addr(argv[1], argv[2], to_int(argv[3]), to_int(argv[4]));
    return Outcome::completed;
}

Outcome wan6c_restart_command(const Invocation& run)
{
    prepare_parm(run.tid);
    del_6rd_tunnel(run.tid);
    stop_dhcp6c(run.tid);
    stop_radvd();
    stop_dhcp6d();
    start_6rd(run.tid);
    my_printf("[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:%d\n", 4151);
    waninfo_main(run.tid);
    return Outcome::completed;
}

Outcome ipv6rd_restart_command(const Invocation& run)
{
    prepare_parm(run.tid);
    del_6rd_tunnel(run.tid);
    start_6rd(run.tid);
    return Outcome::completed;
}

Outcome dhcp6c_start_command(const Invocation& run)
{
    prepare_parm(run.tid);
    my_printf("[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:%d\n", 4167);
    waninfo_main(run.tid);
    return Outcome::completed;
}

Outcome dhcp6c_restart_command(const Invocation& run)
{
    prepare_parm(run.tid);
    stop_dhcp6c(run.tid);
    stop_radvd();
    stop_dhcp6d();
    my_printf("[zel-ipv6 main] call waninfo_main(%d) , line:%d\n", run.tid, 4180);
    waninfo_main(run.tid);
    return Outcome::completed;
}

Outcome dhcp6c_release_command(const Invocation& run)
{
    prepare_parm(run.tid);
    stop_dhcp6c(run.tid);
    stop_radvd();
    stop_dhcp6d();
    return Outcome::completed;
}

Outcome dhcp6c_renew_command(const Invocation& run)
{
    // stop_dhcp6c decides between release and rebind; the LAN daemons stay up meanwhile.
    prepare_parm(run.tid);
    stop_dhcp6c(run.tid);
    my_printf("[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:%d\n", 4206);
    waninfo_main(run.tid);
    return Outcome::completed;
}

Outcome ipv6_lan_restart_command(const Invocation& run)
{
    prepare_parm(run.tid);
    start_ipv6_lan(run.tid);
    return Outcome::completed;
}

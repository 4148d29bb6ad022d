#include "start_ipv6_lan.h"

#include "addr/lan_addresses.h"
#include "addr/start_ipv6.h"
#include "daemon_locks.h"
#include "dhcp6d.h"
#include "firewall/firewall.h"
#include "frame/shell.h"
#include "params/param_record.h"
#include "platform/config_store.h"
#include "radvd.h"
#include "resolver.h"
#include "small_daemons.h"
#include "static_routes.h"

namespace {

void mark_wan_ready(int tid)
{
    parm.ip6_wan_ready = 1;
    tesa_ccfg_set_long(tid, "system", "ip6_wan_ready", 1);
    // A tunnel runs over IPv4: where it works, IPv4 does.
    if (parm.ip4_wan_ready == 0 && std::strncmp(parm.wan_ip6_proto, "tunnel", 6) == 0) {
        parm.ip4_wan_ready = 1;
        tesa_ccfg_set_long(tid, "system", "ip4_wan_ready", 1);
    }
}

} // namespace

int start_ipv6_lan(int tid)
{
    mark_wan_ready(tid);
    start_ipv6(tid, "lan");

    {
        const DaemonLocks locks;
        stop_radvd();
        stop_dhcp6d();
        stop_ecmh();
        flush_ip6tables();
        run_shell("echo  sys_ipv6_lan_done call zel_resolv_update. >/dev/console");

        start_ula(tid, 0);
        start_ula(tid, 1);
        start_radvd(tid);
        start_dhcp6d(tid);
    }
    start_ecmh(tid);
    if (parm.add_static_route != 0)
        set_static_route6(tid);
    apply_ip6_firewall(tid);
    zel_resolv_update(tid);
    run_shell("/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 %s %s", parm.wan_ip6_addr, parm.wan_ip6_dns_primary);
    return 1;
}

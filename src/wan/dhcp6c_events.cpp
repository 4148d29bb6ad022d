#include "dhcp6c_events.h"

#include <cstdio>
#include <unistd.h>

#include "addr/set_ipv6_addr.h"
#include "addr/start_ipv6.h"
#include "binding.h"
#include "client_environment.h"
#include "dhcp6c.h"
#include "frame/files.h"
#include "frame/log.h"
#include "frame/pause.h"
#include "frame/shell.h"
#include "lan/start_ipv6_lan.h"
#include "lease_values.h"
#include "params/param_record.h"
#include "platform/config_store.h"
#include "platform/ra_records.h"
#include "ra_record.h"

namespace {

constexpr char name[] = "dhcp6c_main";
constexpr int line_decline = 301;

bool is_one_of(const ClientValue& reason, const char* const* words, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (reason.equals(words[i]))
            return true;
    }
    return false;
}

void stop_forwarding()
{
    write_ipv6_conf("0", "all", "forwarding");
}

// Puts the address on anew, so that the kernel probes it again, and looks at the outcome (RFC 4862, section 5.4). True
// when another node owns it.
bool address_is_duplicate(const ClientEvent& event)
{
    run_shell("/usr/sbin/ip -f inet6 addr flush %s scope global", event.interface.text());
    set_ipv6_addr(event.interface.text(), parm.wan_ip6_addr, parm.wan_ip6_pfxlen, 1);
    pause_ms(1000);
    Stream records(open_ra_records());
    if (!records.is_open())
        return false;
    for (char line[200]; records.read_line(line);) {
        unsigned flags = 0;
        char devname[sizeof line] = "";
        if (std::sscanf(line, "%*s %*s %*s %*s %02X %*s %*s %199s %*s", &flags, devname) == 2
            && parm.wan_ifname.equals(devname) && (flags & RaRecord::dad_failed) != 0) {
            log_line(name, "%s: detect duplicate address detected!", parm.wan_ifname);
            return true;
        }
    }
    return false;
}

void decline_and_ask_anew(int tid, int mode)
{
    reset_wan_lease(tid, mode);
    my_printf("call start_dhcp6c(tid, SEND_DECLINE) , line:%d\n", line_decline);
    start_dhcp6c(tid, SEND_DECLINE);
    unlink(dhcp6c_lease_file);
    restart_dhcp6c(tid, ASK_ADDR_INFO);
}

int apply(int tid, const ClientEvent& event, int mode)
{
    const bool changed = tesa_ccfg_get_long(tid, parm.wan_sect, "ip6_changed", 0) != 0;
    tesa_ccfg_set_long(tid, parm.wan_sect, "ip6_changed", 0);
    if (!changed)
        return 0;

    const bool address_to_check = event.is_stateful()
                                  && tesa_ccfg_cmp_str(tid, parm.wan_sect, "ip6_stateless", "1") == 0
                                  && !parm.wan_ip6_addr.empty();
    if (address_to_check && address_is_duplicate(event)) {
        decline_and_ask_anew(tid, mode);
        return 0;
    }
    if (event.is_stateful()) {
        my_printf("[dhcp6c_main] -> start_ipv6_wan\n");
        log_line(name, "-> start_ipv6_wan");
        start_ipv6_wan(tid);
    }
    my_printf("[dhcp6c_main] -> start_ipv6_lan\n");
    log_line(name, "-> start_ipv6_lan");
    start_ipv6_lan(tid);
    return 0;
}

// True when the event is about the lease that is in force.
bool ends_current_lease()
{
    const ClientValue old_address("old_ip6_address");
    const ClientValue old_prefix("old_ip6_prefix");
    if (old_address.equals(parm.wan_ip6_addr))
        return true;
    Text<64> delegated;
    delegated.print("%s/%d", parm.delegate_prefix, parm.delegate_pfxlen);
    return old_prefix.equals(delegated);
}

int end_of_lease(int tid, int mode)
{
    int result = 0;
    if (!parm.wan_ip6_addr.empty()) {
        run_shell("/sbin/ifconfig -a %s del %s/%d", parm.wan_ifname, parm.wan_ip6_addr, parm.wan_ip6_pfxlen);
        result = run_shell("/usr/sbin/ip -6 route del %s/%d", parm.wan_ip6_prefix, parm.wan_ip6_pfxlen);
    }
    if (!ends_current_lease())
        return result;
    const bool on_demand = parm.wan_on_demand != 0;
    if (!on_demand)
        stop_forwarding();
    reset_wan_address(tid);
    reset_wan_domain_and_servers(tid, !on_demand); // a dialed link needs its servers to be dialed again
    reset_wan_times_and_prefix(tid, mode);
    return result;
}

int before_first_lease(int tid, const ClientEvent& event, int mode)
{
    stop_forwarding();
    if (event.is_stateful())
        reset_wan_address(tid);
    reset_wan_domain_and_servers(tid, true);
    reset_wan_times_and_prefix(tid, mode);
    return 0;
}

} // namespace

int dhcp6c_main(int tid)
{
    constexpr const char* bindings[] = {"BOUND6", "REBIND6", "REBOOT6", "RENEW6"};
    constexpr const char* ends[] = {"EXPIRE6", "RELEASE6", "STOP6"};

    const ClientEvent event;
    const int mode = prefix_mode(tid);
    my_printf("[dhcp6c_main] wan_on_demand=%d, dhcp6c_prefix_mode=%d\n", parm.wan_on_demand, mode);
    my_printf("[dhcp6c_main] The reason is %s, the interface is %s and the stateless is %s.\n", event.reason.text(),
              event.interface.text(), event.stateless.text());
    log_line(name, "The reason is %s, the interface is %s and the stateless is %s.", event.reason.text(),
             event.interface.text(), event.stateless.text());
    console_line(name, "Reason : %s ", event.reason.text());

    if (is_one_of(event.reason, bindings, std::size(bindings)))
        return store_binding(tid, event, mode);
    if (is_one_of(event.reason, ends, std::size(ends)))
        return end_of_lease(tid, mode);
    if (event.reason.equals("PREINIT6"))
        return before_first_lease(tid, event, mode);
    if (event.reason.equals("EFFECT6"))
        return apply(tid, event, mode);
    return 0;
}

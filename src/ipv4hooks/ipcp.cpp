#include "ipcp.h"

#include <arpa/inet.h>
#include <unistd.h>

#include "frame/address_text.h"
#include "frame/device_query.h"
#include "frame/files.h"
#include "frame/log.h"
#include "frame/shell.h"
#include "lan/resolver.h"
#include "params/param_record.h"
#include "params/setting.h"
#include "platform/config_store.h"

namespace {

constexpr char saved_rules[] = "/tmp/zel_ipt_old";
constexpr char kept_rules[] = "/tmp/zel_ipt_new";

// Rules that hold a link down until something asks for it; they must not outlive the moment it comes up.
struct TriggerRules {
    Text<256> drop_all;
    Text<256> allow_dns;

    TriggerRules()
    {
        drop_all.print("-A OUTPUT -o %s -j DROP", parm.wan_ifname);
        allow_dns.print("-A OUTPUT -o %s -p udp -m udp --dport 53 -j ACCEPT", parm.wan_ifname);
    }

    bool contain(const char* line) const
    {
        return std::strstr(line, drop_all) != nullptr || std::strstr(line, allow_dns) != nullptr
               || std::strstr(line, "-A FORWARD -j ACCEPT") != nullptr;
    }
};

void copy_other_rules(Stream& saved)
{
    const TriggerRules trigger;
    unlink(kept_rules);
    FileWriter kept(kept_rules, FileWriter::Mode::append);
    for (char line[256]; saved.read_line(line);) {
        if (trigger.contain(line))
            log_line("zel_ipcp_up", "[%s]", line);
        else
            kept.put(line);
    }
}

bool is_ip4_address(const char* text)
{
    in_addr address = {};
    return inet_pton(AF_INET, text, &address) == 1;
}

// The link's own server is the first that it supplied.
void remove_link_server(int tid)
{
    get_wan_ifname(parm.wan_ifname.data(), parm.wan_ifname.capacity);
    get_wan_sect(parm.wan_ifname, parm.wan_sect.data(), parm.wan_sect.capacity);
    Text<16> server;
    read_setting(tid, parm.wan_sect, "dns", server);
    if (is_ip4_address(server)) { // anything else would remove every server, or worse
        remove_fifo("/tmp/resolv.conf");
        run_shell("sed -i '/^nameserver %s/d' %s", server, "/tmp/resolv.conf");
    }
}

} // namespace

int zel_ipcp_up(int tid)
{
    constexpr char name[] = "zel_ipcp_up";
    parm.ip6_wan_ready = to_int(tesa_ccfg_get_long(tid, "system", "ip6_wan_ready", 0));
    parm.ip4_wan_ready = to_int(tesa_ccfg_get_long(tid, "system", "ip4_wan_ready", 0));
    log_line(name, "zel_ipcp_up starting. ip6_wan_ready=%d, ip4_wan_ready=%d.", parm.ip6_wan_ready, parm.ip4_wan_ready);
    parm.ip4_wan_ready = 1;
    tesa_ccfg_set_long(tid, "system", "ip4_wan_ready", 1);
    if (tesa_ccfg_cmp_str(tid, "system", "ip6_wan_ready", "1") == 0) {
        log_line(name, "zel_ipcp_up send signal USR1 to dnsmasq. ip6_wan_ready=%d, ip4_wan_ready=%d.",
                 parm.ip6_wan_ready, parm.ip4_wan_ready);
        run_shell("echo zel_ipcp_up  killall USR1 dnsmasq >/dev/console");
        run_shell("killall -s USR1 dnsmasq");
    }
    log_line(name, "zel_ipcp_up enddddddd. ip6_wan_ready=%d, ip4_wan_ready=%d.", parm.ip6_wan_ready,
             parm.ip4_wan_ready);

    get_wan_ifname(parm.wan_ifname.data(), parm.wan_ifname.capacity);
    log_line(name, "Del iptables rules for trigger and clean the conntrack.");
    remove_link(saved_rules);
    run_shell("iptables-save > %s", saved_rules);
    {
        Stream saved(saved_rules);
        if (!saved.is_open()) {
            log_line(name, "Fail to iptables-save > /tmp/zel_ipt_bak.");
            return -1;
        }
        copy_other_rules(saved);
    }
    run_shell("iptables-restore %s", kept_rules);
    run_shell("conntrack -F");
    return 1;
}

int zel_ipcp_down(int tid)
{
    constexpr char name[] = "zel_ipcp_down";
    log_line(name, "zel_ipcp_down starting.");
    parm.ip4_wan_ready = 0;
    tesa_ccfg_set_long(tid, "system", "ip4_wan_ready", 0);
    remove_link_server(tid);
    run_shell("echo zel_ipcp_down call zel_resolv_update. >/dev/console");
    zel_resolv_update(tid);
    log_line(name, "zel_ipcp_down end.");
    return 1;
}

#include <arpa/inet.h>
#include <linux/if_addr.h>
#include <net/if.h>
#include <stdio.h>

#include <initializer_list>

#include "platform/ra_records.h"
#include "sections.h"
#include "wan_lease.h"

namespace {

constexpr unsigned advertised = 0x20;
constexpr unsigned managed = 0x40;

void report_interface(Report& report, const char* ifname)
{
    report.add("interface", "%s", ifname);
    const char* const state = link_state(ifname);
    if (state == nullptr)
        report.add("link", "missing").wrong("there is no interface %s", ifname);
    else if (strcmp(state, "up") == 0)
        report.add("link", "up").good();
    else {
        Text<64> command;
        if (strcmp(state, "down") == 0)
            command.print("ip link set %s up", ifname);
        report.add("link", "%s", state).wrong("the link is not up").help(command);
    }
}

// What the kernel keeps of the router's advertisement, which is what the program decides the mode by.
void report_detection(Report& report, const char* ifname)
{
    FILE* const records = open_ra_records();
    if (records == nullptr) {
        report.add("detection", "-").unknown("the kernel tells nothing of advertisements");
        return;
    }
    bool listed = false;
    unsigned flags = 0;
    char line[256];
    while (!listed && fgets(line, sizeof line, records) != nullptr) {
        char name[21];
        // Some kernels write the address in one piece, some in eight; the first column of two digits follows it.
        listed = sscanf(line, "%*32s %*x %*x %*x %*x %*x %x %20s", &flags, name) == 2 && strcmp(name, ifname) == 0;
    }
    fclose(records);
    if (!listed || (flags & advertised) == 0)
        report.add("detection", "no router advertisement: stateful");
    else if ((flags & managed) != 0)
        report.add("detection", "advertisement with the Managed flag: stateful");
    else
        report.add("detection", "advertisement without the Managed flag: stateless");
}

// Whether the kernel listens to advertisements at all: what the detection and the default route stand on.
void report_listening(Report& report, const char* ifname)
{
    const long accepts = kernel_setting(ifname, "accept_ra", -1);
    const long asks = kernel_setting(ifname, "router_solicitations", 0);
    if (accepts < 0)
        return;
    auto row = report.add("listening", "accept_ra %ld, router_solicitations %ld", accepts, asks);
    const bool is_deaf = accepts == 0 || (accepts == 1 && kernel_setting(ifname, "forwarding", 0) != 0);
    Text<32> name;
    name = ifname;
    for (char* at = name.data(); *at != '\0'; ++at)
        *at = *at == '.' ? '/' : *at; // as sysctl(8) wants it
    Text<96> command;
    command.print("sysctl -w net.ipv6.conf.%s.%s", name, is_deaf ? "accept_ra=2" : "router_solicitations=3");
    if (is_deaf)
        row.wrong("a gateway that forwards hears no advertisement unless accept_ra is 2").help(command);
    else if (asks < 0)
        row.wrong("the detection takes %ld for none and does not wait for an answer", asks).help(command);
    else
        row.good();
}

void report_mode(Report& report, const Look& look)
{
    const char* const sect = look.wan_sect;
    Text<16> proto = look.settings.text<16>(sect, "ip6_proto");
    if (proto.empty())
        proto = "dhcp"; // the program's default
    if (strncmp(proto, "dhcp", 4) != 0) {
        auto row = report.add("mode", "%s", proto.c_str());
        if (!proto.equals("static") && strncmp(proto, "tunnel", 6) != 0)
            row.wrong("there is no such mode: it is dhcp, static or tunnel").help("ccfg_cli help ip6_proto");
        return;
    }
    const bool stateless = look.settings.text<8>(sect, "ip6_stateless").equals("1");
    report.add("mode", "%s, %s", proto.c_str(), stateless ? "stateless" : "stateful");
    report_detection(report, look.wan_ifname);
    report_listening(report, look.wan_ifname);
}

void report_address(Report& report, const Look& look)
{
    const Text<46> stored = look.settings.text<46>(look.wan_sect, "ip6_addr");
    const char* const ifname = look.wan_ifname;
    if (stored.empty()) {
        report.add("address", "none");
        return;
    }
    auto row = report.add("address", "%s", stored.c_str());
    in6_addr address = {};
    KernelAddress found;
    if (inet_pton(AF_INET6, stored, &address) != 1)
        row.wrong("it is no IPv6 address");
    else if (!look.kernel.addresses.is_known)
        row.unknown("the kernel does not tell its addresses");
    else if (!has_address(look, ifname, address, &found))
        row.wrong("the store has it, %s does not", ifname).help(wan_start(look));
    else if ((found.flags & IFA_F_DADFAILED) != 0)
        row.wrong("somebody else on the line has it too");
    else {
        row.good();
        report_life(report, look, "address_valid", found.valid, found.valid == UINT32_MAX);
    }
}

// `ifname` is where the default route leads: the WAN, or the tunnel, whose gateway the store does not keep.
void report_gateway(Report& report, const Look& look, const char* ifname, bool is_tunnel)
{
    Text<46> stored;
    if (!is_tunnel)
        stored = look.settings.text<46>(look.wan_sect, "ip6_gateway");
    in6_addr gateway = {};
    const bool is_address = inet_pton(AF_INET6, stored, &gateway) == 1;
    bool has_default = false;
    bool has_stored = false;
    for (const KernelRoute& route : look.kernel.routes) {
        if (route.length != 0 || route.index != if_nametoindex(ifname))
            continue;
        has_default = true;
        has_stored = has_stored || (is_address && route.has_gateway && is_same(route.gateway, gateway));
    }
    auto row = report.add("gateway", "%s", !stored.empty() ? stored.c_str() : is_tunnel ? ifname : "none");
    if (!look.kernel.routes.is_known)
        row.unknown("the kernel does not tell its routes");
    else if (is_tunnel ? has_default : has_stored)
        row.good();
    else if (look.ip6_ready && !has_default)
        row.wrong("there is no default route").help(wan_start(look));
    else if (look.ip6_ready && !stored.empty())
        row.wrong("the default route leads elsewhere");
}

void report_forwarding(Report& report, const Look& look)
{
    const long forwarding = kernel_setting("all", "forwarding", -1);
    if (forwarding < 0)
        return;
    auto row = report.add("forwarding", "%s", forwarding != 0 ? "on" : "off");
    if (forwarding != 0)
        row.good();
    else if (look.ip6_ready)
        row.wrong("no packet gets from one interface to another").help(lan_restart(look)); // it switches it on
}

void report_name_servers(Report& report, const Look& look)
{
    for (const char* const key : {"ip6_dns_primary", "ip6_dns_secondary"}) {
        const Text<46> server = look.settings.text<46>(look.wan_sect, key);
        if (!server.empty())
            report.add("name_server", "%s", server.c_str());
    }
}

} // namespace

void report_wan(Report& report, const Look& look)
{
    report.section("wan");
    if (look.wan_fault != nullptr) {
        report.add("interface", "-").unknown("%s", look.wan_fault);
        return;
    }
    report_interface(report, look.wan_ifname);
    report.add("section", "%s", look.wan_sect.c_str());
    report_mode(report, look);
    Text<32> tunnel = look.settings.text<32>(look.wan_sect, "ip6_6rd_ifname");
    if (tunnel.empty())
        tunnel = "6rd"; // the program's default
    const bool is_tunnel = strncmp(look.settings.text<16>(look.wan_sect, "ip6_proto"), "tunnel", 6) == 0;
    if (is_tunnel && if_nametoindex(tunnel) == 0)
        report.add("tunnel", "%s", tunnel.c_str()).wrong("there is no such interface");
    else if (is_tunnel)
        report.add("tunnel", "%s", tunnel.c_str()).good();
    else
        report_address(report, look);
    report_gateway(report, look, is_tunnel ? tunnel : look.wan_ifname, is_tunnel);
    report_delegation(report, look);
    report_name_servers(report, look);
    report_forwarding(report, look);
}

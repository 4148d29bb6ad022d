#include <arpa/inet.h>
#include <linux/if_addr.h>
#include <net/if.h>
#include <stdio.h>
#include <time.h>

#include <initializer_list>

#include "lease_file.h"
#include "platform/ra_records.h"
#include "sections.h"
#include "small_file.h"

namespace {

constexpr char lease_path[] = "/tmp/dhcp6c-wan.leases";
constexpr unsigned advertised = 0x20;
constexpr unsigned managed = 0x40;

// What brings the WAN in order: detection and the client, or address and tunnel. Nothing does while its link is not up.
const char* start_of(const Look& look)
{
    const char* const state = link_state(look.wan_ifname);
    if (state == nullptr || strcmp(state, "up") != 0)
        return "";
    const Text<16> proto = look.settings.text<16>(look.wan_sect, "ip6_proto");
    return proto.empty() || strncmp(proto, "dhcp", 4) == 0 ? "dhcp6c_start" : "wan6c_restart";
}

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

void report_mode(Report& report, const Look& look)
{
    const char* const sect = look.wan_sect;
    Text<16> proto = look.settings.text<16>(sect, "ip6_proto");
    if (proto.empty())
        proto = "dhcp"; // the program's default
    if (strncmp(proto, "dhcp", 4) != 0) {
        report.add("mode", "%s", proto.c_str());
        return;
    }
    const bool stateless = look.settings.text<8>(sect, "ip6_stateless").equals("1");
    report.add("mode", "%s, %s", proto.c_str(), stateless ? "stateless" : "stateful");
    report_detection(report, look.wan_ifname);
}

void report_life(Report& report, const char* name, long long left, bool is_for_ever)
{
    if (is_for_ever)
        report.add(name, "for ever");
    else if (left > 0)
        report.add(name, "%s left", duration(left).c_str()).seconds(left).good();
    else
        report.add(name, "over").seconds(0).wrong("it has run out");
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
        row.wrong("the store has it, %s does not", ifname).help(start_of(look));
    else if ((found.flags & IFA_F_DADFAILED) != 0)
        row.wrong("somebody else on the line has it too");
    else {
        row.good();
        report_life(report, "address_valid", found.valid, found.valid == UINT32_MAX);
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
        row.wrong("there is no default route").help(start_of(look));
    else if (look.ip6_ready && !stored.empty())
        row.wrong("the default route leads elsewhere");
}

void report_delegation(Report& report, const Look& look)
{
    const Text<46> stored = look.settings.text<46>("system", "ip6_dhcp6c_prefix_addr");
    const long length = look.settings.number("system", "ip6_dhcp6c_prefix_length", 56);
    static char text[65536];
    const bool has_lease = read_small_file(lease_path, text, sizeof text) > 0;
    const LeasedPart leased = has_lease ? parse_lease(text).prefix : LeasedPart();
    if (stored.empty()) {
        auto row = report.add("delegated_prefix", "none");
        if (look.ip6_ready)
            row.wrong("without one the LANs have no prefix and the ruleset is refused");
        return;
    }
    auto row = report.add("delegated_prefix", "%s/%ld", stored.c_str(), length);
    in6_addr prefix = {};
    if (inet_pton(AF_INET6, stored, &prefix) != 1 || length < 1 || length > 64)
        row.wrong("it is no prefix of 1 to 64 bits");
    else if (!leased.is_there)
        row.good();
    else if (!is_same(prefix, leased.address) || static_cast<unsigned>(length) != leased.length)
        row.wrong("the client's lease has another one");
    else {
        row.good();
        const long long age = time(nullptr) - leased.starts;
        constexpr long long for_ever = 0xFFFFFFFF; // RFC 8415, section 7.7
        report_life(report, "prefix_preferred", leased.preferred - age, leased.preferred == for_ever);
        report_life(report, "prefix_valid", leased.valid - age, leased.valid == for_ever);
    }
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
}

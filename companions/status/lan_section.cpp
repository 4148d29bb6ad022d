#include <arpa/inet.h>
#include <net/if.h>
#include <stdio.h>
#include <string.h>

#include "processes.h"
#include "radvd_file.h"
#include "sections.h"
#include "small_file.h"
#include "wan_lease.h"

namespace {

constexpr char radvd_path[] = "/tmp/radvd.conf";
constexpr int most_listed = 16; // strange addresses of one bridge

struct Lan {
    const char* ifname;
    const char* section;
    const char* restart; // what starts it anew
    bool has_conf;
    bool has_radvd;
    bool is_down;
    AdvertisedPrefixes advertised;
};

// Null when radvd's file does not have it.
const AdvertisedPrefix* find_advertised(const Lan& lan, const in6_addr& prefix, unsigned length)
{
    for (size_t i = 0; i < lan.advertised.count; ++i) {
        const AdvertisedPrefix& each = lan.advertised.list[i];
        if (each.length == length && is_same_prefix(each.prefix, prefix, length))
            return &each;
    }
    return nullptr;
}

// The part that both kinds of address share. Returns false when the text is no address.
bool report_address(Report& report, const Look& look, const Lan& lan, const char* name, const char* text,
                    in6_addr& address)
{
    if (inet_pton(AF_INET6, text, &address) != 1) {
        report.add(name, "%s", text).wrong("it is no IPv6 address");
        return false;
    }
    auto row = report.add(name, "%s", canonical(address).c_str());
    if (!look.kernel.addresses.is_known)
        row.unknown("the kernel does not tell its addresses");
    else if (has_address(look, lan.ifname, address))
        row.good();
    else
        row.wrong("the store has it, %s does not", lan.ifname).help(lan.restart);
    return true;
}

void report_advertised(Report& report, const Look& look, const Lan& lan, const char* name, const in6_addr& prefix,
                       unsigned length)
{
    auto row = report.add(name, "%s/%u", canonical(prefix).c_str(), length);
    const AdvertisedPrefix* const found = find_advertised(lan, prefix, length);
    if (!lan.has_conf && !lan.has_radvd)
        row.wrong("it is not advertised: radvd has not been started").help(lan.restart);
    else if (!lan.has_radvd)
        row.wrong("it is not advertised: radvd does not run").help(lan.restart);
    else if (!lan.has_conf)
        row.wrong("%s is gone", radvd_path).help(lan.restart);
    else if (found == nullptr)
        row.wrong("%s does not have it", radvd_path).help(lan.restart);
    else if (lan.is_down)
        row.wrong("it is not advertised: %s is down", lan.ifname);
    else if (found->is_deprecated)
        row.wrong("it is advertised with a preferred lifetime of 0: hosts open no connections from it")
            .help(ask_anew(look));
    else
        row.good();
}

in6_addr masked(const in6_addr& address, unsigned length)
{
    in6_addr prefix = {};
    for (unsigned bit = 0; bit < length; ++bit)
        prefix.s6_addr[bit / 8] =
            static_cast<unsigned char>(prefix.s6_addr[bit / 8] | (address.s6_addr[bit / 8] & (0x80U >> bit % 8)));
    return prefix;
}

void report_global(Report& report, const Look& look, const Lan& lan, in6_addr& prefix, unsigned& length)
{
    const Text<46> address_text = look.settings.text<46>(lan.section, "ip6_addr");
    const Text<46> prefix_text = look.settings.text<46>(lan.section, "ip6_prefix");
    const long stored_length = look.settings.number(lan.section, "ip6_pfxlen");
    if (!look.ip6_ready) {
        report.add("global_prefix", "%s", prefix_text.empty() ? "none" : prefix_text.c_str());
        return;
    }
    if (prefix_text.empty()) {
        report.add("global_prefix", "none").wrong("the WAN is ready and this LAN has no prefix");
        return;
    }
    in6_addr address = {};
    if (inet_pton(AF_INET6, prefix_text, &prefix) != 1 || stored_length < 1 || stored_length > 128) {
        report.add("global_prefix", "%s/%ld", prefix_text.c_str(), stored_length).wrong("it is no prefix");
        prefix = {};
        return;
    }
    length = static_cast<unsigned>(stored_length);
    report_advertised(report, look, lan, "global_prefix", prefix, length);
    report_address(report, look, lan, "global_address", address_text, address);

    in6_addr delegated = {};
    const Text<46> delegated_text = look.settings.text<46>("system", "ip6_dhcp6c_prefix_addr");
    const long delegated_length = look.settings.number("system", "ip6_dhcp6c_prefix_length", 56);
    if (inet_pton(AF_INET6, delegated_text, &delegated) == 1 && delegated_length > 0 && delegated_length <= 64
        && !is_same_prefix(prefix, delegated, static_cast<unsigned>(delegated_length)))
        report.add("old_prefix", "%s", prefix_text.c_str())
            .wrong("it is not part of the delegated prefix")
            .help(lan.restart);
}

void report_unique_local(Report& report, const Look& look, const Lan& lan, in6_addr& prefix, unsigned& length)
{
    if (look.settings.number(lan.section, "ip6_ula_eb") != 1) {
        report.add("unique_local", "off");
        return;
    }
    const Text<46> text = look.settings.text<46>(lan.section, "ip6_ula_addr");
    if (text.empty()) {
        Text<32> command;
        command.print("zel_ipv6_lan %s", strcmp(lan.section, "lan0") == 0 ? "lan" : "lan1");
        report.add("unique_local", "on").wrong("there is no unique-local address yet").help(command);
        return;
    }
    in6_addr address = {};
    if (!report_address(report, look, lan, "unique_local_address", text, address))
        return;
    length = 64;
    prefix = masked(address, length);
    report_advertised(report, look, lan, "unique_local_prefix", prefix, length);
}

// What the store has for a bridge: a length of 0 is no prefix.
struct StoredPrefixes {
    in6_addr global = {};
    unsigned global_length = 0;
    in6_addr unique_local = {};
    unsigned unique_local_length = 0;
};

// True for a global or unique-local address, or a prefix of this length, that lies in none of them.
bool is_stranger(const StoredPrefixes& stored, const in6_addr& address, unsigned length = 0)
{
    if ((address.s6_addr[0] & 0xE0U) == 0x20) // RFC 4291, section 2.4: what is assigned of the global ones
        return stored.global_length == 0 || !is_same_prefix(address, stored.global, stored.global_length)
               || (length != 0 && length != stored.global_length);
    if ((address.s6_addr[0] & 0xFEU) == 0xFC) // RFC 4193, section 3.1
        return stored.unique_local_length == 0
               || !is_same_prefix(address, stored.unique_local, stored.unique_local_length);
    return false;
}

// Addresses and advertised prefixes that are none of the store's: hosts keep them and find no way back.
void report_strangers(Report& report, const Look& look, const Lan& lan, const StoredPrefixes& stored)
{
    const unsigned index = if_nametoindex(lan.ifname);
    int count = 0;
    for (const KernelAddress& each : look.kernel.addresses) {
        if (index == 0 || each.index != index || !is_stranger(stored, each.address))
            continue;
        if (++count > most_listed)
            continue;
        const Text<46> address = canonical(each.address);
        Text<128> command;
        command.print("zel_ifconfig %s %s %u 0", lan.ifname, address, each.length);
        report.add("old_address", "%s/%u", address.c_str(), each.length)
            .wrong("%s has it, the store does not", lan.ifname)
            .help(command);
    }
    report.add_more("the old addresses", count - most_listed);
    for (size_t i = 0; i < lan.advertised.count; ++i) {
        const AdvertisedPrefix& each = lan.advertised.list[i];
        if (!is_stranger(stored, each.prefix, each.length))
            continue;
        report.add("old_prefix", "%s/%u", canonical(each.prefix).c_str(), each.length)
            .wrong("%s has it, the store does not", radvd_path)
            .help(lan.restart);
    }
}

} // namespace

void report_lan(Report& report, const Look& look, const char* ifname, const char* section)
{
    static char conf[65536];
    const bool has_conf = read_small_file(radvd_path, conf, sizeof conf) >= 0;
    const char* const state = link_state(ifname);
    const bool is_down = state != nullptr && strcmp(state, "down") == 0;
    const Lan lan = {ifname,
                     section,
                     lan_restart(look),
                     has_conf,
                     find_process("radvd").is_running(),
                     is_down,
                     has_conf ? advertised_prefixes(conf, ifname) : AdvertisedPrefixes()};
    report.section(section);
    auto bridge = report.add("bridge", "%s", ifname);
    if (state == nullptr) {
        bridge.wrong("there is no such interface");
        return;
    }
    if (is_down) {
        Text<64> command;
        command.print("ip link set %s up && %s", ifname, lan.restart);
        bridge.wrong("it is down").help(command);
    } else {
        bridge.good();
        if (strcmp(state, "no carrier") == 0)
            report.add("carrier", "none: no port of the bridge has a link, so there are no hosts");
    }
    if (look.store_fault != nullptr)
        return;
    StoredPrefixes stored;
    report_global(report, look, lan, stored.global, stored.global_length);
    report_unique_local(report, look, lan, stored.unique_local, stored.unique_local_length);
    report_strangers(report, look, lan, stored);
}

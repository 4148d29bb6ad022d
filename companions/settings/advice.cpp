#include "advice.h"

#include <arpa/inet.h>
#include <stdio.h>
#include <strings.h>

#include "dropped_range.h"
#include "filter_advice.h"
#include "text_parts.h"
#include "value_check.h"

namespace {

struct Lan {
    const char* section;
    std::string_view gua_sid;
    std::string_view ula_sid;
};

struct View {
    const SettingLines& settings;
    Findings& findings;
    std::string_view wan;
    Lan lan[2];
    std::string_view mode;

    bool is_static() const { return mode == "static"; }
    bool is_tunnel() const { return first_part(mode, 6) == "tunnel"; }
    bool has_ula(const char* section) const { return settings.number("ip6_ula_eb", section) == 1; }
};

// The number that a subnet id gives: its leading decimal digits.
long long sid_number(std::string_view sid)
{
    const size_t digits = sid.find_first_not_of("0123456789");
    long long number = 0;
    parse_number(first_part(sid, digits), number);
    return number;
}

// An id of one digit gets a zero in front; one that is too long is set back.
std::string_view repaired(std::string_view sid, const char* fallback)
{
    return sid.size() > 2 ? std::string_view(fallback) : sid;
}

// RFC 4861, section 4.6.2: radvd refuses a file in which a prefix is preferred for longer than it is valid.
void compare_lifetimes(const View& v, const char* preferred_key, const char* valid_key, std::string_view section,
                       long long preferred_default, long long valid_default)
{
    const long long preferred = v.settings.number(preferred_key, section);
    const long long valid = v.settings.number(valid_key, section);
    const long long shown_preferred = preferred != 0 ? preferred : preferred_default;
    const long long shown_valid = valid != 0 ? valid : valid_default;
    if (shown_preferred > shown_valid)
        v.findings.add(preferred_key, section,
                       "%lld s are longer than %s (%lld s): radvd refuses its whole file; make it shorter",
                       shown_preferred, valid_key, shown_valid);
}

void advise_lifetimes(const View& v)
{
    for (const Lan& lan : v.lan) {
        if (v.has_ula(lan.section))
            compare_lifetimes(v, "ip6_ula_prefer", "ip6_ula_valid", lan.section, 604800, 1814400);
    }
    compare_lifetimes(v, "ip6_lease", "ip6_life", v.wan, 86400, 604800);
}

void advise_names(const View& v)
{
    if (v.settings.get("ip6_domain", v.wan).find(' ') != std::string_view::npos)
        v.findings.add("ip6_domain", v.wan,
                       "several domains in one text: the DHCPv6 server hands them out as one name that no host takes; "
                       "one domain works");
    if (v.settings.get("ip6_dns1", "system").empty() && !v.settings.get("ip6_dns2", "system").empty())
        v.findings.add("ip6_dns2", "system", "counts only together with ip6_dns1; set that one first");
}

void advise_subnet_ids(const View& v)
{
    const long long length = v.settings.number("ip6_dhcp6c_prefix_length", "system", 56);
    const long long room = length >= 57 && length <= 64 ? (1LL << (64 - length)) - 1 : 0xFF;
    const long long first = sid_number(v.lan[0].gua_sid) & room;
    const long long second = sid_number(v.lan[1].gua_sid) & room;
    if (first == second && length == 64)
        v.findings.add(
            "ip6_dhcp6c_prefix_length", "system",
            "a /64 has room for one bridge: both carry the same prefix, and hosts of the second are cut off; ask "
            "the provider for a /60 or shorter");
    else if (first == second)
        v.findings.add(
            "ip6_gua_sid", "lan1",
            "both bridges get subnet %lld of the delegated /%lld: hosts of the second are cut off; choose ids that "
            "differ within %lld",
            second, length, room);
    for (const Lan& lan : v.lan) {
        const long long id = sid_number(lan.gua_sid);
        if (first != second && id > room)
            v.findings.add(
                "ip6_gua_sid", lan.section,
                "%lld is more than the delegated /%lld has room for, and counts as %lld; choose one up to %lld", id,
                length, id & room, room);
    }
    if (v.has_ula("lan0") && v.has_ula("lan1") && v.lan[0].ula_sid == v.lan[1].ula_sid
        && v.settings.get("ip6_ula_gid", "lan0") == v.settings.get("ip6_ula_gid", "lan1"))
        v.findings.add("ip6_ula_sid", "lan1", "both bridges get the same unique-local prefix; choose another id");
    for (const Lan& lan : v.lan) {
        if (lan.gua_sid.find_first_not_of("0123456789") != std::string_view::npos
            && lan.gua_sid.find_first_not_of("0123456789ABCDEFabcdef") == std::string_view::npos)
            v.findings.add("ip6_gua_sid", lan.section,
                           "is read as a decimal number, so \"%.*s\" counts as %lld; use digits only",
                           static_cast<int>(lan.gua_sid.size()), lan.gua_sid.data(), sid_number(lan.gua_sid));
    }
}

void advise_prefix(const View& v, const char* key, std::string_view section)
{
    unsigned char octets[16];
    if (!parse_ip6(v.settings.get(key, section), octets))
        return;
    if (const DroppedRange* const range = dropped_range(octets))
        v.findings.add(key, section, "lies in %s/%u, for %s: the firewall forwards none of it", range->prefix,
                       range->length, range->why);
}

void advise_delegated_length(const View& v)
{
    if (!v.settings.get("ip6_dhcp6c_prefix_addr", "system").empty()
        && v.settings.number("ip6_dhcp6c_prefix_length", "system") == 0)
        v.findings.add("ip6_dhcp6c_prefix_length", "system",
                       "a delegated prefix without a length gives the LANs nothing");
}

// dhcpd takes a subnet only when the bits behind its length are 0.
void advise_bits_behind(const View& v, const char* section)
{
    unsigned char octets[16];
    const long long length = v.settings.number("ip6_pfxlen", section);
    if (length > 128 || !parse_ip6(v.settings.get("ip6_prefix", section), octets))
        return;
    bool has_any = false;
    for (long long bit = length; bit < 128; ++bit) {
        const unsigned char mask = static_cast<unsigned char>(0x80U >> (bit % 8));
        has_any = has_any || (octets[bit / 8] & mask) != 0;
        octets[bit / 8] = static_cast<unsigned char>(octets[bit / 8] & ~mask);
    }
    char printed[INET6_ADDRSTRLEN] = {};
    inet_ntop(AF_INET6, octets, printed, sizeof printed);
    if (has_any && length > 0)
        v.findings.add("ip6_prefix", section,
                       "has bits behind its length of %lld: dhcpd refuses its whole file; set %s", length, printed);
}

void advise_static_wan(const View& v)
{
    if (!v.is_static())
        return;
    if (v.settings.get("ip6_addr", v.wan).empty())
        v.findings.add("ip6_addr", v.wan, "a static WAN needs an address");
    if (v.settings.number("ip6_pfxlen", v.wan) == 0)
        v.findings.add("ip6_pfxlen", v.wan,
                       "a static WAN needs the length of its prefix: with 0 the address counts as none");
    if (v.settings.get("ip6_gateway", v.wan).empty())
        v.findings.add("ip6_gateway", v.wan, "a static WAN needs a gateway: there is no default route without one");
    for (const Lan& lan : v.lan) {
        if (v.settings.get("ip6_prefix", lan.section).empty())
            v.findings.add(
                "ip6_prefix", lan.section,
                "nothing is delegated to a static WAN: set the bridge's prefix and address here; radvd refuses a "
                "file with an empty prefix");
    }
    const std::string_view first = v.settings.get("ip6_prefix", "lan0");
    if (!first.empty() && v.settings.get("ip6_prefix", "lan1") == first)
        v.findings.add("ip6_prefix", "lan1",
                       "both bridges have the same prefix: hosts of the second are cut off; choose another");
    if (v.settings.get("ip6_dhcp6c_prefix_addr", "system").empty())
        v.findings.add(
            "ip6_dhcp6c_prefix_addr", "system",
            "nothing is delegated to a static WAN: set the prefix that both bridges' prefixes are in, and its length; "
            "ip6tables-restore refuses the whole ruleset without");
}

void advise_tunnel(const View& v)
{
    if (!v.is_tunnel())
        return;
    const std::string_view type = v.settings.get("ip6_tunnel_type", v.wan, "0");
    if (type != "1" && type != "2") {
        v.findings.add("ip6_tunnel_type", v.wan,
                       "no tunnel comes up: 1 takes the parameters from DHCPv4, 2 from the keys ip6_6rd_*");
        return;
    }
    if (type == "1") {
        if (v.settings.get("ip6_6rd_info", v.wan).empty())
            v.findings.add("ip6_6rd_info", v.wan, "DHCPv4 has told nothing: no tunnel comes up");
        return;
    }
    for (const char* const key : {"ip6_6rd_prefix", "ip6_6rd_border_relay"}) {
        if (v.settings.get(key, v.wan).empty())
            v.findings.add(key, v.wan, "is empty: no tunnel comes up");
    }
    const long long length =
        v.settings.number("ip6_6rd_pfxlen", v.wan, 64) + 32 - v.settings.number("ip6_6rd_v4mask", v.wan, 32);
    if (length > 64)
        v.findings.add(
            "ip6_6rd_pfxlen", v.wan,
            "with 32 minus ip6_6rd_v4mask the delegated prefix would be a /%lld: no tunnel comes up above /64", length);
}

void advise_wan(const View& v)
{
    const long long duid_type = v.settings.number("ip6_duid_type", v.wan);
    if (v.mode == "dhcp" && duid_type == 0)
        v.findings.add("ip6_duid_type", v.wan,
                       "0 is no type: the client sends an identifier of its own; 3 is the usual one");
    if (v.settings.number("ip6_dhcp6c_prefix_mode", "system") != 0)
        v.findings.add("ip6_dhcp6c_prefix_mode", "system",
                       "the LANs get nothing of a prefix that is not stored; 0 stores it");
    for (const Lan& lan : v.lan) {
        const long long length = v.settings.number("ip6_pfxlen", lan.section);
        if (length == 0)
            v.findings.add(
                "ip6_pfxlen", lan.section,
                "is also the length of the unique-local prefix that is advertised, and radvd refuses 0; set 64");
        else if (length != 64)
            v.findings.add("ip6_pfxlen", lan.section,
                           "hosts make no address out of an advertised /%lld (RFC 4862, section 5.5.3); set 64",
                           length);
    }
}

bool is_same_sid(std::string_view one, std::string_view other)
{
    return one.size() == other.size() && strncasecmp(one.data(), other.data(), one.size()) == 0;
}

void advise_route(const View& v, int number, int& known, std::string_view (&ids)[64])
{
    char key[32];
    snprintf(key, sizeof key, "extra_sid_%d", number);
    std::string_view id;
    if (!v.settings.find(key, "system", id))
        return;
    bool twice = false;
    for (int i = 0; i < known; ++i)
        twice = twice || is_same_sid(ids[i], id);
    if (twice)
        v.findings.add(key, "system", "is there already: the next LAN restart removes it");
    if (known < 64)
        ids[known++] = id;
    for (const Lan& lan : v.lan) {
        if (is_same_sid(lan.gua_sid, id))
            v.findings.add(key, "system",
                           "is the id of %s itself: the next LAN restart removes it, and the one after that takes the "
                           "bridge's own route away",
                           lan.section);
    }
    snprintf(key, sizeof key, "extra_gateway_%d", number);
    const std::string_view gateway = v.settings.get(key, "system");
    unsigned char octets[16];
    char printed[INET6_ADDRSTRLEN] = {};
    if (!parse_ip6(gateway, octets)) {
        v.findings.add(key, "system", "is no IPv6 address: the next LAN restart removes the route");
        return;
    }
    inet_ntop(AF_INET6, octets, printed, sizeof printed);
    if (gateway != printed)
        v.findings.add(key, "system", "is compared letter by letter with the neighbor table, which says %s", printed);
}

void advise_routes(const View& v)
{
    const long long count = v.settings.number("num_extra_routes", "system");
    if (v.settings.number("add_static_route", "system") == 0) {
        if (count > 0)
            v.findings.add("num_extra_routes", "system", "counts only with add_static_route=1");
        return;
    }
    std::string_view ids[64];
    int known = 0;
    constexpr long long looked_at = 1000;
    for (int number = 1; number <= count && number <= looked_at; ++number)
        advise_route(v, number, known, ids);
}

} // namespace

void advise(const SettingLines& settings, Findings& findings)
{
    const std::string_view wan = settings.wan_section();
    const View v = {settings,
                    findings,
                    wan,
                    {{"lan0", repaired(settings.get("ip6_gua_sid", "lan0"), "01"),
                      repaired(settings.get("ip6_ula_sid", "lan0"), "01")},
                     {"lan1", repaired(settings.get("ip6_gua_sid", "lan1"), "02"),
                      repaired(settings.get("ip6_ula_sid", "lan1"), "02")}},
                    settings.get("ip6_proto", wan, "dhcp")};
    advise_wan(v);
    advise_static_wan(v);
    advise_tunnel(v);
    advise_lifetimes(v);
    advise_names(v);
    advise_subnet_ids(v);
    advise_prefix(v, "ip6_dhcp6c_prefix_addr", "system");
    advise_delegated_length(v);
    for (const Lan& lan : v.lan) {
        advise_prefix(v, "ip6_prefix", lan.section);
        advise_bits_behind(v, lan.section);
    }
    advise_routes(v);
    advise_filter(settings, findings);
}

#include "sixrd.h"

#include <arpa/inet.h>
#include <unistd.h>

#include "addr/set_ipv6_addr.h"
#include "frame/address_text.h"
#include "frame/device_query.h"
#include "frame/files.h"
#include "frame/log.h"
#include "frame/shell.h"
#include "lan/start_ipv6_lan.h"
#include "params/setting.h"
#include "platform/config_store.h"

namespace {

constexpr char name[] = "start_6rd";

// The settings as texts, in the sizes that the store gives them.
struct SixrdTexts {
    Text<16> ip4addr;
    Text<16> v4mask;
    Text<16> pfxlen;
    AddressText prefix;
    Text<50> relay;
};

// Spreads the words of the DHCPv4 6rd information over the manual keys. False when there is none.
bool take_dhcp4_information(int tid)
{
    Text<256> info;
    read_setting(tid, parm.wan_sect, "ip6_6rd_info", info);
    log_line(name, "6rd_info[%s]", info);
    if (info.empty())
        return false;
    using Word = char[256];
    Word word[4] = {};
    static_cast<void>(std::sscanf(info, "%255s %255s %255s %255s", word[0], word[1], word[2], word[3]));
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_6rd_v4mask", word[0]);
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_6rd_pfxlen", word[1]);
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_6rd_prefix", word[2]);
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_6rd_border_relay", word[3]);
    return true;
}

bool choose_settings(int tid)
{
    switch (parm.wan_ip6_tunnel_type[0]) {
    case '1':
        return take_dhcp4_information(tid);
    case '2':
        return true;
    default:
        return false;
    }
}

void read_settings(int tid, SixrdTexts& s)
{
    get_ip4_addr(parm.wan_ifname, s.ip4addr.data());
    read_setting(tid, parm.wan_sect, "ip6_6rd_v4mask", s.v4mask, "32");
    read_setting(tid, parm.wan_sect, "ip6_6rd_pfxlen", s.pfxlen, "64");
    read_setting(tid, parm.wan_sect, "ip6_6rd_prefix", s.prefix);
    read_setting(tid, parm.wan_sect, "ip6_6rd_border_relay", s.relay);
    log_line(name, "str_ip4addr[%s], str_prefix[%s], str_pfxlen[%s], str_relay[%s], str_v4mask[%s]", s.ip4addr,
             s.prefix, s.pfxlen, s.relay, s.v4mask);
}

// The answer is read to 64 kB.
void resolve_relay(Text<50>& relay)
{
    remove_link("/tmp/host.log");
    run_shell("nslookup %s > /tmp/host.log", relay);
    {
        static char answer[65536];
        const Stream file("/tmp/host.log");
        const std::size_t size = file.is_open() ? std::fread(answer, 1, sizeof answer - 1, file.get()) : 0;
        answer[size] = '\0';
        if (size == 0) {
            log_line(name, "tedo: File size is zero!");
        } else if (const char* const address = get_nslookup_addr(answer); address != nullptr) {
            log_line(name, "FQDN's ip = %s", address);
            relay = address;
        }
    }
    run_shell("rm /tmp/host.log");
}

std::uint32_t ip4_number(const char* text)
{
    in_addr address = {};
    inet_pton(AF_INET, text, &address);
    return ntohl(address.s_addr);
}

Text<16> relay_prefix(std::uint32_t ip4, int v4mask)
{
    std::uint32_t mask = 0;
    for (int i = 0; i < v4mask; ++i)
        mask = mask >> 1 | 0x80000000U;
    const in_addr address = {htonl(ip4 & mask)};
    Text<16> text;
    inet_ntop(AF_INET, &address, text.data(), text.capacity);
    return text;
}

// Returns the status of "ip tunnel 6rd".
int build_tunnel(const SixrdTexts& s, int pfxlen, int v4mask)
{
    const char* const tunnel = parm.wan_ip6_6rd_ifname;
    run_shell("/usr/sbin/ip tunnel del %s", tunnel);
    run_shell("/usr/sbin/ip tunnel add %s mode sit ttl 64 remote any local %s", tunnel, s.ip4addr);
    write_ipv6_conf("0", tunnel, "disable_ipv6");
    run_shell("/usr/sbin/ip link set dev %s up", tunnel);
    const int result = run_shell("/usr/sbin/ip tunnel 6rd dev %s 6rd-prefix %s/%d 6rd-relay_prefix %s/%d", tunnel,
                                 s.prefix, pfxlen, relay_prefix(ip4_number(s.ip4addr), v4mask), v4mask);
    run_shell("/usr/sbin/ip -6 route del default");
    run_shell("/usr/sbin/ip -6 route add default via ::%s dev %s metric 1", s.relay, tunnel);
    return result;
}

void store_delegated_prefix(int tid, const SixrdTexts& s, int pfxlen, int v4mask, int length)
{
    Ip6Octets prefix = {};
    inet_pton(AF_INET6, s.prefix, prefix.data());
    const Ip6Octets delegated = sixrd_delegated_prefix(prefix, pfxlen, ip4_number(s.ip4addr), v4mask);
    inet_ntop(AF_INET6, delegated.data(), parm.delegate_prefix.data(), parm.delegate_prefix.capacity);
    parm.delegate_pfxlen = length;
    log_line(name, "delegate_prefix = %s/%d", parm.delegate_prefix, parm.delegate_pfxlen);
    tesa_ccfg_set_str(tid, "system", "ip6_dhcp6c_prefix_addr", parm.delegate_prefix);
    tesa_ccfg_set_long(tid, "system", "ip6_dhcp6c_prefix_length", parm.delegate_pfxlen);
}

} // namespace

Ip6Octets sixrd_delegated_prefix(const Ip6Octets& prefix, int pfxlen, std::uint32_t ip4, int v4mask)
{
    Ip6Octets delegated;
    mask_ip6_prefix(delegated, prefix, pfxlen);
    const std::uint32_t own_bits = ip4 << (static_cast<unsigned>(v4mask) % 32U);
    const std::uint64_t placed = (static_cast<std::uint64_t>(own_bits) << 32) >> (static_cast<unsigned>(pfxlen) & 7U);
    const std::size_t first = static_cast<std::size_t>(pfxlen) / 8;
    const std::size_t count = 1 + (64 - static_cast<std::size_t>(pfxlen)) / 8;
    for (std::size_t i = 0; i < count && first + i < delegated.size(); ++i) {
        const unsigned octet = static_cast<unsigned>(placed >> (56 - 8 * i) & 0xFFU);
        unsigned char& to = delegated[first + i];
        to = static_cast<unsigned char>(to | octet);
    }
    return delegated;
}

int start_6rd(int tid)
{
    if (std::strncmp(parm.wan_ip6_proto, "tunnel", 6) != 0 || !choose_settings(tid))
        return 0;
    SixrdTexts settings;
    read_settings(tid, settings);
    resolve_relay(settings.relay);

    const int v4mask = to_int(settings.v4mask);
    const int pfxlen = to_int(settings.pfxlen);
    if (v4mask < 0 || pfxlen <= 0 || settings.prefix.empty() || settings.relay.empty()) {
        tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_tunnel_status", "disconnected");
        return 0;
    }
    if (v4mask > 32 || pfxlen > 64) // beyond 64 the delegated length is above 64 whatever v4mask is
        return 0;
    const int delegated_length = pfxlen + 32 - v4mask;
    if (delegated_length >= 65)
        return 0;

    const int result = build_tunnel(settings, pfxlen, v4mask);
    store_delegated_prefix(tid, settings, pfxlen, v4mask, delegated_length);
    start_ipv6_lan(tid);
    Text<64> address;
    address.print("%s1", parm.delegate_prefix);
    set_ipv6_addr(parm.wan_ip6_6rd_ifname, address, 128, 1);
    return result;
}

int del_6rd_tunnel(int)
{
    return run_shell("/usr/sbin/ip tunnel del %s", parm.wan_ip6_6rd_ifname);
}

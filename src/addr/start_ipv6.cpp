#include "start_ipv6.h"

#include "frame/address_text.h"
#include "frame/log.h"
#include "frame/shell.h"
#include "generate_addr.h"
#include "params/lan_side.h"
#include "platform/config_store.h"
#include "set_ipv6_addr.h"

namespace {

constexpr char name[] = "start_ipv6";
constexpr int lan_pfxlen = 64;

using PrefixText = Text<64>; // an address, a slash and a length

int start_wan(int tid)
{
    if (parm.wan_ip6_addr.empty() || parm.wan_ip6_pfxlen == 0) {
        log_line(name, "WAN IPv6 address is invalid");
        return -1;
    }
    PrefixText address;
    address.print("%s/%d", parm.wan_ip6_addr, parm.wan_ip6_pfxlen);
    log_line(name, "wan_ip6_addr = %s", address);
    if (parm.wan_ip6_proto.equals("static"))
        set_ipv6_addr(parm.wan_ifname, parm.wan_ip6_addr, parm.wan_ip6_pfxlen, 1);

    Ip6Octets octets = {};
    int length = 0;
    parse_ip6_prefix(address, &octets, &length);
    parm.wan_ip6_prefix = long_form(octets);
    compress_ip6_addr(parm.wan_ip6_prefix.data());
    tesa_ccfg_set_str(tid, parm.wan_sect, "ip6_prefix", parm.wan_ip6_prefix);
    log_line(name, "wan_ip6_prefix = %s", parm.wan_ip6_prefix);

    ShellLine line("/usr/sbin/ip -6 route flush ::/0");
    zel_system(line);
    if (!parm.wan_ip6_gateway.empty())
        line = ShellLine("/usr/sbin/ip -6 route add ::/0 via %s dev %s", parm.wan_ip6_gateway, parm.wan_ifname);
    return zel_system(line); // without a gateway the flush runs a second time
}

void remove_global_address(const LanSide& lan)
{
    if (!lan.ip6_addr.empty())
        run_shell("/sbin/ifconfig %s del %s/%d", lan.ifname, lan.ip6_addr, lan.ip6_pfxlen);
}

void give_lan_its_prefix(int tid, const LanSide& lan)
{
    if (parm.delegate_pfxlen < 1 || parm.delegate_pfxlen > 64)
        return;
    PrefixText delegated;
    delegated.print("%s/%d", parm.delegate_prefix, parm.delegate_pfxlen);
    log_line(name, "delegate_addr = %s", delegated);
    Ip6Octets octets = {};
    int length = 0;
    parse_ip6_prefix(delegated, &octets, &length);

    AddressText routed;
    routed = generate_addr(&octets, length, "prefix", lan.mac_addr, lan.is_lan1);
    log_line(name, "ko3_addr: %s", routed);
    lan.ip6_prefix = compress_ip6_addr(routed.data());
    tesa_ccfg_set_str(tid, lan.sect, "ip6_prefix", lan.ip6_prefix);
    log_line(name, "%s_ip6_prefix = %s", lan.log_name, lan.ip6_prefix);

    lan.ip6_pfxlen = lan_pfxlen;
    PrefixText carved;
    carved.print("%s/%d", lan.ip6_prefix, lan.ip6_pfxlen);
    octets = {};
    parse_ip6_prefix(carved, &octets, &length);
    lan.ip6_addr = generate_addr(&octets, lan_pfxlen, "addr", lan.mac_addr, lan.is_lan1);
    tesa_ccfg_set_str(tid, lan.sect, "ip6_addr", lan.ip6_addr);
    log_line(name, "%s_ip6_addr = %s", lan.log_name, lan.ip6_addr);

    tesa_ccfg_set_long(tid, lan.sect, "ip6_pfxlen", lan.ip6_pfxlen);
    log_line(name, "%s_ip6_pfxlen = %d", lan.log_name, lan.ip6_pfxlen);
    set_ipv6_addr(lan.ifname, lan.ip6_addr, lan.ip6_pfxlen, 1);
}

int start_lan(int tid)
{
    const bool from_delegation = parm.wan_ip6_proto.equals("dhcp") || parm.wan_ip6_proto.equals("tunnel");
    if (!from_delegation || parm.delegate_prefix.empty())
        return 0;
    remove_global_address(lan0());
    remove_global_address(lan1());
    give_lan_its_prefix(tid, lan0());
    give_lan_its_prefix(tid, lan1());
    return 0;
}

} // namespace

int start_ipv6(int tid, const char* side)
{
    if (std::strncmp(side, "wan", 3) == 0)
        return start_wan(tid);
    if (std::strncmp(side, "lan", 3) == 0)
        return start_lan(tid);
    return 0;
}

int start_ipv6_wan(int tid)
{
    run_shell("/usr/sbin/ip -6 route flush table 200");
    start_ipv6(tid, "wan");
    return 1;
}

#include "base_ruleset.h"

#include <net/if.h>

#include "frame/address_text.h"
#include "frame/outside_value.h"
#include "params/param_record.h"
#include "params/setting.h"
#include "ruleset_file.h"
#include "user_filter.h"

namespace {

constexpr char name[] = "write_base_ruleset";

// A name that the loader takes for exactly one interface: at most 15 characters, without a blank or a quote, without a
// "/", which no interface has, without the "!" that turns a match around and the "+" at the end that widens it.
bool is_interface_name(const char* text)
{
    const std::size_t length = std::strlen(text);
    return length < IFNAMSIZ && text[std::strcspn(text, " \"'#\\/")] == '\0' && text[0] != '!'
           && (length == 0 || text[length - 1] != '+') && !has_control_character(text);
}

void leave_out(const char* what, const char* why)
{
    say_left_out(name, "the ruleset", what, why);
}

// An interface of the record; rules with one whose name the loader would refuse are left out. An empty name is written
// as it is.
struct RuleInterface {
    const char* text;
    bool fits;

    RuleInterface(const char* what, const char* ifname) : text(ifname), fits(is_interface_name(ifname))
    {
        if (!fits)
            leave_out(what, "it is no interface name");
    }
};

// A prefix of the record; rules with one that the loader would refuse are left out. An empty one is written as it is.
struct RulePrefix {
    const char* text;
    int length;
    bool fits;

    RulePrefix(const char* what, const char* prefix, int pfxlen) : text(prefix), length(pfxlen), fits(false)
    {
        if (text[0] != '\0' && !is_ip6_address(text))
            leave_out(what, "it is no IPv6 address");
        else if (text[0] != '\0' && (length < 0 || length > 128))
            leave_out(what, "its length is not within 0 to 128");
        else
            fits = true;
    }
};

struct Ruleset {
    RuleInterface lan{"br-lan", parm.lan_ifname};
    RuleInterface lan1{"br-lan1", parm.lan1_ifname};
    RuleInterface wan{"the WAN interface", parm.wan_ifname};
    bool tunnel = std::strncmp(parm.wan_ip6_proto, "tunnel", 6) == 0;
};

void line(const char* text)
{
    save2file6("%s\n", text);
}

// One rule of one interface.
template <class... A>
void rule(FormatFor<const char*, A...> format, const RuleInterface& interface, const A&... values)
{
    if (!interface.fits)
        return;
    Text<512> text;
    text.print(format, interface.text, values...);
    line(text);
}

// One rule of one prefix.
void rule(FormatFor<const char*, int> format, const RulePrefix& prefix)
{
    if (!prefix.fits)
        return;
    Text<512> text;
    text.print(format, prefix.text, prefix.length);
    line(text);
}

void write_input_icmp(const Ruleset& r)
{
    line("-A INPUT -p ipv6-icmp --icmpv6-type no-route --match limit --limit 100/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type packet-too-big --match limit --limit 100/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type time-exceeded --match limit --limit 100/sec -j ACCEPT");
    rule("-A INPUT -p ipv6-icmp --icmpv6-type echo-request -i %s --match limit --limit 100/sec -j ACCEPT", r.lan);
    line("-A INPUT -p ipv6-icmp --icmpv6-type echo-reply --match limit --limit 100/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type neighbour-solicitation --match limit --limit 100/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type neighbour-advertisement --match limit --limit 100/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type router-advertisement -s fe80::0/64 --dst ff02::1/128 --match limit "
         "--limit "
         "10/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type router-solicitation --match limit --limit 100/sec -j ACCEPT");
}

// Multicast listener discovery (RFC 2710, RFC 3810) and multicast router discovery (RFC 4286).
void write_input_multicast(const Ruleset& r)
{
    rule("-A INPUT -i %s -p ipv6-icmp --icmpv6-type 130 -j ACCEPT", r.wan);
    rule("-A INPUT -i %s -p ipv6-icmp --icmpv6-type 130 -j ACCEPT", r.lan);
    rule("-A INPUT -i %s -p ipv6-icmp --icmpv6-type 143 -j ACCEPT", r.lan);
    line("-A INPUT -p ipv6-icmp --icmpv6-type 131 -s fe80::0/64 --match limit --limit 10/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type 132 -s fe80::0/64 --match limit --limit 10/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type 151 -s fe80::0/64 --match limit --limit 100/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type 152 -s fe80::0/64 --match limit --limit 100/sec -j ACCEPT");
    line("-A INPUT -p ipv6-icmp --icmpv6-type 153 -s fe80::0/64 --match limit --limit 100/sec -j ACCEPT");
}

void write_input_services(const Ruleset& r)
{
    rule("-A INPUT -p udp --dport 53 -i %s --match limit --limit 100/sec -j ACCEPT", r.lan);
    rule("-A INPUT -p udp --sport 53 -i %s --match limit --limit 100/sec -j ACCEPT", r.wan);
    rule("-A INPUT -p udp --dport 123 -i %s --match limit --limit 10/sec -j ACCEPT", r.lan);
    rule("-A INPUT -p udp --sport 123 -i %s --match limit --limit 10/sec -j ACCEPT", r.wan);
    rule("-A INPUT -p udp --dport 546:547 -i %s -j ACCEPT", r.lan);
    rule("-A INPUT -p udp --dport 546:547 -i %s -j ACCEPT", r.wan);
}

void write_input(const Ruleset& r)
{
    line("-A INPUT -i lo -j ACCEPT");
    if (r.tunnel)
        line("-A INPUT -i 6rd -p ipv6-icmp --icmpv6-type echo-request -j REJECT");
    else
        rule("-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d %s/%d -j REJECT",
             RulePrefix("the WAN prefix", parm.wan_ip6_prefix, parm.wan_ip6_pfxlen));
    line("-A INPUT -m state --state NEW -i br+ -j ACCEPT");
    line("-A INPUT -m state --state RELATED,ESTABLISHED -j ACCEPT");
    write_input_icmp(r);
    write_input_multicast(r);
    write_input_services(r);
    line("-A INPUT -j DROP");
}

void write_output()
{
    line("-A OUTPUT -o lo -j ACCEPT");
    line("-A OUTPUT -j ACCEPT");
}

// What comes from LAN0 with a source outside of its prefix is forged.
void write_own_sources(const Ruleset& r)
{
    if (parm.lan_ip6_prefix.length() < 2 || parm.lan_ip6_pfxlen <= 0)
        return;
    const RulePrefix prefix("the LAN prefix", parm.lan_ip6_prefix, parm.lan_ip6_pfxlen);
    if (prefix.fits)
        rule("-A FORWARD -i %s ! -s %s/%d -j DROP", r.lan, prefix.text, prefix.length);
}

// Nothing with an address that has no business beyond its link or its site is forwarded.
void write_forward_sources(const Ruleset& r)
{
    line("-A FORWARD -m rt --rt-type 0 -j DROP");
    line("-A FORWARD -s fe80::0/64 -j DROP");
    line("-A FORWARD -d fe80::0/64 -j DROP");
    line("-A FORWARD -s fd00::0/8 -j DROP");
    line("-A FORWARD -d fd00::0/8 -j DROP");
    write_own_sources(r);
    line("-A FORWARD -s fec0::/10 -j DROP");
    line("-A FORWARD -s ::/64 -j DROP");
    line("-A FORWARD -s 2001:db8::/32 -j DROP");
    line("-A FORWARD -s 2001:10::/28 -j DROP");
}

void write_forward_to_wan(const Ruleset& r)
{
    line("-A FORWARD -m state --state RELATED,ESTABLISHED -j ACCEPT");
    if (!r.wan.fits)
        return;
    rule("-A FORWARD -m state --state NEW -i %s -o %s -j ACCEPT", r.lan, r.wan.text);
    rule("-A FORWARD -m state --state NEW -i %s -o %s -j ACCEPT", r.lan1, r.wan.text);
}

void write_forward_icmp()
{
    line("-A FORWARD -p ipv6-icmp --icmpv6-type no-route --match limit --limit 100/sec -j ACCEPT");
    line("-A FORWARD -p ipv6-icmp --icmpv6-type packet-too-big --match limit --limit 100/sec -j ACCEPT");
    line("-A FORWARD -p ipv6-icmp --icmpv6-type time-exceeded --match limit --limit 100/sec -j ACCEPT");
    line("-A FORWARD -p ipv6-icmp --icmpv6-type parameter-problem --match limit --limit 100/sec -j ACCEPT");
    line("-A FORWARD -p ipv6-icmp --icmpv6-type echo-request -d ::1/128 -j DROP");
    line("-A FORWARD -p icmpv6 --icmpv6-type echo-reply --match limit --limit 100/sec -j ACCEPT");
}

void write_forward(int tid, const Ruleset& r)
{
    write_forward_sources(r);
    write_forward_to_wan(r);
    Text<12> filter_count;
    read_setting(tid, parm.wan_sect, "ip6_filter_cnt", filter_count, "0");
    if (filter_count[0] != '0')
        write_user_filter(tid);
    rule("-A FORWARD -i %s -o %s -d ff00::/8 -j ACCEPT", r.wan, r.lan.text);
    const RulePrefix delegated("the delegated prefix", parm.delegate_prefix, parm.delegate_pfxlen);
    rule("-A FORWARD -d %s/%d -p ipv6-icmp --icmpv6-type echo-request -j REJECT --reject-with icmp6-port-unreachable",
         delegated);
    if (r.tunnel) {
        rule("-A FORWARD -i %s -o 6rd -j ACCEPT", r.lan);
        rule("-A FORWARD -i %s -o 6rd -j ACCEPT", r.lan1);
    }
    write_forward_icmp();
    if (delegated.fits) {
        Text<512> inside;
        inside.print("-A FORWARD -s %s/%d -d %s/%d -j ACCEPT", delegated.text, delegated.length, delegated.text,
                     delegated.length);
        line(inside);
    }
    line("-A FORWARD -j DROP");
}

} // namespace

void write_base_ruleset(int tid)
{
    const Ruleset ruleset;
    save2file6("*filter\n:INPUT ACCEPT [0:0]\n:FORWARD ACCEPT [0:0]\n:OUTPUT ACCEPT [0:0]\n");
    write_input(ruleset);
    write_output();
    write_forward(tid, ruleset);
    line("COMMIT");
}

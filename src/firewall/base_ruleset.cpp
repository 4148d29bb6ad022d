#include "base_ruleset.h"

#include "frame/outside_value.h"
#include "params/param_record.h"
#include "params/setting.h"
#include "ruleset_file.h"
#include "user_filter.h"

namespace {

constexpr char name[] = "write_base_ruleset";

// A value of the record that goes into rules; rules with one that is no single word are left out.
struct RuleWord {
    const char* text;
    bool fits;

    RuleWord(const char* what, const char* value) : text(value), fits(fits_rule(name, what, value)) {}
};

struct Ruleset {
    RuleWord lan{"br-lan", parm.lan_ifname};
    RuleWord lan1{"br-lan1", parm.lan1_ifname};
    RuleWord wan{"the WAN interface", parm.wan_ifname};
    RuleWord wan_prefix{"the WAN prefix", parm.wan_ip6_prefix};
    RuleWord lan_prefix{"the LAN prefix", parm.lan_ip6_prefix};
    RuleWord delegated{"the delegated prefix", parm.delegate_prefix};
    bool tunnel = std::strncmp(parm.wan_ip6_proto, "tunnel", 6) == 0;
};

void line(const char* text)
{
    save2file6("%s\n", text);
}

// One rule with one word in it.
template <class... A>
void rule(FormatFor<const char*, A...> format, const RuleWord& word, const A&... values)
{
    if (!word.fits)
        return;
    Text<512> text;
    text.print(format, word.text, values...);
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
        rule("-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d %s/%d -j REJECT", r.wan_prefix, parm.wan_ip6_pfxlen);
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

// Nothing with an address that has no business beyond its link or its site is forwarded.
void write_forward_sources(const Ruleset& r)
{
    line("-A FORWARD -m rt --rt-type 0 -j DROP");
    line("-A FORWARD -s fe80::0/64 -j DROP");
    line("-A FORWARD -d fe80::0/64 -j DROP");
    line("-A FORWARD -s fd00::0/8 -j DROP");
    line("-A FORWARD -d fd00::0/8 -j DROP");
    if (parm.lan_ip6_prefix.length() >= 2 && parm.lan_ip6_pfxlen > 0 && r.lan_prefix.fits)
        rule("-A FORWARD -i %s ! -s %s/%d -j DROP", r.lan, r.lan_prefix.text, parm.lan_ip6_pfxlen);
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
    if (r.wan.fits)
        rule("-A FORWARD -i %s -o %s -d ff00::/8 -j ACCEPT", r.wan, r.lan.text);
    rule("-A FORWARD -d %s/%d -p ipv6-icmp --icmpv6-type echo-request -j REJECT --reject-with icmp6-port-unreachable",
         r.delegated, parm.delegate_pfxlen);
    if (r.tunnel) {
        rule("-A FORWARD -i %s -o 6rd -j ACCEPT", r.lan);
        rule("-A FORWARD -i %s -o 6rd -j ACCEPT", r.lan1);
    }
    write_forward_icmp();
    rule("-A FORWARD -s %s/%d -d %s/%d -j ACCEPT", r.delegated, parm.delegate_pfxlen, r.delegated.text,
         parm.delegate_pfxlen);
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

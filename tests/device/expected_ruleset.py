"""The packet filter's rules as the tests expect them, whole."""

PLAIN_ECHO = "-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d /0 -j REJECT"
TUNNEL_ECHO = "-A INPUT -i 6rd -p ipv6-icmp --icmpv6-type echo-request -j REJECT"
TUNNEL_FORWARD = ("-A FORWARD -i br-lan -o 6rd -j ACCEPT", "-A FORWARD -i br-lan1 -o 6rd -j ACCEPT")


def ruleset(wan="ppp0", echo=(PLAIN_ECHO,), own_prefix=(), user=(), delegated="/56", tunnel=(), echo_forward=True,
            inside=True):
    """The text of /tmp/.ip6t: `own_prefix` is the rule against forged sources, `user` the user's rules, `delegated`
    the delegated prefix and its length, `tunnel` the two rules of a tunnel. `echo_forward` and `inside` are the two
    rules that name the delegated prefix."""
    lines = [
        "*filter",
        ":INPUT ACCEPT [0:0]",
        ":FORWARD ACCEPT [0:0]",
        ":OUTPUT ACCEPT [0:0]",
        "-A INPUT -i lo -j ACCEPT",
        *echo,
        "-A INPUT -m state --state NEW -i br+ -j ACCEPT",
        "-A INPUT -m state --state RELATED,ESTABLISHED -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type no-route --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type packet-too-big --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type time-exceeded --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type echo-request -i br-lan --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type echo-reply --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type neighbour-solicitation --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type neighbour-advertisement --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type router-advertisement -s fe80::0/64 --dst ff02::1/128 "
        "--match limit --limit 10/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type router-solicitation --match limit --limit 100/sec -j ACCEPT",
        f"-A INPUT -i {wan} -p ipv6-icmp --icmpv6-type 130 -j ACCEPT",
        "-A INPUT -i br-lan -p ipv6-icmp --icmpv6-type 130 -j ACCEPT",
        "-A INPUT -i br-lan -p ipv6-icmp --icmpv6-type 143 -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type 131 -s fe80::0/64 --match limit --limit 10/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type 132 -s fe80::0/64 --match limit --limit 10/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type 151 -s fe80::0/64 --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type 152 -s fe80::0/64 --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p ipv6-icmp --icmpv6-type 153 -s fe80::0/64 --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p udp --dport 53 -i br-lan --match limit --limit 100/sec -j ACCEPT",
        f"-A INPUT -p udp --sport 53 -i {wan} --match limit --limit 100/sec -j ACCEPT",
        "-A INPUT -p udp --dport 123 -i br-lan --match limit --limit 10/sec -j ACCEPT",
        f"-A INPUT -p udp --sport 123 -i {wan} --match limit --limit 10/sec -j ACCEPT",
        "-A INPUT -p udp --dport 546:547 -i br-lan -j ACCEPT",
        f"-A INPUT -p udp --dport 546:547 -i {wan} -j ACCEPT",
        "-A INPUT -j DROP",
        "-A OUTPUT -o lo -j ACCEPT",
        "-A OUTPUT -j ACCEPT",
        "-A FORWARD -m rt --rt-type 0 -j DROP",
        "-A FORWARD -s fe80::0/64 -j DROP",
        "-A FORWARD -d fe80::0/64 -j DROP",
        "-A FORWARD -s fd00::0/8 -j DROP",
        "-A FORWARD -d fd00::0/8 -j DROP",
        *own_prefix,
        "-A FORWARD -s fec0::/10 -j DROP",
        "-A FORWARD -s ::/64 -j DROP",
        "-A FORWARD -s 2001:db8::/32 -j DROP",
        "-A FORWARD -s 2001:10::/28 -j DROP",
        "-A FORWARD -m state --state RELATED,ESTABLISHED -j ACCEPT",
        f"-A FORWARD -m state --state NEW -i br-lan -o {wan} -j ACCEPT",
        f"-A FORWARD -m state --state NEW -i br-lan1 -o {wan} -j ACCEPT",
        *user,
        f"-A FORWARD -i {wan} -o br-lan -d ff00::/8 -j ACCEPT",
        *([f"-A FORWARD -d {delegated} -p ipv6-icmp --icmpv6-type echo-request -j REJECT "
           "--reject-with icmp6-port-unreachable"] if echo_forward else []),
        *tunnel,
        "-A FORWARD -p ipv6-icmp --icmpv6-type no-route --match limit --limit 100/sec -j ACCEPT",
        "-A FORWARD -p ipv6-icmp --icmpv6-type packet-too-big --match limit --limit 100/sec -j ACCEPT",
        "-A FORWARD -p ipv6-icmp --icmpv6-type time-exceeded --match limit --limit 100/sec -j ACCEPT",
        "-A FORWARD -p ipv6-icmp --icmpv6-type parameter-problem --match limit --limit 100/sec -j ACCEPT",
        "-A FORWARD -p ipv6-icmp --icmpv6-type echo-request -d ::1/128 -j DROP",
        "-A FORWARD -p icmpv6 --icmpv6-type echo-reply --match limit --limit 100/sec -j ACCEPT",
        *([f"-A FORWARD -s {delegated} -d {delegated} -j ACCEPT"] if inside else []),
        "-A FORWARD -j DROP",
        "COMMIT",
    ]
    return "".join(line + "\n" for line in lines)

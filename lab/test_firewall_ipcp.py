"""The IPv4 link's hooks on a real IPv4 rule set: the three trigger rules go, and nothing else changes."""
import pytest
from netlab.isp import ACCESS
from netlab.node import PYTHON

WAN = "eth0"
TRIGGERS = [f"-A OUTPUT -o {WAN} -p udp -m udp --dport 53 -j ACCEPT", f"-A OUTPUT -o {WAN} -j DROP",
            "-A FORWARD -j ACCEPT"]

# Rules that resemble the trigger rules and are none.
NEIGHBORS = [f"-A OUTPUT -o {WAN}.7 -j DROP", "-A OUTPUT -o eth1 -j DROP",
             f"-A OUTPUT -o {WAN} -j REJECT --reject-with icmp-port-unreachable",
             f"-A OUTPUT -o {WAN} -p tcp -m tcp --dport 53 -j ACCEPT",
             f"-A OUTPUT -o {WAN} -p udp -m udp --dport 5353 -j ACCEPT", f"-A FORWARD -i {WAN} -j ACCEPT",
             "-A FORWARD -j DROP", f"-A OUTPUT -d 192.0.2.9/32 -o {WAN} -j DROP", "-A INPUT -j ACCEPT"]


def many_rules():
    """{table: lines} in the form in which they are saved: 200 rules besides the three trigger rules."""
    filters = [f"-A INPUT -s 198.51.100.{number}/32 -i {WAN} -p tcp -m tcp --dport {1000 + number} -j ACCEPT"
               for number in range(1, 61)]
    filters += [f"-A guests -s 10.0.{number}.0/24 -m comment "
                f"--comment \"guest \\\"{number}\\\": it's $HOME; `x` & %d\" -j DROP" for number in range(30)]
    filters += [f"-A FORWARD -p udp -m multiport --dports {number}:{number + 5},{number + 100} -j guests"
                for number in range(2000, 2020)]
    filters += [f"-A INPUT -m limit --limit {number}/min -j LOG --log-prefix \"a long prefix {number}: \""
                for number in range(1, 10)]
    filters += ["-A INPUT -m conntrack --ctstate RELATED,ESTABLISHED -j ACCEPT",
                f"-A INPUT ! -i {WAN} -m mac --mac-source 02:00:00:00:00:10 -j ACCEPT"]
    # Longer than any buffer for a line.
    filters += [f"-A guests -s 10.9.{number}.0/24 -m comment --comment \"{('%03d ' % number) * 60}\" -j ACCEPT"
                for number in range(5)]
    nat = [f"-A PREROUTING -i {WAN} -p tcp -m tcp --dport {8000 + number} -j DNAT --to-destination 10.0.0.{number}:80"
           for number in range(1, 31)]
    nat += [f"-A POSTROUTING -s 10.0.0.0/8 -o {WAN} -j MASQUERADE"]
    mangle = [f"-A POSTROUTING -o {WAN} -p tcp -m tcp --dport {number} -j DSCP --set-dscp 0x2e"
              for number in range(5060, 5079)]
    raw = ["-A PREROUTING -i br-lan -p udp -m udp --dport 5060 -j CT --notrack"] * 14
    rest = 200 - sum(map(len, (filters, NEIGHBORS, nat, mangle, raw)))
    assert rest >= 0
    filters += [f"-A OUTPUT -d 203.0.113.{number}/32 -j ACCEPT" for number in range(1, rest + 1)]
    filters = NEIGHBORS + filters
    return {"filter": filters, "nat": nat, "mangle": mangle, "raw": raw}


def with_triggers(lines):
    """The trigger rules among others: in the middle, behind another, and as the last one."""
    middle = len(lines) // 2
    return [*lines[:middle], *TRIGGERS[:2], *lines[middle:], TRIGGERS[2]]


CHAINS = {"filter": ("INPUT", "FORWARD", "OUTPUT"), "nat": ("PREROUTING", "INPUT", "OUTPUT", "POSTROUTING"),
          "mangle": ("PREROUTING", "INPUT", "FORWARD", "OUTPUT", "POSTROUTING"), "raw": ("PREROUTING", "OUTPUT")}


def restorable(tables):
    text = ""
    for table, lines in tables.items():
        text += f"*{table}\n" + "".join(f":{chain} ACCEPT [0:0]\n" for chain in CHAINS[table])
        own = {line.split()[1] for line in lines} - set(CHAINS[table])
        text += "".join(f":{chain} - [0:0]\n" for chain in sorted(own)) + "\n".join(lines) + "\nCOMMIT\n"
    return text


def saved(gw):
    """{table: its chains with their policies and its rules}, as saved; comments with the time and counters are left
    out."""
    found, table = {}, None
    for line in gw.must("iptables-save").splitlines():
        if line.startswith("*"):
            table = line[1:]
            found[table] = []
        elif line.startswith(":"):
            found[table].append(line.partition(" [")[0])
        elif line.startswith("-"):
            found[table].append(line)
    return found


def load(gw, tables):
    """Loads the tables, and returns them as the tools print them back."""
    gw.must("iptables-restore", text_in=restorable(tables))
    return saved(gw)


def without_triggers(tables):
    return {table: [line for line in lines if line not in TRIGGERS] for table, lines in tables.items()}


def tracked(gw):
    return [line for family in ("ipv4", "ipv6") for line in gw.must("conntrack", "-L", "-f", family).splitlines()]


def make_flows(lab):
    """Connections of both families that the gateway's connection tracking knows of; the provider opens them, since the
    trigger rules stop what the gateway itself sends."""
    script = ("import socket\n"
              "for family, peer in ((socket.AF_INET, '192.0.2.2'), (socket.AF_INET6, '3fff:100:0:1::2')):\n"
              "    for port in range(4000, 4010):\n"
              "        socket.socket(family, socket.SOCK_DGRAM).sendto(b'x', (peer, port))\n")
    lab.isp.must(PYTHON, "-c", script)
    for address in ("192.0.2.2", "3fff:100:0:1::2"):
        lab.until("the flows are tracked", lambda: any(f"dst={address} " in line for line in tracked(lab.gw)))


@pytest.fixture(scope="module")
def line(shared_lab_with):
    """A gateway with an IPv4 link and a leased name server, and nothing that talks by itself."""
    lab = shared_lab_with()
    assert lab.gw.wan == WAN
    lab.isp.must("ip", "addr", "add", "192.0.2.1/24", "dev", ACCESS)
    lab.gw.must("ip", "link", "set", WAN, "up")
    lab.gw.must("ip", "addr", "add", "192.0.2.2/24", "dev", WAN)
    lab.gw.must("ip", "-6", "addr", "add", "3fff:100:0:1::2/64", "dev", WAN, "nodad")
    lab.gw.must("ip6tables-restore", text_in="*filter\n-A INPUT -m conntrack --ctstate NEW\nCOMMIT\n")
    return lab


@pytest.fixture(params=["nft", "legacy"])
def lab(request, line):
    """The same, with one of the two kinds of tools for IPv4; the other kind has no rules."""
    for kind in ("nft", "legacy"):
        empty = {table: [] for table in CHAINS}
        line.gw.must(f"iptables-{kind}-restore", text_in=restorable(empty))
    line.gw.must("update-alternatives", "--set", "iptables", f"/usr/sbin/iptables-{request.param}")
    return line


def test_only_the_trigger_rules_go_when_the_ipv4_link_comes_up(lab):
    """IPCP up among 200 rules: only the three trigger rules go, connection tracking is empty afterwards"""
    tables = many_rules()
    assert sum(map(len, tables.values())) == 200
    tables["filter"] = with_triggers(tables["filter"])
    before = load(lab.gw, tables)
    assert sum(line.startswith("-A") for lines in before.values() for line in lines) == 203
    assert all(trigger in before["filter"] for trigger in TRIGGERS)
    make_flows(lab)
    lab.command("zel_ipcp_up")
    after = saved(lab.gw)
    assert after == without_triggers(before)
    assert sum(line.startswith("-A") for lines in after.values() for line in lines) == 200
    assert tracked(lab.gw) == []
    assert lab.get("ip4_wan_ready@system") == "1"


def test_the_rules_stay_as_they_are_when_the_link_goes_and_comes_again(lab):
    """IPCP down, and up again without trigger rules: every rule of every table is byte for byte the same"""
    before = load(lab.gw, many_rules())
    lab.gw.path("/tmp/resolv.conf").write_text("nameserver 192.0.2.53\nnameserver 192.0.2.54\nnameserver fe80::1\n",
                                               encoding="utf-8")
    lab.gw.path("/tmp/resolv.conf.auto").write_text("nameserver 127.0.0.1\nnameserver 192.0.2.53\n", encoding="utf-8")
    lab.set("dns@wan", "192.0.2.53")
    lab.command("zel_ipcp_down")
    assert lab.get("ip4_wan_ready@system") == "0"
    assert lab.gw.read("/tmp/resolv.conf") == "nameserver 192.0.2.54\nnameserver fe80::1\n"
    assert saved(lab.gw) == before
    lab.command("zel_ipcp_up")
    assert lab.get("ip4_wan_ready@system") == "1"
    assert saved(lab.gw) == before


def test_the_forwarder_survives_the_signal_that_both_families_are_up(lab):
    """With IPv6 up as well the forwarder is signaled: it goes on with the same process"""
    load(lab.gw, many_rules())
    lab.gw.must("/etc/init.d/dnsmasq2", "start")
    before = lab.until("the forwarder runs", lambda: lab.daemons().get("dnsmasq"))
    lab.set("ip6_wan_ready@system", 1)
    lab.command("zel_ipcp_up")
    assert lab.daemons()["dnsmasq"] == before
    lab.set("ip6_wan_ready@system", 0)
    lab.gw.must("/etc/init.d/dnsmasq2", "stop")


def test_a_rule_that_holds_a_trigger_rules_text_goes_with_them(lab):
    """The triggers are found by their text: a rule into a chain named ACCEPT-something, or a comment, is taken too"""
    kept = ["-A INPUT -p tcp -m tcp --dport 22 -j ACCEPT", "-A ACCEPTED -j RETURN"]
    taken = ["-A FORWARD -j ACCEPTED", "-A INPUT -m comment --comment \"not -A FORWARD -j ACCEPT\" -j DROP"]
    before = load(lab.gw, {"filter": [*kept, *taken, *TRIGGERS]})
    lab.command("zel_ipcp_up")
    gone = [line for line in before["filter"] if line not in saved(lab.gw)["filter"]]
    assert sorted(gone) == sorted([*taken, *TRIGGERS])


def test_a_trigger_text_in_a_piece_of_a_long_rule_spoils_the_whole_restore(lab):
    """A rule of more than 255 characters is read in pieces; a piece that is taken out leaves rules that do not load"""
    long_rule = ("-A INPUT -s 198.51.100.7/32 -m comment --comment \"" + "x" * 205
                 + "-A FORWARD -j ACCEPT\" -j DROP")
    before = load(lab.gw, {"filter": [long_rule, *TRIGGERS[2:]]})
    assert long_rule in before["filter"]
    assert len(long_rule) > 255 and long_rule.index("-A FORWARD") >= 255
    lab.command("zel_ipcp_up")
    assert saved(lab.gw) == before
    assert tracked(lab.gw) == []

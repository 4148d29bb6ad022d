"""A gateway whose ruleset was refused as a whole, looked at from outside: only who has asked first can be reached."""
import re
import time

from netlab import traffic
from netlab.gateway import BRIDGES
from netlab.host import INTERFACE
from netlab.isp import ACCESS

SERVICE = 8443
BY_HAND = "3fff:100:c0de:1"     # a network of LAN1 beside the delegated ones
# The rules of the ruleset that have no address while nothing is delegated.
NO_DELEGATION = (
    "-A FORWARD -d /56 -p ipv6-icmp --icmpv6-type echo-request -j REJECT --reject-with icmp6-port-unreachable",
    "-A FORWARD -s /56 -d /56 -j ACCEPT")


def loaded(lab):
    """The filter's rules, as they are in force."""
    return [line for line in lab.gw.must("ip6tables-save", "-t", "filter").splitlines() if line.startswith("-A ")]


def refused_line(lab):
    """The line of the ruleset at which the loader gives it up as a whole; None when it takes it."""
    tried = lab.gw.run("ip6tables-restore", "--test", "/tmp/.ip6t")
    if tried.returncode == 0:
        return None
    return lab.gw.read("/tmp/.ip6t").splitlines()[int(re.search(r"Error occurred at line: (\d+)", tried.stderr)[1]) - 1]


def reached_from_the_wan(lab, address):
    return traffic.call(lab.isp, "tcp", address, SERVICE, 2.5)[0] == traffic.ANSWERED


def serve_inside(lab):
    """A service on the gateway and one on a host that nobody outside is meant to reach. The host has an address of
    its own for it, of a network that the provider routes here, whatever is delegated. It is one of LAN1, because on
    LAN0 an address of no leased prefix counts as forged."""
    host = lab.hosts[1]
    lab.gw.must("ip", "-6", "addr", "add", f"{BY_HAND}::1/64", "dev", BRIDGES[1], "nodad")
    host.must("ip", "-6", "addr", "add", f"{BY_HAND}::10/64", "dev", INTERFACE, "nodad")
    host.must("ip", "-6", "route", "add", "3fff::/20", "via", f"{BY_HAND}::1", "src", f"{BY_HAND}::10", "metric", "1")
    lab.isp.must("ip", "-6", "route", "add", f"{BY_HAND}::/64", "via", lab.gw.link_local(lab.gw.wan), "dev", ACCESS)
    for node in (lab.gw, host):
        traffic.listen(node, tcp=(SERVICE,))


def stays_closed(lab, without):
    """Without a prefix the ruleset has lines with an empty address, and ip6tables-restore takes nothing of it. What the
    device adds behind the ruleset loads the rest, and then only who has asked first can be reached."""
    assert refused_line(lab) in without
    status = [text for _, text in lab.log_lines() if text.endswith("ip6tables-restore /tmp/.ip6t")][-1]
    assert status.endswith("[2]ip6tables-restore /tmp/.ip6t")
    rules, written = loaded(lab), lab.gw.read("/tmp/.ip6t").splitlines()
    assert set(without) <= set(written) and len(rules) == sum(line.startswith("-A ") for line in written) - len(without)
    assert {"-A INPUT -j DROP", "-A FORWARD -j DROP"} <= set(rules)
    assert lab.gw.sysctl("net.ipv6.conf.all.forwarding") == "1"
    begin = time.time()
    address = lab.global_addresses("eth0")[0].split("/")[0]
    for target in (address, f"{BY_HAND}::10"):
        assert traffic.call(lab.isp, "tcp", target, SERVICE, 2.5)[0] == traffic.SILENT
        assert traffic.call(lab.isp, "icmp", target, 0, 1.5)[0] != traffic.ANSWERED
        lab.until("the attempt is on the line", lambda: lab.line.tcp_to(target, SERVICE, begin))
    assert lab.lans[1].tcp_to(f"{BY_HAND}::10", SERVICE, begin) == []
    # What the LAN asks for passes, and so does the answer.
    config = lab.isp.config
    assert traffic.call(lab.hosts[1], "tcp", config.server_address, config.tcp_port) == (
        traffic.ANSWERED, f"you are {BY_HAND}::10 from {BY_HAND}::10")

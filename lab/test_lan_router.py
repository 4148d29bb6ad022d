"""A router inside LAN0 with further subnets behind it: extra static routes, and who reaches whom through them."""
import time

import pytest
from netlab import traffic
from netlab.capture import Capture
from netlab.gateway import BRIDGES
from netlab.host import INTERFACE
from netlab.isp import IspConfig
from netlab.node import Node

PORT = 8080
FIRST, SECOND, THIRD = "3fff:100:a000:1100", "3fff:100:a000:2200", "3fff:100:a000:3300"      # of the /56 each


class Branch:
    """The router and the host behind it: router eth0 is in LAN0, router eth1 and the host's eth0 are the subnet."""

    def __init__(self, lab):
        self.lab = lab
        self.router = lab.lab.add_node(Node("router", lab.lab.out / "router"))
        self.host = lab.lab.add_node(Node("behind", lab.lab.out / "behind"))
        lab.lab.wire(lab.gw, "lan0r", "02:00:00:00:0a:02", self.router, "eth0", "02:00:00:00:0a:10")
        lab.gw.plug_into_bridge(BRIDGES[0], "lan0r")
        lab.lab.wire(self.router, "eth1", "02:00:00:00:0b:01", self.host, INTERFACE, "02:00:00:00:0b:10")
        self.router.must("sysctl", "-q", "-w", "net.ipv6.conf.all.forwarding=1", "net.ipv6.conf.eth0.accept_ra=2",
                         "net.ipv6.conf.eth1.accept_ra=0")
        self.host.must("sysctl", "-q", "-w", f"net.ipv6.conf.{INTERFACE}.accept_ra=0")
        for node, interface in ((self.router, "eth0"), (self.router, "eth1"), (self.host, INTERFACE)):
            node.must("ip", "link", "set", interface, "up")
        self.link_local = self.router.link_local("eth0")
        self.wire = Capture(self.host, INTERFACE, "behind")
        self.address = None
        traffic.listen(self.host, tcp=(PORT,))

    def number(self, subnet):
        """Gives the subnet behind the router the /64 `subnet` ("3fff:..:10"); the host's address is its fifth."""
        for node, interface, address in ((self.router, "eth1", f"{subnet}::1"), (self.host, INTERFACE, f"{subnet}::5")):
            node.must("ip", "-6", "addr", "flush", "dev", interface, "scope", "global")
            node.must("ip", "-6", "addr", "add", f"{address}/64", "dev", interface, "nodad")
        self.host.must("ip", "-6", "route", "replace", "default", "via", f"{subnet}::1")
        self.address = f"{subnet}::5"

    def is_known(self):
        """The gateway has the router in its table of neighbors, as it prints it."""
        return f"{self.link_local} dev {BRIDGES[0]} lladdr" in self.lab.gw.must("ip", "-6", "neigh", "show")


def extra_routes(lab):
    """{prefix: next hop} of what the gateway sends to routers inside LAN0."""
    return {route["dst"]: route["gateway"] for route in lab.gw.json("ip", "-j", "-6", "route", "show", "dev",
                                                                  BRIDGES[0]) if route.get("gateway")}


def delegate(lab, start):
    """The provider delegates another /56 from now on, and the gateway gets it by a release and a new start."""
    since = time.time()
    lab.command("dhcp6c_release")
    lab.idle()
    lab.isp.change_dhcp(delegated_from=f"{start}::", delegated_to=f"{start}::")
    lab.command("dhcp6c_start")
    reply = lab.bound(since)
    assert reply.prefixes[0][0] == f"{start}::/56"


def write_routes(lab, entries):
    lab.set("add_static_route@system", 1)
    lab.set("num_extra_routes@system", len(entries))
    for number, (subnet_id, gateway) in enumerate(entries, 1):
        lab.set(f"extra_sid_{number}@system", subnet_id)
        lab.set(f"extra_gateway_{number}@system", gateway)


def stored_routes(lab, count):
    return [(lab.get(f"extra_sid_{number}@system"), lab.get(f"extra_gateway_{number}@system"))
            for number in range(1, count + 1)]


@pytest.fixture(scope="module")
def branch(shared_lab_with):
    """On line with the first /56, and the branch behind LAN0 with its subnet 10."""
    lab = shared_lab_with(isp=IspConfig(delegated_from=f"{FIRST}::", delegated_to=f"{FIRST}::"))
    lab.online()
    branch = Branch(lab)
    branch.number(f"{FIRST[:-2]}10")
    lab.until("the router has a default route", lambda: branch.router.json("ip", "-j", "-6", "route", "show",
                                                                            "default"))
    lab.until("the gateway knows the router", branch.is_known)
    return branch


def test_routes_are_installed_and_faulty_entries_are_dropped_from_the_store(branch):
    """Extra routes: installed for good entries; duplicate, reserved id and unknown gateway leave the store"""
    lab, router = branch.lab, branch.link_local
    entries = [("10", router), ("10", router), ("01", router), ("20", "fe80::dead"), ("7", router), ("2", router)]
    write_routes(lab, entries)
    lab.command("ipv6_lan_restart")
    lab.look("extra routes installed")
    assert extra_routes(lab) == {f"{FIRST[:-2]}10::/64": router, f"{FIRST[:-2]}07::/64": router}
    gone = (None, None)
    assert stored_routes(lab, len(entries)) == [("10", router), gone, gone, gone, ("7", router), gone]
    assert lab.get("num_extra_routes@system") == "6"
    # What was looked at and not a duplicate of an earlier entry is in the list, whether or not it came to a route.
    assert lab.get("ip6_extra_sid@system") == "10;01;20;07;02"
    console = (lab.lab.out / "console.log").read_text(encoding="utf-8")
    assert "No such device matches the gateway address:fe80::dead" in console


def connected(lab):
    """The global /64s that the gateway has directly on its bridges."""
    return sorted(route["dst"] for bridge in BRIDGES
                  for route in lab.gw.json("ip", "-j", "-6", "route", "show", "dev", bridge)
                  if route["dst"].startswith("3fff:") and not route.get("gateway"))


def test_a_reserved_id_costs_the_bridges_their_own_routes_once(branch):
    """A bridge's own id among the extra ones: the next restart flushes its route, the one after that adds it"""
    lab, config = branch.lab, branch.lab.isp.config
    own = [f"{FIRST[:-2]}01::/64", f"{FIRST[:-2]}02::/64"]
    assert connected(lab) == own
    lab.command("ipv6_lan_restart")
    lab.look("the bridges' own routes flushed")
    assert connected(lab) == []
    begin = time.time()
    assert traffic.call(lab.hosts[0], "tcp", config.server_address, config.tcp_port, 2.5)[0] != traffic.ANSWERED
    assert lab.line.tcp_to(config.server_address, config.tcp_port, begin)       # it went out, no answer found back
    assert lab.get("ip6_extra_sid@system") == "10;07"
    lab.command("ipv6_lan_restart")
    assert connected(lab) == own
    lab.settles(lambda: traffic.call(lab.hosts[0], "tcp", config.server_address, config.tcp_port)[0], traffic.ANSWERED)


def test_lan0_and_the_gateway_reach_the_host_behind_the_router(branch):
    """Who is on LAN0, and the gateway itself, reach the host behind the router and are reached by it"""
    lab = branch.lab
    lab.settles(lambda: traffic.call(lab.gw, "tcp", branch.address, PORT)[0], traffic.ANSWERED)
    lab.settles(lambda: traffic.call(lab.hosts[0], "tcp", branch.address, PORT)[0], traffic.ANSWERED)
    bridge = next(entry["local"] for entry in lab.gw.addresses(BRIDGES[0], "global")
                  if entry["local"].startswith(FIRST[:-2]))
    lab.settles(lambda: traffic.call(branch.host, "icmp", bridge, 0)[0], traffic.ANSWERED)


def test_what_comes_from_behind_the_router_is_foreign_to_lan0_and_stopped(branch):
    """The ruleset takes a packet of the routed subnet for a spoofed one, since it is not of LAN0's own /64"""
    lab, config = branch.lab, branch.lab.isp.config
    begin = time.time()
    status, text = traffic.call(branch.host, "tcp", config.server_address, config.tcp_port, 2.5)
    assert status != traffic.ANSWERED, text
    assert branch.wire.tcp_to(config.server_address, config.tcp_port, begin)
    assert not lab.line.tcp_to(config.server_address, config.tcp_port, begin)

    # From the other LAN: the call arrives, and the answer is what is stopped.
    status, text = traffic.call(lab.hosts[1], "tcp", branch.address, PORT, 2.5)
    assert status != traffic.ANSWERED, text
    assert branch.wire.tcp_to(branch.address, PORT, begin)
    answers = [packet for packet in branch.wire.packets(begin) if packet.source == branch.address
               and packet.protocol == 6 and packet.ports()[0] == PORT]
    arrived = [packet for packet in lab.lans[1].packets(begin) if packet.source == branch.address]
    assert answers and not arrived
    assert int(counters(lab)[0]) > 0


def counters(lab):
    """Packets that met the line against foreign sources on LAN0."""
    lines = [line for line in lab.gw.must("ip6tables-save", "-c").splitlines()
             if "FORWARD ! -s" in line and "-i br-lan -j DROP" in line]
    return [line.partition(":")[0].lstrip("[") for line in lines]


def open_for_branch(lab, start):
    """What the owner adds to the ruleset for a subnet behind a router of LAN0: its own addresses are not foreign."""
    rule = f"ip6tables -I FORWARD -i {BRIDGES[0]} -s {start[:-2]}10::/64 -j ACCEPT\n"
    lab.gw.path("/lib/firewall/firewallv6.user").write_text(rule, encoding="utf-8")


def check_branch_on_line(branch):
    lab, config = branch.lab, branch.lab.isp.config
    lab.settles(lambda: traffic.call(branch.host, "tcp", config.server_address, config.tcp_port),
                (traffic.ANSWERED, f"you are {branch.address} from {branch.address}"))
    lab.settles(lambda: traffic.call(lab.hosts[1], "tcp", branch.address, PORT)[0], traffic.ANSWERED)
    begin = time.time()
    lab.settles(lambda: traffic.call(lab.isp, "tcp", branch.address, PORT)[0], traffic.ANSWERED)
    assert branch.wire.tcp_to(branch.address, PORT, begin)


def test_with_the_owners_rule_the_host_behind_reaches_the_internet_and_is_reached(branch):
    """With the owner's own rule for the subnet and a filter record the host behind the router is fully on line"""
    lab = branch.lab
    open_for_branch(lab, FIRST)
    lab.set("ip6_filter_cnt@wan", 1)
    lab.set("ip6_filter_list@wan", f"behind;{branch.address};tcp;{PORT};{PORT};;;")
    lab.command("ipv6_lan_restart")
    check_branch_on_line(branch)


def test_after_renumbering_the_old_routes_are_gone_and_the_new_ones_work(branch):
    """Another /56: routes of the old one are flushed, those of the new one lead to the router"""
    lab, router = branch.lab, branch.link_local
    assert f"{FIRST[:-2]}10::/64" in extra_routes(lab)
    open_for_branch(lab, SECOND)
    lab.set("ip6_filter_list@wan", f"behind;{SECOND[:-2]}10::5;tcp;{PORT};{PORT};;;")
    delegate(lab, SECOND)
    branch.number(f"{SECOND[:-2]}10")
    lab.look("renumbered")
    assert extra_routes(lab) == {f"{SECOND[:-2]}10::/64": router, f"{SECOND[:-2]}07::/64": router}
    check_branch_on_line(branch)

    # The prefix that is flushed is the one of the first installation for good, so a second renumbering leaves the
    # routes of the one before it.
    assert lab.get("ip6_pre_routing_prefix@system") == "3FFF:0100:A000:11"
    delegate(lab, THIRD)
    lab.look("renumbered again")
    assert set(extra_routes(lab)) == {f"{start[:-2]}{subnet}::/64" for start in (SECOND, THIRD)
                                      for subnet in ("10", "07")}

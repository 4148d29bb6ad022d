"""The packet filter: single raw packets from the WAN and both LANs, and what the wires behind it saw of them."""
import ipaddress
import time

import pytest
from netlab.gateway import BRIDGES
from netlab.host import INTERFACE
from netlab.isp import ACCESS
from netlab.prefixes import eui64
from netlab.probe import (DELIVERED, DROPPED, LAN0, LAN1, WAN, Probe, Prober, Train, forwarded, icmp, rejected, tcp,
                          udp)

GROUP = "ff0e::99"          # a multicast group of global scope
STRANGER = "fe80::64:99"    # a link-local sender on each wire that is nobody's router
REFUSED = rejected("port unreachable")
TO_WAN, TO_LAN0, TO_LAN1 = forwarded(WAN), forwarded(LAN0), forwarded(LAN1)
# The verdicts that the ruleset's lines give, one row a probe: name, sender, receiver, what is sent, verdict, options.
# The senders' and receivers' names are those of `places`.

TO_THE_GATEWAY_FROM_THE_WAN = [
    ("TCP to port 22", "server", "gw", tcp(22), DROPPED),
    ("TCP to port 53", "server", "gw", tcp(53), DROPPED),
    ("TCP to the address on LAN0", "server", "gw0", tcp(80), DROPPED),
    ("TCP that belongs to no connection", "server", "gw", tcp(80, flags=0x10), DROPPED),
    ("UDP to port 53", "server", "gw", udp(53), DROPPED),
    ("UDP to port 123", "server", "gw", udp(123), DROPPED),
    ("UDP to port 500", "server", "gw", udp(500), DROPPED),
    # Answers of name and time servers are let in by their source port alone, asked for or not, to whatever port.
    ("UDP from port 53", "server", "gw", udp(5000, sport=53), DELIVERED),
    ("UDP from port 123", "server", "gw", udp(5001, sport=123), DELIVERED),
    ("UDP to port 546", "server", "gw", udp(546), DELIVERED),
    ("UDP to port 547", "server", "gw", udp(547), DELIVERED),
    ("echo request to the WAN address", "server", "gw", icmp(128), REFUSED),
    ("echo request to the address on LAN0", "server", "gw0", icmp(128), DROPPED),
    ("echo request to the link-local address", "isp link", "gw link", icmp(128), DROPPED),
    ("echo request to all nodes", "isp link", "ff02::1", icmp(128), DROPPED),
    ("echo reply", "server", "gw", icmp(129), DELIVERED),
    ("error: no route", "server", "gw", icmp(1), DELIVERED),
    ("error: prohibited", "server", "gw", icmp(1, code=1), DROPPED),
    ("error: port unreachable", "server", "gw", icmp(1, code=4), DROPPED),
    ("error: packet too big", "server", "gw", icmp(2), DELIVERED),
    ("error: time exceeded", "server", "gw", icmp(3), DELIVERED),
    ("error: parameter problem", "server", "gw", icmp(4), DROPPED),
    ("listener query", "isp link", "ff02::1", icmp(130), DELIVERED, {"hops": 1, "alert": True}),
    ("listener report", "stranger", "gw link", icmp(131), DELIVERED, {"hops": 1, "alert": True}),
    ("listener report with a global source", "server", "gw link", icmp(131), DROPPED, {"hops": 1, "alert": True}),
    ("listener done", "stranger", "ff02::2", icmp(132), DELIVERED, {"hops": 1, "alert": True}),
    ("listener done with a global source", "server", "ff02::2", icmp(132), DROPPED, {"hops": 1, "alert": True}),
    ("listener report of version 2", "stranger", "ff02::16", icmp(143), DROPPED, {"hops": 1, "alert": True}),
    ("router solicitation", "stranger", "ff02::2", icmp(133), DELIVERED, {"hops": 255}),
    ("router advertisement", "stranger", "ff02::1", icmp(134), DELIVERED, {"hops": 255}),
    ("router advertisement to one node", "stranger", "gw link", icmp(134), DROPPED, {"hops": 255}),
    ("router advertisement with a global source", "server", "ff02::1", icmp(134), DROPPED, {"hops": 255}),
    ("neighbor solicitation", "stranger", "gw link", icmp(135), DELIVERED, {"hops": 255}),
    ("neighbor advertisement", "stranger", "gw link", icmp(136), DELIVERED, {"hops": 255}),
    ("redirect", "stranger", "gw link", icmp(137), DROPPED, {"hops": 255}),
    ("multicast router advertisement", "stranger", "gw link", icmp(151), DELIVERED),
    ("multicast router advertisement with a global source", "server", "gw", icmp(151), DROPPED),
    ("multicast router solicitation", "stranger", "gw link", icmp(152), DELIVERED),
    ("multicast router termination", "stranger", "gw link", icmp(153), DELIVERED),
    ("multicast router termination with a global source", "server", "gw", icmp(153), DROPPED),
    ("node information query", "server", "gw", icmp(139), DROPPED),
]

# All that a LAN opens is let in, whatever it is; the lines for single services behind that add nothing. What opens
# nothing (multicast listening, neighbor discovery, errors) meets the lines for its ICMPv6 type, of which some name
# br-lan only.
TO_THE_GATEWAY_FROM_LAN0 = [
    ("TCP to port 80", "host0", "gw0", tcp(80), DELIVERED),
    ("TCP to the WAN address", "host0", "gw", tcp(80), DELIVERED),
    ("TCP to the unique-local address", "host0 unique", "gw0 unique", tcp(80), DELIVERED),
    ("TCP to the link-local address", "host0 link", "gw0 link", tcp(80), DELIVERED),
    ("UDP to port 53", "host0", "gw0", udp(53), DELIVERED),
    ("UDP to port 123", "host0", "gw0", udp(123), DELIVERED),
    ("UDP to port 547", "host0 link", "ff02::1:2", udp(547), DELIVERED, {"hops": 1}),
    ("echo request", "host0", "gw0", icmp(128), DELIVERED),
    ("echo request to all nodes", "host0 link", "ff02::1", icmp(128), DELIVERED),
    ("echo request to the WAN address", "host0", "gw", icmp(128), REFUSED),
    ("echo reply", "host0", "gw0", icmp(129), DELIVERED),
    ("error: port unreachable", "host0", "gw0", icmp(1, code=4), DROPPED),
    ("error: parameter problem", "host0", "gw0", icmp(4), DROPPED),
    ("listener query", "stranger", "ff02::1", icmp(130), DELIVERED, {"hops": 1, "alert": True}),
    ("listener report", "stranger", "gw0 link", icmp(131), DELIVERED, {"hops": 1, "alert": True}),
    ("listener report with a global source", "host0", "gw0 link", icmp(131), DROPPED, {"hops": 1, "alert": True}),
    ("listener report of version 2", "stranger", "ff02::16", icmp(143), DELIVERED, {"hops": 1, "alert": True}),
    ("router solicitation", "stranger", "ff02::2", icmp(133), DELIVERED, {"hops": 255}),
    ("router advertisement", "stranger", "ff02::1", icmp(134), DELIVERED, {"hops": 255}),
    ("neighbor solicitation", "host0 link", "gw0 link", icmp(135), DELIVERED, {"hops": 255}),
    ("redirect", "stranger", "gw0 link", icmp(137), DROPPED, {"hops": 255}),
    ("node information query", "host0", "gw0", icmp(139), DELIVERED),
]

TO_THE_GATEWAY_FROM_LAN1 = [
    ("TCP to port 80", "host1", "gw1", tcp(80), DELIVERED),
    ("UDP to port 53", "host1", "gw1", udp(53), DELIVERED),
    ("UDP to port 547", "host1 link", "ff02::1:2", udp(547), DELIVERED, {"hops": 1}),
    ("echo request", "host1", "gw1", icmp(128), DELIVERED),
    ("listener query", "stranger", "ff02::1", icmp(130), DROPPED, {"hops": 1, "alert": True}),
    ("listener report", "stranger", "gw1 link", icmp(131), DELIVERED, {"hops": 1, "alert": True}),
    ("listener report of version 2", "stranger", "ff02::16", icmp(143), DROPPED, {"hops": 1, "alert": True}),
    ("router solicitation", "stranger", "ff02::2", icmp(133), DELIVERED, {"hops": 255}),
    ("neighbor solicitation", "host1 link", "gw1 link", icmp(135), DELIVERED, {"hops": 255}),
]

THROUGH_FROM_THE_WAN = [
    ("TCP to a host", "server", "host0", tcp(80), DROPPED),
    ("TCP to a host that belongs to no connection", "server", "host0", tcp(80, flags=0x10), DROPPED),
    ("UDP to a host", "server", "host0", udp(4000), DROPPED),
    ("UDP from port 53 to a host", "server", "host0", udp(4000, sport=53), DROPPED),
    ("TCP to a host of LAN1", "server", "host1", tcp(80), DROPPED),
    ("echo request to a host", "server", "host0", icmp(128), REFUSED),
    ("echo request to a host of LAN1", "server", "host1", icmp(128), REFUSED),
    ("echo request into the delegated prefix, to no LAN", "server", "unused", icmp(128), REFUSED),
    ("echo reply to a host", "server", "host0", icmp(129), TO_LAN0),
    ("echo reply to a host of LAN1", "server", "host1", icmp(129), TO_LAN1),
    ("error to a host: no route", "server", "host0", icmp(1), TO_LAN0),
    ("error to a host: port unreachable", "server", "host0", icmp(1, code=4), DROPPED),
    ("error to a host: packet too big", "server", "host0", icmp(2), TO_LAN0),
    ("error to a host: time exceeded", "server", "host0", icmp(3), TO_LAN0),
    ("error to a host: parameter problem", "server", "host0", icmp(4), TO_LAN0),
    ("redirect to a host", "server", "host0", icmp(137), DROPPED),
    ("TCP to a host's unique-local address", "server", "host0 unique", tcp(80), DROPPED),
    ("TCP from a unique-local address", "fd00::5", "host0", tcp(80), DROPPED),
    ("echo reply from a unique-local address", "fd00::5", "host0", icmp(129), DROPPED),
    # The kernel itself refuses to forward this one, before any rule (RFC 4291, section 2.5.6).
    ("echo reply from a link-local address", "isp link", "host0", icmp(129), rejected("beyond scope")),
    ("echo reply from a site-local address", "fec0::5", "host0", icmp(129), DROPPED),
    ("echo reply from an IPv4-compatible address", "::192.0.2.9", "host0", icmp(129), DROPPED),
    ("echo reply from 2001:db8::/32", "2001:db8::5", "host0", icmp(129), DROPPED),
    ("echo reply from 2001:10::/28", "2001:10::5", "host0", icmp(129), DROPPED),
    ("echo reply from the loopback address", "::1", "host0", icmp(129), DROPPED),
    ("echo reply from a multicast address", "ff0e::5", "host0", icmp(129), DROPPED),
    ("echo request to the loopback address", "server", "::1", icmp(128), DROPPED),
    # What comes with an address of the delegated prefix is let through, from whatever side it comes.
    ("TCP to a host with the source of another host", "host1", "host0", tcp(80), TO_LAN0),
    ("UDP to a host of LAN1 with a made-up source of the delegated prefix", "unused", "host1", udp(4000), TO_LAN1),
    ("TCP through the gateway and back to the WAN", "server", "other server", tcp(80), DROPPED),
    ("echo reply with a routing header of type 0", "server", "host0", icmp(129), DROPPED, {"routing": (0, "host1", 1)}),
    ("echo reply with a routing header of type 4", "server", "host0", icmp(129), TO_LAN0, {"routing": (4, "host1", 1)}),
    ("a hop limit that ends here", "server", "host0", icmp(129), rejected("time exceeded"), {"hops": 1}),
    # With multicast routes to both bridges: the line is for br-lan only.
    ("UDP to a multicast group", "server", GROUP, udp(4000), TO_LAN0),
]

THROUGH_FROM_LAN0 = [
    ("TCP to the WAN", "host0", "server", tcp(80), TO_WAN),
    ("TCP to the WAN that belongs to no known connection", "host0", "server", tcp(81, flags=0x10), TO_WAN),
    ("UDP to the WAN", "host0", "server", udp(4000), TO_WAN),
    ("echo request to the WAN", "host0", "server", icmp(128, ident=3), TO_WAN),
    ("echo reply to the WAN", "host0", "server", icmp(129, ident=4), TO_WAN),
    ("error to the WAN: packet too big", "host0", "server", icmp(2), TO_WAN),
    ("error to the WAN: port unreachable", "host0", "server", icmp(1, code=4), DROPPED),
    ("neighbor solicitation to the WAN", "host0", "server", icmp(135), DROPPED, {"hops": 255}),
    ("TCP to the other LAN", "host0", "host1", tcp(80), TO_LAN1),
    ("UDP to the other LAN", "host0", "host1", udp(4000), TO_LAN1),
    ("echo request to the other LAN", "host0", "host1", icmp(128), REFUSED),
    ("TCP to the other LAN's unique-local address", "host0 unique", "host1 unique", tcp(80), DROPPED),
    ("TCP to the WAN from a unique-local address", "host0 unique", "server", tcp(80), DROPPED),
    ("TCP to the WAN from a link-local address", "host0 link", "server", tcp(80), rejected("beyond scope")),
    ("TCP to the WAN with a foreign source", "foreign", "server", tcp(80), DROPPED),
    ("TCP to the WAN with a source of the other LAN", "host1", "server", tcp(80), DROPPED),
    ("TCP to the other LAN with a source of it", "host1", "host1", tcp(80), DROPPED),
    ("TCP to the WAN from 2001:db8::/32", "2001:db8::5", "server", tcp(80), DROPPED),
    ("TCP to the WAN with a routing header of type 0", "host0", "server", tcp(82), DROPPED,
     {"routing": (0, "other server", 0)}),
    ("TCP to the WAN with a routing header of type 4", "host0", "server", tcp(83), TO_WAN,
     {"routing": (4, "other server", 0)}),
    # The sender sums up with the last address, connection tracking with the one at hand: the segment counts as damaged.
    ("TCP to the WAN with a routing header of type 4 and a way to go", "host0", "server", tcp(87), DROPPED,
     {"routing": (4, "other server", 1)}),
    # No route of the gateway holds back what is delegated and of no LAN: gateway and provider play it back and forth.
    ("TCP into the delegated prefix, to no LAN", "host0", "unused", tcp(86), TO_WAN),
    ("UDP to a multicast group", "host0", GROUP, udp(4000), TO_WAN),
    ("a hop limit that ends here", "host0", "server", tcp(84), rejected("time exceeded"), {"hops": 1}),
]

# LAN1 has no line against foreign sources, so only those are held back that are held back everywhere.
THROUGH_FROM_LAN1 = [
    ("TCP to the WAN", "host1", "server", tcp(80), TO_WAN),
    ("UDP to the WAN", "host1", "server", udp(4000), TO_WAN),
    ("echo request to the WAN", "host1", "server", icmp(128, ident=5), TO_WAN),
    ("TCP to the WAN with a foreign source", "foreign", "server", tcp(80), TO_WAN),
    ("TCP to the WAN with a source of the other LAN", "host0", "server", tcp(85), TO_WAN),
    ("TCP to the WAN from fc00::/8", "fc00::5", "server", tcp(80), TO_WAN),
    ("TCP to the WAN from a unique-local address", "host1 unique", "server", tcp(80), DROPPED),
    ("TCP to the WAN from a site-local address", "fec0::5", "server", tcp(80), DROPPED),
    ("TCP to the WAN from an IPv4-compatible address", "::192.0.2.9", "server", tcp(80), DROPPED),
    ("TCP to the WAN from 2001:db8::/32", "2001:db8::5", "server", tcp(80), DROPPED),
    ("TCP to the WAN from 2001:10::/28", "2001:10::5", "server", tcp(80), DROPPED),
    ("TCP to the other LAN", "host1", "host0", tcp(80), TO_LAN0),
    ("TCP to the other LAN with a foreign source", "foreign", "host0", tcp(80), DROPPED),
    ("echo request to the other LAN", "host1", "host0", icmp(128), REFUSED),
]

MATRIX = [(origin, *row) for origin, rows in (
    (WAN, TO_THE_GATEWAY_FROM_THE_WAN), (LAN0, TO_THE_GATEWAY_FROM_LAN0), (LAN1, TO_THE_GATEWAY_FROM_LAN1),
    (WAN, THROUGH_FROM_THE_WAN), (LAN0, THROUGH_FROM_LAN0), (LAN1, THROUGH_FROM_LAN1)) for row in rows]

# name;host;protocol;first;last;protocol;first;last of the user's list. What is open is open for the host as the
# receiver, and for what it sends to such a port, wherever that is.
RECORDS = ["one;{served0};tcp;8080;8080;;;", "range;{served0};tcp;9000;9002;;;", "both;{served0};b;5000;5000;;;",
           "bothrange;{served1};b;5100;5101;;;", "two;{served1};udp;6000;6000;tcp;6100;6102;;;",
           *[f"r{number};{{served0}};tcp;{700 + number};{700 + number};;;" for number in range(6, 22)]]

USER_FILTER = [
    ("a single port", "server", "served0", tcp(8080), TO_LAN0),
    ("a single port over the other protocol", "server", "served0", udp(8080), DROPPED),
    ("the port below", "server", "served0", tcp(8079), DROPPED),
    ("the port above", "server", "served0", tcp(8081), DROPPED),
    ("the port of another host", "server", "served1", tcp(8080), DROPPED),
    ("below a range", "server", "served0", tcp(8999), DROPPED),
    ("the first of a range", "server", "served0", tcp(9000), TO_LAN0),
    ("within a range", "server", "served0", tcp(9001), TO_LAN0),
    ("the last of a range", "server", "served0", tcp(9002), TO_LAN0),
    ("above a range", "server", "served0", tcp(9003), DROPPED),
    ("a single port of both protocols over TCP", "server", "served0", tcp(5000), TO_LAN0),
    ("a single port of both protocols over UDP", "server", "served0", udp(5000), TO_LAN0),
    ("above a single port of both protocols", "server", "served0", udp(5001), DROPPED),
    ("the last of a range of both protocols over TCP", "server", "served1", tcp(5101), TO_LAN1),
    ("the first of a range of both protocols over UDP", "server", "served1", udp(5100), TO_LAN1),
    ("above a range of both protocols", "server", "served1", udp(5102), DROPPED),
    ("the first range of a record with two", "server", "served1", udp(6000), TO_LAN1),
    ("the first range of a record with two, other protocol", "server", "served1", tcp(6000), DROPPED),
    ("the second range of a record with two", "server", "served1", tcp(6102), TO_LAN1),
    ("above the second range of a record with two", "server", "served1", tcp(6103), DROPPED),
    ("the sixth record", "server", "served0", tcp(706), TO_LAN0),
    ("the twentieth record", "server", "served0", tcp(720), TO_LAN0),
    ("the twenty-first record", "server", "served0", tcp(721), DROPPED),
    # The lines that name the host as the source do not ask where the packet comes from or goes to.
    ("a host's address as the source, back to the WAN", "served0", "other server", tcp(8080), TO_WAN),
]


@pytest.fixture(scope="module")
def lab(shared_lab_with):
    lab = shared_lab_with()
    lab.online()
    return lab


@pytest.fixture(scope="module")
def prober(lab):
    return Prober(lab)


@pytest.fixture(scope="module")
def places(lab):
    """The names of the tables: {name: address}."""
    config, gw = lab.isp.config, lab.gw
    delegated = lab.stored_delegation().rpartition("::/")[0]
    found = {"server": config.server_address, "other server": config.name_servers[0], "stranger": STRANGER,
             "isp link": lab.isp.link_local(ACCESS), "gw link": gw.link_local(gw.wan), "foreign": "3fff:bad::5",
             "gw": lab.get("ip6_addr@wan"), "unused": f"{delegated[:-2]}77::7"}
    for number, (host, bridge) in enumerate(zip(lab.hosts, BRIDGES)):
        for name, network in (("", f"ip6_prefix@lan{number}"), (" unique", f"ip6_ula_addr@lan{number}")):
            prefix = ipaddress.ip_network(f"{lab.get(network)}/64", strict=False)
            found[f"host{number}{name}"] = host.address_in(prefix)["local"]
            found[f"gw{number}{name}"] = str(eui64(prefix, gw.mac(bridge)))
            if not name:
                # Twenty-one records fit into a setting with short addresses only.
                found[f"served{number}"] = str(prefix[2])
                host.must("ip", "-6", "addr", "add", f"{prefix[2]}/64", "dev", INTERFACE, "nodad")
        found[f"host{number} link"] = host.link_local(INTERFACE)
        found[f"gw{number} link"] = gw.link_local(bridge)
    return found


@pytest.fixture(scope="module", params=["nft", "legacy"])
def backend(request, lab, places):
    """The ruleset in force, loaded by one of the two kinds of tools; the other kind has no rules."""
    for tool in ("iptables", "ip6tables"):
        lab.gw.run(tool, "-F")
        lab.gw.must("update-alternatives", "--set", tool, f"/usr/sbin/{tool}-{request.param}")
    lab.set("ip6_filter_cnt@wan", len(RECORDS))
    lab.set("ip6_filter_list@wan", "/".join(RECORDS).format(**places))
    lab.command("ipv6_lan_restart")
    other = {"nft": "legacy", "legacy": "nft"}[request.param]
    assert "-A FORWARD -j DROP" in lab.gw.must(f"ip6tables-{request.param}-save")
    assert "-A " not in lab.gw.must(f"ip6tables-{other}-save")
    meet(lab, places)
    return request.param


def meet(lab, places):
    """Tells the gateway everybody's link-layer address: waiting for it, packets would let others overtake them."""
    neighbors = [(places["isp link"], lab.gw.wan, lab.isp.mac(ACCESS))]
    for number, (host, bridge) in enumerate(zip(lab.hosts, BRIDGES)):
        neighbors += [(places[f"{name}{number}{kind}"], bridge, host.mac(INTERFACE))
                      for name, kind in (("host", ""), ("host", " unique"), ("host", " link"), ("served", ""))]
    for address, interface, mac in neighbors:
        lab.gw.must("ip", "-6", "neigh", "replace", address, "dev", interface, "lladdr", mac, "nud", "permanent")


@pytest.fixture(scope="module")
def routes(lab, places):
    """Multicast routes from the WAN to both bridges, and from LAN0 to the WAN and LAN1."""
    wan = lab.gw.wan
    service = lab.gw.python("multicast-routes", "multicast_routes", f"{places['server']},{GROUP},{wan},br-lan,br-lan1",
                            f"{places['host0']},{GROUP},br-lan,{wan},br-lan1")
    lab.until("the multicast routes are there", lambda: "routes" in service.log())


def train_of(prober, places):
    return Train(prober, {WAN: {"there": places["server"], "here": places["gw"]},
                          LAN0: {"there": places["host0"], "here": places["gw0"]},
                          LAN1: {"there": places["host1"], "here": places["gw1"]}})


def run(prober, places, backend, rows):
    """Sends the probes of a table; returns (what was seen, what the table says), both {probe: verdict}."""
    train = train_of(prober, places)
    probes, stated = [], {}
    for number, (origin, title, sender, receiver, make, verdict, *options) in enumerate(rows):
        options = dict(options[0]) if options else {}
        if "routing" in options:
            kind, via, left = options["routing"]
            options["routing"] = (kind, places[via], left)
        name = f"{number}: {origin}, {sender} to {receiver}: {title}"
        probes.append(Probe(name, origin, places.get(sender, sender), places.get(receiver, receiver), make, **options))
        stated[name] = verdict
    seen = train.run(probes)
    train.keep(f"verdicts-{backend}-{len(rows)}.json", seen)
    return seen, stated


def test_every_probe_of_the_matrix_meets_its_verdict(prober, places, routes, backend):
    """What the firewall does with each kind of packet from the WAN and the LANs"""
    seen, stated = run(prober, places, backend, MATRIX)
    assert seen == stated


def test_the_users_records_open_what_they_name_and_no_more(prober, places, backend):
    """The user's filter list: single ports, ranges, both protocols, twenty records and the twenty-first"""
    seen, stated = run(prober, places, backend, [(WAN, *row) for row in USER_FILTER])
    assert seen == stated


def test_a_rate_limit_holds_in_a_flood(lab, prober, places, backend):
    """Of a flood of echo replies from the WAN only as many are let in as the limit of 100 a second allows"""
    flood = [Probe(f"{number}", WAN, places["server"], places["gw"], icmp(129, ident=9)) for number in range(3000)]
    begin = time.monotonic()
    prober.send(flood, pause=0)
    seconds = time.monotonic() - begin
    train_of(prober, places).close(WAN)
    let_in = list(prober.verdicts(flood).values()).count(DELIVERED)
    lab.note(f"{backend}: {let_in} of {len(flood)} echo replies within {seconds:.1f} s were let in")
    assert 5 <= let_in <= 5 + 100 * (seconds + 1)
    assert let_in < len(flood)

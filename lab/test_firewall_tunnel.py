"""The packet filter of a WAN that is a tunnel: what its rules for the interface "6rd" let pass, reject and drop."""
import ipaddress

import pytest
from netlab.capture import Capture
from netlab.gateway import BRIDGES
from netlab.host import INTERFACE
from netlab.isp import ACCESS
from netlab.prefixes import eui64
from netlab.probe import (DELIVERED, DROPPED, LAN0, LAN1, TUNNEL, WAN, Probe, Prober, Train, forwarded, icmp, rejected,
                          tcp, udp)

END = "six0"                            # the provider's end of the tunnel
NETWORK = "3fff:100:6d::"               # of the tunnel itself
FAR = "3fff:100:81::81"                 # a server behind it
REFUSED = rejected("port unreachable")
TO_LAN0, TO_LAN1, TO_WAN, TO_TUNNEL = (forwarded(wire) for wire in (LAN0, LAN1, WAN, TUNNEL))

# What is sent from where, and its verdict: the name, sender, receiver, what is sent, verdict, options. The senders' and
# receivers' names are those of `places`.
FROM_THE_TUNNEL = [
    ("echo request to the tunnel's address", "far", "gw tunnel", icmp(128), REFUSED),
    # The rule names the interface and no address, so all of the gateway's are meant.
    ("echo request to the address on LAN0", "far", "gw0", icmp(128), REFUSED),
    ("echo reply", "far", "gw tunnel", icmp(129), DELIVERED),
    ("error: packet too big", "far", "gw tunnel", icmp(2), DELIVERED),
    ("error: parameter problem", "far", "gw tunnel", icmp(4), DROPPED),
    ("TCP to port 22", "far", "gw tunnel", tcp(22), DROPPED),
    ("TCP to the address on LAN0", "far", "gw0", tcp(80), DROPPED),
    ("UDP to port 53", "far", "gw tunnel", udp(53), DROPPED),
    # Answers of name servers and the DHCPv6 client's port are open on the WAN interface alone.
    ("UDP from port 53", "far", "gw tunnel", udp(5000, sport=53), DROPPED),
    ("UDP from port 123", "far", "gw tunnel", udp(5001, sport=123), DROPPED),
    ("UDP to port 546", "far", "gw tunnel", udp(546), DROPPED),
    ("listener query", "stranger", "ff02::1", icmp(130), DROPPED, {"hops": 1, "alert": True}),
    ("listener report", "stranger", "gw tunnel link", icmp(131), DELIVERED, {"hops": 1, "alert": True}),
    ("TCP to a host", "far", "host0", tcp(80), DROPPED),
    ("UDP to a host", "far", "host0", udp(4000), DROPPED),
    ("TCP to a host of LAN1", "far", "host1", tcp(80), DROPPED),
    ("echo request to a host", "far", "host0", icmp(128), REFUSED),
    ("echo request to a host of LAN1", "far", "host1", icmp(128), REFUSED),
    ("echo reply to a host", "far", "host0", icmp(129), TO_LAN0),
    ("echo reply to a host of LAN1", "far", "host1", icmp(129), TO_LAN1),
    ("error to a host: packet too big", "far", "host0", icmp(2), TO_LAN0),
    ("error to a host: port unreachable", "far", "host0", icmp(1, code=4), DROPPED),
    ("echo reply from a unique-local address", "fd00::5", "host0", icmp(129), DROPPED),
    ("echo reply from 2001:db8::/32", "2001:db8::5", "host0", icmp(129), DROPPED),
    ("echo reply with a routing header of type 0", "far", "host0", icmp(129), DROPPED, {"routing": (0, "host1", 1)}),
    ("TCP to the WAN", "far", "server", tcp(80), DROPPED),
    ("echo reply to the WAN", "far", "server", icmp(129), TO_WAN),
]

FROM_LAN0 = [
    ("TCP into the tunnel", "host0", "far", tcp(80), TO_TUNNEL),
    ("TCP into the tunnel that belongs to no known connection", "host0", "far", tcp(81, flags=0x10), TO_TUNNEL),
    ("UDP into the tunnel", "host0", "far", udp(4000), TO_TUNNEL),
    ("echo request into the tunnel", "host0", "far", icmp(128, ident=3), TO_TUNNEL),
    ("echo reply into the tunnel", "host0", "far", icmp(129, ident=4), TO_TUNNEL),
    # Into the tunnel everything goes; to the WAN only what opens something, and some errors.
    ("error into the tunnel: port unreachable", "host0", "far", icmp(1, code=4), TO_TUNNEL),
    ("error to the WAN: port unreachable", "host0", "server", icmp(1, code=4), DROPPED),
    ("neighbor solicitation into the tunnel", "host0", "far", icmp(135), TO_TUNNEL, {"hops": 255}),
    ("TCP into the tunnel with a foreign source", "foreign", "far", tcp(80), DROPPED),
    ("TCP into the tunnel from a unique-local address", "host0 unique", "far", tcp(80), DROPPED),
    ("TCP into the tunnel with a routing header of type 0", "host0", "far", tcp(82), DROPPED,
     {"routing": (0, "server", 0)}),
    # The lines for the WAN interface stay.
    ("TCP to the WAN", "host0", "server", tcp(80), TO_WAN),
    ("TCP to the other LAN", "host0", "host1", tcp(80), TO_LAN1),
]

FROM_LAN1 = [
    ("TCP into the tunnel", "host1", "far", tcp(80), TO_TUNNEL),
    ("UDP into the tunnel", "host1", "far", udp(4000), TO_TUNNEL),
    ("error into the tunnel: port unreachable", "host1", "far", icmp(1, code=4), TO_TUNNEL),
    ("TCP into the tunnel with a foreign source", "foreign", "far", tcp(83), TO_TUNNEL),
    ("TCP into the tunnel from a unique-local address", "host1 unique", "far", tcp(80), DROPPED),
    ("TCP to the WAN", "host1", "server", tcp(80), TO_WAN),
]

FROM_THE_WAN = [
    # The line for the WAN's prefix has given way to the one for the tunnel.
    ("echo request to the WAN address", "server", "gw", icmp(128), DROPPED),
    ("UDP to port 546", "server", "gw", udp(546), DELIVERED),
    ("TCP to a host", "server", "host0", tcp(80), DROPPED),
    ("TCP into the tunnel", "server", "far", tcp(80), DROPPED),
    ("UDP into the tunnel", "server", "far", udp(4000), DROPPED),
    ("echo request into the tunnel", "server", "far", icmp(128), DROPPED),
    ("echo request to a host", "server", "host0", icmp(128), REFUSED),
]

MATRIX = [(origin, *row) for origin, rows in (
    (TUNNEL, FROM_THE_TUNNEL), (LAN0, FROM_LAN0), (LAN1, FROM_LAN1), (WAN, FROM_THE_WAN)) for row in rows]


@pytest.fixture(scope="module")
def lab(shared_lab_with):
    """On line over the subscriber line, with a second way out: an interface of the name that the tunnel has."""
    lab = shared_lab_with()
    lab.online()
    gw, isp = lab.gw, lab.isp
    lab.lab.wire(gw, TUNNEL, "02:00:00:00:6d:02", isp, END, "02:00:00:00:6d:01")
    for node, name, number in ((gw, TUNNEL, 2), (isp, END, 1)):
        node.must("sysctl", "-q", "-w", f"net.ipv6.conf.{name}.accept_ra=0")
        node.must("ip", "link", "set", name, "up")
        node.must("ip", "-6", "addr", "add", f"{NETWORK}{number}/64", "dev", name, "nodad")
    isp.must("ip", "-6", "addr", "add", f"{FAR}/128", "dev", "lo", "nodad")
    gw.must("ip", "-6", "route", "add", f"{FAR}/128", "via", f"{NETWORK}1", "dev", TUNNEL)
    return lab


@pytest.fixture(scope="module")
def prober(lab):
    return Prober(lab, Capture(lab.isp, END, "tunnel"), END)


@pytest.fixture(scope="module")
def places(lab):
    """The names of the tables: {name: address}."""
    gw = lab.gw
    found = {"server": lab.isp.config.server_address, "far": FAR, "stranger": "fe80::64:99", "foreign": "3fff:bad::5",
             "gw": lab.get("ip6_addr@wan"), "gw tunnel": f"{NETWORK}2", "gw tunnel link": gw.link_local(TUNNEL)}
    for number, (host, bridge) in enumerate(zip(lab.hosts, BRIDGES)):
        for name, key in (("", f"ip6_prefix@lan{number}"), (" unique", f"ip6_ula_addr@lan{number}")):
            prefix = ipaddress.ip_network(f"{lab.get(key)}/64", strict=False)
            found[f"host{number}{name}"] = host.address_in(prefix)["local"]
        found[f"gw{number}"] = str(eui64(f"{lab.get(f'ip6_prefix@lan{number}')}/64", gw.mac(bridge)))
    neighbors = [(lab.isp.link_local(ACCESS), gw.wan, lab.isp.mac(ACCESS)), (f"{NETWORK}1", TUNNEL, lab.isp.mac(END))]
    neighbors += [(found[f"host{number}"], bridge, host.mac(INTERFACE))
                  for number, (host, bridge) in enumerate(zip(lab.hosts, BRIDGES))]
    for address, interface, mac in neighbors:
        gw.must("ip", "-6", "neigh", "replace", address, "dev", interface, "lladdr", mac, "nud", "permanent")
    return found


@pytest.fixture(scope="module", params=["nft", "legacy"])
def backend(request, lab, places):
    """The tunnel's ruleset in force, loaded by one of the two kinds of tools; the other kind has no rules."""
    for tool in ("iptables", "ip6tables"):
        lab.gw.run(tool, "-F")
        lab.gw.must("update-alternatives", "--set", tool, f"/usr/sbin/{tool}-{request.param}")
    lab.set("ip6_proto@wan", "tunnel")
    lab.command("ipv6_lan_restart")
    other = {"nft": "legacy", "legacy": "nft"}[request.param]
    rules = lab.gw.must(f"ip6tables-{request.param}-save")
    assert "-A FORWARD -i br-lan1 -o 6rd -j ACCEPT" in rules and "-A FORWARD -j DROP" in rules
    assert "-A " not in lab.gw.must(f"ip6tables-{other}-save")
    return request.param


def test_every_probe_of_the_tunnels_matrix_meets_its_verdict(prober, places, backend):
    """What the firewall does with each kind of packet from and to the tunnel"""
    train = Train(prober, {TUNNEL: {"there": FAR, "here": f"{NETWORK}2"},
                           WAN: {"there": places["server"], "here": places["gw"], "back": places["host0"]},
                           LAN0: {"there": places["host0"], "here": places["gw0"]},
                           LAN1: {"there": places["host1"], "here": places["gw1"]}})
    probes, stated = [], {}
    for number, (origin, title, sender, receiver, make, verdict, *options) in enumerate(MATRIX):
        options = dict(options[0]) if options else {}
        if "routing" in options:
            kind, via, left = options["routing"]
            options["routing"] = (kind, places[via], left)
        name = f"{number}: {origin}, {sender} to {receiver}: {title}"
        probes.append(Probe(name, origin, places.get(sender, sender), places.get(receiver, receiver), make, **options))
        stated[name] = verdict
    seen = train.run(probes)
    train.keep(f"verdicts-tunnel-{backend}.json", seen)
    assert seen == stated

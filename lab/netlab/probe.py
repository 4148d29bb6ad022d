"""Probes of a packet filter: single packets, sent raw on one wire of the gateway, and what became of each.

Every probe carries a mark of its own. It was let in when the gateway's raw sockets were handed it, forwarded when a
wire carries it with its hop limit one lower, rejected when the gateway answered with an ICMPv6 error about it, and
dropped when none of that was seen although what was sent after it has come through (see `Train.close`).
"""
import itertools
import json
import struct
from dataclasses import dataclass, field

from netlab import frames
from netlab.gateway import BRIDGES
from netlab.host import INTERFACE
from netlab.isp import ACCESS
from netlab.node import PYTHON
from netlab.wait import need, wait_for

WAN, LAN0, LAN1, TUNNEL = "wan", "lan0", "lan1", "6rd"
WIRES = (WAN, LAN0, LAN1, TUNNEL)
DELIVERED, DROPPED = "let in", "dropped"
ERRORS = {(1, 0): "no route", (1, 1): "prohibited", (1, 2): "beyond scope", (1, 3): "address unreachable",
          (1, 4): "port unreachable", (2, 0): "too big", (3, 0): "time exceeded", (4, 1): "parameter problem"}
PAUSE = 0.02                # seconds between frames: 50 a second, half of what the ruleset's limits let pass


def forwarded(*wires):
    return "forwarded to " + " and ".join(wires)


def rejected(error):
    return f"rejected: {error}"


@dataclass
class Probe:
    """`make(source, destination, mark)` gives the payload (see frames.py)."""
    title: str
    origin: str
    source: str
    destination: str
    make: object
    hops: int = 64
    routing: tuple | None = None
    alert: bool = False
    mark: bytes = field(default=b"")

    def packet(self):
        # The checksum of a packet with a routing header covers its last destination.
        last = self.routing[1] if self.routing and self.routing[2] else self.destination
        payload = self.make(self.source, last, self.mark)
        return frames.whole(self.source, self.destination, payload, hops=self.hops, routing=self.routing,
                            alert=self.alert)


class Prober:
    """Sends probes from the provider's and the hosts' ends of the gateway's wires. One for a lab.

    A fourth wire, whose interface at the gateway is TUNNEL, is one with a capture (`tunnel`) at the provider's end of
    it, which is that node's interface `tunnel_end`.
    """

    def __init__(self, lab, tunnel=None, tunnel_end=None):
        self.gw = lab.gw
        self.nodes = {WAN: (lab.isp, ACCESS), LAN0: (lab.hosts[0], INTERFACE), LAN1: (lab.hosts[1], INTERFACE)}
        self.captures = {WAN: lab.line, LAN0: lab.lans[0], LAN1: lab.lans[1]}
        self.inside = {WAN: self.gw.wan, LAN0: BRIDGES[0], LAN1: BRIDGES[1]}
        if tunnel:
            self.nodes[TUNNEL] = (lab.isp, tunnel_end)
            self.captures[TUNNEL] = tunnel
            self.inside[TUNNEL] = TUNNEL
        self.wires = [wire for wire in WIRES if wire in self.nodes]
        self.macs = {wire: (node.mac(interface), self.gw.mac(self.inside[wire]))
                     for wire, (node, interface) in self.nodes.items()}
        self.numbers = itertools.count(1)
        # Errors about packets, not their number, is what is looked at; the kernel's own limit would hide some.
        self.gw.must("sysctl", "-q", "-w", "net.ipv6.icmp.ratelimit=0")
        self.arrivals = self.gw.python("arrivals", "arrivals", *[f"ff02::16%{name}" for name in self.inside.values()])
        wait_for(lambda: need("listens" in self.arrivals.log(), "the arrivals are not listened to"))

    def send(self, probes, pause=PAUSE):
        """Sends probes of one origin, each with a new mark."""
        origin = probes[0].origin
        node, interface = self.nodes[origin]
        lines = []
        for probe in probes:
            probe.mark = f"probe-{next(self.numbers):06d}".encode()
            lines.append(frames.ethernet(*self.macs[origin], probe.destination, probe.packet()).hex())
        node.must(PYTHON, "-I", "/lab/src/netlab/frame_sender.py", interface, pause, text_in="\n".join(lines) + "\n")

    def own_addresses(self):
        return {frames.packed(entry["local"]) for name in (*self.inside.values(), "lo")
                for entry in self.gw.addresses(name)}

    def sightings(self):
        """What has been seen so far: {mark: {"let in" | (wire, source, destination, hops, protocol, type, code)}}."""
        found = {}
        for line in self.arrivals.log().splitlines():
            words = line.split()
            if len(words) == 3:
                for mark in marks_in(bytes.fromhex(words[2])):
                    found.setdefault(mark, set()).add((DELIVERED, frames.packed(words[1])))
        for wire, capture in self.captures.items():
            for packet in raw_packets(capture.path):
                for mark in marks_in(packet):
                    found.setdefault(mark, set()).add(
                        (wire, packet[8:24], packet[24:40], packet[7], packet[6], *packet[40:42]))
        return found

    def verdicts(self, probes):
        """What became of each: {title: text}."""
        seen, own = self.sightings(), self.own_addresses()
        return {probe.title: verdict(probe, seen.get(probe.mark, ()), own) for probe in probes}


def verdict(probe, sightings, own):
    source, destination = frames.packed(probe.source), frames.packed(probe.destination)
    if (DELIVERED, source) in sightings:
        return DELIVERED
    on_wires = [each for each in sightings if each[0] != DELIVERED]
    passed = {wire for wire, *rest in on_wires if rest[:3] == [source, destination, probe.hops - 1]}
    if passed:
        return forwarded(*sorted(passed, key=WIRES.index))
    errors = {ERRORS.get((kind, code), f"ICMPv6 type {kind} code {code}")
              for _, sender, receiver, _, protocol, kind, code in on_wires
              if sender in own and receiver == source and protocol == frames.ICMP and kind < 128}
    return rejected(" and ".join(sorted(errors))) if errors else DROPPED


def marks_in(data):
    at = data.find(b"probe-")
    while at >= 0:
        yield data[at:at + frames.MARK_LENGTH]
        at = data.find(b"probe-", at + 1)


def raw_packets(path):
    """IPv6 packets of a capture as octets. A record that is still being written is left out."""
    data = path.read_bytes()
    order = "<" if data[:4] in (b"\xd4\xc3\xb2\xa1", b"\x4d\x3c\xb2\xa1") else ">"
    at = 24
    while at + 16 <= len(data):
        length = struct.unpack_from(order + "I", data, at + 8)[0]
        frame = data[at + 16:at + 16 + length]
        if len(frame) < length:
            return
        at += 16 + length
        if len(frame) >= 56 and frame[12:14] == b"\x86\xdd":
            yield frame[14:]


class Train:
    """Probes that travel together, and the packets behind them that tell when all of them have had their time.

    `places` names, for each wire, an address behind it ("there") and the gateway's own address on it ("here"), and,
    when an echo request to that one is not answered in any way, an address for which it is ("back").
    """

    def __init__(self, prober, places):
        self.prober = prober
        self.places = places

    def closing(self, origin):
        """Packets of which one must show up on each wire and in the gateway: {where: probe}. Echo replies pass
        every chain of the ruleset; an echo request brings something back to the wire that it came from."""
        source = self.places[origin]["there"]

        def reply(destination):
            return Probe("closing", origin, source, destination, icmp(129, ident=7))
        found = {wire: reply(self.places[wire]["there"]) for wire in self.prober.wires
                 if wire != origin}
        found["gateway"] = reply(self.places[origin]["here"])
        found[origin] = Probe("closing", origin, source, self.places[origin].get("back", self.places[origin]["here"]),
                              icmp(128, ident=7))
        return found

    def came_back(self, probe, sightings):
        return any(each[0] == probe.origin and each[1] != frames.packed(probe.source) for each in sightings)

    def close(self, origin):
        """Returns when everything that was sent from a wire before has either shown up or never will: on every way out
        of the gateway something that was sent later has been seen."""
        closing = self.closing(origin)

        def probe():
            self.prober.send(list(closing.values()))
            wait_for(all_seen, 3)

        def all_seen():
            seen, own = self.prober.sightings(), self.prober.own_addresses()
            for where, each in closing.items():
                sightings = seen.get(each.mark, ())
                if where == origin:
                    need(self.came_back(each, sightings), f"nothing came back to {origin}")
                else:
                    wanted = DELIVERED if where == "gateway" else forwarded(where)
                    need(verdict(each, sightings, own) == wanted, f"the packet from {origin} to {where} is not seen")
        wait_for(probe, 30)

    def run(self, probes):
        """Sends the probes, wire by wire, and returns {title: verdict}."""
        for origin in self.prober.wires:
            mine = [probe for probe in probes if probe.origin == origin]
            if mine:
                self.prober.send(mine)
                self.close(origin)
        return self.prober.verdicts(probes)

    def keep(self, name, verdicts):
        """Leaves the verdicts beside the captures, for a person to read."""
        (self.prober.gw.out / name).write_text(json.dumps(verdicts, indent=1) + "\n", encoding="utf-8")


def tcp(port, **options):
    return lambda source, destination, mark: frames.tcp(source, destination, mark, port, **options)


def udp(port, **options):
    return lambda source, destination, mark: frames.udp(source, destination, mark, port, **options)


def icmp(kind, **options):
    return lambda source, destination, mark: frames.icmp(source, destination, mark, kind, **options)

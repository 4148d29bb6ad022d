"""Reads capture files: Ethernet, IPv6, and of ICMPv6, UDP and TCP what the lab asserts on."""
import ipaddress
import struct
from dataclasses import dataclass, field

DHCP_TYPES = {1: "SOLICIT", 2: "ADVERTISE", 3: "REQUEST", 4: "CONFIRM", 5: "RENEW", 6: "REBIND", 7: "REPLY",
              8: "RELEASE", 9: "DECLINE", 10: "RECONFIGURE", 11: "INFORMATION-REQUEST"}
OPTION_CLIENT_ID, OPTION_SERVER_ID, OPTION_IA_NA, OPTION_ORO = 1, 2, 3, 6
OPTION_STATUS, OPTION_DNS, OPTION_DOMAINS, OPTION_IA_PD = 13, 23, 24, 25


@dataclass
class Packet:
    time: float
    source: str
    destination: str
    protocol: int
    payload: bytes
    source_mac: str = ""

    def ports(self):
        return struct.unpack_from("!HH", self.payload) if self.protocol in (6, 17) and len(self.payload) >= 4 else None


@dataclass
class Advertisement:
    """A router advertisement (RFC 4861, RFC 8106)."""
    time: float
    source: str
    destination: str
    hop_limit: int
    managed: bool
    other: bool
    lifetime: int
    mtu: int | None = None
    prefixes: list = field(default_factory=list)      # (network, on link, autonomous, valid, preferred)
    servers: list = field(default_factory=list)       # (address, lifetime)
    domains: list = field(default_factory=list)       # (name, lifetime)


@dataclass
class DhcpMessage:
    """A DHCPv6 message (RFC 8415)."""
    time: float
    source: str
    destination: str
    kind: str
    transaction: int
    client_id: str = ""                               # octets in hexadecimal, colons between them
    server_id: str = ""                               # likewise
    requested: list = field(default_factory=list)     # option numbers of the option request
    has_ia_na: bool = False
    has_ia_pd: bool = False
    addresses: list = field(default_factory=list)     # (address, preferred, valid)
    prefixes: list = field(default_factory=list)      # (network, preferred, valid)
    servers: list = field(default_factory=list)
    domains: list = field(default_factory=list)
    statuses: list = field(default_factory=list)      # (code, text) at any depth


def read_packets(path):
    """IPv6 packets of a capture file, in its order. A record that is still being written is left out."""
    try:
        with open(path, "rb") as file:
            data = file.read()
    except OSError:
        return []
    if len(data) < 24:
        return []
    order = "<" if data[:4] in (b"\xd4\xc3\xb2\xa1", b"\x4d\x3c\xb2\xa1") else ">"
    scale = 1e-9 if data[:4] in (b"\x4d\x3c\xb2\xa1", b"\xa1\xb2\x3c\x4d") else 1e-6
    found, at = [], 24
    while at + 16 <= len(data):
        seconds, part, length, _ = struct.unpack_from(order + "IIII", data, at)
        frame = data[at + 16:at + 16 + length]
        if len(frame) < length:
            break
        at += 16 + length
        packet = ipv6_packet(seconds + part * scale, frame)
        if packet:
            found.append(packet)
    return found


def ipv6_packet(time, frame):
    if len(frame) < 54 or frame[12:14] != b"\x86\xdd":
        return None
    following, at = frame[20], 54
    while following in (0, 43, 60) and at + 8 <= len(frame):      # hop-by-hop, routing, destination options
        following, at = frame[at], at + 8 + 8 * frame[at + 1]
    return Packet(time, str(ipaddress.ip_address(frame[22:38])), str(ipaddress.ip_address(frame[38:54])), following,
                  frame[at:], frame[6:12].hex(":"))


def names(data):
    """Domain names in their uncompressed wire form; padding is skipped."""
    found, labels, at = [], [], 0
    while at < len(data):
        length = data[at]
        if length == 0:
            if labels:
                found.append(".".join(labels))
            labels = []
        labels += [data[at + 1:at + 1 + length].decode("ascii", "replace")] if length else []
        at += 1 + length
    return found


def advertisements(packets):
    return [read_advertisement(packet) for packet in packets
            if packet.protocol == 58 and packet.payload[:1] == b"\x86" and len(packet.payload) >= 16]


def solicitations(packets):
    return [packet for packet in packets if packet.protocol == 58 and packet.payload[:1] == b"\x85"]


def read_advertisement(packet):
    body = packet.payload
    found = Advertisement(packet.time, packet.source, packet.destination, body[4], bool(body[5] & 0x80),
                          bool(body[5] & 0x40), struct.unpack_from("!H", body, 6)[0])
    at = 16
    while at + 8 <= len(body) and body[at + 1]:
        kind, size = body[at], body[at + 1] * 8
        option = body[at:at + size]
        if kind == 3:
            valid, preferred = struct.unpack_from("!II", option, 4)
            network = ipaddress.ip_network((option[16:32], option[2]), strict=False)
            found.prefixes.append((str(network), bool(option[3] & 0x80), bool(option[3] & 0x40), valid, preferred))
        elif kind == 5:
            found.mtu = struct.unpack_from("!I", option, 4)[0]
        elif kind == 25:
            lifetime = struct.unpack_from("!I", option, 4)[0]
            found.servers += [(str(ipaddress.ip_address(option[start:start + 16])), lifetime)
                              for start in range(8, size, 16)]
        elif kind == 31:
            lifetime = struct.unpack_from("!I", option, 4)[0]
            found.domains += [(name, lifetime) for name in names(option[8:])]
        at += size
    return found


def options(data):
    at = 0
    while at + 4 <= len(data):
        code, length = struct.unpack_from("!HH", data, at)
        yield code, data[at + 4:at + 4 + length]
        at += 4 + length


def dhcp_messages(packets):
    found = []
    for packet in packets:
        if packet.ports() and packet.protocol == 17 and {546, 547} & set(packet.ports()):
            data = packet.payload[8:]
            if len(data) >= 4 and data[0] in DHCP_TYPES:
                found.append(read_dhcp(packet, data))
    return found


def read_dhcp(packet, data):
    message = DhcpMessage(packet.time, packet.source, packet.destination, DHCP_TYPES[data[0]],
                          int.from_bytes(data[1:4], "big"))
    for code, value in options(data[4:]):
        if code == OPTION_CLIENT_ID:
            message.client_id = value.hex(":")
        elif code == OPTION_SERVER_ID:
            message.server_id = value.hex(":")
        elif code == OPTION_ORO:
            message.requested = list(struct.unpack(f"!{len(value) // 2}H", value))
        elif code == OPTION_DNS:
            message.servers = [str(ipaddress.ip_address(value[at:at + 16])) for at in range(0, len(value), 16)]
        elif code == OPTION_DOMAINS:
            message.domains = names(value)
        elif code == OPTION_STATUS:
            message.statuses.append((int.from_bytes(value[:2], "big"), value[2:].decode("utf-8", "replace")))
        elif code in (OPTION_IA_NA, OPTION_IA_PD):
            read_association(message, code, value)
    return message


def read_association(message, code, value):
    message.has_ia_na |= code == OPTION_IA_NA
    message.has_ia_pd |= code == OPTION_IA_PD
    for inner, part in options(value[12:]):
        if inner == 5 and len(part) >= 24:
            preferred, valid = struct.unpack_from("!II", part, 16)
            message.addresses.append((str(ipaddress.ip_address(part[:16])), preferred, valid))
        elif inner == 26 and len(part) >= 25:
            preferred, valid = struct.unpack_from("!II", part)
            message.prefixes.append((str(ipaddress.ip_network((part[9:25], part[8]), strict=False)), preferred, valid))
        elif inner == OPTION_STATUS:
            message.statuses.append((int.from_bytes(part[:2], "big"), part[2:].decode("utf-8", "replace")))

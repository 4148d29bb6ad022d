"""Ethernet frames with IPv6 packets, octet by octet: also those that no ordinary sender would send."""
import ipaddress
import struct

HOP_BY_HOP, TCP, UDP, ROUTING, ICMP = 0, 6, 17, 43, 58
SYN, ACK = 0x02, 0x10
MARK_LENGTH = 12            # octets of the text by which a probe is known again, wherever it is found


def packed(address):
    return ipaddress.ip_address(address).packed


def checksum(data):
    if len(data) % 2:
        data += b"\0"
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xffff) + (total >> 16)
    return ~total & 0xffff


def summed(source, destination, protocol, data, at):
    """`data` with the checksum of the upper layer (RFC 8200, section 8.1) at offset `at`, where it holds zeros."""
    pseudo = packed(source) + packed(destination) + struct.pack("!II", len(data), protocol)
    value = checksum(pseudo + data)
    if protocol == UDP and value == 0:
        value = 0xffff
    return data[:at] + struct.pack("!H", value) + data[at + 2:]


def tcp(source, destination, mark, port, *, sport=40000, flags=SYN):
    data = struct.pack("!HHIIBBHHH", sport, port, 1000, 2000 if flags & ACK else 0, 5 << 4, flags, 64000, 0, 0) + mark
    return TCP, summed(source, destination, TCP, data, 16)


def udp(source, destination, mark, port, *, sport=40000):
    data = struct.pack("!HHHH", sport, port, 8 + len(mark), 0) + mark
    return UDP, summed(source, destination, UDP, data, 6)


def icmp(source, destination, mark, kind, *, code=0, ident=1):
    """An ICMPv6 message of that type, well formed, with the mark in a place where it harms nothing."""
    return ICMP, summed(source, destination, ICMP, struct.pack("!BBH", kind, code, 0)
                        + icmp_body(source, destination, mark, kind, ident), 2)


def icmp_body(source, destination, mark, kind, ident):
    if kind in (1, 2, 3, 4):
        # An error about a packet that was never sent: its receiver knows of no such connection.
        protocol, quoted = udp(destination, source, mark, 9, sport=ident)
        return struct.pack("!I", 1280 if kind == 2 else 0) + header(destination, source, protocol, len(quoted)) + quoted
    if kind in (128, 129):
        return struct.pack("!HH", ident, 1) + mark
    if kind in (130, 131, 132):
        return struct.pack("!HH", 10000 if kind == 130 else 0, 0) + packed("::" if kind == 130 else "ff0e::99") + mark
    if kind == 143:
        return struct.pack("!HH", 0, 1) + struct.pack("!BBH", 2, 0, 0) + packed("ff0e::99") + mark
    option = struct.pack("!BB", 253, 2) + mark + b"\0\0"      # a neighbor discovery option for experiments: ignored
    if kind == 133:
        return bytes(4) + option
    if kind == 134:
        return bytes(12) + option                            # lifetime 0: it names no default router
    if kind in (135, 136):
        return bytes(4) + packed(source if kind == 136 else destination) + option
    if kind == 137:
        return bytes(4) + packed(source) + packed(source) + option
    return mark                                              # 151 to 153, multicast router discovery


def header(source, destination, following, length, hops=64):
    return struct.pack("!IHBB", 6 << 28, length, following, hops) + packed(source) + packed(destination)


def routed(kind, following, via, left):
    """A routing header (RFC 8200, section 4.4) of that type with one address, still to go to when `left` is 1."""
    return struct.pack("!BBBBI", following, 2, kind, left, 0) + packed(via)


def ethernet(own_mac, router_mac, destination, packet):
    address = ipaddress.ip_address(destination)
    mac = b"\x33\x33" + address.packed[12:] if address.is_multicast else bytes.fromhex(router_mac.replace(":", ""))
    return mac + bytes.fromhex(own_mac.replace(":", "")) + b"\x86\xdd" + packet


def whole(source, destination, payload, *, hops=64, routing=None, alert=False):
    """The IPv6 packet of a payload (protocol, octets). `routing` is (type, address, segments left) of a routing header;
    `alert` puts the router alert of multicast listener discovery (RFC 2711) before it."""
    following, data = payload
    if routing:
        kind, via, left = routing
        data = routed(kind, following, via, left) + data
        following = ROUTING
    if alert:
        data = struct.pack("!BB", following, 0) + bytes((5, 2, 0, 0, 1, 0)) + data
        following = HOP_BY_HOP
    return header(source, destination, following, len(data), hops) + data

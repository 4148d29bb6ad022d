"""Prints what the kernel notes of the advertisements on an interface: PROGRAM INTERFACE, inside a node.

The number is rtnetlink's IFLA_INET6_FLAGS: 0x10 a solicitation was sent, 0x20 an advertisement came after it, 0x40 its
Managed flag, 0x80 its Other flag. No tool of the base system shows it.
"""
import socket
import struct
import sys

RTM_GETLINK = 18
NLM_F_REQUEST = 1
IFLA_AF_SPEC = 26
IFLA_INET6_FLAGS = 1


def attributes(data):
    at = 0
    while at + 4 <= len(data):
        length, kind = struct.unpack_from("=HH", data, at)
        if length < 4:
            return
        yield kind & 0x3fff, data[at + 4:at + length]
        at += (length + 3) & ~3


def flags_of(interface):
    index = socket.if_nametoindex(interface)
    with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE) as sock:
        sock.settimeout(5)
        link = struct.pack("=BxHiII", socket.AF_UNSPEC, 0, index, 0, 0)
        sock.send(struct.pack("=IHHII", 16 + len(link), RTM_GETLINK, NLM_F_REQUEST, 1, 0) + link)
        answer = sock.recv(65536)
    for kind, value in attributes(answer[32:]):
        if kind == IFLA_AF_SPEC:
            families = dict(attributes(value))
            return struct.unpack("=I", dict(attributes(families[socket.AF_INET6]))[IFLA_INET6_FLAGS])[0]
    raise LookupError(f"no IPv6 on {interface}")


if __name__ == "__main__":
    print(f"{flags_of(sys.argv[1]):#x}")

"""Static IPv6 multicast routes: PROGRAM SOURCE,GROUP,FROM,TO[,TO]..., inside a router's node, until it is ended.

The kernel forwards multicast only for the one process that holds its multicast routing socket, which on the device is
the multicast proxy. This one holds it and enters the routes that it is told: packets of SOURCE to GROUP that come in on
the interface FROM go out on each TO.
"""
import signal
import socket
import struct
import sys

MRT6_INIT, MRT6_ADD_MIF, MRT6_ADD_MFC = 200, 202, 204       # linux/mroute6.h


def address(text):
    return struct.pack("=HHI16sI", socket.AF_INET6, 0, 0, socket.inet_pton(socket.AF_INET6, text), 0)


def main():
    routes = [text.split(",") for text in sys.argv[1:]]
    names = sorted({name for _, _, *interfaces in routes for name in interfaces})
    sock = socket.socket(socket.AF_INET6, socket.SOCK_RAW, socket.IPPROTO_ICMPV6)
    sock.setsockopt(socket.IPPROTO_IPV6, MRT6_INIT, 1)
    for number, name in enumerate(names):
        record = struct.pack("=HBBHxxI", number, 0, 1, socket.if_nametoindex(name), 0)
        sock.setsockopt(socket.IPPROTO_IPV6, MRT6_ADD_MIF, record)
    for source, group, come, *go in routes:
        outgoing = sum(1 << names.index(name) for name in go)
        route = address(source) + address(group) + struct.pack("=Hxx8I", names.index(come), outgoing, *[0] * 7)
        sock.setsockopt(socket.IPPROTO_IPV6, MRT6_ADD_MFC, route)
    print("routes", flush=True)
    signal.pause()


if __name__ == "__main__":
    main()

"""Prints what has come in past a node's packet filter: PROGRAM GROUP%INTERFACE..., inside the node.

A raw socket is handed every packet for the node itself right behind its INPUT chain, before any daemon and whether or
not somebody listens. A line for each: the protocol's number, the sender, and the octets behind the IPv6 headers. The
groups are joined, since packets to a group that nobody has joined do not come as far as the packet filter.
"""
import select
import socket
import sys

TCP, UDP, ICMP = socket.IPPROTO_TCP, socket.IPPROTO_UDP, socket.IPPROTO_ICMPV6


def listen(protocol):
    sock = socket.socket(socket.AF_INET6, socket.SOCK_RAW, protocol)
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
    sock.setblocking(False)
    return sock


def join(sock, text):
    group, _, interface = text.partition("%")
    index = socket.if_nametoindex(interface).to_bytes(4, sys.byteorder)
    sock.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_JOIN_GROUP, socket.inet_pton(socket.AF_INET6, group) + index)


def take(sock):
    """The next packet of a socket as a line, or None."""
    try:
        data, peer = sock.recvfrom(4096)
    except BlockingIOError:
        return None
    return f"{sock.proto} {peer[0].partition('%')[0]} {data.hex()}"


def main():
    sockets = {protocol: listen(protocol) for protocol in (TCP, UDP, ICMP)}
    member = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM)
    for text in sys.argv[1:]:
        join(member, text)
    print("listens", flush=True)
    while True:
        select.select(list(sockets.values()), [], [])
        last = take(sockets[ICMP])
        # Whatever came before this ICMPv6 packet is told before it, so that it can close a train of packets.
        for protocol in (TCP, UDP):
            while line := take(sockets[protocol]):
                print(line)
        if last:
            print(last)
        sys.stdout.flush()


if __name__ == "__main__":
    main()

"""Tells each change of the IPv6 addresses of a node, the moment it happens: PROGRAM, inside the node.

A line a change, a JSON object {"t": seconds of the wall clock, "interface", "address", "state"}; the state is one of
"tentative" (duplicate address detection goes on), "usable", "duplicate" and "gone". The kernel sends no message when an
address becomes tentative, but it does for what comes with it (the prefix of an advertisement, a route), so that any of
these messages (linux/rtnetlink.h) leads to a look at all addresses.
"""
import json
import socket
import struct
import time

RTM_NEWADDR, RTM_GETADDR = 20, 22
NLMSG_DONE = 3
NLM_F_REQUEST, NLM_F_DUMP = 0x1, 0x300
IFA_ADDRESS, IFA_FLAGS = 1, 8
DADFAILED, TENTATIVE = 0x08, 0x40
GROUPS = (9, 11, 18)                # RTNLGRP_IPV6_IFADDR, RTNLGRP_IPV6_ROUTE, RTNLGRP_IPV6_PREFIX
SOL_NETLINK, ADD_MEMBERSHIP = 270, 1


def messages(data):
    """(kind, body) of each message of a datagram (struct nlmsghdr)."""
    at = 0
    while at + 16 <= len(data):
        length, kind = struct.unpack_from("=IH", data, at)
        if length < 16:
            return
        yield kind, data[at + 16:at + length]
        at += (length + 3) & ~3


def attributes(data):
    """{kind: value} (struct rtattr)."""
    found, at = {}, 0
    while at + 4 <= len(data):
        length, kind = struct.unpack_from("=HH", data, at)
        if length < 4:
            break
        found[kind] = data[at + 4:at + length]
        at += (length + 3) & ~3
    return found


def ask_addresses(sock):
    """{(interface, address): state} of this moment."""
    flags = NLM_F_REQUEST | NLM_F_DUMP
    sock.send(struct.pack("=IHHIIBBBBI", 24, RTM_GETADDR, flags, 1, 0, socket.AF_INET6, 0, 0, 0, 0))
    found = {}
    while True:
        for kind, body in messages(sock.recv(1 << 16)):
            if kind == NLMSG_DONE:
                return found
            if kind != RTM_NEWADDR:
                continue
            _, _, flags, _, index = struct.unpack_from("=BBBBI", body)
            values = attributes(body[8:])
            if IFA_FLAGS in values:
                flags, = struct.unpack("=I", values[IFA_FLAGS])
            state = "duplicate" if flags & DADFAILED else "tentative" if flags & TENTATIVE else "usable"
            try:
                name = socket.if_indextoname(index)
            except OSError:         # it went away while we looked
                continue
            found[name, socket.inet_ntop(socket.AF_INET6, values[IFA_ADDRESS])] = state


def main():
    news = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE)
    news.bind((0, 0))
    for group in GROUPS:
        news.setsockopt(SOL_NETLINK, ADD_MEMBERSHIP, group)
    questions = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE)
    known, now = {}, time.time()
    while True:
        seen = ask_addresses(questions)
        for place in known.keys() | seen.keys():
            state = seen.get(place, "gone")
            if state != known.get(place):
                print(json.dumps({"t": now, "interface": place[0], "address": place[1], "state": state}), flush=True)
        known = seen
        try:
            news.recv(1 << 16)
        except OSError:             # more messages than the socket holds: the look that follows makes up for them
            pass
        now = time.time()


if __name__ == "__main__":
    main()

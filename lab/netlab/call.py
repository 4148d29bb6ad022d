"""Calls a server: PROGRAM tcp|udp|icmp ADDRESS PORT PATIENCE. Prints its answer and, after "from", the own address.

Status 0 when answered, 1 when refused (or not sent at all), 2 when nothing came.
"""
import os
import socket
import struct
import sys
import time

ECHO_REQUEST, ECHO_REPLY = 128, 129


def over_tcp(address, port, patience):
    with socket.socket(socket.AF_INET6, socket.SOCK_STREAM) as sock:
        sock.settimeout(patience)
        sock.connect((address, port))
        return sock.recv(200).decode().strip(), sock.getsockname()[0]


def over_udp(address, port, patience):
    with socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) as sock:
        sock.settimeout(patience)
        sock.connect((address, port))
        sock.send(b"hello\n")
        return sock.recv(200).decode().strip(), sock.getsockname()[0]


def echo(address, _, patience):
    with socket.socket(socket.AF_INET6, socket.SOCK_RAW, socket.IPPROTO_ICMPV6) as sock:
        sock.connect((address, 0))
        mark = struct.pack("!HH", os.getpid() & 0xffff, 1) + b"ipv6ctl lab"
        sock.send(struct.pack("!BBH", ECHO_REQUEST, 0, 0) + mark)     # the kernel fills the checksum in
        deadline = time.monotonic() + patience
        while True:
            sock.settimeout(max(0.01, deadline - time.monotonic()))
            reply = sock.recv(200)
            if reply[0] == ECHO_REPLY and reply[4:] == mark:
                return f"echo reply of {len(reply)} octets", sock.getsockname()[0]
            if time.monotonic() > deadline:
                raise TimeoutError


def main():
    protocol, address, port, patience = sys.argv[1], sys.argv[2], int(sys.argv[3]), float(sys.argv[4])
    try:
        said, own = {"tcp": over_tcp, "udp": over_udp, "icmp": echo}[protocol](address, port, patience)
    except TimeoutError:
        print("no answer")
        return 2
    except OSError as error:
        print(error.strerror)
        return 1
    print(said, "from", own)
    return 0


if __name__ == "__main__":
    sys.exit(main())

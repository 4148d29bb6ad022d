"""A small public server: tells each caller over TCP or UDP the address that it was seen from, and logs the call."""
import argparse
import json
import selectors
import socket
import time


def listen(kind, address, port):
    sock = socket.socket(socket.AF_INET6, kind)
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    sock.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
    sock.bind((address, port))
    if kind == socket.SOCK_STREAM:
        sock.listen()
    return sock


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--address", default="::")
    parser.add_argument("--tcp", type=int, action="append", default=[])
    parser.add_argument("--udp", type=int, action="append", default=[])
    parser.add_argument("--log", required=True)
    options = parser.parse_args()
    selector = selectors.DefaultSelector()
    for port in options.tcp:
        selector.register(listen(socket.SOCK_STREAM, options.address, port), selectors.EVENT_READ, ("tcp", port))
    for port in options.udp:
        selector.register(listen(socket.SOCK_DGRAM, options.address, port), selectors.EVENT_READ, ("udp", port))
    with open(options.log, "a", encoding="utf-8", buffering=1) as log:
        while True:
            for key, _ in selector.select():
                protocol, port = key.data
                try:
                    if protocol == "tcp":
                        connection, peer = key.fileobj.accept()
                        with connection:
                            connection.sendall(f"you are {peer[0]}\n".encode())
                    else:
                        _, peer = key.fileobj.recvfrom(2048)
                        key.fileobj.sendto(f"you are {peer[0]}\n".encode(), peer)
                except OSError as error:
                    print(f"{protocol} {port}: {error}", flush=True)
                    continue
                log.write(json.dumps({"time": time.time(), "protocol": protocol, "port": port, "from": peer[0]}) + "\n")


if __name__ == "__main__":
    main()

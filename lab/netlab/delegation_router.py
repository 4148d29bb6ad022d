"""Keeps the provider's routes to delegated prefixes: PROGRAM FILE INTERFACE [NEXT-HOP], inside the provider's node.

An access router that relays DHCPv6 learns the route to a delegated prefix from the Reply that passes through it, and
takes the client's link-local address as the next hop. Here the server itself is on the line, so the same is read from
what it logs: each Reply that it sends, with the prefixes in it, and each release, decline and expiry. Kea's lease file
(.csv) serves as well; it does not tell the client's link-local address, so that is given as NEXT-HOP.
"""
import re
import subprocess
import sys
import time

PREFIX = r"(?P<prefix>[0-9a-f:]+/\d+)"
GRANTED = re.compile(rf"Reply PD: address {PREFIX} to client with duid .* valid for (?P<valid>\d+) seconds")
SENT = re.compile(r"Sending Reply to (?P<hop>fe80:[0-9a-f:]+) port \d+")
ENDED = re.compile(rf"Client .* releases prefix {PREFIX}(?!.*not leased)")


def ip(*argv):
    print("ip -6", *argv, flush=True)
    subprocess.run(["ip", "-6", *argv], check=False)


class Routes:
    def __init__(self, interface, hop=None):
        self.interface, self.hop = interface, hop
        self.granted = []      # prefixes of the Reply that is being composed
        self.ends = {}         # prefix -> when its lifetime ends

    def hear(self, line):
        if match := GRANTED.search(line):
            self.granted.append((match["prefix"], int(match["valid"])))
        elif match := SENT.search(line):
            for prefix, valid in self.granted:
                ip("route", "replace", prefix, "via", match["hop"], "dev", self.interface)
                self.ends[prefix] = time.monotonic() + valid
            self.granted = []
        elif match := ENDED.search(line):
            self.drop(match["prefix"])

    def hear_kea(self, line):
        words = line.split(",")
        if len(words) < 14 or words[6] != "2":       # anything but a delegated prefix
            return
        prefix = f"{words[0]}/{words[8]}"
        if words[2] == "0":
            self.drop(prefix)
        else:
            ip("route", "replace", prefix, "via", self.hop, "dev", self.interface)
            self.ends[prefix] = time.monotonic() + int(words[2])

    def drop(self, prefix):
        if self.ends.pop(prefix, None) is not None:
            ip("route", "del", prefix, "dev", self.interface)

    def expire(self):
        for prefix in [prefix for prefix, end in self.ends.items() if end <= time.monotonic()]:
            self.drop(prefix)


def main():
    routes = Routes(*sys.argv[2:])
    hear = routes.hear_kea if sys.argv[1].endswith(".csv") else routes.hear
    rest = ""
    with open(sys.argv[1], encoding="utf-8", errors="replace") as log:
        while True:
            rest += log.read()
            *lines, rest = rest.split("\n")
            for line in lines:
                hear(line)
            routes.expire()
            time.sleep(0.1)


if __name__ == "__main__":
    main()

"""Where the time between two moments went: spans laid over each other, of which at each instant one counts."""
from dataclasses import dataclass

# The kinds, the one that counts first where several lie over each other: a program that waits does so inside the run
# that ordered it, and what nothing lies over is the remainder.
ORDER = ("pause", "program", "own", "detection")
KINDS = {
    "client": "the DHCPv6 client and its script; systemd-networkd as a whole",
    "detection": "the kernel looks for duplicates of the gateway's own new addresses",
    "pause": "pauses of ipv6ctl, each ordered by a rule of the device",
    "program": "external programs: the shell lines of ipv6ctl, the hook of dhcpcd",
    "own": "ipv6ctl itself: what else its runs took, loading included",
    "daemon": "the advertising daemon, from its start to the advertisement",
    "host": "the host, from the advertisement to a tentative address",
    "host detection": "the host's kernel looks for duplicates, then the address is usable",
}


@dataclass
class Part:
    """A span of time and what it was spent on; `name` tells parts of one kind apart."""
    kind: str
    name: str
    begin: float
    end: float

    @property
    def seconds(self):
        return self.end - self.begin


def split(parts, begin, end, rest):
    """The parts of [begin, end] without overlap, in their order, that together are exactly that long. What no part
    covers is a part of the kind and name `rest`."""
    moments = [moment for part in parts for moment in (part.begin, part.end)]
    edges = sorted({begin, end, *(moment for moment in moments if begin < moment < end)})
    found = []
    for at, following in zip(edges, edges[1:]):
        over = [part for part in parts if part.begin <= at and part.end >= following]
        kind, name = min(((part.kind, part.name) for part in over), key=lambda each: ORDER.index(each[0]), default=rest)
        if found and (found[-1].kind, found[-1].name) == (kind, name):
            found[-1].end = following
        else:
            found.append(Part(kind, name, at, following))
    return found


def seconds_by(parts, key):
    """{key(part): seconds}, in the order in which the keys came first."""
    found = {}
    for part in parts:
        found[key(part)] = found.get(key(part), 0.0) + part.seconds
    return found

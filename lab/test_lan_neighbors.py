"""The neighbor table: hosts that come, change their link-layer address and go, and entries that grow old."""
import math
import re

import pytest
from netlab import prefixes, traffic
from netlab.gateway import BRIDGES
from netlab.host import INTERFACE
from netlab.node import PYTHON

TABLE, SHOWN = "/tmp/.ip6_neigh", "/tmp/.ip6_neigh_show"
LINE = re.compile(r"^(\S+) dev (\S+) lladdr (\S+) uptime (\d+)$")
OLD = 600           # seconds


class Tracker:
    """Runs the tracking as if at another uptime: in a time namespace whose boot was longer ago. The clock is shifted,
    the program and its limit are as they are."""

    def __init__(self, lab):
        self.lab = lab

    def uptime(self):
        """As the program is told it: in seconds, a begun one counted whole."""
        return math.ceil(float(self.lab.gw.must("cat", "/proc/uptime").split()[0]))

    def run(self, at=None):
        """Returns the uptime that the run saw, and its table: {(address, device, link-layer address): last seen}."""
        offset = 0 if at is None else at - self.uptime()
        self.lab.note(f"gw# zel_ip6neigh_update, uptime shifted by {offset} s")
        done = self.lab.gw.run("unshare", "-T", "--boottime", str(offset), "/usr/sbin/zel_ip6neigh_update")
        assert done.returncode == 1, done.stderr
        runs = re.findall(r"^\[zel_ip6neigh_update\]\[(\d+)\] 4, hs_count (\d+)\.$", self.lab.gw.log(), re.M)
        table = self.table()
        assert int(runs[-1][1]) == len(table)
        return max([*table.values(), 0]), table

    def exactly(self, at):
        """The same at exactly that uptime: the table is put back and the run done again when a second has passed in
        between."""
        before = self.lab.gw.read(TABLE)

        def probe():
            self.lab.gw.path(TABLE).write_text(before, encoding="utf-8")
            now, table = self.run(at)
            return now == at and table
        return self.lab.until(f"a run falls on the uptime {at}", probe)

    def table(self):
        lines = self.lab.gw.read(TABLE).splitlines()
        matches = [LINE.match(line) for line in lines]
        assert all(matches), lines
        found = {match.groups()[:3]: int(match[4]) for match in matches}
        assert len(found) == len(lines)
        return found

    def shown(self):
        """The kernel's lines that the last run saw."""
        return self.lab.gw.read(SHOWN).splitlines()


class Guest:
    """A host on LAN0 with an address of its own choice, which it keeps when its link-layer address changes."""

    def __init__(self, lab, identifier):
        self.lab = lab
        network = prefixes.unique_local(lab.get("ip6_ula_gid@lan0"), lab.get("ip6_ula_sid@lan0"))
        self.address = str(network[identifier])
        self.bridge = str(prefixes.eui64(network, lab.gw.mac(BRIDGES[0])))
        self.node = lab.lab.add_host(f"guest{identifier}", lan=0)
        self.appear(self.node.mac(INTERFACE))

    def appear(self, mac):
        """Is on the wire with that link-layer address, and talks to the gateway."""
        self.node.must("ip", "link", "set", INTERFACE, "down")
        self.node.must("ip", "link", "set", INTERFACE, "address", mac)
        self.node.must("ip", "link", "set", INTERFACE, "up")
        self.node.must("ip", "-6", "addr", "replace", f"{self.address}/64", "dev", INTERFACE, "nodad")

        def talks():
            self.talk()
            return self.known_as(mac)
        self.lab.until("the gateway knows the guest", talks)

    def talk(self):
        script = ("import socket, sys; s = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM); "
                  "s.bind((sys.argv[1], 0)); s.sendto(b'x', (sys.argv[2], 9))")
        self.node.must(PYTHON, "-c", script, self.address, self.bridge)

    def kernel_line(self):
        lines = self.lab.gw.must("ip", "-6", "neigh", "show", self.address, "dev", BRIDGES[0]).splitlines()
        return lines[0] if lines else ""

    def known_as(self, mac):
        return f"lladdr {mac} " in self.kernel_line()

    def key(self, mac):
        return (self.address, BRIDGES[0], mac)

    def leave(self):
        self.node.must("ip", "link", "set", INTERFACE, "down")


@pytest.fixture(scope="module")
def lab(shared_lab_with):
    lab = shared_lab_with()
    lab.start_lans()
    for number, host in enumerate(lab.hosts):
        network = prefixes.unique_local(lab.get(f"ip6_ula_gid@lan{number}"), lab.get(f"ip6_ula_sid@lan{number}"))
        bridge = str(prefixes.eui64(network, lab.gw.mac(BRIDGES[number])))
        lab.until("the host has its address", lambda: host.address_in(network))
        lab.settles(lambda: traffic.call(host, "icmp", bridge, 0, 3)[0], traffic.ANSWERED)
    return lab


@pytest.fixture
def tracker(lab):
    # Runs of another test may have been at a later uptime than there is now; their entries would never grow old.
    lab.gw.path(TABLE).unlink(missing_ok=True)
    return Tracker(lab)


def test_the_device_runs_the_tracking_every_minute(lab):
    """The LANs' start registers the tracking with cron"""
    assert "*/1 * * * * /usr/sbin/zel_ip6neigh_update" in lab.gw.read("/etc/crontabs/root").splitlines()


def test_hosts_of_both_lans_are_in_the_table(lab, tracker):
    """Hosts that have talked are in the table with address, bridge, link-layer address and the uptime of the run"""
    before = tracker.uptime()
    now, table = tracker.run()
    assert before <= now <= tracker.uptime()
    for number, host in enumerate(lab.hosts):
        mine = [key for key in table if key[1:] == (BRIDGES[number], host.mac(INTERFACE))]
        assert mine and all(table[key] == now for key in mine)
        addresses = [entry["local"] for entry in host.addresses(INTERFACE)]
        assert all(key[0] in addresses for key in mine)


def test_a_host_comes_changes_its_address_of_the_link_and_goes(lab, tracker):
    """A guest comes, changes its MAC (two entries), goes; the old entry is dropped when it is 600 s old"""
    guest = Guest(lab, 0x77)
    first, second = guest.node.mac(INTERFACE), "02:00:00:00:77:77"
    came, table = tracker.run()
    assert table[guest.key(first)] == came

    guest.appear(second)
    changed, table = tracker.run(came + 300)
    assert changed > came
    assert (table[guest.key(first)], table[guest.key(second)]) == (came, changed)
    assert guest.key(first) in tracker.exactly(came + OLD - 1)
    assert guest.key(first) not in tracker.exactly(came + OLD)

    # Gone from the wire, but the kernel goes on listing whom nobody asks for: such an entry does not grow old. (Half a
    # minute without a word makes it stale by itself.)
    guest.leave()
    lab.gw.must("ip", "-6", "neigh", "change", guest.address, "dev", BRIDGES[0], "nud", "stale")
    later, table = tracker.run(came + 10 * OLD)
    assert "STALE" in guest.kernel_line()
    assert table[guest.key(second)] == later

    # Out of the kernel's table it does.
    lab.gw.must("ip", "-6", "neigh", "del", guest.address, "dev", BRIDGES[0])
    assert tracker.exactly(later + OLD - 1)[guest.key(second)] == later
    assert guest.key(second) not in tracker.exactly(later + OLD)


def test_a_neighbor_without_a_link_layer_address_takes_that_of_the_line_before(lab, tracker):
    """Whom the gateway asked for in vain gets the link-layer address of the neighbor listed before it"""
    guest = Guest(lab, 0x66)
    absent = guest.address[:-2] + "99"
    guest.leave()

    def run_while_it_is_listed():
        """The kernel forgets such a neighbor at any moment when all namespaces together have more than 128."""
        traffic.call(lab.gw, "icmp", absent, 0, 1)
        if "FAILED" not in lab.gw.must("ip", "-6", "neigh", "show", absent, "dev", BRIDGES[0]):
            return None
        now, table = tracker.run()
        lines = tracker.shown()
        at = next((number for number, line in enumerate(lines) if line.startswith(f"{absent} dev {BRIDGES[0]}")), None)
        return None if at is None else (now, table, lines, at)
    now, table, lines, at = lab.until("the gateway has given the absent one up", run_while_it_is_listed)
    assert "lladdr" not in lines[at]
    earlier = [re.search(r"lladdr (\S+)", line) for line in lines[:at]]
    borrowed = next((match[1] for match in reversed(earlier) if match), "00:00:00:00:00:00")
    assert table[(absent, BRIDGES[0], borrowed)] == now

"""One lab for a test: up with captures and a record of what happened, and helpers that ask it. See lab/conftest.py."""
import dataclasses
import json
import re
import time

from netlab.capture import Capture
from netlab.gateway import BRIDGES, COMMANDS
from netlab.host import INTERFACE
from netlab.isp import ACCESS
from netlab.topology import Lab
from netlab.wait import NotYet, need, wait_for

SECTIONS = ("lan0", "lan1")
PATIENCE = 60.0             # seconds; a condition that holds is seen at once, so this costs only a run that fails
DAEMONS = {"radvd": r"^radvd ", "dhcp6d": r"^/tmp/dhcp6d ", "dnsmasq": r"^dnsmasq ", "rdnssd": r"^rdnssd ",
           "ecmh": r"^(/bin/sh )?\S*ecmh ", "dhclient": r"^/bin/sh /usr/sbin/dhclient -6"}
AT_WORK = re.compile(r"^(/bin/sh (-\S+ )?)?\S*/(" + "|".join(COMMANDS) + r"|dhclient-events)\b")


class Scenario:
    """A running lab. `isp`, `gw`, `hosts` are its nodes, `line` and `lans` its captures (of the subscriber line, and of
    each host's wire), running since before the first packet."""

    def __init__(self, folder, name, title, build, *, isp=None, settings=None, shared_line=False):
        self.name, self.title = name, title
        self.begin = time.time()
        self.tests, self.notes, self.looks = [], [], []
        self.lab = Lab(folder, build, isp=isp, shared_line=shared_line)
        self.isp, self.gw, self.hosts = self.lab.isp, self.lab.gw, self.lab.hosts
        self.settings = settings or {}
        self.line = None
        self.lans = []
        self.follower = None

    # Up and down ------------------------------------------------------------------------------------------------------

    def open(self):
        self.lab.start()
        self.follower = self.gw.python("log-follower", "log_follower", "/tmp/ipv6.log", "/lab/out/log.jsonl")
        for key, value in self.settings.items():
            self.set(key, value)
        self.line = Capture(self.isp, "line0" if self.lab.shared_line else ACCESS, "line")
        self.lans = [Capture(host, INTERFACE, "lan") for host in self.hosts]
        self.isp.start_services()
        self.isp.await_services()
        self.until("the log is followed", lambda: "follows" in self.follower.log())

    def close(self):
        """Keeps what would vanish, writes scenario.json, and takes the lab down, whatever went wrong before."""
        try:
            if self.gw.pid:
                self.look("the end")
                self.gw.snapshot("end")
                self.lab.keep_files()
        except Exception as error:  # a dead node must not keep the others from being taken down
            self.note(f"not everything could be kept: {error}")
        finally:
            try:
                self.write_record()
            finally:
                self.lab.close()

    def write_record(self):
        worst = next((test for test in self.tests if test["result"] != "passed"), None)
        last = self.looks[-1] if self.looks else {}
        record = {"name": self.name, "title": self.title, "result": worst["result"] if worst else "passed",
                  "reason": worst["reason"] if worst else "", "start": self.begin, "end": time.time(),
                  "tests": self.tests, "notes": self.notes, "settings": self.settings,
                  "isp": dataclasses.asdict(self.isp.config), "topology": self.topology(),
                  "delegated": last.get("delegated"), "carved": last.get("carved", {}),
                  "unique_local": last.get("unique_local", {}), "hosts": last.get("hosts", {}), "looks": self.looks,
                  "captures": sorted(str(path.relative_to(self.lab.out)) for path in self.lab.out.glob("*/*.pcap")),
                  "log": "gw/log.jsonl", "invocations": "gw/invocations.jsonl", "console": "console.log"}
        (self.lab.out / "scenario.json").write_text(json.dumps(record, indent=1) + "\n", encoding="utf-8")

    def topology(self):
        """{"wires": [["isp:access0", "gw:eth0"], ...], "bridges": {"gw:br-lan": ["lan0"], ...}, "nodes": [...]}"""
        bridges = {}
        for node in self.lab.nodes.values():
            if node.pid:
                for link in node.json("ip", "-j", "link"):
                    if link.get("master"):
                        bridges.setdefault(f"{node.name}:{link['master']}", []).append(link["ifname"])
        return {"nodes": list(self.lab.nodes), "bridges": bridges,
                "wires": [[":".join(one), ":".join(other)] for one, other in self.lab.wires]}

    # What happened ----------------------------------------------------------------------------------------------------

    def note(self, text):
        """A sentence for the timeline of the report."""
        self.notes.append({"t": round(time.time(), 3), "text": text})

    def look(self, label):
        """Writes down the prefixes and addresses of this moment, for the report; returns them."""
        found = {"t": round(time.time(), 3), "label": label, "delegated": self.stored_delegation(), "carved": {},
                 "unique_local": {}, "gateway": {}, "hosts": {}}
        for section, bridge in zip(SECTIONS, BRIDGES):
            networks = [entry["dst"] for entry in self.gw.json("ip", "-j", "-6", "route", "show", "dev", bridge)]
            found["carved"][section] = [each for each in networks if each.startswith("3fff:")]
            found["unique_local"][section] = [each for each in networks if each.startswith("fd")]
        for interface in (self.gw.wan, *BRIDGES):
            found["gateway"][interface] = [f"{entry['local']}/{entry['prefixlen']}"
                                           for entry in self.gw.addresses(interface)]
        for host in self.hosts:
            found["hosts"][host.name] = [f"{entry['local']}/{entry['prefixlen']}"
                                         for entry in host.addresses(INTERFACE, "global")]
        self.looks.append(found)
        return found

    def stored_delegation(self):
        address, length = self.get("ip6_dhcp6c_prefix_addr@system"), self.get("ip6_dhcp6c_prefix_length@system")
        return f"{address}/{length}" if address and length else None

    def log_lines(self, since=0.0):
        """(time, line) of the program's log; times are of the wall clock, as the captures' are."""
        text = self.gw.read("/lab/out/log.jsonl")
        records = [json.loads(line) for line in text.splitlines() if line.endswith("}")]
        return [(record["t"], record["line"]) for record in records if record["t"] >= since]

    def client_events(self, since=0.0):
        """Reasons with which the DHCPv6 client has called the program, in their order."""
        found = [re.search(r"\] The reason is (\w+),", line) for _, line in self.log_lines(since)]
        return [match[1] for match in found if match]

    # Waiting ----------------------------------------------------------------------------------------------------------

    def until(self, sentence, probe, within=PATIENCE):
        """Waits until `probe()` returns something true, and returns it. `sentence` says what is waited for."""
        def attempt():
            seen = probe()
            need(seen, f"there is {seen!r}")
            return seen
        try:
            return wait_for(attempt, within)
        except NotYet as last:
            raise AssertionError(f"not within {within:.0f} s: {sentence}; instead {last}") from None

    def settles(self, probe, expected, within=PATIENCE):
        """Waits until `probe()` equals `expected`; then compares for good, so that a failure shows the difference."""
        def attempt():
            seen = probe()
            need(seen == expected, "")
            return seen
        try:
            wait_for(attempt, within)
        except NotYet:
            assert probe() == expected

    def idle(self, within=PATIENCE):
        """Waits until no command of the program and no call of the DHCPv6 client's script is at work."""
        def probe():
            busy = [args for _, args in self.gw.processes() if AT_WORK.search(args)]
            if busy:
                raise NotYet(f"still at work: {busy}")
            return True
        self.until("the gateway is idle", probe, within)

    # The gateway ------------------------------------------------------------------------------------------------------

    def command(self, name, *args):
        """Runs the program to its end under one of its names; its normal end is status 1."""
        self.note(f"gw# {' '.join((name, *map(str, args)))}")
        done = self.gw.command(name, *map(str, args))
        assert done.returncode == 1, f"{name} ended with {done.returncode}: {done.stderr}"
        return done

    def get(self, key):
        """A value of the committed store; `@wan` stands for the WAN's section. None when the key is missing."""
        return self.gw.get(self.full(key))

    def set(self, key, value):
        self.note(f"gw# ccfg_cli set {self.full(key)}={value}")
        self.gw.set(self.full(key), value)

    def full(self, key):
        return key.removesuffix("wan") + self.gw.wan_section if key.endswith("@wan") else key

    def daemons(self):
        """{name: its processes' ids} of the daemons that the gateway runs."""
        processes = self.gw.processes()
        return {name: sorted(pid for pid, args in processes if re.search(pattern, args))
                for name, pattern in DAEMONS.items() if any(re.search(pattern, args) for _, args in processes)}

    def global_addresses(self, interface):
        """Texts "address/length" of the usable public addresses of a gateway's interface."""
        return sorted(f"{entry['local']}/{entry['prefixlen']}" for entry in self.gw.addresses(interface, "global")
                      if entry["local"].startswith("3fff:") and not entry.get("tentative")
                      and not entry.get("dadfailed"))

    # The usual way up -------------------------------------------------------------------------------------------------

    def start_lans(self):
        """What the device's start does: unique-local addresses and daemons on both LANs."""
        self.command("zel_ipv6_lan", "1")
        self.command("zel_ipv6_lan", "lan")

    def plug_in(self):
        """Connects the subscriber line, and waits for the advertisement when the provider sends one."""
        self.note(f"{self.gw.wan} is plugged in")
        self.lab.connect_wan()
        if self.isp.config.advertise:
            self.gw.await_advertisement(PATIENCE)

    def bound(self, since=0.0):
        """Waits until a Reply has brought something, the change is applied and the gateway is idle; returns the newest
        such Reply, as captured."""
        def probe():
            replies = [each for each in self.line.dhcp("REPLY", since) if each.prefixes or each.addresses]
            need(replies, f"no Reply with an address or a prefix since {since}")
            need(self.get("ip6_wan_ready@system") == "1" and self.get("ip6_changed@wan") == "0", "it is not applied")
            need("EFFECT6" in self.client_events(replies[-1].time), "the newest Reply is not applied")
            return replies[-1]
        reply = self.until("a lease is bound and applied", probe)
        self.idle()
        return reply

    def online(self, lans_first=True):
        """From nothing to a gateway with a lease and hosts with addresses of it; returns the binding Reply. Without
        `lans_first` it is the lease that starts the LANs, which is quicker."""
        if lans_first:
            self.start_lans()
        self.plug_in()
        self.command("zel_ipv6cp_up")
        reply = self.bound()
        for number, host in enumerate(self.hosts):
            network = self.get(f"ip6_prefix@{SECTIONS[self.lan_of(host)]}")
            self.until(f"{host.name} has an address in {network}/64", lambda: host.address_in(f"{network}/64"))
        self.look("on line")
        return reply

    def lan_of(self, host):
        """The number of the LAN that a host is plugged into."""
        port = next(one[1] if other[0] == host.name else other[1] for one, other in self.lab.wires
                    if host.name in (one[0], other[0]))
        master = self.gw.json("ip", "-j", "link", "show", "dev", port)[0]["master"]
        return BRIDGES.index(master)

"""A day in a minute: everything that happens to a gateway, at random and at the same time."""
import difflib
import ipaddress
import json
import os
import random
import re
import threading
from collections import Counter
from concurrent.futures import ThreadPoolExecutor

import pytest
from netlab import prefixes, traffic
from netlab.gateway import BRIDGES
from netlab.isp import IspConfig
from netlab.scenario import PATIENCE, SECTIONS
from netlab.wait import NotYet, need

SECONDS = float(os.environ.get("LAB_DAY_SECONDS", "60"))
SEED = int(os.environ.get("LAB_DAY_SEED", "0")) or random.SystemRandom().randrange(1, 10 ** 6)

# What scripts, the user interface and the IPv4 link do, with how often each is picked.
MANAGEMENT = {("ipv6_lan_restart",): 4, ("dhcp6c_renew",): 3, ("dhcp6c_restart",): 2, ("wan6c_restart",): 2,
              ("dhcp6c_start",): 1, ("zel_resolv_update",): 4, ("zel_ipcp_up",): 2, ("zel_ipcp_down",): 1,
              ("zel_ipv6_lan", "1"): 1, ("ipv6rd_restart",): 1}
# Files that the program, the client and the daemons keep; anything else that is new after the day is litter. A DHCPv6
# server that is ended while it begins leaves the lease file that it was writing (dhcp6d.leases.SECONDS).
STATE_FILES = re.compile(r"""/tmp/(
        ipv6\.log|zel_ipv6cp_script_running|\.ip6_neigh(_show)?|sha\.txt|ula\.txt|zel_ipt_(old|new)|ip6_rt
        |resolv\.conf(\.auto)?|\.ip6t|radvd\.conf|dhcp6d(\.conf|\.leases(~|\.\d+)?)?
        |dhcp6c-wan\.(conf|leases~?)|rdnssd|events|sip_config|ecmh)
    |/run/[^/]+\.(pid|lock)|/run/ipv6ctl-dhclient/eth0/\w+(\.log)?|/etc/config/ccfg\.db(-lock)?
    |/etc/crontabs/(root|cron\.update)""", re.X)
CLIENT_FILE = re.compile(r"/run/ipv6ctl-dhclient/client\.(\d+)/.*")        # of the client with this process id
PLACES = ("/tmp", "/run", "/etc/config", "/etc/crontabs")
ALONE = {"radvd": 2, "dhcp6d": 1, "dnsmasq": 1, "rdnssd": 2, "dhclient": 1}     # processes of each daemon


class Day:
    """Four things go on side by side until the time is over: the line, management twice, and cron."""

    def __init__(self, lab, seed, seconds):
        self.lab, self.gw = lab, lab.gw
        self.dice = [random.Random(f"{seed}-{number}") for number in range(4)]
        self.over = threading.Event()
        self.seconds = seconds
        self.faults = []
        self.counts = {}
        self.lock = threading.Lock()

    def live(self):
        with ThreadPoolExecutor(4) as pool:
            works = [pool.submit(self.line, self.dice[0]), pool.submit(self.management, self.dice[1]),
                     pool.submit(self.management, self.dice[2]), pool.submit(self.cron)]
            try:
                self.over.wait(self.seconds)
            finally:
                self.over.set()                 # also when the day is interrupted: the pool waits for its four
            for work in works:
                work.result()

    def run(self, *argv):
        """One command; it says its normal end even in the thick of it."""
        done = self.gw.command(*argv, timeout=180)
        with self.lock:
            self.counts[argv[0]] = self.counts.get(argv[0], 0) + 1
            if done.returncode != 1:
                self.faults.append(f"{' '.join(argv)} ended with {done.returncode}: {done.stderr[-300:]}")

    def line(self, dice):
        """The line goes and comes back, and the hooks are told as by a link daemon: down, then up."""
        while not self.over.wait(dice.uniform(4, 12)):
            self.lab.note(f"{self.gw.wan} goes down")
            self.gw.must("ip", "link", "set", self.gw.wan, "down")
            self.run("zel_ipv6cp_down")
            self.over.wait(dice.uniform(0, 2))
            self.lab.note(f"{self.gw.wan} comes up")
            self.gw.must("ip", "link", "set", self.gw.wan, "up")
            self.run("zel_ipv6cp_up")

    def management(self, dice):
        while not self.over.wait(dice.expovariate(1 / 2.5)):
            self.run(*dice.choices(list(MANAGEMENT), list(MANAGEMENT.values()))[0])

    def cron(self):
        while not self.over.wait(1):
            self.run("zel_ip6neigh_update")


class Inventory:
    """What runs and lies about in the gateway at a quiet moment: all of it from one look at the processes, because the
    client renews every few seconds and its script may be there in one look and not in the next."""

    def __init__(self, gw):
        self.names, self.zombies = Counter(), []
        self.memory, self.descriptors = {}, {}          # of the biggest process of each name: resident KiB, open files
        for line in gw.must("/bin/ps", "-e", "-o", "pid=,stat=,rss=,comm=").splitlines():
            pid, state, kib, name = line.split(None, 3)
            if name in ("ps", "sleep"):
                continue
            self.names[name] += 1
            if state.startswith("Z"):
                self.zombies.append(name)
            self.memory[name] = max(self.memory.get(name, 0), int(kib))
            try:
                count = len(os.listdir(gw.path(f"/proc/{pid}/fd")))
            except OSError:
                continue
            self.descriptors[name] = max(self.descriptors.get(name, 0), count)
        self.files = set()
        for place in PLACES:
            found = gw.run("find", "-H", place, "-xdev", "-type", "f")
            self.files |= set(found.stdout.split("\n")) - {""}


def all_agrees(lab, *parts):
    """True when no part finds a disagreement: a sentence for each thing that does not fit the others."""
    try:
        found = [sentence for part in parts for sentence in part(lab)]
    except (LookupError, OSError, TypeError, ValueError) as error:
        raise NotYet(f"what is compared is not there: {type(error).__name__}: {error}") from error
    need(not found, "\n  " + "\n  ".join(found))
    return True


def differ(what, seen, wanted):
    return [] if seen == wanted else [f"{what}: {seen} and not {wanted}"]


def of_the_wan(lab):
    leases = lab.isp.leases()
    active = {kind: sorted(name for name, state in each.items() if state == "active") for kind, each in leases.items()}
    address, prefix, length = (lab.get(key) for key in ("ip6_addr@wan", "ip6_dhcp6c_prefix_addr@system",
                                                        "ip6_dhcp6c_prefix_length@system"))
    routes = [(route.get("gateway"), route.get("dev")) for route in
              lab.gw.json("ip", "-j", "-6", "route", "show", "default")]
    return [*differ("the provider's leased addresses", active["na"], [address]),
            *differ("the provider's delegated prefixes", active["pd"], [f"{prefix}/{length}"]),
            *differ("public addresses of the WAN",
                    [text.partition("/")[0] for text in lab.global_addresses(lab.gw.wan)], [address]),
            *differ("default routes", sorted(set(routes)), [(lab.isp.link_local("access0"), lab.gw.wan)]),
            *differ("ready flag and change flag",
                    (lab.get("ip6_wan_ready@system"), lab.get("ip6_changed@wan")), ("1", "0")),
            *differ("guard word", lab.gw.read("/tmp/zel_ipv6cp_script_running"), "0"),
            *differ("forwarding", lab.gw.must("sysctl", "-n", "net.ipv6.conf.all.forwarding").strip(), "1"),
            *differ("the provider's route to the prefix", list(lab.isp.delegated_routes()), [f"{prefix}/{length}"])]


def networks_of(lab, number):
    """(global, unique-local) /64 of one LAN, as the store's delegated prefix and ids make them."""
    section = SECTIONS[number]
    delegated = f"{lab.get('ip6_dhcp6c_prefix_addr@system')}/{lab.get('ip6_dhcp6c_prefix_length@system')}"
    return (prefixes.carved(delegated, lab.get(f"ip6_gua_sid@{section}")),
            prefixes.unique_local(lab.get(f"ip6_ula_gid@{section}"), lab.get(f"ip6_ula_sid@{section}")))


def of_the_lans(lab):
    found = []
    for number, bridge in enumerate(BRIDGES):
        wanted = networks_of(lab, number)
        mac = lab.gw.mac(bridge)
        addresses = sorted(f"{prefixes.eui64(network, mac)}/64" for network in wanted)
        have = sorted(f"{entry['local']}/{entry['prefixlen']}" for entry in lab.gw.addresses(bridge, "global")
                      if not entry.get("tentative") and not entry.get("dadfailed"))
        stored = lab.get(f"ip6_prefix@{SECTIONS[number]}")
        routes = sorted(entry["dst"] for entry in lab.gw.json("ip", "-j", "-6", "route", "show", "dev", bridge)
                        if not entry["dst"].startswith(("fe80", "ff00", "default")))
        newest = lab.lans[number].advertisements()[-1]
        live = sorted(prefix for prefix, _, autonomous, _, preferred in newest.prefixes if autonomous and preferred)
        found += [*differ(f"addresses of {bridge}", have, addresses),
                  *differ(f"stored prefix of {bridge}", stored, str(wanted[0].network_address)),
                  *differ(f"routes to {bridge}", routes, sorted(map(str, wanted))),
                  *differ(f"prefixes advertised on {bridge}", live, sorted(map(str, wanted)))]
    return found


def of_the_daemons(lab):
    found = differ("processes of the daemons", {name: len(pids) for name, pids in lab.daemons().items()}, ALONE)
    sections = re.split(r"^interface (\S+) \{", lab.gw.read("/tmp/radvd.conf"), flags=re.M)[1:]
    configured = {name: sorted(map(canonical, re.findall(r"^\s*prefix (\S+)", text, re.M)))
                  for name, text in zip(sections[::2], sections[1::2])}
    wanted = {bridge: sorted(map(str, networks_of(lab, number))) for number, bridge in enumerate(BRIDGES)}
    found += differ("prefixes of radvd.conf", configured, wanted)
    served = sorted(map(canonical, re.findall(r"^\s*subnet6 (\S+)", lab.gw.read("/tmp/dhcp6d.conf"), re.M)))
    found += differ("subnets of dhcp6d.conf", served, sorted(str(networks_of(lab, number)[0]) for number in (0, 1)))
    servers = [word for word in re.findall(r"^nameserver (\S+)", lab.gw.read("/tmp/resolv.conf.auto"), re.M)
               if ":" in word]
    found += differ("name servers of the resolver", servers, list(lab.isp.config.name_servers))
    # The daemons were started after their files were written for the last time.
    for name, path in (("radvd", "/tmp/radvd.conf"), ("dhcp6d", "/tmp/dhcp6d.conf")):
        written = lab.gw.path(path).stat().st_mtime
        for pid in lab.daemons().get(name, []):
            started = lab.gw.path(f"/proc/{pid}").stat().st_mtime
            if started < written - 1:
                found.append(f"{name} runs since {written - started:.1f} s before its file was written")
    return found


def canonical(text):
    return str(ipaddress.ip_network(text))


SAVED_RULES = "ip6tables-save -t filter | sed '/^#/d; s/\\[[0-9:]*\\]/[0:0]/'"


def of_the_firewall(lab):
    """What is loaded is what a fresh network makes of the newest ruleset file, and it closes the gateway. While there
    is no prefix the file has rules without an address and is refused; then the others of its rules are loaded."""
    loaded = lab.gw.must("sh", "-c", SAVED_RULES)
    rules = lab.gw.read("/tmp/.ip6t")
    fresh = in_a_fresh_network(lab, rules)
    if fresh is None:
        fresh = in_a_fresh_network(lab, without_an_address(rules))
    if fresh is None:
        return [f"/tmp/.ip6t cannot be loaded, also without the rules that lack an address; {loaded}"]
    found = list(difflib.unified_diff(fresh.splitlines(), loaded.splitlines(), "what /tmp/.ip6t has",
                                      "what is loaded", lineterm="", n=0))
    for chain in ("INPUT", "FORWARD"):
        last = [line for line in loaded.splitlines() if line.startswith(f"-A {chain} ")][-1:]
        found += differ(f"the last rule of {chain}", last, [f"-A {chain} -j DROP"])
    return found


def without_an_address(rules):
    return "".join(line for line in rules.splitlines(True) if not any(word.startswith("/") for word in line.split()))


def in_a_fresh_network(lab, rules):
    """What a network without a filter has after these rules were loaded; None when they are refused."""
    done = lab.gw.run("unshare", "-n", "sh", "-c", f"ip6tables-restore && {SAVED_RULES}", text_in=rules)
    return done.stdout if done.returncode == 0 else None


def of_the_addresses_in_the_firewall(lab):
    public = sorted(set(re.findall(r"3fff:[0-9a-f:]+/\d+", lab.gw.must("sh", "-c", SAVED_RULES))))
    wanted = sorted([f"{lab.get('ip6_addr@wan')}/128", str(networks_of(lab, 0)[0]),
                     f"{lab.get('ip6_dhcp6c_prefix_addr@system')}/{lab.get('ip6_dhcp6c_prefix_length@system')}"])
    return differ("public prefixes in the firewall", public, wanted)


QUIET = (of_the_wan, of_the_lans, of_the_daemons, of_the_firewall)
SETTLED = (*QUIET, of_the_addresses_in_the_firewall)


def reach(lab, number):
    """A host's call to the provider's server, from its global address of the carved prefix."""
    config = lab.isp.config
    network = networks_of(lab, number)[0]
    mine = lab.hosts[number].address_in(network)["local"]
    status, text = traffic.call(lab.hosts[number], "tcp", config.server_address, config.tcp_port)
    return status == traffic.ANSWERED and text.endswith(f"from {mine}")


def at_rest(lab):
    """The inventory of now, unless the client, which renews every few seconds, is at work."""
    now = Inventory(lab.gw)
    busy = [name for name in now.names if name.startswith(("dhclient-events", "zel_"))]
    need(not busy, f"{busy} at work")
    return now


def same_processes(lab, before):
    now = at_rest(lab)
    need(now.zombies == [], f"zombies: {now.zombies}")
    more, fewer = now.names - before.names, before.names - now.names
    need(not more and not fewer, f"more: {dict(more)}, fewer: {dict(fewer)}")
    return now


def litter(lab, files):
    clients = lab.daemons().get("dhclient", [])
    return sorted(name for name in files if not STATE_FILES.fullmatch(name)
                  and not ((match := CLIENT_FILE.fullmatch(name)) and int(match[1]) in clients))


@pytest.fixture
def day(lab_with):
    # Short timers: the client renews by itself every few seconds, and the lease outlives the day's longest break.
    lab = lab_with(isp=IspConfig(renew=5, rebind=60, preferred=120, valid=240))
    return Day(lab, SEED, SECONDS)


def test_after_a_day_of_overlapping_events_everything_agrees(day):
    """Link flaps, renewals, cron every second and management restarts overlap at random; then everything agrees"""
    lab = day.lab
    print(f"LAB_DAY_SEED={SEED} LAB_DAY_SECONDS={SECONDS:.0f}")
    lab.note(f"the day's seed is {SEED}, it lasts {SECONDS:.0f} s")
    lab.online()
    lab.until("everything agrees", lambda: all_agrees(lab, *SETTLED))
    before = lab.until("the client rests", lambda: at_rest(lab))

    lab.note("the day begins")
    day.live()
    lab.note("the day is over")
    print(json.dumps(day.counts))
    assert day.faults == [], "every command came to its normal end"
    assert day.counts["zel_ip6neigh_update"] > SECONDS / 4 and day.counts["zel_ipv6cp_up"] >= 2, "it was a full day"
    assert len(lab.client_events()) > 10 and "RENEW6" in lab.client_events(), "the client renewed meanwhile"

    lab.idle(within=2 * PATIENCE)
    lab.note("the gateway is quiet")
    lab.until("everything agrees", lambda: all_agrees(lab, *QUIET), 2 * PATIENCE)
    # A run that loaded its parameters before a lease was stored may have been the last to write the ruleset. Nothing on
    # the device tells it so; the next restart, with nothing else going on, has to put it right.
    lab.command("ipv6_lan_restart")
    lab.until("everything agrees after a quiet restart", lambda: all_agrees(lab, *SETTLED), 2 * PATIENCE)
    for number, host in enumerate(lab.hosts):
        lab.until(f"{host.name} reaches the provider's server", lambda number=number: reach(lab, number))

    after = lab.until("the same processes run as before the day, and no zombie", lambda: same_processes(lab, before))
    assert litter(lab, after.files - before.files) == [], "no file is left over"
    for name, kib in after.memory.items():
        assert kib <= 1.5 * before.memory[name] + 2048, f"{name} has grown from {before.memory[name]} to {kib} KiB"
    for name, count in after.descriptors.items():
        held = before.descriptors.get(name, count)
        assert count <= held + 3, f"{name} holds {count} open files, {held} before the day"

"""The WAN over PPP: two pppd, one in the gateway and one at the provider, whose scripts are the program's hooks.

Runs in the guest: `ppp_flow.py BUILD`. The results go to the exchange folder.
"""
import dataclasses
import os
import re
import signal
import subprocess
import time
from pathlib import Path

from guest import OUT, PATIENCE, Device, Flow, eventually
from netlab.capture import Capture
from netlab.gateway import BRIDGES
from netlab.host import INTERFACE
from netlab.isp import ACCESS
from netlab.node import PYTHON, children_of
from netlab.sightings import Sightings
from netlab.wait import need
from ppp_provider import PATH_LINE, PRELOAD, PppProvider, make_ppp_ready, write_ppp_scripts

FLOW = Flow("ppp", "The WAN over PPP: the link hooks under their names, the guard, a redial")
HERE = Path(__file__).resolve().parent
WAN = "ppp0"
GUARD = "/tmp/zel_ipv6cp_script_running"
HOOKS = {"ip-up": "zel_ipcp_up", "ip-down": "zel_ipcp_down",
         "ipv6-up": "zel_ipv6cp_up", "ipv6-down": "zel_ipv6cp_down"}
# A pppd that ends gives its scripts five seconds and then SIGTERM. A hook that dies of it leaves the guard taken.
HOOK_SCRIPT = PATH_LINE + """\
trap : TERM
begin=$(date +%s.%N)
/usr/sbin/{hook}
echo "{hook} $? $begin $(date +%s.%N) $1" >>/lab/out/hooks.log
"""
PPPD = ("/usr/sbin/pppd", "pty", f"{PYTHON} -I -S /lab/src/vm/dial.py", "noauth", "local", "nodetach", "debug",
        "logfd", "2", "unit", "0", "+ipv6", "noipdefault", "defaultroute", "ipparam", "wan", "persist",
        "holdoff", "2", "maxfail", "0")
TRIGGER_RULES = (f"-A OUTPUT -o {WAN} -p udp -m udp --dport 53 -j ACCEPT", f"-A OUTPUT -o {WAN} -j DROP",
                 "-A FORWARD -j ACCEPT")
OTHER_RULES = ("-A INPUT -i eth9 -p tcp -m tcp --dport 23 -j DROP", "-A OUTPUT -o ppp1 -j DROP",
               "-A FORWARD -s 198.51.100.7/32 -j ACCEPT")


class PppSightings(Sightings):
    def __init__(self, stage):     # pylint: disable=super-init-not-called
        self.isp, self.gw, self.hosts = stage.isp, stage.gw, stage.hosts
        self.line = stage.isp.line_capture()
        self.lans = [Capture(host, INTERFACE, "lan") for host in self.hosts]
        self.reply = None
        self.unique = [None, None]
        self.carved = [None, None]


class Stage(Device):
    def __init__(self, build):
        super().__init__(build, WAN)
        self.isp = PppProvider(OUT / "isp")
        self.isp.start()
        self.isp.prepare()
        make_ppp_ready(self.gw)
        self.let_the_client_run_on_ppp()
        # As on the device: the switches are there before the interface is, which comes and goes with each session.
        default = "net.ipv6.conf.default"
        self.gw.must("sysctl", "-q", "-w", f"{default}.accept_ra=2", f"{default}.router_solicitations=3")
        write_ppp_scripts(self.gw, {script: HOOK_SCRIPT.format(hook=hook) for script, hook in HOOKS.items()})
        self.nodes.insert(0, "isp")
        self.wires.append([f"gw:{WAN}", f"isp:{ACCESS}"])
        self.told = dataclasses.asdict(self.isp.config)
        self.see = PppSightings(self)
        self.begin = None           # when the first dial began
        place = self.gw.path("/run/line")
        with open(OUT / "line.log", "ab") as log:
            subprocess.Popen([PYTHON, "-I", "-S", "-u", str(HERE / "line.py"), str(place),
                              str(self.isp.pid), str(self.isp.out)], stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        eventually(lambda: need(place.exists(), "nobody listens on the line"))

    def let_the_client_run_on_ppp(self):
        """Puts what the stock client needs between it and its adapter."""
        stock = self.gw.path("/usr/lib/ipv6ctl/stock/dhclient")
        real = stock.parent / "on-ppp" / "dhclient"
        real.parent.mkdir()
        stock.rename(real)
        stock.write_text(f"#!/bin/sh\nLD_PRELOAD={PRELOAD} exec /usr/lib/ipv6ctl/stock/on-ppp/dhclient \"$@\"\n",
                         encoding="utf-8")
        stock.chmod(0o755)

    def hooks(self, since=0.0):
        """(hook, status, begin, end) of each hook that pppd ran to its end and that began at or after a time."""
        records = [line.split() for line in self.gw.read("/lab/out/hooks.log").splitlines()]
        found = [(name, int(status), float(begin), float(end)) for name, status, begin, end, _ in records]
        return [record for record in found if record[2] >= since]

    def hook_ran(self, name, since):
        found = [record for record in self.hooks(since) if record[0] == name]
        need(found, f"pppd has not run {name} to its end; {self.hooks(since)}")
        assert [record[1] for record in found] == [1], f"{name}: {found}"
        return f"{name}: status 1 after {found[0][3] - found[0][2]:.1f} s"

    def lease_in_force(self, since):
        """The Reply of the wire that was sent after a time is what the store and the interfaces have."""
        def bound():
            replies = [each for each in self.see.line.dhcp("REPLY", since) if each.addresses and each.prefixes]
            need(replies, "no Reply with an address and a prefix is on the wire")
            self.see.reply = replies[0]
        eventually(bound)
        eventually(self.see.stored_lease)
        eventually(self.see.applied)
        eventually(lambda: need(not self.gw.processes(r"^\S*/zel_"), "the program is at work"))
        eventually(self.see.wan_address)
        eventually(self.see.default_route)
        for number in range(2):
            eventually(self.see.carved_address, number)
        eventually(self.see.return_route)
        return f"{self.see.reply.addresses[0][0]} and {self.see.reply.prefixes[0][0]}"

    def end(self, pattern):
        """Ends the one process of the gateway whose command line matches."""
        (pid, _), = self.gw.processes(pattern)
        self.gw.must("kill", pid)


def ip_rules(gw):
    return [line for line in gw.must("iptables-save").splitlines() if line.startswith("-A")]


@FLOW.scenario
def both_lans_have_unique_local_addresses_before_anybody_dials(stage):
    stage.command("zel_ipv6_lan", "1")
    stage.command("zel_ipv6_lan", "lan")
    for number, host in enumerate(stage.hosts):
        eventually(stage.see.unique_local_of, number)
        eventually(host.address_in, stage.see.unique[number])


@FLOW.scenario
def pppd_runs_both_up_hooks_by_their_names(stage):
    for rule in (*TRIGGER_RULES, *OTHER_RULES):
        stage.gw.must("iptables", *rule.split())
    stage.begin = time.time()
    stage.gw.spawn("pppd", *PPPD)
    told = [eventually(stage.hook_ran, hook, stage.begin) for hook in ("zel_ipcp_up", "zel_ipv6cp_up")]
    assert stage.gw.get("ip4_wan_ready@system") == "1"
    return told


@FLOW.scenario
def the_rules_of_a_line_on_demand_are_out_of_the_ipv4_filter_and_no_other(stage):
    rules = ip_rules(stage.gw)
    assert sorted(rules) == sorted(OTHER_RULES), rules


@FLOW.scenario
def the_line_carries_ipv4(stage):
    routes = stage.gw.json("ip", "-j", "-4", "route", "show", "default")
    assert [route["dev"] for route in routes] == [WAN], routes
    entry = stage.gw.json("ip", "-j", "-4", "addr", "show", "dev", WAN)[0]["addr_info"][0]
    assert (entry["local"], entry["address"]) == ("192.0.2.50", "192.0.2.1"), entry


@FLOW.scenario
def the_managed_flag_is_seen_over_ppp_and_an_address_and_a_prefix_are_solicited(stage):
    told = eventually(stage.see.solicited)
    eventually(stage.see.same_identifier)
    advertisers = {each.source for each in stage.see.line.advertisements() if each.managed}
    assert advertisers == {"fe80::a"}, advertisers
    return told


@FLOW.scenario
def the_lease_of_the_wire_is_in_force_on_ppp0_and_both_bridges(stage):
    return stage.lease_in_force(stage.begin)


@FLOW.scenario
def hosts_on_both_lans_get_addresses_and_reach_the_provider(stage):
    return [host_reaches_the_provider(stage, number) for number in range(2)]


def host_reaches_the_provider(stage, number):
    eventually(stage.see.advertised_both, number)
    told = [eventually(stage.see.reached, number, protocol, 7) for protocol in ("tcp", "udp")]
    eventually(stage.see.echo, stage.hosts[number], stage.isp.config.server_address)
    eventually(stage.see.return_path, number)
    return told


@FLOW.scenario
def a_host_resolves_a_name_through_the_gateway(stage):
    server = eventually(stage.see.resolver_of, 0)
    stage.hosts[0].use_resolver([server])
    return eventually(stage.see.resolved, 0, stage.isp.config.server_name)


def living_children(pid):
    """Those that have not ended: nobody fetches what a stopped process has started."""
    stats = {child: Path(f"/proc/{child}/stat") for child in children_of(pid)}
    return [child for child, stat in stats.items()
            if stat.exists() and stat.read_text(encoding="utf-8").rpartition(")")[2].split()[0] != "Z"]


class Held:
    """A hook that was stopped at the moment when it had the guard, with nothing of it at work."""

    def __init__(self, stage, name):
        self.stage, self.name = stage, name
        self.popen = subprocess.Popen(stage.gw.enter(f"/usr/sbin/{name}"), stdin=subprocess.DEVNULL,
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                      env=stage.gw.environment())

    def __enter__(self):
        deadline = time.monotonic() + PATIENCE
        while self.stage.gw.read(GUARD) != "1":
            assert self.popen.poll() is None, f"{self.name} ended with {self.popen.returncode}"
            assert time.monotonic() < deadline, f"{self.name} does not take the guard"
        self.pid = children_of(self.popen.pid)[0]
        os.kill(self.pid, signal.SIGSTOP)
        eventually(lambda: need(not living_children(self.pid), "a command of the stopped hook is still at work"))
        return self

    def __exit__(self, *_):
        # nsenter stops with what it has entered, and lets it go on when it goes on itself.
        for pid in (self.popen.pid, self.pid):
            os.kill(pid, signal.SIGCONT)
        self.popen.wait(PATIENCE)


def picture(gw):
    """All that a hook could change, as text, without what passing time changes."""
    commands = (("ccfg_cli", "export"), ("ip", "-o", "addr"), ("ip", "-6", "route", "show", "table", "all"),
                ("iptables-save",), ("ip6tables-save",))
    told = [re.sub(r"#.*|valid_lft.*|expires \S+|\[\d+:\d+\]", "", gw.must(*command)) for command in commands]
    told += [gw.read(path) for path in (GUARD, "/tmp/resolv.conf", "/tmp/radvd.conf", "/tmp/dhcp6c-wan.conf")]
    daemons = gw.processes(r"(radvd|dhcp6d|rdnssd|dnsmasq|dhclient)\b")
    return [*told, "\n".join(f"{pid} {line}" for pid, line in daemons)]


def refused_beside(stage, holder, refused):
    with Held(stage, holder) as held:
        before, log = picture(stage.gw), stage.gw.log()
        done = stage.gw.command(refused, timeout=PATIENCE)
        after, said = picture(stage.gw), stage.gw.log()[len(log):]
        assert done.returncode == 255, f"{refused} ended with {done.returncode}"
        assert before == after
        said = [re.sub(r"^\[main\]\[\d+\] ", "", line) for line in said.splitlines() if line]
        at = "@" if refused.endswith("_down") else ""
        assert said == [f"^_^[/usr/sbin/{refused}] start.", f"{at}{refused} script_running[1].",
                        f"^_^[/usr/sbin/{refused}] ERROR_INTERNAL, end"], said
    assert held.popen.returncode == 1, f"{holder} ended with {held.popen.returncode}"
    assert stage.gw.read(GUARD) == "0"
    return f"{refused} refused while {holder} was at work"


@FLOW.scenario
def of_both_ipv6cp_hooks_started_together_the_down_hook_is_refused_and_changes_nothing(stage):
    begin = time.time()
    return refused_beside(stage, "zel_ipv6cp_up", "zel_ipv6cp_down"), stage.lease_in_force(begin)


@FLOW.scenario
def of_both_ipv6cp_hooks_started_together_the_up_hook_is_refused_and_changes_nothing(stage):
    return refused_beside(stage, "zel_ipv6cp_down", "zel_ipv6cp_up")


@FLOW.scenario
def a_cut_line_is_redialled_and_the_hosts_are_back_on_line(stage):
    begin = time.time()
    stage.end(rf"^{PYTHON} .*dial\.py$")
    told = [eventually(stage.hook_ran, hook, begin) for hook in
            ("zel_ipcp_down", "zel_ipv6cp_down", "zel_ipcp_up", "zel_ipv6cp_up")]
    order = [record[0] for record in stage.hooks(begin) if "ipv6cp" in record[0]]
    assert order == ["zel_ipv6cp_down", "zel_ipv6cp_up"], order
    told.append(stage.lease_in_force(begin))
    assert stage.see.line.dhcp("SOLICIT", begin), "no Solicit after the redial"
    return [*told, *(host_reaches_the_provider(stage, number) for number in range(2))]


@FLOW.scenario
def hanging_up_runs_both_down_hooks_and_takes_the_line_off_the_lans(stage):
    begin = time.time()
    stage.end(r"^/usr/sbin/pppd ")
    told = [eventually(stage.hook_ran, hook, begin) for hook in ("zel_ipcp_down", "zel_ipv6cp_down")]
    eventually(stage.see.flags_down)
    assert stage.gw.get("ip4_wan_ready@system") == "0"
    for bridge in BRIDGES:
        left = [entry["local"] for entry in stage.gw.addresses(bridge, "global") if entry["local"].startswith("3fff:")]
        assert not left, f"{bridge} has {left}"
    eventually(lambda: need(WAN not in stage.gw.must("ip", "-o", "link"), f"{WAN} is still there"))
    for number in range(2):
        eventually(stage.see.advertised, number, [stage.see.unique[number]], begin)
        eventually(stage.see.cut_off, number)
    eventually(lambda: need(not stage.gw.processes(r"dhclient .*-6"), "a DHCPv6 client still runs"))
    return told


if __name__ == "__main__":
    FLOW.main(Stage)

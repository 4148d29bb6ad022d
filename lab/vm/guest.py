"""What both flows have in common inside the guest: the list of their scenarios, and the gateway with its two LANs."""
import os
import sys
import time
import traceback
from pathlib import Path

from netlab.gateway import BRIDGES, Gateway
from netlab.host import INTERFACE, Host
from netlab.node import NodeError
from netlab.wait import NotYet, need, wait_for
from record import Record

REPOSITORY = Path(__file__).resolve().parents[2]
KIT = REPOSITORY / "platform" / "stock" / "kit"
OUT = Path("/run/exchange")
PATIENCE = 120              # seconds for one thing to happen: an emulated processor on a busy machine is slow
AFTER_A_FAILURE = 15        # seconds from then on: what builds on what failed is not waited for long


class Flow:
    """Scenarios that share one guest, in the order of their definition. Each is one test on the host."""

    def __init__(self, name, title):
        self.name, self.title = name, title
        self.scenarios = {}

    def scenario(self, function):
        """Takes a function in: its name says what holds; what it returns is kept with the result."""
        self.scenarios[function.__name__] = function
        return function

    def up_to(self, last):
        """The names of the scenarios to the last wanted one: each may rely on those before it, but on none behind."""
        names = list(self.scenarios)
        return names[:names.index(last) + 1]

    def record(self, last):
        return Record(f"vm_{self.name}", self.title, self.up_to(last))

    def run(self, stage, record):
        """Runs the scenarios of a record on a stage. The record is written after each: what comes after the end of the
        machine is told to be missing then, and the rest is not lost."""
        for name in record.tests:
            begin = time.time()
            record.note(name.replace("_", " "))
            try:
                seen, held = self.scenarios[name](stage), True
            except (AssertionError, NotYet):
                seen, held = traceback.format_exc(limit=-2), False
            except Exception:   # pylint: disable=broad-except   # whatever it is, it is the scenario's result
                seen, held = traceback.format_exc(), False
            if not held:
                eventually.patience = AFTER_A_FAILURE
            record.ended(name, begin, held, str(seen or ""))
            print(f"{time.monotonic():7.1f} {'held' if held else 'FAILED'} {name} ({time.time() - begin:.1f} s)", seen,
                  flush=True)
            try:
                record.look(stage, f"after: {name.replace('_', ' ')}")
            except (NodeError, ValueError) as error:    # a drawing less, and the scenarios go on
                record.note(f"prefixes and addresses could not be recorded: {error}")
            record.write(OUT)
        return all(test["result"] == "passed" for test in record.tests.values())

    def main(self, make_stage):
        """Runs in the guest; the arguments are the folder with the built program and the last scenario that is
        wanted."""
        record = self.record(sys.argv[2])
        stage = make_stage(Path(sys.argv[1]))
        record.set_stage(stage)
        print(f"{time.monotonic():7.1f} the stage is set", flush=True)
        held = self.run(stage, record)
        stage.gw.snapshot("end")
        stage.gw.keep_files()
        sys.stdout.flush()
        os._exit(0 if held else 1)      # nobody needs to clear up in a machine that is switched off next


def eventually(probe, *args):
    """Waits until a probe returns; its result."""
    return wait_for(lambda: probe(*args), eventually.patience, 0.3)


eventually.patience = PATIENCE


def wire(one, one_name, other, other_name, one_mac, other_mac):
    """A cable between two nodes; both ends are down."""
    one.must("ip", "link", "add", one_name, "address", one_mac, "type", "veth", "peer", "name", other_name, "address",
             other_mac, "netns", other.pid, only_network=True)


class Device:
    """A gateway with a host on each of its bridges. It is on the line through the interface `wan`."""

    def __init__(self, build, wan):
        self.gw = Gateway(OUT / "gw", build, KIT)
        self.gw.boot(console=OUT / "console.log")
        self.gw.wan = wan
        self.gw.set("wandataif@system", wan)
        self.nodes, self.wires, self.told = ["gw", "host0", "host1"], [], {}     # for the report
        self.follower = self.gw.python("log-follower", "log_follower", "/tmp/ipv6.log", "/lab/out/log.jsonl")
        self.hosts = [Host("host0", OUT / "host0"), Host("host1", OUT / "host1")]
        for number, (host, bridge) in enumerate(zip(self.hosts, BRIDGES)):
            host.start()
            port = f"lan{number}"
            wire(self.gw, port, host, INTERFACE, f"02:00:00:00:0{number}:02", f"02:00:00:00:0{number}:10")
            self.wires.append([f"gw:{port}", f"{host.name}:{INTERFACE}"])
            self.gw.must("ip", "link", "add", bridge, "address", f"02:00:00:00:0{number}:01", "type", "bridge",
                         "forward_delay", "0", "mcast_snooping", "0")
            self.gw.must("sysctl", "-q", "-w", f"net.ipv6.conf.{port}.disable_ipv6=1")
            self.gw.must("ip", "link", "set", port, "master", bridge)
            for link in (port, bridge):
                self.gw.must("ip", "link", "set", link, "up")
            host.prepare()
            host.must("ip", "link", "set", INTERFACE, "up")
        eventually(lambda: need("follows" in self.follower.log(), "the log is not followed"))

    def command(self, name, *args):
        """Runs the program under a command name to its normal end."""
        done = self.gw.command(name, *args, timeout=PATIENCE)
        assert done.returncode == 1, f"{name} ended with {done.returncode}: {done.stderr}"

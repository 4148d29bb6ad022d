"""What both flows have in common inside the guest: the list of their scenarios, and the gateway with its two LANs."""
import json
import os
import sys
import time
import traceback
from pathlib import Path

from netlab.gateway import BRIDGES, Gateway
from netlab.host import INTERFACE, Host
from netlab.node import NodeError
from netlab.topology import Lab
from netlab.wait import NotYet, wait_for

REPOSITORY = Path(__file__).resolve().parents[2]
KIT = REPOSITORY / "platform" / "stock" / "kit"
OUT = Path("/run/exchange")
RESULTS = "results.json"
PATIENCE = 150              # seconds: an emulated processor on a busy machine is slow


class Flow:
    """Scenarios that share one guest, in the order of their definition. Each is one test on the host."""

    def __init__(self):
        self.scenarios = {}

    def scenario(self, function):
        """Takes a function in: its name says what holds; what it returns is kept with the result."""
        self.scenarios[function.__name__] = function
        return function

    def run(self, stage):
        """Runs all of them on a stage and writes the results down after each: what comes after the end of the machine
        is missing then, and not lost."""
        results = {}
        for name, function in self.scenarios.items():
            begin = time.monotonic()
            try:
                seen, held = function(stage), True
            except (AssertionError, NotYet):
                seen, held = traceback.format_exc(limit=-2), False
            except (NodeError, OSError, RuntimeError, LookupError, TypeError, ValueError, AttributeError):
                seen, held = traceback.format_exc(), False
            results[name] = {"held": held, "seen": str(seen or ""), "seconds": round(time.monotonic() - begin, 1)}
            print(f"{time.monotonic():7.1f} {'held' if held else 'FAILED'} {name} ({results[name]['seconds']} s) {seen}",
                  flush=True)
            new = OUT / f"{RESULTS}.new"
            new.write_text(json.dumps(results, indent=1) + "\n", encoding="utf-8")
            new.rename(OUT / RESULTS)
        return all(result["held"] for result in results.values())

    def main(self, make_stage):
        """Runs in the guest; the first argument is the folder with the built program."""
        stage = make_stage(Path(sys.argv[1]))
        print(f"{time.monotonic():7.1f} the stage is set", flush=True)
        held = self.run(stage)
        stage.gw.keep_files()
        sys.stdout.flush()
        os._exit(0 if held else 1)      # nobody needs to clear up in a machine that is switched off next


def eventually(probe, *args, within=PATIENCE):
    """Waits until a probe returns; its result."""
    return wait_for(lambda: probe(*args), within, 0.3)


class Device:
    """A gateway with a host on each of its bridges. It is on the line through the interface `wan`."""

    def __init__(self, build, wan):
        self.gw = Gateway(OUT / "gw", build, KIT)
        self.gw.boot(console=OUT / "console.log")
        self.gw.wan = wan
        self.gw.set("wandataif@system", wan)
        self.hosts = [Host("host0", OUT / "host0"), Host("host1", OUT / "host1")]
        for number, (host, bridge) in enumerate(zip(self.hosts, BRIDGES)):
            host.start()
            Lab.wire(self.gw, f"lan{number}", f"02:00:00:00:0{number}:02", host, INTERFACE,
                     f"02:00:00:00:0{number}:10")
            self.gw.make_bridge(bridge, f"lan{number}", f"02:00:00:00:0{number}:01")
            host.prepare()
            host.must("ip", "link", "set", INTERFACE, "up")

    def command(self, name, *args):
        """Runs the program under a command name to its normal end."""
        done = self.gw.command(name, *args, timeout=PATIENCE)
        assert done.returncode == 1, f"{name} ended with {done.returncode}: {done.stderr}"

"""The gateway: a root of its own with the device's kit laid over the host's, and the program under its names."""
import json
import os
import shutil
import time
from pathlib import Path

from netlab.node import PYTHON, Node, NodeError
from netlab.wait import need, wait_for

COMMANDS = ("zel_ipv6_lan", "zel_ip6neigh_update", "zel_dhcp6c_update", "zel_resolv_update", "zel_ipcp_up",
            "zel_ipcp_down", "zel_ipv6cp_up", "zel_ipv6cp_down", "zel_ifconfig", "wan6c_restart", "ipv6rd_restart",
            "dhcp6c_start", "dhcp6c_restart", "dhcp6c_release", "dhcp6c_renew", "ipv6_lan_restart")
COMPANIONS = Path(__file__).resolve().parents[2] / "companions"
BRIDGES = ("br-lan", "br-lan1")
KEPT_FOLDERS = ("/tmp", "/etc/config")                       # of the gateway's root, at the end of a run
SNAPSHOTS = {"addresses.txt": ("ip", "-6", "addr"), "routes.txt": ("ip", "-6", "route", "show", "table", "all"),
             "neighbours.txt": ("ip", "-6", "neigh"), "firewall.txt": ("ip6tables-save", "-c"),
             "store.txt": ("ccfg_cli", "export"),
             "processes.txt": ("/bin/ps", "-e", "-ww", "-o", "pid,ppid,etimes,args")}


class Gateway(Node):
    def __init__(self, out, build, kit):
        super().__init__("gw", out)
        self.build = Path(build)
        self.kit = Path(kit)
        self.wan = None
        self.wan_section = None

    def boot(self, console):
        """Makes the gateway as it is before any command ran: kit, program, factory settings, no link."""
        for needed in (self.build / "ipv6ctl", self.build / "ccfg_cli", self.kit / "root"):
            if not needed.exists():
                raise NodeError(f"{needed} is missing: build the program first (make build)")
        self.start(trees=[self.kit / "root"], tmpfs=["/etc/config"], console=console)
        self.install_kit_adapters()
        self.install_program()
        self.wan = self.must("wandataif.sh").strip()
        self.wan_section = self.must("if2sect.sh", self.wan).strip()

    def install_kit_adapters(self):
        """Lets the kit put its adapters before the stock programs whose options or output differ."""
        adapters = self.path("/lab/adapters")
        shutil.copytree(self.kit / "adapters", adapters, symlinks=True)
        self.must("sh", "/lab/adapters/enable")

    def install_program(self):
        sbin = self.path("/usr/sbin")
        for name in ("ipv6ctl", "ccfg_cli", "ipv6status"):
            (sbin / name).unlink(missing_ok=True)
            shutil.copy2(self.build / name, sbin / name)
        for command in COMMANDS:
            (sbin / command).unlink(missing_ok=True)
            (sbin / command).symlink_to("ipv6ctl")
        for script in ("trace", "rehearse"):        # where the lab is installed they are in /usr/bin
            source = COMPANIONS / f"{script}/bin/ipv6{script}"
            if source.exists():
                (sbin / source.name).unlink(missing_ok=True)
                (sbin / source.name).symlink_to(source)

    def prepare_wan(self):
        """The WAN interface's switches, set as on the device, before the link comes up: solicit three times, and
        listen to advertisements although the gateway forwards."""
        conf = f"net.ipv6.conf.{self.wan}"
        self.must("sysctl", "-q", "-w", f"{conf}.accept_ra=2", f"{conf}.router_solicitations=3", f"{conf}.autoconf=1")

    def command(self, name, *args, timeout=120):
        """Runs the program under one of its names and keeps a record of the run. Its normal end is status 1."""
        start = time.time()
        done = self.run(f"/usr/sbin/{name}", *args, timeout=timeout)
        record = {"time": round(start, 3), "seconds": round(time.time() - start, 3), "command": [name, *args],
                  "status": done.returncode, "stderr": done.stderr}
        with open(self.out / "invocations.jsonl", "a", encoding="utf-8") as file:
            file.write(json.dumps(record) + "\n")
        return done

    def get(self, key):
        """A value of the committed store (`key@section`), or None when the key is missing."""
        done = self.run("ccfg_cli", "get", key)
        return done.stdout.removesuffix("\n") if done.returncode == 0 else None

    def get_wan(self, key):
        return self.get(f"{key}@{self.wan_section}")

    def set(self, key, value):
        self.must("ccfg_cli", "set", f"{key}={value}")

    def sysctl(self, key):
        return self.must("sysctl", "-n", key).strip()

    def advertised_flags(self):
        """What the kernel notes of advertisements on the WAN (see the module of this name)."""
        return int(self.must(PYTHON, "-I", "/lab/src/netlab/advertised_flags.py", self.wan), 16)

    def await_advertisement(self, within=40):
        """Returns the router's address when the kernel has noted an advertisement on the WAN. One that comes before the
        first solicitation gives a default route already, but the kernel notes only one that comes after it."""
        def probe():
            routes = self.json("ip", "-j", "-6", "route", "show", "default", "dev", self.wan)
            routers = [route["gateway"] for route in routes if route.get("protocol") == "ra"]
            flags = self.advertised_flags()
            need(routers and flags & 0x20, f"no advertisement has answered a solicitation on the gateway's {self.wan}: "
                                           f"flags {flags:#x}, routers {routers}")
            return routers[0]
        return wait_for(probe, within)

    def log(self):
        return self.read("/tmp/ipv6.log")

    def snapshot(self, label):
        """Writes addresses, routes, firewall, store and processes of this moment into a folder LABEL."""
        folder = self.out / label
        folder.mkdir(exist_ok=True)
        for name, argv in SNAPSHOTS.items():
            done = self.run(*argv, timeout=20)
            (folder / name).write_text(done.stdout + done.stderr, encoding="utf-8")
        for name in ("radvd.conf", "dhcp6d.conf", "dhcp6c-wan.conf", "resolv.conf.auto", ".ip6t"):
            text = self.read(f"/tmp/{name}")
            if text:
                (folder / name.lstrip(".")).write_text(text, encoding="utf-8")

    def keep_files(self):
        """Copies what the gateway has in its memory file systems before they vanish. Programs are left out."""
        for folder in KEPT_FOLDERS:
            for place, _, names in os.walk(self.path(folder)):
                for name in names:
                    source = Path(place, name)
                    if source.is_symlink() or not source.is_file() or os.access(source, os.X_OK):
                        continue
                    target = self.out / "files" / source.relative_to(self.path("/"))
                    target.parent.mkdir(parents=True, exist_ok=True)
                    shutil.copyfile(source, target)

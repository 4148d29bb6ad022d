"""The gateways that are compared: each turns a delegation into an advertised prefix in its own way.

A contender is a node of the lab (`netlab.node`) with an `eth0` and two bridges. `begin` starts what runs before the
line is plugged in, `ask` what asks the provider once it is, and `parts` tells where the time between two moments went.
"""
import shutil
import subprocess
from pathlib import Path

from netlab.gateway import BRIDGES, Gateway
from netlab.node import Node, NodeError

import run_record
from split import Part

HERE = Path(__file__).resolve().parent
PROGRAMS = "/usr/lib/recorded"          # as in start_recorded.c
RECORD = "/run/run-record"
BINDINGS = ("BOUND6", "REBIND6", "REBOOT6", "RENEW6")
NETWORKD = "/lib/systemd/systemd-networkd"


def version_of(package):
    """"PACKAGE VERSION", or None when it is not installed."""
    done = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], capture_output=True, text=True,
                          check=False)
    return f"{package} {done.stdout}" if done.returncode == 0 and done.stdout else None


class Ours(Gateway):
    """The program with the kit: the DHCPv6 client calls it, it writes the daemons' files and starts them."""
    key, title = "ipv6ctl", "ipv6ctl"
    client, daemon = "dhclient and its adapter", "radvd"
    awaits_detection = True

    @staticmethod
    def missing():
        return None

    @staticmethod
    def versions():
        return [version_of(each) for each in ("isc-dhcp-client", "radvd")]

    def install_program(self):
        """The program itself lies elsewhere; what stands at its place starts it with the recorder."""
        super().install_program()
        folder = self.path(PROGRAMS)
        folder.mkdir(parents=True)
        place = self.path("/usr/sbin/ipv6ctl")
        shutil.move(place, folder / "ipv6ctl")
        for link in place.parent.iterdir():
            if link.is_symlink() and link.readlink() == Path("ipv6ctl"):
                (folder / link.name).symlink_to("ipv6ctl")
        compile_c("run_recorder.c", folder / "run_recorder.so", "-shared", "-fPIC")
        compile_c("start_recorded.c", place)

    def begin(self):
        for side in ("1", "lan"):
            self.command("zel_ipv6_lan", side)

    def ask(self):
        self.await_advertisement()
        self.command("zel_ipv6cp_up")

    def record(self):
        return self.read(RECORD)

    def busy(self):
        """Whether a run is at work or due: the client's script makes one for a binding, and another to apply it."""
        runs = run_record.runs(self.record())
        applied = [run.reason == "EFFECT6" for run in runs if run.reason in (*BINDINGS, "EFFECT6")]
        return not all(applied[-1:]) or any(run.end is None for run in runs)

    def parts(self, begin, end):
        return run_record.parts(self.record(), begin, end)

    def advertising_starts(self, begin, end):
        return run_record.advertising_starts(self.record(), begin, end) or end

    def keep_files(self):
        super().keep_files()
        (self.out / "run-record").write_text(self.record(), encoding="utf-8")


class Other(Node):
    """What the other gateways have in common."""

    def __init__(self, out):
        super().__init__("gw", out)
        self.wan, self.wan_section = "eth0", None

    def boot(self, console):
        self.start(console=console, files=self.files())

    @staticmethod
    def files():
        return {}

    def prepare_wan(self):
        self.must("sysctl", "-q", "-w", "net.ipv6.conf.all.forwarding=1", f"net.ipv6.conf.{self.wan}.accept_ra=2")

    def begin(self):
        pass

    def busy(self):
        return False

    def parts(self, begin, end):
        return []

    def advertising_starts(self, begin, end):
        """When the daemon that advertises was told to; `end` for a client that does it itself."""
        return end

    def keep_files(self):
        pass


class Dhcpcd(Other):
    """Debian's dhcpcd, with a hook that writes radvd's file and has radvd read it."""
    key, title = "dhcpcd", "dhcpcd and radvd"
    client, daemon = "dhcpcd", "radvd"
    awaits_detection = True
    # `nodev`: there is no udev to tell when an interface is ready.
    config = ["nodev", "duid ll", "ipv6only", "noipv6rs", f"allowinterfaces eth0 {' '.join(BRIDGES)}",
              "option dhcp6_name_servers", "interface eth0", "ipv6rs", "ia_na 1",
              f"ia_pd 2 {BRIDGES[0]}/1/64 {BRIDGES[1]}/2/64"]

    @staticmethod
    def missing():
        return None if version_of("dhcpcd-base") else "the package dhcpcd-base is not installed"

    @staticmethod
    def versions():
        return [version_of(each) for each in ("dhcpcd-base", "radvd")]

    def files(self):
        return {"/etc/dhcpcd.conf": "\n".join(self.config) + "\n",
                "/etc/dhcpcd.exit-hook": (HERE / "radvd_hook").read_text(encoding="utf-8")}

    def ask(self):
        self.spawn("dhcpcd", "/usr/sbin/dhcpcd", "-B", "-d", "-f", "/etc/dhcpcd.conf")

    def parts(self, begin, end):
        """The runs of the hook; each begins and ends with a line in its log."""
        found, open_at = [], {}
        for line in self.read("/lab/out/hook.log").splitlines():
            kind, moment, interface = line.split()[:3]
            if kind == "begin":
                open_at[interface] = float(moment)
            elif interface in open_at:
                found.append(Part("program", f"hook for {interface}", open_at.pop(interface), float(moment)))
        return found

    def advertising_starts(self, begin, end):
        """The end of the hook for the first LAN, unless radvd was quicker."""
        return max((part.end for part in self.parts(begin, end)
                    if begin <= part.end <= end and part.name == f"hook for {BRIDGES[0]}"), default=end)


class Networkd(Other):
    """systemd-networkd alone: client and advertisements are one process, which asks the kernel itself."""
    key, title = "networkd", "systemd-networkd"
    client = daemon = "systemd-networkd"
    awaits_detection = False

    @staticmethod
    def missing():
        return None if Path(NETWORKD).exists() else f"{NETWORKD} is not installed"

    @staticmethod
    def versions():
        return [version_of("systemd")]

    def files(self):
        found = {"/etc/machine-id": "0123456789abcdef0123456789abcdef\n",
                 "/etc/systemd/network/10-wan.network":
                     "[Match]\nName=eth0\n[Network]\nDHCP=ipv6\nIPv6AcceptRA=yes\nIPForward=ipv6\n"
                     "[DHCPv6]\nDUIDType=link-layer\nPrefixDelegationHint=::/56\n"}
        for number, bridge in enumerate(BRIDGES):
            found[f"/etc/systemd/network/2{number}-lan.network"] = (
                f"[Match]\nName={bridge}\n[Network]\nIPv6AcceptRA=no\nIPv6SendRA=yes\nDHCPPrefixDelegation=yes\n"
                f"[DHCPPrefixDelegation]\nUplinkInterface=eth0\nSubnetId={number + 1}\nAnnounce=yes\n")
        return found

    def ask(self):
        # Without udev it waits for no device database when /sys is read-only, as in a container.
        self.must("mount", "-o", "remount,bind,ro", "/sys")
        self.must("install", "-d", "-o", "systemd-network", "-g", "systemd-network", "/run/systemd/netif",
                  "/run/systemd/netif/links", "/run/systemd/netif/leases", "/run/systemd/netif/lldp")
        self.spawn("networkd", NETWORKD, env={"SYSTEMD_LOG_LEVEL": "debug", "SYSTEMD_LOG_TARGET": "console"})


def compile_c(source, target, *options):
    done = subprocess.run(["cc", "-O2", "-Wall", "-Wextra", "-o", str(target), str(HERE / source), *options],
                          capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise NodeError(f"{source} cannot be compiled: {done.stderr.strip()}")


CONTENDERS = {each.key: each for each in (Ours, Dhcpcd, Networkd)}

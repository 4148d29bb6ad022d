"""A node: one machine of the lab, with network, mount, process and host-name namespaces and a root of its own."""
import json
import os
import re
import signal
import subprocess
import time
from pathlib import Path

from netlab.wait import NotYet, wait_for

SOURCE = Path(__file__).resolve().parent
PATH = "/usr/sbin:/usr/bin:/sbin:/bin"
PYTHON = "/usr/bin/python3"


class NodeError(Exception):
    """A node could not be made, or a command that the lab itself needs failed in it."""


def children_of(pid):
    """The direct children of a process, by the parent column of /proc (not every kernel has `children`)."""
    found = []
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                stat = Path("/proc", entry, "stat").read_text(encoding="utf-8", errors="replace")
            except OSError:
                continue
            if int(stat.rpartition(")")[2].split()[1]) == pid:
                found.append(int(entry))
    return found


class Service:
    """A program that the lab keeps running inside a node."""

    def __init__(self, name, popen, log_path):
        self.name = name
        self.popen = popen
        self.log_path = log_path

    def running(self):
        return self.popen.poll() is None

    def log(self):
        return self.log_path.read_text(encoding="utf-8", errors="replace") if self.log_path.exists() else ""

    def stop(self, number=signal.SIGTERM, within=5.0):
        """Signals the program itself (not the process that entered the namespaces for it) and waits for its end."""
        for sign in (number, signal.SIGKILL):
            for pid in children_of(self.popen.pid):
                try:
                    os.kill(pid, sign)
                except ProcessLookupError:
                    pass
            try:
                self.popen.wait(within)
                return
            except subprocess.TimeoutExpired:
                continue
        self.popen.kill()
        self.popen.wait()


class Node:
    def __init__(self, name, out):
        self.name = name
        self.out = Path(out)
        self.pid = None
        self.leash = None
        self.services = []

    def start(self, *, trees=(), tmpfs=(), files=None, console=None):
        """Makes the node. `trees` are laid over its root, `tmpfs` are emptied folders, `files` are written in it, and
        what arrives at its console is appended to the file `console`."""
        self.out.mkdir(parents=True, exist_ok=True)
        os.chmod(self.out, 0o755)
        config = {"name": self.name, "out": str(self.out), "source": str(SOURCE.parent),
                  "trees": [str(tree) for tree in trees], "tmpfs": list(tmpfs),
                  "files": {**self.basic_files(), **(files or {})}, "console": str(console) if console else None}
        with open(self.out / "init.log", "w", encoding="utf-8") as log:
            self.leash = subprocess.Popen(
                [PYTHON, "-I", "-S", str(SOURCE / "node_init.py")], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                stderr=log, text=True, start_new_session=True, env=self.environment())
        self.leash.stdin.write(json.dumps(config) + "\n")
        self.leash.stdin.flush()
        # Two processes write here, one its child's number and the other that it is ready, in either order.
        told = {self.leash.stdout.readline().strip(), self.leash.stdout.readline().strip()}
        numbers = [int(line) for line in told if line.isdigit()]
        if "ready" not in told or not numbers:
            raise NodeError(f"{self.name} did not come up: {(self.out / 'init.log').read_text().strip()}")
        self.pid = numbers[0]
        self.must("ip", "link", "set", "lo", "up")

    def basic_files(self):
        return {"/etc/hostname": f"{self.name}\n", "/etc/hosts": f"127.0.0.1 localhost\n::1 localhost {self.name}\n",
                "/etc/nsswitch.conf": "passwd: files\ngroup: files\nhosts: files dns\nservices: files\n"
                                      "protocols: files\n",
                "/etc/resolv.conf": ""}

    @classmethod
    def attach(cls, name, out, pid):
        """A node that another process holds."""
        node = cls(name, out)
        node.pid = pid
        return node

    def enter(self, *argv, only_network=False):
        """The command line that runs `argv` inside the node."""
        kinds = ["-n"] if only_network else ["-m", "-n", "-p", "-u", "-i"]
        return ["/usr/bin/nsenter", "-t", str(self.pid), *kinds, "--", *map(str, argv)]

    def environment(self, extra=None):
        return {"PATH": PATH, "HOME": "/root", "LC_ALL": "C.UTF-8", "TERM": os.environ.get("TERM", "dumb"),
                "IPV6CTL_LAB": str(self.out.parent), **(extra or {})}

    def run(self, *argv, timeout=60, env=None, text_in=None, only_network=False):
        """Runs a command to its end. The result has `returncode`, `stdout` and `stderr`; a command that takes longer
        than `timeout` is killed and counts as ended with status 124. With `only_network` the command has the host's
        files and processes and only the node's network."""
        popen = subprocess.Popen(
            self.enter(*argv, only_network=only_network), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            stdin=subprocess.DEVNULL if text_in is None else subprocess.PIPE, errors="replace", start_new_session=True,
            env=self.environment(env))
        status = None
        try:
            stdout, stderr = popen.communicate(text_in, timeout)
        except subprocess.TimeoutExpired:
            status = 124
            Service(self.name, popen, self.out).stop(signal.SIGKILL)
            stdout, stderr = popen.communicate()
        return subprocess.CompletedProcess(argv, popen.returncode if status is None else status, stdout, stderr)

    def must(self, *argv, **options):
        """Runs a command that the lab itself needs; returns its standard output."""
        done = self.run(*argv, **options)
        if done.returncode != 0:
            raise NodeError(f"{self.name}: \"{' '.join(map(str, argv))}\" ended with {done.returncode}: "
                            f"{(done.stderr or done.stdout).strip()}")
        return done.stdout

    def spawn(self, name, *argv, env=None):
        """Starts a program that stays; its output goes to NAME.log in the node's folder."""
        log_path = self.out / f"{name}.log"
        with open(log_path, "ab") as log:
            popen = subprocess.Popen(self.enter(*argv), stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                     start_new_session=True, env=self.environment(env))
        service = Service(name, popen, log_path)
        self.services.append(service)
        return service

    def python(self, name, module, *argv):
        """Starts one of this package's own programs inside the node."""
        return self.spawn(name, PYTHON, "-I", f"/lab/src/netlab/{module}.py", *argv)

    def path(self, inside):
        """Where the host sees a path of the node."""
        return Path(f"/proc/{self.pid}/root/{inside.lstrip('/')}")

    def read(self, inside):
        """A file of the node, or the empty text when there is none."""
        try:
            return self.path(inside).read_text(encoding="utf-8", errors="replace")
        except OSError:
            return ""

    def json(self, *argv):
        """The parsed output of a command that prints JSON; an empty list when it prints nothing."""
        text = self.must(*argv)
        return json.loads(text) if text.strip() else []

    def make_bridge(self, bridge, mac):
        """A bridge without ports; it is up."""
        self.must("ip", "link", "add", bridge, "address", mac, "type", "bridge", "forward_delay", "0",
                  "mcast_snooping", "0")
        self.must("ip", "link", "set", bridge, "up")
        # Where the kernel has it on, frames between two ports would pass the firewall as if they were routed.
        self.run("sysctl", "-q", "-e", "-w", *[f"net.bridge.bridge-nf-call-{tables}=0"
                                               for tables in ("ip6tables", "iptables", "arptables")])

    def plug_into_bridge(self, bridge, port):
        """Makes an interface a port of a bridge and brings it up. A port has no address of its own."""
        self.must("sysctl", "-q", "-w", f"net.ipv6.conf.{port}.disable_ipv6=1")
        self.must("ip", "link", "set", port, "master", bridge)
        self.must("ip", "link", "set", port, "up")

    def addresses(self, interface, scope=None):
        """IPv6 addresses of an interface: iproute2's records, of one scope when asked."""
        found = []
        for link in self.json("ip", "-j", "-6", "addr", "show", "dev", interface):
            found += [entry for entry in link.get("addr_info", []) if entry.get("family") == "inet6"
                      and (scope is None or entry.get("scope") == scope)]
        return found

    def mac(self, interface):
        """The interface's link-layer address."""
        return self.json("ip", "-j", "link", "show", "dev", interface)[0]["address"]

    def link_local(self, interface, within=20):
        """The link-local address, once duplicate address detection has passed."""
        def probe():
            for entry in self.addresses(interface, "link"):
                if not entry.get("tentative"):
                    return entry["local"]
            raise NotYet(f"{self.name} has no usable link-local address on {interface}")
        return wait_for(probe, within)

    def processes(self, pattern=""):
        """(pid, command line) of the node's processes whose command line matches, seen from inside the node."""
        found = []
        for line in self.must("/bin/ps", "-e", "-ww", "-o", "pid=,args=").splitlines():
            pid, _, line_args = line.strip().partition(" ")
            if re.search(pattern, line_args):
                found.append((int(pid), line_args.strip()))
        return found

    def namespaces(self):
        """Inode numbers of the node's namespaces by kind."""
        return {kind: os.readlink(f"/proc/{self.pid}/ns/{kind}") for kind in ("net", "mnt", "pid", "uts", "ipc")}

    def close(self):
        """Ends the node and all that runs in it."""
        if self.leash is None:
            return
        self.leash.stdin.close()
        try:
            self.leash.wait(10)
        except subprocess.TimeoutExpired:
            os.kill(self.pid or self.leash.pid, signal.SIGKILL)
            self.leash.wait()
        self.leash.stdout.close()
        self.leash = None
        deadline = time.monotonic() + 10
        for service in self.services:
            try:
                service.popen.wait(max(0.1, deadline - time.monotonic()))
            except subprocess.TimeoutExpired:
                service.popen.kill()
                service.popen.wait()

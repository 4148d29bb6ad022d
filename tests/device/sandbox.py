"""The private root that the program runs in: small C programs, the root's template, the network namespace.

Nothing here outlives the test process: the network namespace is held by an open file only, and bwrap takes its
process and mount namespaces with it.
"""
import contextlib
import ctypes
import fcntl
import json
import os
import pathlib
import shutil
import subprocess
import threading

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parent.parent

COMMANDS = [
    "zel_ipv6_lan", "zel_ip6neigh_update", "zel_dhcp6c_update", "zel_resolv_update", "zel_ipcp_up", "zel_ipcp_down",
    "zel_ipv6cp_up", "zel_ipv6cp_down", "zel_ifconfig", "wan6c_restart", "ipv6rd_restart", "dhcp6c_start",
    "dhcp6c_restart", "dhcp6c_release", "dhcp6c_renew", "ipv6_lan_restart",
]
RECORDERS = {
    "usr/sbin": ["ip", "ifconfig", "ip6tables", "ip6tables-restore", "iptables-save", "iptables-restore", "conntrack",
                 "dhclient", "dhcpd", "radvd", "rdnssd", "ecmh", "uboot_env", "sip_config", "resolv_update.sh",
                 "dnsmasq_update.sh", "wandataif.sh", "if2sect.sh", "vorn_syslog_cli", "firewallv6.user"],
    "usr/bin": ["killall", "nslookup", "ps"],
    "etc/init.d": ["dnsmasq2", "cron"],
}
REAL_TOOLS = ["sh", "sed", "cat", "rm", "cp", "mv", "mkdir", "ls", "touch", "sum", "sha1sum", "grep", "echo", "head",
              "tail", "cut", "sort", "tr", "true", "false", "env"]

_libc = ctypes.CDLL(None, use_errno=True)
_CLONE_NEWNET = 0x40000000


def program_path():
    return pathlib.Path(os.environ.get("IPV6CTL", TREE / "build/ipv6ctl")).resolve()


def store_tool_path():
    return pathlib.Path(os.environ.get("CCFG_CLI", TREE / "build/ccfg_cli")).resolve()


def _check(result, what):
    if result != 0:
        reason = os.strerror(ctypes.get_errno())
        raise OSError(ctypes.get_errno(), f"{what}: {reason} (these tests need root, or `unshare -Urn` in front)")


class NetNamespace:
    """A network namespace; `with` puts the calling thread, and what it starts, into it."""

    def __init__(self):
        self._home = os.open("/proc/self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
        self._error = None
        thread = threading.Thread(target=self._create)      # so that the caller's own thread never leaves home
        thread.start()
        thread.join()
        if self._error:
            raise self._error

    def _create(self):
        try:
            _check(_libc.unshare(_CLONE_NEWNET), "unshare")
            self._own = os.open("/proc/thread-self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
        except OSError as error:
            self._error = error

    def __enter__(self):
        _check(_libc.setns(self._own, _CLONE_NEWNET), "setns")

    def __exit__(self, *_):
        _check(_libc.setns(self._home, _CLONE_NEWNET), "setns")


class World:
    """The network namespace of one test process, with the links that the last test left in it."""

    def __init__(self):
        self._namespace = NetNamespace()
        self._links = {}
        self._ip4 = {}

    def _ip(self, *args, batch=None):
        with self._namespace:
            done = subprocess.run(["/usr/sbin/ip", *args], input=batch, capture_output=True, text=True)
        if done.returncode != 0:
            raise RuntimeError(f"ip {' '.join(args)}: {done.stderr}\n{batch or ''}")
        return done.stdout

    def arrange(self, links, addresses, fresh):
        """Makes the links as asked: {name: (mac, ip4 or None)}; `fresh` also drops addresses left by another test,
        then `addresses`, a list of (name, "address/length"), are added."""
        batch = []
        for name in [n for n in self._links if n not in links]:
            batch.append(f"link del dev {name}")
            del self._links[name]
            self._ip4.pop(name, None)
        for name, (mac, ip4) in links.items():
            if name not in self._links:
                batch += [f"link add name {name} address {mac} type bridge", f"link set dev {name} addrgenmode none",
                          f"link set dev {name} up"]
            elif self._links[name] != mac:
                batch.append(f"link set dev {name} address {mac}")
            elif fresh:
                batch.append(f"addr flush dev {name}")
                self._ip4.pop(name, None)
            self._links[name] = mac
            if self._ip4.get(name) != ip4:
                if name in self._ip4:
                    batch.append(f"addr del {self._ip4.pop(name)} dev {name}")
                if ip4:
                    batch.append(f"addr add {ip4} dev {name}")
                    self._ip4[name] = ip4
        batch += [f"addr add {address} dev {name}" for name, address in addresses]
        if batch:
            self._ip("-batch", "-", batch="\n".join(batch) + "\n")

    def addresses(self):
        """{name: ["address/length", ...]} of the IPv6 addresses, links without any included."""
        found = {name: [] for name in self._links}
        for link in json.loads(self._ip("-6", "-j", "addr", "show")):
            if link.get("ifname") in found:
                found[link["ifname"]] += [f"{a['local']}/{a['prefixlen']}" for a in link["addr_info"] if "local" in a]
        return {name: sorted(texts) for name, texts in found.items()}

    def popen(self, command, **options):
        with self._namespace:
            return subprocess.Popen(command, **options)


class Template:
    """The read-only part of the root and the small C programs, made once beside the program under test."""

    def __init__(self):
        self.tools = program_path().parent / "device-tests"
        self.tools.mkdir(exist_ok=True)
        with self.locked():
            self.recorder = self.compile("recorder", HERE / "recorder.c")
            self.launcher = self.compile("launcher", HERE / "launcher.c")
            self.preload = self.compile("instant.so", HERE.parent / "preload/instant.c", "-shared", "-fPIC", "-ldl")
        self.recorder_bytes = self.recorder.read_bytes()

    @contextlib.contextmanager
    def locked(self):
        """Keeps test processes from compiling the same program at once."""
        with open(self.tools / "lock", "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            yield

    def compile(self, name, source, *flags):
        """Brings a program or library of the tests up to date; call it within `locked`."""
        made = self.tools / name
        if not made.exists() or made.stat().st_mtime < source.stat().st_mtime:
            fresh = self.tools / (name + ".new")
            subprocess.run([os.environ.get("CC", "cc"), "-O1", "-Wall", "-Wextra", "-Wno-format-truncation", "-o",
                            fresh, source, *flags], check=True)
            fresh.rename(made)
        return made

    def build(self, root):
        """Makes the root's folders under `root`; the mounts of `command` go over the empty ones."""
        for folder in ("usr/lib", "usr/lib64", "usr/sbin", "usr/bin", "etc/config", "etc/init.d", "lib", "host", "var",
                       "tmp", "run", "proc", ".proc", "dev", "gw", "tools", "lib/firewall"):
            (root / folder).mkdir(parents=True)
        for name, target in {"bin": "usr/bin", "sbin": "usr/sbin", "lib64": "usr/lib64", "var/run": "../run"}.items():
            (root / name).symlink_to(target)
        for entry in os.listdir("/usr/lib"):
            if entry != "firewall":
                (root / "lib" / entry).symlink_to("/usr/lib/" + entry)
        for folder, names in RECORDERS.items():
            for name in names:
                shutil.copy(self.recorder, root / folder / name)
        for tool in REAL_TOOLS:
            real = pathlib.Path(shutil.which(tool, path="/usr/bin")).resolve()
            (root / "usr/bin" / tool).symlink_to(f"/host/{real.name}")
        for name in COMMANDS:
            (root / "usr/sbin" / name).symlink_to("ipv6ctl")
        for bound in ("usr/sbin/ipv6ctl", "usr/bin/ccfg_cli", "lib/firewall/firewallv6.user", "tools/launcher",
                      "tools/instant.so"):
            (root / bound).touch()


def command(template, root, base, variables, inner, shell=True, mounts=()):
    """The bwrap line that runs `inner` in the root; `base` holds the folders that belong to one test. `mounts` are
    words of bwrap for mounts over the usual ones."""
    line = ["bwrap", "--unshare-pid", "--as-pid-1", "--die-with-parent", "--clearenv", "--ro-bind", root, "/",
            "--ro-bind", "/usr/lib", "/usr/lib", "--ro-bind", "/usr/bin", "/host",
            "--ro-bind", program_path(), "/usr/sbin/ipv6ctl", "--ro-bind", template.launcher,
            "/tools/launcher", "--ro-bind", template.preload, "/tools/instant.so",
            "--ro-bind", base / "firewallv6.user", "/lib/firewall/firewallv6.user", "--proc", "/.proc"]
    if (root / "usr/bin/ccfg_cli").exists():
        line += ["--ro-bind", store_tool_path(), "/usr/bin/ccfg_cli"]
    if os.path.isdir("/usr/lib64"):
        line += ["--ro-bind", "/usr/lib64", "/usr/lib64"]
    for folder in ("tmp", "run", "proc", "dev", "gw", "etc/config"):
        line += ["--bind", base / folder, "/" + folder]
    line += ["--dev-bind", "/dev/null", "/dev/null"]
    if not shell:
        line += ["--ro-bind", base / "no-shell", "/host/" + os.path.basename(os.path.realpath("/bin/sh"))]
    line += mounts
    for name, value in variables.items():
        line += ["--setenv", name, value]
    return [str(word) for word in line] + ["--"] + inner

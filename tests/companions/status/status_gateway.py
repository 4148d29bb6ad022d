"""A gateway to be looked at: real interfaces, addresses and routes in namespaces of its own, a real store, stand-ins for
the daemons. From the start it is a healthy one; a test changes what it is about and looks.

    gw.store["ip6_wan_ready@system"] = "0"
    gw.files["/tmp/radvd.conf"] = "..."          None removes it
    gw.network.remove("addr add ... dev br-lan") lines of `ip -6 -batch`
    gw.daemons.pop("radvd")                      name -> arguments
    gw.kernel["all/forwarding"] = 0              below /proc/sys/net/ipv6/conf
    gw.later = 60                                seconds from now at which it is looked at
    look = gw.look()
    look.status, look.health, look.row("lan0", "global_prefix"), look.why("lan0", "global_prefix")

Needs root, as the device tests do, or `unshare -Urn` in front.
"""

import json
import os
import subprocess
import time
from pathlib import Path

import jsonschema

ROOT = Path(__file__).resolve().parents[3]
BUILD = Path(os.environ.get("IPV6CTL_BUILD", ROOT / "build"))
SCHEMA = json.loads((ROOT / "companions/status/ipv6status.schema.json").read_text(encoding="ascii"))
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)
STATUS_OF = {"healthy": 0, "degraded": 1, "unknown": 2}

SETTINGS = {
    "ip6_wan_ready@system": "1", "ip4_wan_ready@system": "1",
    "ip6_proto@wan100": "dhcp", "ip6_addr@wan100": "3fff:100::77", "ip6_pfxlen@wan100": "64",
    "ip6_gateway@wan100": "fe80::1", "ip6_dns_primary@wan100": "3fff:100:53::1",
    "ip6_dhcp6c_prefix_addr@system": "3fff:200:300::", "ip6_dhcp6c_prefix_length@system": "56",
    "ip6_addr@lan0": "3FFF:0200:0300:0001::1", "ip6_prefix@lan0": "3fff:200:300:1::", "ip6_pfxlen@lan0": "64",
    "ip6_addr@lan1": "3fff:200:300:2::1", "ip6_prefix@lan1": "3fff:200:300:2::", "ip6_pfxlen@lan1": "64",
    "ip6_ula_eb@lan0": "1", "ip6_ula_addr@lan0": "FD11:2233:4455:0001::1", "ip6_ula_eb@lan1": "0",
    "ip6_filter_cnt@wan100": "1", "ip6_filter_list@wan100": "web;3fff:200:300:1::5;tcp;80;80",
}
RADVD = """\
interface br-lan {
AdvSendAdvert on;
prefix FD11:2233:4455:0001::/64 {
};
prefix 3fff:200:300:1::/64 {
};
};
interface br-lan1 {
AdvSendAdvert on;
prefix 3fff:200:300:2::/64 {
};
};
"""
RULES = ["-A INPUT -i br-lan -j ACCEPT", "-A INPUT -j DROP",
         "-A FORWARD -p tcp -s 3fff:200:300:1::5 -m multiport --dports 80 -j ACCEPT",
         "-A FORWARD -p tcp -d 3fff:200:300:1::5 -m multiport --dports 80 -j ACCEPT"]


def lease(prefix="3fff:200:300::/56", age=600, preferred=3600, valid=7200):
    return f"""\
default-duid "\\000\\001";
lease6 {{
  interface "eth0";
  ia-pd 00:00:64:01 {{
    starts {int(time.time()) - age};
    iaprefix {prefix} {{
      starts {int(time.time()) - age};
      preferred-life {preferred};
      max-life {valid};
    }}
  }}
  option dhcp6.name-servers 3fff:100:53::1;
}}
"""


def saved(rules):
    """What ip6tables-save -c prints of these rules."""
    return "\n".join(["# Generated", "*filter", ":INPUT ACCEPT [0:0]", *(f"[12:960] {rule}" for rule in rules),
                      "COMMIT", ""])


class Look:
    def __init__(self, status, output, errors):
        self.status, self.output, self.errors = status, output, errors
        self.document = json.loads(output)
        VALIDATOR.validate(self.document)
        self.health = self.document["health"]
        assert status == STATUS_OF[self.health], output
        self.sections = self.document["sections"]

    def rows(self, section, name):
        return [row for row in self.sections[section] if row["name"] == name]

    def row(self, section, name, item=None):
        found = [row for row in self.rows(section, name) if item in (None, row.get("item"))]
        assert len(found) == 1, (section, name, self.sections[section])
        return found[0]

    def why(self, section, name, item=None):
        return self.row(section, name, item).get("why")

    def reasons(self):
        """{"section name item": why} of all that is not as it should be."""
        return {" ".join(filter(None, (section, row["name"], row.get("item")))): row["why"]
                for section, rows in self.sections.items() for row in rows if "why" in row}


class StatusGateway:
    def __init__(self, folder):
        self.folder = folder
        self.store = dict(SETTINGS)
        self.files = {"/tmp/radvd.conf": RADVD, "/tmp/dhcp6d.conf": "subnet6 ...\n", "/tmp/dhcp6c-wan.conf": "send\n",
                      "/run/dhcp6c-wan.pid": "4711\n", "/tmp/dhcp6c-wan.leases": lease(),
                      "/tmp/.ip6t": "*filter\n" + "\n".join(RULES) + "\nCOMMIT\n",
                      "/tmp/zel_ipv6cp_script_running": "0"}
        self.times = {}              # path -> seconds from now
        self.network = [
            "link add eth0 type veth peer name line", "link set line up", "link set eth0 up",
            "link add br-lan type bridge", "link set br-lan up", "link add br-lan1 type bridge", "link set br-lan1 up",
            "addr add 3fff:100::77/64 dev eth0 nodad", "route add default via fe80::1 dev eth0",
            "addr add 3fff:200:300:1::1/64 dev br-lan nodad", "addr add fd11:2233:4455:1::1/64 dev br-lan nodad",
            "addr add 3fff:200:300:2::1/64 dev br-lan1 nodad"]
        self.daemons = {"dhclient": "-6  -P -d -cf /tmp/dhcp6c-wan.conf eth0", "radvd": "-C /tmp/radvd.conf",
                        "dhcp6d": "-6 -cf /tmp/dhcp6d.conf"}
        self.kernel = {"all/forwarding": 1, "eth0/accept_ra": 2, "eth0/router_solicitations": 3}
        self.scripts = {"wandataif.sh": "echo eth0", "if2sect.sh": "echo wan100"}
        self.loaded = RULES
        self.later = 0

    def path(self, name):
        return self.folder / name.lstrip("/")

    def _write(self):
        for name in ("tmp", "run", "bin", "ready", "config"):
            (self.folder / name).mkdir(exist_ok=True)
        for name, text in self.files.items():
            self.path(name).unlink(missing_ok=True)
            if text is not None:
                self.path(name).write_bytes(text.encode("utf-8", "surrogateescape"))
                moment = time.time() + self.times.get(name, 0)
                os.utime(self.path(name), (moment, moment))
        if self.store is not None:
            text = "".join(f"{key}={value}\n" for key, value in self.store.items())
            self.path("config/ccfg.db").unlink(missing_ok=True)
            subprocess.run([BUILD / "ccfg_cli", "import"], input=text, text=True, check=True,
                           env={**os.environ, "TESA_STORE": str(self.path("config/ccfg.db"))})
        self.path("saved").write_text(saved(self.loaded), encoding="ascii")
        scripts = {"ip6tables-save": "cat /mnt/saved", **self.scripts}
        scripts.update({name: "echo >/mnt/ready/$(basename $0)\nsleep 600" for name in self.daemons})
        for name, body in scripts.items():
            self.path("bin/" + name).write_text(f"#!/bin/sh\n{body}\n", encoding="utf-8")
            self.path("bin/" + name).chmod(0o755)
        self.path("network").write_text("\n".join(self.network) + "\n", encoding="ascii")

    def _clock(self):
        """The arguments of bwrap that put the look off."""
        if self.later == 0:
            return []
        library = self.folder / "later.so"
        if not library.exists():
            source = Path(__file__).with_name("later.c")
            subprocess.run(["cc", "-shared", "-fPIC", "-o", library, source, "-ldl"], check=True)
        return ["--ro-bind", library, "/mnt/later.so"]

    def command(self, *words, before=""):
        """The bwrap line that sets the gateway up and then runs the words."""
        self._write()
        # A stand-in is up when it has written to its FIFO, and its command line is its own by then.
        clock = f"export LATER={self.later} LD_PRELOAD=/mnt/later.so\n" if self.later else ""
        setup = "ip -6 -batch /mnt/network || exit 97\n" + "".join(
            f"echo {value} >/proc/sys/net/ipv6/conf/{name} || exit 98\n" for name, value in self.kernel.items()) + "".join(
            f"mkfifo /mnt/ready/{name}\n{name} {arguments} >/dev/null 2>&1 &\nread -r _ </mnt/ready/{name}\n"
            for name, arguments in self.daemons.items())
        return ["bwrap", "--unshare-net", "--unshare-pid", "--die-with-parent", "--cap-add", "CAP_NET_ADMIN",
                "--ro-bind", "/", "/", "--bind", self.folder / "tmp", "/tmp", "--bind", self.folder / "run", "/run",
                "--dev", "/dev", "--proc", "/proc", "--tmpfs", "/mnt", "--bind", self.folder / "bin", "/mnt/bin",
                "--tmpfs", "/mnt/ready", "--bind", self.folder / "config", "/mnt/config",
                "--ro-bind", self.folder / "saved", "/mnt/saved", "--ro-bind", self.folder / "network", "/mnt/network",
                "--ro-bind", BUILD / "ipv6status", "/mnt/ipv6status", *self._clock(),
                "--setenv", "PATH", "/mnt/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                "--setenv", "TESA_STORE", "/mnt/config/ccfg.db", "--setenv", "LC_ALL", "C",
                "--", "/bin/sh", "-c", f'{setup}{before}\n{clock}exec "$@"', "sh", *words]

    def run(self, *arguments, before=""):
        done = subprocess.run(self.command("/mnt/ipv6status", *arguments, before=before), capture_output=True,
                              check=False, timeout=120)
        errors = done.stderr.decode(errors="replace")
        assert done.returncode in (0, 1, 2), (done.returncode, errors)
        return done.returncode, done.stdout.decode("ascii"), errors

    def look(self, before=""):
        look = Look(*self.run("--json", before=before))
        assert look.errors == ""
        return look

    def screen(self, *arguments):
        status, text, errors = self.run(*arguments)
        assert errors == ""
        return status, text.splitlines()

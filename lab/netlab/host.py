"""A host on one of the gateway's bridges: configures itself as any host does, by the kernel and stock clients."""
import ipaddress
import re

from netlab.node import Node
from netlab.wait import NotYet

INTERFACE = "eth0"
RESOLVER = "/run/rdnssd/resolv.conf"      # what rdnssd learns from advertisements
DHCP_ANSWER = "/run/dhclient6.env"        # what the DHCPv6 client handed to its script


class Host(Node):
    def prepare(self):
        """Before the link is up: accept advertisements, and listen for the DNS servers that they name."""
        self.must("sysctl", "-q", "-w", f"net.ipv6.conf.{INTERFACE}.accept_ra=1",
                  f"net.ipv6.conf.{INTERFACE}.autoconf=1", f"net.ipv6.conf.{INTERFACE}.forwarding=0")
        self.must("install", "-d", "-o", "nobody", "/run/rdnssd")   # rdnssd gives its rights away before it writes
        self.spawn("rdnssd", "/usr/sbin/rdnssd", "-f", "-u", "nobody", "-r", RESOLVER, "-p", "/run/rdnssd.pid")

    def global_addresses(self):
        """Usable autoconfigured addresses of global scope (unique-local ones included): iproute2's records."""
        return [entry for entry in self.addresses(INTERFACE, "global")
                if not entry.get("tentative") and not entry.get("dadfailed")]

    def address_in(self, network):
        """The host's record of its address in a prefix; `NotYet` while it has none."""
        network = ipaddress.ip_network(network)
        seen = self.global_addresses()
        for entry in seen:
            if ipaddress.ip_address(entry["local"]) in network:
                return entry
        have = ", ".join(entry["local"] for entry in seen) or "no autoconfigured address at all"
        raise NotYet(f"{self.name} has no address in {network} but {have}")

    def advertised_resolver(self):
        """(name servers, search list) that rdnssd wrote down from advertisements."""
        text = self.read(RESOLVER)
        servers = re.findall(r"^nameserver (\S+)", text, re.M)
        search = [name for line in re.findall(r"^search (.*)", text, re.M) for name in line.split()]
        return servers, search

    def ask_dhcp(self):
        """Starts a stock DHCPv6 client that asks for information only."""
        self.must("rm", "-f", DHCP_ANSWER)
        return self.spawn("dhclient", "/usr/sbin/dhclient", "-6", "-S", "-d", "-sf",
                          "/lab/src/netlab/dhclient_script.sh", "-cf", "/dev/null", "-lf", "/run/dhclient6.leases",
                          "-pf", "/run/dhclient6.pid", INTERFACE)

    def dhcp_answer(self):
        """The DHCPv6 client's environment of its newest script call; `NotYet` before the first answer."""
        text = self.read(DHCP_ANSWER)
        if not text:
            raise NotYet(f"{self.name}'s DHCPv6 client has no answer")
        return dict(part.split("=", 1) for part in text.split("\0") if "=" in part)

    def use_resolver(self, servers, search=()):
        lines = [f"nameserver {server}" for server in servers]
        if search:
            lines.append("search " + " ".join(search))
        self.path("/etc/resolv.conf").write_text("\n".join([*lines, "options timeout:2 attempts:3"]) + "\n",
                                                 encoding="utf-8")

    def resolve(self, name):
        """IPv6 addresses of a name by the host's own resolver library; an empty list when it does not resolve."""
        done = self.run("getent", "ahostsv6", name, timeout=20)
        return sorted({line.split()[0] for line in done.stdout.splitlines() if line.strip()})

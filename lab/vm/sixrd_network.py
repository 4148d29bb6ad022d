"""The network of the 6rd flow: an IPv4 access line, the border relay at its end, and the IPv6 internet behind that.

    gw  eth0 198.51.100.7 -- access0 198.51.100.254  relay  core0 -- access0  isp (the public server)
                      only IPv4 here                         only IPv6 here
"""
import ipaddress
from dataclasses import dataclass

from guest import wire
from netlab.node import Node
from netlab.packets import Packet
from pcap import frames

LINE = ipaddress.ip_network("198.51.100.0/24")
GATEWAY, RELAY = "198.51.100.7", "198.51.100.254"
LEASED = "198.51.100.77"                    # what the relay's DHCPv4 server gives out
RELAY_NAME = "relay.isp.example"
IPV4, SIT = b"\x08\x00", 41                 # EtherType; protocol number of IPv6 inside IPv4 (RFC 4213)


@dataclass(frozen=True)
class Domain:
    """A 6rd domain (RFC 5969): the provider's prefix and how many high bits all its customers' IPv4 addresses share."""
    prefix: str                             # with its length
    v4mask: int

    def network(self):
        return ipaddress.ip_network(self.prefix)

    def delegated(self, ip4):
        """What a customer with this IPv4 address has: the prefix followed by the address's bits that are its own."""
        length = self.network().prefixlen + 32 - self.v4mask
        own = int(ipaddress.ip_address(ip4)) & (1 << (32 - self.v4mask)) - 1
        return ipaddress.ip_network((int(self.network().network_address) | own << (128 - length), length))

    def common(self):
        """The part of an IPv4 address that all customers share, as a network."""
        other = 32 - self.v4mask
        return ipaddress.ip_network((int(LINE.network_address) >> other << other, self.v4mask))


class Relay(Node):
    """The border relay: IPv4 towards the customers, IPv6 towards the rest of the world, with the kernel's own 6rd."""

    def connect(self, gw, isp):
        wire(gw, "eth0", self, "access0", "02:00:00:00:64:01", "02:00:00:00:64:fe")
        wire(self, "core0", isp, "access0", "02:00:00:00:c0:01", "02:00:00:00:c0:fe")
        self.must("sysctl", "-q", "-w", "net.ipv6.conf.all.forwarding=1", "net.ipv6.conf.access0.disable_ipv6=1")
        self.must("ip", "addr", "add", f"{RELAY}/24", "dev", "access0")
        self.must("ip", "-6", "addr", "add", "3fff:100:0:1::2/64", "dev", "core0", "nodad")
        for node, link in ((self, "access0"), (self, "core0"), (isp, "access0"), (gw, "eth0")):
            node.must("ip", "link", "set", link, "up")
        self.must("ip", "-6", "route", "add", f"{isp.config.server_address}/128", "via", isp.line_address(), "dev",
                  "core0")

    def serve(self, domain):
        """Becomes the border relay of a domain, and of no other any more."""
        self.run("ip", "tunnel", "del", "border")
        self.must("ip", "tunnel", "add", "border", "mode", "sit", "ttl", "64", "remote", "any", "local", RELAY)
        self.must("ip", "tunnel", "6rd", "dev", "border", "6rd-prefix", domain.prefix, "6rd-relay_prefix",
                  str(domain.common()))
        self.must("ip", "link", "set", "border", "up")
        self.must("ip", "-6", "route", "add", domain.prefix, "dev", "border")

    def start_name_server(self):
        """Names the relay, with an IPv6 address as well, which is of no use for a tunnel."""
        self.spawn("dnsmasq", "/usr/sbin/dnsmasq", "--conf-file=/dev/null", "--keep-in-foreground", "--no-resolv",
                   "--no-hosts", "--user=root", "--pid-file=", "--log-facility=-", "--log-queries", "--bind-interfaces",
                   f"--listen-address={RELAY}", f"--host-record={RELAY_NAME},{RELAY},3fff:100:0:1::2")

    def start_dhcp4(self, domain):
        """A DHCPv4 server that tells its clients the domain (option 212, RFC 5969)."""
        network = domain.network()
        (self.out / "dhcpd.conf").write_text(
            "option sixrd code 212 = { integer 8, integer 8, ip6-address, ip-address };\nauthoritative;\n"
            f"subnet {LINE.network_address} netmask {LINE.netmask} {{\n  range {LEASED} {LEASED};\n"
            f"  option sixrd {domain.v4mask} {network.prefixlen} {network.network_address} {RELAY};\n}}\n",
            encoding="utf-8")
        (self.out / "dhcpd.leases").touch()
        self.spawn("dhcpd", "/usr/sbin/dhcpd", "-4", "-d", "-cf", "/lab/out/dhcpd.conf", "-lf",
                   "/lab/out/dhcpd.leases", "--no-pid", "access0")


def tunnelled(path, since):
    """(outer source, outer destination, inner packet) of each IPv6 packet inside IPv4 in a capture of the line."""
    found = []
    for time, frame in frames(path):
        header = (frame[14] & 15) * 4 if frame[12:14] == IPV4 else 0
        if time < since or not header or frame[23] != SIT:
            continue
        outer = [str(ipaddress.ip_address(frame[at:at + 4])) for at in (26, 30)]
        inner = frame[14 + header:]
        addresses = [str(ipaddress.ip_address(inner[at:at + 16])) for at in (8, 24)]
        found.append((*outer, Packet(time, *addresses, inner[6], inner[40:])))
    return found

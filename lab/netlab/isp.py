"""The access provider: router advertisements, DHCPv6 with prefix delegation, name service and a public server."""
import dataclasses
import ipaddress
import json
from dataclasses import dataclass, field

from netlab.node import Node
from netlab.wait import NotYet, wait_for

ACCESS = "access0"          # the provider's end of the subscriber line
DHCP_LEASES = "/lab/out/dhcpd6.leases"


@dataclass
class IspConfig:
    """What the provider does. Times are in seconds."""
    advertise: bool = True                       # send router advertisements at all
    managed: bool = True                         # their M flag
    other: bool = True                           # their O flag
    autonomous: bool = False                     # the A flag of the line's prefix
    unicast_only: bool = False                   # solicitations are answered to the one that asks, and nobody else
    router_lifetime: int = 1800
    line_prefix: str = "3fff:100:0:1::/64"
    pool: tuple[str, str] = ("3fff:100:0:1::1000", "3fff:100:0:1::1fff")
    delegable: str = "3fff:100:8000::/33"        # all that it may ever delegate
    delegated_from: str = "3fff:100:a000::"
    delegated_to: str = "3fff:100:a000:ff00::"
    delegated_length: int = 56
    name_servers: tuple[str, ...] = ("3fff:100:53::1", "3fff:100:53::2")
    domains: tuple[str, ...] = ("isp.example",)
    preferred: int = 3600
    valid: int = 7200
    renew: int = 1800
    rebind: int = 2880
    server_name: str = "www.isp.example"
    server_address: str = "3fff:100:80::80"
    tcp_port: int = 7
    udp_port: int = 7
    more_dhcp: list[str] = field(default_factory=list)   # further global statements of the DHCPv6 server
    subscriber: str = "00:03:00:01:02:00:00:00:00:01"    # DUID of the client that the next two are for
    fixed_address: str = ""                      # what that client gets whatever the pool says
    fixed_prefix: str = ""


class Isp(Node):
    def __init__(self, out, config=None):
        super().__init__("isp", out)
        self.config = config or IspConfig()
        self.dhcpd = None
        self.radvd = None

    def line_address(self):
        return str(ipaddress.ip_network(self.config.line_prefix)[1])

    def address_plan(self):
        """Numbers the line and gives the public addresses to the loopback interface."""
        self.must("sysctl", "-q", "-w", "net.ipv6.conf.all.forwarding=1", f"net.ipv6.conf.{ACCESS}.accept_ra=0")
        self.must("ip", "-6", "addr", "add", f"{self.line_address()}/64", "dev", ACCESS, "nodad")
        for address in (*self.config.name_servers, self.config.server_address):
            self.must("ip", "-6", "addr", "add", f"{address}/128", "dev", "lo", "nodad")
        # What is not delegated goes nowhere, as at a real provider: no packet loops between it and its subscribers.
        self.must("ip", "-6", "route", "add", "unreachable", self.config.delegable)

    def start_services(self):
        self.address_plan()
        self.start_servers()
        self.start_name_server()
        self.start_dhcp()
        if self.config.advertise:
            self.start_advertising()

    def start_servers(self):
        """A public server: over TCP and UDP it tells each caller the address that it was seen from."""
        self.python("server", "callback_server", "--tcp", self.config.tcp_port, "--udp", self.config.udp_port,
                    "--address", self.config.server_address, "--log", "/lab/out/server.jsonl")

    def start_name_server(self):
        lines = ["no-resolv", "no-hosts", "bind-interfaces", "log-queries", "log-facility=-", "user=root",
                 "keep-in-foreground", "pid-file=",
                 *[f"listen-address={address}" for address in self.config.name_servers],
                 f"host-record={self.config.server_name},{self.config.server_address}",
                 "local=/isp.example/"]
        (self.out / "dnsmasq.conf").write_text("\n".join(lines) + "\n", encoding="utf-8")
        self.spawn("dnsmasq", "/usr/sbin/dnsmasq", "--conf-file=/lab/out/dnsmasq.conf")

    def dhcp_lines(self):
        config = self.config
        network = ipaddress.ip_network(config.line_prefix)
        lines = [f"default-lease-time {config.valid};", f"preferred-lifetime {config.preferred};",
                 f"option dhcp-renewal-time {config.renew};", f"option dhcp-rebinding-time {config.rebind};",
                 "log-facility local7;", "authoritative;", *config.more_dhcp]
        if config.name_servers:
            lines.append(f"option dhcp6.name-servers {', '.join(config.name_servers)};")
        if config.domains:
            lines.append("option dhcp6.domain-search " + ", ".join(f'"{domain}"' for domain in config.domains) + ";")
        lines += [f"subnet6 {network} {{", f"  range6 {config.pool[0]} {config.pool[1]};"]
        if config.delegated_length:
            lines.append(f"  prefix6 {config.delegated_from} {config.delegated_to} /{config.delegated_length};")
        lines.append("}")
        if config.fixed_address or config.fixed_prefix:
            lines += ["host subscriber {", f"  host-identifier option dhcp6.client-id {config.subscriber};"]
            lines += [f"  fixed-address6 {config.fixed_address};"] if config.fixed_address else []
            lines += [f"  fixed-prefix6 {config.fixed_prefix};"] if config.fixed_prefix else []
            lines.append("}")
        return lines

    def start_dhcp(self):
        self.serve_dhcp()
        self.python("delegation", "delegation_router", "/lab/out/dhcpd6.log", ACCESS)

    def serve_dhcp(self):
        (self.out / "dhcpd6.conf").write_text("\n".join(self.dhcp_lines()) + "\n", encoding="utf-8")
        (self.out / "dhcpd6.leases").touch()
        self.dhcpd = self.spawn("dhcpd6", "/usr/sbin/dhcpd", "-6", "-d", "-cf", "/lab/out/dhcpd6.conf",
                                "-lf", DHCP_LEASES, "-pf", "/run/dhcpd6.pid", "--no-pid", ACCESS)

    def stop_dhcp(self):
        self.dhcpd.stop()
        self.services.remove(self.dhcpd)

    def change_dhcp(self, **changes):
        """The DHCPv6 server goes and comes again with these settings; its identity and leases are the same."""
        self.stop_dhcp()
        self.config = dataclasses.replace(self.config, **changes)
        self.serve_dhcp()
        self.await_services()

    def another_dhcp_server(self):
        """The running server is gone for good; another one (another DUID) that knows its leases takes over."""
        self.stop_dhcp()
        leases = self.out / "dhcpd6.leases"
        leases.write_text("".join(line for line in leases.read_text(encoding="utf-8").splitlines(keepends=True)
                                  if not line.startswith("server-duid")), encoding="utf-8")
        self.serve_dhcp()
        self.await_services()

    def change_advertising(self, **changes):
        """The router's advertisements change, or begin, or end (`advertise`)."""
        if self.radvd:
            self.radvd.stop()
            self.services.remove(self.radvd)
            self.radvd = None
        self.config = dataclasses.replace(self.config, **changes)
        if self.config.advertise:
            self.start_advertising()

    def start_advertising(self):
        config = self.config
        flag = {True: "on", False: "off"}
        lines = [f"interface {ACCESS} {{", "  AdvSendAdvert on;", f"  AdvManagedFlag {flag[config.managed]};",
                 f"  AdvOtherConfigFlag {flag[config.other]};", f"  UnicastOnly {flag[config.unicast_only]};",
                 f"  AdvDefaultLifetime {config.router_lifetime};",
                 "  MinRtrAdvInterval 20;", "  MaxRtrAdvInterval 60;", f"  prefix {config.line_prefix} {{",
                 f"    AdvAutonomous {flag[config.autonomous]};", "  };", "};"]
        (self.out / "radvd.conf").write_text("\n".join(lines) + "\n", encoding="utf-8")
        self.radvd = self.spawn("radvd", "/usr/sbin/radvd", "-n", "-m", "stderr", "-d", "1", "-C",
                                "/lab/out/radvd.conf", "-p", "/run/radvd.pid")

    def await_services(self, within=30):
        """Returns when every service has opened its sockets; says which one has not otherwise."""
        def probe():
            for service in self.services:
                if not service.running():
                    raise RuntimeError(f"the provider's {service.name} ended: {service.log()[-400:].strip()}")
            sockets = self.must("ss", "-6", "-H", "-l", "-n", "-t", "-u")
            wanted = [f"[{self.config.server_address}]:{self.config.tcp_port}",
                      *[f"[{address}]:53" for address in self.config.name_servers]]
            missing = [text for text in wanted if text not in sockets]
            if self.dhcp_can_listen() and ":547 " not in sockets:
                missing.append("DHCPv6 port 547")
            if missing:
                raise NotYet(f"the provider does not listen yet on {', '.join(missing)}")
        wait_for(probe, within)

    @staticmethod
    def dhcp_can_listen():
        return True

    def leases(self):
        """The DHCPv6 server's newest record of each binding: {"na": {address: state}, "pd": {prefix: state}}."""
        found = {"na": {}, "pd": {}}
        kind = item = None
        for line in self.read(DHCP_LEASES).splitlines():
            words = line.split()
            if words[:1] and words[0] in ("ia-na", "ia-pd"):
                kind = words[0][3:]
            elif words[:1] and words[0] in ("iaaddr", "iaprefix"):
                item = words[1]
            elif words[:2] == ["binding", "state"] and item and kind:
                found[kind][item] = words[2].rstrip(";")
        return found

    def delegated_routes(self):
        """Routes to delegated prefixes that the provider has learnt: {prefix: next hop}."""
        return {route["dst"]: route.get("gateway") for route in self.json("ip", "-j", "-6", "route", "show", "dev",
                                                                          ACCESS) if route.get("gateway")}

    def calls(self):
        """What the public server has logged: one record a connection or datagram."""
        return [json.loads(line) for line in self.read("/lab/out/server.jsonl").splitlines() if line.endswith("}")]

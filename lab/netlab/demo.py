"""The main flow, for real: LANs first, then the line, hosts that use it, the firewall, and the line gone again."""
import time

from netlab import traffic
from netlab.gateway import BRIDGES
from netlab.sightings import Sightings
from netlab.wait import need

OPEN_PORT, CLOSED_PORT = 8080, 8081         # both served by host0; the user's filter record opens the first


class Demo:
    """`note` is called with one line for each thing that is done; what is checked goes through `checks`."""

    def __init__(self, lab, checks, note):
        self.lab, self.checks, self.note = lab, checks, note
        self.isp, self.gw, self.hosts = lab.isp, lab.gw, lab.hosts
        self.see = None

    def prepare(self):
        """Captures first, so that nothing of what follows is missed; then the provider."""
        self.see = Sightings(self.lab)
        self.isp.start_services()
        self.isp.await_services()

    def run(self):
        for label, step in (("1-lan", self.unique_local_first), ("2-wan", self.line_up),
                            ("3-hosts", self.hosts_at_work), ("4-firewall", self.firewall), ("5-down", self.line_down)):
            self.checks.run_step(step)
            self.gw.snapshot(label)

    def command(self, name, *args):
        """Runs the program under a command name; its normal end is status 1."""
        self.note(f"gw# {' '.join((name, *args))}")

        def probe():
            done = self.gw.command(name, *args)
            need(done.returncode == 1, f"it ended with {done.returncode}: {done.stderr.strip() or 'nothing said'}")
            return "exit status 1"
        self.checks.expect(f"{name} runs to its normal end", probe, within=0)

    def unique_local_first(self):
        """Unique-local addresses on both bridges before the WAN is up"""
        expect, see = self.checks.expect, self.see
        # The second LAN's command only addresses its bridge; the first LAN's writes the daemons' files for both.
        self.command("zel_ipv6_lan", "1")
        self.command("zel_ipv6_lan", "lan")
        expect("The WAN is still down and has no IPv6 address", see.no_address, self.gw.wan)
        for number, bridge in enumerate(BRIDGES):
            expect(f"{bridge} has the unique-local address of its stored global id and subnet id",
                   see.unique_local_of, number)
        expect("The two LANs have different unique-local prefixes", see.different_prefixes, within=0)
        for number, host in enumerate(self.hosts):
            expect(f"{host.name} has autoconfigured an address from it", host.address_in, see.unique[number], within=60)
            expect(f"{host.name} was told only that prefix, and the bridge as its DNS server (on the wire)",
                   see.advertised, number, [see.unique[number]])
            expect(f"{host.name} reaches the gateway's unique-local address", see.echo_of_bridge, number)

    def line_up(self):
        """The line comes up: mode detected, lease bound, prefix carved"""
        expect, see = self.checks.expect, self.see
        self.note(f"{self.gw.wan} is plugged in")
        self.lab.connect_wan()
        expect("The provider's advertisement with the Managed flag has reached the gateway",
               see.managed_seen, within=60)
        self.command("zel_ipv6cp_up")
        expect("The mode is stateful: the client solicits an address and a prefix (on the wire)",
               see.solicited, within=60)
        expect("The client's identifier on the wire is the stored one", see.same_identifier)
        expect("The provider's Reply binds an address and a prefix (on the wire)", see.bound, within=60)
        need(see.reply, "there is no lease, so nothing of it can be looked at")
        expect("The store holds what the Reply granted", see.stored_lease)
        expect("The change was applied (EFFECT6): WAN ready, nothing left to do", see.applied, within=60)
        expect(f"{self.gw.wan} carries the leased address", see.wan_address)
        expect("The default route leads to the provider's router", see.default_route)
        for number, bridge in enumerate(BRIDGES):
            expect(f"{bridge} has its /64 carved out of the delegated prefix, and its address in it",
                   see.carved_address, number, within=60)
        expect("The provider has learnt the route to the delegated prefix", see.return_route)
        for number, bridge in enumerate(BRIDGES):
            expect(f"Both prefixes of {bridge} are advertised, the lease's lifetimes on the global one",
                   see.advertised_both, number, within=60)

    def hosts_at_work(self):
        """Hosts on both LANs use the line"""
        need(self.see.reply, "there is no lease")
        for number in range(len(self.hosts)):
            self.host_at_work(number)

    def host_at_work(self, number):
        host, expect, see, config = self.hosts[number], self.checks.expect, self.see, self.isp.config
        name = host.name
        expect(f"{name} has a global address", host.address_in, see.carved[number], within=60)
        expect(f"{name} has a unique-local address", host.address_in, see.unique[number], within=60)
        server = expect(f"{name} has its DNS server from the advertisement", see.resolver_of, number, within=60)
        host.ask_dhcp()
        answer = expect(f"{name} gets DNS server and domain by DHCPv6", see.dhcp_of, number, within=60)
        host.use_resolver([server] if server else [], answer.split()[-1:] if answer else [])
        expect(f"{name} resolves {config.server_name} through the gateway",
               see.resolved, number, config.server_name, within=40)
        expect(f"{name} resolves the short name in the domain that it was given",
               see.resolved, number, config.server_name.split(".")[0], within=40)
        expect("The provider's name server was asked by the gateway", see.asked_by_gateway)
        for protocol, port in (("tcp", config.tcp_port), ("udp", config.udp_port)):
            expect(f"{name} reaches the provider's server over {protocol.upper()}, which sees its global address",
                   see.reached, number, protocol, port, within=30)
        expect(f"{name} gets an echo reply from the server", see.echo, host, config.server_address, within=30)
        expect(f"The server's packets to {name} cross the line to its global address (on the wire)",
               see.return_path, number)

    def firewall(self):
        """The firewall: closed, then open for one service only"""
        need(self.see.reply, "there is no lease")
        expect, see = self.checks.expect, self.see
        traffic.listen(self.hosts[0], tcp=(OPEN_PORT, CLOSED_PORT))
        for port in (OPEN_PORT, CLOSED_PORT):
            expect(f"host0 serves port {port}: host1 reaches it", see.lan_call, port, within=30)
        expect(f"A connection from the WAN to host0 port {OPEN_PORT} is stopped by the gateway",
               see.stopped, OPEN_PORT, within=0)
        record = f"web;{see.target()};tcp;{OPEN_PORT};{OPEN_PORT};;;;"
        for key, value in (("ip6_filter_cnt", "1"), ("ip6_filter_list", record)):
            self.note(f"gw# ccfg_cli set '{key}@{self.gw.wan_section}={value}'")
            self.gw.set(f"{key}@{self.gw.wan_section}", value)
        self.command("ipv6_lan_restart")
        expect(f"After the user's filter record it reaches host0 port {OPEN_PORT} and is answered",
               see.passes, OPEN_PORT, within=30)
        expect(f"Port {CLOSED_PORT} of the same host is still stopped", see.stopped, CLOSED_PORT, within=0)
        for number, host in enumerate(self.hosts):
            expect(f"{host.name} still has its global address and reaches the server after the restart",
                   see.reached, number, "tcp", self.isp.config.tcp_port, within=60)

    def line_down(self):
        """The lease is given back, the line goes down"""
        need(self.see.reply, "there is no lease")
        expect, see = self.checks.expect, self.see
        address, prefix = see.reply.addresses[0][0], see.reply.prefixes[0][0]
        begin = time.time()
        self.command("dhcp6c_release")
        expect("The client releases address and prefix (on the wire)", see.released, begin, address, prefix, within=30)
        expect("The provider's server has them back", see.returned, address, prefix)
        expect("The provider has withdrawn the route to the delegated prefix", see.route_gone, prefix)
        expect("No DHCPv6 client runs, and the leased address is off the interface",
               see.client_gone, address, within=30)
        expect("The stored lease is cleared", see.lease_cleared)
        expect("Hosts were told that their global prefixes are no longer preferred", see.deprecated, within=30)
        begin = time.time()
        self.command("zel_ipv6cp_down")
        expect("Neither the WAN nor a bridge has a global address", see.no_global)
        expect("The flags are down", see.flags_down)
        for number, host in enumerate(self.hosts):
            expect(f"{host.name} is told only the unique-local prefix again (on the wire)",
                   see.advertised, number, [see.unique[number]], begin, within=60)
            expect(f"{host.name} keeps its unique-local address and reaches the gateway with it",
                   see.echo_of_bridge, number, within=30)
            expect(f"{host.name} no longer reaches the provider's server", see.cut_off, number, within=10)

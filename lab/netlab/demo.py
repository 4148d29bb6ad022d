"""The main flow, for real: LANs first, then the line, hosts that use it, the firewall, and the line gone again."""
import ipaddress
import time

from netlab import prefixes
from netlab.capture import Capture
from netlab.gateway import BRIDGES
from netlab.isp import ACCESS
from netlab.wait import NotYet

SIDES = ("lan0", "lan1")                    # sections of the store, in the order of the bridges
UNIQUE_LOCAL = ipaddress.ip_network("fc00::/7")
OPEN_PORT, CLOSED_PORT = 8080, 8081         # both served by host0; the user's filter record opens the first


def need(condition, sentence):
    if not condition:
        raise NotYet(sentence)


class Demo:
    def __init__(self, lab, checks, note):
        self.lab, self.checks, self.note = lab, checks, note
        self.isp, self.gw, self.hosts = lab.isp, lab.gw, lab.hosts
        self.reply = None                   # the DHCPv6 Reply that binds the lease, as captured
        self.unique = [None, None]          # the unique-local /64 of each LAN
        self.carved = [None, None]          # the global /64 of each LAN

    def prepare(self):
        """Captures first, so that nothing of what follows is missed; then the provider."""
        self.line = Capture(self.isp, ACCESS, "line")
        self.lans = [Capture(host, "eth0", "lan") for host in self.hosts]
        self.isp.start_services()
        self.isp.await_services()

    def command(self, name, *args):
        """Runs the program under a command name; its normal end is status 1."""
        self.note(f"gw# {' '.join((name, *args))}")

        def probe():
            done = self.gw.command(name, *args)
            need(done.returncode == 1, f"it ended with {done.returncode}: {done.stderr.strip() or 'nothing said'}")
            return "exit status 1"
        self.checks.expect(f"{name} runs to its normal end", probe, within=0)

    def run(self):
        for label, step in (("1-lan", self.unique_local_first), ("2-wan", self.line_up), ("3-hosts", self.hosts_at_work),
                            ("4-firewall", self.firewall), ("5-down", self.line_down)):
            step()
            self.checks.end_step()
            self.gw.snapshot(label)

    # 1 ---------------------------------------------------------------------------------------------------------------

    def unique_local_first(self):
        expect = self.checks.expect
        self.checks.step("Unique-local addresses on both bridges before the WAN is up")
        # The second LAN's command only addresses its bridge; the first LAN's writes the daemons' files for both.
        self.command("zel_ipv6_lan", "1")
        self.command("zel_ipv6_lan", "lan")
        expect("The WAN is still down and has no IPv6 address", lambda: self.no_address(self.gw.wan))
        for number, bridge in enumerate(BRIDGES):
            expect(f"{bridge} has the unique-local address of its stored global id and subnet id",
                   lambda n=number: self.unique_local_of(n))
        expect("The two LANs have different unique-local prefixes", self.different_prefixes, within=0)
        for number, host in enumerate(self.hosts):
            expect(f"{host.name} has autoconfigured an address from it",
                   lambda n=number: self.hosts[n].address_in(self.unique[n]), within=60)
            expect(f"{host.name} was told only that prefix, and the bridge as its DNS server (on the wire)",
                   lambda n=number: self.advertised(n, [self.unique[n]]))
            expect(f"{host.name} reaches the gateway's unique-local address",
                   lambda n=number: self.ping(self.hosts[n], self.bridge_address(n, self.unique[n])))

    def no_address(self, interface):
        found = [entry["local"] for entry in self.gw.addresses(interface)]
        need(not found, f"{interface} has {', '.join(found)}")

    def unique_local_of(self, number):
        gid, sid = (self.gw.get(f"{key}@{SIDES[number]}") for key in ("ip6_ula_gid", "ip6_ula_sid"))
        need(gid and sid, f"the store has global id {gid} and subnet id {sid}")
        network = prefixes.unique_local(gid, sid)
        address = self.bridge_address(number, network)
        self.unique[number] = network
        return f"{address}/64"

    def different_prefixes(self):
        need(self.unique[0] != self.unique[1], f"both have {self.unique[0]}")

    def bridge_address(self, number, network):
        """The bridge's usable address in a /64, which must be the one of its MAC address."""
        bridge = BRIDGES[number]
        wanted = prefixes.eui64(network, self.gw.mac(bridge))
        for entry in self.gw.addresses(bridge):
            if entry["local"] == str(wanted) and entry["prefixlen"] == 64:
                need(not entry.get("tentative") and not entry.get("dadfailed"), f"{wanted} is not usable yet")
                return str(wanted)
        have = ", ".join(f"{entry['local']}/{entry['prefixlen']}" for entry in self.gw.addresses(bridge))
        raise NotYet(f"{bridge} does not have {wanted}/64 but {have or 'nothing'}")

    def advertised(self, number, networks, since=0.0):
        """The newest advertisement on the host's wire with exactly these live prefixes, M off, O on, and the bridge's
        unique-local address as the DNS server."""
        seen = self.lans[number].advertisements(since)
        need(seen, f"no advertisement on {self.hosts[number].name}'s wire")
        newest = seen[-1]
        live = sorted(prefix for prefix, _, autonomous, _, preferred in newest.prefixes if autonomous and preferred)
        need(live == sorted(map(str, networks)), f"the newest advertisement has {', '.join(live) or 'no prefix'}")
        need(newest.other and not newest.managed, f"its flags are M={newest.managed:d} O={newest.other:d}")
        resolver = str(prefixes.eui64(self.unique[number], self.gw.mac(BRIDGES[number])))
        need([address for address, _ in newest.servers] == [resolver], f"its DNS servers are {newest.servers}")
        return f"{', '.join(live)}, DNS {resolver}"

    @staticmethod
    def ping(node, address):
        done = node.run("ping", "-6", "-n", "-c", "1", "-W", "3", address)
        need(done.returncode == 0, f"no echo reply from {address}")
        return next(line for line in done.stdout.splitlines() if "bytes from" in line)

    # 2 ---------------------------------------------------------------------------------------------------------------

    def line_up(self):
        expect = self.checks.expect
        self.checks.step("The line comes up: mode detected, lease bound, prefix carved")
        self.note(f"{self.gw.wan} is plugged in")
        self.lab.connect_wan()
        expect("The provider's advertisement with the Managed flag has reached the gateway", self.managed_seen, within=60)
        self.command("zel_ipv6cp_up")
        expect("The mode is stateful: the client solicits an address and a prefix (on the wire)", self.solicited, 60)
        expect("The client's identifier on the wire is the stored one", self.same_identifier)
        expect("The provider's Reply binds an address and a prefix (on the wire)", self.bound, within=60)
        expect("The store holds what the Reply granted", self.stored_lease)
        expect("The change was applied (EFFECT6): WAN ready, nothing left to do", self.applied, within=60)
        expect(f"{self.gw.wan} carries the leased address", self.wan_address)
        expect("The default route leads to the provider's router", self.default_route)
        for number, bridge in enumerate(BRIDGES):
            expect(f"{bridge} has its /64 carved out of the delegated prefix, and its address in it",
                   lambda n=number: self.carved_address(n), within=60)
        expect("The provider has learnt the route to the delegated prefix", self.return_route)
        for number, host in enumerate(self.hosts):
            expect(f"Both prefixes of {BRIDGES[number]} are advertised, the lease's lifetimes on the global one",
                   lambda n=number: self.advertised_both(n), within=60)

    def managed_seen(self):
        router = self.gw.await_advertisement(within=0)
        seen = [each for each in self.line.advertisements() if each.source == router]
        need(seen and seen[-1].managed, "no advertisement with the Managed flag is on the wire")
        return f"from {router}"

    def solicited(self):
        solicits = self.line.dhcp("SOLICIT")
        need(not self.line.dhcp("INFORMATION-REQUEST"), "the client only asks for information")
        need(solicits, "no Solicit is on the wire")
        first = solicits[0]
        need(first.has_ia_na and first.has_ia_pd,
             f"the Solicit asks for address: {first.has_ia_na}, prefix: {first.has_ia_pd}")
        late = [each for each in self.line.advertisements() if each.time < first.time]
        need(late, "the Solicit went out before any advertisement came")
        return f"Solicit with IA_NA and IA_PD, {first.time - late[0].time:.1f} s after the advertisement"

    def same_identifier(self):
        wire, stored = self.line.dhcp("SOLICIT")[0].client_id, self.gw.get_wan("ip6_duid")
        need(stored and wire == stored.lower(), f"{wire} is on the wire, {stored} in the store")
        return wire

    def bound(self):
        for message in self.line.dhcp("REPLY"):
            if message.addresses and message.prefixes:
                self.reply = message
                return f"{message.addresses[0][0]} and {message.prefixes[0][0]}"
        raise NotYet("no Reply with an address and a prefix is on the wire")

    def stored_lease(self):
        prefix = ipaddress.ip_network(self.reply.prefixes[0][0])
        wanted = {f"ip6_addr@{self.gw.wan_section}": self.reply.addresses[0][0],
                  "ip6_dhcp6c_prefix_addr@system": str(prefix.network_address),
                  "ip6_dhcp6c_prefix_length@system": str(prefix.prefixlen),
                  f"ip6_dns@{self.gw.wan_section}": " ".join(self.reply.servers),
                  f"ip6_domain@{self.gw.wan_section}": self.reply.domains[0],
                  f"ip6_lease@{self.gw.wan_section}": str(self.reply.prefixes[0][1]),
                  f"ip6_life@{self.gw.wan_section}": str(self.reply.prefixes[0][2]),
                  f"ip6_stateless@{self.gw.wan_section}": "0"}
        for key, value in wanted.items():
            need(self.gw.get(key) == value, f"{key} is {self.gw.get(key)!r} and not {value!r}")
        return f"address, prefix, DNS {', '.join(self.reply.servers)}, domain {self.reply.domains[0]}"

    def applied(self):
        ready, changed = self.gw.get("ip6_wan_ready@system"), self.gw.get_wan("ip6_changed")
        need((ready, changed) == ("1", "0"), f"ip6_wan_ready is {ready}, ip6_changed is {changed}")
        busy = self.gw.processes(r"zel_dhcp6c_update")
        need(not busy, "the event's handler is still at work")

    def wan_address(self):
        wanted = self.reply.addresses[0][0]
        entries = self.gw.addresses(self.gw.wan, "global")
        mine = [entry for entry in entries if entry["local"] == wanted and not entry.get("tentative")]
        need(mine, f"{self.gw.wan} has {', '.join(entry['local'] for entry in entries) or 'no global address'}")
        return mine[0]

    def default_route(self):
        routes = self.gw.json("ip", "-j", "-6", "route", "show", "default")
        hops = sorted({route.get("gateway", "") for route in routes})
        router = self.isp.link_local(ACCESS)
        need(hops == [router], f"the default routes lead to {hops} and not to {router}")
        return f"{router} on {routes[0]['dev']}"

    def carved_address(self, number):
        sid = self.gw.get(f"ip6_gua_sid@{SIDES[number]}")
        network = prefixes.carved(self.reply.prefixes[0][0], sid)
        address = self.bridge_address(number, network)
        self.carved[number] = network
        return f"{address}/64"

    def return_route(self):
        prefix = self.reply.prefixes[0][0]
        hop = self.isp.delegated_routes().get(prefix)
        gateway = self.gw.link_local(self.gw.wan)
        need(hop == gateway, f"the provider's next hop for {prefix} is {hop}, the gateway is {gateway}")
        return f"{prefix} via {hop}"

    def advertised_both(self, number):
        told = self.advertised(number, [self.unique[number], self.carved[number]])
        newest = self.lans[number].advertisements()[-1]
        lifetimes = {prefix: (preferred, valid) for prefix, _, _, valid, preferred in newest.prefixes}
        seen, leased = lifetimes[str(self.carved[number])], self.reply.prefixes[0][1:]
        need(seen == leased, f"the global prefix is advertised with {seen}, leased with {leased}")
        need([name for name, _ in newest.domains] == [self.reply.domains[0]], f"the search list is {newest.domains}")
        return f"{told}, domain {self.reply.domains[0]}"

    # 3 ---------------------------------------------------------------------------------------------------------------

    def hosts_at_work(self):
        self.checks.step("Hosts on both LANs use the line")
        for number in range(len(self.hosts)):
            self.host_at_work(number)

    def host_at_work(self, number):
        host, expect, config = self.hosts[number], self.checks.expect, self.isp.config
        for kind, network in (("a global", self.carved[number]), ("a unique-local", self.unique[number])):
            expect(f"{host.name} has {kind} address", lambda net=network: host.address_in(net), within=60)
        servers = expect(f"{host.name} has its DNS server from the advertisement", lambda: self.resolver_of(number), 60)
        host.ask_dhcp()
        answer = expect(f"{host.name} gets DNS server and domain by DHCPv6", lambda: self.dhcp_of(number), within=60)
        host.use_resolver(servers.split() if servers else [], answer.split()[-1:] if answer else [])
        expect(f"{host.name} resolves {config.server_name} through the gateway",
               lambda: self.resolved(number, config.server_name), within=40)
        expect(f"{host.name} resolves the short name in the domain that it was given",
               lambda: self.resolved(number, config.server_name.split(".")[0]), within=40)
        expect("The provider's name server was asked by the gateway", self.asked_by_gateway)
        for protocol, port in (("tcp", config.tcp_port), ("udp", config.udp_port)):
            expect(f"{host.name} reaches the provider's server over {protocol.upper()}, which sees its global address",
                   lambda p=protocol, n=port: self.reached(number, p, n), within=30)
        expect(f"{host.name} gets an echo reply from the server",
               lambda: self.ping(host, config.server_address), within=30)
        expect(f"The server's packets to {host.name} cross the line to its global address (on the wire)",
               lambda: self.return_path(number))

    def resolver_of(self, number):
        servers, _ = self.hosts[number].advertised_resolver()
        wanted = str(prefixes.eui64(self.unique[number], self.gw.mac(BRIDGES[number])))
        need(servers == [wanted], f"rdnssd wrote down {servers}, the bridge is {wanted}")
        return wanted

    def dhcp_of(self, number):
        answer = self.hosts[number].dhcp_answer()
        servers, search = answer.get("new_dhcp6_name_servers", ""), answer.get("new_dhcp6_domain_search", "")
        wanted = str(prefixes.eui64(self.unique[number], self.gw.mac(BRIDGES[number])))
        need(servers == wanted, f"the DHCPv6 server named {servers or 'no server'}, the bridge is {wanted}")
        need(search.rstrip(".") == self.reply.domains[0], f"the domain is {search!r}, the lease's {self.reply.domains}")
        return f"{servers} {search.rstrip('.')}"

    def resolved(self, number, name):
        found = self.hosts[number].resolve(name)
        need(found == [self.isp.config.server_address], f"it resolves to {', '.join(found) or 'nothing'}")
        return found

    def asked_by_gateway(self):
        log = (self.isp.out / "dnsmasq.log").read_text(encoding="utf-8", errors="replace")
        wanted = self.reply.addresses[0][0]
        query = f"query[AAAA] {self.isp.config.server_name} from {wanted}"
        need(query in log, f"its log has no \"{query}\"")
        return f"from {wanted}"

    def reached(self, number, protocol, port):
        mine = self.hosts[number].address_in(self.carved[number])["local"]
        status, text = self.hosts[number].call(protocol, self.isp.config.server_address, port)
        need(status == 0, text)
        need(text == f"you are {mine} from {mine}", f"the exchange was \"{text}\", the host is {mine}")
        need(any(call["from"] == mine and call["protocol"] == protocol for call in self.isp.calls()),
             f"the server's log has no {protocol} call from {mine}")
        return mine

    def return_path(self, number):
        mine = self.hosts[number].address_in(self.carved[number])["local"]
        back = [packet for packet in self.line.packets() if packet.source == self.isp.config.server_address
                and packet.destination == mine]
        need(back, f"no packet to {mine} is on the line")
        return f"{len(back)} packets to {mine}"

    # 4 ---------------------------------------------------------------------------------------------------------------

    def firewall(self):
        expect, host = self.checks.expect, self.hosts[0]
        self.checks.step("The firewall: closed, then open for one service only")
        self.hosts[0].listen(tcp=(OPEN_PORT, CLOSED_PORT))
        for port in (OPEN_PORT, CLOSED_PORT):
            expect(f"host0 serves port {port}: host1 reaches it", lambda p=port: self.lan_call(p), within=30)
        expect(f"A connection from the WAN to host0 port {OPEN_PORT} is stopped by the gateway",
               lambda: self.stopped(OPEN_PORT), within=0)
        record = f"web;{host.address_in(self.carved[0])['local']};tcp;{OPEN_PORT};{OPEN_PORT};;;;"
        for key, value in (("ip6_filter_cnt", "1"), ("ip6_filter_list", record)):
            self.note(f"gw# ccfg_cli set '{key}@{self.gw.wan_section}={value}'")
            self.gw.set(f"{key}@{self.gw.wan_section}", value)
        self.command("ipv6_lan_restart")
        expect(f"After the user's filter record it reaches host0 port {OPEN_PORT} and is answered",
               lambda: self.passes(OPEN_PORT), within=30)
        expect(f"Port {CLOSED_PORT} of the same host is still stopped", lambda: self.stopped(CLOSED_PORT), within=0)
        for number, each in enumerate(self.hosts):
            expect(f"{each.name} still has its global address and reaches the server after the restart",
                   lambda n=number: self.reached(n, "tcp", self.isp.config.tcp_port), within=60)

    def target(self):
        return self.hosts[0].address_in(self.carved[0])["local"]

    def lan_call(self, port):
        status, text = self.hosts[1].call("tcp", self.target(), port)
        need(status == 0, text)
        return text

    def stopped(self, port):
        """Silence for the caller, the attempt on the provider's wire, and nothing of it on the host's wire."""
        begin = time.time()
        status, text = self.isp.call("tcp", self.target(), port, 2.5)
        sources = {packet.source for packet in self.line.tcp_to(self.target(), port, begin)}
        need(status != 0, f"it was answered: {text}")
        need(sources, "no attempt is on the line's wire")
        leaked = [packet for packet in self.lans[0].tcp_to(self.target(), port, begin) if packet.source in sources]
        need(not leaked, f"{len(leaked)} packets of it came to the host's wire")
        return f"{text} to {', '.join(sources)}; nothing on the host's wire"

    def passes(self, port):
        begin = time.time()
        status, text = self.isp.call("tcp", self.target(), port)
        need(status == 0, text)
        need(self.lans[0].tcp_to(self.target(), port, begin), "nothing of it is on the host's wire")
        return text

    # 5 ---------------------------------------------------------------------------------------------------------------

    def line_down(self):
        expect = self.checks.expect
        self.checks.step("The lease is given back, the line goes down")
        address, prefix = self.reply.addresses[0][0], self.reply.prefixes[0][0]
        begin = time.time()
        self.command("dhcp6c_release")
        expect("The client releases address and prefix (on the wire)", lambda: self.released(begin, address, prefix), 30)
        expect("The provider's server has them back", lambda: self.returned(address, prefix))
        expect("The provider has withdrawn the route to the delegated prefix", lambda: self.route_gone(prefix))
        expect("No DHCPv6 client runs, and the leased address is off the interface", lambda: self.client_gone(address), 30)
        expect("The stored lease is cleared", self.lease_cleared)
        expect("Hosts were told that their global prefixes are no longer preferred", self.deprecated, within=30)
        self.command("zel_ipv6cp_down")
        expect("Neither the WAN nor a bridge has a global address", self.no_global)
        expect("The flags are down", self.flags_down)
        for number, host in enumerate(self.hosts):
            expect(f"{host.name} keeps its unique-local address and reaches the gateway with it",
                   lambda n=number: self.ping(self.hosts[n], self.bridge_address(n, self.unique[n])), within=30)
            expect(f"{host.name} no longer reaches the provider's server", lambda n=number: self.cut_off(n), within=10)

    def released(self, begin, address, prefix):
        found = self.line.dhcp("RELEASE", begin)
        need(found, "no Release is on the wire")
        addresses = [each for message in found for each, *_ in message.addresses]
        networks = [each for message in found for each, *_ in message.prefixes]
        need(address in addresses and prefix in networks, f"the Release names {addresses} and {networks}")
        return f"{address} and {prefix}"

    def returned(self, address, prefix):
        leases = self.isp.leases()
        states = (leases["na"].get(address), leases["pd"].get(prefix))
        need(states == ("released", "released"), f"address and prefix are {states[0]} and {states[1]} there")

    def route_gone(self, prefix):
        need(prefix not in self.isp.delegated_routes(), f"it still routes {prefix}")

    def client_gone(self, address):
        clients = self.gw.processes(r"^\S*(sh |)/\S*dhclient .*-6")
        need(not clients, f"still there: {clients[0][1] if clients else ''}")
        have = [entry["local"] for entry in self.gw.addresses(self.gw.wan, "global")]
        need(address not in have, f"{self.gw.wan} still has {address}")

    def lease_cleared(self):
        left = {key: self.gw.get_wan(key) for key in ("ip6_addr", "ip6_prefix", "ip6_dns", "ip6_domain")}
        for key, value in left.items():
            need(value is None, f"{key} is still {value!r}")
        need(self.gw.get_wan("ip6_lease") == "0", f"ip6_lease is {self.gw.get_wan('ip6_lease')!r}")

    def deprecated(self):
        for number, host in enumerate(self.hosts):
            entry = host.address_in(self.carved[number])
            need(entry.get("deprecated"), f"{entry['local']} of {host.name} is still preferred")

    def no_global(self):
        for interface in (self.gw.wan, *BRIDGES):
            left = [entry["local"] for entry in self.gw.addresses(interface, "global")
                    if ipaddress.ip_address(entry["local"]) not in UNIQUE_LOCAL]
            need(not left, f"{interface} has {', '.join(left)}")

    def flags_down(self):
        ready = self.gw.get("ip6_wan_ready@system")
        need(ready == "0", f"ip6_wan_ready is {ready}")
        guard = self.gw.read("/tmp/zel_ipv6cp_script_running")
        need(guard == "0", f"the guard word is {guard!r}")
        return "ip6_wan_ready 0, guard word 0"

    def cut_off(self, number):
        status, text = self.hosts[number].call("tcp", self.isp.config.server_address, self.isp.config.tcp_port, 2.0)
        need(status != 0, f"it is still answered: {text}")
        return text

"""What hosts, servers and wires show of a running lab, as probes for `Checks.expect`.

Each probe returns what it saw, or raises `NotYet` with a sentence about what it sees instead. What a later probe builds
on is remembered: the Reply that bound the lease, and the prefixes of each LAN.
"""
import ipaddress
import time

from netlab import prefixes, traffic
from netlab.capture import Capture
from netlab.gateway import BRIDGES
from netlab.host import INTERFACE
from netlab.isp import ACCESS
from netlab.wait import NotYet, need

SIDES = ("lan0", "lan1")                    # sections of the store, in the order of the bridges
UNIQUE_LOCAL = ipaddress.ip_network("fc00::/7")


class Sightings:
    """Captures the line and both LANs from its construction on."""

    def __init__(self, lab):
        self.isp, self.gw, self.hosts = lab.isp, lab.gw, lab.hosts
        self.line = Capture(self.isp, ACCESS, "line")
        self.lans = [Capture(host, INTERFACE, "lan") for host in self.hosts]
        self.reply = None                   # the DHCPv6 Reply that binds the lease, as captured
        self.unique = [None, None]          # the unique-local /64 of each LAN
        self.carved = [None, None]          # the global /64 of each LAN

    # LAN before the line ----------------------------------------------------------------------------------------------

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
    def echo(node, address):
        status, text = traffic.call(node, "icmp", address, 0, 3.0)
        need(status == traffic.ANSWERED, f"no echo reply from {address}: {text}")
        return f"{address} answers"

    def echo_of_bridge(self, number):
        return self.echo(self.hosts[number], self.bridge_address(number, self.unique[number]))

    # The line ---------------------------------------------------------------------------------------------------------

    def managed_seen(self):
        """On the wire, and noted by the gateway's kernel."""
        router = self.gw.await_advertisement(within=0)
        seen = [each for each in self.line.advertisements() if each.source == router]
        need(seen and seen[-1].managed, "no advertisement with the Managed flag is on the wire")
        flags = self.gw.advertised_flags()
        need(flags & 0x40, f"the kernel's note of it has the flags {flags:#x}")
        return f"from {router}, the kernel's note {flags:#x}"

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
        busy = self.gw.processes(r"^\S*zel_dhcp6c_update")
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

    # Hosts ------------------------------------------------------------------------------------------------------------

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
        status, text = traffic.call(self.hosts[number], protocol, self.isp.config.server_address, port)
        need(status == traffic.ANSWERED, text)
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

    # Firewall ---------------------------------------------------------------------------------------------------------

    def target(self):
        return self.hosts[0].address_in(self.carved[0])["local"]

    def lan_call(self, port):
        status, text = traffic.call(self.hosts[1], "tcp", self.target(), port)
        need(status == traffic.ANSWERED, text)
        return text

    def stopped(self, port):
        """Silence for the caller, the attempt on the provider's wire, and nothing of it on the host's wire."""
        begin = time.time()
        status, text = traffic.call(self.isp, "tcp", self.target(), port, 2.5)
        sources = {packet.source for packet in self.line.tcp_to(self.target(), port, begin)}
        need(status != traffic.ANSWERED, f"it was answered: {text}")
        need(sources, "no attempt is on the line's wire")
        leaked = [packet for packet in self.lans[0].tcp_to(self.target(), port, begin) if packet.source in sources]
        need(not leaked, f"{len(leaked)} packets of it came to the host's wire")
        return f"{text} to {', '.join(sources)}; nothing on the host's wire"

    def passes(self, port):
        begin = time.time()
        status, text = traffic.call(self.isp, "tcp", self.target(), port)
        need(status == traffic.ANSWERED, text)
        need(self.lans[0].tcp_to(self.target(), port, begin), "nothing of it is on the host's wire")
        return text

    # The end of the lease ---------------------------------------------------------------------------------------------

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
        config = self.isp.config
        status, text = traffic.call(self.hosts[number], "tcp", config.server_address, config.tcp_port, 2.0)
        need(status != traffic.ANSWERED, f"it is still answered: {text}")
        return text

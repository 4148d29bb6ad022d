"""6rd: IPv6 through a tunnel over an IPv4 WAN, with the provider's border relay in a node of its own.

Runs in the guest: `sixrd_flow.py BUILD`. The results go to the exchange folder.
"""
import ipaddress
import time

from guest import OUT, Device, Flow, eventually
from netlab import prefixes
from netlab.capture import Capture
from netlab.isp import Isp
from netlab.sightings import SIDES, Sightings
from netlab.wait import need
from sixrd_network import GATEWAY, LEASED, RELAY, RELAY_NAME, Domain, Relay, tunnelled

FLOW = Flow("sixrd", "6rd: manual and from DHCPv4, through a border relay by address and by name, and its removal")
TUNNEL = "6rd"
WHOLE_ADDRESS = Domain("3fff:200::/24", 0)      # every bit of the IPv4 address is in the delegated prefix
ONE_OCTET_LESS = Domain("3fff:300::/32", 8)
LAST_OCTET = Domain("3fff:400:7::/48", 24)
UNALIGNED = Domain("3fff:500:5000::/36", 8)     # the address's bits begin in the middle of an octet
LEARNT = Domain("3fff:600::/40", 16)
DHCLIENT = "/usr/lib/ipv6ctl/stock/dhclient"
DHCP4_SCRIPT = """\
#!/bin/sh
PATH=/usr/sbin:/usr/bin:/sbin:/bin
[ "$reason" = BOUND ] || exit 0
ip -4 addr replace "$new_ip_address/24" dev "$interface"
ccfg_cli set "ip6_6rd_info@wan100=$new_sixrd"
"""


class Stage(Device):
    def __init__(self, build):
        super().__init__(build, "eth0")
        self.isp = Isp(OUT / "isp")
        self.relay = Relay("relay", OUT / "relay")
        for node in (self.isp, self.relay):
            node.start()
        self.relay.connect(self.gw, self.isp)
        self.isp.address_plan()
        self.isp.must("ip", "-6", "route", "add", "default", "via", "3fff:100:0:1::2", "dev", "access0")
        self.isp.start_servers()
        self.relay.start_name_server()
        self.gw.must("ip", "addr", "add", f"{GATEWAY}/24", "dev", "eth0")
        self.gw.path("/etc/resolv.conf").write_text(f"nameserver {RELAY}\n", encoding="utf-8")
        self.nodes[:0] = ["isp", "relay"]
        self.wires += [["gw:eth0", "relay:access0"], [f"gw:{TUNNEL}", "relay:border"], ["relay:core0", "isp:access0"]]
        self.told = {"server_address": self.isp.config.server_address}
        self.line = Capture(self.relay, "access0", "line", "ip proto 41")
        self.see = Sightings(self)
        for side in ("1", "lan"):
            self.command("zel_ipv6_lan", side)
        for number in range(2):
            eventually(self.see.unique_local_of, number)
        self.links_before = self.links()
        self.changed = time.time()          # when the tunnel was last set up

    def set_wan(self, **values):
        for key, value in values.items():
            self.gw.set(f"{key}@{self.gw.wan_section}", value)

    def set_manually(self, domain, relay=RELAY):
        network = domain.network()
        self.set_wan(ip6_proto="tunnel", ip6_tunnel_type="2", ip6_6rd_v4mask=domain.v4mask,
                     ip6_6rd_pfxlen=network.prefixlen, ip6_6rd_prefix=network.network_address,
                     ip6_6rd_border_relay=relay)
        self.relay.serve(domain)

    def restart(self, name="ipv6rd_restart"):
        self.changed = time.time()
        self.command(name)

    def links(self):
        return sorted(link["ifname"] for link in self.gw.json("ip", "-j", "link"))

    def tunnel_index(self):
        return self.gw.json("ip", "-j", "link", "show", "dev", TUNNEL)[0]["ifindex"]

    def tunnel_routes(self):
        return [route for route in self.gw.json("ip", "-j", "-6", "route", "show", "table", "all")
                if route.get("dev") == TUNNEL]


def tunnel_is_the_domains(stage, domain, ip4):
    """The kernel has the tunnel, the address and the one default route of a domain."""
    gw = stage.gw
    shown = gw.must("ip", "tunnel", "show", TUNNEL).split()
    common = [] if domain.v4mask == 0 else ["6rd-relay_prefix", str(domain.common())]
    assert shown == [f"{TUNNEL}:", "ipv6/ip", "remote", "any", "local", ip4, "ttl", "64", "6rd-prefix", domain.prefix,
                     *common], shown
    default = [(route.get("gateway"), route["dev"], route["metric"])
               for route in gw.json("ip", "-j", "-6", "route", "show", "default")]
    assert default == [(f"::{RELAY}", TUNNEL, 1)], default
    delegated = domain.delegated(ip4)
    own = [f"{entry['local']}/{entry['prefixlen']}" for entry in gw.addresses(TUNNEL, "global")]
    assert f"{delegated[1]}/128" in own, own
    stored = (gw.get("ip6_dhcp6c_prefix_addr@system"), gw.get("ip6_dhcp6c_prefix_length@system"))
    assert stored == (str(delegated.network_address), str(delegated.prefixlen)), stored
    assert gw.get("ip6_wan_ready@system") == "1" and gw.get("ip4_wan_ready@system") == "1"
    return str(delegated)


def hosts_go_through_the_relay(stage, domain, ip4, numbers=(0, 1)):
    """Hosts have addresses of their part of the prefix and reach the server, and what is on the IPv4 line is theirs."""
    told = []
    for number in numbers:
        sid = stage.gw.get(f"ip6_gua_sid@{SIDES[number]}")
        stage.see.carved[number] = prefixes.carved(domain.delegated(ip4), sid)
        eventually(stage.see.bridge_address, number, stage.see.carved[number])
        eventually(stage.see.advertised, number, [stage.see.unique[number], stage.see.carved[number]], stage.changed)
        mine = eventually(stage.see.reached, number, "tcp", stage.isp.config.tcp_port)
        eventually(stage.see.echo, stage.hosts[number], stage.isp.config.server_address)

        def on_the_line(mine=mine):
            server = stage.isp.config.server_address
            inside = {(source, destination, packet.source, packet.destination) for source, destination, packet
                      in tunnelled(stage.line.path, stage.changed) if mine in (packet.source, packet.destination)}
            need(inside == {(ip4, RELAY, mine, server), (RELAY, ip4, server, mine)}, f"inside IPv4: {inside}")
        eventually(on_the_line)
        told.append(mine)
    return told


def works(stage, domain, ip4=GATEWAY, numbers=(0, 1)):
    return tunnel_is_the_domains(stage, domain, ip4), hosts_go_through_the_relay(stage, domain, ip4, numbers)


@FLOW.scenario
def a_manual_tunnel_carries_hosts_with_no_common_ipv4_bits(stage):
    stage.set_manually(WHOLE_ADDRESS)
    stage.restart()
    return works(stage, WHOLE_ADDRESS)


@FLOW.scenario
def the_tunnel_has_the_mtu_of_its_line(stage):
    link = stage.gw.json("ip", "-j", "link", "show", "dev", "6rd")[0]
    assert link["mtu"] == 1480, link


@FLOW.scenario
def a_manual_tunnel_carries_hosts_with_8_common_ipv4_bits(stage):
    stage.set_manually(ONE_OCTET_LESS)
    stage.restart()
    return works(stage, ONE_OCTET_LESS)


@FLOW.scenario
def a_manual_tunnel_carries_hosts_with_24_common_ipv4_bits(stage):
    stage.set_manually(LAST_OCTET)
    stage.restart()
    return works(stage, LAST_OCTET)


@FLOW.scenario
def a_prefix_that_ends_inside_an_octet_and_a_relay_given_by_name_work(stage):
    stage.set_manually(UNALIGNED, relay=RELAY_NAME)
    stage.restart()
    asked = (stage.relay.out / "dnsmasq.log").read_text(encoding="utf-8", errors="replace")
    assert f"query[A] {RELAY_NAME} from {GATEWAY}" in asked, asked
    return works(stage, UNALIGNED)


@FLOW.scenario
def a_second_restart_leaves_one_tunnel_and_one_default_route(stage):
    index = stage.tunnel_index()
    stage.restart()
    assert stage.tunnel_index() != index, "the old tunnel is still there"
    assert stage.links() == sorted([*stage.links_before, TUNNEL]), stage.links()
    return works(stage, UNALIGNED, numbers=(0,))


@FLOW.scenario
def wan6c_restart_brings_the_tunnel_back_and_starts_no_dhcpv6_client(stage):
    index = stage.tunnel_index()
    stage.restart("wan6c_restart")
    assert stage.tunnel_index() != index, "the old tunnel is still there"
    clients = stage.gw.processes(r"dhclient")
    assert not clients, clients
    return works(stage, UNALIGNED)


@FLOW.scenario
def the_dhcpv4_information_sets_the_tunnel_up_on_the_leased_address(stage):
    gw = stage.gw
    stage.relay.start_dhcp4(LEARNT)
    stage.relay.serve(LEARNT)
    gw.path("/run/dhcp4-script").write_text(DHCP4_SCRIPT, encoding="utf-8")
    gw.path("/run/dhcp4-script").chmod(0o755)
    gw.path("/run/dhcp4.conf").write_text(
        "option sixrd code 212 = { integer 8, integer 8, ip6-address, ip-address };\nrequest sixrd;\n",
        encoding="utf-8")
    gw.must("ip", "-4", "addr", "flush", "dev", "eth0")
    gw.spawn("dhclient4", DHCLIENT, "-4", "-d", "-cf", "/run/dhcp4.conf", "-sf", "/run/dhcp4-script", "-lf",
             "/run/dhcp4.leases", "-pf", "/run/dhcp4.pid", "eth0")
    network = LEARNT.network()
    words = f"{LEARNT.v4mask} {network.prefixlen} {network.network_address} {RELAY}"
    eventually(lambda: need(gw.get_wan("ip6_6rd_info") == words, f"the information is {gw.get_wan('ip6_6rd_info')}"))
    stage.set_wan(ip6_tunnel_type="1")
    stage.restart()
    keys = ("ip6_6rd_v4mask", "ip6_6rd_pfxlen", "ip6_6rd_prefix", "ip6_6rd_border_relay")
    assert " ".join(gw.get_wan(key) for key in keys) == words
    return works(stage, LEARNT, LEASED)


def nothing_of_the_tunnel(stage):
    assert stage.links() == stage.links_before, stage.links()
    assert not stage.tunnel_routes(), stage.tunnel_routes()
    default = stage.gw.must("ip", "-6", "route", "show", "default")
    assert not default, default
    delegated = stage.gw.must("ip", "tunnel", "show").splitlines()
    assert not [line for line in delegated if line.startswith(TUNNEL)], delegated


@FLOW.scenario
def without_a_prefix_the_tunnel_goes_and_the_status_is_disconnected(stage):
    stage.set_wan(ip6_tunnel_type="2", ip6_6rd_prefix="")
    stage.restart()
    nothing_of_the_tunnel(stage)
    assert stage.gw.get_wan("ip6_tunnel_status") == "disconnected"


@FLOW.scenario
def a_delegated_length_above_64_sets_nothing_up_and_leaves_the_status(stage):
    stage.set_wan(ip6_tunnel_status="connected", ip6_6rd_prefix="3fff:700::", ip6_6rd_pfxlen="33", ip6_6rd_v4mask="0")
    stage.restart()
    nothing_of_the_tunnel(stage)
    assert stage.gw.get_wan("ip6_tunnel_status") == "connected"


@FLOW.scenario
def removing_the_tunnel_leaves_nothing_of_it_and_no_way_out(stage):
    stage.set_manually(LAST_OCTET)
    stage.restart()
    works(stage, LAST_OCTET, LEASED, numbers=(0,))
    stage.set_wan(ip6_proto="dhcp")
    stage.restart()
    nothing_of_the_tunnel(stage)
    begin = time.time()
    eventually(stage.see.cut_off, 0)
    inside = tunnelled(stage.line.path, begin)
    assert not inside, inside


if __name__ == "__main__":
    FLOW.main(Stage)

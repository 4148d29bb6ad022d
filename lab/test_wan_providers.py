"""Another provider and another subscriber: a fault of the lab is told from one of the program."""
import ipaddress
import re
import time

import pytest
from netlab import prefixes, traffic
from netlab.isp import IspConfig
from netlab.kea import KeaIsp
from netlab.wait import need
from netlab.wide import WideIsp

PROVIDERS = {
    "Kea": (KeaIsp, IspConfig(delegated_length=60)),
    # This one works the times out by itself: half of the preferred lifetime, and four fifths.
    "WIDE": (WideIsp, IspConfig(fixed_address="3fff:100:0:1::77", fixed_prefix="3fff:100:a000:4200::/60",
                                preferred=3000, valid=7000, renew=1500, rebind=2400))}


def answered(lab, host, network):
    own = host.address_in(network)["local"]
    config = lab.isp.config
    status, text = traffic.call(host, "tcp", config.server_address, config.tcp_port)
    need((status, text) == (traffic.ANSWERED, f"you are {own} from {own}"), text)
    return True


@pytest.mark.parametrize("name", PROVIDERS)
def test_the_whole_flow_with_another_dhcpv6_server(lab_with, name):
    """Kea's and the WIDE project's servers as the provider's: lease, hosts on line, release"""
    node, config = PROVIDERS[name]
    lab = lab_with(isp=lambda out: node(out, config))
    reply = lab.online(lans_first=False)
    address, prefix = reply.addresses[0][0], reply.prefixes[0][0]
    assert ipaddress.ip_network(prefix).prefixlen == 60
    kinds = [message.kind for message in lab.line.dhcp()]
    assert [kind for kind in kinds if kind != "SOLICIT"] == ["ADVERTISE", "REQUEST", "REPLY"]
    stored = {key: lab.get(f"{key}@wan") for key in ("ip6_addr", "ip6_dns", "ip6_domain", "ip6_lease", "ip6_life",
                                                     "ip6_renew", "ip6_rebind")}
    config = lab.isp.config
    assert stored == {"ip6_addr": address, "ip6_dns": " ".join(config.name_servers), "ip6_domain": "isp.example",
                      "ip6_lease": str(config.preferred), "ip6_life": str(config.valid),
                      "ip6_renew": str(config.renew), "ip6_rebind": str(config.rebind)}
    assert lab.stored_delegation() == prefix
    assert lab.isp.leases() == {"na": {address: "active"}, "pd": {prefix: "active"}}
    for number, host in enumerate(lab.hosts):
        network = prefixes.carved(prefix, f"0{number + 1}")
        lab.until(f"{host.name} is answered at its address in {network}", lambda: answered(lab, host, network))
    begin = time.time()
    lab.command("dhcp6c_release")
    lab.until("the release is answered", lambda: lab.line.dhcp("RELEASE", begin) and lab.line.dhcp("REPLY", begin))
    lab.settles(lambda: lab.isp.leases(), {"na": {address: "released"}, "pd": {prefix: "released"}})


def dhclient_on(lab, node):
    """Debian's ISC client, which keeps the lease in a file. Returns (address, prefix)."""
    node.spawn("dhclient", "/usr/sbin/dhclient", "-6", "-N", "-P", "-d", "-cf", "/dev/null", "-sf",
               "/lab/src/netlab/dhclient_script.sh", "-lf", "/run/dhclient6.leases", "-pf", "/run/dhclient6.pid",
               "eth0")
    text = lab.until("the stock client has its lease", lambda: "iaprefix" in node.read("/run/dhclient6.leases")
                     and node.read("/run/dhclient6.leases"))
    assert f"option dhcp6.name-servers {','.join(lab.isp.config.name_servers)};" in text
    address, prefix = (re.search(rf"{word} (\S+) ", text)[1] for word in ("iaaddr", "iaprefix"))
    node.must("ip", "-6", "addr", "add", f"{address}/128", "dev", "eth0", "nodad")
    return address, prefix


def dhcp6c_on(lab, node):
    """The WIDE project's client, which numbers the WAN and one LAN by itself. Returns (address, prefix)."""
    node.must("mkdir", "-p", "/var/lib/dhcpv6")
    node.must("ip", "link", "add", "lan", "type", "veth", "peer", "name", "behind")
    for end in ("lan", "behind"):
        node.must("ip", "link", "set", end, "up")
    (node.out / "dhcp6c.conf").write_text(
        "interface eth0 { send ia-na 0; send ia-pd 0; request domain-name-servers; request domain-name; };\n"
        "id-assoc na 0 { };\nid-assoc pd 0 { prefix-interface lan { sla-id 1; sla-len 8; }; };\n", encoding="utf-8")
    client = node.spawn("dhcp6c", "/usr/sbin/dhcp6c", "-f", "-D", "-c", "/lab/out/dhcp6c.conf", "-p",
                        "/run/dhcp6c.pid", "eth0")

    def numbered(interface):
        return [entry["local"] for entry in node.addresses(interface, "global") if not entry.get("tentative")]
    address = lab.until("the client has numbered its WAN", lambda: numbered("eth0"))[0]
    inside = lab.until("the client has numbered its LAN", lambda: numbered("lan"))[0]
    for server in lab.isp.config.name_servers:
        assert server in client.log(), "it was told the name servers"
    carved = ipaddress.ip_network(f"{inside}/64", strict=False)
    prefix = carved.supernet(new_prefix=lab.isp.config.delegated_length)
    assert carved == prefixes.carved(str(prefix), "01")
    return address, str(prefix)


@pytest.mark.parametrize("client", [dhclient_on, dhcp6c_on], ids=["dhclient", "WIDE"])
def test_a_stock_client_gets_from_the_provider_what_the_gateway_gets(lab_with, client):
    """The lab's provider, seen by two stock clients, alone and beside the gateway"""
    lab = lab_with(shared_line=True)
    config = lab.isp.config
    neighbor = lab.lab.add_neighbor("neighbor")
    neighbor.must("sysctl", "-q", "-w", "net.ipv6.conf.eth0.accept_ra=1")
    neighbor.must("ip", "link", "set", "eth0", "up")
    neighbor.link_local("eth0")
    address, prefix = client(lab, neighbor)
    lab.settles(lambda: lab.isp.leases(), {"na": {address: "active"}, "pd": {prefix: "active"}})
    assert ipaddress.ip_network(prefix).prefixlen == config.delegated_length
    lab.until("it has heard the router", lambda: neighbor.json("ip", "-j", "-6", "route", "show", "default"))
    assert traffic.call(neighbor, "tcp", config.server_address, config.tcp_port) == \
        (traffic.ANSWERED, f"you are {address} from {address}")
    lab.settles(lambda: lab.isp.delegated_routes(), {prefix: neighbor.link_local("eth0")})

    # The gateway beside it gets its own of each.
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    reply = lab.bound()
    assert [each[0] for each in reply.addresses] != [address] and [each[0] for each in reply.prefixes] != [prefix]
    lab.settles(lambda: set(lab.isp.delegated_routes().values()),
                {neighbor.link_local("eth0"), lab.gw.link_local("eth0")})

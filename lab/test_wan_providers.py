"""Another provider and another subscriber: a fault of the lab is told from one of the program."""
import ipaddress
import time

from netlab import prefixes, traffic
from netlab.isp import IspConfig
from netlab.kea import KeaIsp
from netlab.wait import need


def answered(lab, host, network):
    own = host.address_in(network)["local"]
    config = lab.isp.config
    status, text = traffic.call(host, "tcp", config.server_address, config.tcp_port)
    need((status, text) == (traffic.ANSWERED, f"you are {own} from {own}"), text)
    return True


def test_the_whole_flow_with_another_dhcpv6_server(lab_with):
    """Kea as the provider's server: lease, hosts on line, release"""
    lab = lab_with(isp=lambda out: KeaIsp(out, IspConfig(delegated_length=60)))
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


def test_a_stock_client_gets_from_the_provider_what_the_gateway_gets(lab_with):
    """The lab's provider, seen by a stock client, alone and beside the gateway"""
    lab = lab_with(shared_line=True)
    config = lab.isp.config
    neighbor = lab.lab.add_neighbor("neighbor")
    neighbor.must("sysctl", "-q", "-w", "net.ipv6.conf.eth0.accept_ra=1")
    neighbor.must("ip", "link", "set", "eth0", "up")
    neighbor.link_local("eth0")
    neighbor.spawn("dhclient", "/usr/sbin/dhclient", "-6", "-N", "-P", "-d", "-cf", "/dev/null",
                   "-sf", "/lab/src/netlab/dhclient_script.sh", "-lf", "/run/dhclient6.leases",
                   "-pf", "/run/dhclient6.pid", "eth0")
    leases = lab.until("the stock client has its lease", lambda: "iaprefix" in neighbor.read("/run/dhclient6.leases")
                       and neighbor.read("/run/dhclient6.leases"))
    addresses, delegated = lab.isp.leases()["na"], lab.isp.leases()["pd"]
    assert len(addresses) == 1 and len(delegated) == 1
    address, prefix = next(iter(addresses)), next(iter(delegated))
    assert f"iaaddr {address} " in leases and f"iaprefix {prefix} " in leases
    assert ipaddress.ip_network(prefix).prefixlen == config.delegated_length
    assert f"option dhcp6.name-servers {','.join(config.name_servers)};" in leases
    lab.until("it has heard the router", lambda: neighbor.json("ip", "-j", "-6", "route", "show", "default"))
    neighbor.must("ip", "-6", "addr", "add", f"{address}/128", "dev", "eth0", "nodad")
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

"""Delegated prefixes of every length, none at all, and both prefix modes, at one gateway."""
import ipaddress
import time

import pytest
from netlab import traffic
from netlab.gateway import BRIDGES
from netlab.closed import NO_DELEGATION, reached_from_the_wan, refused_line, serve_inside, stays_closed
from netlab.isp import IspConfig
from netlab.wait import need


@pytest.fixture(scope="module")
def lab(shared_lab_with):
    lab = shared_lab_with(isp=IspConfig(delegated_from="3fff:100:a000:5500::", delegated_to="3fff:100:a000:5500::"))
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    lab.bound()
    return lab


def lease_again(lab, prefix):
    """The provider delegates this prefix, or none; the management restarts the client. Returns the Reply."""
    if prefix and lab.stored_delegation() == prefix:
        return lab.line.dhcp("REPLY")[-1]
    network = ipaddress.ip_network(prefix) if prefix else None
    lab.command("dhcp6c_release")
    lab.until("the lease is given back", lambda: "dhclient" not in lab.daemons())
    lab.idle()
    lab.isp.change_dhcp(**({"delegated_from": str(network.network_address), "delegated_length": network.prefixlen,
                            "delegated_to": str(network.network_address)} if prefix else {"delegated_length": 0}))
    begin = time.time()
    lab.command("dhcp6c_restart")
    reply = lab.bound(begin)
    assert [each[0] for each in reply.prefixes] == ([prefix] if prefix else [])
    return reply


def public_networks(lab, bridge):
    return sorted({str(ipaddress.ip_interface(address).network) for address in lab.global_addresses(bridge)})


def answered(lab, host, network):
    """A call from the host's address in a network to the provider's server."""
    own = host.address_in(network)["local"]
    status, text = traffic.call(host, "tcp", lab.isp.config.server_address, lab.isp.config.tcp_port)
    need((status, text) == (traffic.ANSWERED, f"you are {own} from {own}"), text)
    return True


@pytest.mark.parametrize("prefix, carved", [
    ("3fff:100:a000:5500::/56", ["3fff:100:a000:5501::/64", "3fff:100:a000:5502::/64"]),
    ("3fff:100:a000::/48", ["3fff:100:a000:1::/64", "3fff:100:a000:2::/64"]),
    ("3fff:100:a000:66f0::/60", ["3fff:100:a000:66f1::/64", "3fff:100:a000:66f2::/64"]),
    ("3fff:100:a000:77f4::/62", ["3fff:100:a000:77f5::/64", "3fff:100:a000:77f6::/64"]),
], ids=["56", "48", "60", "62"])
def test_each_lan_gets_its_subnet_of_the_delegated_prefix(lab, prefix, carved):
    """A delegation of more than one /64: each LAN has its own, and hosts on both use the line"""
    lease_again(lab, prefix)
    assert lab.stored_delegation() == prefix
    assert [public_networks(lab, bridge) for bridge in BRIDGES] == [[network] for network in carved]
    lab.settles(lambda: prefix in lab.isp.delegated_routes(), True)
    for host, network in zip(lab.hosts, carved):
        lab.until(f"{host.name} is answered at its address in {network}", lambda: answered(lab, host, network))
    lab.look(prefix)


def test_a_single_subnet_is_given_to_both_lans_and_serves_the_first(lab):
    """A /64: both LANs advertise the same prefix, and answers for hosts of the second one go to the first"""
    prefix = "3fff:100:a000:88ff::/64"
    lease_again(lab, prefix)
    assert [public_networks(lab, bridge) for bridge in BRIDGES] == [[prefix], [prefix]]
    lab.until("host0 is answered", lambda: answered(lab, lab.hosts[0], prefix))
    own = lab.until("host1 has an address of it too", lambda: lab.hosts[1].address_in(prefix))["local"]
    begin = time.time()
    config = lab.isp.config
    status, _ = traffic.call(lab.hosts[1], "tcp", config.server_address, config.tcp_port, 2.5)
    assert status == traffic.SILENT
    answers = [each for each in lab.line.packets(begin) if each.destination == own and each.protocol == 6]
    assert answers and answers[0].source == config.server_address, "the server has answered"
    asked = [each for each in lab.lans[0].packets(begin) if each.payload[:1] == b"\x87"
             and ipaddress.ip_address(each.payload[8:24]) == ipaddress.ip_address(own)]
    assert asked, "the gateway looks for host1 on the first LAN"
    lab.look(prefix)


def test_a_delegation_that_is_not_renewed_stays_in_use(lab):
    """No delegation at the next lease, preferred mode: the prefix of the lease before is kept and advertised"""
    prefix, carved = lab.stored_delegation(), public_networks(lab, "br-lan")
    assert prefix and len(carved) == 1
    begin = time.time()
    lease_again(lab, None)
    assert (lab.stored_delegation(), public_networks(lab, "br-lan")) == (prefix, carved)
    newest = lab.until("host0 is told prefixes", lambda: lab.lans[0].advertisements(begin))[-1]
    assert (carved[0], True) in [(each[0], each[4] > 0) for each in newest.prefixes]
    # The provider has taken the prefix back, so what hosts send from it is not answered.
    config = lab.isp.config
    assert traffic.call(lab.hosts[0], "tcp", config.server_address, config.tcp_port, 2.5)[0] != traffic.ANSWERED
    lab.look("no delegation, preferred mode")


def test_the_random_mode_gives_the_lans_no_prefix_and_keeps_the_gateway_closed(lab):
    """Random mode: the delegated prefix is forgotten before it is used; the LANs get none, the gateway stays closed"""
    serve_inside(lab)
    assert refused_line(lab) is None
    assert not reached_from_the_wan(lab, lab.global_addresses("eth0")[0].split("/")[0])
    lab.set("ip6_dhcp6c_prefix_mode@system", "1")
    reply = lease_again(lab, "3fff:100:a000:66f0::/60")
    assert reply.prefixes and lab.stored_delegation() is None
    assert "3fff:100:a000:66f1::/64" not in public_networks(lab, "br-lan")
    stays_closed(lab, NO_DELEGATION)
    lab.look("random mode")


def test_a_first_lease_without_a_delegation_leaves_the_gateway_closed(lab_with):
    """No delegation at the first lease: an address, no LAN daemons, and a firewall without the rules for the prefix"""
    lab = lab_with(isp=IspConfig(delegated_length=0))
    lab.start_lans()
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    reply = lab.bound()
    assert (len(reply.addresses), reply.prefixes, lab.stored_delegation()) == (1, [], None)
    assert [public_networks(lab, bridge) for bridge in BRIDGES] == [[], []]
    serve_inside(lab)
    stays_closed(lab, NO_DELEGATION)
    # The daemons of the LANs refuse "prefix /64" and "subnet6 /64" too, and they were stopped before.
    assert "prefix /64 {" in lab.gw.read("/tmp/radvd.conf") and "subnet6 /64 {" in lab.gw.read("/tmp/dhcp6d.conf")
    assert not {"radvd", "dhcp6d"} & set(lab.daemons())
    assert lab.gw.run("radvd", "-c", "-C", "/tmp/radvd.conf").returncode != 0
    assert lab.gw.run("/tmp/dhcp6d", "-t", "-6", "-cf", "/tmp/dhcp6d.conf").returncode != 0

"""Hosts on both bridges: what they are told, what they make of it, and what changes with the settings of their LAN."""
import ipaddress
import time

import pytest
from netlab import prefixes, traffic
from netlab.gateway import BRIDGES
from netlab.host import INTERFACE

SIDES = (0, 1)
GLOBAL = ipaddress.ip_network("3fff::/20")
PREFERENCES = {0: "medium", 1: "high", 3: "low"}            # RFC 4191
MTU = 1480
LIFETIMES = {0: (5000, 9000), 1: (604800, 1814400)}         # of the unique-local prefixes: preferred, valid
LEASE = (3600, 7200)                                        # of the delegated prefix
SLACK = 120                                                 # seconds that may pass between an advertisement and a look


@pytest.fixture(scope="module")
def lab(shared_lab_with):
    """On line. LAN0 has unique-local lifetimes of its own, LAN1 has none and takes the defaults."""
    lab = shared_lab_with(settings={
        "mtu@wan": MTU, "ip6_ula_prefer@lan0": 5000, "ip6_ula_valid@lan0": 9000,
        "ip6_ula_prefer@lan1": 0, "ip6_ula_valid@lan1": 0})
    lab.online()
    return lab


def unique_of(lab, side):
    """The unique-local /64 of the stored ids."""
    return prefixes.unique_local(lab.get(f"ip6_ula_gid@lan{side}"), lab.get(f"ip6_ula_sid@lan{side}"))


def carved_of(lab, side):
    return ipaddress.ip_network(f"{lab.get(f'ip6_prefix@lan{side}')}/64")


def bridge_in(lab, side, network):
    return str(prefixes.eui64(network, lab.gw.mac(BRIDGES[side])))


def kernel_setting(node, name):
    return node.must("sysctl", "-n", f"net.ipv6.{name}").strip()


def newest_advertisement(lab, side, since=0.0):
    """The newest advertisement of the bridge on the host's wire, and the octets of it."""
    def probe():
        seen = [packet for packet in lab.lans[side].packets(since)
                if packet.protocol == 58 and packet.payload[:1] == b"\x86"]
        return seen and (lab.lans[side].advertisements(since)[-1], seen[-1].payload)
    return lab.until(f"host{side} is sent an advertisement", probe)


def told_prefixes(lab, side, since=0.0):
    """Prefixes of the newest advertisement that addresses may be made of: {network: (preferred, valid)}."""
    told, _ = newest_advertisement(lab, side, since)
    return {network: (preferred, valid) for network, on_link, autonomous, valid, preferred in told.prefixes
            if on_link and autonomous}


def live(told):
    """Only those that are still preferred."""
    return sorted(network for network, (preferred, _) in told.items() if preferred)


def ask_dhcp(lab, side):
    """What a stock client is told in answer to an information request of now."""
    host = lab.hosts[side]
    asked = time.time()
    client = host.ask_dhcp()
    answer = lab.until(f"{host.name}'s information request is answered", lambda: answer_of(host))
    client.stop()
    assert lab.lans[side].dhcp("INFORMATION-REQUEST", asked)
    return answer


def answer_of(host):
    return host.read("/run/dhclient6.env") and host.dhcp_answer()


def global_of(lab, side, network):
    return lab.hosts[side].address_in(network)


@pytest.mark.parametrize("side", SIDES)
def test_a_host_has_addresses_of_both_prefixes_with_the_lifetimes_that_were_advertised(lab, side):
    """Hosts take an address of the unique-local and of the global prefix, with the lifetimes advertised"""
    wanted = {str(unique_of(lab, side)): LIFETIMES[side], str(carved_of(lab, side)): LEASE}
    assert told_prefixes(lab, side) == wanted
    for network, (preferred, valid) in wanted.items():
        address = lab.until(f"host{side} has an address in {network}", lambda: global_of(lab, side, network))
        assert address["local"] == str(prefixes.eui64(network, lab.hosts[side].mac(INTERFACE)))
        assert preferred - SLACK < address["preferred_life_time"] <= preferred
        assert valid - SLACK < address["valid_life_time"] <= valid
        assert address["prefixlen"] == 64


def test_the_two_lans_have_prefixes_of_their_own(lab):
    """The LANs differ in their unique-local and in their global prefix; both global ones are of the delegated prefix"""
    unique, carved = [unique_of(lab, side) for side in SIDES], [carved_of(lab, side) for side in SIDES]
    assert unique[0] != unique[1]
    assert all(network.subnet_of(ipaddress.ip_network("fd00::/8")) for network in unique)
    delegated = lab.stored_delegation()
    assert carved == [prefixes.carved(delegated, "01"), prefixes.carved(delegated, "02")]


@pytest.mark.parametrize("side", SIDES)
def test_a_host_is_told_router_resolver_domain_and_mtu(lab, side):
    """RDNSS, DNSSL, MTU, hop limit, preference and router lifetime, on the wire and in the host's kernel"""
    told, octets = newest_advertisement(lab, side)
    resolver = bridge_in(lab, side, unique_of(lab, side))
    assert told.source == lab.gw.link_local(BRIDGES[side])
    assert (told.managed, told.other) == (False, True)
    assert (told.mtu, told.hop_limit, told.lifetime) == (MTU, 255, 180)
    assert PREFERENCES[octets[5] >> 3 & 3] == "medium"
    assert told.servers == [(resolver, 600)]
    assert told.domains == [("isp.example", 600)]

    host = lab.hosts[side]
    lab.settles(host.advertised_resolver, ([resolver], ["isp.example"]))
    assert [kernel_setting(host, f"conf.{INTERFACE}.{key}") for key in ("mtu", "hop_limit")] == [str(MTU), "255"]
    routes = host.json("ip", "-j", "-6", "route", "show", "default")
    assert [(route["gateway"], route["protocol"], route["pref"]) for route in routes] == [
        (told.source, "ra", "medium")]


@pytest.mark.parametrize("side", SIDES)
def test_an_information_request_is_answered_with_resolver_and_domain(lab, side):
    """DHCPv6 without addresses: name server, domain, the server's lasting identity and its preference"""
    asked = time.time()
    answer = ask_dhcp(lab, side)
    assert answer["new_dhcp6_name_servers"] == bridge_in(lab, side, unique_of(lab, side))
    assert answer["new_dhcp6_domain_search"] == "isp.example."
    # A DUID of link-layer address and a time that never changes, so that it is the same after every restart.
    mac = lab.gw.mac(BRIDGES[0]).split(":")
    assert answer["new_dhcp6_server_id"].split(":") == [f"{int(octet, 16):x}" for octet in (
        "0", "1", "0", "1", "16", "92", "5e", "80", *mac)]
    assert answer["new_dhcp6_preference"] == "255"
    replies = lab.lans[side].dhcp("REPLY", asked)
    assert replies and not any(reply.addresses or reply.prefixes for reply in replies)


def test_a_host_that_asks_for_an_address_is_told_that_there_is_none(lab):
    """Addresses come from advertisements only: the DHCPv6 server has none to lease"""
    host, asked = lab.hosts[0], time.time()
    client = host.spawn("dhclient-address", "/usr/sbin/dhclient", "-6", "-N", "-d", "-sf", "/bin/true", "-cf",
                        "/dev/null", "-lf", "/run/dhclient-address.leases", "-pf", "/run/dhclient-address.pid",
                        INTERFACE)
    try:
        refused = lab.until("the solicitation is answered", lambda: [
            message for message in lab.lans[0].dhcp(since=asked)
            if message.kind in ("ADVERTISE", "REPLY") and message.has_ia_na])
    finally:
        client.stop()
    assert {code for message in refused for code, _ in message.statuses} == {2}     # NoAddrsAvail
    assert not any(message.addresses for message in refused)


@pytest.mark.parametrize("side", SIDES)
def test_a_host_resolves_and_reaches_what_its_resolver_names(lab, side):
    """A host that takes everything it was told as it is reaches a server by its short name"""
    host = lab.hosts[side]
    servers, search = host.advertised_resolver()
    host.use_resolver(servers, search)
    lab.settles(lambda: host.resolve("www"), [lab.isp.config.server_address])
    mine = host.address_in(carved_of(lab, side))["local"]
    lab.settles(lambda: traffic.call(host, "tcp", lab.isp.config.server_address, lab.isp.config.tcp_port),
                (traffic.ANSWERED, f"you are {mine} from {mine}"))


def test_only_the_unique_local_prefix_is_told_while_the_wan_is_down(lab_with):
    """Before the WAN is up and after it has gone: unique-local prefix, resolver and information requests still work"""
    lab = lab_with()
    lab.start_lans()
    for side in SIDES:
        network = unique_of(lab, side)
        lab.settles(lambda: live(told_prefixes(lab, side)), [str(network)])
        told, _ = newest_advertisement(lab, side)
        assert (told.servers, told.domains) == ([(bridge_in(lab, side, network), 600)], [])
        lab.until("the host has its address", lambda: global_of(lab, side, network))
        answer = ask_dhcp(lab, side)
        assert answer["new_dhcp6_name_servers"] == bridge_in(lab, side, network)
        assert "new_dhcp6_domain_search" not in answer

    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    lab.bound()
    carved = [carved_of(lab, side) for side in SIDES]
    for side in SIDES:
        lab.until("the host has a global address", lambda: global_of(lab, side, carved[side]))
        lab.settles(lambda: live(told_prefixes(lab, side)), sorted([str(unique_of(lab, side)), str(carved[side])]))
    lab.look("the WAN is up")

    gone = time.time()
    lab.command("zel_ipv6cp_down")
    lab.look("the WAN is gone")
    for side in SIDES:
        lab.settles(lambda: live(told_prefixes(lab, side, gone)), [str(unique_of(lab, side))])
        lab.until("the global address is no longer preferred",
                  lambda: global_of(lab, side, carved[side]).get("deprecated"))
        assert not global_of(lab, side, unique_of(lab, side)).get("deprecated")
        assert ask_dhcp(lab, side)["new_dhcp6_name_servers"] == bridge_in(lab, side, unique_of(lab, side))


def unique_local_of_bridge(lab, side):
    return sorted(entry["local"] for entry in lab.gw.addresses(BRIDGES[side], "global")
                  if ipaddress.ip_address(entry["local"]) not in GLOBAL)


def restart_lans(lab):
    """Both LANs take up their settings; returns when that began."""
    begin = time.time()
    lab.start_lans()
    return begin


def check_unique_local(lab, side, network, since):
    """The bridge has its address in this unique-local prefix and no other, and the host is told it and takes it up."""
    lab.settles(lambda: unique_local_of_bridge(lab, side), [bridge_in(lab, side, network)])
    lab.settles(lambda: [each for each in live(told_prefixes(lab, side, since))
                         if not ipaddress.ip_network(each).subnet_of(GLOBAL)], [str(network)])
    lab.until("the host has an address of it", lambda: global_of(lab, side, network))
    assert newest_advertisement(lab, side, since)[0].servers == [(bridge_in(lab, side, network), 600)]
    address = bridge_in(lab, side, network)
    lab.settles(lambda: traffic.call(lab.hosts[side], "icmp", address, 0, 3)[0], traffic.ANSWERED)


def test_unique_local_addresses_off_on_manual_and_automatic_again(lab_with):
    """Unique-local addresses switched off and on, with a global id of one's own, and back to a made one"""
    lab = lab_with()
    lab.online()
    first = [unique_of(lab, side) for side in SIDES]
    carved = [carved_of(lab, side) for side in SIDES]

    for side in SIDES:
        lab.set(f"ip6_ula_eb@lan{side}", 0)
    begin = restart_lans(lab)
    lab.look("unique-local addresses off")
    for side in SIDES:
        assert unique_local_of_bridge(lab, side) == []
        assert (lab.get(f"ip6_ula_addr@lan{side}"), lab.get(f"ip6_ula_addra@lan{side}")) == (None, None)
        assert live(told_prefixes(lab, side, begin)) == [str(carved[side])]
        resolver = bridge_in(lab, side, carved[side])
        assert newest_advertisement(lab, side, begin)[0].servers == [(resolver, 600)]
        assert ask_dhcp(lab, side)["new_dhcp6_name_servers"] == resolver
        # Nobody takes the old prefix back: hosts keep their address of it for as long as they were once told.
        assert not global_of(lab, side, first[side]).get("deprecated")

    for side in SIDES:
        lab.set(f"ip6_ula_eb@lan{side}", 1)
    begin = restart_lans(lab)
    assert [unique_of(lab, side) for side in SIDES] == first
    for side in SIDES:
        check_unique_local(lab, side, first[side], begin)

    manual = ["aa:bbcc:ddee", "a5:5a5a:0001"]
    for side, gid in zip(SIDES, manual):
        lab.set(f"ip6_ula_manual_gid@lan{side}", 1)
        lab.set(f"ip6_ula_gid@lan{side}", gid)
    begin = restart_lans(lab)
    lab.look("global ids of one's own")
    for side, network in zip(SIDES, ("fdaa:bbcc:ddee:1::/64", "fda5:5a5a:1:2::/64")):
        assert str(unique_of(lab, side)) == network
        check_unique_local(lab, side, ipaddress.ip_network(network), begin)

    for side in SIDES:
        lab.set(f"ip6_ula_manual_gid@lan{side}", 0)
    begin = restart_lans(lab)
    lab.look("made global ids again")
    for side, gid in zip(SIDES, manual):
        made = lab.get(f"ip6_ula_gid@lan{side}")
        assert made != gid and unique_of(lab, side) != first[side]
        check_unique_local(lab, side, unique_of(lab, side), begin)
    again = [unique_of(lab, side) for side in SIDES]
    restart_lans(lab)
    assert [unique_of(lab, side) for side in SIDES] == again


def test_a_start_of_the_lans_while_the_wan_is_up_ends_forwarding_until_the_next_restart(lab_with):
    """The LANs' own start command leaves forwarding off; the LAN restart turns it on again"""
    lab = lab_with()
    lab.online()
    config = lab.isp.config

    def reach(patience):
        return traffic.call(lab.hosts[0], "tcp", config.server_address, config.tcp_port, patience)[0]
    lab.settles(lambda: reach(5), traffic.ANSWERED)
    lab.start_lans()
    assert lab.gw.sysctl("net.ipv6.conf.all.forwarding") == "0"
    begin = time.time()
    assert reach(2.5) != traffic.ANSWERED
    assert lab.lans[0].tcp_to(config.server_address, config.tcp_port, begin)
    assert not lab.line.tcp_to(config.server_address, config.tcp_port, begin)
    lab.command("ipv6_lan_restart")
    assert lab.gw.sysctl("net.ipv6.conf.all.forwarding") == "1"
    lab.settles(lambda: reach(5), traffic.ANSWERED)

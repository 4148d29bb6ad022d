"""How the gateway is provisioned, by what the provider's router advertises: the mode, the store and the wire agree."""
import time

from netlab import packets, prefixes, traffic
from netlab.isp import ACCESS, IspConfig

LINE = "3fff:100:0:1::/64"
DUID = "00:03:00:01:02:00:00:00:00:01"


def own_address(lab):
    """The address that the kernel forms in the line's prefix."""
    return str(prefixes.eui64(LINE, lab.gw.mac(lab.gw.wan)))


def public_address_is_listed_first(lab):
    """Whether the kernel lists the WAN's public address before its link-local one. Its order comes from a hash with a
    seed, so it differs from boot to boot; the program judges the record that it meets first."""
    lines = lab.gw.must("cat", "/proc/net/if_inet6").splitlines()
    return next(line for line in lines if line.split()[-1] == lab.gw.wan).startswith("3fff")


def first_request(lab, since=0.0):
    """The client's first message on the wire."""
    return lab.until("the client has said something", lambda: [
        each for each in lab.line.dhcp(since=since) if each.kind in ("SOLICIT", "INFORMATION-REQUEST")])[0]


def default_routers(lab):
    return {route["gateway"] for route in lab.gw.json("ip", "-j", "-6", "route", "show", "default")}


def reaches_the_server(lab, node):
    status, _ = traffic.call(node, "tcp", lab.isp.config.server_address, lab.isp.config.tcp_port, 3.0)
    return status == traffic.ANSWERED


def test_managed_advertisement_means_a_leased_address(lab_with):
    """M=1: address and prefix are solicited, the address formed from the advertisement goes"""
    lab = lab_with(isp=IspConfig(managed=True, autonomous=True))
    lab.plug_in()
    lab.settles(lambda: lab.global_addresses("eth0"), [f"{own_address(lab)}/64"])
    listed_first = public_address_is_listed_first(lab)
    lab.command("zel_ipv6cp_up")
    # Only the address that is judged is deleted; listed second, it stays until the client empties the interface.
    assert lab.global_addresses("eth0") == [] or not listed_first
    first = first_request(lab)
    assert (first.kind, first.has_ia_na, first.has_ia_pd, first.client_id) == ("SOLICIT", True, True, DUID)
    reply = lab.bound()
    stored = {key: lab.get(f"{key}@wan")
              for key in ("ip6_stateless", "ip6_addr", "ip6_pfxlen", "ip6_gateway", "ip6_duid")}
    assert stored == {"ip6_stateless": "0", "ip6_addr": reply.addresses[0][0], "ip6_pfxlen": "128",
                      "ip6_gateway": lab.isp.link_local(ACCESS), "ip6_duid": DUID}
    assert lab.line.dhcp("INFORMATION-REQUEST") == []


def test_unmanaged_advertisement_means_an_own_address(lab_with):
    """M=0, O=1: the own address in the advertised prefix, and only a prefix is solicited"""
    lab = lab_with(isp=IspConfig(managed=False, other=True, autonomous=True))
    lab.plug_in()
    lab.settles(lambda: lab.global_addresses("eth0"), [f"{own_address(lab)}/64"])
    listed_first = public_address_is_listed_first(lab)
    lab.command("zel_ipv6cp_up")
    first = first_request(lab)
    assert (first.kind, first.has_ia_na, first.has_ia_pd, first.client_id) == ("SOLICIT", False, True, DUID)
    reply = lab.bound()
    assert (reply.addresses, len(reply.prefixes)) == ([], 1)
    stored = {key: lab.get(f"{key}@wan") for key in ("ip6_stateless", "ip6_addr", "ip6_pfxlen", "ip6_gateway")}
    router = lab.isp.link_local(ACCESS)
    # A link-local address that is listed first is judged instead: the mode is the same, but nothing is recorded.
    assert stored == ({"ip6_stateless": "1", "ip6_addr": own_address(lab), "ip6_pfxlen": "64", "ip6_gateway": router}
                      if listed_first else
                      {"ip6_stateless": "1", "ip6_addr": None, "ip6_pfxlen": None, "ip6_gateway": None})
    assert lab.global_addresses("eth0") == [f"{own_address(lab)}/64"]
    assert default_routers(lab) == {router}
    host = lab.hosts[0]
    lab.until("host0 has an address of its LAN's prefix", lambda: host.address_in(f"{lab.get('ip6_prefix@lan0')}/64"))
    lab.until("host0 reaches the provider's server", lambda: reaches_the_server(lab, host))


def test_unmanaged_advertisement_without_delegation_means_an_information_request(lab_with):
    """M=0, O=0 and nothing delegated: a prefix is solicited in vain, then only information is asked for"""
    lab = lab_with(isp=IspConfig(managed=False, other=False, autonomous=True, delegated_length=0))
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    asked = lab.until("an Information-request is on the wire", lambda: lab.line.dhcp("INFORMATION-REQUEST"))[0]
    assert not asked.has_ia_na and not asked.has_ia_pd
    assert {23, 24} <= set(asked.requested), "name servers and domains are asked for"
    solicits = [each for each in lab.line.dhcp("SOLICIT") if each.time < asked.time]
    assert {(each.has_ia_na, each.has_ia_pd) for each in solicits} == {(False, True)}
    lab.settles(lambda: [lab.get(f"{key}@wan") for key in ("ip6_dns", "ip6_domain", "ip6_stateless")],
                ["3fff:100:53::1 3fff:100:53::2", "isp.example", "1"])
    assert lab.stored_delegation() is None


def test_no_advertisement_means_a_leased_address_without_a_way_out(lab_with):
    """No advertisement at all: address and prefix are leased, but no router is known"""
    lab = lab_with(isp=IspConfig(advertise=False))
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    first = first_request(lab)
    assert (first.kind, first.has_ia_na, first.has_ia_pd) == ("SOLICIT", True, True)
    reply = lab.bound()
    assert lab.line.advertisements() == []
    assert (lab.get("ip6_stateless@wan"), lab.get("ip6_gateway@wan")) == ("0", None)
    assert lab.global_addresses("eth0") == [f"{reply.addresses[0][0]}/128"]
    lab.until("the LAN has its prefix", lambda: lab.hosts[0].address_in(f"{lab.get('ip6_prefix@lan0')}/64"))
    # DHCPv6 names no router (RFC 8415), so without an advertisement there is nowhere to send anything to.
    assert default_routers(lab) == set()
    assert not reaches_the_server(lab, lab.hosts[0])


def test_an_advertisement_that_comes_late_is_not_waited_for(lab_with):
    """An advertisement with M=0 comes 3 s after the link: the mode has been stateful since the link was seen"""
    lab = lab_with(isp=IspConfig(advertise=False, managed=False, autonomous=True))
    hook = lab.gw.spawn("hook", "/usr/sbin/zel_ipv6cp_up")
    lab.until("it has looked for the link more than once", lambda:
              (lab.lab.out / "console.log").read_text(errors="replace").count("waninfo_main] action = 0 ") > 2)
    assert hook.running() and lab.line.dhcp() == []
    plugged = time.time()
    lab.plug_in()
    first = first_request(lab)
    lab.until("3 s have passed since the link came up", lambda: time.time() > plugged + 3)
    lab.note("the router begins to advertise, M=0")
    lab.isp.change_advertising(advertise=True)
    late = lab.until("the advertisement is on the wire", lab.line.advertisements)[0]
    assert not late.managed and late.time > plugged + 3
    assert (first.kind, first.has_ia_na, first.has_ia_pd) == ("SOLICIT", True, True)
    assert first.time < late.time
    lab.bound()
    assert lab.get("ip6_stateless@wan") == "0"
    assert lab.line.dhcp("INFORMATION-REQUEST") == []
    lab.settles(lambda: len(lab.global_addresses("eth0")), 2)      # the leased one, and the advertised one beside it


def link_up_and_hear(lab, **advertising):
    """Plugs the line in again; the router begins to advertise when it is asked. Returns the time of the link-up."""
    begin = time.time()
    lab.note("eth0 is plugged in")
    lab.lab.connect_wan()
    lab.until("the gateway solicits", lambda: packets.solicitations(lab.line.packets(begin)))
    lab.note(f"the router begins to advertise: {advertising}")
    lab.isp.change_advertising(advertise=True, **advertising)
    lab.gw.await_advertisement()
    return begin


def link_down(lab):
    lab.command("zel_ipv6cp_down")
    lab.idle()
    lab.note("eth0 is unplugged")
    lab.gw.must("ip", "link", "set", "eth0", "down")
    lab.isp.change_advertising(advertise=False)


def test_the_managed_flag_flips_between_link_ups(lab_with):
    """M=1, M=0 and M=1 again at three link-ups: each time the mode follows the newest advertisement"""
    lab = lab_with(isp=IspConfig(advertise=False))
    for managed in (True, False, True):
        begin = link_up_and_hear(lab, managed=managed, autonomous=not managed)
        lab.command("zel_ipv6cp_up")
        first = first_request(lab, begin)
        assert (first.kind, first.has_ia_na, first.has_ia_pd) == ("SOLICIT", managed, True)
        newest = [each for each in lab.line.advertisements(begin) if each.time < first.time][-1]
        assert newest.managed == managed
        reply = lab.bound(begin)
        assert bool(reply.addresses) == managed
        assert lab.get("ip6_stateless@wan") == ("0" if managed else "1")
        lab.look(f"M={managed:d}")
        link_down(lab)


def test_an_advertisement_to_the_gateway_alone_is_stopped_by_its_firewall(lab_with):
    """A router that answers in unicast is heard at the first link-up, and no more once the firewall is in force"""
    lab = lab_with(isp=IspConfig(managed=False, autonomous=True, unicast_only=True))
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    assert not first_request(lab).has_ia_na, "M=0 is known at the first link-up"
    lab.bound()
    link_down(lab)
    begin = time.time()
    lab.isp.change_advertising(advertise=True)
    lab.lab.connect_wan()
    answer = lab.until("the router answers a solicitation", lambda: [
        each for each in lab.line.advertisements(begin) if packets.solicitations(lab.line.packets(begin))])[0]
    assert (answer.managed, answer.destination) == (False, lab.gw.link_local("eth0"))
    # The ruleset lets advertisements in only to ff02::1, so this provider is now taken for one that does not advertise.
    lab.command("zel_ipv6cp_up")
    assert first_request(lab, begin).has_ia_na

"""A WAN that is configured by hand, and one that is dialed on demand."""
import time

from netlab import traffic
from netlab.closed import NO_DELEGATION, loaded, serve_inside, stays_closed
from netlab.isp import ACCESS
from netlab.wait import need

ADDRESS, PREFIX = "3fff:100:0:1::77", "3fff:100:c000::/56"
BY_HAND = {"ip6_proto@wan100": "static", "ip6_addr@wan100": ADDRESS, "ip6_pfxlen@wan100": "64",
           "ip6_gateway@wan100": "fe80::ff:fe00:64fe", "ip6_dns@wan100": "3fff:100:53::1",
           "ip6_dns_primary@wan100": "3fff:100:53::1", "ip6_dhcp6c_prefix_addr@system": "3fff:100:c000::",
           "ip6_dhcp6c_prefix_length@system": "56", "ip6_prefix@lan0": "3fff:100:c000:1::",
           "ip6_addr@lan0": "3fff:100:c000:1::1", "ip6_prefix@lan1": "3fff:100:c000:2::",
           "ip6_addr@lan1": "3fff:100:c000:2::1"}


def answered(lab, host, network):
    own = host.address_in(network)["local"]
    config = lab.isp.config
    status, text = traffic.call(host, "tcp", config.server_address, config.tcp_port)
    need((status, text) == (traffic.ANSWERED, f"you are {own} from {own}"), text)
    return True


def apply_settings(lab):
    """What a management script does when it has changed the WAN's settings: it lets the change take effect."""
    lab.set("ip6_changed@wan", "1")
    lab.note("gw# reason=EFFECT6 interface=eth0 stateless=0 zel_dhcp6c_update")
    applied = lab.gw.run("/usr/sbin/zel_dhcp6c_update",
                         env={"reason": "EFFECT6", "interface": "eth0", "stateless": "0"})
    assert applied.returncode == 1, applied.stderr


def test_a_wan_configured_by_hand_asks_nobody_and_is_applied_when_told(lab_with):
    """Static WAN: no DHCPv6; address, router and LAN daemons as stored, the LANs' addresses left as they are"""
    lab = lab_with(settings=BY_HAND)
    lab.start_lans()
    lab.plug_in()
    lab.isp.must("ip", "-6", "route", "add", PREFIX, "via", lab.gw.link_local("eth0"), "dev", ACCESS)
    lab.command("zel_ipv6cp_up")
    # Bringing the link up detects nothing and applies nothing.
    assert "dhclient" not in lab.daemons() and lab.global_addresses("eth0") == []
    for bridge, section in (("br-lan", "lan0"), ("br-lan1", "lan1")):
        lab.command("zel_ifconfig", bridge, lab.get(f"ip6_addr@{section}"), 64, 1)
    apply_settings(lab)
    assert lab.global_addresses("br-lan") == ["3fff:100:c000:1::1/64"]
    assert lab.global_addresses("br-lan1") == ["3fff:100:c000:2::1/64"]
    lab.settles(lambda: lab.global_addresses("eth0"), [f"{ADDRESS}/64"])
    routes = lab.gw.json("ip", "-j", "-6", "route", "show", "default")
    assert [route["gateway"] for route in routes] == [BY_HAND["ip6_gateway@wan100"]]
    assert lab.get("ip6_prefix@wan") == "3fff:100:0:1::"
    for host, network in zip(lab.hosts, ("3fff:100:c000:1::/64", "3fff:100:c000:2::/64")):
        lab.until(f"{host.name} is answered at its address in {network}", lambda: answered(lab, host, network))
    assert lab.line.dhcp() == []
    # The link-up hook flushes the filter for the client that it starts; here it starts none, and nothing fills it.
    assert "-A INPUT -j DROP" in loaded(lab)
    lab.command("zel_ipv6cp_up")
    assert loaded(lab) == []
    lab.command("ipv6_lan_restart")
    assert "-A INPUT -j DROP" in loaded(lab)


def test_a_wan_configured_by_hand_without_a_prefix_for_the_lans_is_closed_all_the_same(lab_with):
    """Static WAN without a delegated prefix: the ruleset is refused as a whole, and the gateway closed nevertheless"""
    lab = lab_with(settings={key: value for key, value in BY_HAND.items() if not key.startswith("ip6_dhcp6c_prefix")})
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    apply_settings(lab)
    lab.settles(lambda: lab.global_addresses("eth0"), [f"{ADDRESS}/64"])
    serve_inside(lab)
    stays_closed(lab, NO_DELEGATION)


def sent_by_the_gateway(lab, since):
    """(protocol, destination port) of what left through the WAN, whoever sent it first."""
    mine = lab.gw.mac("eth0")
    return {(each.protocol, each.ports() and each.ports()[1]) for each in lab.line.packets(since)
            if each.source_mac == mine}


def test_a_dialed_wan_lets_out_only_name_lookups_of_its_own_while_it_is_down(lab_with):
    """On demand, down: of the gateway's own traffic only DNS leaves, not even the Release; forwarding stays"""
    lab = lab_with(settings={"on-demand@wan100": "1"})
    config = lab.isp.config
    reply = lab.online(lans_first=False)
    address, prefix = reply.addresses[0][0], reply.prefixes[0][0]
    begin = time.time()
    lab.command("zel_ipv6cp_down")
    lab.until("the client has stopped", lambda: "RELEASE6" in lab.client_events(begin)
              and "dhclient" not in lab.daemons())
    lab.idle()
    # The WAN was closed before the client was stopped, so the provider never hears that the lease is given back.
    assert lab.line.dhcp(since=begin) == []
    assert (lab.isp.leases()["na"][address], lab.isp.leases()["pd"][prefix]) == ("active", "active")
    # A dialed link has no neighbors to resolve; this one does, and what that takes is closed too.
    lab.gw.must("ip", "-6", "neigh", "replace", "fe80::ff:fe00:64fe", "lladdr", lab.isp.mac(ACCESS), "dev", "eth0",
                "nud", "permanent")
    asked = time.time()
    for protocol, port in (("tcp", config.tcp_port), ("udp", config.udp_port), ("icmp", 0), ("tcp", 53)):
        assert traffic.call(lab.gw, protocol, config.server_address, port, 1.5)[0] != traffic.ANSWERED
    assert sent_by_the_gateway(lab, asked) == set()
    traffic.call(lab.gw, "udp", config.name_servers[0], 53, 1.5)
    lab.settles(lambda: sent_by_the_gateway(lab, asked), {(17, 53)})

    assert lab.gw.sysctl("net.ipv6.conf.all.forwarding") == "1"
    # What hosts send is not held back: all other rules are flushed, so even unique-local sources leave.
    host = lab.hosts[0]
    unique = [entry["local"] for entry in host.global_addresses() if entry["local"].startswith("fd")]
    forwarded = time.time()
    assert traffic.call(host, "tcp", config.server_address, config.tcp_port, 1.5)[0] == traffic.SILENT
    left = {each.source for each in lab.line.tcp_to(config.server_address, config.tcp_port, forwarded)}
    assert left and left <= set(unique)
    lab.look("down")

    again = time.time()
    lab.command("zel_ipv6cp_up")
    lab.bound(again)
    lab.until("host0 is answered again", lambda: answered(lab, host, prefix))
    assert lab.gw.run("ip6tables", "-C", "OUTPUT", "-o", "eth0", "-j", "DROP").returncode != 0

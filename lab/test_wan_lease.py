"""The life of a lease, with short timers: renewals, another server, the end, and a pause."""
import time

from netlab import traffic
from netlab.isp import IspConfig
from netlab.kea import KeaIsp

LEASE_FILE = "/tmp/dhcp6c-wan.leases"


def restarts(lab, since):
    """How often the LAN side was restarted."""
    return sum(1 for _, line in lab.log_lines(since) if "-> start_ipv6_lan" in line)


def renewed(lab, since, kind="RENEW"):
    """Waits for a renewal that began after `since`, and for what the gateway does about it; returns the Reply."""
    def probe():
        asked = {each.transaction for each in lab.line.dhcp(kind, since)}
        replies = [each for each in lab.line.dhcp("REPLY", since) if each.transaction in asked]
        events = lab.client_events(replies[0].time) if replies else []
        if f"{kind}6" in events and "EFFECT6" in events[events.index(f"{kind}6"):]:
            return replies[0]
        return None
    reply = lab.until(f"the lease is extended ({kind})", probe)
    lab.idle()
    return reply


def wan_is_cut_off(lab, host):
    config = lab.isp.config
    return traffic.call(host, "tcp", config.server_address, config.tcp_port, 2.0)[0] != traffic.ANSWERED


def test_a_renewal_restarts_the_lan_side_once_when_something_changed_and_never_otherwise(lab_with):
    """Renewals: equal values restart nothing; other name servers do, once; another address does, once"""
    lab = lab_with(isp=lambda out: KeaIsp(out, IspConfig(renew=6, rebind=30, preferred=45, valid=60)))
    first = lab.online(lans_first=False)
    daemons, begin = lab.daemons(), time.time()
    reply = renewed(lab, begin)
    assert (reply.addresses, reply.prefixes, reply.servers) == (first.addresses, first.prefixes, first.servers)
    assert (lab.daemons(), restarts(lab, begin)) == (daemons, 0)

    lab.note("the provider names its servers in another order")
    lab.isp.change_dhcp(name_servers=("3fff:100:53::2", "3fff:100:53::1"))
    changed = time.time()
    lab.settles(lambda: lab.get("ip6_dns_primary@wan"), "3fff:100:53::2")
    lab.until("the change is applied", lambda: "EFFECT6" in lab.client_events(changed))
    lab.idle()
    assert restarts(lab, begin) == 1
    now = lab.daemons()
    for name in ("radvd", "dhcp6d", "dnsmasq"):
        assert now[name] and not set(now[name]) & set(daemons[name]), f"{name} was restarted"
    assert now["dhclient"] == daemons["dhclient"]
    asked = time.time()
    lab.hosts[0].use_resolver([entry["local"] for entry in lab.gw.addresses("br-lan", "global")
                               if entry["local"].startswith("fd")])
    lab.settles(lambda: lab.hosts[0].resolve(lab.isp.config.server_name), [lab.isp.config.server_address])
    questions = lab.until("the question is on the wire", lambda: [
        each.destination for each in lab.line.packets(asked) if each.ports() and each.ports()[1] == 53])
    assert questions[0] == "3fff:100:53::2", "the new first server is asked first"

    lab.note("the provider leases another address")
    lab.isp.change_dhcp(fixed_address="3fff:100:0:1::abcd")
    lab.settles(lambda: lab.get("ip6_addr@wan"), "3fff:100:0:1::abcd")
    reply = renewed(lab, time.time())                              # the next one, equal again
    assert [each[0] for each in reply.addresses if each[2]] == ["3fff:100:0:1::abcd"]
    assert restarts(lab, begin) == 2
    lab.settles(lambda: lab.global_addresses("eth0"), ["3fff:100:0:1::abcd/128"])


def test_another_server_extends_the_lease_and_without_one_it_ends(lab_with):
    """Rebind when the first server is gone; expiry when there is none: address and forwarding go"""
    lab = lab_with(isp=IspConfig(renew=6, rebind=12, preferred=16, valid=22))
    first = lab.online(lans_first=False)
    address, prefix = first.addresses[0][0], first.prefixes[0][0]
    daemons, begin = lab.daemons(), time.time()
    lab.note("another DHCPv6 server takes over")
    lab.isp.another_dhcp_server()
    reply = renewed(lab, begin, "REBIND")
    assert reply.server_id != first.server_id
    assert (reply.addresses, reply.prefixes) == (first.addresses, first.prefixes)
    unanswered = [each for each in lab.line.dhcp("RENEW", begin) if each.server_id == first.server_id]
    assert unanswered, "the first server was asked before"
    assert not {each.transaction for each in unanswered} & {each.transaction for each in lab.line.dhcp("REPLY", begin)}
    assert (lab.daemons(), restarts(lab, begin)) == (daemons, 0)
    assert lab.global_addresses("eth0") == [f"{address}/128"]

    lab.note("no DHCPv6 server is left")
    lab.isp.stop_dhcp()
    begin = time.time()
    lab.until("the lease has expired", lambda: "EXPIRE6" in lab.client_events(begin))
    lab.settles(lambda: lab.global_addresses("eth0"), [])
    # The kernel ends the address by itself at the same moment; the command may still be at work.
    gone = {"ip6_addr": None, "ip6_prefix": None, "ip6_dns": None, "ip6_domain": None, "ip6_lease": "0"}
    lab.settles(lambda: {key: lab.get(f"{key}@wan") for key in gone}, gone)
    assert lab.stored_delegation() == prefix, "the preferred mode keeps the prefix"
    assert lab.gw.sysctl("net.ipv6.conf.all.forwarding") == "0"
    assert wan_is_cut_off(lab, lab.hosts[0])
    # The LAN side is told nothing of the end of a lease: its daemons stay, and so does the prefix on the bridges.
    assert {name: lab.daemons()[name] for name in ("radvd", "dhcp6d")} == {name: daemons[name] for name in
                                                                          ("radvd", "dhcp6d")}
    assert lab.global_addresses("br-lan") != []


def test_a_lease_is_given_back_or_kept_over_a_pause(lab_with):
    """Stop with the lease kept: nothing is released, the next client rebinds; stop without: released, then solicited"""
    lab = lab_with()
    first = lab.online(lans_first=False)
    address, prefix = first.addresses[0][0], first.prefixes[0][0]
    lab.set("ip6_dhcp6c_rebind_instead_of_solicit@wan", "1")
    begin = time.time()
    lab.command("dhcp6c_release")
    lab.until("the client has stopped", lambda: "STOP6" in lab.client_events(begin) and "dhclient" not in lab.daemons())
    lab.settles(lambda: lab.global_addresses("eth0"), [])
    assert lab.line.dhcp(since=begin) == [], "nothing is said to the server"
    assert (lab.isp.leases()["na"][address], lab.isp.leases()["pd"][prefix]) == ("active", "active")
    assert address in lab.gw.read(LEASE_FILE)

    begin = time.time()
    lab.command("dhcp6c_start")
    reply = lab.bound(begin)
    said = [each.kind for each in lab.line.dhcp(since=begin)]
    assert set(said) == {"REBIND", "REPLY"}, said
    assert [each[0] for each in reply.addresses + reply.prefixes] == [address, prefix]
    assert "REBIND6" in lab.client_events(begin)
    assert lab.global_addresses("eth0") == [f"{address}/128"]

    lab.set("ip6_dhcp6c_rebind_instead_of_solicit@wan", "0")
    begin = time.time()
    lab.command("dhcp6c_release")
    lab.until("the client has stopped", lambda: "RELEASE6" in lab.client_events(begin)
              and "dhclient" not in lab.daemons())
    given_back = lab.until("the Release is on the wire", lambda: lab.line.dhcp("RELEASE", begin))[0]
    assert [each[0] for each in given_back.addresses + given_back.prefixes] == [address, prefix]
    lab.settles(lambda: (lab.isp.leases()["na"][address], lab.isp.leases()["pd"][prefix]), ("released", "released"))
    assert lab.gw.read(LEASE_FILE) == ""
    begin = time.time()
    lab.command("dhcp6c_start")
    lab.until("the client has said something", lambda: lab.line.dhcp(since=begin))
    assert lab.line.dhcp(since=begin)[0].kind == "SOLICIT"

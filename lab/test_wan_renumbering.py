"""The provider hands out another prefix in the middle of a lease."""
import ipaddress
import time

from netlab import prefixes, traffic
from netlab.gateway import BRIDGES
from netlab.isp import IspConfig
from netlab.kea import KeaIsp
from netlab.wait import need

NEW = "3fff:100:b000:100::/56"


def places(lab):
    """{where: text} of everything on the gateway that may name a prefix, texts normalized to the kernel's spelling."""
    texts = {bridge: lab.gw.must("ip", "-6", "addr", "show", "dev", bridge) for bridge in BRIDGES}
    texts["routes"] = lab.gw.must("ip", "-6", "route", "show", "table", "all")
    texts["firewall"] = lab.gw.must("ip6tables-save")
    texts["radvd"], texts["dhcpd"] = lab.gw.read("/tmp/radvd.conf"), lab.gw.read("/tmp/dhcp6d.conf")
    texts["ruleset"] = lab.gw.read("/tmp/.ip6t")
    return texts


def mentions(lab, network):
    """The places in which an address inside a network stands, and the lines in which it does."""
    network, found = ipaddress.ip_network(network), {}
    for place, text in places(lab).items():
        for line in text.splitlines():
            for word in line.replace(";", " ").split():
                try:
                    inside = ipaddress.ip_address(word.split("/")[0]) in network
                except ValueError:
                    continue
                if inside:
                    found.setdefault(place, []).append(line.strip())
    return found


def test_after_renumbering_nothing_of_the_old_prefix_is_left(lab_with):
    """Another /56 at a renewal: one restart, nothing carries the old prefix, the hosts use the new one"""
    lab = lab_with(isp=lambda out: KeaIsp(out, IspConfig(renew=10, rebind=40, preferred=50, valid=60)))
    old = lab.online().prefixes[0][0]
    everywhere = {*BRIDGES, "routes", "firewall", "radvd", "dhcpd", "ruleset"}
    assert set(mentions(lab, old)) == everywhere
    lab.note(f"the provider delegates {NEW} instead of {old}")
    lab.isp.change_dhcp(fixed_prefix=NEW)
    begin = time.time()
    lab.settles(lab.stored_delegation, NEW)
    lab.until("the change is applied", lambda: "EFFECT6" in lab.client_events(begin))
    lab.idle()
    lab.look("renumbered")
    reply = next(each for each in lab.line.dhcp("REPLY", begin) if each.prefixes)
    assert {each[0]: each[2] > 0 for each in reply.prefixes} == {NEW: True, old: False}
    assert mentions(lab, old) == {}
    assert set(mentions(lab, NEW)) == everywhere
    assert sum(1 for _, line in lab.log_lines(begin) if "-> start_ipv6_lan" in line) == 1
    for number, host in enumerate(lab.hosts):
        network = prefixes.carved(NEW, f"0{number + 1}")
        lab.until(f"{host.name} has an address of the new prefix", lambda: host.address_in(network))

        def old_is_deprecated(host=host):
            entry = host.address_in(old)
            need(entry.get("deprecated"), f"{entry['local']} is still preferred")
            return True
        lab.until(f"{host.name} no longer prefers its old address", old_is_deprecated)

        def answered(host=host, network=network):
            status, text = traffic.call(host, "tcp", lab.isp.config.server_address, lab.isp.config.tcp_port)
            need(status == traffic.ANSWERED and ipaddress.ip_address(text.split()[-1]) in network, text)
            return True
        lab.until(f"{host.name} reaches the provider's server from its new address", answered)
    # The client tells the end of the old prefix too, and at any end of a lease the program takes the WAN address off;
    # it comes back only when the lease is extended the next time.
    lab.until("the end of the old prefix was told", lambda: "EXPIRE6" in lab.client_events(begin))
    told = next(t for t, line in lab.log_lines(begin) if "The reason is EXPIRE6" in line)
    removed = [line for t, line in lab.log_lines(told) if "/sbin/ifconfig -a eth0 del " in line]
    assert removed and removed[0].endswith(f"[0]/sbin/ifconfig -a eth0 del {reply.addresses[0][0]}/128")
    lab.settles(lambda: lab.global_addresses("eth0"), [f"{reply.addresses[0][0]}/128"])

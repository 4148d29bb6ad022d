"""An address is leased that another node on the line already has."""
import ipaddress

import pytest
from netlab import traffic

TAKEN = "3fff:100:0:1::12c4"          # what the provider's server leases to the gateway first, by its hash of the DUID
EVENTS = "/usr/lib/ipv6ctl/adapters/dhclient-events"


@pytest.fixture
def crowded_line(lab_with):
    """A neighbor on the line has the address that the provider is going to lease."""
    lab = lab_with(shared_line=True)
    neighbor = lab.lab.add_neighbor("neighbor")
    neighbor.must("ip", "link", "set", "eth0", "up")
    neighbor.must("ip", "-6", "addr", "add", f"{TAKEN}/64", "dev", "eth0", "nodad")
    # The kernel probes for an address at once, not at any time within a second, which is all that the program waits.
    lab.gw.must("sysctl", "-q", "-w", "net.ipv6.conf.eth0.router_solicitation_delay=0")
    return lab


def probes(lab, address, since=0.0):
    """Neighbor solicitations of duplicate address detection for an address, on the wire."""
    return [each for each in lab.line.packets(since) if each.protocol == 58 and each.payload[:1] == b"\x87"
            and each.source == "::" and ipaddress.ip_address(each.payload[8:24]) == ipaddress.ip_address(address)]


def defenses(lab, address, since=0.0):
    """Neighbor advertisements for an address, to all nodes: its owner's answer to a probe."""
    return [each for each in lab.line.packets(since) if each.protocol == 58 and each.payload[:1] == b"\x88"
            and each.destination == "ff02::1" and str(ipaddress.ip_address(each.payload[8:24])) == address]


def usable(lab):
    """The gateway talks to the provider's server from its WAN address; returns that address."""
    config = lab.isp.config
    status, text = traffic.call(lab.gw, "tcp", config.server_address, config.tcp_port)
    return text.split()[-1] if status == traffic.ANSWERED else None


def test_a_duplicate_is_declined_and_another_address_used_when_each_association_is_told_alone(crowded_line):
    """A client that tells address and prefix in two calls: the duplicate is declined, another address is used"""
    lab = crowded_line
    # The adapter tells both in one call, and looks for a duplicate before it does. The stock client, whose script it
    # is, calls once for each association, and leaves the looking to its script.
    lab.gw.must("sed", "-i", "s/due=$(calls_due)$/due=0/; s/left=100 /left=0 /", EVENTS)
    assert not [text for text in ("$(calls_due)", "left=100") if text in lab.gw.read(EVENTS)]
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    other = lab.until("another address is leased", lambda: [
        each for each in lab.line.dhcp("REPLY") if each.addresses and each.addresses[0][0] != TAKEN])[0]
    declined = lab.line.dhcp("DECLINE")
    assert [[address for address, *_ in each.addresses] for each in declined] == [[TAKEN]]
    assert declined[0].prefixes == []
    answer = [each for each in lab.line.dhcp("REPLY") if each.transaction == declined[0].transaction]
    assert [code for each in answer for code, _ in each.statuses] == [0]
    probed = [each.time for each in probes(lab, TAKEN)]
    defended = [each.time for each in defenses(lab, TAKEN)]
    assert probed and defended and max(min(probed), min(defended)) < declined[0].time < other.time
    assert lab.isp.leases()["na"][TAKEN] == "abandoned"
    lab.bound(other.time)
    address = other.addresses[0][0]
    lab.settles(lambda: (lab.get("ip6_addr@wan"), lab.global_addresses("eth0")), (address, [f"{address}/128"]))
    lab.settles(lambda: usable(lab), address)
    assert len(lab.line.dhcp("DECLINE")) == 1
    lab.look("another address")


def test_a_duplicate_is_declined_by_the_client_and_another_address_used(crowded_line):
    """A client that tells both in one call declines the duplicate itself; the program hears of the next address"""
    lab = crowded_line
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    reply = lab.bound()
    address, prefix = reply.addresses[0][0], reply.prefixes[0][0]
    said = [each for each in lab.line.dhcp() if each.kind in ("REQUEST", "DECLINE")]
    assert [each.kind for each in said] == ["REQUEST", "DECLINE", "REQUEST"]
    assert [each[0] for each in said[1].addresses] == [TAKEN] and said[1].prefixes == []
    answer = [each for each in lab.line.dhcp("REPLY") if each.transaction == said[1].transaction]
    assert [code for each in answer for code, _ in each.statuses] == [0]
    probed, defended = ([each.time for each in found] for found in (probes(lab, TAKEN), defenses(lab, TAKEN)))
    assert probed and defended and max(probed[0], defended[0]) < said[1].time
    assert address != TAKEN and lab.isp.leases()["na"] == {TAKEN: "abandoned", address: "active"}
    assert lab.isp.leases()["pd"] == {prefix: "active"}
    # The program was told the second exchange alone, and has applied it once.
    assert [each for each in lab.client_events() if each != "PREINIT6"] == ["BOUND6", "EFFECT6"]
    assert not [line for _, line in lab.log_lines() if TAKEN in line]
    assert (lab.get("ip6_stateless@wan"), lab.get("ip6_addr@wan")) == ("0", address)
    assert lab.stored_delegation() == prefix
    assert lab.global_addresses("eth0") == [f"{address}/128"]
    lab.settles(lambda: usable(lab), address)
    assert "-dec" not in " ".join(line for _, line in lab.log_lines()), "no client of the program's own has declined"
    for host, bridge in zip(lab.hosts, lab.look("another address")["carved"].values()):
        lab.until(f"{host.name} has an address in {bridge}", lambda: host.address_in(bridge[0]))

"""The dhclient adapter and a leased address that another node on the link has."""

import re
import time

import pytest
from dhcp_side import END, START, TAIL, global_addresses, reasons, start


def neighbor_takes(gateway, address):
    """Another node on the link has this address."""
    gateway.isp("ip", "-6", "addr", "add", f"{address}/64", "dev", "isp0", "nodad")


def test_an_address_that_another_node_has_is_declined_and_the_program_hears_of_the_next_one_only(gateway, isp):
    isp.serve()
    taken = start(gateway)[1]["new_ip6_address"]
    gateway.sh(END % ("-r", TAIL) + " wait")
    gateway.wait_for(lambda: "RELEASE6" in reasons(gateway))
    before = len(gateway.calls())
    # What a client had before it is offered first when it asks again.
    neighbor_takes(gateway, taken)
    begin = len(isp.log())
    gateway.sh("rm -f /tmp/dhcp6c-wan.leases; " + START % 0)
    gateway.wait_for(lambda: "EFFECT6" in reasons(gateway)[before:])
    calls = gateway.calls()[before:]
    assert [call["reason"] for call in calls if call["reason"] != "PREINIT6"] == ["BOUND6", "EFFECT6"]
    bound = calls[-2]
    other = bound["new_ip6_address"]
    assert other != taken and "new_ip6_prefix" in bound
    assert global_addresses(gateway) == [f"{other}/128"]
    log = isp.log()[begin:]
    assert [name for name in re.findall(r"^([A-Z][a-z-]+) message from", log, re.M)
            if name in ("Request", "Decline")] == ["Request", "Decline", "Request"]
    assert taken not in gateway.sh("ip -6 addr show dev eth0").stdout
    abandoned = re.search(rf"iaaddr {taken} {{\s*binding state abandoned", gateway.read("/tmp/isp.leases"))
    assert abandoned, "the server gives it to nobody else"


ADDRESS = {"new_ip6_address": "3fff:0:1::5", "new_ip6_prefixlen": "128"}
PREFIX = {"new_ip6_prefix": "3fff:1::/56"}


@pytest.mark.parametrize("order", [(ADDRESS, PREFIX), (PREFIX, ADDRESS)], ids=["address first", "prefix first"])
def test_of_an_exchange_with_a_duplicate_nothing_is_told(gateway, isp, order):
    neighbor_takes(gateway, "3fff:0:1::5")
    gateway.sh("mkdir -p /tmp/own /tmp/kept")
    gateway.write("/tmp/l", 'lease6 {\n  interface "eth0";\n  ia-na 1 {\n    iaaddr 3fff:0:1::5 {\n    }\n  }\n'
                  '  ia-pd 1 {\n    iaprefix 3fff:1::/56 {\n    }\n  }\n}\n')

    def call(values):
        return gateway.run("/usr/lib/ipv6ctl/adapters/dhclient-events", check=False, env={
            "adapter_script": "/usr/sbin/recorder", "adapter_own": "/tmp/own", "adapter_kept": "/tmp/kept",
            "adapter_leases": "/tmp/l", "interface": "eth0", "reason": "BOUND6", "new_iaid": "1",
            "new_max_life": "90", "new_preferred_life": "60", **values}).returncode
    assert [call(values) for values in order] == [3 if values is ADDRESS else 0 for values in order]
    assert (gateway.calls(), global_addresses(gateway)) == ([], [])
    # The next exchange, in the same order, is told whole and once.
    other = {**ADDRESS, "new_ip6_address": "3fff:0:1::6"}
    assert [call(other if values is ADDRESS else values) for values in order] == [0, 0]
    assert reasons(gateway) == ["BOUND6", "EFFECT6"]
    bound = gateway.calls()[0]
    assert (bound["new_ip6_address"], bound["new_ip6_prefix"]) == ("3fff:0:1::6", "3fff:1::/56")
    time.sleep(3.5)  # what waits three seconds for the rest of an exchange has nothing to tell of the first one
    assert reasons(gateway) == ["BOUND6", "EFFECT6"]


def test_an_address_is_permanent_only_while_the_kernel_looks_for_a_duplicate(gateway, isp):
    isp.serve()
    gateway.sh("sysctl -q -w net.ipv6.conf.eth0.dad_transmits=3 net.ipv6.conf.eth0.router_solicitation_delay=0")
    begun = time.monotonic()
    gateway.sh(START % 0)
    shown = ["ip", "-6", "-o", "addr", "show", "dev", "eth0", "scope", "global"]
    gateway.wait_for(lambda: " tentative " in gateway.run(*shown).stdout)
    assert reasons(gateway) == ["PREINIT6"]
    gateway.wait_for(lambda: "BOUND6" in reasons(gateway))
    assert time.monotonic() - begun > 2, "three probes, a second apart"
    at_the_call = gateway.read("/tmp/calls/001.addr")
    assert " tentative " not in at_the_call and "inet6 3fff:" in at_the_call
    assert "valid_lft forever" not in gateway.sh("ip -6 addr show dev eth0 scope global").stdout


def test_a_kernel_that_never_ends_its_search_holds_nothing_up(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    # Without a carrier the kernel waits for one before it begins.
    gateway.isp("ip", "link", "set", "isp0", "down")
    gateway.sh("mkdir -p /tmp/own /tmp/kept; ip link set eth0 up")
    gateway.write("/tmp/l", 'lease6 {\n  interface "eth0";\n  ia-na 1 {\n    iaaddr 3fff::1 {\n    }\n  }\n}\n')
    done = gateway.run("/usr/lib/ipv6ctl/adapters/dhclient-events", env={
        "adapter_script": "/usr/sbin/recorder", "adapter_own": "/tmp/own", "adapter_kept": "/tmp/kept",
        "adapter_leases": "/tmp/l", "interface": "eth0", "reason": "BOUND6", "new_iaid": "1",
        "new_ip6_address": "3fff::1", "new_ip6_prefixlen": "128", "new_max_life": "90", "new_preferred_life": "60"})
    assert done.returncode == 0 and reasons(gateway) == ["BOUND6", "EFFECT6"]


def test_an_address_that_somebody_takes_off_meanwhile_is_not_declined(gateway, isp):
    isp.serve()
    gateway.sh("sysctl -q -w net.ipv6.conf.eth0.dad_transmits=4")
    gateway.sh(START % 0)
    gateway.wait_for(lambda: " tentative " in gateway.sh("ip -6 -o addr show dev eth0 scope global").stdout)
    gateway.sh("ip -6 addr flush dev eth0 scope global")
    gateway.wait_for(lambda: "EFFECT6" in reasons(gateway))
    assert "Decline" not in isp.messages() and global_addresses(gateway) == []

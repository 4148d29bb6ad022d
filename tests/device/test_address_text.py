"""The WAN prefix is stored in the normal form of address texts."""
import pytest


@pytest.fixture
def bound(gateway):
    gateway.store.update({"ip6_changed@wan100": "1", "ip6_stateless@wan100": "0"})
    gateway.env.update({"reason": "EFFECT6", "interface": "ppp0", "stateless": "0"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    return gateway


@pytest.mark.parametrize("address, length, prefix", [
    ("2001:db8:1::5", "64", "2001:db8:1::"),
    ("2001:db8::1", "128", "2001:db8::1"),
    ("2001:0db8:0000:0000:0000:0000:0000:1", "128", "2001:db8::1"),
    ("2001:db8:a:b:c:d:e:f", "128", "2001:db8:a:b:c:d:e:f"),
    # One digit shorter than the eight full groups is enough.
    ("2abc:1111:2222:3333:4444:5555:6666:def", "128", "2abc:1111:2222:3333:4444:5555:6666:def"),
])
def test_the_wan_prefix_is_stored_in_normal_form(bound, address, length, prefix):
    bound.store.update({"ip6_addr@wan100": address, "ip6_pfxlen@wan100": length})
    run = bound.run("zel_dhcp6c_update")
    assert run.store["ip6_prefix@wan100"] == prefix
    assert f"wan_ip6_prefix = {prefix}" in run.messages("start_ipv6")

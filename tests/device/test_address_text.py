"""The normal form of an address text is taken only where it is strictly shorter."""
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
    ("2001:0db8:0000:0000:0000:0000:0000:0001", "128", "2001:db8::1"),
    ("2001:db8:a:b:c:d:e:f", "128", "2001:db8:a:b:c:d:e:f"),
    # As long as the eight-group form: refused, and the capital letters stay.
    ("2abc:1111:2222:3333:4444:5555:6666:7def", "128", "2ABC:1111:2222:3333:4444:5555:6666:7DEF"),
    ("2abc:1111:2222:3333:4444:5555:6666:7def", "127", "2ABC:1111:2222:3333:4444:5555:6666:7DEE"),
    # One digit shorter is enough.
    ("2abc:1111:2222:3333:4444:5555:6666:def", "128", "2abc:1111:2222:3333:4444:5555:6666:def"),
])
def test_the_wan_prefix_is_stored_in_normal_form_when_that_is_shorter(bound, address, length, prefix):
    bound.store.update({"ip6_addr@wan100": address, "ip6_pfxlen@wan100": length})
    run = bound.run("zel_dhcp6c_update")
    assert run.store["ip6_prefix@wan100"] == prefix
    assert f"wan_ip6_prefix = {prefix}" in run.messages("start_ipv6")

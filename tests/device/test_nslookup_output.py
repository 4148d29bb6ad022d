"""How the border relay's address is taken from nslookup's output."""
import pytest


@pytest.fixture
def tunnel(gateway):
    gateway.store.update({
        "ip6_proto@wan100": "tunnel", "ip6_tunnel_type@wan100": "2", "ip6_6rd_v4mask@wan100": "0",
        "ip6_6rd_pfxlen@wan100": "32", "ip6_6rd_prefix@wan100": "2001:db8::",
        "ip6_6rd_border_relay@wan100": "relay.example",
    })
    gateway.ip4["ppp0"] = "192.0.2.1/24"
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    return gateway


def relay_route(run):
    return [line for line in run.lines if line.startswith("/usr/sbin/ip -6 route add default via ::")]


FOUND = [
    ("Name:      relay.example\nAddress 1: 192.0.2.1 host\n", "192.0.2.1"),
    ("Server:    127.0.0.1\nAddress 1: 127.0.0.1 localhost\n\n"
     "Name:      relay.example\nAddress 1: 192.0.2.254 relay.example\n", "192.0.2.254"),
    ("Name: a\nAddress 1: 192.0.2.1 a\nAddress 2: 192.0.2.2 b\n", "192.0.2.1"),
    ("Name: a\nAddress 1: 203.100.113.254 a\n", "203.100.113.254"),          # 15 characters
    ("Name: a Address 1: 192.0.2.1 host", "192.0.2.1"),
    ("Name: a\nAddress 1: 1.2 host\n", "1.2"),                               # the form is not checked
]
NOT_FOUND = [
    "Name:      relay.example\nAddress 1: 192.0.2.1\n",                       # a line end, not a blank
    "Name:      relay.example\nAddress 1: 192.0.2.1",
    "Name:      relay.example\nAddress: 192.0.2.1 host\n",
    "Name:      relay.example\nAddress 2: 192.0.2.1 host\n",
    "Address 1: 192.0.2.1 host\n",
    "Address 1: 192.0.2.1 host\nName: relay.example\n",
    "Name: a\nAddress 1: 2001:db8::1 host\n",
    "Name: a\nAddress 1: 2001:db8::1 host\nAddress 1: 192.0.2.1 host\n",
    "Name: a\nAddress 1: 192.0.2.1\thost\n",
    "Name: a\nAddress 1: 192.0.2.1x host\n",
    "Name: a\nAddress 1: 1234567890123456 host\n",                            # 16 characters without a blank
    "Name: a\nAddress 1:",
    "** server can't find relay.example: NXDOMAIN\n",
]


@pytest.mark.parametrize("output, address", FOUND)
def test_an_address_with_a_blank_behind_it_is_the_relay(tunnel, output, address):
    tunnel.script("nslookup", stdout=output)
    run = tunnel.run("ipv6rd_restart")
    assert run.messages("start_6rd")[1] == f"FQDN's ip = {address}"
    assert relay_route(run) == [f"/usr/sbin/ip -6 route add default via ::{address} dev 6rd metric 1"]


@pytest.mark.parametrize("output", NOT_FOUND)
def test_any_other_output_leaves_the_relay_as_it_is(tunnel, output):
    tunnel.script("nslookup", stdout=output)
    run = tunnel.run("ipv6rd_restart")
    assert [text for text in run.messages("start_6rd") if text.startswith("FQDN's")] == []
    assert relay_route(run) == ["/usr/sbin/ip -6 route add default via ::relay.example dev 6rd metric 1"]


def test_a_blank_right_behind_the_label_gives_an_empty_relay(tunnel):
    tunnel.script("nslookup", stdout="Name: a\nAddress 1:  host\n")
    run = tunnel.run("ipv6rd_restart")
    assert run.messages("start_6rd")[1] == "FQDN's ip = "
    assert relay_route(run) == []
    assert run.store["ip6_tunnel_status@wan100"] == "disconnected"

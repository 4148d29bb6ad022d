"""The WAN side brought up: its address, its prefix, its default route."""
import pytest

from expected_texts import HOME, ran, said
from wan_setup import own_console, own_log

TABLE = "/usr/sbin/ip -6 route flush table 200"
FLUSH = "/usr/sbin/ip -6 route flush ::/0"
ADD = "/usr/sbin/ip -6 route add ::/0 via fe80::1 dev ppp0"


@pytest.fixture
def wan(gateway):
    gateway.store.update({
        **HOME, "ip6_addr@wan100": "2001:db8:1::5", "ip6_pfxlen@wan100": "64", "ip6_gateway@wan100": "fe80::1",
        "ip6_changed@wan100": "1"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    gateway.env = {"reason": "EFFECT6", "interface": "ppp0", "stateless": "0"}
    return gateway


def bring_up(wan):
    """The run, and its log from the flush of table 200 to the start of the LAN side."""
    run = wan.run("zel_dhcp6c_update")
    log = own_log(run)
    end = said("dhcp6c_main", "-> start_ipv6_lan")[0]
    start = next(number for number, line in enumerate(log) if line.endswith("]" + TABLE))
    return run, log[start:log.index(end)]


def test_an_address_from_dhcp_gets_its_prefix_recorded_and_its_route(wan):
    run, log = bring_up(wan)
    assert log == ran(TABLE) + said("start_ipv6", "wan_ip6_addr = 2001:db8:1::5/64",
                                    "wan_ip6_prefix = 2001:db8:1::") + ran(FLUSH, ADD)
    assert run.store["ip6_prefix@wan100"] == "2001:db8:1::"
    assert run.addresses["ppp0"] == []
    assert [line for line in own_console(run) if "ppp0]" in line] == []


def test_a_fixed_address_is_put_on_the_interface_first(wan):
    wan.store["ip6_proto@wan100"] = "static"
    run, log = bring_up(wan)
    assert log == (ran(TABLE) + said("start_ipv6", "wan_ip6_addr = 2001:db8:1::5/64")
                   + said("set_ipv6_addr", "if_name[ppp0] 2001:db8:1::5 64 1")
                   + said("start_ipv6", "wan_ip6_prefix = 2001:db8:1::") + ran(FLUSH, ADD))
    assert "[set_ipv6_addr] if_name[ppp0] 2001:db8:1::5 64 1" in own_console(run)
    assert run.addresses["ppp0"] == ["2001:db8:1::5/64"]


@pytest.mark.parametrize("proto", ["dhcp", "tunnel", "stati", "static6", "Static", "pppoe"])
def test_only_the_whole_word_static_puts_the_address_on_the_interface(wan, proto):
    wan.store["ip6_proto@wan100"] = proto
    run, log = bring_up(wan)
    assert log[2:] == said("start_ipv6", "wan_ip6_prefix = 2001:db8:1::") + ran(FLUSH, ADD)
    assert run.addresses["ppp0"] == []


def test_without_a_gateway_the_flush_runs_twice(wan):
    del wan.store["ip6_gateway@wan100"]
    run, log = bring_up(wan)
    assert log[-2:] == ran(FLUSH, FLUSH)
    assert [call[1:] for call in run.calls_of("ip")][:3] == [
        ["-6", "route", "flush", "table", "200"], ["-6", "route", "flush", "::/0"], ["-6", "route", "flush", "::/0"]]


@pytest.mark.parametrize("address, length", [
    ("2001:db8:1::5", "0"), ("2001:db8:1::5", ""), ("2001:db8:1::5", "long"), ("", "64"), (None, None)])
def test_an_invalid_address_leaves_everything_alone(wan, address, length):
    for key, text in (("ip6_addr@wan100", address), ("ip6_pfxlen@wan100", length)):
        if text is None:
            del wan.store[key]
        else:
            wan.store[key] = text
    run, log = bring_up(wan)
    assert log == ran(TABLE) + said("start_ipv6", "WAN IPv6 address is invalid")
    assert "ip6_prefix@wan100" not in run.store


def test_a_negative_length_is_a_length(wan):
    wan.store["ip6_pfxlen@wan100"] = "-1"
    _, log = bring_up(wan)
    assert log[1] == "[start_ipv6][1000] wan_ip6_addr = 2001:db8:1::5/-1"
    assert log[-2:] == ran(FLUSH, ADD)


@pytest.mark.parametrize("address, length, prefix", [
    ("2001:db8:1:2:3:4:5:6", "56", "2001:db8:1::"),
    ("2001:db8::5", "128", "2001:db8::5"),
    ("2001:1db8:1111:2222:3333:4444:5555:666", "128", "2001:1db8:1111:2222:3333:4444:5555:666"),
    ("2001:1db8:1111:2222:3333:4444:5555:6666", "64", "2001:1db8:1111:2222::"),
])
def test_the_prefix_is_stored_in_its_short_form(wan, address, length, prefix):
    wan.store.update({"ip6_addr@wan100": address, "ip6_pfxlen@wan100": length})
    run, log = bring_up(wan)
    assert log[2] == f"[start_ipv6][1000] wan_ip6_prefix = {prefix}"
    assert run.store["ip6_prefix@wan100"] == prefix


def test_an_address_and_length_of_43_characters_are_too_long_to_be_read(wan):
    wan.store.update({"ip6_addr@wan100": "2001:1db8:1111:2222:3333:4444:5555:6666", "ip6_pfxlen@wan100": "128"})
    run, log = bring_up(wan)
    assert log[1:3] == said("start_ipv6", "wan_ip6_addr = 2001:1db8:1111:2222:3333:4444:5555:6666/128",
                            "wan_ip6_prefix = ::")
    assert run.store["ip6_prefix@wan100"] == "::"


def test_the_prefix_replaces_the_stored_one(wan):
    wan.store["ip6_prefix@wan100"] = "2001:db8:9::"
    run, _ = bring_up(wan)
    assert run.store_changes["ip6_prefix@wan100"] == ("2001:db8:9::", "2001:db8:1::")


def test_failing_routes_do_not_stop_the_sequence(wan):
    wan.script("ip", status=2)
    run, log = bring_up(wan)
    assert log[-2:] == ran(FLUSH, ADD, status=2)
    assert run.store["ip6_wan_ready@system"] == "1"


def test_a_fixed_address_that_the_kernel_refuses_does_not_stop_the_sequence(wan):
    wan.store.update({"ip6_proto@wan100": "static", "ip6_pfxlen@wan100": "200"})
    run, log = bring_up(wan)
    assert log[2:4] == said("set_ipv6_addr", "if_name[ppp0] 2001:db8:1::5 200 1", "ioctl SIOCSIFADDR error.")
    assert log[-2:] == ran(FLUSH, ADD)


def test_a_gateway_that_is_no_word_stays_one_word(wan):
    wan.store["ip6_gateway@wan100"] = "fe80::1; reboot"
    _, log = bring_up(wan)
    assert log[-1:] == ran("/usr/sbin/ip -6 route add ::/0 via 'fe80::1; reboot' dev ppp0")


def test_the_route_goes_through_the_interface_of_the_device(wan):
    wan.wan("eth4", sect="wan7")
    wan.store.update({"ip6_addr@wan7": "2001:db8:7::5", "ip6_pfxlen@wan7": "48", "ip6_gateway@wan7": "fe80::7",
                      "ip6_changed@wan7": "1"})
    run, log = bring_up(wan)
    assert log[-1:] == ran("/usr/sbin/ip -6 route add ::/0 via fe80::7 dev eth4")
    assert run.store["ip6_prefix@wan7"] == "2001:db8:7::"
    assert "ip6_prefix@wan100" not in run.store

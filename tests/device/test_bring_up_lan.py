"""The LAN side brought up: each bridge's global prefix and address."""
import pytest

from expected_texts import HOME, LAN0_ID, LAN1_ID, ran, said
from wan_setup import own_console, own_log

END = ran("killall radvd; rm -f /tmp/run/radvd.pid")[0]
OLD = {
    "ip6_addr@lan0": "2001:DB8:9:1::1", "ip6_prefix@lan0": "2001:db8:9:1::", "ip6_pfxlen@lan0": "60",
    "ip6_addr@lan1": "2001:DB8:9:2::1", "ip6_prefix@lan1": "2001:db8:9:2::", "ip6_pfxlen@lan1": "61"}
REMOVED = ran("/sbin/ifconfig br-lan del 2001:DB8:9:1::1/60", "/sbin/ifconfig br-lan1 del 2001:DB8:9:2::1/61")
ADDR0, ADDR1 = f"2001:0DB8:1234:5601:{LAN0_ID}", f"2001:0DB8:1234:5602:{LAN1_ID}"


def addressed(number, group, address, link, delegated="2001:db8:1234:5600::/56", length=56):
    side = "lan1" if number else "lan"
    return (
        said("start_ipv6", f"delegate_addr = {delegated}")
        + said("generate_addr", f"generate_addr: 2001:0DB8:1234:{group}:0000:0000:0000:0000",
               f"routing_prefix: 2001:0DB8:1234:56/{length}")
        + said("start_ipv6", f"ko3_addr: 2001:0DB8:1234:{group}:0000:0000:0000:0000",
               f"{side}_ip6_prefix = 2001:db8:1234:{group}::", f"{side}_ip6_addr = {address}",
               f"{side}_ip6_pfxlen = 64")
        + said("set_ipv6_addr", f"if_name[{link}] {address} 64 1"))


@pytest.fixture
def lan(gateway):
    gateway.store.update({**HOME, "ip6_dhcp6c_prefix_addr@system": "2001:db8:1234:5600::",
                          "ip6_dhcp6c_prefix_length@system": "56", "ip6_ula_eb@lan0": "0", "ip6_ula_eb@lan1": "0"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    return gateway


def bring_up(lan):
    """The run, and its log up to the stop of the daemons."""
    run = lan.run("ipv6_lan_restart")
    log = own_log(run)
    return run, log[:log.index(END)]


def test_each_bridge_gets_its_prefix_and_its_address(lan):
    run, log = bring_up(lan)
    assert log == addressed(0, "5601", ADDR0, "br-lan") + addressed(1, "5602", ADDR1, "br-lan1")
    assert own_console(run)[:2] == [f"[set_ipv6_addr] if_name[br-lan] {ADDR0} 64 1",
                                    f"[set_ipv6_addr] if_name[br-lan1] {ADDR1} 64 1"]
    assert {key: text for key, text in run.store_changes.items() if key.endswith(("lan0", "lan1"))} == {
        "ip6_prefix@lan0": (None, "2001:db8:1234:5601::"), "ip6_addr@lan0": (None, ADDR0),
        "ip6_pfxlen@lan0": (None, "64"),
        "ip6_prefix@lan1": (None, "2001:db8:1234:5602::"), "ip6_addr@lan1": (None, ADDR1),
        "ip6_pfxlen@lan1": (None, "64")}
    assert run.addresses == {"br-lan": ["2001:db8:1234:5601:211:22ff:fe33:4455/64"],
                             "br-lan1": ["2001:db8:1234:5602:211:22ff:fe33:4466/64"], "ppp0": []}


def test_the_previous_addresses_go_first(lan):
    lan.store.update(OLD)
    run, log = bring_up(lan)
    assert log == REMOVED + addressed(0, "5601", ADDR0, "br-lan") + addressed(1, "5602", ADDR1, "br-lan1")
    assert run.store["ip6_pfxlen@lan0"] == "64"
    assert run.store["ip6_pfxlen@lan1"] == "64"


@pytest.mark.parametrize("missing, left", [("ip6_addr@lan0", REMOVED[1:]), ("ip6_addr@lan1", REMOVED[:1])])
def test_only_an_address_that_is_known_is_removed(lan, missing, left):
    lan.store.update({**OLD, missing: ""})
    _, log = bring_up(lan)
    assert log[:2] == left + said("start_ipv6", "delegate_addr = 2001:db8:1234:5600::/56")


@pytest.mark.parametrize("proto", ["static", "pppoe", "dhcp6", "tunnel6", "dhc", "Dhcp"])
def test_a_wan_without_delegation_leaves_the_lans_alone(lan, proto):
    lan.store.update({**OLD, "ip6_proto@wan100": proto})
    run, log = bring_up(lan)
    assert log == []
    assert {key: run.store[key] for key in OLD} == OLD


@pytest.mark.parametrize("proto", ["dhcp", "tunnel", None])
def test_dhcp_and_tunnel_delegate(lan, proto):
    if proto is not None:
        lan.store["ip6_proto@wan100"] = proto
    run, log = bring_up(lan)
    assert log == addressed(0, "5601", ADDR0, "br-lan") + addressed(1, "5602", ADDR1, "br-lan1")
    assert run.store["ip6_addr@lan0"] == ADDR0


@pytest.mark.parametrize("prefix", ["", None])
def test_without_a_delegated_prefix_the_lans_are_left_alone(lan, prefix):
    lan.store.update(OLD)
    if prefix is None:
        del lan.store["ip6_dhcp6c_prefix_addr@system"]
    else:
        lan.store["ip6_dhcp6c_prefix_addr@system"] = prefix
    run, log = bring_up(lan)
    assert log == []
    assert {key: run.store[key] for key in OLD} == OLD


@pytest.mark.parametrize("length", ["0", "65", "128", "-1", "-56", "x"])
def test_a_delegated_length_that_is_none_only_removes_the_previous_addresses(lan, length):
    lan.store.update({**OLD, "ip6_dhcp6c_prefix_length@system": length})
    run, log = bring_up(lan)
    assert log == REMOVED
    assert {key: run.store[key] for key in OLD} == OLD


@pytest.mark.parametrize("length, groups", [("1", None), ("64", ("5600", "5600")), ("60", ("5601", "5602"))])
def test_the_length_of_a_lan_is_64_whatever_was_delegated(lan, length, groups):
    lan.store["ip6_dhcp6c_prefix_length@system"] = length
    run, _ = bring_up(lan)
    assert run.store["ip6_pfxlen@lan0"] == "64"
    assert run.store["ip6_pfxlen@lan1"] == "64"
    if groups:
        assert run.store["ip6_prefix@lan0"] == f"2001:db8:1234:{groups[0]}::"
        assert run.store["ip6_prefix@lan1"] == f"2001:db8:1234:{groups[1]}::"


def test_a_missing_length_is_56(lan):
    del lan.store["ip6_dhcp6c_prefix_length@system"]
    _, log = bring_up(lan)
    assert log[0] == "[start_ipv6][1000] delegate_addr = 2001:db8:1234:5600::/56"


def test_with_a_64_both_lans_receive_the_same_prefix(lan):
    lan.store["ip6_dhcp6c_prefix_length@system"] = "64"
    run, log = bring_up(lan)
    assert log == (
        addressed(0, "5600", f"2001:0DB8:1234:5600:{LAN0_ID}", "br-lan", "2001:db8:1234:5600::/64", 64)
        + addressed(1, "5600", f"2001:0DB8:1234:5600:{LAN1_ID}", "br-lan1", "2001:db8:1234:5600::/64", 64))
    assert run.addresses["br-lan"] == ["2001:db8:1234:5600:211:22ff:fe33:4455/64"]
    assert run.addresses["br-lan1"] == ["2001:db8:1234:5600:211:22ff:fe33:4466/64"]


def test_a_subnet_id_of_three_digits_is_repaired_before_it_is_used(lan):
    lan.store["ip6_gua_sid@lan0"] = "300"
    run, log = bring_up(lan)
    assert log == addressed(0, "5601", ADDR0, "br-lan") + addressed(1, "5602", ADDR1, "br-lan1")
    assert run.store["ip6_gua_sid@lan0"] == "01"


def test_addresses_that_the_kernel_refuses_are_recorded_all_the_same(lan):
    del lan.links["br-lan1"]
    lan.store["ip6_gua_manual_hostid@lan1"] = "1"
    run, log = bring_up(lan)
    assert log[-2:] == said("set_ipv6_addr", f"if_name[br-lan1] {ADDR1} 64 1", "ioctl SIOCSIFADDR error.")
    assert run.store["ip6_addr@lan1"] == ADDR1


def test_failing_commands_do_not_stop_the_sequence(lan):
    lan.store.update(OLD)
    lan.script("ifconfig", status=1)
    run, log = bring_up(lan)
    assert log[:2] == ran("/sbin/ifconfig br-lan del 2001:DB8:9:1::1/60",
                          "/sbin/ifconfig br-lan1 del 2001:DB8:9:2::1/61", status=1)
    assert run.store["ip6_addr@lan0"] == ADDR0

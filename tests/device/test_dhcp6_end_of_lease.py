"""Events of the DHCPv6 client: the end of a lease, and what is cleared before the first one."""
import pytest

from expected_texts import HOME, ran, said
from wan_setup import own_console, own_lines, own_log

FORWARDING = "/proc/sys/net/ipv6/conf/all/forwarding"
LEASED = {
    "ip6_addr@wan100": "3fff:1::5", "ip6_prefix@wan100": "3fff:1::", "ip6_pfxlen@wan100": "64",
    "ip6_domain@wan100": "isp.example", "ip6_dns@wan100": "3fff::53 3fff::54", "ip6_dns_primary@wan100": "3fff::53",
    "ip6_dns_secondary@wan100": "3fff::54", "ip6_lease@wan100": "3600", "ip6_life@wan100": "7200",
    "ip6_renew@wan100": "1800", "ip6_rebind@wan100": "2880", "ip6_sntp@wan100": "3fff::123",
    "ip6_dhcp6c_prefix_addr@system": "3fff:1234:5600::", "ip6_dhcp6c_prefix_length@system": "56",
    "ip6_stateless@wan100": "0", "ip6_changed@wan100": "0", "ip6_gateway@wan100": "fe80::1",
    "ip6_dhcp_prefer@lan0": "3600", "ip6_dhcp_valid@lan0": "7200",
}
ADDRESS_GONE = {
    "ip6_addr@wan100": ("3fff:1::5", None), "ip6_prefix@wan100": ("3fff:1::", None), "ip6_pfxlen@wan100": ("64", "0")}
SERVERS_GONE = {
    "ip6_dns@wan100": ("3fff::53 3fff::54", None), "ip6_dns_primary@wan100": ("3fff::53", None),
    "ip6_dns_secondary@wan100": ("3fff::54", None)}
REST_GONE = {
    "ip6_domain@wan100": ("isp.example", None), "ip6_lease@wan100": ("3600", "0"), "ip6_life@wan100": ("7200", "0"),
    "ip6_renew@wan100": ("1800", "0"), "ip6_rebind@wan100": ("2880", "0"), "ip6_sntp@wan100": ("3fff::123", None)}
PREFIX_GONE = {
    "ip6_dhcp6c_prefix_addr@system": ("3fff:1234:5600::", None),
    "ip6_dhcp6c_prefix_length@system": ("56", None)}
ALL_GONE = {**ADDRESS_GONE, **SERVERS_GONE, **REST_GONE}
TAKE_AWAY = ["/sbin/ifconfig -a ppp0 del 3fff:1::5/64", "/usr/sbin/ip -6 route del 3fff:1::/64"]


@pytest.fixture
def wan(gateway):
    gateway.store.update({**HOME, **LEASED})
    gateway.file(FORWARDING, "1\n")
    return gateway


def event(wan, reason, stateless="0", **variables):
    wan.env = {"reason": reason, "interface": "ppp0", **variables}
    if stateless is not None:
        wan.env["stateless"] = stateless
    return wan.run("zel_dhcp6c_update")


# --- the end of a lease

@pytest.mark.parametrize("reason", ["EXPIRE6", "RELEASE6", "STOP6"])
def test_the_end_of_the_current_lease_clears_it(wan, reason):
    run = event(wan, reason, old_ip6_address="3fff:1::5")
    assert own_log(run) == said(
        "dhcp6c_main", f"The reason is {reason}, the interface is ppp0 and the stateless is 0.") + ran(*TAKE_AWAY)
    assert own_console(run) == [
        "[zel-ipv6 main] call dhcp6c_main(TID) , line:4044",
        "[dhcp6c_main] wan_on_demand=0, dhcp6c_prefix_mode=0",
        f"[dhcp6c_main] The reason is {reason}, the interface is ppp0 and the stateless is 0.",
        f"[dhcp6c_main][1000] Reason : {reason} "]
    assert run.switches == {"all/forwarding": "0"}
    assert run.store_changes == ALL_GONE
    assert run.files == {}
    assert run.pauses == []
    assert run.status == 1


@pytest.mark.parametrize("given", [
    {"old_ip6_address": "3fff:1::5"},
    {"old_ip6_prefix": "3fff:1234:5600::/56"},
    {"old_ip6_address": "3fff:1::9", "old_ip6_prefix": "3fff:1234:5600::/56"},
    {"old_ip6_address": "3fff:1::5", "old_ip6_prefix": "3fff:9::/56"},
])
def test_address_or_prefix_tell_the_current_lease(wan, given):
    run = event(wan, "EXPIRE6", **given)
    assert run.store_changes == ALL_GONE
    assert run.switches == {"all/forwarding": "0"}


@pytest.mark.parametrize("given", [
    {}, {"old_ip6_address": "3fff:1::9"}, {"old_ip6_address": "3fff:1:0::5"}, {"old_ip6_prefix": "3fff:1234:5600::/60"},
    {"old_ip6_prefix": "3fff:1234:5600::"}, {"old_ip6_prefix": "3fff:1234:5601::/56"}, {"old_ip6_address": ""},
])
def test_another_lease_takes_the_address_off_the_interface_and_clears_nothing(wan, given):
    run = event(wan, "EXPIRE6", **given)
    assert own_lines(run) == TAKE_AWAY
    assert run.store_changes == {}
    assert run.switches == {}


def test_without_an_address_no_line_runs(wan):
    del wan.store["ip6_addr@wan100"]
    run = event(wan, "STOP6", old_ip6_prefix="3fff:1234:5600::/56")
    assert own_lines(run) == []
    changes = dict(ALL_GONE)
    del changes["ip6_addr@wan100"]
    assert run.store_changes == changes


def test_an_empty_old_address_is_equal_to_no_address(wan):
    del wan.store["ip6_addr@wan100"]
    assert event(wan, "STOP6", old_ip6_address="").switches == {"all/forwarding": "0"}
    wan.file(FORWARDING, "1\n")
    assert event(wan, "STOP6").switches == {}


@pytest.mark.parametrize("on_demand", ["1", "2", "-1"])
def test_a_link_dialed_on_demand_keeps_forwarding_and_name_servers(wan, on_demand):
    wan.store["on-demand@wan100"] = on_demand
    run = event(wan, "EXPIRE6", old_ip6_address="3fff:1::5")
    assert own_lines(run) == TAKE_AWAY
    assert run.switches == {}
    assert run.store_changes == {**ADDRESS_GONE, **REST_GONE}


@pytest.mark.parametrize("mode, changes", [("0", {}), ("1", PREFIX_GONE), ("2", {}), ("-1", {})])
def test_only_the_random_mode_forgets_the_prefix(wan, mode, changes):
    wan.store["ip6_dhcp6c_prefix_mode@system"] = mode
    run = event(wan, "RELEASE6", old_ip6_address="3fff:1::5")
    assert run.store_changes == {**ALL_GONE, **changes}


@pytest.mark.parametrize("stateless", [None, "1"])
def test_the_end_of_a_lease_does_not_ask_for_the_mode(wan, stateless):
    assert event(wan, "EXPIRE6", stateless, old_ip6_address="3fff:1::5").store_changes == ALL_GONE


def test_failing_commands_do_not_keep_the_lease(wan):
    wan.script("ip", status=2)
    wan.script("ifconfig", status=1)
    run = event(wan, "EXPIRE6", old_ip6_address="3fff:1::5")
    assert run.shell[2:] == [(1, TAKE_AWAY[0]), (2, TAKE_AWAY[1])]
    assert run.store_changes == ALL_GONE
    assert run.status == 1


def test_a_forwarding_switch_that_is_missing_is_skipped(wan):
    wan.folder(FORWARDING)
    assert event(wan, "EXPIRE6", old_ip6_address="3fff:1::5").store_changes == ALL_GONE


def test_an_old_address_with_a_control_character_counts_as_absent(wan):
    run = event(wan, "EXPIRE6", old_ip6_address="3fff:1::5\x7f")
    assert run.store_changes == {}
    assert run.messages("dhcp6c_main")[-1] == "old_ip6_address holds a control character and counts as absent."


# --- before the first lease

@pytest.mark.parametrize("stateless", [None, "0"])
def test_before_a_stateful_lease_all_values_are_cleared(wan, stateless):
    run = event(wan, "PREINIT6", stateless)
    assert own_lines(run) == []
    assert own_log(run) == said(
        "dhcp6c_main", f"The reason is PREINIT6, the interface is ppp0 and the stateless is {stateless or ''}.")
    assert run.switches == {"all/forwarding": "0"}
    assert run.store_changes == ALL_GONE
    assert run.status == 1


@pytest.mark.parametrize("stateless", ["1", "2", ""])
def test_before_stateless_operation_the_address_stays(wan, stateless):
    run = event(wan, "PREINIT6", stateless)
    assert run.store_changes == {**SERVERS_GONE, **REST_GONE}
    assert run.switches == {"all/forwarding": "0"}


def test_before_the_first_lease_a_link_dialed_on_demand_makes_no_difference(wan):
    wan.store["on-demand@wan100"] = "1"
    run = event(wan, "PREINIT6")
    assert run.switches == {"all/forwarding": "0"}
    assert run.store_changes == ALL_GONE


@pytest.mark.parametrize("mode, changes", [("1", PREFIX_GONE), ("2", {})])
def test_before_the_first_lease_the_random_mode_forgets_the_prefix(wan, mode, changes):
    wan.store["ip6_dhcp6c_prefix_mode@system"] = mode
    assert event(wan, "PREINIT6").store_changes == {**ALL_GONE, **changes}


def test_on_an_empty_store_the_times_become_zero(gateway):
    gateway.store.update(HOME)
    run = event(gateway, "PREINIT6")
    assert run.store_changes == {key: (None, "0") for key in (
        "ip6_pfxlen@wan100", "ip6_lease@wan100", "ip6_life@wan100", "ip6_renew@wan100", "ip6_rebind@wan100")}

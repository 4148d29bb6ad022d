"""Router-advertisement records as they are read: which one counts, the router column, and what may fail meanwhile."""
import pytest

from expected_texts import HOME, said
from wan_setup import MANAGED, RECORDS, SILENT, UNMANAGED, own_console, own_log, record, record_console, record_log

LOOKED = "wan_ifname:ppp0, if_max_rs:3, wan_ip6_addr:, wan_ip6_pfxlen:0, wan_ip6_proto:dhcp"


@pytest.fixture
def wan(gateway):
    gateway.store.update(HOME)
    gateway.store["ip6_duid_type@wan100"] = "3"
    return gateway


def detect(wan, *records):
    wan.file(RECORDS, "".join(record(**fields) for fields in records))
    return wan.run("dhcp6c_start")


def result(run):
    """(stateless=N of the client that was started, the action)"""
    started = run.calls_of("dhclient")
    assert len(started) == 1
    actions = [text for text in run.messages("waninfo_main") if text.endswith((", Stateless", ", Stateful"))]
    return started[0][started[0].index("-e") + 1], actions


# --- several records

@pytest.mark.parametrize("first, later, action, mode", [
    (MANAGED, UNMANAGED, 6, 0), (UNMANAGED, MANAGED, 5, 1), (UNMANAGED, SILENT, 5, 1), (SILENT, UNMANAGED, 6, 0),
    ({**SILENT, "probes": 1}, UNMANAGED, 4, 0), ({**SILENT, "probes": 1}, MANAGED, 4, 0),
    ({**SILENT, "probes": 1}, SILENT, 4, 0), (SILENT, SILENT, 6, 0)])
def test_the_first_record_of_the_interface_decides(wan, first, later, action, mode):
    run = detect(wan, first, {**later, "address": "3fff:2::2"})
    word = "Stateless" if mode else "Stateful"
    assert result(run) == (f"stateless={mode}", [f"action={action:08x}, {word}"])
    assert run.store.get("ip6_addr@wan100") == ("3fff:1::211:22ff:fe33:4477" if mode else None)
    judged = [text for text in run.messages("waninfo_main") if ", wan_ifname=ppp0, if_probes=" in text]
    assert [text.split(",")[0] for text in judged] == ["action=00000000", f"action={action:08x}"]
    assert "3fff:2::2" not in " ".join(run.lines)


def test_a_later_managed_record_is_only_reported(wan):
    run = detect(wan, UNMANAGED, {**MANAGED, "address": "3fff:2::2"})
    texts = run.messages("waninfo_main")
    assert texts[texts.index(record_log(**{**MANAGED, "address": "3fff:2::2"})):] == [
        record_log(**{**MANAGED, "address": "3fff:2::2"}),
        "action=00000005, wan_ifname=ppp0, if_probes=1, if_flags6=60",
        "action=00000005, ManagedFlag of remote radvd is enabled, should try DHCPv6",
        "action=00000005, Stateless"]


def test_records_of_other_interfaces_are_logged_and_skipped(wan):
    bridge = {**MANAGED, "link": "br-lan", "address": "3fff:3::1"}
    run = detect(wan, bridge, UNMANAGED, bridge)
    assert own_log(run)[:4] == said("waninfo_main", LOOKED, record_log(**bridge), record_log(**UNMANAGED),
                                    "action=00000000, wan_ifname=ppp0, if_probes=1, if_flags6=20")
    assert run.messages("waninfo_main").count(record_log(**bridge)) == 2
    assert own_console(run).count(record_console(**bridge)[0]) == 2
    assert result(run) == ("stateless=1", ["action=00000005, Stateless"])


# --- the router column

def without_router(fields):
    return record(**fields)[:-34].rstrip() + "\n"


@pytest.mark.parametrize("fields", [MANAGED, UNMANAGED])
def test_without_a_router_no_gateway_is_recorded(wan, fields):
    wan.file(RECORDS, without_router(fields))
    run = wan.run("dhcp6c_start")
    assert "ip6_gateway@wan100" not in run.store
    assert [text for text in run.messages("waninfo_main") if text.startswith(("wan_gw=", "wan_ip6_gateway="))] == []
    assert [line for line in run.lines if "P002" in line] == []
    assert run.messages("waninfo_main")[1] == record_log(**fields)[:-32] + " " * 32


def test_a_router_of_zeros_is_a_router(wan):
    run = detect(wan, {**UNMANAGED, "router": "::"})
    assert run.store["ip6_gateway@wan100"] == "::"
    assert "vorn_syslog_cli addEventCode -1 P002 ::" in run.lines


def test_the_router_of_an_earlier_record_stays_until_another_one_is_read(wan):
    wan.file(RECORDS, record(**{**UNMANAGED, "link": "br-lan", "router": "fe80::9"}) + without_router(UNMANAGED))
    assert wan.run("dhcp6c_start").store["ip6_gateway@wan100"] == "fe80::9"


def test_the_router_of_an_earlier_pass_stays(wan):
    wan.file(RECORDS, record(**{**UNMANAGED, "link": "br-lan", "router": "fe80::9"}))
    wan.at_pause(1, RECORDS, without_router(UNMANAGED))
    assert wan.run("dhcp6c_start").store["ip6_gateway@wan100"] == "fe80::9"


def test_a_line_without_a_router_takes_the_next_address_for_it(wan):
    wan.file(RECORDS, without_router(UNMANAGED) + record(**{**MANAGED, "link": "br-lan", "address": "3fff:3::1"}))
    wan.pause_limit = 5
    assert wan.run("dhcp6c_start").store["ip6_gateway@wan100"] == "3fff:3::1"


# --- failing steps, missing logs

def test_failing_commands_change_nothing(wan):
    for program in ("ifconfig", "ip", "vorn_syslog_cli"):
        wan.script(program, status=9)
    run = detect(wan, MANAGED)
    assert [status for status, _ in run.shell[2:4]] == [9, 9]
    assert result(run) == ("stateless=0", ["action=00000006, Stateful"])


def test_without_console_and_log_the_work_goes_on(wan):
    wan.folder("/tmp/ipv6.log")
    wan.folder("/dev/console")
    run = detect(wan, UNMANAGED)
    assert run.store["ip6_addr@wan100"] == "3fff:1::211:22ff:fe33:4477"
    assert [call[0] for call in run.calls_of("dhclient")] == ["/usr/sbin/dhclient"]


def test_console_line_numbers_are_the_same_in_every_run(wan):
    numbers = [[line for line in detect(wan, MANAGED).console_lines if ", line:" in line] for _ in range(2)]
    assert numbers[0] == numbers[1]
    assert len(numbers[0]) == 5


def test_without_a_router_the_route_goes_through_the_gateway_that_was_stored(wan):
    wan.store["ip6_gateway@wan100"] = "fe80::8"
    wan.file(RECORDS, without_router(UNMANAGED))
    run = wan.run("dhcp6c_start")
    assert "/usr/sbin/ip -6 route add ::/0 via fe80::8 dev ppp0" in run.lines
    assert run.store["ip6_gateway@wan100"] == "fe80::8"

"""What the program makes of the upstream router's advertisements, and how it goes on from there."""
import pytest

from expected_texts import COLOR, HOME, PLAIN, ran, said
from wan_setup import (CONF, LAN0_DUID, LIST_CLIENTS, MANAGED, RECORDS, REQUEST_ALL, SILENT, START_STATEFUL,
                       START_STATELESS, UNMANAGED, own_console, own_log, own_lines, record, record_console, record_log)

LOOKED = "wan_ifname:ppp0, if_max_rs:3, wan_ip6_addr:, wan_ip6_pfxlen:0, wan_ip6_proto:dhcp"
FLAGS_CLEAR = ("action=00000000, When both M & O flags are ZERO, router SHOULD still send IA_PD to request PD "
               "information and pass to LAN")
STATEFUL_END = ran(LIST_CLIENTS, status=1) + ran(START_STATEFUL)
STATELESS_END = ran(LIST_CLIENTS, status=1) + ran(START_STATELESS)
MAIN_CALL = "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4167"


def ask(mode):
    name = "ASK_INFO_ONLY" if mode else "ASK_ADDR_INFO"
    begin = "[zel-ipv6 waninfo_main] " if mode else ""
    return [f"{begin}call start_dhcp6c(tid, {name}) , line:N", f"[zel-ipv6 start_dhcp6c] ask_info_only = {mode}"]


def decided(action, word):
    return [f"[zel-ipv6 waninfo_main] action = {action} , line:N",
            f"[waninfo_main][1000] {COLOR} action({action}){PLAIN} ",
            f"[waninfo_main] action={action:08x}, {word}"]


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


# --- entry

@pytest.mark.parametrize("proto", ["static", "tunnel", "dhc", "DHCP", "xdhcp"])
def test_a_wan_that_is_not_dhcp_is_refused(wan, proto):
    wan.store["ip6_proto@wan100"] = proto
    run = detect(wan, MANAGED)
    assert own_log(run) == []
    assert own_console(run) == [MAIN_CALL, "[zel-ipv6 waninfo_main] return ERROR_INTERNAL , line:N"]
    assert own_lines(run) == []
    assert run.pauses == []
    assert run.store_changes == {}
    assert run.files == {}


@pytest.mark.parametrize("proto", ["dhcp", "dhcpv6", "dhcp6c"])
def test_four_characters_of_the_protocol_are_compared(wan, proto):
    wan.store["ip6_proto@wan100"] = proto
    assert result(detect(wan, SILENT)) == ("stateless=0", ["action=00000006, Stateful"])


def test_without_a_shell_the_solicitation_limit_is_unreadable(wan):
    wan.shell = False
    run = detect(wan, MANAGED)
    assert own_log(run) == said("waninfo_main", "osSystem_GetOutput fail.")
    assert own_console(run) == [MAIN_CALL, "[zel-ipv6 waninfo_main] return ERROR_INTERNAL , line:N"]
    assert run.store_changes == {}


def test_what_is_known_at_the_start_is_logged(wan):
    wan.store.update({"ip6_addr@wan100": "3fff:9::9", "ip6_pfxlen@wan100": "60"})
    wan.switch("ppp0", "router_solicitations", " \t12\r\n")
    run = detect(wan, SILENT)
    assert run.messages("waninfo_main")[0] == (
        "wan_ifname:ppp0, if_max_rs:12, wan_ip6_addr:3fff:9::9, wan_ip6_pfxlen:60, wan_ip6_proto:dhcp")


def test_the_wan_interface_is_the_one_of_the_device(wan):
    wan.wan("eth4.7", sect="wan7")
    wan.store["ip6_duid_type@wan7"] = "3"
    run = detect(wan, {**SILENT, "link": "ppp0"}, {**UNMANAGED, "link": "eth4.7"})
    assert run.messages("waninfo_main")[0].startswith("wan_ifname:eth4.7, if_max_rs:3,")
    assert run.store["ip6_addr@wan7"] == "3fff:1::211:22ff:fe33:4477"
    assert run.store["ip6_pfxlen@wan7"] == "64"
    assert run.store["ip6_gateway@wan7"] == "fe80::1"
    assert run.store["ip6_stateless@wan7"] == "1"


# --- no advertisement

def test_a_silent_upstream_means_stateful(wan):
    run = detect(wan, SILENT)
    assert own_log(run) == said(
        "waninfo_main", LOOKED, record_log(**SILENT), "action=00000000, wan_ifname=ppp0, if_probes=3, if_flags6=0",
        "action=00000000, (WAN-side) No remote radvd, try DHCPv6", "action=00000006, Stateful") + STATEFUL_END
    assert own_console(run) == [
        MAIN_CALL, "[zel-ipv6 waninfo_main] action = 0 , line:N", "[zel-ipv6 waninfo_main] fp != NULL , line:N",
        *record_console(**SILENT),
        "action=00000000, wan_ifname=ppp0, if_probes=3, if_flags6=0 , atoi(if_max_rs) = 3",
        *decided(6, "Stateful"), *ask(0)]
    assert run.pauses == []
    assert run.files == {CONF: REQUEST_ALL + f"send dhcp6.client-id {LAN0_DUID};"}
    assert run.store_changes == {"ip6_duid@wan100": (None, LAN0_DUID)}


@pytest.mark.parametrize("limit, probes, action", [
    ("3\n", 2, 4), ("3\n", 3, 6), ("3\n", 4, 6), ("16\n", 0x10, 6), ("16\n", 0xF, 4), ("-1\n", 0, 6), ("many\n", 0, 6),
    ("", 0, 6), ("0x3\n", 0, 6), ("2 x\n", 1, 4)])
def test_the_solicitations_are_spent_at_the_limit(wan, limit, probes, action):
    wan.switch("ppp0", "router_solicitations", limit)
    run = detect(wan, {**SILENT, "probes": probes})
    assert result(run) == ("stateless=0", [f"action={action:08x}, Stateful"])
    spent = ["action=00000000, (WAN-side) No remote radvd, try DHCPv6"] if action == 6 else []
    assert [text for text in run.messages("waninfo_main") if "No remote radvd" in text] == spent
    assert run.pauses == []


def test_a_missing_limit_reads_as_nothing(wan):
    wan.remove("/proc/sys/net/ipv6/conf/ppp0/router_solicitations")
    run = detect(wan, {**SILENT, "probes": 0})
    assert run.messages("waninfo_main")[0] == (
        "wan_ifname:ppp0, if_max_rs:, wan_ip6_addr:, wan_ip6_pfxlen:0, wan_ip6_proto:dhcp")
    assert result(run) == ("stateless=0", ["action=00000006, Stateful"])


def test_an_interface_that_still_waits_for_an_advertisement_goes_stateful_at_once(wan):
    waiting = {**SILENT, "probes": 1}
    run = detect(wan, waiting)
    assert own_log(run) == said(
        "waninfo_main", LOOKED, record_log(**waiting), "action=00000000, wan_ifname=ppp0, if_probes=1, if_flags6=0",
        "action=00000004, Stateful") + STATEFUL_END
    assert own_console(run)[-5:] == [*decided(4, "Stateful"), *ask(0)]
    assert run.pauses == []


@pytest.mark.parametrize("flags", [0x10, 0x80000010, 0x1F])
def test_only_three_flags_tell_of_an_advertisement(wan, flags):
    assert result(detect(wan, {**SILENT, "if_flags": flags})) == ("stateless=0", ["action=00000006, Stateful"])


# --- the wait

def test_without_records_it_waits_a_second_at_a_time(wan):
    wan.pause_limit = 3
    run = wan.run("dhcp6c_start")
    assert run.gave_up_waiting
    assert run.pauses == [1000, 1000, 1000]
    wait = ["[zel-ipv6 waninfo_main] fp == NULL , line:N", "[zel-ipv6 waninfo_main] action = 0 , line:N",
            "[zel-ipv6 waninfo_main] action = 0 , line:N"]
    assert own_console(run) == [MAIN_CALL, "[zel-ipv6 waninfo_main] action = 0 , line:N"] + wait + wait + wait[:2]
    assert run.messages("waninfo_main") == [LOOKED]


def test_the_wait_ends_with_the_pass_that_finds_the_interface(wan):
    other = {**MANAGED, "link": "br-lan"}
    wan.file(RECORDS, record(**other))
    wan.at_pause(2, RECORDS, record(**other) + record(**SILENT))
    run = wan.run("dhcp6c_start")
    assert run.pauses == [1000, 1000]
    fp, zero = "[zel-ipv6 waninfo_main] fp != NULL , line:N", "[zel-ipv6 waninfo_main] action = 0 , line:N"
    one_pass = [fp, *record_console(**other), zero, zero]
    assert own_console(run) == [
        MAIN_CALL, zero, *one_pass, *one_pass, fp, *record_console(**other), *record_console(**SILENT),
        "action=00000000, wan_ifname=ppp0, if_probes=3, if_flags6=0 , atoi(if_max_rs) = 3",
        *decided(6, "Stateful"), *ask(0)]
    assert own_log(run)[:5] == said("waninfo_main", LOOKED, record_log(**other), record_log(**other),
                                    record_log(**other), record_log(**SILENT))


def test_records_that_appear_later_are_opened_then(wan):
    wan.at_pause(1, RECORDS, record(**SILENT))
    run = wan.run("dhcp6c_start")
    assert run.pauses == [1000]
    assert [line for line in own_console(run) if " fp " in line] == [
        "[zel-ipv6 waninfo_main] fp == NULL , line:N", "[zel-ipv6 waninfo_main] fp != NULL , line:N"]


def test_an_empty_file_is_no_decision(wan):
    wan.pause_limit = 1
    run = detect(wan)
    assert run.gave_up_waiting
    assert own_console(run)[-2:] == ["[zel-ipv6 waninfo_main] fp != NULL , line:N",
                                     "[zel-ipv6 waninfo_main] action = 0 , line:N"]


@pytest.mark.parametrize("link", ["ppp", "ppp01", "PPP0"])
def test_the_interface_name_is_compared_whole(wan, link):
    wan.pause_limit = 1
    assert detect(wan, {**MANAGED, "link": link}).gave_up_waiting


# --- Managed

def test_managed_deletes_the_advertised_address_and_goes_stateful(wan):
    run = detect(wan, MANAGED)
    assert own_log(run) == said(
        "waninfo_main", LOOKED, record_log(**MANAGED), "action=00000000, wan_ifname=ppp0, if_probes=1, if_flags6=60",
        "action=00000000, ManagedFlag of remote radvd is enabled, should try DHCPv6",
        "action=00000002, Delete the IPv6 address assigned by RA") + ran(
        "/sbin/ifconfig ppp0 del 3fff:1::211:22ff:fe33:4477/64",
        "/usr/sbin/ip -6 route del 3fff:1::211:22ff:fe33:4477/64 dev ppp0") + said(
        "waninfo_main", "action=00000006, Stateful") + STATEFUL_END
    assert own_console(run) == [
        MAIN_CALL, "[zel-ipv6 waninfo_main] action = 0 , line:N", "[zel-ipv6 waninfo_main] fp != NULL , line:N",
        *record_console(**MANAGED),
        "action=00000000, wan_ifname=ppp0, if_probes=1, if_flags6=60 , atoi(if_max_rs) = 3",
        *decided(6, "Stateful"), *ask(0)]
    assert run.store_changes == {"ip6_gateway@wan100": (None, "fe80::1"), "ip6_duid@wan100": (None, LAN0_DUID)}


@pytest.mark.parametrize("flags", [0x40, 0x60, 0xC0, 0xE0, 0x800000F0])
def test_managed_counts_whatever_the_other_flags_say(wan, flags):
    run = detect(wan, {**MANAGED, "if_flags": flags, "probes": 9})
    assert own_lines(run)[0] == "/sbin/ifconfig ppp0 del 3fff:1::211:22ff:fe33:4477/64"
    assert result(run) == ("stateless=0", ["action=00000006, Stateful"])


@pytest.mark.parametrize("scope", [0x10, 0x20, 0x40, 0xF0, 0x25])
def test_managed_leaves_an_address_that_is_not_global(wan, scope):
    run = detect(wan, {**MANAGED, "scope": scope})
    assert own_lines(run) == [LIST_CLIENTS, START_STATEFUL]
    assert run.store["ip6_gateway@wan100"] == "fe80::1"


@pytest.mark.parametrize("scope", [0x00, 0x0E, 0x0F])
def test_the_low_half_of_the_scope_does_not_count(wan, scope):
    assert len(own_lines(detect(wan, {**MANAGED, "scope": scope}))) == 4


def test_managed_leaves_the_stateless_mark_as_it_was(wan):
    wan.store["ip6_stateless@wan100"] = "1"
    assert detect(wan, MANAGED).store["ip6_stateless@wan100"] == "1"


def test_managed_uses_the_prefix_length_of_the_record(wan):
    run = detect(wan, {**MANAGED, "plen": 0x38})
    assert own_lines(run)[:2] == ["/sbin/ifconfig ppp0 del 3fff:1::211:22ff:fe33:4477/56",
                                  "/usr/sbin/ip -6 route del 3fff:1::211:22ff:fe33:4477/56 dev ppp0"]


# --- Managed clear

def test_unmanaged_takes_address_and_router_and_goes_stateless(wan):
    run = detect(wan, UNMANAGED)
    assert own_log(run) == said(
        "waninfo_main", LOOKED, record_log(**UNMANAGED), "action=00000000, wan_ifname=ppp0, if_probes=1, if_flags6=20",
        FLAGS_CLEAR, "addr6p=3fff:0001:0000:0000:0211:22ff:fe33:4477, plen=64",
        "wan_ip6_addr=3fff:1::211:22ff:fe33:4477") + ran(
        "vorn_syslog_cli addEventCode -1 P001 3fff:1::211:22ff:fe33:4477") + said(
        "waninfo_main", "wan_ip6_pfxlen=64", "wan_gw=fe80:0000:0000:0000:0000:0000:0000:0001",
        "wan_ip6_gateway=fe80::1") + ran("vorn_syslog_cli addEventCode -1 P002 fe80::1") + said(
        "waninfo_main", "action=00000005, Stateless") + ran("/usr/sbin/ip -6 route flush table 200") + said(
        "start_ipv6", "wan_ip6_addr = 3fff:1::211:22ff:fe33:4477/64", "wan_ip6_prefix = 3fff:1::") + ran(
        "/usr/sbin/ip -6 route flush ::/0", "/usr/sbin/ip -6 route add ::/0 via fe80::1 dev ppp0") + STATELESS_END
    assert own_console(run) == [
        MAIN_CALL, "[zel-ipv6 waninfo_main] action = 0 , line:N", "[zel-ipv6 waninfo_main] fp != NULL , line:N",
        *record_console(**UNMANAGED),
        "action=00000000, wan_ifname=ppp0, if_probes=1, if_flags6=20 , atoi(if_max_rs) = 3",
        *decided(5, "Stateless"), *ask(1)]
    assert run.store_changes == {
        "ip6_addr@wan100": (None, "3fff:1::211:22ff:fe33:4477"),
        "ip6_pfxlen@wan100": (None, "64"),
        "ip6_gateway@wan100": (None, "fe80::1"),
        "ip6_stateless@wan100": (None, "1"),
        "ip6_prefix@wan100": (None, "3fff:1::"),
        "ip6_duid@wan100": (None, LAN0_DUID),
    }
    assert run.addresses["ppp0"] == []


@pytest.mark.parametrize("flags", [0x20, 0xA0, 0x80, 0x800000B0])
def test_the_other_flag_makes_no_difference(wan, flags):
    run = detect(wan, {**UNMANAGED, "if_flags": flags})
    assert result(run) == ("stateless=1", ["action=00000005, Stateless"])
    assert run.store["ip6_addr@wan100"] == "3fff:1::211:22ff:fe33:4477"


def test_a_link_local_first_address_goes_stateless_with_nothing_recorded(wan):
    local = {**UNMANAGED, "address": "fe80::211:22ff:fe33:4477", "scope": 0x20}
    run = detect(wan, local, UNMANAGED)
    assert own_log(run) == said(
        "waninfo_main", LOOKED, record_log(**local), "action=00000000, wan_ifname=ppp0, if_probes=1, if_flags6=20",
        FLAGS_CLEAR, record_log(**UNMANAGED), "action=00000005, wan_ifname=ppp0, if_probes=1, if_flags6=20",
        FLAGS_CLEAR.replace("action=00000000", "action=00000005"), "action=00000005, Stateless") + ran(
        "/usr/sbin/ip -6 route flush table 200") + said("start_ipv6", "WAN IPv6 address is invalid") + STATELESS_END
    assert run.store_changes == {"ip6_stateless@wan100": (None, "1"), "ip6_duid@wan100": (None, LAN0_DUID)}


def test_the_prefix_length_is_read_as_hexadecimal(wan):
    run = detect(wan, {**UNMANAGED, "plen": 0x80})
    assert run.store["ip6_pfxlen@wan100"] == "128"
    assert "wan_ip6_pfxlen=128" in run.messages("waninfo_main")


def test_addresses_are_stored_in_their_short_form(wan):
    run = detect(wan, {**UNMANAGED, "address": "3fff:0:0:1::", "router": "fe80:0:0:0:aaaa::b"})
    assert run.store["ip6_addr@wan100"] == "3fff:0:0:1::"
    assert run.store["ip6_gateway@wan100"] == "fe80::aaaa:0:0:b"

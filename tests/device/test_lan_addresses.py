"""Unique-local addresses of both bridges, and the link-local address of the first."""
import pytest

from expected_texts import COLOR, HOME, LAN0_ID, LAN0_ULA, LAN1_ID, LAN1_ULA, PLAIN, ran, said
from wan_setup import between, own_console, own_log

ON0 = "[zel_system][1000] [0]echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding"
ON1 = "[zel_system][1000] [0]echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding"
SHA_LINE = "sha1sum /tmp/sha.txt > /tmp/ula.txt"
MAC0 = said("get_mac_addr", "br-lan macaddr is [00:11:22:33:44:55]")
MAC1 = said("get_mac_addr", "br-lan1 macaddr is [00:11:22:33:44:66]")
PRESENT0, PRESENT1 = "fd3e:41a2:9bc:1:211:22ff:fe33:4455/64", "fd5d:77c0:e1f2:2:211:22ff:fe33:4466/64"


@pytest.fixture
def lan(gateway):
    gateway.store.update(HOME)
    return gateway


def first(lan):
    """Addresses LAN0; gives the run and its log and console from there to the forwarding line."""
    run = lan.run("zel_ipv6_lan", "lan")
    log = own_log(run)
    return run, log[:log.index(ON0) + 1], own_console(run)


def second(lan):
    run = lan.run("zel_ipv6_lan", "1")
    log = own_log(run)
    return run, log[:log.index(ON1) + 1], own_console(run)


def gid_line(gid):
    return f"[start_ula][1000] {COLOR}[1905] lan_ip6_ula_gid = {gid} {PLAIN}"


def addr_line(address):
    return f"[start_ula][1000] {COLOR}[1954] lan_ip6_ula_addr = {address} {PLAIN}"


# --- LAN0

def test_first_lan_gets_its_unique_local_and_its_link_local_address(lan):
    run, log, console = first(lan)
    assert log == MAC0 + said("set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 1") + [ON0]
    assert own_log(run)[len(log):][:2] == said("start_lla", f"lan_ip6_lla = fe80::{LAN0_ID}") + said(
        "set_ipv6_addr", f"if_name[br-lan] fe80::{LAN0_ID} 64 1")
    assert console == [gid_line("3e:41a2:09bc"), addr_line(LAN0_ULA),
                       f"[set_ipv6_addr] if_name[br-lan] {LAN0_ULA} 64 1",
                       f"[set_ipv6_addr] if_name[br-lan] fe80::{LAN0_ID} 64 1"]
    assert run.addresses == {"br-lan": [PRESENT0, "fe80::211:22ff:fe33:4455/64"], "br-lan1": [], "ppp0": []}
    assert run.store_changes == {"ip6_ula_addr@lan0": (None, LAN0_ULA)}
    assert run.switches == {"br-lan/disable_ipv6": "0", "br-lan/accept_ra": "0", "br-lan/forwarding": "1\n",
                            "all/forwarding": "0"}
    assert run.pauses == [800, 1000]


def test_first_lan_makes_its_global_id_on_first_use(lan):
    del lan.store["ip6_ula_gid@lan0"]
    run, log, console = first(lan)
    made = f"FD77:0c4f:aab8:0001:{LAN0_ID}"
    assert log == (
        said("generate_addr", "time = [1700000000l], [000000006553F100021122FFFE334455]") + ran(SHA_LINE)
        + said("start_ula", "lan_ip6_ula_gid = 77:0c4f:aab8") + MAC0
        + said("set_ipv6_addr", f"if_name[br-lan] {made} 64 1") + [ON0])
    assert console[:2] == [gid_line(""), addr_line(made)]
    assert run.store_changes == {"ip6_ula_gid@lan0": (None, "77:0c4f:aab8"), "ip6_ula_addr@lan0": (None, made)}


def test_a_new_global_id_is_stored_although_the_address_is_disabled(lan):
    lan.store.update({"ip6_ula_eb@lan0": "0", "ip6_ula_gid@lan0": ""})
    run, log, _ = first(lan)
    assert log == (
        said("generate_addr", "time = [1700000000l], [000000006553F100021122FFFE334455]") + ran(SHA_LINE)
        + said("start_ula", "lan_ip6_ula_gid = 77:0c4f:aab8") + MAC0 + [ON0])
    assert run.store_changes == {"ip6_ula_gid@lan0": ("", "77:0c4f:aab8")}


def test_first_lan_removes_both_earlier_addresses_with_a_pause_between(lan):
    lan.store.update({"ip6_ula_addr@lan0": "FD00::1", "ip6_ula_addra@lan0": "FD00::2"})
    for address in ("fd00::1/64", "fd00::2/64", "fd00::3/64"):
        lan.address("br-lan", address)
    run, log, console = first(lan)
    assert log == said("set_ipv6_addr", "if_name[br-lan] FD00::1 64 0", "if_name[br-lan] FD00::2 64 0") + MAC0 + said(
        "set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 1") + [ON0]
    assert console[:4] == [gid_line("3e:41a2:09bc"), "[set_ipv6_addr] if_name[br-lan] FD00::1 64 0",
                           "[set_ipv6_addr] if_name[br-lan] FD00::2 64 0", addr_line(LAN0_ULA)]
    assert run.pauses == [800, 1000, 1000]
    assert run.addresses["br-lan"] == sorted(["fd00::3/64", PRESENT0, "fe80::211:22ff:fe33:4455/64"])
    assert run.store_changes == {"ip6_ula_addr@lan0": ("FD00::1", LAN0_ULA)}


def test_without_a_second_earlier_address_the_kernel_refuses_the_empty_text(lan):
    lan.store["ip6_ula_addr@lan0"] = LAN0_ULA
    lan.address("br-lan", PRESENT0)
    run, log, _ = first(lan)
    assert log == said("set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 0", "if_name[br-lan]  64 0",
                       "ioctl SIOCDIFADDR error.") + MAC0 + said(
        "set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 1") + [ON0]
    assert PRESENT0 in run.addresses["br-lan"]
    assert run.store_changes == {}


def test_without_an_earlier_address_the_second_one_is_not_looked_at(lan):
    lan.store["ip6_ula_addra@lan0"] = "FD00::2"
    lan.address("br-lan", "fd00::2/64")
    run, log, _ = first(lan)
    assert len(log) == 3
    assert "fd00::2/64" in run.addresses["br-lan"]
    assert run.store["ip6_ula_addra@lan0"] == "FD00::2"


@pytest.mark.parametrize("enabled", ["0", "2", "-1", ""])
def test_first_lan_with_the_address_disabled_forgets_it(lan, enabled):
    lan.store.update({"ip6_ula_eb@lan0": enabled, "ip6_ula_addr@lan0": LAN0_ULA, "ip6_ula_addra@lan0": "FD00::2"})
    lan.address("br-lan", PRESENT0)
    lan.address("br-lan", "fd00::2/64")
    run, log, console = first(lan)
    assert log == said("set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 0",
                       "if_name[br-lan] FD00::2 64 0") + MAC0 + [ON0]
    assert [line for line in console if "[1954]" in line] == []
    assert run.addresses["br-lan"] == ["fe80::211:22ff:fe33:4455/64"]
    assert run.store_changes == {"ip6_ula_addr@lan0": (LAN0_ULA, None), "ip6_ula_addra@lan0": ("FD00::2", None)}
    assert run.switches["br-lan/disable_ipv6"] == "0"
    assert run.switches["br-lan/accept_ra"] == "0"
    assert run.switches["br-lan/forwarding"] == "1\n"


def test_first_lan_tries_twice_for_a_global_id(lan):
    del lan.store["ip6_ula_gid@lan0"]
    lan.folder("/tmp/ula.txt")
    run, log, _ = first(lan)
    assert [line for line in log if SHA_LINE in line] == ran(SHA_LINE, SHA_LINE, status=2)
    assert run.messages("start_ula") == ["lan_ip6_ula_gid = "]
    assert log[-3:] == said("set_ipv6_addr", f"if_name[br-lan] FD:0001:{LAN0_ID} 64 1",
                            "ioctl SIOCSIFADDR error.") + [ON0]
    assert run.store_changes == {"ip6_ula_gid@lan0": (None, ""), "ip6_ula_addr@lan0": (None, f"FD:0001:{LAN0_ID}")}


def test_an_empty_global_id_set_by_hand_is_made_once(lan):
    lan.store.update({"ip6_ula_gid@lan0": "", "ip6_ula_manual_gid@lan0": "1"})
    run = lan.run("zel_ipv6_lan", "lan")
    assert run.lines.count(SHA_LINE) == 1
    assert run.store["ip6_ula_gid@lan0"] == "77:0c4f:aab8"


def test_a_global_id_set_by_hand_that_stays_empty_is_not_repaired(lan):
    lan.store.update({"ip6_ula_gid@lan0": "", "ip6_ula_manual_gid@lan0": "1"})
    lan.folder("/tmp/ula.txt")
    run = lan.run("zel_ipv6_lan", "lan")
    assert run.lines.count(SHA_LINE) == 1
    assert run.store["ip6_ula_addr@lan0"] == f"FD:0001:{LAN0_ID}"
    assert run.messages("set_ipv6_addr")[:2] == [f"if_name[br-lan] FD:0001:{LAN0_ID} 64 1", "ioctl SIOCSIFADDR error."]


def test_a_global_id_set_by_hand_is_used_as_it_is(lan):
    lan.store.update({"ip6_ula_gid@lan0": "AB:1:2", "ip6_ula_manual_gid@lan0": "1"})
    run = lan.run("zel_ipv6_lan", "lan")
    assert run.store["ip6_ula_addr@lan0"] == f"FDAB:1:2:0001:{LAN0_ID}"
    assert run.addresses["br-lan"][0] == "fdab:1:2:1:211:22ff:fe33:4455/64"


def test_first_lan_never_falls_back_to_its_hardware_address(lan):
    lan.store.update({"ip6_ula_manual_hostid@lan0": "1", "ip6_ula_hostid@lan0": ""})
    run = lan.run("zel_ipv6_lan", "lan")
    assert run.store["ip6_ula_addr@lan0"] == "FD3e:41a2:09bc:0001:"
    assert run.messages("set_ipv6_addr")[:2] == ["if_name[br-lan] FD3e:41a2:09bc:0001: 64 1",
                                                 "ioctl SIOCSIFADDR error."]


def test_first_lan_uses_a_host_identifier_set_by_hand(lan):
    lan.store.update({"ip6_ula_manual_hostid@lan0": "1", "ip6_ula_hostid@lan0": "0:0:0:1"})
    run = lan.run("zel_ipv6_lan", "lan")
    assert run.store["ip6_ula_addr@lan0"] == "FD3e:41a2:09bc:0001:0:0:0:1"


def test_a_bridge_that_is_missing_keeps_nothing_from_going_on(lan):
    del lan.links["br-lan"]
    run, log, _ = first(lan)
    assert log == said("get_mac_addr", "SIOCGIFHWADDR ioctl error.") + said(
        "set_ipv6_addr", "if_name[br-lan] FD3e:41a2:09bc:0001:0200:00FF:FE00:0000 64 1",
        "ioctl SIOCSIFADDR error.") + [ON0]


# --- LAN1

def test_second_lan_gets_its_unique_local_address_only(lan):
    run, log, console = second(lan)
    assert log == MAC1 + said("set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 1") + [ON1]
    assert console == [f"[start_ula][1000] lan1_ip6_ula_addr = {LAN1_ULA}",
                       f"[set_ipv6_addr] if_name[br-lan1] {LAN1_ULA} 64 1"]
    assert run.addresses == {"br-lan": [], "br-lan1": [PRESENT1], "ppp0": []}
    assert run.store_changes == {"ip6_ula_addr@lan1": (None, LAN1_ULA)}
    assert run.switches == {"br-lan1/disable_ipv6": "0", "br-lan1/accept_ra": "0", "br-lan1/forwarding": "1\n"}
    assert run.pauses == []


def test_second_lan_makes_its_global_id_on_first_use_without_a_console_line(lan):
    del lan.store["ip6_ula_gid@lan1"]
    run, log, console = second(lan)
    made = f"FDe9:0e9a:270e:0002:{LAN1_ID}"
    assert log == (
        said("generate_addr", "time = [1700000000l], [000000006553F100021122FFFE334466]") + ran(SHA_LINE)
        + said("start_ula", "lan1_ip6_ula_gid = e9:0e9a:270e") + MAC1
        + said("set_ipv6_addr", f"if_name[br-lan1] {made} 64 1") + [ON1])
    assert console == [f"[start_ula][1000] lan1_ip6_ula_addr = {made}",
                       f"[set_ipv6_addr] if_name[br-lan1] {made} 64 1"]
    assert run.store_changes == {"ip6_ula_gid@lan1": (None, "e9:0e9a:270e"), "ip6_ula_addr@lan1": (None, made)}


def test_second_lan_removes_both_earlier_addresses_with_a_pause_between(lan):
    lan.store.update({"ip6_ula_addr@lan1": "FD00::1", "ip6_ula_addra@lan1": "FD00::2"})
    for address in ("fd00::1/64", "fd00::2/64"):
        lan.address("br-lan1", address)
    run, log, _ = second(lan)
    assert log == said("set_ipv6_addr", "if_name[br-lan1] FD00::1 64 0", "if_name[br-lan1] FD00::2 64 0") + MAC1 + said(
        "set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 1") + [ON1]
    assert run.pauses == [1000]
    assert run.addresses["br-lan1"] == [PRESENT1]


@pytest.mark.parametrize("enabled", ["0", "2"])
def test_second_lan_with_the_address_disabled_leaves_its_switches_alone(lan, enabled):
    lan.store.update({"ip6_ula_eb@lan1": enabled, "ip6_ula_addr@lan1": LAN1_ULA, "ip6_ula_addra@lan1": "FD00::2"})
    lan.address("br-lan1", PRESENT1)
    lan.address("br-lan1", "fd00::2/64")
    run, log, console = second(lan)
    assert log == said("set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 0",
                       "if_name[br-lan1] FD00::2 64 0") + MAC1 + [ON1]
    assert [line for line in console if "start_ula" in line] == []
    assert run.addresses["br-lan1"] == []
    assert run.store_changes == {"ip6_ula_addr@lan1": (LAN1_ULA, None), "ip6_ula_addra@lan1": ("FD00::2", None)}
    assert run.switches == {"br-lan1/forwarding": "1\n"}


def test_second_lan_falls_back_to_its_hardware_address(lan):
    lan.store.update({"ip6_ula_manual_hostid@lan1": "1", "ip6_ula_hostid@lan1": ""})
    lan.links["br-lan1"] = "02:1a:2b:3c:4d:5e"
    run = lan.run("zel_ipv6_lan", "1")
    assert run.store["ip6_ula_addr@lan1"] == "FD5d:77c0:e1f2:0002:001A:2BFF:FE3C:4D5E"
    assert run.addresses["br-lan1"] == ["fd5d:77c0:e1f2:2:1a:2bff:fe3c:4d5e/64"]


def test_second_lan_prefers_a_host_identifier_set_by_hand(lan):
    lan.store.update({"ip6_ula_manual_hostid@lan1": "1", "ip6_ula_hostid@lan1": "0:0:0:1"})
    assert lan.run("zel_ipv6_lan", "1").store["ip6_ula_addr@lan1"] == "FD5d:77c0:e1f2:0002:0:0:0:1"


@pytest.mark.parametrize("manual, tries", [("0", 2), ("1", 1)])
def test_second_lan_tries_again_only_for_an_automatic_global_id(lan, manual, tries):
    lan.store.update({"ip6_ula_gid@lan1": "", "ip6_ula_manual_gid@lan1": manual})
    lan.folder("/tmp/ula.txt")
    run = lan.run("zel_ipv6_lan", "1")
    assert run.lines.count(SHA_LINE) == tries
    assert run.messages("start_ula") == ["lan1_ip6_ula_gid = "]
    assert run.store["ip6_ula_addr@lan1"] == f"FD:0002:{LAN1_ID}"
    assert run.messages("set_ipv6_addr") == [f"if_name[br-lan1] FD:0002:{LAN1_ID} 64 1", "ioctl SIOCSIFADDR error."]


def test_running_again_deletes_and_adds_the_same_address(lan):
    lan.run("zel_ipv6_lan", "1")
    run, log, _ = second(lan)
    assert log == said("set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 0", "if_name[br-lan1]  64 0",
                       "ioctl SIOCDIFADDR error.") + MAC1 + said(
        "set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 1") + [ON1]
    assert run.pauses == [1000]
    assert run.addresses["br-lan1"] == [PRESENT1]
    assert run.store_changes == {}


# --- both, on a restart of the LANs

def test_a_restart_addresses_the_first_lan_before_the_second(lan):
    lan.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    run = lan.run("ipv6_lan_restart")
    assert between(own_log(run), MAC0[0], ON1) == (
        MAC0 + said("set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 1") + [ON0]
        + MAC1 + said("set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 1") + [ON1])
    assert run.messages("start_lla") == []


def test_a_switch_that_cannot_be_written_is_ignored(lan):
    for key in ("disable_ipv6", "accept_ra"):
        lan.folder(f"/proc/sys/net/ipv6/conf/br-lan1/{key}")
    run = lan.run("zel_ipv6_lan", "1")
    assert run.addresses["br-lan1"] == [PRESENT1]
    assert run.switches == {"br-lan1/forwarding": "1\n"}

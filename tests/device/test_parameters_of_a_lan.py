"""Repairs, manual and automatic ids and host identifiers of the two LANs."""
import pytest

RED, PLAIN = "\x1b[1;31m", "\x1b[0m"
AUTO_GID = f"[prepare_parm][1000] {RED} Auto_gid (%d) {PLAIN}"


def value(run, text):
    """The one logged value of a parameter."""
    found = [line[len(text):] for line in run.messages("prepare_parm") + run.messages("prepare_parm_lan1")
             if line.startswith(text)]
    assert len(found) == 1
    return found[0]


# --- subnet ids

LANS = [("lan0", "lan_ip6_gua_sid(lan0):", "01", "prepare_parm"),
        ("lan1", "lan1_ip6_gua_sid(lan1):", "02", "prepare_parm_lan1")]


@pytest.mark.parametrize("lan, text, default, routine", LANS)
@pytest.mark.parametrize("stored, held", [("1", "01"), ("5", "05"), ("", "0"), (None, "0"), ("0A", "0A"), ("zz", "zz"),
                                          ("x", "0x"), ("10", "10")])
def test_a_short_global_subnet_id_is_lengthened_in_memory_only(gateway, lan, text, default, routine, stored, held):
    key = f"ip6_gua_sid@{lan}"
    if stored is not None:
        gateway.store[key] = stored
    run = gateway.run("ipv6rd_restart")
    assert value(run, text) == held
    assert run.store.get(key) == stored
    assert run.console_lines == [AUTO_GID % 0]


@pytest.mark.parametrize("lan, text, default, routine", LANS)
@pytest.mark.parametrize("stored", ["123", "001", "0123456789", "v" * 60])
def test_a_long_global_subnet_id_is_reset_to_the_default(gateway, lan, text, default, routine, stored):
    gateway.store[f"ip6_gua_sid@{lan}"] = stored
    run = gateway.run("ipv6rd_restart")
    assert value(run, text) == default
    assert run.store[f"ip6_gua_sid@{lan}"] == default
    complaint = f"[{routine}][1000] length of ip6_gua_sid@{lan} is incorrect, reset it to default {default}"
    assert run.console_lines == ([complaint, AUTO_GID % 0] if lan == "lan0" else [AUTO_GID % 0, complaint])
    assert "is incorrect" not in run.log


@pytest.mark.parametrize("lan", ["lan0", "lan1"])
@pytest.mark.parametrize("stored, held", [("03", "0003"), ("7", "0007"), ("", "000"), (None, "000"), ("0A", "000A"),
                                          ("zz", "00zz")])
def test_the_unique_local_subnet_id_is_held_with_two_zeros_in_front(gateway, lan, stored, held):
    key = f"ip6_ula_sid@{lan}"
    if stored is not None:
        gateway.store[key] = stored
    run = gateway.run("ipv6rd_restart")
    assert value(run, f"ip6_ula_sid({lan}):") == held
    assert run.store.get(key) == stored
    assert run.console_lines == [AUTO_GID % 0]


@pytest.mark.parametrize("lan, default, routine", [("lan0", "01", "prepare_parm"), ("lan1", "02", "prepare_parm_lan1")])
@pytest.mark.parametrize("stored", ["abc", "0001", "v" * 60])
def test_a_long_unique_local_subnet_id_is_reset_to_the_default(gateway, lan, default, routine, stored):
    gateway.store[f"ip6_ula_sid@{lan}"] = stored
    run = gateway.run("ipv6rd_restart")
    assert value(run, f"ip6_ula_sid({lan}):") == "00" + default
    assert run.store[f"ip6_ula_sid@{lan}"] == default
    assert run.console_lines == [
        AUTO_GID % 0,
        f"[{routine}][1000] length of ip6_ula_sid@{lan} is incorrect, reset it to default {default}",
    ]


# --- the global id's manual and automatic mode

def test_leaving_manual_mode_on_the_first_lan_discards_the_id_and_says_so(gateway):
    gateway.store.update({"ip6_ula_manual_gid@lan0": "0", "ip6_pre_manual_gid@lan0": "1",
                          "ip6_ula_gid@lan0": "aa:bbbb:cccc"})
    run = gateway.run("ipv6rd_restart")
    assert value(run, "ip6_ula_gid(lan0):") == ""
    assert run.store["ip6_ula_gid@lan0"] == ""
    assert run.store["ip6_pre_manual_gid@lan0"] == "0"
    assert run.lines[0] == "ccfg_cli set ip6_pre_manual_gid@lan0=0"
    assert run.console_lines == [
        AUTO_GID % 1,
        f"[prepare_parm][1000] {RED} set sid from manual to auto, empty the old ula gid {PLAIN}",
    ]


@pytest.mark.parametrize("previous, shown", [("0", 0), ("2", 2), ("-1", -1), ("", 0), ("x", 0), (None, 0)])
def test_in_automatic_mode_the_id_of_the_first_lan_is_kept(gateway, previous, shown):
    gateway.store["ip6_ula_gid@lan0"] = "aa:bbbb:cccc"
    if previous is not None:
        gateway.store["ip6_pre_manual_gid@lan0"] = previous
    run = gateway.run("ipv6rd_restart")
    assert value(run, "ip6_ula_gid(lan0):") == "aa:bbbb:cccc"
    assert run.store["ip6_ula_gid@lan0"] == "aa:bbbb:cccc"
    assert run.store["ip6_pre_manual_gid@lan0"] == "0"
    assert run.console_lines == [AUTO_GID % shown]


@pytest.mark.parametrize("manual", ["1", "2", "-1"])
def test_in_manual_mode_the_first_lan_notes_it_through_the_tool_and_is_silent(gateway, manual):
    gateway.store.update({"ip6_ula_manual_gid@lan0": manual, "ip6_ula_gid@lan0": "aa:bbbb:cccc"})
    run = gateway.run("ipv6rd_restart")
    assert run.lines[0] == "ccfg_cli set ip6_pre_manual_gid@lan0=1"
    assert run.store["ip6_pre_manual_gid@lan0"] == "1"
    assert value(run, "ip6_ula_gid(lan0):") == "aa:bbbb:cccc"
    assert run.console == ""


def test_leaving_manual_mode_on_the_second_lan_discards_the_id_without_a_word(gateway):
    gateway.store.update({"ip6_ula_manual_gid@lan1": "0", "ip6_pre_manual_gid@lan1": "1",
                          "ip6_ula_gid@lan1": "aa:bbbb:cccc", "ip6_ula_gid@lan0": "11:2222:3333"})
    run = gateway.run("ipv6rd_restart")
    assert value(run, "ip6_ula_gid(lan1):") == ""
    assert run.store["ip6_ula_gid@lan1"] == ""
    assert run.store["ip6_pre_manual_gid@lan1"] == "0"
    assert run.store["ip6_ula_gid@lan0"] == "11:2222:3333"
    assert run.lines[1] == "ccfg_cli set ip6_pre_manual_gid@lan1=0"
    assert run.console_lines == [AUTO_GID % 0]


@pytest.mark.parametrize("previous", ["0", "2", None])
def test_in_automatic_mode_the_id_of_the_second_lan_is_kept(gateway, previous):
    gateway.store["ip6_ula_gid@lan1"] = "aa:bbbb:cccc"
    if previous is not None:
        gateway.store["ip6_pre_manual_gid@lan1"] = previous
    run = gateway.run("ipv6rd_restart")
    assert value(run, "ip6_ula_gid(lan1):") == "aa:bbbb:cccc"
    assert run.store["ip6_pre_manual_gid@lan1"] == "0"


def test_in_manual_mode_the_second_lan_notes_it_through_the_tool(gateway):
    gateway.store.update({"ip6_ula_manual_gid@lan1": "1", "ip6_ula_gid@lan1": "aa:bbbb:cccc"})
    run = gateway.run("ipv6rd_restart")
    assert run.lines[1] == "ccfg_cli set ip6_pre_manual_gid@lan1=1"
    assert run.store["ip6_pre_manual_gid@lan1"] == "1"
    assert value(run, "ip6_ula_gid(lan1):") == "aa:bbbb:cccc"


def test_the_mode_is_noted_by_the_tool_even_when_nothing_is_committed(gateway):
    gateway.kill_program_at("ip")
    run = gateway.run("ipv6rd_restart")
    assert run.status == -9
    assert run.store == {"ip6_pre_manual_gid@lan0": "0", "ip6_pre_manual_gid@lan1": "0"}


# --- host identifiers

def test_host_identifiers_come_from_the_mac_in_capital_letters(gateway):
    gateway.links.update({"br-lan": "02:ab:cd:ef:fe:dc", "br-lan1": "fe:1a:2b:3c:4d:5e"})
    run = gateway.run("ipv6rd_restart")
    assert run.store_changes == {
        "ip6_gua_hostid@lan0": (None, "00AB:CDFF:FEEF:FEDC"),
        "ip6_gua_hostid@lan1": (None, "FC1A:2BFF:FE3C:4D5E"),
        "ip6_pre_manual_gid@lan0": (None, "0"),
        "ip6_pre_manual_gid@lan1": (None, "0"),
        "ip6_ula_hostid@lan0": (None, "00AB:CDFF:FEEF:FEDC"),
        "ip6_ula_hostid@lan1": (None, "FC1A:2BFF:FE3C:4D5E"),
    }


@pytest.mark.parametrize("lan, derived", [("lan0", "0211:22FF:FE33:4455"), ("lan1", "0211:22FF:FE33:4466")])
@pytest.mark.parametrize("kind, other", [("gua", "ula"), ("ula", "gua")])
@pytest.mark.parametrize("flag", ["1", "2", "-1"])
def test_a_manual_host_identifier_is_kept(gateway, lan, derived, kind, other, flag):
    gateway.store.update({f"ip6_{kind}_manual_hostid@{lan}": flag, f"ip6_{kind}_hostid@{lan}": "0000:0000:0000:0001",
                          f"ip6_{other}_hostid@{lan}": "0000:0000:0000:0002"})
    run = gateway.run("ipv6rd_restart")
    assert run.store[f"ip6_{kind}_hostid@{lan}"] == "0000:0000:0000:0001"
    assert run.store[f"ip6_{other}_hostid@{lan}"] == derived


def test_the_first_lan_logs_its_stored_identifiers_and_the_second_those_in_force(gateway):
    for lan in ("lan0", "lan1"):
        gateway.store.update({f"ip6_gua_hostid@{lan}": "0000:0000:0000:0001",
                              f"ip6_ula_hostid@{lan}": "0000:0000:0000:0002"})
    run = gateway.run("ipv6rd_restart")
    assert value(run, "lan_ip6_gua_hostid(lan0):") == "0000:0000:0000:0001"
    assert value(run, "ip6_ula_hostid(lan0):") == "0000:0000:0000:0002"
    assert value(run, "lan1_ip6_gua_hostid(lan1):") == "0211:22FF:FE33:4466"
    assert value(run, "lan1_ip6_ula_hostid(lan1):") == "0211:22FF:FE33:4466"
    assert run.store["ip6_gua_hostid@lan0"] == run.store["ip6_ula_hostid@lan0"] == "0211:22FF:FE33:4455"


def test_a_manual_identifier_of_the_second_lan_is_logged_as_stored(gateway):
    gateway.store.update({"ip6_gua_manual_hostid@lan1": "1", "ip6_gua_hostid@lan1": "0000:0000:0000:0001"})
    run = gateway.run("ipv6rd_restart")
    assert value(run, "lan1_ip6_gua_hostid(lan1):") == "0000:0000:0000:0001"
    assert value(run, "lan1_ip6_ula_hostid(lan1):") == "0211:22FF:FE33:4466"


@pytest.mark.parametrize("missing, lan", [("br-lan", "lan0"), ("br-lan1", "lan1")])
def test_without_a_bridge_the_octets_count_as_zero(gateway, missing, lan):
    del gateway.links[missing]
    run = gateway.run("ipv6rd_restart")
    assert run.status == 1
    assert run.store[f"ip6_gua_hostid@{lan}"] == "0200:00FF:FE00:0000"
    assert run.store[f"ip6_ula_hostid@{lan}"] == "0200:00FF:FE00:0000"


@pytest.mark.parametrize("mac, address", [
    ("00:11:22:33:44:55", "fe80::0211:22FF:FE33:4455"),
    ("06:0a:0b:0c:0d:0e", "fe80::040A:0BFF:FE0C:0D0E"),
])
def test_the_link_local_address_of_the_first_lan_comes_from_its_mac(gateway, mac, address):
    gateway.links["br-lan"] = mac
    run = gateway.run("zel_ipv6_lan", "lan")
    assert run.messages("start_lla") == [f"lan_ip6_lla = {address}"]

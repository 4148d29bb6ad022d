"""Settings, variables and options that mean harm, or are none."""
import os

import pytest
from rehearse_tool import DELEGATED, FACTORY, file_of, lines_of, verdicts_of

WORST = "'\"$(touch /tmp/owned)`touch /tmp/owned`;touch /tmp/owned #\\ \u202e\u2028\x85 \x9b31m"
TERMINAL = ("\033", "\x9b", "\u202e", "\u2028", "\x85", "\r")


def test_settings_full_of_quotes_stay_settings(tool):
    keys = [line.partition("=")[0] for line in FACTORY.read_text(encoding="ascii").splitlines()]
    path = tool.settings(*[f"{key}={WORST}" for key in keys], f"ip6_filter_list@wan100={WORST};;;;")
    status, output, errors = tool.run("--settings", path)
    assert (status, errors) in ((0, ""), (1, ""))
    assert not [sign for sign in TERMINAL if sign in output]
    found = tool.json("--settings", path)
    assert not [entry for entry in found["files"] if "owned" in entry["path"]]
    assert found["status"] == 1 and found["failure"] is None


def test_a_value_with_what_unicode_calls_a_line_end_is_one_value(tool):
    found = tool.json(*DELEGATED, "--settings", tool.settings("ip6_domain@wan100=isp\u2028x\x85y"))
    assert "prefix 3fff:1234:0:5601::/64 {\n" in file_of(found, "/tmp/radvd.conf")


def test_a_value_that_is_no_utf8_is_shown_and_taken(tool):
    path = tool.settings("ip6_domain@wan100=\udcff\udcfe")
    status, output, _ = tool.run(*DELEGATED, "--settings", path)
    assert status == 0
    tool.json(*DELEGATED, "--settings", path)
    assert os.fsencode(output).isascii() and '"\\xff\\xfe" is no list' in output


@pytest.mark.parametrize("data, told", [
    (b"no line of settings\n", "line 1"),
    (b"ip6_gua_sid@lan0=01\nip6_gua_sid@=01\n", "line 2"),
    (b"a@b=" + b"x" * 1024 + b"\n", "line 1"),
    (b"a@b=\x01\n", "line 1"),
    (b"a@b=x\0y\n", "line 1"),
    (b"\x7fELF" + bytes(range(256)) * 16, "line 1"),
])
def test_lines_that_are_no_settings_are_refused_with_their_place(tool, data, told):
    said = tool.refused("--settings", "-", given=data)
    assert said.startswith("standard input: ") and told in said
    assert not [sign for sign in TERMINAL if sign in said]


def test_a_damaged_store_is_refused_and_left_alone(tool):
    store = tool.folder / "ccfg.db"
    store.write_bytes(b"nonsense\n")
    assert tool.refused(TESA_STORE=str(store)).startswith(f"the store {store}: ")
    assert [path.name for path in tool.folder.glob("ccfg*")] == ["ccfg.db"] and store.read_bytes() == b"nonsense\n"


def test_files_that_are_no_files_are_refused(tool):
    fifo, folder = tool.folder / "fifo", tool.folder / "folder"
    os.mkfifo(fifo)
    folder.mkdir()
    for word in ("--settings", "--env-file"):
        for place in (fifo, folder, "/dev/zero"):
            assert tool.refused(word, str(place)) == f"{place}: not a plain file"
        assert tool.refused(word, str(tool.folder / "nothing")).endswith("nothing: No such file or directory")


def test_more_than_can_be_settings_is_refused(tool):
    assert tool.refused("--env-file", "-", given=b"x" * ((1 << 20) + 1)) == "-: longer than 1048576 bytes"
    assert "line 1" in tool.refused("--settings", "-", given=b"a@b=" + b"x" * (1 << 20))


@pytest.mark.parametrize("words, told", [
    (["--env", "no equals sign"], "--env: not NAME=VALUE: no equals sign"),
    (["--env", "1a=x"], "--env: not NAME=VALUE: 1a=x"),
    (["--env", "=x"], "--env: not NAME=VALUE: =x"),
    (["--env", "LD_PRELOAD=/tmp/x.so"], "--env LD_PRELOAD: steers the rehearsal itself"),
    (["--env", "GW_PAUSE_LIMIT=1"], "--env GW_PAUSE_LIMIT: steers the rehearsal itself"),
    (["--env", "TESA_STORE=/etc/passwd"], "--env TESA_STORE: steers the rehearsal itself"),
    (["--env", "reason=" + "x" * 65537], "--env: reason is longer than 65536 bytes"),
    (["--set", "a@b=\033[31m"], "--set a@b=\\x1b[31m: a control character"),
    (["--set", "a@b=1\na@c=2"], "--set a@b=1\\na@c=2: a control character"),
    (["--set", "ip6_gua_sid=06"], "--set ip6_gua_sid=06: there is no '@' between key and section: ip6_gua_sid=06"),
    (["--ip4", "192.0.2.300"], "--ip4 192.0.2.300: no IPv4 address, such as 192.0.2.2 or 192.0.2.2/24"),
    (["--ip4", ""], "--ip4 '': no IPv4 address, such as 192.0.2.2 or 192.0.2.2/24"),
    (["--delegated", "3fff::1/56"], "--delegated 3fff::1/56: bits are set behind its length; the prefix is 3fff::/56"),
    (["--delegated", "3fff::"], "--delegated 3fff::: no length, such as /56"),
    (["--delegated", "3fff:/129"], "--delegated 3fff:/129: no IPv6 prefix, such as 3fff:1234:0:5600::/56"),
    (["--delegated", ""], "--delegated '': no IPv6 prefix, such as 3fff:1234:0:5600::/56"),
    (["--state", "/nowhere"], "--state /nowhere: not a folder"),
    (["--continue", "/nowhere"], "--continue /nowhere: no rehearsal was kept there (No such file or directory)"),
    (["--mac", "eth7=02:00:00:00:00:01"], "--mac eth7=02:00:00:00:00:01: the gateway has br-lan, br-lan1, eth0"),
    (["--mac", "br-lan=01:00:00:00:00:01"],
     "--mac br-lan=01:00:00:00:00:01: no hardware address of an interface, such as br-lan=02:00:00:00:00:01"),
    (["--answer", "ip"], "--answer ip: no '=' with a file behind it"),
    (["--answer", "ip=/nowhere"], "/nowhere: No such file or directory"),
    (["--answer", "radvdd=/dev/null"], "--answer radvdd=/dev/null: no program that a rehearsal stands in for; did you mean radvd?"),
    (["--fail", "ip=256"], "--fail ip=256: no exit status from 1 to 255"),
    (["--fail", "'"], "--fail ': No closing quotation"),
])
def test_options_that_make_no_sense_are_told(tool, words, told):
    assert tool.refused(*words) == told


@pytest.mark.parametrize("words", [["--command", "reboot"], ["--command", "\033[2J"], ["--args", "'"], ["--no-such"], ["word"],
                                   ["--advertised", "x"], ["--settings", "-", "--env-file", "-"],
                                   ["--settings", "-", "--answer", "ip=-"], ["--json", "--quiet"],
                                   ["--json", "--brief"], ["--continue", "/tmp", "--state", "/tmp"],
                                   ["zel_ipcp_up", "--command", "zel_ipcp_up"], ["zel_ifconfig", "--args", "x"]])
def test_a_wrong_call_is_told_on_one_line(tool, words):
    said = tool.refused(*words)
    assert said.endswith("; ipv6rehearse --help") and "\033" not in said


def test_variables_with_control_characters_count_as_absent_as_on_a_device(tool):
    found = tool.json("--command", "zel_dhcp6c_update", "--env", "reason=BOUND6", "--env", "new_ip6_prefix=3fff::/56\nx",
                      "--env", "new_dhcp6_domain_search=a\033[31mb", "--env", "new_ip6_address=3fff:1::5")
    changes = {entry["key"]: entry["after"] for entry in found["store"]}
    assert not {"ip6_dhcp6c_prefix_addr@system", "ip6_domain@wan100"} & set(changes)
    assert sum("counts as absent" in note for note in found["left_out"]) >= 2


def test_a_variable_that_is_a_shell_line_starts_nothing(tool):
    names = ("new_ip6_address", "new_ip6_prefix", "interface", "new_dhcp6_name_servers", "new_dhcp6_domain_search")
    words = ["--command", "zel_dhcp6c_update", "--env", "reason=BOUND6", *[f"--env={name}={WORST}" for name in names]]
    found = tool.json(*words)
    assert any("touch /tmp/owned" in line for line in lines_of(found))
    assert not [entry for entry in found["files"] if "owned" in entry["path"]]
    status, output, _ = tool.run(*words)
    assert status == 0 and not [sign for sign in TERMINAL if sign in output]


def test_state_files_that_are_links_are_not_followed(tool):
    state = tool.folder / "state"
    state.mkdir()
    (tool.folder / "secret").write_text("1", encoding="ascii")
    (state / "zel_ipv6cp_script_running").symlink_to(tool.folder / "secret")
    found = tool.json("--command", "zel_ipv6cp_up", "--state", str(state))
    assert found["surroundings"][-1] == f"state files of {state}: none is there"
    assert found["failure"] is None


def test_state_files_that_cannot_be_taken_are_told_and_left(tool):
    state = tool.folder / "state"
    (state / "rdnssd").mkdir(parents=True)
    (state / ".ip6t").write_bytes(b"x" * ((1 << 20) + 1))
    (state / "resolv.conf").write_text("nameserver 192.0.2.1\n", encoding="ascii")
    assert tool.json("--state", str(state))["surroundings"][-1] == (
        f"state files of {state}: resolv.conf; not taken: .ip6t (longer than 1048576 bytes), rdnssd (not a plain file)")


def test_ten_thousand_settings_are_taken(tool):
    data = FACTORY.read_bytes() + b"".join(b"key%d@other=%d\n" % (n, n) for n in range(10000))
    assert set(verdicts_of(tool.json(*DELEGATED, "--settings", "-", given=data)).values()) == {"accepted"}


def test_arguments_reach_the_command_as_they_are(tool):
    found = tool.json("--command", "zel_ifconfig", "--args", "br-lan 3fff::1 64 1")
    assert found["addresses"]["br-lan"] == ["3fff::1/64"] and lines_of(found) == []
    hostile = tool.json("--command", "zel_ifconfig", "--args", "'br-lan; touch /tmp/owned' 3fff::1 64 1")
    assert hostile["files"] == [] and hostile["addresses"]["br-lan"] == []

"""What a rehearsal is given, as people give it: names half right, files out of an editor, variables that nobody reads."""
import os
import re
import subprocess

import pytest
from rehearse_tool import DELEGATED, FACTORY, REHEARSE, REPOSITORY, TOOL, changes_of, file_of, lines_of

EVENT = ("zel_dhcp6c_update", "--env", "reason=BOUND6")


@pytest.mark.parametrize("words", [
    ["zel_ifconfig", "br-lan", "3fff::1", "64", "1"], ["/usr/sbin/zel_ifconfig", "br-lan", "3fff::1", "64", "1"],
    ["zel_ifconfig", "br-lan", "--state", "none", "3fff::1", "64", "1"], ["--command", "zel_ifconfig", "--args", "br-lan 3fff::1 64 1"],
])
def test_a_command_is_given_as_it_is_started(tool, words):
    found = tool.json(*words)
    assert (found["command"], found["arguments"]) == ("zel_ifconfig", ["br-lan", "3fff::1", "64", "1"])
    assert found["addresses"]["br-lan"] == ["3fff::1/64"]


@pytest.mark.parametrize("word, told", [
    ("zel_dhcp6c_updat", "zel_dhcp6c_updat: no command; did you mean zel_dhcp6c_update?"),
    ("settings.txt", "settings.txt: no command; a file of settings is given with --settings"),
    ("reboot", "reboot: no command; there are dhcp6c_release, dhcp6c_renew, dhcp6c_restart, "),
])
def test_what_is_no_command_is_told_with_what_was_meant(tool, word, told):
    tool.settings()
    assert tool.refused(word).startswith(told)


@pytest.mark.parametrize("words, told", [
    (["zel_ipv6_lan"], "nothing was done: zel_ipv6_lan does not work with no arguments; ipv6ctl(8) has what it needs"),
    (["zel_ifconfig", "br-lan"], "nothing was done: zel_ifconfig does not work with 1 argument; ipv6ctl(8) has what it needs"),
])
def test_a_command_that_did_nothing_for_want_of_arguments_is_told(tool, words, told):
    assert tool.json(*words)["advice"] == told
    assert tool.run("--quiet", *words)[:2] == (0, f"  {told}\n")


@pytest.mark.parametrize("change, told", [
    (lambda text: text.replace(b"\n", b"\r\n"), "line 1 ends with CR LF, as on Windows; save the file with LF alone"),
    (lambda text: text.replace(b"\n", b"\r"), "line 1 has CR where LF belongs; save the file with LF at the end of each line"),
    (lambda text: b"\xef\xbb\xbf" + text, "begins with a byte order mark; save it as UTF-8 without one"),
    (lambda text: text.decode("ascii").encode("utf-16"), "is UTF-16; save it as UTF-8"),
    (lambda text: text.replace(b"mtu@wan100=", b"mtu@wan100 = "), "line 40: no blanks before the key and before the '='"),
    (lambda text: text.replace(b"mtu@wan100=", b"  mtu@wan100="), "line 40: no blanks before the key and before the '='"),
])
def test_what_an_editor_did_to_the_settings_is_told(tool, change, told):
    path = tool.folder / "edited.txt"
    path.write_bytes(change(FACTORY.read_bytes()))
    assert tool.refused("--settings", str(path)) == f"{path}: {told}"


@pytest.mark.parametrize("data, told", [
    (b"# a lease\r\nreason=BOUND6\r\n", "line 1 ends with CR LF, as on Windows; save the file with LF alone"),
    (b"\xef\xbb\xbfreason=BOUND6\n", "begins with a byte order mark; save it as UTF-8 without one"),
    ("reason=BOUND6\n".encode("utf-16"), "is UTF-16; save it as UTF-8"),
])
def test_what_an_editor_did_to_the_variables_is_told(tool, data, told):
    path = tool.folder / "variables"
    path.write_bytes(data)
    assert tool.refused("zel_dhcp6c_update", "--env-file", str(path)) == f"{path}: {told}"


def test_a_last_line_without_its_end_is_a_setting(tool):
    found = tool.json(*DELEGATED, "--settings", "-", given=FACTORY.read_bytes() + b"ip6_domain@wan100=isp.example")
    assert 'option dhcp6.domain-search "isp.example";' in file_of(found, "/tmp/dhcp6d.conf")


def test_a_key_that_is_given_twice_is_told_and_the_last_one_counts(tool):
    found = tool.json(*DELEGATED, "--settings", "-", given=FACTORY.read_bytes() + b"# once more\nip6_gua_sid@lan1=07\n")
    assert found["odd"] == ["ip6_gua_sid@lan1 is given twice, in the lines 26 and 43 of standard input; the last one counts"]
    assert "prefix 3fff:1234:0:5607::/64 {\n" in file_of(found, "/tmp/radvd.conf")
    twice = tool.json(*DELEGATED, "--settings", "-", given=FACTORY.read_bytes() * 3)["odd"]
    assert twice[0].startswith("add_static_route@system is given 3 times, in the lines 1, 42 and 83 of ")
    assert len(twice) == 6 and twice[-1] == "so are 36 more keys"
    assert tool.json(*DELEGATED, "--set", "mtu@wan100=1400", "--set", "mtu@wan100=1300")["odd"] == []


@pytest.mark.parametrize("words, odd", [
    (["zel_dhcp6c_update", "--env", "reason=BOUND"], ["BOUND is no reason of the DHCPv6 client; did you mean BOUND6?"]),
    (["zel_dhcp6c_update", "--env", "reason=x"], ["x is no reason of the DHCPv6 client"]),
    ([*EVENT, "--env", "new_ip6_prefx=3fff::/56"], ["the program does not read new_ip6_prefx; did you mean new_ip6_prefix?"]),
    ([*EVENT, "--env", "new_ip6_prefix=\"3fff::/56\""], ["the quotes around new_ip6_prefix are a part of its value"]),
    ([*EVENT, "--env", "new_iaid=1", "--env", "old_max_life=5", "--env", "HOME=/"], []),
    (["zel_ipcp_up", "--env", "reason=BOUND6"], ["only zel_dhcp6c_update reads the variables of --env"]),
])
def test_variables_that_nothing_reads_are_told(tool, words, odd):
    found = tool.json(*words)
    assert (found["odd"], found["good"]) == (odd, True)
    assert tool.run("--quiet", *words)[1] == "".join(f"  odd      {text}\n" for text in odd)


def test_the_variables_are_those_that_the_program_reads():
    sources = [path.read_text(encoding="utf-8") for path in (REPOSITORY / "src/wan").glob("*")]
    read = {name for text in sources for name in re.findall(r'ClientValue \w+\s*[({]\s*"(\w+)"', text)}
    module = (REHEARSE / "ipv6rehearse/client.py").read_text(encoding="utf-8")
    known = set(re.findall(r'"(\w+)"', module.partition("\nREAD = (")[2].partition("\n)")[0]))
    page = (REHEARSE / "ipv6rehearse.1.scd").read_text(encoding="utf-8").partition("# VARIABLES OF THE CLIENT")[2].partition("\n# ")[0]
    completed = (REHEARSE / "completion/ipv6rehearse").read_text(encoding="utf-8")
    assert len(read) == 17 and read == known
    assert known == set(re.findall(r"\*(\w+)\*", page)) - {"zel_dhcp6c_update"}
    assert known == set(re.findall(r"\b((?:new|old)_\w+|reason|interface|stateless)=(?=[\s\"])", completed))


def test_a_shells_pipes_are_files_of_settings(tool):
    tool.settings("ip6_gua_sid@lan1=07")
    for line in (f"{TOOL} --json --settings <(cat settings.txt)", f"cat settings.txt | {TOOL} --json --settings /dev/stdin",
                 f"cat settings.txt | {TOOL} --json --settings /proc/self/fd/0"):
        done = subprocess.run(["bash", "-c", line], capture_output=True, env=tool.environment, cwd=tool.folder, check=False)
        assert done.returncode == 1 and b", 41 settings" in done.stdout, done.stderr


@pytest.mark.parametrize("words, told", [
    (">&-", "standard output is closed"), (">/dev/full", "standard output: No space left on device"),
    ("--json >/dev/full", "standard output: No space left on device"),
    ("--settings - <&-", "standard input is closed"),
])
def test_a_closed_or_full_output_is_told(tool, words, told):
    done = subprocess.run(["sh", "-c", f"{TOOL} {words}"], capture_output=True, text=True, env=tool.environment, check=False)
    assert (done.returncode, done.stdout, done.stderr) == (2, "", f"ipv6rehearse: {told}\n")
    assert list(tool.temporary.iterdir()) == []


def test_a_rehearsal_goes_on_where_a_kept_one_ended(tool):
    kept = tool.folder / "kept"
    kept.mkdir()
    first = tool.json("--keep", *EVENT, "--env", "new_ip6_prefix=3fff:77::/56", TMPDIR=str(kept))
    folder = first["kept"]
    second = tool.json("--continue", folder, "zel_dhcp6c_update", "--env", "reason=EFFECT6")
    assert "prefix 3fff:77:0:1::/64 {\n" in file_of(second, "/tmp/radvd.conf")
    assert changes_of(second)["ip6_changed@wan100"] == "0"
    assert second["settings"] == f"what was kept in {folder}, 49 settings"
    assert tool.json("--continue", folder, "zel_dhcp6c_update", "--env", "reason=EFFECT6") == second
    (kept / os.path.basename(folder) / "gateway/tmp/zel_ipv6cp_script_running").write_text("1", encoding="ascii")
    assert tool.json("--continue", folder, "zel_ipv6cp_up")["status"] == 255
    assert tool.run("--keep", "--quiet", *DELEGATED, TMPDIR=str(kept))[1].splitlines()[-1].startswith(
        f"  the next command in it: ipv6rehearse --continue {kept}/ipv6rehearse-")


def test_lines_told_are_the_same_in_every_form(tool):
    assert lines_of(tool.json("zel_ipv6_lan", "lan")) == lines_of(tool.json("--command", "zel_ipv6_lan", "--args", "lan"))

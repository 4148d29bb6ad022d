"""What a user looks for, and what is said when it is not there."""
import json
import re

import pytest
from trace_logs import CRON, LEASE, event, run_of, said, shell

LOG = LEASE + CRON + run_of(
    "ipv6_lan_restart", 200, shell(200, "/sbin/ifconfig br-lan del 3FFF:0001:0000:0002:0000:00FF:FE00:0001/64"),
    said("set_ipv6_addr", 200, "if_name[br-lan1] 3FFF:0001:0000:0003:0000:00FF:FE00:0101 64 1"),
    said("start_ipv6", 204, "lan_ip6_prefix = 3fff:9::"), shell(207, "/usr/sbin/resolv_update.sh SYSTEM"))


def numbers(tool, *options, log=LOG):
    return re.findall(r"^ *#(\d+)", tool.text("--brief", *options, log=log), re.M)


@pytest.mark.parametrize("text, found", [
    ("RADVD", ["2"]), ("ip6t", ["2"]), ("br-lan1", ["8"]), ("3fff:1:0:3::/64", ["8"]), ("3fff:1:0:2::", ["8"]),
    ("3fff:1::", ["8"]), ("3fff:1:1::", []), ("3fff:1::/32", ["8"]), ("3fff:1:0:3:0:ff:fe00:101", ["8"]),
    ("3fff:1:0:4::/64", []), ("::/0", ["2", "1", "8"]), ("3fff:9::", []), ("ip6_prefix(lan0)", ["2"]),
    ("ip6_pfxlen", []), ("[", []),
], ids=lambda value: value if isinstance(value, str) else "")
def test_what_a_run_did_is_found(tool, text, found):
    assert numbers(tool, "--grep", text) == found


def test_the_locale_does_not_change_what_is_found(tool):
    log = run_of("zel_ipcp_up", 5, shell(5, "echo \u00fc\u6f22")) + run_of("zel_ipcp_up", 6)
    plain = {"LC_ALL": "C", "PYTHONUTF8": "0", "PYTHONCOERCECLOCALE": "0", "PATH": "/usr/bin:/bin"}
    found = tool.run("--brief", "--grep", "\u00fc\u6f22", log=log, env=plain)
    assert found.stdout.splitlines()[1] == b"1 of 2 are selected."


def test_more_is_looked_at_when_more_is_shown(tool):
    assert numbers(tool, "--grep", "3fff:9::", "--lines") == ["8"]
    assert numbers(tool, "--grep", "ip6_pfxlen", "--parameters") == ["2", "1"]
    assert '        ip6_pfxlen(lan0): "64"\n' in tool.text("-b", "--grep", "ip6_pfxlen", "--parameters", log=LOG)


def test_briefly_the_lines_that_have_it_are_shown(tool):
    assert tool.text("--brief", "--grep", "3fff::/16", "--last", "2", "-x", "BOUND6", log=LOG).splitlines()[2:] == [
        "", "With failures (1)",
        "   #2 zel_dhcp6c_update EFFECT6  101 s, under 1 s  1 failed shell line",
        "       105  [2] ip6tables-restore /tmp/.ip6t   <-- failed   (after 4 s)",
        '        ip6_prefix(lan0): "" -> "3fff::"   (since #1)', "", "Without failures (1)",
        "   #8 ipv6_lan_restart           200 s, under 1 s  done",
        "       200  [0] /sbin/ifconfig br-lan del 3FFF:0001:0000:0002:0000:00FF:FE00:0001/64",
        "       200  [+] br-lan1 3fff:1:0:3:0:ff:fe00:101/64"]


def test_of_many_only_some_are_shown_and_the_rest_counted(tool):
    log = run_of("zel_ipcp_up", 5, *(shell(5, f"x {n}", n % 2) for n in range(20, 70)))
    lines = tool.text("--brief", "--grep", "x", log=log).splitlines()[5:]
    assert [int(line.split()[3]) for line in lines[:13]] == sorted([21, 23, 25, *range(20, 40, 2)])
    assert lines[13:] == ["            and 37 more"]


def test_at_length_they_are_marked(tool):
    text = tool.text("--grep", "br-lan1", log=LOG)
    assert "       200 >[+] br-lan1 3fff:1:0:3:0:ff:fe00:101/64\n" in text
    assert "       200  [0] /sbin/ifconfig br-lan del " in text
    assert [each["number"] for each in json.loads(tool.text("--json", "-g", "br-lan1", log=LOG))["invocations"]] == [8]


def test_a_command_can_be_left_out_and_an_event_named_by_its_reason(tool):
    assert numbers(tool, "--except", "zel_ip6*") == ["2", "1", "8"]
    assert numbers(tool, "-x", "zel_ip6*", "-x", "EFFECT6", "-c", "zel_*") == ["1"]
    assert numbers(tool, "--command", "BOUND6") == ["1"]


def test_a_run_can_be_asked_for_by_its_number(tool):
    assert numbers(tool, "--invocation", "8", "-i", "#2") == ["2", "8"]
    assert tool.text("-i", "2", log=LOG).endswith("\n".join(tool.text(log=LEASE).splitlines()[2:9]) + "\n")
    assert tool.text("-i", "9", log=LOG).splitlines()[1:] == ["0 of 8 are selected.", "The log has #1 to #8."]


@pytest.mark.parametrize("option", ["--command", "--except"])
@pytest.mark.parametrize("name, told", [
    ("dhcp6c", "No command is named dhcp6c; did you mean zel_dhcp6c_update?"),
    ("zel_", "No command is named zel_; did you mean *zel_*?"),
    ("bound6", "No command is named bound6; did you mean BOUND6?"),
    ("zel_ip6neigh_updat", "did you mean zel_ip6neigh_update?"), ("radvd", "No command is named radvd.")])
def test_a_name_that_nothing_has_is_told_with_those_that_are_there(tool, option, name, told):
    lines = tool.text("--brief", option, name, log=LOG).splitlines()
    assert told in lines[2]
    assert lines[3] == "The log has: ipv6_lan_restart, zel_dhcp6c_update (BOUND6, EFFECT6), zel_ip6neigh_update"


def test_a_name_that_is_there_but_not_then_needs_no_hint(tool):
    for name in ("BOUND6", "zel_dhcp6c_update BOUND6", "zel_dhcp6c_*"):
        assert tool.text("--command", name, "--since", "200", log=LOG).splitlines()[1:] == ["0 of 8 are selected."]


def lasting(word, uptime, seconds, *lines):
    return run_of(word, uptime, *lines).replace(f"[{uptime}] ^_^[/usr/sbin/{word}] ERR",
                                                f"[{uptime + seconds}] ^_^[/usr/sbin/{word}] ERR")


SLOW = "".join(lasting("zel_ipcp_up", n * 100, 21 - n, shell(n * 100, "a")) for n in range(1, 21))


def test_the_slowest_come_first(tool):
    lines = tool.text("--brief", "--slow", log=SLOW).splitlines()
    assert lines[1] == "The slowest 10 are shown; 10 more with --all." and lines[3] == "Slowest first (10)"
    assert [line.split()[0] for line in lines[4::2]] == [f"#{n}" for n in range(1, 11)]
    assert lines[5] == "       120  end   (after 20 s)"
    assert numbers(tool, "--slow", "-n", "2", log=SLOW) == ["1", "2"]
    assert len(numbers(tool, "--slow", "--all", log=SLOW)) == 20
    found = json.loads(tool.text("--json", "--slow", "-n", "2", log=SLOW))["invocations"]
    assert [each["number"] for each in found] == [1, 2]
    alike = run_of("zel_ipcp_up", 5) + run_of("zel_ipcp_up", 6) + lasting("zel_ipcp_up", 7, 5)
    assert numbers(tool, "--slow", log=alike) == ["3", "2", "1"], "of equals the newest"


def test_what_a_slow_one_waited_for_is_shown(tool):
    log = lasting("ipv6_lan_restart", 200, 7, shell(200, "a"), said("start_ipv6", 204, "x"), shell(205, "b"),
                  shell(207, "c"))
    assert tool.text("--brief", "--slow", log=log).splitlines()[-1] == "       205  [0] b   (after 4 s)"
    shorter = lasting("ipv6_lan_restart", 200, 2, shell(200, "a"), shell(202, "b"))
    assert tool.text("--brief", "--slow", log=shorter).splitlines()[-1] == "       202  [0] b"


def test_names_of_a_forged_log_do_not_steer_the_terminal(tool):
    log = run_of("\x1b[31mevil\x1b]0;x\x07", 5) + event("BOUND6", 6, "")
    for options in (["-c", "nothing"], ["-x", "nothing", "--brief"], ["-c", "*evil*"], ["--grep", "x", "-b"]):
        assert "\x1b" not in tool.text(*options, log=log)
    assert "\\x1b[31mevil" in tool.text("-c", "nothing", log=log)

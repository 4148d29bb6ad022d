"""What a user sees of a log."""
import fcntl
import os
import pty
import re
import struct
import subprocess
import termios

import pytest
from trace_logs import CRON, LEASE, TOOL, end, event, run_of, said, shell, start

def test_failures_come_first_with_what_was_loaded_and_run(tool):
    lines = tool.text(log=LEASE + CRON).replace(str(tool.folder), "").splitlines()
    assert lines == [
        "/ipv6.log: 7 invocations, 1 with failures, uptime 100 to 124 s, 44 lines",
        "",
        "With failures (1)",
        "",
        "   #2 zel_dhcp6c_update EFFECT6  101 s, under 1 s  1 failed shell line",
        "      3 parameters loaded, 1 changed since #1",
        '        ip6_prefix(lan0): "" -> "3fff::"',
        "       101  [1] killall radvd   (nothing to undo)",
        "       105  [2] ip6tables-restore /tmp/.ip6t   <-- failed   (after 4 s)",
        "",
        "Without failures (6)",
        "",
        "   #1 zel_dhcp6c_update BOUND6  100 s, under 1 s  done",
        "      3 parameters loaded",
        "       100  [0] vorn_syslog_cli addEventCode -1 P005 3fff::/56",
        "",
        "#3..#7 zel_ip6neigh_update  from 120 to 124 s, 5 times alike  done",
        "       120  [0] ip -6 neigh show > /tmp/.ip6_neigh_show",
    ]


def test_brief_is_a_line_each_and_what_failed(tool):
    lines = tool.text("--brief", log=LEASE).splitlines()[2:]
    assert lines == ["With failures (1)", "   #2 zel_dhcp6c_update EFFECT6  101 s, under 1 s  1 failed shell line",
                     "       105  [2] ip6tables-restore /tmp/.ip6t   <-- failed   (after 4 s)", "",
                     "Without failures (1)",
                     "   #1 zel_dhcp6c_update BOUND6   100 s, under 1 s  done"]


def test_every_line_and_every_parameter_when_asked_for(tool):
    text = tool.text("--lines", "--parameters", log=LEASE)
    assert "       100       [dhcp6c_main] The reason is BOUND6, the interface is eth0.\n" in text
    assert '        wandataif: "eth0"\n' in text and '        ip6_pfxlen(lan0): "64"\n' in text
    assert "[prepare_parm]" not in text


@pytest.mark.parametrize("log, told", [
    (start("zel_ipv6cp_up", 5) + shell(6, "ip6tables -F"), "#1 zel_ipv6cp_up  5 s, last line 6 s  no end yet: still"),
    (start("dhcp6c_start", 900) + run_of("zel_ipcp_up", 3),
     "#1 dhcp6c_start  900 s, last line 900 s  no end: the device was"),
    (start("dhcp6c_start", 5) + run_of("zel_ipcp_up", 900), "#1 dhcp6c_start  5 s, last line 5 s  no end\n"),
    (end("dhcp6c_start", 5, "ERROR_INTERNAL, end"), "#1 dhcp6c_start  5 s  ERROR_INTERNAL: no transaction"),
    (start("zel_ipv6cp_up", 5) + said("main", 5, "zel_ipv6cp_up script_running[1].")
     + end("zel_ipv6cp_up", 5, "ERROR_INTERNAL, end"), "#1 zel_ipv6cp_up  5 s, under 1 s  refused: the other hook"),
], ids=["running", "reboot", "killed", "no-store", "busy"])
def test_an_end_that_is_missing_or_bad_says_why(tool, log, told):
    text = tool.text(log=log)
    assert told in text and "With failures (1)" in text


def test_filters_leave_the_numbers_of_the_whole_log(tool):
    log = LEASE + CRON + event("BOUND6", 9000, "3fff:1::") + run_of("zel_ipcp_up", 9001)
    shown = {option: re.findall(r"#(\d+)", tool.text("--brief", *option, log=log)) for option in [
        ("--failed",), ("--command", "zel_ipcp_*"), ("-c", "zel_dhcp6c_update BOUND6"), ("--since", "124"),
        ("--since", "10m"), ("--last", "1"), ("-c", "zel_ipcp_up", "-c", "nothing", "-s", "9001"),
        ("-s", "boot", "-f")]}
    assert shown == {
        ("--failed",): ["2"], ("--command", "zel_ipcp_*"): ["9"], ("-c", "zel_dhcp6c_update BOUND6"): ["1", "8"],
        ("--since", "124"): ["7", "8", "9"], ("--since", "10m"): ["8", "9"], ("--last", "1"): ["2"],
        ("-c", "zel_ipcp_up", "-c", "nothing", "-s", "9001"): ["9"], ("-s", "boot", "-f"): ["2"]}


def test_a_long_log_shows_its_newest_and_says_so(tool):
    log = "".join(run_of("zel_ipcp_up", n, shell(n, f"echo {n}", int(n == 3))) for n in range(200))
    text = tool.text("--brief", log=log)
    assert "The newest 50 are shown, those with failures before others; 150 more with --all." in text
    numbers = [int(number) for number in re.findall(r"#(\d+)", text)]
    assert numbers[0] == 4 and numbers[1:] == [152, 200], "the old failure; the newest others in one group"
    assert re.findall(r"#(\d+)", tool.text("--brief", "--all", log=log)) == ["4", "1", "200"]


def test_lines_that_may_be_anothers_are_marked(tool):
    log = start("dhcp6c_release", 1) + start("dhcp6c_release", 1) + shell(1, "killall radvd") \
        + end("dhcp6c_release", 1) + end("dhcp6c_release", 2)
    text = tool.text(log=log)
    assert "         1? [0] killall radvd\n" in text and "? a guess." in text
    assert "at the same time: #2 dhcp6c_release" in text and "its end may be another's" in text


def test_a_run_within_a_shell_line_of_another_says_so(tool):
    log = start("dhcp6c_release", 1) + event("RELEASE6", 2, "") + shell(3, "dhclient -r") + end("dhcp6c_release", 3)
    assert "      ran while #1 ran: dhclient -r\n" in tool.text(log=log)


def through_a_terminal(path, *options, lines=0, **environment):
    master, slave = pty.openpty()
    fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", lines, 80, 0, 0))
    subprocess.run([str(TOOL), *options, str(path)], stdout=slave, check=True,
                   env={**{k: v for k, v in os.environ.items() if k != "NO_COLOR"}, "TERM": "xterm", **environment})
    os.close(slave)
    text = b""
    while True:
        try:
            block = os.read(master, 65536)
        except OSError:
            break
        if not block:
            break
        text += block
    os.close(master)
    return text


def test_colors_on_a_terminal_only_and_never_with_no_color(tool):
    path = tool.log(LEASE)
    assert b"\033[1;31m" in through_a_terminal(path)
    assert b"\033" not in through_a_terminal(path, NO_COLOR="1")
    assert b"\033" not in through_a_terminal(path, TERM="dumb")
    assert b"\033" not in tool.run(path).stdout
    assert b"\033[1;31m" in tool.run("--color", "always", path).stdout


def test_failures_that_have_left_the_screen_are_told_of_at_its_end(tool):
    path = tool.log(LEASE + CRON)
    last = b"1 with failures, at the top: #2"
    assert last in through_a_terminal(path, lines=10).splitlines()[-1]
    assert last not in through_a_terminal(path, lines=50) and last not in through_a_terminal(path, "--failed", lines=3)
    assert last not in tool.run(path).stdout


SET_ADDRESSES = run_of(
    "ipv6_lan_restart", 10, said("set_ipv6_addr", 10, "if_name[br-lan] 3FFF:0001:0000:0001:0000:00FF:FE00:0001 64 0"),
    said("set_ipv6_addr", 11, "ioctl SIOCDIFADDR error."), said("set_ipv6_addr", 11, "if_name[br-lan]  64 0"),
    said("set_ipv6_addr", 11, "ioctl SIOCDIFADDR error."), said("start_ula", 15, "x"),
    said("set_ipv6_addr", 15, "if_name[br-lan] FD00::5 64 1"), shell(15, "radvd"),
    said("set_ipv6_addr", 16, "if_name[eth0] what? 128 1"))


def test_addresses_that_no_shell_line_tells_of(tool):
    lines = tool.text(log=SET_ADDRESSES).splitlines()
    assert lines[5:] == [
        "        10  [-] br-lan 3fff:1:0:1:0:ff:fe00:1/64   (refused)",
        "        15  [+] br-lan fd00::5/64   (after 4 s)",
        "        15  [0] radvd",
        "        16  [+] eth0 what?/128"]
    assert "no failure" in lines[0]
    text = tool.text("--lines", log=SET_ADDRESSES)
    line = "[set_ipv6_addr] if_name[br-lan] 3FFF:0001:0000:0001:0000:00FF:FE00:0001 64 0   (taken away)\n"
    assert f"        10       {line}" in text
    assert "        15       [set_ipv6_addr] if_name[br-lan] FD00::5 64 1   (given)\n" in text


def test_runs_that_set_other_addresses_are_not_alike(tool):
    log = "".join(run_of("zel_ifconfig", n, said("set_ipv6_addr", n, f"if_name[br-lan] 3fff::{n // 2} 64 1"))
                  for n in range(2, 6))
    assert re.findall(r"(#\S+) zel_ifconfig  (.*)  done", tool.text(log=log)) == [
        ("#1..#2", "from 2 to 3 s, 2 times alike"), ("#3..#4", "from 4 to 5 s, 2 times alike")]


def test_a_pause_before_the_end_is_told(tool):
    log = run_of("zel_resolv_update", 5, shell(5, "a")).replace("[5] ^_^[/usr/sbin/zel_resolv_update] ERR",
                                                                 "[9] ^_^[/usr/sbin/zel_resolv_update] ERR")
    assert tool.text(log=log).splitlines()[-2:] == ["         5  [0] a", "         9  end   (after 4 s)"]
    assert "after" not in tool.text("--brief", log=log)


def test_a_run_whose_beginning_is_in_another_file_says_so(tool):
    assert tool.text(log=end("dhcp6c_start", 5)).splitlines()[-1] == \
        "   #1 dhcp6c_start  5 s  done, began before the log"


def test_brief_durations_stand_in_a_column(tool):
    log = run_of("zel_ipcp_up", 5) + event("BOUND6", 6, "") + run_of("zel_ipcp_up", 1000) * 2
    assert tool.text("--brief", log=log).splitlines()[3:] == [
        "    #1 zel_ipcp_up               5 s, under 1 s   done",
        "    #2 zel_dhcp6c_update BOUND6  6 s, under 1 s   done",
        "#3..#4 zel_ipcp_up               1000 s, 2 times  done"]


@pytest.mark.parametrize("words, status, message", [
    (["--since", "yesterday"], 2, "--since yesterday: neither an uptime in seconds"),
    (["--until", "boot"], 2, "--until boot: neither an uptime in seconds"),
    (["--last", "0"], 2, "--last 0: not a number above 0"), (["--last", "3", "--all"], 2, "contradict"),
    (["--last", "abc"], 2, "--last abc: not a number above 0"),
    (["-i", "x"], 2, "--invocation x: not a number above 0"),
    (["--grep", ""], 2, "--grep: nothing to look for"),
    (["--json", "--svg"], 2, "not allowed with"), (["--what"], 2, "--what: no such option; ipv6trace"),
    (["--par"], 2, "--par: no such option, did you mean --parameters?"),
    (["--fail"], 2, "--fail: no such option, did you mean --failed?"),
    (["--sinse=17:03"], 2, "--sinse: no such option, did you mean --since?"),
    (["/nowhere/ipv6.log"], 1, "/nowhere/ipv6.log: No such file or directory"), (["/"], 1, "/: Is a directory"),
    (["-o", "/nowhere/x", "/dev/null"], 1, "/nowhere/x: No such file or directory"),
])
def test_what_cannot_be_done_is_one_line_of_error(tool, words, status, message):
    done = tool.run(*words)
    assert (done.returncode, done.stdout) == (status, b"")
    assert message in done.stderr.decode() and done.stderr.count(b"\n") == 1


def test_the_log_itself_is_never_written_to(tool):
    path = tool.log(LEASE)
    assert tool.run("-o", path, path).returncode == 2
    assert path.read_text() == LEASE


def test_standard_input_and_empty_logs(tool):
    assert "standard input: 2 invocations, 1 with failures" in tool.text("-", input=LEASE.encode())
    assert tool.text("-", input=b"") == "standard input: no invocation in 0 lines\n"
    assert tool.text("/dev/null") == "/dev/null: no invocation in 0 lines\n"


def test_a_reader_that_goes_away_is_no_error(tool):
    log = "".join(run_of("zel_ipcp_up", n, shell(n, f"echo {n}", 3)) for n in range(20000))
    done = subprocess.run(f"'{TOOL}' --all '{tool.log(log)}' | head -1", shell=True, capture_output=True, check=False)
    assert (done.stdout.count(b"\n"), done.stderr) == (1, b"")

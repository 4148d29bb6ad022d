"""What a user sees of a log."""
import os
import pty
import re
import subprocess

import pytest
from trace_logs import TOOL, end, event, run_of, said, shell, start

from ipv6trace.selection import uptime_of_clock  # trace_logs makes it importable

LEASE = event("BOUND6", 100, "", shell(100, "vorn_syslog_cli addEventCode -1 P005 3fff::/56")) + \
    event("EFFECT6", 101, "3fff::", shell(101, "killall radvd", 1), shell(105, "ip6tables-restore /tmp/.ip6t", 2))
CRON = "".join(run_of("zel_ip6neigh_update", 120 + n, shell(120 + n, "ip -6 neigh show > /tmp/.ip6_neigh_show"))
               for n in range(5))


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
                     "       105  [2] ip6tables-restore /tmp/.ip6t   <-- failed", "", "Without failures (1)",
                     "   #1 zel_dhcp6c_update BOUND6  100 s, under 1 s  done"]


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
    assert "The log has: zel_dhcp6c_update, zel_ip6neigh_update, zel_ipcp_up" in tool.text("-c", "radvd", log=log)


def test_since_looks_at_the_newest_boot_only(tool):
    log = CRON + run_of("zel_ipv6_lan", 20) + run_of("zel_ipcp_up", 40)
    assert re.findall(r"#(\d+)", tool.text("-b", "--since", "30", log=log)) == ["7"]
    assert re.findall(r"#(\d+)", tool.text("-b", "--since", "boot", log=log)) == ["6", "7"]
    assert "2 boots" in tool.text(log=log) and "-- since boot 2 of 2" in tool.text(log=log)


def by_clock(tool, moment, written=1_700_000_000):
    """The numbers of the runs since a time of day in UTC, and what is said of it. The log's last line is of 9001 s; its
    file was written last at 22:13:20 of 2023-11-14 unless another time is given."""
    path = tool.log(LEASE + CRON + event("BOUND6", 9000, "3fff:1::") + run_of("zel_ipcp_up", 9001))
    os.utime(path, (written, written))
    text = tool.text("--brief", "--since", moment, path, env={**os.environ, "TZ": "UTC"})
    return re.findall(r"#(\d+)", text), text.splitlines()[1]


def test_since_a_time_of_day_is_reckoned_back_from_the_files_time(tool):
    newest = "the log was last written at 22:13:20, as its file says."
    assert by_clock(tool, "22:13:20") == (["9"], f"2023-11-14 22:13:20 is uptime 9001 s: {newest}")
    assert by_clock(tool, "22:13") == (["8", "9"], f"2023-11-14 22:13:00 is uptime 8981 s: {newest}")
    assert by_clock(tool, "19:45:23") == (["7", "8", "9"], f"2023-11-14 19:45:23 is uptime 124 s: {newest}")
    # Later than the newest line is the day before, and before the device was started.
    runs, said_of_it = by_clock(tool, "22:14")
    assert runs == ["2", "1", "3", "7", "8", "9"] and said_of_it == f"2023-11-13 22:14:00 is before the newest boot: {newest}"
    # Ten seconds past midnight.
    assert by_clock(tool, "23:59:59", 1_700_006_410)[1].startswith("2023-11-14 23:59:59 is uptime 8990 s: ")


def test_a_time_of_day_needs_a_file_that_knows_one(tool):
    done = tool.run("--since", "17:03", "-", input=LEASE.encode())
    assert (done.returncode, done.stdout, done.stderr.count(b"\n")) == (2, b"", 1)
    assert b"--since 17:03: only a file says when its last line came" in done.stderr
    with open(tool.log(LEASE), "rb") as log:
        assert tool.run("--since", "17:03", "-", stdin=log).returncode == 0
    for moment in ("24:00", "17:60", "7:3", "17:03:60", "17:", ":03", "١٧:٠٣"):
        assert tool.run("--since", moment, log=LEASE).returncode == 2


@pytest.mark.parametrize("written", [1 << 42, 1 << 62, -(1 << 62), float(1 << 80)])
def test_a_file_from_the_end_of_time_is_shown_whole(written):
    since, said_of_it = uptime_of_clock(61380, written, 9001)
    assert since == ("boot", 0) and "out of range" in said_of_it


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


def through_a_terminal(path, **environment):
    master, slave = pty.openpty()
    subprocess.run([str(TOOL), str(path)], stdout=slave, check=True,
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


@pytest.mark.parametrize("words, status, message", [
    (["--since", "yesterday"], 2, "--since yesterday: neither an uptime in seconds"),
    (["--last", "0"], 2, "--last 0: not a number of runs"), (["--last", "3", "--all"], 2, "contradict"),
    (["--json", "--svg"], 2, "not allowed with"), (["--what"], 2, "--what"),
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

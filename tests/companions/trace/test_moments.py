"""Since when and until when, by the log's clock and by the one on the wall."""
import os
import re
import time

import pytest
from trace_logs import CRON, LEASE, end, event, run_of, shell, start

from ipv6trace.moments import Clock, Window, moment_of  # trace_logs makes it importable


def test_since_looks_at_the_newest_boot_only(tool):
    log = CRON + run_of("zel_ipv6_lan", 20) + run_of("zel_ipcp_up", 40)
    assert re.findall(r"#(\d+)", tool.text("-b", "--since", "30", log=log)) == ["7"]
    assert re.findall(r"#(\d+)", tool.text("-b", "--since", "boot", log=log)) == ["6", "7"]
    assert "2 boots" in tool.text(log=log) and "-- since boot 2 of 2" in tool.text(log=log)


WRITTEN = 1_700_000_000     # 22:13:20 of 2023-11-14 in UTC


def by_clock(tool, *options, written=WRITTEN):
    """The output's lines, in UTC. The log's last line is of 9001 s and came when its file was written last."""
    path = tool.log(LEASE + CRON + event("BOUND6", 9000, "3fff:1::") + run_of("zel_ipcp_up", 9001))
    os.utime(path, (written, written))
    return tool.text("--brief", *options, path, env={**os.environ, "TZ": "UTC"}).splitlines()


def since(tool, moment, **more):
    """The numbers of the runs since a time of day, and what is said of it."""
    lines = by_clock(tool, "--since", moment, **more)
    return re.findall(r"#(\d+)", "\n".join(lines)), lines[1]


def test_since_a_time_of_day_is_reckoned_back_from_the_files_time(tool):
    newest = "the log was last written at 22:13:20, as its file says."
    assert since(tool, "22:13:20") == (["9"], f"2023-11-14 22:13:20 is uptime 9001 s: {newest}")
    assert since(tool, "22:13") == (["8", "9"], f"2023-11-14 22:13:00 is uptime 8981 s: {newest}")
    assert since(tool, "19:45:23") == (["7", "8", "9"], f"2023-11-14 19:45:23 is uptime 124 s: {newest}")
    # Later than the newest line is the day before, and before the device was started.
    runs, said_of_it = since(tool, "22:14")
    assert runs == ["2", "1", "3", "7", "8", "9"]
    assert said_of_it == f"2023-11-13 22:14:00 is before the newest boot: {newest}"
    # Ten seconds past midnight.
    assert since(tool, "23:59:59", written=1_700_006_410)[1].startswith("2023-11-14 23:59:59 is uptime 8990 s: ")


def test_who_asks_by_the_clock_is_answered_by_the_clock(tool):
    newest = ["", "Without failures (2)", "#8 zel_dhcp6c_update BOUND6  22:13:19, under 1 s  done",
              "#9 zel_ipcp_up               22:13:20, under 1 s  done"]
    assert [line.strip() for line in by_clock(tool, "--since", "22:13")[3:]] == newest
    lines = by_clock(tool, "--clock")
    assert lines[0].endswith(": 9 invocations, 1 with failures, 19:44:59 to 22:13:20, 56 lines")
    assert [re.sub("  +", "  ", line) for line in lines[3:]] == [
        "  #2 zel_dhcp6c_update EFFECT6  19:45:00, under 1 s  1 failed shell line",
        "  19:45:04  [2] ip6tables-restore /tmp/.ip6t  <-- failed  (after 4 s)", "", "Without failures (8)",
        "  #1 zel_dhcp6c_update BOUND6  19:44:59, under 1 s  done",
        "#3..#7 zel_ip6neigh_update  from 19:45:19 to 19:45:23, 5 times  done",
        "  #8 zel_dhcp6c_update BOUND6  22:13:19, under 1 s  done", "  #9 zel_ipcp_up  22:13:20, under 1 s  done"]
    # Ten seconds past midnight the rest was yesterday.
    lines = by_clock(tool, "--clock", written=1_700_006_410)
    assert " 00:00:10, under 1 s " in lines[-1] and " Nov 14 21:31:49, under 1 s " in lines[7]


def test_only_the_newest_boot_has_times_of_day(tool):
    text = tool.text("--brief", "--clock", log=CRON + run_of("zel_ipv6_lan", 20))
    assert "zel_ip6neigh_update  from 120 to 124 s, 5 times  done" in text
    assert re.search(r"zel_ipv6_lan +\d\d:\d\d:\d\d, under 1 s", text)


def test_an_uptime_that_no_calendar_has_stays_one():
    assert Clock.of(WRITTEN, 20).text(10 ** 17) == f"uptime {10 ** 17}"


def test_until_ends_it_and_a_minute_lasts_to_its_end(tool):
    def runs(*options):
        return re.findall(r"#(\d+)", "\n".join(by_clock(tool, *options)))
    assert runs("--until", "119") == ["2", "1"] and runs("--until", "120", "--since", "106") == ["3"]
    assert runs("--until", "19:45") == ["2", "1", "3", "7"] and runs("--until", "19:45:21") == ["2", "1", "3", "5"]
    assert runs("--since", "19:45", "--until", "19:45") == ["2", "3", "7"]
    assert runs("--until", "2h", "--since", "123") == ["6", "7"]
    assert runs("--until", "9000", "--since", "8000") == ["8"]


def test_a_run_at_work_at_either_end_is_in_it(tool):
    log = run_of("zel_ipcp_up", 5) + start("dhcp6c_start", 10) + shell(20, "a") + end("dhcp6c_start", 20)
    for options in (["--until", "10", "--since", "6"], ["--since", "20"], ["--since", "12", "--until", "15"]):
        assert re.findall(r"#(\d+)", tool.text("--brief", *options, log=log)) == ["2"]
    assert "0 of 2 are selected" in tool.text("--since", "6", "--until", "9", log=log)


def test_until_is_the_first_such_time_behind_since(monkeypatch):
    def window(first, last):
        return Window(moment_of(first), moment_of(last), 9001, Clock(WRITTEN, 9001))
    monkeypatch.setenv("TZ", "UTC")
    time.tzset()
    midnight = 9001 - (22 * 3600 + 13 * 60 + 20)
    both = window("22:00", "21:59")
    assert both.begin == midnight + 22 * 3600 and both.end == midnight + (24 + 21) * 3600 + 59 * 60 + 59
    both = window("21:00", "22:30:00")
    assert (both.begin, both.end) == (midnight + 21 * 3600, midnight + 22 * 3600 + 30 * 60)
    assert both.notes[1] == "2023-11-14 22:30:00 is uptime 10001 s."
    monkeypatch.undo()
    time.tzset()


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
    clock = Clock.of(written, 9001)
    window = Window(moment_of("17:03"), moment_of("17:04"), 9001, clock)
    assert (clock, window.begin, window.end) == (None, None, None)
    assert window.notes == ["The time of the log's file is out of range, so all of the newest boot is shown."]

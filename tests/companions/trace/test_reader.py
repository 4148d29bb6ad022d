"""Whose line it is, when several run: what the log of a lab cannot show is forged here."""
import io

import pytest
from trace_logs import end, event, run_of, said, shell, start


def read(text):
    from ipv6trace.log_reader import read_source
    from ipv6trace.log_source import Source
    return read_source(Source(io.BytesIO(text.encode())))


def told(log):
    return [(each.word, each.outcome, [line.message for line in each.lines]) for each in log.invocations]


def test_a_run_that_was_killed_does_not_make_later_ones_unsure():
    log = read(start("dhcp6c_start", 10) + run_of("dhcp6c_renew", 700, shell(700, "ip x")))
    assert told(log) == [("dhcp6c_start", "no end", []), ("dhcp6c_renew", "done", ["[0]ip x"])]
    assert not log.invocations[1].is_unsure
    soon = read(start("dhcp6c_start", 10) + run_of("dhcp6c_renew", 600, shell(600, "ip x")))
    assert soon.invocations[1].is_unsure, "the first may still be at work"


def test_a_run_that_was_only_slow_comes_back_for_what_can_only_be_its():
    log = read(start("zel_dhcp6c_update", 10)
               + run_of("zel_ipcp_up", 900, said("dhcp6c_main", 900, "The reason is BOUND6, x"))
               + end("zel_dhcp6c_update", 901))
    assert told(log)[0] == ("zel_dhcp6c_update", "done", ["The reason is BOUND6, x"])
    assert log.invocations[0].title == "zel_dhcp6c_update BOUND6"


def restart(uptime, *, ends=True):
    """A run that pauses two seconds in its middle; killed there when it does not end."""
    text = start("ipv6_lan_restart", uptime) + shell(uptime, "killall radvd") + shell(uptime, "ip6tables -F")
    return text + (shell(uptime + 2, "radvd") + end("ipv6_lan_restart", uptime + 3) if ends else "")


def test_a_killed_run_leaves_the_end_to_the_next_one_of_its_name():
    log = read(restart(10) + restart(20, ends=False) + restart(26))
    assert [(each.outcome, len(each.lines), each.end_line and each.end_line.uptime) for each in log.invocations] == [
        ("done", 3, 13), ("no end", 2, None), ("done", 3, 29)]
    assert log.invocations[2].end_confidence != "sure", "the one before it may have been slow"


@pytest.mark.parametrize("late, owner", [(2, 1), (3, 2)])
def test_a_run_may_be_two_seconds_slower_than_ever(late, owner):
    log = read(restart(10) + restart(20, ends=False) + start("ipv6_lan_restart", 22 + late)
               + shell(22 + late, "radvd"))
    assert [line.uptime for line in log.invocations[owner].lines][-1:] == [22 + late]


def hook(uptime, guard, *lines, name="zel_ipv6cp_up"):
    return start(name, uptime) + said("main", uptime, f"{name} script_running[{guard}].") + "".join(lines)


def test_a_hook_that_finds_the_guard_free_has_no_other_beside_it():
    killed = hook(10, 0, shell(10, "a"))
    refused = hook(11, 1) + end("zel_ipv6cp_up", 11, "ERROR_INTERNAL, end")
    for name in ("zel_ipv6cp_up", "zel_ipv6cp_down"):
        log = read(killed + refused + hook(11, 0, shell(11, "a"), shell(11, "b"), name=name) + end(name, 11))
        assert told(log)[0] == ("zel_ipv6cp_up", "no end", ["zel_ipv6cp_up script_running[0].", "[0]a"])
        assert told(log)[2][1:] == ("done", [f"{name} script_running[0].", "[0]a", "[0]b"])
        assert not log.invocations[0].maybe_running
        assert {line.confidence for line in log.invocations[2].lines[1:]} == {"sure"}
    both = read(hook(10, 0) + hook(10, 0) + end("zel_ipv6cp_up", 10) + end("zel_ipv6cp_up", 10))
    assert [each.outcome for each in both.invocations] == ["done", "done"], "in one second it may have been a tie"


def test_the_newest_line_of_a_run_at_work_is_the_logs_end():
    assert read(start("zel_ipcp_up", 10) + shell(15, "a")).last_uptime == 15


def test_a_reboot_ends_what_was_open():
    log = read(start("zel_ipv6cp_up", 500) + shell(500, "a") + run_of("zel_ipv6_lan", 20, shell(20, "b")))
    assert told(log) == [("zel_ipv6cp_up", "no end", ["[0]a"]), ("zel_ipv6_lan", "done", ["[0]b"])]
    assert [(each.boot, each.rebooted, each.maybe_running) for each in log.invocations] == [
        (1, True, False), (2, False, False)]
    assert not log.invocations[0].overlaps


@pytest.mark.parametrize("back, boots", [(2, 1), (3, 2)])
def test_a_clock_a_little_behind_is_no_reboot(back, boots):
    assert read(run_of("zel_ipcp_up", 100) + run_of("zel_ipcp_down", 100 - back)).boots == boots


def test_times_go_on_behind_a_reboot():
    from ipv6trace.log_reader import place
    log = read(run_of("zel_ipcp_up", 500) + run_of("zel_ipv6_lan", 20) + run_of("zel_ipcp_up", 25))
    place(log, log.invocations)
    assert [int(each.begin) for each in log.invocations] == [0, 20, 25]


def test_a_message_over_several_lines_is_one_also_when_runs_overlap():
    log = read(start("zel_ipcp_up", 1) + start("dhcp6c_start", 1) + said("zel_ipcp_up", 1, "one\ntwo")
               + said("waninfo_main", 1, "three\nfour") + end("zel_ipcp_up", 1) + end("dhcp6c_start", 1))
    assert told(log) == [("zel_ipcp_up", "done", ["one\ntwo"]), ("dhcp6c_start", "done", ["three\nfour"])]


def test_block_borders_change_nothing(monkeypatch):
    text = (event("BOUND6", 5, "3fff::", shell(5, "a\nb", 1)) + start("zel_ipcp_up", 6)
            + run_of("dhcp6c_start", 6, shell(6, "c")) + end("zel_ipcp_up", 7)) * 3
    whole = [(each.number, each.outcome, [(line.number, line.message, line.confidence) for line in each.lines])
             for each in read(text).invocations]
    for size in (1, 7, 64, 100):
        monkeypatch.setattr("ipv6trace.log_source.BLOCK", size)
        assert [(each.number, each.outcome, [(line.number, line.message, line.confidence) for line in each.lines])
                for each in read(text).invocations] == whole


def test_windows_line_ends_are_line_ends():
    log = read(run_of("zel_ipcp_up", 5, shell(5, "conntrack -F", 1)).replace("\n", "\r\n"))
    assert told(log) == [("zel_ipcp_up", "done", ["[1]conntrack -F"])]
    assert log.invocations[0].bad_count == 1

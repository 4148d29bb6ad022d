"""The log as a rotation leaves it: in parts, packed, damaged."""
import gzip
import io
import json
import os

import pytest
from trace_logs import CRON, LEASE, run_of, shell

WHOLE = (LEASE + CRON + run_of("zel_ipcp_up", 130, shell(130, "a"), shell(130, "b"))).encode()


def parts(tool):
    """ipv6.log.2.gz, ipv6.log.1 and ipv6.log, the second beginning in the middle of a run."""
    first, second = WHOLE.index(b"[zel_system][105]"), WHOLE.index(b"[zel_system][130] [0]b")
    tool.log(gzip.compress(WHOLE[:first]), "ipv6.log.2.gz")
    tool.log(WHOLE[first:second], "ipv6.log.1")
    tool.log(WHOLE[second:], "ipv6.log")


@pytest.mark.parametrize("order", ["2.gz 1 -", "- 1 2.gz", "1 - 2.gz"])
def test_the_parts_of_a_log_are_read_oldest_first(tool, order):
    parts(tool)
    names = ["ipv6.log" if part == "-" else f"ipv6.log.{part}" for part in order.split()]
    lines = tool.text(*names).splitlines()
    assert lines[0].startswith("ipv6.log.2.gz ipv6.log.1 ipv6.log: 8 invocations, 1 with failures, ")
    assert json.loads(tool.text("--json", *names))["log"]["bytes"] == len(WHOLE)
    assert lines[1:] == tool.text(log=WHOLE).splitlines()[1:]


def test_parts_named_by_their_day_go_before_the_newest(tool):
    one, two = WHOLE.index(b"[prepare_parm]"), WHOLE.index(b"[dhcp6c_main]")
    for name, content in (("log", WHOLE[two:]), ("log-20261102", WHOLE[one:two]),
                          ("log-20261031.gz", gzip.compress(WHOLE[:one]))):
        tool.log(content, name)
    assert tool.text("log", "log-20261031.gz", "log-20261102").splitlines()[1:] == tool.text(log=WHOLE).splitlines()[1:]


def test_other_logs_stay_in_the_order_in_which_they_are_named(tool):
    tool.log(run_of("zel_ipcp_up", 500), "b")
    tool.log(run_of("zel_ipcp_down", 10).rstrip("\n"), "a")
    assert "b a: 2 invocations, no failure, uptime 500 to 10 s, 2 boots, 7 lines" in tool.text("b", "a")
    assert "a b: 2 invocations, no failure, uptime 10 to 500 s, 7 lines" in tool.text("a", "b"), "a log ends a line"


def test_the_newest_part_says_the_time_of_day(tool):
    parts(tool)
    os.utime(tool.folder / "ipv6.log", (1_700_000_000, 1_700_000_000))
    text = tool.text("--clock", "ipv6.log", "ipv6.log.1", "ipv6.log.2.gz", env={**os.environ, "TZ": "UTC"})
    assert "8 invocations, 1 with failures, 22:12:50 to 22:13:20, " in text


def test_a_packed_log_may_come_through_a_pipe_and_in_pieces(tool):
    packed = gzip.compress(WHOLE[:400]) + gzip.compress(WHOLE[400:])
    expected = tool.text(log=WHOLE).splitlines()[1:]
    assert tool.text("-", input=packed).splitlines()[1:] == expected
    assert tool.text(log=packed).splitlines()[1:] == expected


@pytest.mark.parametrize("place", [3, 12, 200, -9, -1])
def test_of_a_damaged_one_what_can_be_unpacked_is_shown(tool, place):
    packed = gzip.compress(WHOLE)
    for damaged in (packed[:place] + b"\xff\xff\xff\xff" + packed[place:], packed[:place]):
        text = tool.text(log=damaged)
        assert "ipv6.log is damaged; what could be unpacked of it is here.\n" in text
    assert ("8 invocations" in text) == (place < 0), "only its checksum is missing"


def test_what_is_packed_small_is_not_unpacked_without_an_end(monkeypatch):
    from ipv6trace import log_files
    monkeypatch.setattr(log_files, "UNPACKED", 100_000)
    notes = []
    blocks = list(log_files.unpacked("x", io.BytesIO(gzip.compress(bytes(1_000_000))), notes))
    assert sum(map(len, blocks)) == 100_000 and "first" in notes[0]
    notes.clear()
    assert sum(map(len, log_files.unpacked("x", io.BytesIO(gzip.compress(bytes(1000))), notes))) == 1000 and not notes


def test_no_log_of_another_kind_is_taken_for_an_empty_one(tool):
    assert tool.text(log="Nov 21 17:03:00 gw kernel: x\n").endswith(
        "ipv6.log: no invocation in 1 line; no line of it is one of the diagnostic log\n")
    assert tool.text(log="[zel_system][5] [0]a\n").splitlines()[0].endswith("no invocation in 1 line")


def test_without_a_log_it_says_how_to_name_one(tool):
    if not os.path.exists("/tmp/ipv6.log"):
        assert b"No such file or directory; name a log, or - for standard input" in tool.run().stderr
    assert tool.run("-", preexec_fn=lambda: os.close(0)).stderr == b"ipv6trace: standard input: Bad file descriptor\n"


def test_no_part_is_written_to(tool):
    parts(tool)
    before = (tool.folder / "ipv6.log.1").read_bytes()
    assert tool.run("-o", "ipv6.log.1", "ipv6.log", "ipv6.log.1").returncode == 2
    assert (tool.folder / "ipv6.log.1").read_bytes() == before

"""What the measurement makes of moments and records; the measuring itself is bench/event/run."""
import json
import sys
import xml.etree.ElementTree
from pathlib import Path

import pytest

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parents[1] / "lab")]

import drawing  # noqa: E402
import run_record  # noqa: E402
import summary  # noqa: E402
import table  # noqa: E402
from split import KINDS, Part, seconds_by, split  # noqa: E402

RECORD = """\
7 100.000000000 start zel_dhcp6c_update EFFECT6
7 100.250000000 line killall radvd; rm -f /tmp/run/radvd.pid
7 100.500000000 done
8 100.500000000 line another run's line, whose begin is not in the record
7 100.500000000 sleep 800
7 101.500000000 woke
7 101.500000000 sleep 1000
7 102.500000000 woke
7 102.500000000 line echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding
7 102.625000000 done
7 102.625000000 line radvd -C /tmp/radvd.conf &
7 102.750000000 done
7 103.000000000 end
"""


def spans(parts):
    return [(part.kind, part.begin, part.end) for part in parts]


def test_a_pause_within_a_run_is_not_the_runs_own_time():
    parts = [Part("own", "run", 1.0, 4.0), Part("pause", "p", 2.0, 3.0)]
    assert spans(split(parts, 0.0, 5.0, ("client", "c"))) == [
        ("client", 0.0, 1.0), ("own", 1.0, 2.0), ("pause", 2.0, 3.0), ("own", 3.0, 4.0), ("client", 4.0, 5.0)]


def test_detection_counts_only_while_no_run_is_at_work():
    parts = [Part("detection", "d", 0.5, 3.0), Part("own", "run", 1.0, 2.0)]
    assert spans(split(parts, 0.0, 2.5, ("client", "c"))) == [
        ("client", 0.0, 0.5), ("detection", 0.5, 1.0), ("own", 1.0, 2.0), ("detection", 2.0, 2.5)]


def test_what_lies_outside_the_time_does_not_count():
    parts = [Part("program", "early", -3.0, 0.5), Part("program", "late", 1.5, 9.0), Part("own", "gone", -2.0, -1.0)]
    assert spans(split(parts, 0.0, 2.0, ("client", "c"))) == [
        ("program", 0.0, 0.5), ("client", 0.5, 1.5), ("program", 1.5, 2.0)]


def test_a_record_is_taken_apart_into_lines_pauses_and_own_time():
    chain = split(run_record.parts(RECORD, 99.0, 102.75), 99.0, 102.75, ("client", "c"))
    assert seconds_by(chain, lambda part: part.kind) == {"client": 1.0, "own": 0.25, "program": 0.5, "pause": 2.0}
    assert sum(part.seconds for part in chain) == 3.75
    assert seconds_by([part for part in chain if part.kind == "pause"], lambda part: part.name) == {
        "radvd was stopped: 800 ms": 1.0, "unique-local address of LAN0 was taken off: 1 s": 1.0}


def test_the_daemon_is_started_when_its_line_is_done():
    assert run_record.advertising_starts(RECORD, 99.0, 105.0) == 102.75
    assert run_record.advertising_starts(RECORD, 99.0, 102.7) is None
    assert run_record.advertising_starts(RECORD, 102.8, 105.0) is None


def test_an_unknown_pause_is_told_by_what_stands_around_it():
    record = RECORD.replace("sleep 800", "sleep 30")
    names = [part.name for part in run_record.parts(record, 99.0, 103.0) if part.kind == "pause"]
    assert names[0] == ('30 ms between "killall radvd; rm -f /tmp/run/radvd.pid" and '
                        '"echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding"')


def test_a_record_without_a_run_is_no_result():
    with pytest.raises(ValueError, match="the recorder was not loaded"):
        run_record.parts(RECORD, 200.0, 201.0)


def measurement(pause):
    parts = [{"kind": "client", "name": "c", "seconds": 0.5}, {"kind": "pause", "name": "p", "seconds": pause},
             {"kind": "program", "name": "x", "seconds": 0.25}, {"kind": "program", "name": "y", "seconds": 0.25},
             {"kind": "host detection", "name": "h", "seconds": 1.0}]
    return {"prefix": "3fff:100:a000::/56", "advertised": 1.0 + pause, "tentative": 1.0 + pause, "usable": 2.0 + pause,
            "second_host_tentative": 1.0 + pause, "second_host_usable": 3.0 + pause, "parts": parts}


@pytest.fixture
def results():
    runs = [measurement(pause) for pause in (3.0, 1.0, 2.0)]
    changes = {change: summary.summarize(runs) for change in drawing.CHANGES}
    return {"contenders": {
        "one": {"title": "the one", "skipped": None, "failures": ["run 2: <no> Reply"], "changes": changes},
        "other": {"title": "the other", "skipped": "it is not installed", "failures": [], "changes": {}}}}


def test_medians_and_spread(results):
    found = results["contenders"]["one"]["changes"]["renumbering"]
    assert found["kinds"]["pause"] == {"median": 2.0, "low": 1.0, "high": 3.0}
    assert found["kinds"]["program"]["median"] == 0.5
    assert found["without_pauses"] == {"median": 1.0, "low": 1.0, "high": 1.0}
    assert found["program_calls"]["median"] == 2
    assert found["pauses"]["p"] == {"runs": 3, "median": 2.0, "low": 1.0, "high": 3.0}
    assert summary.middle(found)["usable"] == 4.0
    json.dumps(results)


def test_the_tables_have_a_column_for_who_was_measured(results):
    heading, titles, body = next(table.tables(results))
    assert (heading, titles) == ("First delegation", ["the one"])
    cells = dict(body)
    assert cells["until host0's address is usable"] == ["4,000 (3,000 to 5,000)"]
    assert cells[f"of that: {KINDS['own']}"] == [""]
    assert cells["a pause: p"] == ["2,000 (1,000 to 3,000)"]
    assert cells["until host0's tentative address, pauses taken out"] == ["1,000 (1,000 to 1,000)"]
    assert cells["runs"] == ["3"]


def test_below_the_tables_stands_who_was_left_out_and_what_failed(results):
    lines = table.as_text(results).splitlines()
    assert lines[-5:-3] == ["the one, run 2: <no> Reply", "the other was left out: it is not installed"]
    assert lines[-3].endswith("first delegation: 250 (250 to 250) x; 250 (250 to 250) y")
    assert "| a pause: p | 2,000 (1,000 to 3,000) |" in table.as_markdown(results).splitlines()


def test_the_picture_has_a_bar_of_the_right_length_for_each_part(results):
    root = xml.etree.ElementTree.fromstring(drawing.draw(results))
    bars = [each for each in root.iter() if each.get("height") == "18"]
    assert [each.get("class") for each in bars] == 2 * ["client", "pause", "program", "host-detection"]
    widths = [float(each.get("width")) for each in bars[:4]]
    assert widths == [64.0, 256.0, 64.0, 128.0]
    assert [float(bar.get("x")) + width for bar, width in zip(bars[:3], widths)] == \
        [float(bar.get("x")) for bar in bars[1:4]]


def test_every_kind_has_a_color():
    for kind in KINDS:
        assert drawing.STYLE.count(f"--{kind.replace(' ', '-')}:") == 2

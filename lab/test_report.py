"""The report: what it makes of a log, and what a browser makes of it."""
import functools
import json
import os
import re
import subprocess
import sys
import time
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent))

from picture.report import write_report  # noqa: E402

from ipv6trace.log_reader import DONE, FAILED, GUESS, LIKELY, SURE, UNENDED, read_arrivals, read_log  # noqa: E402

HERE = Path(__file__).resolve().parent
CHROMIUM = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync", "--hide-scrollbars"]
DARK = "--blink-settings=preferredColorScheme=0"
PARAMETERS = ["[prepare_parm]ProductClass(system) is kit", "[prepare_parm]ip6_addr(lan0):",
              "[zel_system][0]ccfg_cli set ip6_pre_manual_gid@lan0=0", "[prepare_parm]ip6_ula_gid(lan0):"]


def start(word):
    return f"[main]^_^[/usr/sbin/{word}] start."


def end(word):
    return f"[main]^_^[/usr/sbin/{word}] ERROR_NONE, end."


def log_text(*lines, seconds=None):
    """Lines "[routine]message" as the program logs them, at the given second each or two in a second."""
    text = ""
    for number, line in enumerate(lines):
        routine, _, message = line.partition("]")
        text += f"{routine}][{seconds[number] if seconds else 100 + number // 2}] {message}\n"
    return text


def arrivals(*lines, first=1000.0, step=0.25):
    text = log_text(*lines).splitlines()
    return "".join(json.dumps({"t": first + n * step, "line": line}) + "\n" for n, line in enumerate(text))


def shape_of(log):
    return [(each.word, each.outcome, [line.message for line in each.lines]) for each in log.invocations]


# The log --------------------------------------------------------------------------------------------------------------

def test_runs_one_after_the_other_have_their_own_lines():
    log = read_log(log_text(start("dhcp6c_start"), "[waninfo_main]Stateful", end("dhcp6c_start"),
                            start("zel_ipcp_down"), "[zel_system][1]killall dnsmasq", end("zel_ipcp_down")))
    assert shape_of(log) == [("dhcp6c_start", DONE, ["Stateful"]), ("zel_ipcp_down", DONE, ["[1]killall dnsmasq"])]
    assert log.invocations[1].shell_lines[0].shell == (1, "killall dnsmasq")
    assert not log.exact and log.strays == [] and not any(each.overlaps for each in log.invocations)


def test_lines_of_one_second_keep_their_order_and_their_second():
    log = read_log(log_text(start("dhcp6c_start"), "[waninfo_main]a", "[waninfo_main]b", end("dhcp6c_start"),
                            seconds=[7, 7, 7, 9]))
    run = log.invocations[0]
    times = [run.begin, *(line.time for line in run.lines), run.end]
    assert times == sorted(times) and len(set(times)) == 4
    assert [int(log.first + time) for time in times] == [7, 7, 7, 9]


def test_arrival_times_are_taken_as_they_are():
    text = arrivals(start("dhcp6c_start"), "[zel_system][0]ip6tables -F", end("dhcp6c_start"))
    log = read_arrivals(text + '{"t": 1, "li')
    run = log.invocations[0]
    assert log.exact and log.first == 1000.0
    assert (run.begin, run.lines[0].since, run.lines[0].time, run.end) == (0.0, 0.0, 0.25, 0.5)


def test_a_routine_that_only_one_command_has_is_surely_its():
    log = read_log(log_text(start("zel_ip6neigh_update"), start("dhcp6c_start"), "[zel_ip6neigh_update]2.3.",
                            "[waninfo_main]Stateful", end("zel_ip6neigh_update"), end("dhcp6c_start")))
    assert shape_of(log) == [("zel_ip6neigh_update", DONE, ["2.3."]), ("dhcp6c_start", DONE, ["Stateful"])]
    assert [line.confidence for each in log.invocations for line in each.lines] == [SURE, SURE]
    assert log.invocations[0].overlaps == [log.invocations[1]]


def test_overlapping_runs_of_one_name_are_told_apart_by_the_usual_order_of_lines():
    alone = [start("dhcp6c_release"), "[zel_system][0]first one", "[zel_system][0]second two",
             "[zel_system][0]third three", end("dhcp6c_release")]
    both = [start("dhcp6c_release"), "[zel_system][0]first one", "[zel_system][0]second two",
            start("dhcp6c_release"), "[zel_system][0]first one", "[zel_system][0]third three",
            "[zel_system][0]second two", end("dhcp6c_release"), "[zel_system][0]third three", end("dhcp6c_release")]
    log = read_log(log_text(*alone, *both))
    assert [[line.shell[1] for line in each.lines] for each in log.invocations] == [
        ["first one", "second two", "third three"]] * 3
    assert [line.confidence for line in log.invocations[1].lines] == [SURE, SURE, LIKELY]
    assert [line.confidence for line in log.invocations[2].lines] == [LIKELY, LIKELY, LIKELY]
    assert [each.end_confidence for each in log.invocations] == [SURE, LIKELY, LIKELY]


def test_what_cannot_be_told_apart_is_called_a_guess():
    log = read_log(log_text(start("dhcp6c_release"), start("dhcp6c_release"), "[zel_system][0]killall radvd",
                            end("dhcp6c_release"), end("dhcp6c_release")))
    assert [len(each.lines) for each in log.invocations] in ([1, 0], [0, 1])
    assert [line.confidence for each in log.invocations for line in each.lines] == [GUESS]
    assert log.invocations[0].end_confidence == GUESS


def test_a_run_that_a_shell_line_started_is_seen_within_it():
    log = read_log(log_text(start("dhcp6c_release"), "[stop_dhcp6c]stopping", start("zel_dhcp6c_update"),
                            "[dhcp6c_main]The reason is RELEASE6, the interface is eth0.", end("zel_dhcp6c_update"),
                            "[zel_system][0]dhclient -r", end("dhcp6c_release")))
    outer, inner = log.invocations
    assert inner.title == "zel_dhcp6c_update RELEASE6"
    assert inner.during == (outer, outer.lines[-1]) and outer.during is None


def test_ends_that_are_missing_or_bad():
    log = read_log(log_text(
        "[zel_system][0]before the log began", start("zel_ipv6cp_up"), "[main]zel_ipv6cp_up script_running[1].",
        "[main]^_^[/usr/sbin/zel_ipv6cp_up] ERROR_INTERNAL, end", start("dhcp6c_start"),
        "[main]^_^[/usr/sbin/dhcp6c_start] ERROR_INTERNAL, end", "[waninfo_main]and on"))
    assert shape_of(log) == [("zel_ipv6cp_up", FAILED, ["zel_ipv6cp_up script_running[1]."]),
                             ("dhcp6c_start", UNENDED, ["and on"]), ("dhcp6c_start", FAILED, [])]
    assert [each.started for each in log.invocations] == [True, True, False]
    assert [line.shell for line in log.strays] == [(0, "before the log began")]


def test_a_line_without_a_prefix_continues_the_one_before_it():
    log = read_log(log_text(start("zel_ipcp_up")) + "[zel_system][100] [0]echo a\nb\n\n" + log_text(end("zel_ipcp_up")))
    assert [line.shell for line in log.invocations[0].lines] == [(0, "echo a\nb")]


def test_no_log_is_no_invocation():
    for text in ("", "\n\n", "noise\n"):
        log = read_log(text)
        assert (log.invocations, log.strays, log.span) == ([], [], (0.0, 0.0))


# The page in a browser ------------------------------------------------------------------------------------------------

MEASURE = (HERE / "picture" / "measure.js").read_text(encoding="utf-8")
HOSTILE = ['</span></details><script>window.hurt = 1</script><img src="http://192.0.2.1/x" onerror="window.hurt = 2">',
           '" onmouseover="window.hurt = 3" x="', "' --></style></svg>{title}{0}%s${1}",
           "\ud800\x00\x07\x1b[31m\u202eevil\u2066",
           "漢字かな" * 40, "long " * 3000, "]]><![CDATA[", "&lt;b&gt; &amp; &#60;"]


def write_run(folder, lines, *, exact=True, **record):
    (folder / "gw").mkdir(parents=True)
    if exact:
        (folder / "gw/log.jsonl").write_text(lines, encoding="utf-8")
    else:
        (folder / "gw/files/tmp").mkdir(parents=True)
        (folder / "gw/files/tmp/ipv6.log").write_text(lines, encoding="utf-8")
    looks = record.pop("looks", [])
    record = {"name": folder.name, "title": folder.name, "result": "passed", "reason": "", "start": 999.0,
              "end": 1030.5, "tests": [], "notes": [], "log": "gw/log.jsonl", "looks": looks, **record}
    (folder / "scenario.json").write_text(json.dumps(record), encoding="utf-8")


def plain_look(label="the end"):
    return {"t": 1009.0, "label": label, "delegated": "3fff:1:2:a00::/56",
            "carved": {"lan0": ["3fff:1:2:a01::/64"], "lan1": ["3fff:1:2:a02::/64", "3fff:9::/64"]},
            "unique_local": {"lan0": ["fd00:1:2:1::/64"], "lan1": []},
            "gateway": {"eth0": ["3fff:1::5/128"], "br-lan": ["3fff:1:2:a01::1/64", "fe80::1/64"], "br-lan1": []},
            "hosts": {"host0": ["3fff:1:2:a01:0:ff:fe00:10/64", "fd00:1:2:1::10/64"],
                      "host1": ["3fff:1:2:700::9/64"]}}


TOPOLOGY = {"nodes": ["isp", "gw", "host0", "host1", "inner", "behind", "alone"],
            "bridges": {"gw:br-lan": ["lan0", "lan2"], "gw:br-lan1": ["lan1"]},
            "wires": [["gw:eth0", "isp:access0"], ["gw:lan0", "host0:eth0"], ["gw:lan1", "host1:eth0"],
                      ["gw:lan2", "inner:eth0"], ["inner:eth1", "behind:eth0"]]}


def flow(count=1):
    lines = []
    for _ in range(count):
        lines += [start("zel_ipv6cp_up"), *PARAMETERS, "[zel_system][0]ip6tables -F", start("zel_dhcp6c_update"),
                  "[zel_system][0]/usr/sbin/dhclient -6  -P -d -q -nw -cf /tmp/dhcp6c-wan.conf "
                  "-sf /usr/sbin/zel_dhcp6c_update -lf /tmp/dhcp6c-wan.leases eth0 &",
                  *PARAMETERS, "[dhcp6c_main]The reason is BOUND6, the interface is eth0.", end("zel_ipv6cp_up"),
                  "[zel_system][127]radvd -C /tmp/radvd.conf &", "[zel_system][1]killall dhcp6d",
                  end("zel_dhcp6c_update")]
    return lines


def write_hostile_run(folder, text):
    """A run in which everything that can have a name is called `text`."""
    log = [f"[main][5] ^_^[{text}] start.", f"[{text}][5] {text}", f"[zel_system][5] [3]{text}",
           f"[zel_system][5] [0]echo {text}", f"[main][5] ^_^[{text}] ERROR_NONE, end."]
    write_run(folder, "".join(json.dumps({"t": 1000 + n, "line": line}) + "\n" for n, line in enumerate(log)),
              title=text, result=text, reason=text, settings={text: text}, notes=[{"t": 1001, "text": text}],
              tests=[{"name": text, "title": text, "result": text, "reason": text}] * 2, isp={"line_prefix": text},
              topology={"nodes": ["gw", text, "isp"], "bridges": {"gw:" + text: [text]},
                        "wires": [["gw:" + text, text + ":" + text]]},
              looks=[{"t": 1, "label": text, "delegated": text, "carved": {text: [text]},
                      "unique_local": {"lan0": [text]}, "gateway": {text: [text]}, "hosts": {text: [text]}}])


@pytest.fixture(scope="module")
def page(tmp_path_factory):
    """A page of runs of every kind, hostile ones among them."""
    folder = tmp_path_factory.mktemp("report")
    runs = folder / "runs"
    write_run(runs / "a-flow", arrivals(*flow()), topology=TOPOLOGY, isp={"advertise": True, "delegated_length": 56},
              looks=[plain_look("on line"), plain_look()],
              notes=[{"t": 1000.5, "text": "gw# zel_ipv6cp_up"}, {"t": 1001.5, "text": "eth0 is plugged in"}])
    write_run(runs / "b-plain-log", log_text(*flow(30)), exact=False)
    write_run(runs / "c-idle", arrivals(*flow()) + arrivals(*flow(3), first=3000.0, step=0.001)
              + arrivals(*flow(), first=99000.0, step=1.7), tests=[
                  {"name": "test_x", "title": "one", "result": "passed", "reason": "", "start": 1, "end": 2},
                  {"name": "test_y", "title": "two", "result": "failed", "reason": "not so", "start": 2, "end": 9}])
    crowd = [start("zel_ip6neigh_update")] * 40 + [end("zel_ip6neigh_update")] * 38
    write_run(runs / "d-crowd", arrivals(*crowd, step=0.01),
              notes=[{"t": 1000 + n / 20, "text": f"step {n}"} for n in range(60)])
    for number, text in enumerate(HOSTILE):
        write_hostile_run(runs / f"hostile-{number}", text)
    write_run(runs / "odd-record", "not json\n", topology=[1], looks=[{"carved": 7}], notes=[{"t": "x"}], start=None)
    (runs / "unreadable").mkdir()
    (runs / "unreadable/scenario.json").write_text("{", encoding="utf-8")
    shown = write_report(runs, folder / "report.html", since=1000.0)
    assert len(shown) == 6 + len(HOSTILE)
    return folder / "report.html"


@functools.cache
def browse(page, *flags, width=1280):
    """Opens a copy of the page in which every part is unfolded and a measuring script runs; returns what it found."""
    text = page.read_text(encoding="utf-8")
    copy = page.with_name("measured.html")
    watch = "<script>window.faults = []; addEventListener('error', (e) => faults.push(String(e.message)), true);" \
            "addEventListener('securitypolicyviolation', (e) => faults.push(e.violatedDirective));" \
            "for (const kind of ['error', 'warn']) console[kind] = (...all) => faults.push(all.join(' '));</script>"
    text = text.replace("<head>", "<head>" + watch, 1).replace("</body>", f"<script>{MEASURE}</script></body>")
    copy.write_text(text, encoding="utf-8")
    profile = page.with_name(f"profile-{width}-{len(flags)}")
    done = subprocess.run([*CHROMIUM, f"--user-data-dir={profile}", f"--window-size={width},900", *flags, "--dump-dom",
                           f"file://{copy}"], capture_output=True, text=True, timeout=120, check=True,
                          env={**os.environ, "LC_ALL": "C.UTF-8"})
    found = re.search(r'<script type="application/json" id="measured">(.*?)</script>', done.stdout, re.S)
    assert found, "the measuring script did not come to its end: " + done.stderr[-1000:]
    return json.loads(found[1])


@pytest.mark.parametrize("flags, width", [((), 1280), ((DARK,), 1280), ((), 500)], ids=["light", "dark", "narrow"])
def test_a_browser_draws_the_page_readably_and_without_a_complaint(page, flags, width):
    seen = browse(page, *flags, width=width)
    assert seen["faults"] == []
    assert seen["resources"] == [], "the page loads nothing"
    assert seen["width"] == width
    assert seen["dark"] == (DARK in flags)
    assert seen["drawings"] > 100 and seen["texts"] > 1000 and seen["bars"] > 300
    assert seen["empty"] == [], "every drawing and every bar has an area"
    assert seen["overlaps"] == [], "no two labels touch, and no bar lies on a label"
    assert seen["outside"] == [], "no label is cut off by its drawing's edge"
    assert seen["too_wide"] == 0, "the page itself does not scroll sideways"
    assert seen["lowest_contrast"] >= 4.5, seen["faintest"]


def test_pointing_and_clicking_show_more(page):
    seen = browse(page)
    assert seen["tip_before"] == ""
    assert "\nstatus 127, " in seen["tip"], "pointing at a shell line's bar tells the line, its status and its time"
    assert seen["tip_inside"], "the tip is within the window"
    assert seen["opened"] == {"before": False, "after": True}, "a click on a run unfolds what is told about it"


def test_text_of_others_stays_text(page):
    seen = browse(page)
    assert seen["hurt"] is None
    assert seen["foreign"] == {"img": 0, "scripts": 0, "handlers": 0}
    text = page.read_text(encoding="utf-8")
    assert "&lt;/span&gt;&lt;/details&gt;&lt;script&gt;window.hurt = 1&lt;/script&gt;" in text
    assert "&amp;lt;b&amp;gt;" in text and "{title}{0}%s${1}" in text
    assert not re.search("[\x00-\x08\x0b-\x1f\u202a-\u202e\u2066-\u2069]", text)


def test_failures_come_first_and_are_unfolded(page):
    rows = browse(page)["rows"]
    verdicts = [row["result"] == "passed" for row in rows]
    assert verdicts == sorted(verdicts) and not all(verdicts) and any(verdicts)
    assert all(row["open"] != passed for row, passed in zip(rows, verdicts))
    flow_row = next(row for row in rows if row["title"] == "a-flow")
    when = time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(999))
    assert (flow_row["time"], flow_row["facts"]) == ("31.5 s", f"2 invocations, ran {when}, of an earlier test run")
    assert flow_row["bad_rows"] == ["zel_dhcp6c_update BOUND6"]


def test_a_record_cannot_make_the_report_read_elsewhere(tmp_path):
    secret = tmp_path / "secret"
    secret.write_text(arrivals(start("secret-word"), end("secret-word")), encoding="utf-8")
    for number, place in enumerate(["../../secret", str(secret)]):
        write_run(tmp_path / "runs" / f"r{number}", "", log=place)
    write_report(tmp_path / "runs", tmp_path / "report.html")
    assert "secret-word" not in (tmp_path / "report.html").read_text(encoding="utf-8")


def test_by_hand(tmp_path):
    runs = tmp_path / "runs"
    write_run(runs / "one", arrivals(*flow()))
    done = subprocess.run([HERE / "report", runs], capture_output=True, text=True, check=False)
    assert (done.returncode, done.stdout) == (0, f"{tmp_path}/report.html: 1 scenario\n"), done.stderr
    assert "zel_dhcp6c_update BOUND6" in (tmp_path / "report.html").read_text(encoding="utf-8")
    assert subprocess.run([HERE / "report", tmp_path / "none"], capture_output=True, check=False).returncode == 1
    assert subprocess.run([HERE / "report", "--what"], capture_output=True, check=False).returncode == 2

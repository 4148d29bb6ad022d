"""The page: a row for each scenario, and beneath it what it looked like and what happened when."""
import os
import time
from pathlib import Path

from ipv6trace.page import page as html_page
from ipv6trace.svg import cut, plain, tag
from ipv6trace.time_axis import seconds
from ipv6trace.timeline import count, draw_timeline

from picture.prefix_tree import distinct_looks, draw_prefixes
from picture.runs import read_runs
from picture.topology import draw_topology

HERE = Path(__file__).resolve().parent


def write_report(runs_folder, out_file, since=None):
    """Writes the page of all runs in a folder. Runs that began before `since` (epoch seconds) are marked as of an
    earlier test run. Returns the runs."""
    runs = read_runs(runs_folder)
    out_file = Path(out_file)
    out_file.parent.mkdir(parents=True, exist_ok=True)
    temporary = out_file.with_name(f"{out_file.name}.{os.getpid()}.new")
    temporary.write_text(page(runs, since), encoding="utf-8")
    temporary.rename(out_file)
    return runs


def page(runs, since=None):
    return html_page("Lab report", body(runs, since), (HERE / "style.css").read_text(encoding="utf-8"))


def body(runs, since):
    failed = sum(run.result != "passed" for run in runs)
    verdict = count(len(runs), "scenario") + (f", {failed} failed" if failed else ", all passed" if runs else "")
    total = sum(run.seconds or 0 for run in runs)
    head = tag("header", tag("h1", "Lab report"),
               tag("p", tag("b", plain(verdict), cls="bad-text" if failed or not runs else "good-text"),
                   plain(f" in {seconds(total, 1)} of lab time, written {time.strftime('%Y-%m-%d %H:%M:%S')}")))
    if not runs:
        return head + tag("p", "No run has left a record here.")
    order = sorted(range(len(runs)), key=lambda place: runs[place].result == "passed")
    return head + "\n".join(section(runs[place], f"s{place + 1}", since) for place in order)


def section(run, name, since):
    """One scenario: closed it is a row of the table, open it is all about it."""
    good = run.result == "passed"
    old = since is not None and run.start < since
    tests = [test for test in run.record.get("tests") or [] if isinstance(test, dict)]
    facts = [count(len(tests), "test") if len(tests) > 1 else "", count(len(run.log.invocations), "invocation"),
             began(run), "of an earlier test run" if old else ""]
    head = tag("summary", badge(run.result),
               tag("span", tag("span", plain(run.title), cls="name"),
                   tag("span", plain(", ".join(fact for fact in facts if fact)), cls="facts"), cls="what"),
               tag("span", plain(seconds(run.seconds, 1) if run.seconds is not None else "?"), cls="time"))
    reason = run.trouble or str(run.record.get("reason") or "")
    looks = [look for look in run.record.get("looks") or [] if isinstance(look, dict)]
    parts = [head, tag("pre", plain(reason), cls="reason") if reason else "", test_table(tests)]
    parts.append(guarded("Topology", lambda: draw_topology(run.record, looks[-1] if looks else {})))
    parts.append(guarded("Prefixes", lambda: prefixes(looks)))
    parts.append(guarded("Timeline", lambda: draw_timeline(run.log, name, notes(run))))
    parts.append(tag("p", plain(f"Everything that was kept: {run.folder}"), cls="remark"))
    return tag("details", *parts, cls="scenario", id=name, open="" if not good else None)


def began(run):
    return time.strftime("ran %Y-%m-%d %H:%M:%S", time.localtime(run.start)) if run.start else ""


def badge(result):
    return tag("span", plain(cut(result, 20)), cls="badge " + ("good" if result == "passed" else "bad"))


def guarded(title, drawing):
    """A record with holes costs one drawing, not the page."""
    try:
        markup = drawing()
    except (AttributeError, KeyError, TypeError, ValueError, IndexError) as error:
        markup = tag("p", plain(f"This could not be drawn: {type(error).__name__}: {error}"), cls="remark bad-text")
    return tag("section", tag("h2", plain(title)), markup)


def test_table(tests):
    if len(tests) < 2:
        return ""
    rows = []
    for test in tests:
        good = test.get("result") == "passed"
        took = (test.get("end") or 0) - (test.get("start") or 0)
        rows.append(tag("tr", tag("td", badge(test.get("result"))),
                        tag("td", plain(test.get("title") or test.get("name")),
                            "" if good else tag("div", plain(test.get("reason") or ""), cls="bad-text")),
                        tag("td", plain(seconds(took, 1)), cls="time")))
    return tag("table", *rows, cls="tests")


def prefixes(looks):
    shown = distinct_looks(looks)
    if not shown:
        return tag("p", "No moment was recorded.", cls="remark")
    figures = (tag("figure", tag("figcaption", plain(label)), draw_prefixes(look)) for label, look in shown)
    return tag("section", *figures, cls="moments")


def notes(run):
    """(seconds since the log's first line, text): what the test did, when the log has times of the same clock."""
    if not run.log.exact or not run.log.invocations:
        return []
    records = (run.record.get("notes") or []) + [{"t": look.get("t"), "text": f"looked: {look.get('label')}"}
                                                 for look in run.record.get("looks") or []]
    return sorted((note["t"] - run.log.first, str(note.get("text"))) for note in records
                  if isinstance(note.get("t"), (int, float)))

"""The timeline of a diagnostic log: every invocation on one axis, and each one's shell lines on an axis of its own.

`draw_timeline(log)` gives markup that needs drawing.css, page.css and page.js of this folder and nothing else.
"""
from ipv6trace.invocation import DONE, FAILED, UNENDED
from ipv6trace.log_line import GUESS, LIKELY, SURE, weight
from ipv6trace.parameters import History, changes
from ipv6trace.svg import plain, tag
from ipv6trace.time_axis import seconds, whole_seconds
from ipv6trace.waterfall import Bar, Row, draw

OFTEN = 10                  # a command that runs more often than this shares rows
MANY_NOTES = 8
LONG_LIST = 12              # more invocations than this are folded away
SHELL_ROOM = 76             # characters of a shell line that are shown
KIND = {DONE: "done", FAILED: "bad", UNENDED: "open"}
KEYS = (("done", "a run"), ("shell ok", "its shell lines"), ("shell quiet", "nothing to undo"), ("shell bad", "failed"),
        ("open", "no end in the log"), ("shell ok unsure", "may be another's line"))
SAID = {DONE: "", FAILED: "ERROR_INTERNAL", UNENDED: "no end in the log"}


def draw_timeline(log, name="log", notes=(), history=None):
    """`name` makes the ids of the page unique; `notes` are (seconds since the log's first line, text). `history` knows
    the parameters, also those of runs that are not drawn."""
    history = history or History(log)
    if not log.invocations and not log.strays:
        return tag("p", "The log is empty: no command ran.", cls="remark")
    title = f"Timeline of {len(log.invocations)} invocations"
    runs = "".join(details(each, log, name, history) for each in log.invocations)
    if len(log.invocations) > LONG_LIST:
        runs = tag("details", tag("summary", plain(f"All {len(log.invocations)} invocations, one by one")), runs)
    return "".join([draw(overview_rows(log, name, notes), title, label_room=38, bars_width=580, remark_room=30,
                         lead_room=9), legend(log), runs, strays(log)])


# All invocations ------------------------------------------------------------------------------------------------------

def overview_rows(log, name, notes):
    """Rows in the order of their first bar; commands that run often are put together, side by side in time."""
    counts = {}
    for each in log.invocations:
        counts[each.word] = counts.get(each.word, 0) + 1
    rows, shared = [], {}
    for each in log.invocations:
        bars = invocation_bars(each, log)
        if counts[each.word] <= OFTEN or each.troubled:
            rows.append((each.begin, Row(each.title, remark(each, log), bars, "bad" if each.troubled else "",
                                         summary(each, log), f"{name}-{each.number}", began(each, log))))
            continue
        for bar in bars:
            bar.aim = f"{name}-{each.number}"
            bar.tip = bar.tip or summary(each, log)
        lanes = shared.setdefault(each.word, [])
        lane = next((row for row in lanes if row.reach < each.begin), None)
        if lane is None:
            lane = Row(each.word, "")
            lanes.append(lane)
            rows.append((each.begin, lane))
        lane.bars += bars
        lane.reach = each.end
        lane.count += 1
    for word, lanes in shared.items():
        for number, lane in enumerate(lanes):
            lane.remark = count(lane.count, "run")
            lane.label = word if number == 0 else f"{word}, at the same time"
            lane.tip = f"{word}: {sum(each.count for each in lanes)} runs without a failure; point at one"
    return note_rows(notes) + [row for _, row in sorted(rows, key=lambda pair: pair[0])]


def note_rows(notes):
    """What the test did. Sentences have rows of their own unless they are many; commands show as invocations anyway."""
    sentences = [note for note in notes if not note[1].startswith("gw# ")]
    own = sentences if len(sentences) <= MANY_NOTES else []
    rest = [note for note in notes if note not in own]
    rows = [Row(text, "", [Bar(time, time, "mark", f"{time:+.2f} s\n{text}")], "note", lead=f"{time:+.2f}")
            for time, text in own]
    if rest:
        rows.insert(0, Row("what was done", count(len(rest), "step"),
                           [Bar(time, time, "mark", f"{time:+.2f} s\n{text}") for time, text in rest], "note"))
    return rows


def invocation_bars(each, log):
    """The run itself, and on it the time of its shell lines."""
    bars = [Bar(each.begin, each.end, KIND[each.outcome], summary(each, log))]
    for line in sorted(each.shell_lines, key=lambda line: weight(line) == "bad"):       # failures on top
        bars.append(Bar(line.since, line.time, f"shell {weight(line)}", shell_tip(line, log), slim=True,
                        unsure=line.confidence != SURE))
    return bars


def count(number, what):
    return f"{number} {what}" + ("" if number == 1 else "s")


def remark(each, log):
    parts = [span_text(each, log), SAID[each.outcome], f"{each.bad_count} failed" if each.bad_count else "",
             "" if each.end_confidence == SURE else "end unsure"]
    return ", ".join(part for part in parts if part)


def began(each, log):
    """Seconds since the first line; without arrival times the uptime, by which the run can be found in the log."""
    return f"{each.begin:+.2f}" if log.exact else str(each.begin_line.uptime)


def span_text(each, log):
    if each.outcome == UNENDED:
        return ""
    if not each.started:
        return "no start"
    return duration(each.begin, each.end, log)


def duration(begin, end, log):
    """Without arrival times only whole seconds were read, so a difference may be a second more or less."""
    if log.exact:
        return seconds(end - begin)
    return whole_seconds(int(log.first + end) - int(log.first + begin))


def summary(each, log):
    parts = [f"{each.title}, invocation {each.number}", f"as {each.path}",
             f"{began(each, log)} s, {remark(each, log)}", count(len(each.shell_lines), "shell line")]
    if each.overlaps:
        parts.append("at the same time: " + ", ".join(f"{other.title} ({other.number})" for other in each.overlaps[:6])
                     + (f" and {each.overlap_count - 6} more" if each.overlap_count > 6 else ""))
    during = each.during
    if during:
        parts.append(f"ran while invocation {during[0].number} ran: {during[1].shell[1]}")
    if each.unsure:
        guesses = sum(line.confidence == GUESS for line in each.unsure)
        parts.append(f"{len(each.unsure)} of its {len(each.lines)} lines may be another's"
                     + (f", {guesses} of them a mere guess" if guesses else ", placed by their usual order"))
    return "\n".join(parts)


def shell_tip(line, log):
    status, text = line.shell
    parts = [text, f"status {status}, {'' if log.exact else 'about '}{duration(line.since, line.time, log)} since the "
                   "line before it"]
    if line.confidence != SURE:
        parts.append(doubt(line.confidence))
    return "\n".join(parts)


def doubt(confidence):
    return {LIKELY: "Others were running too; it is here because lines usually follow each other like this.",
            GUESS: "Others were running too; that it belongs here is a guess."}[confidence]


def legend(log):
    keys = [tag("span", tag("svg", tag("rect", x=0, y=3, width=18, height=9, cls=f"bar {kind}"), width=18, height=14,
                            aria_hidden="true"), plain(" " + text), cls="key") for kind, text in KEYS]
    clock = "Times count from the first line; " if log.exact else "The log has whole seconds: within one, only the " \
        "order is known. The number before a run is the uptime at which it began; "
    return tag("p", *keys, plain(f" {clock}a shell line's time is that since the line before it."), cls="legend")


# One invocation -------------------------------------------------------------------------------------------------------

def details(each, log, name, history):
    facts = f"{began(each, log)} s, {remark(each, log)}"
    head = tag("summary", tag("b", plain(f"#{each.number} {each.title}")), plain(" " + facts))
    parts = [head, tag("p", tag("span", plain("\n".join([summary(each, log), *changed(each, history)])), cls="lines"),
                       cls="remark")]
    if each.shell_lines:
        parts.append(draw(shell_rows(each, log), f"Shell lines of {each.title}", SHELL_ROOM, 360, 22, 4))
    told = [line for line in each.lines if not line.is_parameter]
    hidden = len(each.lines) - len(told)
    text = "\n".join(log_text(line, log) + ("" if line.confidence == SURE else f"    <- {line.confidence}")
                     for line in told)
    caption = f"{len(told)} lines of the log" + (f" ({hidden} about loaded parameters left out)" if hidden else "")
    parts.append(tag("details", tag("summary", plain(caption)), tag("pre", plain(text))))
    return tag("details", *parts, id=f"{name}-{each.number}", cls="run" + (" bad" if each.troubled else ""))


def log_text(line, log):
    return (f"{line.time:+10.3f}" if log.exact else f"{line.uptime:>10}") + f"  [{line.routine}] {line.message}"


def changed(each, history):
    """Lines about the parameters that it loaded."""
    loaded = history.loaded(each)
    one, before = history.before(each) if loaded else (None, {})
    found = changes(before, loaded) if one else []
    if found:
        yield f"{count(len(found), 'parameter')} changed since invocation {one.number}:"
    for name, old, new in found:
        yield f"{name}: " + ("not loaded" if old is None else f'"{old}"') + f' -> "{new}"'


def shell_rows(each, log):
    rows = []
    for line in each.shell_lines:
        status, text = line.shell
        kind = weight(line)
        said = duration(line.since, line.time, log) + ("" if line.confidence == SURE else f", {line.confidence}")
        rows.append(Row(text, said, [Bar(line.since, line.time, f"shell {kind}", shell_tip(line, log),
                                         unsure=line.confidence != SURE)],
                        "bad" if kind == "bad" else "", shell_tip(line, log), lead=str(status)))
    return rows


def strays(log):
    if not log.strays:
        return ""
    text = "\n".join(log_text(line, log) for line in log.strays)
    return tag("details", tag("summary", plain(f"{len(log.strays)} lines that belong to no open invocation")),
               tag("pre", plain(text)), cls="run")

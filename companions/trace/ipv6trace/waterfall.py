"""Rows of bars on one time axis: a label on the left, the bars, a remark and a verdict on the right."""
from dataclasses import dataclass, field

from ipv6trace.svg import CHARACTER, ROW, drawing, label, plain, tag
from ipv6trace.time_axis import TimeAxis

HEAD = 26                   # room for the axis
THIN = 3.0                  # no bar is narrower


@dataclass
class Bar:
    begin: float
    end: float
    kind: str               # a class of the style sheet: run, done, quiet, bad, open, mark ...
    tip: str = ""           # shown by pointing at it or tapping it
    slim: bool = False      # drawn inside the bar beneath it
    unsure: bool = False
    aim: str | None = None  # id of what a click opens


@dataclass
class Row:
    label: str
    remark: str
    bars: list[Bar] = field(default_factory=list)
    kind: str = ""          # "bad" makes the whole row stand out
    tip: str = ""
    aim: str | None = None  # id of what a click opens
    lead: str = ""          # a short text before the label
    count: int = 0          # how many runs share the row, and until when it is taken
    reach: float = 0.0


def draw(rows, name, label_room=34, bars_width=560, remark_room=20, lead_room=0, frame=drawing):
    """The rooms are in characters. Returns markup: what `frame` makes of it. A frame other than a page's has no script,
    so what is told by pointing is told by titles."""
    lead_width = (lead_room + 1) * CHARACTER if lead_room else 0
    bars_x = 10 + lead_width + (label_room + 1) * CHARACTER
    remark_x = bars_x + bars_width + 10
    width = remark_x + remark_room * CHARACTER + 8
    height = HEAD + ROW * len(rows) + 6
    axis = TimeAxis([(bar.begin, bar.end) for row in rows for bar in row.bars], bars_x, bars_width)
    parts = []
    for number, row in enumerate(rows):
        top = HEAD + number * ROW
        if number % 2 == 0:
            parts.append(tag("rect", x=0.0, y=float(top), width=float(width), height=float(ROW), cls="stripe"))
        if row.kind == "bad":
            parts.append(tag("rect", x=0.0, y=float(top), width=float(width), height=float(ROW), cls="bad-row"))
    parts.append(axis.draw(HEAD, height - 6))
    for number, row in enumerate(rows):
        parts.append(draw_row(row, HEAD + number * ROW, axis, (bars_x, remark_x, lead_width, width),
                              (lead_room, label_room, remark_room), frame is not drawing))
    return frame(width, height, *parts, title=name)


def draw_row(row, top, axis, places, rooms, titles):
    bars_x, remark_x, lead_width, width = places
    lead_room, label_room, remark_room = rooms
    base = top + 15
    words = "label bad-text" if row.kind == "bad" else "label"
    parts = [label(10 + lead_width - CHARACTER, base, row.lead, lead_room, "label faint", "end") if lead_room else "",
             label(10 + lead_width, base, row.label, label_room, words),
             label(remark_x, base, row.remark, remark_room, words)]
    # What can be pointed at is the whole row; its bars say more.
    parts.insert(0, tag("rect", x=0.0, y=float(top), width=float(width), height=float(ROW), cls="touch"))
    for bar in row.bars:
        x, end = axis.place(bar.begin), axis.place(bar.end)
        wide = min(max(end - x, THIN), bars_x + axis.width - x)
        inset = 7.0 if bar.slim else 4.0
        if bar.kind == "mark":
            diamond = f"M{x:.1f} {top + 4:.1f}l4 7l-4 7l-4 -7z"
            parts.append(tag("path", title(bar.tip, titles), d=diamond, cls="bar mark", data_tip=told(bar.tip, titles)))
            continue
        parts.append(tag("rect", title(bar.tip, titles), x=x, y=top + inset, width=wide, height=ROW - 2 * inset,
                         rx=None if bar.slim else 3,
                         cls=f"bar {bar.kind}" + (" unsure" if bar.unsure else ""), data_tip=told(bar.tip, titles),
                         data_aim=None if titles else bar.aim))
    if titles:
        return tag("g", title(row.tip, titles), *parts, cls=f"row {row.kind}".strip())
    return tag("g", *parts, cls=f"row {row.kind}".strip(), tabindex=0 if row.tip or row.aim else None,
               data_tip=row.tip or None, data_aim=row.aim)


def title(tip, titles):
    return tag("title", plain(tip)) if titles and tip else ""


def told(tip, titles):
    return None if titles else tip or None

"""The timeline as a page or as a picture of its own."""
import dataclasses

from ipv6trace.invocation import Pieces
from ipv6trace.log_reader import place
from ipv6trace.page import asset, page
from ipv6trace.parameters import History
from ipv6trace.svg import CHARACTER, ROW, label, plain, tag
from ipv6trace.timeline import KEYS, count, draw_timeline, overview_rows
from ipv6trace.waterfall import draw

MARGIN = 12
NAME_ROOM = 90              # characters of the log's name; its end says more than its beginning


def draw_page(log, name, selection):
    view = part(log, selection)
    facts = [span(view), *selection.notes]
    head = tag("header", tag("h1", plain(f"Timeline of {name}")), *(tag("p", plain(fact)) for fact in facts))
    return page(f"Timeline of {name}", head + draw_timeline(view, history=History(log)))


def draw_svg(log, name, selection):
    view = part(log, selection)

    def alone(width, height, *content, title):
        top, bottom = 2 * ROW, 2 * ROW
        wide, high = width + 2 * MARGIN, height + top + bottom
        style = tag("style", plain(asset("drawing.css")))
        paper = tag("rect", width=wide, height=float(high), style="fill: var(--paper)")
        short = name if len(name) <= NAME_ROOM else "\N{HORIZONTAL ELLIPSIS}" + name[1 - NAME_ROOM:]
        kind = "label bad-text" if any(each.troubled for each in view.invocations) else "label"
        lead = label(MARGIN + 10.0, 20.0, short, NAME_ROOM, kind) \
            + label(MARGIN + 10.0, 38.0, "; ".join([span(view), *selection.notes]), 140, "label faint")
        drawn = tag("g", *content, transform=f"translate({MARGIN} {top})")
        return tag("svg", tag("title", plain(title)), style, paper, lead, drawn, keys(top + height + 20.0),
                   xmlns="http://www.w3.org/2000/svg", width=wide, height=float(high), role="img",
                   viewBox=f"0 0 {wide:.1f} {high:.1f}")

    rows = overview_rows(view, "run", ())
    return draw(rows, f"Timeline of {count(len(view.invocations), 'invocation')}", label_room=38, bars_width=580,
                remark_room=30, lead_room=9, frame=alone) + "\n"


def keys(y):
    parts, x = [], MARGIN + 10.0
    for kind, text in KEYS:
        parts.append(tag("rect", x=x, y=y - 9, width=18, height=9, cls=f"bar {kind}"))
        parts.append(label(x + 24, y, text, len(text), "label faint"))
        x += 24 + (len(text) + 3) * CHARACTER
    return "".join(parts)


def part(log, selection):
    """The log as if it had nothing but these."""
    strays = log.strays if not selection.narrowed and not selection.left_out else []
    view = dataclasses.replace(log, invocations=selection.invocations, stray_pieces=Pieces(), kept_strays=strays)
    place(view, view.invocations, strays)
    return view


def span(view):
    if not view.invocations:
        return "No invocation"
    first, last = view.invocations[0], max(view.invocations, key=lambda each: (each.boot, each.last_uptime))
    boots = f" of boot {first.boot}" if view.boots > 1 else ""
    to = f" of boot {last.boot}" if view.boots > 1 and last.boot != first.boot else ""
    return (f"{count(len(view.invocations), 'invocation')}, uptime {first.begin_line.uptime} s{boots} to "
            f"{last.last_uptime} s{to}; the axis counts from the first of them")

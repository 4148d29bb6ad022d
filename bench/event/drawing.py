"""The results as a picture: for each change and gateway one run, the one in the middle, as a bar of its parts."""
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "companions" / "trace"))

from ipv6trace.svg import CHARACTER, label, plain, tag  # noqa: E402

from measure import CHANGES  # noqa: E402
from split import KINDS  # noqa: E402
from summary import middle  # noqa: E402

MARGIN, NAME_ROOM, BARS, TOTAL_ROOM = 16, 20, 640, 16
ROW, BAR = 30, 18
STYLE = """\
:root { --paper: #ffffff; --ink: #1d2530; --faint: #5c6776; --rule: #d8dde4; --client: #9db4cf; --detection: #c9b6e4;
  --pause: #e7a33c; --program: #2b69ad; --own: #c22a1e; --daemon: #14776e; --host: #4d9a5b; --host-detection: #b9d9bd; }
@media (prefers-color-scheme: dark) { :root { --paper: #12161c; --ink: #e4e9f0; --faint: #9aa6b5; --rule: #323b48;
  --client: #4f6987; --detection: #6d558f; --pause: #c58622; --program: #7fb4f0; --own: #ff7a6b; --daemon: #6ed0c4;
  --host: #6fd39b; --host-detection: #2f5a3d; } }
.paper { fill: var(--paper); } .grid { stroke: var(--rule); } .spread { stroke: var(--ink); stroke-width: 1.5; }
.label { font: 12px "DejaVu Sans Mono", ui-monospace, monospace; fill: var(--ink); white-space: pre; }
.faint { fill: var(--faint); } .head { font-weight: 600; }
""" + "".join(f".{kind.replace(' ', '-')} {{ fill: var(--{kind.replace(' ', '-')}); }}\n" for kind in KINDS)


def merged(parts):
    """(kind, begin, end) of a run, neighbors of one kind taken together."""
    found, at = [], 0.0
    for part in parts:
        if found and found[-1][0] == part["kind"]:
            found[-1][2] = at + part["seconds"]
        else:
            found.append([part["kind"], at, at + part["seconds"]])
        at += part["seconds"]
    return found


def bar(summary, x, y, scale):
    run = middle(summary)
    drawn = [tag("rect", tag("title", plain(f"{KINDS[kind]}: {end - begin:.3f} s")), x=x + begin * scale, y=float(y),
                 width=(end - begin) * scale, height=float(BAR), cls=kind.replace(" ", "-"))
             for kind, begin, end in merged(run["parts"])]
    total = summary["moments"]["usable"]
    below = y + BAR + 4.0
    low, high = (x + total[key] * scale for key in ("low", "high"))
    drawn.append(tag("line", x1=low, x2=high, y1=below, y2=below, cls="spread"))
    return "".join(drawn) + label(high + 8, y + 13, f"{run['usable']:.2f} s", TOTAL_ROOM)


def draw(results):
    """The SVG as text."""
    groups = [(change, [(each["title"], each["changes"][change]) for each in results["contenders"].values()
                        if change in each.get("changes", {})]) for change in CHANGES]
    longest = max(summary["moments"]["usable"]["high"] for _, rows in groups for _, summary in rows)
    x = MARGIN + (NAME_ROOM + 1) * CHARACTER
    scale = BARS / longest
    y = MARGIN + 14.0
    drawn = [label(MARGIN, y, "From the Reply on the wire to a usable address of a LAN host", 100, "label head")]
    y += 18
    drawn.append(label(MARGIN, y, "the run in the middle as a bar; the line below it spans all runs' totals", 100,
                       "label faint"))
    top = y + 24
    y = top
    body = []
    for change, rows in groups:
        y += 16
        body.append(label(MARGIN, y, change, 60, "label head"))
        y += 10
        for title, summary in rows:
            body += [label(MARGIN, y + 13, title, NAME_ROOM), bar(summary, x, y, scale)]
            y += ROW
    for second in range(int(longest) + 1):
        place = x + second * scale
        drawn += [tag("line", x1=place, x2=place, y1=top, y2=y, cls="grid"),
                  label(place, top - 6, f"{second} s", 6, "label faint", "middle")]
    y += 14
    for kind, text in KINDS.items():
        body += [tag("rect", x=float(MARGIN), y=y, width=18.0, height=11.0, cls=kind.replace(" ", "-")),
                 label(MARGIN + 26, y + 10, text, 100, "label faint")]
        y += 18
    width, height = x + BARS + TOTAL_ROOM * CHARACTER, y + MARGIN
    return tag("svg", tag("title", "From the Reply to a LAN host's address"), tag("style", plain(STYLE)),
               tag("rect", width=width, height=height, cls="paper"), *drawn, *body, xmlns="http://www.w3.org/2000/svg",
               width=width, height=height, role="img", viewBox=f"0 0 {width:.1f} {height:.1f}") + "\n"

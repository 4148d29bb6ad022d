#!/usr/bin/python3
"""Draws a screen of ipv6status (standard input, as text without colors) as SVG (standard output)."""
import sys
from xml.sax.saxutils import escape

WIDTH, HEIGHT, MARGIN = 7.8, 18, 16       # of a character, of a line, around
INK, PAPER = "#d8dee9", "#1d2430"
COLORS = {"ok": "#7fc97f", "!!": "#ff7b72", "??": "#e3b341", "->": INK}
SUMMARY = {"healthy": COLORS["ok"], "degraded": COLORS["!!"], "cannot tell": COLORS["??"]}


def line_svg(line, y):
    """One line: a summary or section is bold, a mark has its color."""
    def text(x, words, color, bold=False):
        weight = ' font-weight="bold"' if bold else ""
        return (f'<text x="{MARGIN + x * WIDTH:.1f}" y="{y}" fill="{color}"{weight} xml:space="preserve">'
                f'{escape(words)}</text>')
    if not line.startswith(" "):
        return text(0, line, SUMMARY.get(line, INK), bold=True)
    mark, rest = line[2:4], line[5:]
    shown = text(5, rest, INK)
    return shown if mark not in COLORS else text(2, mark, COLORS[mark], bold=True) + "\n" + shown


def screen_svg(lines):
    width = 2 * MARGIN + WIDTH * max(map(len, lines), default=0)
    height = 2 * MARGIN + HEIGHT * len(lines)
    body = "\n".join(line_svg(line, MARGIN + HEIGHT * number + 13) for number, line in enumerate(lines) if line)
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height}" width="{width:.0f}" '
            f'height="{height}" font-family="DejaVu Sans Mono, monospace" font-size="13">\n'
            f'<title>ipv6status on a gateway of the lab</title>\n'
            f'<rect width="100%" height="100%" rx="8" fill="{PAPER}"/>\n{body}\n</svg>\n')


if __name__ == "__main__":
    sys.stdout.write(screen_svg(sys.stdin.read().splitlines()))

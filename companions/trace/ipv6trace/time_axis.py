"""The time axis: seconds to places, with long idle stretches drawn short and marked as such."""
import math
from dataclasses import dataclass

from ipv6trace.svg import CHARACTER, label, tag

BREAK = 58                  # width of an idle stretch that is drawn short
FINEST = 1e-12              # of a time: a number with a fraction tells less than that apart
TICK = 64                   # least room between two ticks
STEPS = (0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 30, 60, 120, 300, 600, 1800, 3600)


@dataclass
class Piece:
    begin: float
    end: float
    x: float = 0.0
    width: float = 0.0
    idle: bool = False


class TimeAxis:
    """`busy` are (begin, end) pairs; what lies between them and is long beside them is an idle stretch."""

    def __init__(self, busy, x, width):
        self.x, self.width = x, width
        self.pieces = pieces_of(busy)
        busy_time = sum(piece.end - piece.begin for piece in self.pieces if not piece.idle)
        room = width - BREAK * sum(piece.idle for piece in self.pieces)
        self.scale = room / busy_time
        for piece in self.pieces:
            piece.x = x
            piece.width = BREAK if piece.idle else (piece.end - piece.begin) * self.scale
            x += piece.width

    def place(self, time):
        for piece in self.pieces:
            if time <= piece.end:
                break
        part = (time - piece.begin) / (piece.end - piece.begin)
        return piece.x + min(max(part, 0.0), 1.0) * piece.width

    def draw(self, top, bottom):
        """Tick lines down to `bottom` with their seconds above `top`, and the idle stretches."""
        step = next((step for step in STEPS if step * self.scale >= TICK), None) \
            or 3600 * 10 ** math.ceil(math.log10(TICK / (3600 * self.scale)))      # a log of weeks, or a forged one
        free = self.x - CHARACTER
        parts = []
        for piece in self.pieces:
            if piece.idle:
                parts += [tag("rect", x=piece.x + 2, y=float(top), width=piece.width - 4.0, height=float(bottom - top),
                              cls="idle"),
                          label(piece.x + piece.width / 2, top - 6, f"+{seconds(piece.end - piece.begin, 1)}", 7,
                                "tick idle-text", "middle")]
                free = piece.x + piece.width
                continue
            number = int(piece.begin / step)
            while number * step <= piece.end:
                x = self.place(number * step)
                text = f"{number * step:.10g} s"
                half = len(text) * CHARACTER / 2
                if number * step >= piece.begin:
                    parts.append(tag("line", x1=x, x2=x, y1=float(top), y2=float(bottom), cls="grid"))
                    if x - half >= free and x + half <= piece.x + piece.width:
                        parts.append(label(x, top - 6, text, 12, "tick", "middle"))
                        free = x + half + CHARACTER
                number += 1
        return "".join(parts)


def pieces_of(busy):
    """Busy and idle pieces in turn. An idle one is over three seconds, and over a quarter of all busy time when that is
    more; shorter pauses belong to the busy pieces, which begin and end a little beside what happens in them."""
    merged = []
    for begin, end in sorted(busy) or [(0.0, 1.0)]:
        if merged and begin <= merged[-1].end:
            merged[-1].end = max(merged[-1].end, end)
        else:
            merged.append(Piece(begin, end))
    total = sum(piece.end - piece.begin for piece in merged)
    margin = max(total * 0.01, 0.02, FINEST * max(abs(merged[0].begin), abs(merged[-1].end)))
    limit = max(3.0, total / 4)
    pieces = []
    for piece in merged:
        piece.begin, piece.end = piece.begin - margin, piece.end + margin
        if pieces and piece.begin - pieces[-1].end <= limit:
            pieces[-1].end = piece.end
        else:
            pieces.append(piece)
    # Each break costs room; when there are many, the shortest are drawn in full.
    while len(pieces) > 5:
        place = min(range(1, len(pieces)), key=lambda number: pieces[number].begin - pieces[number - 1].end)
        pieces[place - 1].end = pieces.pop(place).end
    result = pieces[:1]
    for piece in pieces[1:]:
        result += [Piece(result[-1].end, piece.begin, idle=True), piece]
    return result


def seconds(value, digits=2):
    """A duration as a person says it."""
    if value >= 100:
        return f"{value:.0f} s"
    if digits > 1 and value < 0.0995:
        return f"{value * 1000:.0f} ms"
    return f"{value:.{digits}f} s"


def whole_seconds(difference):
    """A duration of which only the whole seconds of begin and end are known."""
    if difference <= 1:
        return f"under {max(difference, 0) + 1} s"
    return f"{difference - 1}..{difference + 1} s"

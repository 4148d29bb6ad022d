"""One run of the program as the log shows it. Its lines are read from the log when they are asked for."""
from dataclasses import dataclass, field

from ipv6trace.log_line import GUESS, LONGEST, SURE, as_text, parse, word_of

DONE, FAILED, UNENDED = "done", "failed", "no end"
MANY_LINES = 20000          # of one invocation; what is above it is not looked at
MANY_OVERLAPS = 16


class Pieces:
    """Places in the log: (offset, end, number of the first line, confidence)."""

    __slots__ = ("pieces",)

    def __init__(self):
        self.pieces = []

    def add(self, offset, end, number, confidence):
        if self.pieces:
            begin, reached, first, sure = self.pieces[-1]
            if reached == offset and sure == confidence:
                self.pieces[-1] = (begin, end, first, sure)
                return
        self.pieces.append((offset, end, number, confidence))

    def extend(self, end):
        """A line without a prefix goes with the one before it."""
        if self.pieces:
            self.pieces[-1] = (self.pieces[-1][0], end, *self.pieces[-1][2:])

    def read(self, source, most=MANY_LINES):
        """The first `most` lines. One without a prefix continues the message before it; empty ones are left out."""
        found = []
        for offset, end, number, confidence in self.pieces:
            for raw in source.lines(offset, end):
                line = parse(raw, number, confidence)
                number += 1
                if line:
                    if len(found) == most:
                        return found
                    found.append(line)
                elif found and raw.strip() and len(found[-1].message) < LONGEST:
                    found[-1].message = (found[-1].message + "\n" + as_text(raw))[:LONGEST]
        return found


@dataclass(eq=False, slots=True)
class Invocation:
    number: int
    path: str                               # argv[0]
    begin_line: object                      # its first line; its last one when it has no first
    source: object
    boot: int = 1
    end_line: object = None
    outcome: str = UNENDED
    end_confidence: str = SURE
    started: bool = True                    # False: only its end is in the log
    rebooted: bool = False                  # no end, because the device went down
    maybe_running: bool = False             # no end, and nothing says that it is gone
    overlaps: list = field(default_factory=list)        # the first of those that ran at the same time
    overlap_count: int = 0
    reason: str = ""                        # of a client event
    busy: bool = False                      # it found the other hook at work
    bad_count: int = 0                      # shell lines that failed
    last_uptime: int = 0
    last_number: int = 0
    begin: float = 0.0                      # seconds since the first line that is shown
    end: float = 0.0                        # of the last line when no end was seen
    kept: list = None
    pieces: Pieces = field(default_factory=Pieces)
    word: str = ""                          # the command's

    def __post_init__(self):
        self.word = word_of(self.path)

    @property
    def title(self):
        """The command's word and, for an event of the client, its reason."""
        return f"{self.word} {self.reason}" if self.reason else self.word

    @property
    def lines(self):
        if self.kept is None:
            self.kept = self.pieces.read(self.source)
        return self.kept

    def forget(self):
        """Drops the lines; they can be read again."""
        self.kept = None

    @property
    def shell_lines(self):
        return [line for line in self.lines if line.shell]

    @property
    def unsure(self):
        return [line for line in self.lines if line.confidence != SURE]

    @property
    def is_unsure(self):
        return self.end_confidence != SURE or any(piece[3] != SURE for piece in self.pieces.pieces)

    @property
    def is_guessed(self):
        return self.end_confidence == GUESS or any(piece[3] == GUESS for piece in self.pieces.pieces)

    @property
    def troubled(self):
        return self.outcome != DONE or self.bad_count > 0

    @property
    def during(self):
        """(invocation, its shell line) while which this one ran wholly, None when there is no such one."""
        if self.outcome != DONE or not self.started:
            return None
        for one in reversed(self.overlaps):
            if not one.started or one.begin_line.number > self.begin_line.number:
                continue
            before = one.begin_line.number
            for line in one.lines:
                if line.shell and before < self.begin_line.number and self.end_line.number < line.number:
                    return one, line
                before = line.number
        return None

    def note(self, meaning):
        """Keeps what is wanted without reading the lines again."""
        self.bad_count += meaning.bad
        self.busy = self.busy or meaning.busy
        self.reason = self.reason or meaning.reason

    def overlap(self, other):
        for one, two in ((self, other), (other, self)):
            one.overlap_count += 1
            if len(one.overlaps) < MANY_OVERLAPS:
                one.overlaps.append(two)

    def close(self):
        """Nothing more will come: without an end it went on to its last line only."""
        if self.outcome != UNENDED:
            return
        later = [other for other in self.overlaps if other.begin_line.number > self.last_number]
        for other in later:
            self.overlaps.remove(other)
            other.overlaps.remove(self)
            self.overlap_count -= 1
            other.overlap_count -= 1

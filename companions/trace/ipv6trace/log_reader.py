"""Reads a diagnostic log and takes it apart into invocations.

The log has no process number: a line says which routine wrote it and at which second, the first and last line of a
run also say under which name it was started. While one invocation is open, every line is its. While several are open,
a line goes to the one that can have written it (some routines belong to few commands) and that usually goes on so,
judged by the stretches of the same log in which an invocation was alone. How sure that is stays with the line.

The log is read in one go, block by block, and of an invocation only its places in the log are kept: stretches in which
one was open alone are passed over nearly as fast as they are read.
"""
import io
import json
from dataclasses import dataclass

from ipv6trace.invocation import DONE, FAILED, UNENDED, Invocation, Pieces
from ipv6trace.line_times import place
from ipv6trace.log_line import (CONFIDENCES, GUESS, HOOKS, LIKELY, LONGEST, PREFIX, ROUTINES, SHELL_LINES, SURE, WORDS,
                                Line, line_of, meaning, parse, shape)
from ipv6trace.log_source import Source, split
from ipv6trace.usual_order import QUIET, UsualOrder

__all__ = ["DONE", "FAILED", "GUESS", "LIKELY", "Log", "SURE", "UNENDED", "place", "read_arrivals", "read_log",
           "read_source"]

MANY_OPEN = 16              # invocations at a time; the oldest of more counts as gone
MANY = 100_000              # invocations whose places are kept; of older ones only the number
MANY_STRAYS = 1000
CLOCK_SLACK = 2             # seconds: a line is written a little after its time was taken
UNUSUAL, UNKNOWN, USUAL_AFTER_ONE, USUAL_AFTER_TWO = range(4)     # how well a line follows those before it
RESTRICTED = tuple(start.encode() for start in SHELL_LINES)
ALWAYS_WATCHED = frozenset((b"main", b"zel_system"))


@dataclass
class Log:
    source: Source
    invocations: list[Invocation]           # in the order of their first lines
    stray_pieces: Pieces                    # written while no invocation was open
    line_count: int = 0
    boots: int = 1
    dropped: int = 0                        # older invocations, left out
    dropped_bad: int = 0                    # of them, those with failures
    first_uptime: int = 0
    last_uptime: int = 0
    arrivals: list[float] | None = None     # when each line came
    first: float = 0.0                      # what `time` counts from: epoch with arrival times, uptime without
    kept_strays: list[Line] | None = None

    @property
    def exact(self):
        """False: times within a second are only an order."""
        return self.arrivals is not None

    @property
    def strays(self):
        if self.kept_strays is None:
            self.kept_strays = self.stray_pieces.read(self.source, MANY_STRAYS)
        return self.kept_strays

    @property
    def span(self):
        """(begin, end) of all that happened, in seconds."""
        times = [t for each in self.invocations for t in (each.begin, each.end)] + [line.time for line in self.strays]
        return (min(times), max(times)) if times else (0.0, 0.0)


def read_log(text):
    """Takes the text of a log file. Lines of one second are spread over it in their order."""
    log = read_source(Source(io.BytesIO(text.encode("utf-8", "surrogatepass"))))
    place(log, log.invocations, log.strays)
    return log


def read_arrivals(text):
    """Takes JSON lines {"t": epoch, "line": text} as the lab keeps them: when each line was seen to arrive. What is not
    such a record (a cut last line) is left out."""
    lines, times = [], []
    for entry in text.split("\n"):
        try:
            record = json.loads(entry)
            time, several = float(record["t"]), str(record["line"]).removesuffix("\n").split("\n")
        except (ValueError, TypeError, KeyError):
            continue
        lines += several
        times += [time] * len(several)
    log = read_source(Source(io.BytesIO("".join(line + "\n" for line in lines).encode("utf-8", "surrogatepass"))))
    log.arrivals = times
    place(log, log.invocations, log.strays)
    return log


def read_source(source):
    """All of a log; `place` gives those lines a time that are to be drawn."""
    return Sorter(source).sort()


class Sorter:
    """Hands each line to one of the open invocations."""

    def __init__(self, source):
        self.source = source
        self.order = UsualOrder(source)
        self.log = Log(source, [], Pieces())
        self.open = []
        self.started = 0
        self.clock = None                   # newest uptime of a first line since boot
        self.last = {}                      # the two newest shapes of each open invocation
        self.expected = {}                  # what usually follows these, when it was asked for
        self.tails = {}                     # the lines that these come from, not looked at yet
        self.doubt = {}                     # of those that may be another one of their name since an unsure end
        self.owner = self.log.stray_pieces  # of the line before
        self.alone = None                   # the one that takes all lines: an invocation or the strays' pieces
        self.watched = ALWAYS_WATCHED       # routines whose lines may not be its, or that say something
        self.stretch = (0, 1)               # offset and number of the line from which on it does
        self.tail = (b"", b"")              # its two newest lines
        self.foreign = {}                   # word: watched routines

    def sort(self):
        number, reached = 0, 0
        self.look_who_is_alone(0, 0, 1)
        for at, block in self.source.blocks():
            for raw in split(block):
                number += 1
                close = raw.find(b"][", 1, 66)
                if self.alone is None or raw[1:close] in self.watched:
                    self.take(raw, at, number, close)
                elif close > 0:
                    self.tail = (self.tail[1], raw)
                at += len(raw) + 1
            reached = at
        self.flush(reached, number + 1)
        self.log.line_count = number
        self.log.last_uptime = max([self.log.last_uptime, *(each.last_uptime for each in self.open)])
        for each in self.open:
            each.maybe_running = self.log.last_uptime - each.last_uptime <= QUIET
            each.close()
        return self.log

    def take(self, raw, at, number, close):
        """A line that has to be looked at."""
        if self.alone and raw.startswith(b" [0]", raw.find(b"]", close + 2) + 1) and raw.startswith(b"[zel_system]") \
                and not raw.startswith(RESTRICTED, raw.find(b"]", close + 2) + 5):
            self.tail = (self.tail[1], raw)
            return
        end = at + len(raw) + 1
        match = PREFIX.fullmatch(raw[:LONGEST])
        if match is None:
            if self.alone is None:
                self.owner.extend(end)
            return
        said = meaning(match[1], match[3])
        if said.frame:
            self.take_frame(said.frame, line_of(match, number), at, end)
        elif isinstance(self.alone, Invocation) and (said.words is None or self.alone.word in said.words):
            self.alone.note(said)
            self.tail = (self.tail[1], raw)
        elif not isinstance(self.alone, Pieces):
            self.flush(at, number)
            self.owner = self.ordinary(said, int(match[2]), number, at, end)
            self.stretch = (end, number + 1)
            if said.free:                       # it may be alone now
                self.look_who_is_alone(int(match[2]), *self.stretch)

    def take_frame(self, frame, line, at, end):
        self.flush(at, line.number)
        if frame[2] == "start.":
            self.begin(frame[1], line)
        else:
            self.end(frame[1], line, DONE if frame[2].startswith("ERROR_NONE") else FAILED)
        self.log.last_uptime = line.uptime
        self.owner = Pieces()               # what continues such a line is no one's
        self.look_who_is_alone(line.uptime, end, line.number + 1)

    # Who is alone

    def look_who_is_alone(self, now, offset, number):
        """`now` is the uptime; a run that has been silent for long counts as gone, but may come back."""
        fresh = [each for each in self.open if now - each.last_uptime <= QUIET]
        self.stretch, self.tail = (offset, number), (b"", b"")
        self.alone = None
        if not self.open:
            self.alone, self.watched = self.log.stray_pieces, frozenset((b"main",))
        elif len(fresh) == 1:
            self.alone = fresh[0]
            word = self.alone.word if self.alone.word in WORDS else ""
            if word not in self.foreign:
                others = {routine.encode() for routine, words in ROUTINES.items() if word not in words}
                self.foreign[word] = ALWAYS_WATCHED | others | {b"dhcp6c_main"}
            self.watched = self.foreign[word]

    def flush(self, offset, number):
        """Gives the stretch so far to the one that was alone."""
        begin, first = self.stretch
        if self.alone is None or offset <= begin:
            return
        if isinstance(self.alone, Pieces):
            self.alone.add(begin, offset, first, SURE)
            self.owner = self.alone
            return
        self.alone.pieces.add(begin, offset, first, self.doubt.get(self.alone, SURE))
        self.owner = self.alone.pieces
        if self.tail[1]:
            self.expected.pop(self.alone, None)
            self.tails[self.alone] = (*self.tails.get(self.alone, ()), *self.tail)[-2:]
            found = PREFIX.match(self.tail[1][:128])
            self.alone.last_uptime = int(found[2]) if found else self.alone.last_uptime
            self.alone.last_number = number - 1
        self.tail = (b"", b"")

    # Frames and contested lines

    def begin(self, path, line):
        if self.clock is None:
            self.log.first_uptime = line.uptime
        elif line.uptime < self.clock - CLOCK_SLACK:
            self.reboot()
        self.clock = max(self.clock or 0, line.uptime)
        each = self.new(path, line)
        for other in self.open:
            each.overlap(other)
        self.open.append(each)
        self.last[each] = ("", "start")
        if len(self.open) > MANY_OPEN:
            self.drop(self.open[0])

    def new(self, path, line):
        self.started += 1
        each = Invocation(self.started, path, line, self.source, self.log.boots)
        each.last_uptime, each.last_number = line.uptime, line.number
        invocations = self.log.invocations
        invocations.append(each)
        if len(invocations) >= MANY + MANY // 4:
            for old in invocations[:MANY // 4]:
                old.overlaps = []
                self.log.dropped_bad += old.troubled
            self.log.dropped += MANY // 4
            del invocations[:MANY // 4]
        return each

    def reboot(self):
        for each in self.open[:]:
            each.rebooted = True
            self.leave(each)
        self.log.boots += 1
        self.clock = 0

    def leave(self, each):
        self.drop(each)
        each.close()

    def drop(self, each):
        self.open.remove(each)
        for kept in (self.last, self.expected, self.tails, self.doubt):
            kept.pop(each, None)

    def ordinary(self, said, uptime, number, offset, end):
        """Returns the places that the line was added to."""
        words = said.words
        able = self.open if words is None else [each for each in self.open if each.word in words]
        able = [each for each in able if uptime - each.last_uptime <= QUIET] or able
        if not able:
            self.log.stray_pieces.add(offset, end, number, SURE)
            return self.log.stray_pieces
        chosen, confidence = self.choose(able, said.shape, uptime)
        chosen.pieces.add(offset, end, number, confidence)
        chosen.note(said)
        chosen.last_uptime, chosen.last_number = uptime, number
        self.last[chosen] = (self.newest_shapes(chosen)[1], said.shape)
        self.expected.pop(chosen, None)
        if said.free:
            for other in [each for each in self.open if each.word in HOOKS and each.begin_line.uptime < uptime]:
                if other is not chosen:
                    self.leave(other)           # killed, and somebody has cleared its guard
        return chosen.pieces

    def end(self, path, line, outcome):
        able = [each for each in self.open if each.path == path]
        able = [each for each in able if line.uptime - each.last_uptime <= QUIET] or able
        if outcome == FAILED:       # a hook that found the other one at work; or no transaction, which logs no start
            able = [each for each in able if each.busy]
        if able:
            chosen, chosen.end_confidence = self.choose(able, "end", line.uptime)
            for other in able:
                self.doubt[other] = chosen.end_confidence
            chosen.outcome = outcome
            self.leave(chosen)
        else:
            chosen = self.new(path, line)
            chosen.started, chosen.outcome = False, outcome
        chosen.end_line, chosen.last_uptime, chosen.last_number = line, line.uptime, line.number

    def choose(self, able, here, now):
        """The invocation that usually goes on like this; among equals the one that has waited longest for its end, or
        that wrote last. One that should have gone on long ago leaves it to another of its name: it may be dead."""
        if len(able) == 1:
            return able[0], self.doubt.get(able[0], SURE)
        if len({each.path for each in able}) < len(able):
            able = self.punctual(able, now)
        best, leaders = -1, []
        for each in able:
            longer, shorter = self.expected.get(each) or self.expect(each)
            score = USUAL_AFTER_TWO if longer and here in longer else UNKNOWN if shorter is None else \
                USUAL_AFTER_ONE if here in shorter else UNUSUAL
            if score > best:
                best, leaders = score, [each]
            elif score == best:
                leaders.append(each)
        if len(leaders) == 1:
            return leaders[0], max(LIKELY, self.doubt.get(leaders[0], SURE), key=CONFIDENCES.index)
        return (leaders[0] if here == "end" else max(leaders, key=lambda each: each.last_number)), GUESS

    def punctual(self, able, now):
        """Without those that are overdue beside one of their name that is not."""
        overdue = {each for each in able
                   if self.order.overdue(each.path, self.newest_shapes(each)[1], now - each.last_uptime)}
        others = {each.path for each in able if each not in overdue}
        return [each for each in able if each not in overdue or each.path not in others]

    def expect(self, each):
        self.expected[each] = self.order.after(each.path, *self.newest_shapes(each))
        return self.expected[each]

    def newest_shapes(self, each):
        for raw in self.tails.pop(each, ()) if self.tails else ():
            line = parse(raw, 0) if raw else None
            if line:
                self.last[each] = (self.last[each][1], shape(line))
        return self.last[each]

"""How the lines of each command usually follow each other, learned from the log itself."""
from collections import defaultdict

from ipv6trace.log_line import parse, shape
from ipv6trace.log_source import split

ENOUGH_RUNS = 50            # of a path, from which its order is learned
ENOUGH_BYTES = 1 << 26      # of the log
ENOUGH_SHAPES = 20000       # a forged log has no order
ENOUGH_FRAMES = 200_000
MANY_RUNS = 16              # open at a time; more are none that this device has
LATE = 2                    # seconds beyond the longest pause that was seen; one of them is the clock's whole seconds
QUIET = 600                 # seconds without a line after which a run counts as gone without an end


class UsualOrder:
    """{(path, shape before, shape): shapes seen right after them} and the same without the shape before, and how long
    that took at most, from the stretches in which one invocation was open alone."""

    def __init__(self, source):
        self.order = defaultdict(set)
        self.pauses = defaultdict(int)          # (path, shape): most seconds to the line behind it
        self.running = defaultdict(list)        # path: uptimes of its starts
        self.learned = defaultdict(int)
        self.frames = 0
        self.last = None                        # (path, shape before, shape) while one is open alone and worth it
        self.newest = 0                         # uptime of its newest line
        for offset, block in source.blocks():
            if offset > ENOUGH_BYTES or len(self.order) > ENOUGH_SHAPES or self.frames > ENOUGH_FRAMES:
                break
            for raw in split(block):
                if raw.startswith(b"[main]["):
                    line = parse(raw, 0)
                    frame = line and line.frame
                    if frame:
                        self.take_frame(line, frame)
                        continue
                if self.last:
                    line = parse(raw, 0)
                    if line:
                        self.follow(shape(line), line.uptime)

    def after(self, path, before, last):
        """(shapes seen after these two, shapes seen after the last one); None for what was never seen."""
        return self.order.get((path, before, last)), self.order.get((path, last))

    def overdue(self, path, last, silent):
        """Whether a run has been silent for longer behind this shape than any that was seen: it may be dead."""
        return (path, last) in self.pauses and silent > self.pauses[path, last] + LATE

    def follow(self, here, uptime):
        path, before, last = self.last
        self.order[path, before, last].add(here)
        self.order[path, last].add(here)
        self.pauses[path, last] = max(self.pauses[path, last], uptime - self.newest)
        self.last, self.newest = (path, last, here), uptime

    def take_frame(self, line, frame):
        self.frames += 1
        path = frame[1]
        if frame[2] == "start.":
            self.forget_the_dead(line.uptime)
            self.running[path].append(line.uptime)
            alone = self.open_runs() == 1
            self.last = (path, "", "start") if alone and self.learned[path] < ENOUGH_RUNS else None
            self.newest = line.uptime
        else:
            if self.last and self.last[0] == path:
                self.follow("end", line.uptime)
                self.learned[path] += 1
                self.last = None
            if self.running.get(path):
                self.running[path].pop(0)

    def open_runs(self):
        return sum(map(len, self.running.values()))

    def forget_the_dead(self, now):
        if self.open_runs() > MANY_RUNS:
            self.running.clear()
        for path, starts in list(self.running.items()):
            starts[:] = [start for start in starts if now - QUIET <= start <= now + 2]
            if not starts:
                del self.running[path]

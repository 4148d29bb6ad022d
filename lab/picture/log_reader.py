"""Reads a diagnostic log and takes it apart into invocations.

The log has no process number: a line says which routine wrote it and at which second, the first and last line of a
run also say under which name it was started. While one invocation is open, every line is its. While several are open,
a line goes to the one that can have written it (some routines belong to few commands) and that usually goes on so,
judged by the stretches of the same log in which an invocation was alone. How sure that is stays with the line.
"""
import json
import re
from collections import defaultdict
from dataclasses import dataclass, field

WORDS = ("zel_ipv6_lan", "zel_ip6neigh_update", "zel_dhcp6c_update", "zel_resolv_update", "zel_ipcp_up",
         "zel_ipcp_down", "zel_ipv6cp_up", "zel_ipv6cp_down", "zel_ifconfig", "wan6c_restart", "ipv6rd_restart",
         "dhcp6c_start", "dhcp6c_restart", "dhcp6c_release", "dhcp6c_renew", "ipv6_lan_restart")
WITHOUT_RECORD = ("zel_ip6neigh_update", "zel_resolv_update", "zel_ipcp_up", "zel_ipcp_down", "zel_ifconfig")
WITH_RECORD = tuple(word for word in WORDS if word not in WITHOUT_RECORD)     # these load the parameter record
DETECTING = ("zel_ipv6cp_up", "wan6c_restart", "dhcp6c_start", "dhcp6c_restart", "dhcp6c_renew")

# What only some commands can log; a routine that is not here can belong to any.
ROUTINES = {"prepare_parm": WITH_RECORD, "prepare_parm_lan1": WITH_RECORD, "get_serial_number": WITH_RECORD,
            "dhcp6c_main": ("zel_dhcp6c_update",), "waninfo_main": DETECTING,
            "zel_ip6neigh_update": ("zel_ip6neigh_update",), "zel_ipcp_up": ("zel_ipcp_up",),
            "zel_ipcp_down": ("zel_ipcp_down",), "start_lla": ("zel_ipv6_lan",)}
SHELL_LINES = {"ccfg_cli set ip6_pre_manual_gid": WITH_RECORD, "/etc/init.d/cron add ": ("zel_ipv6_lan",),
               "iptables-save ": ("zel_ipcp_up",), "iptables-restore ": ("zel_ipcp_up",),
               "conntrack -F": ("zel_ipcp_up",)}

SURE, LIKELY, GUESS = CONFIDENCES = ("sure", "likely", "guess")
DONE, FAILED, UNENDED = "done", "failed", "no end"
PREFIX = re.compile(r"\[([^\]\[]*)\]\[(-?\d+)\] ?(.*)", re.S)
FRAME = re.compile(r"\^_\^\[(.*)\] (start\.|ERROR_NONE, end\.|ERROR_INTERNAL, end)$", re.S)
SHELL = re.compile(r"\[(-?\d+)\](.*)", re.S)
REASON = re.compile(r"The reason is (\w+)")
BUSY = re.compile(r"script_running\[\s*\+?0*[1-9]")


@dataclass
class Line:
    number: int                 # in the log, from 1
    time: float                 # seconds since the log's first line
    uptime: int                 # as logged, whole seconds
    routine: str
    message: str
    confidence: str = SURE      # that its invocation wrote it
    since: float = 0.0          # time of the line before it of the same invocation

    @property
    def shell(self):
        """(status, command line) of a shell line's report, None for any other line."""
        match = SHELL.fullmatch(self.message) if self.routine == "zel_system" else None
        return (int(match[1]), match[2]) if match else None

    @property
    def is_parameter(self):
        """One of the many lines that say what was loaded from the store."""
        return self.routine in ("prepare_parm", "prepare_parm_lan1")


@dataclass(eq=False)
class Invocation:
    number: int
    path: str                               # argv[0]
    begin: float
    end: float                              # of the last line when no end was seen
    outcome: str = UNENDED
    lines: list[Line] = field(default_factory=list)
    end_confidence: str = SURE
    started: bool = True                    # False: only its end is in the log
    overlaps: list["Invocation"] = field(default_factory=list)
    during: tuple["Invocation", Line] | None = None     # ran wholly while that shell line of another one was running

    @property
    def word(self):
        return next((word for word in WORDS if word in self.path), self.path.rpartition("/")[2])

    @property
    def title(self):
        """The command's word and, for an event of the client, its reason."""
        for line in self.lines:
            reason = REASON.match(line.message) if line.routine == "dhcp6c_main" else None
            if reason:
                return f"{self.word} {reason[1]}"
        return self.word

    @property
    def shell_lines(self):
        return [line for line in self.lines if line.shell]

    @property
    def unsure(self):
        return [line for line in self.lines if line.confidence != SURE]


@dataclass
class Log:
    invocations: list[Invocation]
    strays: list[Line]                      # written while no invocation was open
    exact: bool                             # False: times within a second are only an order
    first: float = 0.0                      # what `time` counts from: epoch with arrival times, uptime without

    @property
    def span(self):
        """(begin, end) of all that happened, in seconds."""
        times = [t for each in self.invocations for t in (each.begin, each.end)] + [line.time for line in self.strays]
        return (min(times), max(times)) if times else (0.0, 0.0)


def read_log(text):
    """Takes the text of a log file. Lines of one second are spread over it in their order."""
    lines = split_messages((None, line) for line in text.split("\n"))
    spread_within_seconds(lines)
    return assemble(lines, exact=False)


def read_arrivals(text):
    """Takes JSON lines {"t": epoch, "line": text} as the lab keeps them: when each line was seen to arrive. What is not
    such a record (a cut last line) is left out."""
    records = []
    for entry in text.split("\n"):
        try:
            record = json.loads(entry)
            records.append((float(record["t"]), str(record["line"])))
        except (ValueError, TypeError, KeyError):
            continue
    return assemble(split_messages(records), exact=True)


def split_messages(records):
    """A line without a prefix continues the message before it; empty lines are the frame's."""
    lines = []
    for number, (time, text) in enumerate(records, 1):
        match = PREFIX.fullmatch(text.rstrip("\n"))
        if match:
            lines.append(Line(number, time or 0.0, int(match[2]), match[1], match[3]))
        elif text.strip() and lines:
            lines[-1].message += "\n" + text
    return lines


def spread_within_seconds(lines):
    start = 0
    clock = lines[0].uptime if lines else 0
    while start < len(lines):
        stop = start
        while stop < len(lines) and lines[stop].uptime <= max(clock, lines[start].uptime):
            stop += 1
        clock = max(clock, lines[start].uptime)
        for place, line in enumerate(lines[start:stop]):
            line.time = clock + (place + 0.5) / (stop - start)
        start = stop


ADDRESS = re.compile(r"\b[0-9A-Fa-f]*:[0-9A-Fa-f:.]*[0-9A-Fa-f]*(?:/\d+)?")
NUMBER = re.compile(r"\b\d+\b")


def shape(line):
    """What stays the same in a line from run to run: no addresses, no numbers, nothing behind a colon or an equals sign
    (what was loaded), but the names in it."""
    if line.shell:
        return "$ " + NUMBER.sub("0", ADDRESS.sub("A", line.shell[1]))[:60]
    if line.routine == "set_ipv6_addr":         # its last number says whether the address comes or goes
        return line.routine + " " + ADDRESS.sub("A", line.message)[:60]
    return line.routine + " " + NUMBER.sub("0", re.split(r"[=:]", line.message)[0])[:40]


def usual_order(lines):
    """{(path, shape before, shape): shapes seen right after them} and the same without the shape before, from the
    stretches in which one invocation was open alone."""
    order = defaultdict(set)
    running = defaultdict(int)
    last = None
    for line in lines:
        frame = FRAME.fullmatch(line.message) if line.routine == "main" else None
        if frame and frame[2] == "start.":
            running[frame[1]] += 1
            last = (frame[1], "", "start") if sum(running.values()) == 1 else None
            continue
        if last and sum(running.values()) == 1:
            here = "end" if frame else shape(line)
            order[last].add(here)
            order[(last[0], last[2])].add(here)
            last = (last[0], last[2], here)
        if frame and running[frame[1]]:
            running[frame[1]] -= 1
            last = None
    return order


def assemble(lines, exact):
    first = lines[0].time if lines else 0.0
    latest = 0.0
    for line in lines:
        latest = line.time = max(latest, line.time - first)
    sorter = Sorter(usual_order(lines))
    for line in lines:
        sorter.take(line)
    for each in sorter.invocations:
        for before, line in zip([None, *each.lines], each.lines):
            line.since = before.time if before else each.begin
    relate(sorter.invocations)
    return Log(sorter.invocations, sorter.strays, exact, first)


class Sorter:
    """Hands each line to one of the open invocations."""

    def __init__(self, order):
        self.order = order
        self.invocations, self.open, self.strays = [], [], []
        self.last = {}                      # the two newest shapes of each open invocation
        self.doubt = {}                     # of those that may be another one of their name since an unsure end

    def take(self, line):
        frame = FRAME.fullmatch(line.message) if line.routine == "main" else None
        if not frame:
            self.ordinary(line)
        elif frame[2] == "start.":
            self.begin(frame[1], line)
        else:
            self.end(frame[1], line, DONE if frame[2].startswith("ERROR_NONE") else FAILED)

    def begin(self, path, line):
        each = Invocation(len(self.invocations) + 1, path, line.time, line.time)
        self.invocations.append(each)
        self.open.append(each)
        self.last[each] = ("", "start")

    def ordinary(self, line):
        words = possible_words(line)
        able = [each for each in self.open if words is None or each.word in words]
        if not able:
            self.strays.append(line)
            return
        chosen, line.confidence = self.choose(able, shape(line))
        chosen.lines.append(line)
        chosen.end = line.time
        self.last[chosen] = (self.last[chosen][1], shape(line))

    def end(self, path, line, outcome):
        able = [each for each in self.open if each.path == path]
        if outcome == FAILED:       # a hook that found the other one at work; or no transaction, which logs no start
            able = [each for each in able if each.lines and BUSY.search(each.lines[-1].message)]
        if able:
            chosen, confidence = self.choose(able, "end")
            self.open.remove(chosen)
            for other in able:
                self.doubt[other] = confidence
        else:
            chosen, confidence = Invocation(len(self.invocations) + 1, path, line.time, line.time, started=False), SURE
            self.invocations.append(chosen)
        chosen.end, chosen.outcome, chosen.end_confidence = line.time, outcome, confidence

    def choose(self, able, here):
        """The invocation that usually goes on like this; among equals the one that has waited longest for its end, or
        that wrote last."""
        if len(able) == 1:
            return able[0], self.doubt.get(able[0], SURE)
        scores = {each: self.score(each, here) for each in able}
        best = max(scores.values())
        leaders = [each for each in able if scores[each] == best]
        if len(leaders) == 1:
            return leaders[0], max(LIKELY, self.doubt.get(leaders[0], SURE), key=CONFIDENCES.index)
        return (leaders[0] if here == "end" else max(leaders, key=lambda each: each.end)), GUESS

    def score(self, each, here):
        """3: usual after its last two lines, 2: after its last one, 1: nothing is known, 0: unusual."""
        before, last = self.last[each]
        longer, shorter = self.order.get((each.path, before, last)), self.order.get((each.path, last))
        if longer and here in longer:
            return 3
        return 1 if shorter is None else 2 if here in shorter else 0


def possible_words(line):
    """The commands that can have written a line; None when all can."""
    if line.shell:
        return next((words for text, words in SHELL_LINES.items() if line.shell[1].startswith(text)), None)
    if line.routine == "main":
        named = re.match(r"@?(zel_ipv6cp_\w+)|@\[set_ip6addr\]", line.message)
        return (named[1] or "zel_ifconfig",) if named else None
    return ROUTINES.get(line.routine)


def relate(invocations):
    """Fills in `overlaps` and `during`."""
    for number, one in enumerate(invocations):
        for other in invocations[number + 1:]:
            if other.begin > one.end:
                break                       # they are in the order of their begin
            if not (one.started and other.started):
                continue
            one.overlaps.append(other)
            other.overlaps.append(one)
            for line in one.shell_lines:
                if other.outcome == DONE and line.since <= other.begin and other.end <= line.time:
                    other.during = (one, line)

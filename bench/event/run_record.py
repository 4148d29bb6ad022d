"""Reads the record of runs that run_recorder.c writes."""
import re
from dataclasses import dataclass, field

from split import Part

STARTS_ADVERTISING = re.compile(r"^radvd -C ")
# How a pause is known: its milliseconds, the shell line before it in its run and the one behind it.
PAUSES = (
    (800, r"^killall radvd;", r"", "radvd was stopped: 800 ms"),
    (1000, r"", r"/conf/br-lan/forwarding$", "unique-local address of LAN0 was taken off: 1 s"),
    (1000, r"", r"/conf/br-lan1/forwarding$", "unique-local address of LAN1 was taken off: 1 s"),
    (1000, r"addr flush \S+ scope global$", r"", "duplicate check of the WAN address: 1 s"),
)


@dataclass
class Step:
    kind: str               # "sleep" or "line"
    text: str
    begin: float
    end: float | None = None


@dataclass
class Run:
    name: str
    reason: str
    begin: float
    end: float | None = None
    steps: list = field(default_factory=list)


def runs(text):
    """The runs of a record, in the order of their begins."""
    found, at_work = [], {}
    for line in text.splitlines():
        words = (line + " ").split(" ", 3)
        if len(words) < 4:
            continue
        pid, moment, kind, rest = words[0], float(words[1]), words[2], words[3].rstrip()
        if kind == "start":
            name, _, reason = rest.partition(" ")
            at_work[pid] = Run(name, reason, moment)
            found.append(at_work[pid])
            continue
        run = at_work.get(pid)
        if run is None:
            continue
        if kind == "end":
            run.end = moment
            del at_work[pid]
        elif kind in ("sleep", "line"):
            run.steps.append(Step(kind, rest, moment))
        elif kind in ("woke", "done") and run.steps:
            run.steps[-1].end = moment
    return found


def name_of_pause(run, step):
    """What the pause is for. One that is not known is told by what stands around it, never dropped."""
    at = run.steps.index(step)
    before = next((each.text for each in reversed(run.steps[:at]) if each.kind == "line"), "")
    behind = next((each.text for each in run.steps[at:] if each.kind == "line"), "")
    for milliseconds, pattern_before, pattern_behind, name in PAUSES:
        if int(step.text) == milliseconds and re.search(pattern_before, before) and re.search(pattern_behind, behind):
            return name
    return f"{step.text} ms between \"{before}\" and \"{behind}\""


def parts(text, begin, end):
    """The parts of the runs that were at work in [begin, end]."""
    found = []
    for run in runs(text):
        run_end = run.end if run.end is not None else end
        if run_end <= begin or run.begin >= end:
            continue
        found.append(Part("own", f"{run.name} {run.reason}".strip(), run.begin, run_end))
        for step in run.steps:
            step_end = step.end if step.end is not None else run_end
            if step.kind == "sleep":
                found.append(Part("pause", name_of_pause(run, step), step.begin, step_end))
            else:
                found.append(Part("program", step.text, step.begin, step_end))
    if not found:
        raise ValueError("the record shows no run: the recorder was not loaded into the program")
    return found


def advertising_starts(text, begin, end):
    """When the last line that starts the advertising daemon within [begin, end] was done; None when there was none."""
    found = [step.end for run in runs(text) for step in run.steps
             if step.kind == "line" and STARTS_ADVERTISING.search(step.text) and step.end and begin <= step.end <= end]
    return max(found, default=None)

"""Checks of a run: what was expected, whether it was seen, and what was seen instead, each in a sentence."""
import json
import time
import traceback
from dataclasses import dataclass, field

from netlab.node import NodeError
from netlab.wait import NotYet, wait_for

# After a check that did not hold, a later one meets what was never filled in.
BUILDS_ON_NOTHING = (LookupError, ValueError, TypeError, AttributeError)


@dataclass
class Check:
    expected: str
    held: bool
    seen: str
    seconds: float


@dataclass
class Step:
    title: str
    begun: float
    seconds: float = 0.0
    checks: list[Check] = field(default_factory=list)

    def held(self):
        return all(check.held for check in self.checks)


class Checks:
    """Collects checks by step and tells `listener` (see `report.Narrator`) of each as it happens."""

    def __init__(self, listener):
        self.steps = []
        self.listener = listener
        self.begin = time.monotonic()
        self.faults = []

    def elapsed(self):
        return time.monotonic() - self.begin

    def step(self, title):
        self.end_step()
        self.steps.append(Step(title, self.elapsed()))
        self.listener.step(len(self.steps), self.steps[-1])

    def end_step(self):
        if self.steps and not self.steps[-1].seconds:
            self.steps[-1].seconds = self.elapsed() - self.steps[-1].begun

    def run_step(self, routine):
        """Runs one step, titled by its routine's first line of documentation. A step that breaks off is one more check
        that did not hold; the steps after it are still tried."""
        self.step(routine.__doc__.splitlines()[0])
        try:
            routine()
        except (NotYet, NodeError, *BUILDS_ON_NOTHING) as error:
            self.add(Check("The step could be done to its end", False, self.reason(error), 0.0))
        self.end_step()

    def expect(self, expected, probe, *args, within=20.0):
        """Waits until `probe(*args)` returns and notes that the sentence `expected` held; the probe raises `NotYet`
        with a sentence about what it sees instead. What it returns is noted as what was seen and handed back; None
        when the check did not hold."""
        start = time.monotonic()
        result = None
        try:
            result = wait_for(lambda: probe(*args), within)
            held, seen = True, describe(result)
        except (NotYet, NodeError, *BUILDS_ON_NOTHING) as error:
            held, seen = False, self.reason(error)
        self.add(Check(expected, held, seen, time.monotonic() - start))
        return result if held else None

    def add(self, check):
        self.steps[-1].checks.append(check)
        self.listener.check(check, self.elapsed())

    def reason(self, error):
        """What is wrong, in a sentence. A fault that is not a plain "not yet" is also kept with its whereabouts."""
        if isinstance(error, BUILDS_ON_NOTHING):
            self.faults.append(traceback.format_exc())
            return f"what it builds on is not there ({type(error).__name__}: {error})"
        return str(error)

    def held(self):
        return bool(self.steps) and all(step.held() for step in self.steps)

    def failures(self):
        return [(step, check) for step in self.steps for check in step.checks if not check.held]

    def as_json(self):
        """The whole run as plain values."""
        return {"ok": self.held(), "seconds": round(self.elapsed(), 2), "steps": [
            {"title": step.title, "ok": step.held(), "begun": round(step.begun, 2), "seconds": round(step.seconds, 2),
             "checks": [{"expected": check.expected, "ok": check.held, "seen": check.seen,
                         "seconds": round(check.seconds, 2)} for check in step.checks]} for step in self.steps]}


def describe(result):
    if isinstance(result, str):
        return result
    if isinstance(result, dict) and "local" in result:
        return f"{result['local']}/{result['prefixlen']}"
    if isinstance(result, (list, tuple)) and all(isinstance(item, str) for item in result):
        return ", ".join(result)
    return "" if result is None or result is True else json.dumps(result, default=str)

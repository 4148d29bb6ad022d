"""Checks of a run: what was expected, whether it was seen, and what was seen instead, each in a sentence."""
import json
import time
from dataclasses import dataclass, field

from netlab.node import NodeError
from netlab.wait import NotYet, wait_for


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
        self.waiting_factor = 1.0

    def elapsed(self):
        return time.monotonic() - self.begin

    def step(self, title):
        self.end_step()
        self.steps.append(Step(title, self.elapsed()))
        self.listener.step(len(self.steps), self.steps[-1])

    def end_step(self):
        if self.steps and not self.steps[-1].seconds:
            self.steps[-1].seconds = self.elapsed() - self.steps[-1].begun

    def expect(self, expected, probe, within=20.0):
        """Waits until `probe` returns and notes that the sentence `expected` held; the probe raises `NotYet` with a
        sentence about what it sees instead. What it returns is noted as what was seen (a text) and handed back; None
        when the check did not hold."""
        start = time.monotonic()
        result = None
        try:
            result = wait_for(probe, within)
            held, seen = True, describe(result)
        except (NotYet, NodeError) as error:
            held, seen = False, str(error)
        except (LookupError, ValueError, TypeError, AttributeError) as error:
            # An earlier check did not hold, so what this one builds on is not there.
            held, seen = False, f"it could not be looked at ({type(error).__name__}: {error})"
        check = Check(expected, held, seen, time.monotonic() - start)
        self.steps[-1].checks.append(check)
        self.listener.check(check, self.elapsed())
        return result if held else None

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

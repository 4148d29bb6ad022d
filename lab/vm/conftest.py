"""Boots a guest for a flow and hands its results to the flow's tests."""
import os
import sys
from pathlib import Path

import pytest

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent)]

import machine  # noqa: E402
import record  # noqa: E402
from picture.plugin import places  # noqa: E402

BUILD = Path(os.environ.get("IPV6CTL_BUILD", str(HERE.parent.parent / "build"))).resolve()
LIMIT = 1500                # seconds for all scenarios of a flow


def last_wanted(session, flow):
    """The last scenario of a flow that is among the tests of this run; those behind it need not run."""
    wanted = {item.callspec.params["scenario"] for item in session.items
              if getattr(getattr(item, "module", None), "FLOW", None) is flow}
    return [name for name in flow.scenarios if name in wanted][-1]


def run_flow(flow, last):
    """Boots the guest; returns what became of the machine and the record that it left."""
    machine.preload("ppp_as_ethernet")
    folder = machine.exchange(places()[0] / f"vm_{flow.name}")
    blank = flow.record(last)
    blank.write(folder)                     # until the guest writes its own
    run = machine.boot(folder, "env", f"PYTHONPATH={HERE}:{HERE.parent}", "/usr/bin/python3", "-B", "-u",
                       HERE / f"{flow.name}_flow.py", BUILD, last, limit=LIMIT)
    found = record.read(folder)
    if all(test["reason"] == record.NOT_REACHED for test in found["tests"]):
        blank.write(folder, trouble=run.told())
    return run, {test["name"]: test for test in found["tests"]}


@pytest.fixture(scope="session")
def outcome(request):
    """A function: holds a scenario of a flow to what the guest found; the first call for a flow boots its guest."""
    runs, told = {}, set()

    def of(flow, scenario):
        if flow.name not in runs:
            runs[flow.name] = run_flow(flow, last_wanted(request.session, flow))
        run, tests = runs[flow.name]
        test = tests[scenario]
        if test["reason"] == record.NOT_REACHED:
            why = "see the first" if flow.name in told else run.told()
            told.add(flow.name)
            pytest.fail(f"{record.NOT_REACHED}: {why}", pytrace=False)
        assert test["result"] == "passed", test["reason"]
    return of

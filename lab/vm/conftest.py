"""Boots a guest for a flow and hands its results to the flow's tests."""
import json
import os
import sys
from pathlib import Path

import pytest

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent)]

import guest  # noqa: E402
import machine  # noqa: E402

BUILD = Path(os.environ.get("IPV6CTL_BUILD", str(HERE.parent.parent / "build"))).resolve()
LIMIT = 1500                # seconds for all scenarios of a flow


@pytest.fixture(scope="session")
def outcome():
    """A function: the result of one scenario of a flow; the first call for a flow boots its guest."""
    runs = {}

    def of(flow, scenario):
        if flow not in runs:
            machine.preload("ppp_as_ethernet")
            runs[flow] = machine.boot(BUILD / "vm" / flow, "env", f"PYTHONPATH={HERE}:{HERE.parent}",
                                      "/usr/bin/python3", "-B", "-u", HERE / f"{flow}_flow.py", BUILD, limit=LIMIT)
        run = runs[flow]
        results = run.folder / guest.RESULTS
        results = json.loads(results.read_text(encoding="utf-8")) if results.exists() else {}
        assert scenario in results, f"the guest did not come to it: {run.told()}"
        assert results[scenario]["held"], results[scenario]["seen"]
        return results[scenario]
    return of

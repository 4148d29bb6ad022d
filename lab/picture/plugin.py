"""Writes the report when a run of pytest on the lab ends: import the three functions in conftest.py.

The runs are where the scenarios put them (IPV6CTL_RUNS, else build/lab/runs); the page is report.html beside that
folder. A page that cannot be written is told and changes no result.
"""
import os
import time
import traceback
from pathlib import Path

from ipv6trace.timeline import count

from picture.report import write_report

REPOSITORY = Path(__file__).resolve().parents[2]
BEGUN = "picture_begun"
TOLD = "picture_told"


def places():
    """(folder of the runs, file of the page)."""
    runs = Path(os.environ.get("IPV6CTL_RUNS", str(REPOSITORY / "build" / "lab" / "runs")))
    return runs, runs.parent / "report.html"


def pytest_configure(config):
    setattr(config, BEGUN, time.time())


def pytest_sessionfinish(session):
    if hasattr(session.config, "workerinput"):      # a worker of xdist; the main process has the whole picture
        return
    runs, page = places()
    if not any(runs.glob("*/scenario.json")):
        return
    try:
        shown = write_report(runs, page, since=getattr(session.config, BEGUN, None))
        told = f"lab report: {page} ({count(len(shown), 'scenario')})"
    except Exception:                               # the picture must not turn the result of the tests
        told = "lab report: could not be written\n" + traceback.format_exc()
    setattr(session.config, TOLD, told)


def pytest_terminal_summary(terminalreporter, config):
    if hasattr(config, TOLD):
        terminalreporter.write_line(getattr(config, TOLD))

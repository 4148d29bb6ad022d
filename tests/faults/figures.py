"""What the fault tests have done, as numbers: build/reliability/faults.json.

One object a figure: its counters, added up over the tests and the processes of one session, and the session's form. A
new session starts a figure anew when it first touches it.
"""
import fcntl
import json
import os
import pathlib

FILE = pathlib.Path(__file__).resolve().parent.parent.parent / "build/reliability/faults.json"
LONG = os.environ.get("LONG") == "1"


class Figures:
    def __init__(self):
        self._session = os.environ.get("PYTEST_XDIST_TESTRUNUID") or f"process {os.getpid()}"

    def add(self, name, **counts):
        """Adds to the counters of one figure."""
        FILE.parent.mkdir(parents=True, exist_ok=True)
        with open(FILE, "a+", encoding="ascii") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            file.seek(0)
            text = file.read()
            every = json.loads(text) if text else {}
            figure = every.get(name, {})
            if figure.get("session") != self._session:
                figure = {"session": self._session, "form": "full" if LONG else "short"}
            for counter, count in counts.items():
                figure[counter] = figure.get(counter, 0) + count
            every[name] = figure
            file.seek(0)
            file.truncate()
            file.write(json.dumps(every, indent=1, sort_keys=True) + "\n")

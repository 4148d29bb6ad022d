"""The runs that a lab left in a folder."""
import json
from dataclasses import dataclass
from pathlib import Path

from ipv6trace.log_reader import Log, read_arrivals, read_log


@dataclass
class Run:
    folder: Path
    record: dict
    log: Log
    trouble: str = ""               # why its record could not be read

    @property
    def title(self):
        return str(self.record.get("title") or self.record.get("name") or self.folder.name)

    @property
    def result(self):
        return str(self.record.get("result") or "unknown")

    @property
    def seconds(self):
        start, end = number(self.record.get("start")), number(self.record.get("end"))
        return end - start if start is not None and end is not None else None

    @property
    def start(self):
        return number(self.record.get("start")) or 0.0


def number(value):
    return float(value) if isinstance(value, (int, float)) else None


def read_runs(folder):
    """Every subfolder with a scenario.json, in the order of their start. A record that cannot be read is a run too: one
    of which nothing else is known."""
    runs = []
    for path in sorted(Path(folder).glob("*/scenario.json")):
        record, trouble = {}, ""
        try:
            record = json.loads(path.read_text(encoding="utf-8", errors="replace"))
            if not isinstance(record, dict):
                raise ValueError("it is not an object")
        except (OSError, ValueError) as error:
            record, trouble = {"result": "failed"}, f"{path.name} cannot be read: {error}"
        runs.append(Run(path.parent, record, read_run_log(path.parent, record), trouble))
    return sorted(runs, key=lambda run: run.start)


def read_run_log(folder, record):
    """The log with arrival times; the plain one where there are none."""
    for path, reader in ((folder / str(record.get("log") or "gw/log.jsonl"), read_arrivals),
                         (folder / "gw/files/tmp/ipv6.log", read_log)):
        if path.resolve().is_relative_to(folder.resolve()) and path.is_file():
            return reader(path.read_text(encoding="utf-8", errors="replace"))
    return read_log("")

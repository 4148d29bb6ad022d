"""A store of its own for every test, its tool, and the figures of docs/reliability.md.

LONG=1 runs the long form: every bit, every length, more writers and more noise.
"""
import fcntl
import json
import os
import pathlib
import subprocess

import pytest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("IPV6CTL_BUILD", REPOSITORY / "build")).resolve()
CLI = BUILD / "ccfg_cli"
PROGRAM = BUILD / "ipv6ctl"
DRIVER = BUILD / "tests/store/store_driver"
LONG = os.environ.get("LONG") == "1"
FIGURES = REPOSITORY / "build/reliability/store.json"

DAMAGED = "is damaged or is not a settings store; it is left as it is"


class Store:
    def __init__(self, folder):
        self.folder = folder
        self.path = folder / "ccfg.db"

    def environment(self):
        return {"PATH": "/usr/bin:/bin", "TESA_STORE": str(self.path)}

    def run(self, command, stdin=b"", **options):
        """Runs a program on this store: (status, output, errors) as bytes."""
        done = subprocess.run([str(word) for word in command], input=stdin, capture_output=True, check=False,
                              env=self.environment(), timeout=600, **options)
        return done.returncode, done.stdout, done.stderr

    def cli(self, *arguments, stdin=b""):
        return self.run([CLI, *arguments], stdin)

    def fill(self, keys=60, value="value"):
        lines = "".join(f"k{i}@lan0={value}{i}\n" for i in range(keys)).encode()
        assert self.cli("import", stdin=lines) == (0, b"", b"")
        return self.path.read_bytes()

    def listed(self):
        status, output, errors = self.cli("list")
        assert (status, errors) == (0, b"")
        return output

    def names(self):
        return sorted(entry.name for entry in self.folder.iterdir())

    def said(self, text):
        """The tool's message about this store."""
        return f"ccfg: {self.path}: {text}\n".encode()


@pytest.fixture
def store(tmp_path):
    folder = tmp_path / "config"
    folder.mkdir()
    return Store(folder)


@pytest.fixture
def figure():
    """Writes one row of figures; tests of other processes add theirs to the same file."""

    def write(name, **numbers):
        FIGURES.parent.mkdir(parents=True, exist_ok=True)
        with open(FIGURES.with_suffix(".lock"), "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            rows = json.loads(FIGURES.read_text()) if FIGURES.exists() else {}
            rows[name] = {**numbers, "form": "long" if LONG else "short"}
            unfinished = FIGURES.with_suffix(".new")
            unfinished.write_text(json.dumps(rows, indent=1, sort_keys=True) + "\n")
            unfinished.rename(FIGURES)

    return write


def numbers_of(line):
    """The `name=number` words of the driver's last line."""
    words = line.decode().strip().splitlines()[-1].split()
    return {name: int(number) for name, number in (word.split("=") for word in words)}

"""The recorder (companions/recorder) as tests use it: on the program of a build folder, compiled when a test begins."""
import contextlib
import fcntl
import os
import pathlib
import subprocess
import sys

TREE = pathlib.Path(__file__).resolve().parents[2]
RECORDER = TREE / "companions/recorder"
sys.path.insert(0, str(RECORDER))

from ipv6recorder import private_root                               # noqa: E402
from ipv6recorder.network import NetNamespace, World                # noqa: E402, F401
from ipv6recorder.private_root import COMMANDS, REAL_TOOLS, RECORDERS, command  # noqa: E402, F401


def program_path():
    return pathlib.Path(os.environ.get("IPV6CTL", TREE / "build/ipv6ctl")).resolve()


def store_tool_path():
    return pathlib.Path(os.environ.get("CCFG_CLI", TREE / "build/ccfg_cli")).resolve()


class Template(private_root.Template):
    """The root's template with the recorder's small programs, made once beside the program under test."""

    def __init__(self):
        self.tools = program_path().parent / "device-tests"
        self.tools.mkdir(exist_ok=True)
        with self.locked():
            super().__init__(program_path(), store_tool_path(), self.compile("recorder", RECORDER / "recorder.c"),
                             self.compile("launcher", RECORDER / "launcher.c"),
                             self.compile("instant.so", RECORDER / "instant.c", "-shared", "-fPIC", "-ldl"))

    @contextlib.contextmanager
    def locked(self):
        """Keeps test processes from compiling the same program at once."""
        with open(self.tools / "lock", "w", encoding="ascii") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            yield

    def compile(self, name, source, *flags):
        """Brings a program or library of the tests up to date; call it within `locked`."""
        made = self.tools / name
        if not made.exists() or made.stat().st_mtime < source.stat().st_mtime:
            fresh = self.tools / (name + ".new")
            subprocess.run([os.environ.get("CC", "cc"), "-O1", "-Wall", "-Wextra", "-Wno-format-truncation", "-o",
                            fresh, source, *flags], check=True)
            fresh.rename(made)
        return made

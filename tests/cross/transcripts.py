"""Writes what every run of the program did in a device test: `pytest -p transcripts` with CROSS_TRANSCRIPTS naming a
folder.

One file a test, named by it. Everything that a run leaves is in it, as it is; but for what no two builds share: the
loader's variables in the recorders' environment.
"""
import os
import pathlib
import re
import zlib

FOLDER = pathlib.Path(os.environ["CROSS_TRANSCRIPTS"])
_LOADER = ("LD_PRELOAD", "_")


def _lines(run):
    yield f"argv {run.argv!r}"
    yield f"status {run.status}"
    yield f"killed {run.killed!r}"
    yield f"pauses {run.pauses!r}"
    for name in ("log", "console", "stdout", "stderr"):
        yield from (f"{name} {line!r}" for line in getattr(run, name).splitlines(keepends=True))
    yield from (f"journal {entry!r}" for entry in run.journal)
    for call in run.calls:
        variables = {name: text for name, text in call.env.items() if name not in _LOADER}
        yield f"call {list(call)!r} {sorted(variables.items())!r}"
    for name in ("files", "switches", "store_before", "store", "addresses"):
        yield from (f"{name} {key} {value!r}" for key, value in sorted(getattr(run, name).items()))


def pytest_collection_modifyitems():
    import gateway

    run_program = gateway.Gateway.run

    def recorded(self, *args, **options):
        done = run_program(self, *args, **options)
        test = os.environ["PYTEST_CURRENT_TEST"].rsplit(" ", 1)[0]
        name = re.sub(r"[^A-Za-z0-9_.-]", lambda found: f"%{ord(found[0]):x}", test)
        if len(name) > 200:
            name = f"{name[:180]}-{zlib.crc32(test.encode()):08x}"
        with open(FOLDER / name, "a", encoding="utf-8", errors="surrogateescape") as out:
            out.write("".join(line + "\n" for line in _lines(done)) + "\n")
        return done

    FOLDER.mkdir(parents=True, exist_ok=True)
    gateway.Gateway.run = recorded

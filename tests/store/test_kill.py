"""kill -9 before and after every system call of a change: the old state or the new one, and nobody is hindered."""
import subprocess
import sys
import time

import pytest

from conftest import CLI, DAMAGED, DRIVER, LONG

FACTORY = b"a@lan0=factory\nb@lan0=factory\n"


def set_up(store, kind):
    """Gives the command of a change, and the listings before and after it; None for no store."""
    if kind == "creation":
        (store.folder / "ccfg.factory").write_bytes(FACTORY)
        return [DRIVER, "commit", "0", "v"], None, FACTORY
    if kind == "replacement of a damaged store":
        (store.folder / "ccfg.factory").write_bytes(FACTORY)
        (store.folder / "import").write_bytes(b"b@lan0=mine\n")
        store.path.write_bytes(b"damaged")
        return [CLI, "import", store.folder / "import"], "damaged", b"a@lan0=factory\nb@lan0=mine\n"
    store.fill()
    before = store.listed()
    if kind == "set":
        return [CLI, "set", "k1@lan0=new"], before, before.replace(b"k1@lan0=value1\n", b"k1@lan0=new\n")
    if kind == "unset":
        return [CLI, "unset", "k1@lan0"], before, before.replace(b"k1@lan0=value1\n", b"")
    keys = 300
    lines = b"".join(b"k%d@big=%s\n" % (1000 + i, b"v" * 1000) for i in range(keys))
    after = b"".join(sorted((before + lines).splitlines(keepends=True)))
    return [DRIVER, "commit", str(keys), "v" * 1000], before, after


def reset(store, contents):
    for name in store.names():
        if name not in contents:
            (store.folder / name).unlink()
    for name, text in contents.items():
        (store.folder / name).write_bytes(text)


@pytest.mark.parametrize("kind", ["set", "unset", "transaction of 300 keys", "creation", "replacement of a damaged store"])
def test_a_kill_at_any_system_call_leaves_the_old_state_or_the_new_one(store, figure, kind):
    command, before, after = set_up(store, kind)
    contents = {name: (store.folder / name).read_bytes() for name in store.names()}
    seen = {"old": 0, "new": 0}
    longest = 0.0
    # What the dynamic linker does has nothing to do with the store; the long form kills the program there too.
    startup = store.run([DRIVER, "kill", "0", CLI, "--help"])[1].split()[-1]
    first = stop = 1 if LONG else int(startup) - 8
    while True:
        reset(store, contents)
        status, output, errors = store.run([DRIVER, "kill", str(stop), *command])
        assert status == 0, (output, errors)
        if output.startswith(b"ended"):
            assert output == b"ended 0 %d\n" % (stop - 1)
            break
        assert output == b"killed\n"
        left = store.path.read_bytes() if store.path.exists() else None
        if before is None and left is None:
            seen["old"] += 1
        elif before == "damaged" and left == b"damaged":
            assert store.cli("list") == (1, b"", store.said(DAMAGED)), stop
            assert store.cli("import", store.folder / "import")[0] == 0, stop
            assert store.listed() == after
            seen["old"] += 1
        else:
            listed = store.listed()
            assert listed in (before, after), stop
            seen["old" if listed == before else "new"] += 1
        if before == "damaged":
            assert (store.folder / "ccfg.db.damaged").read_bytes() == b"damaged", stop
        start = time.monotonic()
        assert store.cli("set", "later@lan1=1") == (0, b"", b""), stop
        longest = max(longest, time.monotonic() - start)
        assert b"later@lan1=1\n" in store.listed()
        assert not (store.folder / "ccfg.db.new").exists(), stop
        stop += 1
    assert seen["old"] > 30 and seen["new"] >= 4, seen
    figure(f"kill at every call: {kind}", runs=stop - first, old=seen["old"], new=seen["new"],
           longest_next_commit_ms=round(longest * 1000))


HOLDER = """
import fcntl, os, struct, sys, time
fd = os.open(sys.argv[1], os.O_RDWR | os.O_CREAT, 0o600)
F_OFD_SETLK = 37
fcntl.fcntl(fd, F_OFD_SETLK, struct.pack("hhqqi4x", fcntl.F_WRLCK, 0, 0, 0, 0))
print("held", flush=True)
time.sleep(600)
"""


def test_a_change_that_stands_still_stops_no_reader_and_its_death_frees_the_next_change(store, figure):
    store.fill()
    rounds = 20 if LONG else 4
    for _ in range(rounds):
        with subprocess.Popen([sys.executable, "-c", HOLDER, f"{store.path}.new"], stdout=subprocess.PIPE) as holder:
            assert holder.stdout.readline() == b"held\n"
            with subprocess.Popen([CLI, "set", "waiting@lan0=1"], env=store.environment()) as waiting:
                for _ in range(20):
                    assert store.cli("get", "k1@lan0") == (0, b"value1\n", b"")
                assert store.cli("get", "waiting@lan0") == (1, b"", b"")
                assert waiting.poll() is None
                holder.kill()
                assert waiting.wait(60) == 0
        assert store.cli("get", "waiting@lan0") == (0, b"1\n", b"")
        assert store.cli("unset", "waiting@lan0") == (0, b"", b"")
        assert store.names() == ["ccfg.db", "ccfg.db.lock"]
    figure("reads beside a change that stands still", rounds=rounds, reads=20 * rounds)

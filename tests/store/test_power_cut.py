"""A power cut at any step of a change, whatever part of what was not synced is on the disk."""
import random

import pytest

from conftest import CLI, DRIVER, LONG
from power_cut import SyncFile, SyncFolder, cuts, record

FACTORY = b"a@lan0=factory\n" + b"".join(b"f%d@lan0=%s\n" % (i, b"f" * 90) for i in range(40))


def set_up(store, kind):
    """Gives the command of a change and what may be lost: nothing, or with a new store the store."""
    (store.folder / "ccfg.factory").write_bytes(FACTORY)
    if kind == "creation":
        return [CLI, "get", "a@lan0"]
    if kind == "replacement of a damaged store":
        store.path.write_bytes(b"damaged" * 1000)
        (store.folder.parent / "lines").write_bytes(b"b@lan0=mine\n")
        return [CLI, "import", store.folder.parent / "lines"]
    store.fill()
    if kind == "set after a killed change":
        (store.folder / "ccfg.db.new").write_bytes(b"left behind" * 500)
    if kind == "transaction of 60 keys":
        return [DRIVER, "commit", "60", "v" * 500]
    return [CLI, "set", "k1@lan0=new"]


def contents_of(store):
    return {name: (store.folder / name).read_bytes() for name in store.names()}


def broken_cuts(steps, before, after, picks):
    """Cuts after which the store is neither the old one nor the new one, or no longer the new one at the end."""
    broken = []
    seen = {"old": 0, "new": 0}
    for done, disk in cuts(steps, before, random.Random(1), picks):
        left = disk.read("ccfg.db")
        if left not in (before.get("ccfg.db"), after):
            broken.append((done, left))
        elif done == len(steps) and left != after:
            broken.append((done, "the old store after the end"))
        elif before.get("ccfg.db", b"").startswith(b"damaged") and left == after \
                and disk.read("ccfg.db.damaged") != before["ccfg.db"]:
            broken.append((done, "the damaged store is lost"))
        else:
            seen["new" if left == after else "old"] += 1
    return broken, seen


@pytest.mark.parametrize("kind", ["set", "set after a killed change", "transaction of 60 keys", "creation",
                                  "replacement of a damaged store"])
def test_a_power_cut_leaves_the_old_store_or_the_new_one(store, tmp_path, figure, kind):
    command = set_up(store, kind)
    before = contents_of(store)
    steps = record(command, store.folder, store.environment(), tmp_path / "trace")
    after = store.path.read_bytes()
    assert after != before.get("ccfg.db")
    broken, seen = broken_cuts(steps, before, after, 5000 if LONG else 300)
    assert not broken, broken[:3]
    assert seen["old"] > 10 and seen["new"] >= 1

    # Some of these disks for the tool itself: it goes on from each.
    disks = list(cuts(steps, before, random.Random(2), 3))
    for _, disk in random.Random(3).sample(disks, min(len(disks), 200 if LONG else 15)):
        for name in store.names():
            (store.folder / name).unlink()
        for name, file in disk.names.items():
            (store.folder / name).write_bytes(disk.files[file])
        if store.path.exists() and store.path.read_bytes().startswith(b"damaged"):
            assert store.cli("list")[0] == 1
            assert store.cli("import", stdin=b"")[0] == 0
        assert store.cli("set", "later@lan1=1") == (0, b"", b"")
        assert store.listed().endswith(b"later@lan1=1\n")
        assert "ccfg.db.new" not in store.names()
    figure(f"power cut: {kind}", steps=len(steps), disks=sum(seen.values()), old=seen["old"], new=seen["new"])


@pytest.mark.parametrize("kind,missing", [("set", SyncFile), ("set", SyncFolder), ("creation", SyncFile),
                                          ("replacement of a damaged store", SyncFolder)])
def test_the_model_notices_a_missing_sync(store, tmp_path, kind, missing):
    command = set_up(store, kind)
    before = contents_of(store)
    steps = record(command, store.folder, store.environment(), tmp_path / "trace")
    assert any(isinstance(step, missing) for step in steps)
    without = [step for step in steps if not isinstance(step, missing)]
    assert broken_cuts(without, before, store.path.read_bytes(), 300)[0]

"""Many writers at a time: nothing is lost, nobody waits long."""
import os

from conftest import DRIVER, LONG, numbers_of


def test_sixteen_writers_lose_nothing_and_none_waits_for_a_second(store, figure):
    commits = 200 if LONG else 50
    status, output, errors = store.run([DRIVER, "writers", "16", str(commits)])
    assert status == 0, (output, errors)
    numbers = numbers_of(output)
    assert (numbers["commits"], numbers["failed"], numbers["lost"]) == (16 * commits, 0, 0)
    assert store.names() == ["ccfg.db", "ccfg.db.lock"]
    # Who waits is overtaken by the other fifteen, and a few times more when a processor is late.
    assert numbers["overtaken"] < 16 * 10
    # A machine that has other work is as much slower.
    load = max(1.0, os.getloadavg()[0] / os.cpu_count())
    assert numbers["longest_ms"] < 1000 * load
    figure("16 writers, overlapping keys", **numbers, load=round(load, 1))

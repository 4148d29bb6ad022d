"""Two invocations at once, every pair of the commands.

What they leave is compared with what either leaves alone, or both one after the other: each file is one of those, and
each value of the store. What a daemon or a loader reads when it starts is copied away at that moment and compared too.
"""
import itertools
import random

import pytest

from clean import RULESET, torn_lines
from figures import LONG
from sandbox import COMMANDS
from scenes import GUARD, LEASE, SCENES, furnish, plain_store, tunnel_store

ROUNDS = 10 if LONG else 1
SEED = 5
PAIRS = list(itertools.combinations_with_replacement(COMMANDS, 2))
HOOKS = {"zel_ipv6cp_up", "zel_ipv6cp_down"}
# Programs that read a file when they start, and where in their arguments it is.
READERS = {"radvd": 2, "dhcp6d": 3, "ip6tables-restore": 1}
COPIES = "/gw/loaded"
WRITTEN = [RULESET, "/tmp/radvd.conf", "/tmp/dhcp6d.conf", "/tmp/dhcp6c-wan.conf"]
_alone = {}


def situation(new_gateway, pair, reason):
    """A gateway for both; a tunnel when one of them is about tunnels."""
    gateway = new_gateway()
    store = tunnel_store() if "ipv6rd_restart" in pair else plain_store()
    # The flag is reset at once, the id with the commit: who comes between sees the
    # old id. Here the id is not there yet.
    store["ip6_pre_manual_gid@lan1"] = "0"
    del store["ip6_ula_gid@lan1"]
    env = {"reason": reason, "interface": "ppp0", "stateless": "0", **(LEASE if reason == "BOUND6" else {})}
    furnish(gateway, store, env)
    gateway.folder(COPIES)
    for program, argument in READERS.items():
        gateway.script(program, sh=f'cat "${argument}" > {COPIES}/{program}.$$ 2>&1 || rm {COPIES}/{program}.$$')
    return gateway


def loaded(gateway):
    """{program: [what it read, ...]}"""
    found = {program: [] for program in READERS}
    for place in sorted(gateway.place(COPIES).iterdir()):
        found[place.name.rsplit(".", 1)[0]].append(place.read_text())
        place.unlink()
    return found


def words(command):
    return SCENES[command].command, *SCENES[command].args


class Outcomes:
    """What the two may leave: one alone, or both in either order, the second with the store from before the first,
    from before its commit (what ccfg_cli has removed is gone by then), or from after it. The orders are tried only when
    something is neither."""

    def __init__(self, new_gateway, pair, reason):
        self._new, self._pair, self._reason = new_gateway, pair, reason
        self._seen = [self._one(command) for command in dict.fromkeys(pair)]
        self._ordered = False

    def _one(self, command):
        key = command, "ipv6rd_restart" in self._pair, self._reason
        if key not in _alone:
            gateway = situation(self._new, self._pair, self._reason)
            run = gateway.run(*words(command))
            _alone[key] = run, loaded(gateway), run.store_before
        return _alone[key]

    def _in_order(self, first, second, sees):
        gateway = situation(self._new, self._pair, self._reason)
        earlier = gateway.run(*words(first))
        before = loaded(gateway)
        if sees == "before":
            gateway.store = dict(earlier.store_before)
        elif sees == "removals":
            gateway.store = {key: value for key, value in earlier.store_before.items() if key in earlier.store}
        run = gateway.run(*words(second))
        after = loaded(gateway)
        return run, {program: before[program] + after[program] for program in READERS}, run.store_before

    def _every(self, fits):
        if any(fits(seen) for seen in self._seen):
            return True
        if not self._ordered:
            self._ordered = True
            self._seen += [self._in_order(*pair, sees) for pair in {self._pair, self._pair[::-1]}
                           for sees in ("before", "removals", "commit")]
        return any(fits(seen) for seen in self._seen)

    def has_file(self, path, text):
        return self._every(lambda seen: seen[0].files.get(path) == text or text in
                           seen[1].get("ip6tables-restore" if path == RULESET else path.rsplit("/", 1)[-1][:-5], []))

    def has_loaded(self, program, text):
        return self._every(lambda seen: text in seen[1][program])

    def has_value(self, key, value):
        return self._every(lambda seen: value in (seen[0].store.get(key), seen[2].get(key)))


def together(gateway, pair, after):
    """Runs both; returns the run, whose fields hold what both did, and their statuses."""
    first, second = pair
    name, *args = words(first)
    path = "/usr/sbin/" + name
    gateway.with_fault("-2", after)
    gateway.starter += [path, path, *args, "--"]
    run = gateway.run(*words(second))
    return run, [int(line) for line in gateway.read("/gw/pair").split()]


@pytest.mark.parametrize("pair", PAIRS, ids="+".join)
def test_two_at_once_leave_whole_files_and_known_values(new_gateway, figures, pair):
    chance = random.Random(f"{SEED} {pair}")
    for turn in range(ROUNDS):
        reason = "EFFECT6" if (turn + PAIRS.index(pair)) % 2 else "BOUND6"
        order = pair if chance.random() < 0.5 else pair[::-1]
        after = chance.randrange(0, 30000) if turn % 3 else chance.randrange(0, 3000)
        gateway = situation(new_gateway, pair, reason)
        run, statuses = together(gateway, order, after)
        outcomes = Outcomes(new_gateway, pair, reason)

        refused = statuses.count(255)
        assert sorted(statuses) in ([1, 1], [1, 255]), (reason, after)
        assert not refused or set(pair) <= HOOKS        # a hook met the guard of the other
        assert torn_lines(run) == []
        starts = [line for line in run.log_lines if line.endswith("] start.")]
        ends = [line for line in run.log_lines if line.endswith("] ERROR_NONE, end.")]
        errors = [line for line in run.log_lines if line.endswith("] ERROR_INTERNAL, end")]
        assert (len(starts), len(ends), len(errors)) == (2, 2 - refused, refused)

        for path in WRITTEN:
            if path in run.files:
                assert outcomes.has_file(path, run.files[path]), (path, reason, after)
        read = loaded(gateway)
        for program, texts in read.items():
            for text in texts:
                assert outcomes.has_loaded(program, text), (program, text, reason, after)
        for key in {*run.store, *run.store_before}:
            assert outcomes.has_value(key, run.store.get(key)), (key, run.store.get(key), reason, after)
        assert run.files.get(GUARD, "0") == "0"
        figures.add("two invocations at once", pairs=int(turn == 0), rounds=1, refused_by_the_guard=refused,
                    files_compared=sum(path in run.files for path in WRITTEN),
                    texts_that_daemons_read=sum(map(len, read.values())), values_compared=len(run.store),
                    log_lines=len(run.log_lines))


def test_there_are_as_many_pairs_as_sixteen_commands_make():
    assert len(set(PAIRS)) == 136 == 16 * 17 // 2

"""Death at any moment: the store is an old state or a new one, and nobody who comes later is hindered.

A command's store moves through a few states: one after each `ccfg_cli` line, which commits by itself, and the last one
with the command's own commit. The run that follows a death is compared with a run that finds the same store, the same
state files, switches and addresses, but nothing else of what the dead one left.
"""
import random
import re

import pytest

from clean import clean_run
from figures import LONG
from scenes import GUARD, SCENES, STATE_FILES

ROUNDS = 85 if LONG else 4
SEED = 20
SET = re.compile(r"ccfg_cli set ([^=]+)=(.*)")
UNSET = re.compile(r"ccfg_cli unset (.*)")


def states_of(run):
    """The states that the store has had, in order."""
    found = [dict(run.store_before)]
    for line in run.lines:
        state = dict(found[-1])
        if (change := SET.fullmatch(line)) is not None:
            state[change.group(1)] = change.group(2)
        elif (change := UNSET.fullmatch(line)) is not None:
            state.pop(change.group(1), None)
        if state != found[-1]:
            found.append(state)
    if run.store != found[-1]:
        found.append(dict(run.store))
    return found


def moment(chance, took):
    """A random moment of a run; every second one is near its begin or its end, where the store is in use."""
    kind = chance.randrange(4)
    if kind == 0:
        return chance.randrange(min(2500, took))
    if kind == 1:
        return max(0, took - chance.randrange(5000))
    return chance.randrange(took)


def what_stays(gateway, run):
    """What a later run may find of an earlier one."""
    return (dict(run.store), {path: gateway.read(path) for path in STATE_FILES}, gateway.kernel_switches(),
            run.addresses)


def run_with_only(new_gateway, name, stays):
    """A run that finds nothing but that."""
    store, files, switches, addresses = stays
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    gateway.store = dict(store)
    for path, text in files.items():
        if text is None:
            gateway.remove(path)
        else:
            gateway.file(path, text)
    gateway.set_switches(switches)
    for link, texts in addresses.items():
        for address in texts:
            gateway.address(link, address)
    return SCENES[name].run(gateway)


def told(run, gateway_switches):
    """Everything that a run did, its leftovers aside."""
    return (run.status, run.shell, run.journal, run.log, run.console, run.stdout, run.stderr, run.store,
            run.addresses, gateway_switches)


@pytest.mark.parametrize("name", SCENES)
def test_a_run_that_is_killed_leaves_a_state_of_the_store_and_nothing_in_the_way(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    states = states_of(clean)
    chance = random.Random(f"{SEED} {name}")
    timed = new_gateway()
    SCENES[name].furnish(timed)
    timed.with_fault("-t")
    assert SCENES[name].run(timed).status == 1
    took = timed.took()
    references = {}
    for _ in range(ROUNDS):
        alone = chance.random() < 0.5
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        at = moment(chance, took)
        gateway.with_fault("-k" if alone else "-K", at)
        died = SCENES[name].run(gateway)
        assert died.status in (-9, 1), at
        assert died.store in states, at
        left = died.files

        refused = 0
        gateway.with_fault()
        if gateway.read(GUARD) == "1":      # the next hook is refused until somebody takes the guard away
            if "ipv6cp" in name:
                assert SCENES[name].run(gateway).status == 255
                refused = 1
            gateway.remove(GUARD)
        stays = what_stays(gateway, died)
        after = SCENES[name].run(gateway)
        switches = gateway.kernel_switches()
        key = repr(stays)
        if key not in references:
            reference = run_with_only(new_gateway, name, stays)
            references[key] = reference, told(reference, None)
        reference, wanted = references[key]
        assert told(after, None) == wanted, at
        assert after.status == 1
        assert {path: after.files.get(path) for path in reference.files} == reference.files, at
        assert set(after.files) - set(reference.files) <= set(left), at
        assert switches.keys() >= stays[2].keys()
        figures.add("killed at a random moment", runs=1, killed=int(died.status == -9), alone=int(alone),
                    all_at_once=int(not alone), old_state=int(died.store == states[0]),
                    new_state=int(died.store == states[-1] != states[0]),
                    between=int(died.store not in (states[0], states[-1])), refused_by_the_guard=refused,
                    following_runs_compared=1)

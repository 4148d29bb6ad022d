"""What is measured by turns and compared: with the floor, with shell scripts, with the start of a bare program."""
import dataclasses
import json
import pathlib
import shlex
import statistics

import place as places
from place import peer, plan, program
from scenes import FLOOR, Scene, lan_restart, neighbors

TWINS = pathlib.Path(__file__).resolve().parent / "twin"
SHELLS = {"dash": ["/host/dash", "sh"], "busybox ash": ["/host/busybox", "sh"]}
UNKNOWN = ["/usr/sbin/ipv6ctl", "unknown"]


def spread(values):
    """Median and quartiles, in microseconds of nanoseconds."""
    low, middle, high = statistics.quantiles(values, n=4) if len(values) > 1 else values * 3
    return {"median": round(middle / 1000, 2), "q1": round(low / 1000, 2), "q3": round(high / 1000, 2),
            "n": len(values)}


def ratio(above, below):
    """The median of the rounds' ratios, with quartiles, of two lists taken by turns."""
    pairs = [a / b for a, b in zip(above, below)]
    low, middle, high = statistics.quantiles(pairs, n=4) if len(pairs) > 1 else pairs * 3
    return {"median": round(middle, 4), "q1": round(low, 4), "q3": round(high, 4)}


def expect(status, *runs):
    for run in runs:
        if run.statuses != {status}:
            raise RuntimeError(f"exit status {run.statuses}, not {status}")


def compared(name, ours, other, goal, **more):
    """One row: two programs taken by turns, by the clock and on the processor."""
    by_clock = ratio(ours.ns, other.ns)
    return {"name": name, "us": spread(ours.ns), "other_us": spread(other.ns), "ratio": by_clock,
            "cpu_us": spread(ours.cpu), "other_cpu_us": spread(other.cpu), "cpu_ratio": ratio(ours.cpu, other.cpu),
            "goal": goal, "met": by_clock["median"] <= goal, **more}


# --- the floor

def floor(rounds):
    rows = []
    with places.Place() as place:
        for name, (words, scene) in FLOOR.items():
            place.furnish(scene)
            lines, log = place.record(program(*words))
            least = peer("floor", place.put("plan", plan(lines, log)))
            ours, other = place.sample(program(*words), least, rounds=rounds)
            expect(1, ours, other)
            rows.append(compared(name, ours, other, 1.05, shell_lines=len(lines), log_lines=len(log)))
    return rows


# --- the start

def start(rounds):
    with places.Place() as place:
        place.furnish(Scene())
        ours, bare, empty = place.sample(UNKNOWN, peer("bare"), peer("empty_transaction"), rounds=rounds, preload=None)
        expect(1, ours)
        expect(0, bare, empty)
    return [compared("a bare int main(){return 0;}", ours, bare, 1.5),
            compared("an empty store transaction", ours, empty, 1.5)]


def load(rounds):
    """Loading all parameters: where its time goes, in microseconds."""
    with places.Place() as place:
        place.furnish(lan_restart())
        runs, = place.sample(peer("load"), rounds=rounds)
        expect(0, runs)
        samples = [json.loads(line) for line in place.read("out/runs.text").splitlines()]
    own = [s["cpu"] - s["store"] - s["shell_cpu"] for s in samples]
    return {
        "own_cpu_us": spread(own), "goal_us": 500, "met": statistics.median(own) < 500_000,
        "own_cpu_with_starting_shells_us": spread([s["cpu"] - s["store"] for s in samples]),
        "store_us": spread([s["store"] for s in samples]), "store_calls": samples[0]["store_calls"],
        "store_opening_us": spread([s["store_opening"] for s in samples]),
        "shells_us": spread([s["shell"] for s in samples]), "shell_calls": samples[0]["shell_calls"],
        "wall_us": spread([s["wall"] for s in samples])}


# --- shell scripts

def calls_of_script(place, script):
    """The outside programs that a script starts, one shell word list each, as strace sees them."""
    place.sample(["/host/strace", "strace", "-f", "-s", "4096", "-e", "trace=execve", "-o", "/gw/out/strace",
                  "/host/dash", script], rounds=1, warmup=0, variables={"PAUSE": ":"})
    calls = []
    for line in place.read("out/strace").decode().splitlines():
        if "execve(" in line and line.endswith("= 0"):
            words = json.loads("[" + line.split("[", 1)[1].rsplit("], ", 1)[0] + "]")
            path = line.split('"', 2)[1]
            calls.append((path, words))
    own = ("/awk", "/dash")
    return [shlex.join([path, *words[1:]]) for path, words in calls if not path.endswith(own)]


def twins(rounds):
    """The program and a script that does the same, with the outside programs' cost and without."""
    restart = lan_restart()
    export = "".join(f"{key}={value}\n" for key, value in sorted(restart.store.items()))
    restart = dataclasses.replace(restart, answers={**restart.answers, "ccfg_cli/export": export})
    situations = {
        "ipv6_lan_restart": ("ipv6_lan_restart.sh", restart, {}),
        "zel_ip6neigh_update, 10 neighbors": ("ip6neigh_update.sh", neighbors(10), {}),
        "zel_ip6neigh_update, 10 neighbors, the script with the log": (
            "ip6neigh_update.sh", neighbors(10), {"LOG": "1"}),
        "zel_ip6neigh_update, 100 neighbors, the script with the log": (
            "ip6neigh_update.sh", neighbors(100), {"LOG": "1"})}
    rows = []
    with places.Place() as place:
        for name, (script, scene, variables) in situations.items():
            words = program(name.split(",")[0])
            place.furnish(scene)
            lines, _ = place.record(words)
            text = place.put("twin.sh", (TWINS / script).read_bytes())
            calls = calls_of_script(place, text)
            only_calls = place.put("calls.sh", ("\n".join(calls) + "\n").encode())
            only_lines = peer("floor", place.put("plan", plan(lines, [])))
            for shell, starter in SHELLS.items():
                ours, ours_lines, theirs, theirs_lines = place.sample(
                    words, only_lines, [*starter, text], [*starter, only_calls], rounds=rounds,
                    variables={"PAUSE": ":", **variables})
                expect(1, ours, ours_lines)
                expect(0, theirs, theirs_lines)
                row = compared(name, ours, theirs, 0.5, shell=shell, shell_lines=len(lines), script_calls=len(calls))
                without = [a - b for a, b in zip(ours.cpu, ours_lines.cpu)]
                without_script = [a - b for a, b in zip(theirs.cpu, theirs_lines.cpu)]
                row["own_cpu_us"], row["other_own_cpu_us"] = spread(without), spread(without_script)
                row["own_ratio"] = round(statistics.median(without) / statistics.median(without_script), 4)
                row["own_goal"], row["own_met"] = 0.2, row["own_ratio"] <= 0.2
                rows.append(row)
    return rows

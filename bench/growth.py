"""How the cost grows with what there is to do: neighbors, filter records, extra routes, settings, the log."""
import dataclasses
import math
import statistics

import counts
import place as places
from place import peer, plan, program
from ratios import UNKNOWN, expect, ratio, spread
from scenes import DEVICE, HOME, Scene, lan_restart, neighbors, padded


LINE = 60       # bytes of a line of the log, on average, when there are many neighbors


@dataclasses.dataclass
class Series:
    """Points (x, cost) of one growing thing. `unit` is that of the cost; `forced` says what the rules order."""
    name: str
    label: str
    unit: str
    forced: str
    rows: list

    def as_dict(self):
        """Each row has `cost`, and `least`, what the rules alone cost or a number that grows as they order."""
        ours, least = (exponent([(row["x"], row[which]) for row in self.rows]) for which in ("cost", "least"))
        return {**dataclasses.asdict(self), "exponent": ours, "forced_exponent": least, "met": ours <= least + 0.1}


def exponent(points):
    """The slope of the line through the points on logarithmic axes: 1 is linear, 2 quadratic, 0 constant."""
    usable = [(math.log(x), math.log(cost)) for x, cost in points if x > 0 and cost > 0]
    if len(usable) < 2:
        return None
    middle_x, middle_y = (statistics.fmean(values) for values in zip(*usable))
    above = sum((x - middle_x) * (y - middle_y) for x, y in usable)
    return round(above / sum((x - middle_x) ** 2 for x, _ in usable), 3)


def neighbor_table(sizes):
    """`sizes` is {neighbors: rounds}. The cost is that of one line of the log, beside a bare one's."""
    rows = []
    with places.Place() as place:
        for count, rounds in sizes.items():
            place.furnish(neighbors(count))
            words = program("zel_ip6neigh_update")
            lines = count * count + 3 * count + 6       # the empty lines behind the first and the last one are two
            least = peer("floor", place.put("plan", b"S1 ip -6 neigh show > /tmp/.ip6_neigh_show\0"
                                            b"L%d %s\0" % (lines, b"x" * (LINE - 1) + b"\n")))
            ours, bare = place.sample(words, least, rounds=rounds, warmup=min(rounds - 1, 2))
            expect(1, ours, bare)
            if place.log_size()[0] != lines:
                raise RuntimeError(f"{count} neighbors: {place.log_size()} lines and bytes of log, not {lines} lines")
            cost, least_cost = (statistics.median(runs.cpu) / 1000 for runs in (ours, bare))
            rows.append({"x": count, "cost": cost, "least": least_cost, "log_lines": lines, "us": spread(ours.ns),
                         "bare_us": spread(bare.ns), "ratio": ratio(ours.ns, bare.ns),
                         "cpu_ratio": ratio(ours.cpu, bare.cpu), "us_a_line": round(cost / lines, 4),
                         "bare_us_a_line": round(least_cost / lines, 4)})
    return Series("neighbors", "neighbors, all known and all there", "us",
                  "every neighbor shown is compared with the table's from its start, and each comparison is two "
                  "lines of the log: quadratic", rows)


def user_filter(sizes):
    rows = []
    with places.Place() as place:
        for size in sizes:
            in_force, out_of_force = (counts.count(place, ("ipv6_lan_restart",), counts.with_filter(size, which))
                                      for which in (True, False))
            rows.append({"x": size, "cost": in_force - out_of_force, "least": size})
    return Series("filter", "records of the user's filter", "instructions", "two rules a range of a record: linear",
                  rows)


def with_routes(count):
    ids = range(0x10, 0x10 + count)
    answers = {f"ccfg_cli/extra_sid_{at}@system": f"{subnet:x}\n" for at, subnet in enumerate(ids, 1)}
    answers |= {f"ccfg_cli/extra_gateway_{at}@system": "fe80::a\n" for at in range(1, count + 1)}
    scene = lan_restart(**{"add_static_route@system": "1", "num_extra_routes@system": str(count)})
    table = "fe80::a dev br-lan lladdr 02:00:00:00:00:0a router STALE\n"
    return dataclasses.replace(scene, answers={**DEVICE, **answers, "ip": table})


def extra_routes(sizes):
    """`sizes` is {routes: rounds}. The cost is what is left above the same shell lines and log lines."""
    rows = []
    with places.Place() as place:
        for count, rounds in sizes.items():
            place.furnish(with_routes(count))
            words = program("ipv6_lan_restart")
            lines, log = place.record(words)
            least = peer("floor", place.put("plan", plan(lines, log)))
            ours, bare = place.sample(words, least, rounds=rounds, warmup=1)
            expect(1, ours, bare)
            rows.append({"x": count, "cost": statistics.median(ours.cpu) / 1000,
                         "least": statistics.median(bare.cpu) / 1000, "shell_lines": len(lines),
                         "log_lines": len(log), "us": spread(ours.ns), "bare_us": spread(bare.ns),
                         "ratio": ratio(ours.ns, bare.ns), "cpu_ratio": ratio(ours.cpu, bare.cpu)})
    return Series("routes", "extra routes", "us",
                  "every id is compared with all before it, each asked of ccfg_cli by a shell line: quadratic", rows)


def store(sizes, rounds):
    """The cost is that of a run with nothing to do above a bare program's start."""
    rows = []
    with places.Place() as place:
        for size in sizes:
            place.furnish(Scene(padded(HOME, size)))
            ours, bare = place.sample(UNKNOWN, peer("bare"), rounds=rounds, preload=None)
            expect(1, ours)
            rows.append({"x": size, "least": size,
                         "cost": (statistics.median(ours.cpu) - statistics.median(bare.cpu)) / 1000,
                         "us": spread(ours.ns), "bare_us": spread(bare.ns), "ratio": ratio(ours.ns, bare.ns)})
    return Series("store", "settings in the store", "us",
                  "the file is read and checked whole when it is opened: linear", rows)


def log_file(sizes, rounds):
    rows = []
    with places.Place() as place:
        for size in sizes:
            place.furnish(Scene(files={"/tmp/ipv6.log": "a line of an earlier run\n" * (size // 25)}))
            ours, bare = place.sample(UNKNOWN, peer("bare"), rounds=rounds, preload=None)
            expect(1, ours)
            rows.append({"x": size, "cost": statistics.median(ours.cpu) / 1000, "least": 1, "us": spread(ours.ns),
                         "bare_us": spread(bare.ns), "ratio": ratio(ours.ns, bare.ns)})
    return Series("log", "bytes in the log", "us", "lines are appended: constant", rows)

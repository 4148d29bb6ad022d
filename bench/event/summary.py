"""Medians and spread of the measurements of one contender and one change."""
import statistics

from split import KINDS

MOMENTS = {
    "second_host_tentative": "host1, on the second LAN, has an address, tentative",
    "second_host_usable": "host1's address is usable",
    "advertised": "the prefix is advertised on the first LAN",
    "tentative": "host0, there, has an address, tentative",
    "usable": "host0's address is usable",
}


def spread(values):
    """{"median", "low", "high"} in seconds, with the quarters below and above the median when there are enough."""
    found = {"median": statistics.median(values), "low": min(values), "high": max(values)}
    if len(values) >= 4:
        found["quartiles"] = statistics.quantiles(values, n=4, method="inclusive")[::2]
    return {key: [round(each, 6) for each in value] if isinstance(value, list) else round(value, 6)
            for key, value in found.items()}


def seconds_of(run, **wanted):
    return sum(part["seconds"] for part in run["parts"] if all(part[key] == value for key, value in wanted.items()))


def names(runs, kind):
    """The names of the parts of a kind, in the order in which they came first."""
    return list(dict.fromkeys(part["name"] for run in runs for part in run["parts"] if part["kind"] == kind))


def by_name(runs, kind):
    found = {}
    for name in names(runs, kind):
        found[name] = {"runs": sum(any(part["kind"] == kind and part["name"] == name for part in run["parts"])
                                   for run in runs),
                       **spread([seconds_of(run, kind=kind, name=name) for run in runs])}
    return found


def summarize(runs):
    """`runs` are measurements as dictionaries (measure.Measurement)."""
    kinds = [kind for kind in KINDS if any(part["kind"] == kind for run in runs for part in run["parts"])]
    return {"repetitions": len(runs),
            "moments": {key: spread([run[key] for run in runs]) for key in MOMENTS},
            "kinds": {kind: spread([seconds_of(run, kind=kind) for run in runs]) for kind in kinds},
            "without_pauses": spread([run["tentative"] - seconds_of(run, kind="pause") for run in runs]),
            "program_calls": spread([float(sum(part["kind"] == "program" for part in run["parts"])) for run in runs]),
            "pauses": by_name(runs, "pause"), "programs": by_name(runs, "program"), "runs": runs}


def middle(summary):
    """The run whose time to the usable address is the median, or the one below it."""
    return sorted(summary["runs"], key=lambda run: run["usable"])[(len(summary["runs"]) - 1) // 2]

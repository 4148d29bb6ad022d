"""Fixtures of the scenarios.

    def test_a_host_gets_an_address_of_the_new_prefix(lab_with):
        \"\"\"The first line is the scenario's title in the report.\"\"\"
        lab = lab_with(isp=IspConfig(delegated_length=60), settings={"ip6_gua_sid@lan0": "03"})
        reply = lab.online()                                  # or start_lans, plug_in, command("..."), bound
        assert lab.line.dhcp("SOLICIT")[0].has_ia_pd          # what the wire saw
        lab.settles(lambda: lab.hosts[0].resolve("www.isp.example"), ["3fff:100:80::80"])      # what a host sees

`lab_with(...)` brings a lab up for this one test (about a second); it is taken down after it, whatever happens.
`shared_lab_with(...)` is the same for the tests of a module that do not disturb each other: the first call of the
module makes the lab, later ones return it (use it in a module-scoped fixture of your own). Arguments:

    isp          IspConfig, or a function FOLDER -> node for another provider (see netlab/isp.py)
    settings     {"key@section": value} written before anything runs; section "wan" is the WAN's
    shared_line  the line takes further nodes: lab.lab.add_neighbor(NAME) (a node whose eth0 is on it, down)

What comes back is a netlab.scenario.Scenario; its helpers, by what they are for:

    up           start_lans() plug_in() bound() online(); before them nothing has run and the line is unplugged
    run          command(NAME, *ARGS): the program under one of its names; gw.run, hosts[0].run: anything else
    wait         until(SENTENCE, PROBE) settles(PROBE, EXPECTED) idle(); deadlines are generous, never sleep; what was
                 sent this moment may not be in the capture yet, so wait for it too
    store        get("ip6_addr@wan") set(KEY, VALUE)
    daemons      daemons() -> {"radvd": [pid, ...], ...}
    wires        line, lans[0]: dhcp(KIND, since) advertisements(since) packets(since) tcp_to(...); time.time() is since
    log          log_lines(since) client_events(since)
    nodes        lab.add_host("host2", lan=0), lab.add_node(Node(...)) with lab.wire(...), on the Lab `lab.lab`
    calls        netlab.traffic: call(node, "tcp"|"udp"|"icmp", ADDRESS, PORT, PATIENCE), listen(node, tcp=(80,))
    report       note("a sentence for the timeline"), look("a label"): prefixes and addresses of this moment

A run leaves build/lab/runs/TEST/ (or what IPV6CTL_RUNS names): scenario.json (`Scenario.write_record`), console.log,
and a folder for each node with configurations, logs and captures; of the gateway also log.jsonl ({"t", "line"}: the
program's log with the time at which each line came), invocations.jsonl, end/ (firewall, routes, store, ... at the end),
files/ (its /tmp and /etc/config). IPV6CTL_BUILD names another build of the program.
"""
import os
import re
import time
from pathlib import Path

import pytest

pytest.register_assert_rewrite("netlab.scenario")

# The hooks write build/lab/report.html when the session ends.
from netlab.scenario import Scenario  # noqa: E402
from netlab.topology import REPOSITORY  # noqa: E402
from picture.plugin import pytest_configure, pytest_sessionfinish, pytest_terminal_summary  # noqa: E402, F401

BUILD = os.environ.get("IPV6CTL_BUILD", str(REPOSITORY / "build"))
RUNS = Path(os.environ.get("IPV6CTL_RUNS", str(REPOSITORY / "build" / "lab" / "runs")))


REPORTS = pytest.StashKey()
SHARED = pytest.StashKey()


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item):
    """Keeps each phase's report where the fixtures find it when they end."""
    result = yield
    report = result.get_result()
    item.stash.setdefault(REPORTS, {})[report.when] = report


def first_line(text, otherwise):
    return (text or "").strip().splitlines()[0].strip() if (text or "").strip() else otherwise


def folder_name(text):
    return re.sub(r"[^A-Za-z0-9_.-]+", "-", text).strip("-")


def outcome(item):
    """("passed" | "failed", why) of the test as far as it has come."""
    reports = item.stash.get(REPORTS, {})
    for when in ("setup", "call"):
        if when in reports and not reports[when].passed:
            text = str(reports[when].longrepr)
            lines = [line[1:].strip() for line in text.splitlines() if line.startswith("E ")]
            return reports[when].outcome, " ".join(lines)[:2000] or text[-2000:]
    return ("passed", "") if "call" in reports else ("failed", "it was interrupted")


def title_of(item):
    return first_line(item.function.__doc__, item.name.removeprefix("test_").replace("_", " "))


class Labs:
    """The labs of one scope; all are closed, even when one cannot be."""

    def __init__(self):
        self.open = []

    def make(self, name, title, **arguments):
        scenario = Scenario(RUNS / folder_name(name), name, title, BUILD, **arguments)
        self.open.append(scenario)
        scenario.open()
        return scenario

    def close(self):
        faults = []
        for scenario in self.open:
            try:
                scenario.close()
            except Exception as error:  # the other labs must go all the same
                faults.append(error)
        self.open = []
        if faults:
            raise faults[0]


@pytest.fixture
def lab_with(request):
    labs = Labs()
    begin = time.time()

    def make(**arguments):
        name = request.node.name if not labs.open else f"{request.node.name}-{len(labs.open) + 1}"
        return labs.make(name, title_of(request.node), **arguments)
    try:
        yield make
    finally:
        result, reason = outcome(request.node)
        for scenario in labs.open:
            scenario.tests.append({"name": request.node.name, "title": title_of(request.node), "result": result,
                                   "reason": reason, "start": begin, "end": time.time()})
        labs.close()


@pytest.fixture(scope="module")
def shared_lab_with(request):
    labs = Labs()

    def make(**arguments):
        if not labs.open:
            name = request.module.__name__
            labs.make(name, first_line(request.module.__doc__, name), **arguments)
        return labs.open[0]
    request.node.stash[SHARED] = labs
    try:
        yield make
    finally:
        labs.close()


@pytest.fixture(autouse=True)
def told_to_the_shared_lab(request):
    """Every test of a module with a shared lab is a row of that lab's record."""
    begin = time.time()
    yield
    module = request.node.getparent(pytest.Module)
    labs = module.stash.get(SHARED, None)
    if labs and "lab_with" not in request.fixturenames:
        result, reason = outcome(request.node)
        for scenario in labs.open:
            scenario.tests.append({"name": request.node.name, "title": title_of(request.node), "result": result,
                                   "reason": reason, "start": begin, "end": time.time()})

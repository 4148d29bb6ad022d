"""The record of a flow for the report: its scenarios, what the network looked like after each, and where the log is.

The host writes it before the machine boots and the guest after each scenario, so that a machine that does not come up,
or ends early, leaves a record that says how far it came.
"""
import json
import time

from netlab.gateway import BRIDGES
from netlab.host import INTERFACE
from netlab.sightings import SIDES

FILE = "scenario.json"
NOT_REACHED = "the guest did not come to it"


class Record:
    """Of a flow and its scenarios, {name: what it said, or nothing}. Results are kept by `ended`."""

    def __init__(self, name, title, scenarios):
        self.name, self.title = name, title
        self.begin = time.time()
        self.tests = {scenario: {"name": scenario, "title": scenario.replace("_", " "), "result": "failed",
                                 "reason": NOT_REACHED} for scenario in scenarios}
        self.notes, self.looks = [], []
        self.topology, self.isp = {}, {}
        self.looked = None                  # size of the program's log at the newest look

    def note(self, text):
        self.notes.append({"t": round(time.time(), 3), "text": text})

    def ended(self, scenario, begin, held, seen):
        """Keeps a scenario's result: `seen` is what it returned, or why it did not hold."""
        self.tests[scenario] |= {"result": "passed" if held else "failed", "reason": "" if held else seen,
                                 "seen": seen if held else "", "start": begin, "end": time.time()}

    def set_stage(self, stage):
        """Takes nodes, bridges and wires from a stage; its provider's settings are `told`."""
        self.topology = {"nodes": list(stage.nodes), "wires": stage.wires,
                         "bridges": {f"gw:{bridge}": [f"lan{number}"] for number, bridge in enumerate(BRIDGES)}}
        self.isp = stage.told

    def look(self, stage, label):
        """Writes down the prefixes and addresses of this moment, with few commands, because the machine is slow, and
        with none when the program has not run since the last time."""
        gw = stage.gw
        size = len(gw.log())
        if size == self.looked:
            return
        self.looked = size
        routes, links, *store = gw.must(
            "sh", "-c", "ip -j -6 route show; ip -j -6 addr show; ccfg_cli export").splitlines()
        stored = dict(line.split("=", 1) for line in store)
        address, length = (stored.get(f"ip6_dhcp6c_prefix_{key}@system") for key in ("addr", "length"))
        routes = json.loads(routes)
        on_bridge = {side: [route["dst"] for route in routes if route.get("dev") == bridge]
                     for side, bridge in zip(SIDES, BRIDGES)}
        self.looks.append({
            "t": round(time.time(), 3), "label": label,
            "delegated": f"{address}/{length}" if address and length else None,
            "carved": {side: [each for each in found if each.startswith("3fff:")] for side, found in on_bridge.items()},
            "unique_local": {side: [each for each in found if each.startswith("fd")]
                             for side, found in on_bridge.items()},
            "gateway": addresses(json.loads(links)),
            "hosts": {host.name: addresses(host.json("ip", "-j", "-6", "addr"), "global").get(INTERFACE, [])
                      for host in stage.hosts}})

    def write(self, folder, trouble=""):
        """Replaces the record in a folder; `trouble` is what went wrong with the machine as a whole."""
        tests = list(self.tests.values())
        worst = next((test for test in tests if test["result"] != "passed"), None)
        record = {"name": self.name, "title": self.title, "result": "failed" if worst or trouble else "passed",
                  "reason": trouble or (f"{worst['title']}: {worst['reason']}" if worst else ""), "start": self.begin,
                  "end": time.time(), "tests": tests, "notes": self.notes, "isp": self.isp, "topology": self.topology,
                  "looks": self.looks, "captures": sorted(str(path.relative_to(folder)) for path in
                                                          folder.glob("*/*.pcap")),
                  "log": "gw/log.jsonl", "invocations": "gw/invocations.jsonl", "console": "console.log"}
        new = folder / f"{FILE}.new"
        new.write_text(json.dumps(record, indent=1) + "\n", encoding="utf-8")
        new.rename(folder / FILE)


def addresses(links, scope=None):
    """{interface: ["address/length", ...]} of iproute2's records of those that have any; not of the loopback."""
    found = {}
    for link in links:
        texts = [f"{entry['local']}/{entry['prefixlen']}" for entry in link.get("addr_info", [])
                 if "local" in entry and scope in (None, entry.get("scope"))]
        if texts and link.get("ifname") != "lo":
            found[link["ifname"]] = texts
    return found


def read(folder):
    """The record in a folder; an empty one when there is none."""
    path = folder / FILE
    return json.loads(path.read_text(encoding="utf-8")) if path.exists() else {}

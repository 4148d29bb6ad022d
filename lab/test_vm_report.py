"""The report's row of a flow in a virtual machine, which may end before its scenarios do."""
import sys
from pathlib import Path
from types import SimpleNamespace

import pytest
from test_report import arrivals, browse, end, flow, start, write_run

sys.path.insert(0, str(Path(__file__).resolve().parent / "vm"))

from picture.report import write_report  # noqa: E402
from record import NOT_REACHED, Record, read  # noqa: E402

SCENARIOS = ("a_tunnel_carries_hosts", "a_relay_given_by_name_works")
ROUTES = '[{"dst":"3fff:200:a::/64","dev":"br-lan"},{"dst":"fd00:1::/64","dev":"br-lan"},{"dst":"default","dev":"6rd"}]'
LINKS = """[{"ifname":"lo","addr_info":[{"local":"::1","prefixlen":128}]},{},\
{"ifname":"6rd","addr_info":[{"local":"3fff:200::1","prefixlen":128,"scope":"global"}]},\
{"ifname":"br-lan","addr_info":[{"local":"3fff:200:a::1","prefixlen":64,"scope":"global"}]}]"""
STORE = "ip6_dhcp6c_prefix_addr@system=3fff:200::\nip6_dhcp6c_prefix_length@system=40\nip6_dns@wan100="


class FakeGateway:
    """Answers the one command of a look; its log grows when told."""
    def __init__(self):
        self.text, self.asked = "", 0

    def log(self):
        return self.text

    def must(self, *_):
        self.asked += 1
        return f"{ROUTES}\n{LINKS}\n{STORE}\n"


class FakeHost:
    name = "host0"

    @staticmethod
    def json(*_):
        return [{"ifname": "eth0", "addr_info": [{"local": "3fff:200:a::10", "prefixlen": 64, "scope": "global"},
                                                 {"local": "fe80::10", "prefixlen": 64, "scope": "link"}]}]


@pytest.fixture
def stage():
    return SimpleNamespace(gw=FakeGateway(), hosts=[FakeHost()], nodes=["isp", "relay", "gw", "host0"],
                           told={"server_address": "3fff:100:80::80"},
                           wires=[["gw:eth0", "relay:access0"], ["gw:6rd", "relay:border"],
                                  ["relay:core0", "isp:access0"], ["gw:lan0", "host0:eth0"]])


@pytest.fixture
def folder(tmp_path):
    folder = tmp_path / "runs" / "vm_sixrd"
    folder.mkdir(parents=True)
    return folder


def row_of(folder):
    page = folder.parents[1] / "report.html"
    write_run(folder.parent / "a-flow", arrivals(*flow()))      # the measuring script points at this one
    write_report(folder.parent, page)
    seen = browse(page)
    assert (seen["faults"], seen["overlaps"], seen["outside"], seen["empty"]) == ([], [], [], [])
    return next(row for row in seen["rows"] if row["title"] != "a-flow")


def test_a_flow_is_a_row_with_its_scenarios_and_all_three_drawings(folder, stage):
    record = Record("vm_sixrd", "6rd in a virtual machine", SCENARIOS)
    record.set_stage(stage)
    (folder / "gw").mkdir()
    (folder / "gw" / "log.jsonl").write_text(
        arrivals(start("ipv6rd_restart"), "[zel_system][0]/usr/sbin/ip tunnel del 6rd", end("ipv6rd_restart"),
                 first=record.begin), encoding="utf-8")
    for scenario in SCENARIOS:
        record.note(scenario.replace("_", " "))
        stage.gw.text += "more\n"
        record.look(stage, f"after: {scenario}")
        record.ended(scenario, record.begin, True, "['3fff:200:a::10']")
    record.write(folder)
    row = row_of(folder)
    assert (row["result"], row["title"]) == ("passed", "6rd in a virtual machine")
    assert row["facts"].startswith("2 tests, 1 invocation, ran 20")
    assert row["drawings"] == ["Topology", "Prefixes and addresses", "Timeline of 1 invocations",
                               "Shell lines of ipv6rd_restart"]
    assert [test[:2] for test in row["tests"]] == [["passed", "a tunnel carries hosts"],
                                                   ["passed", "a relay given by name works"]]


def test_a_machine_that_ends_early_is_a_failed_row_that_says_how_far_it_came(folder):
    record = Record("vm_sixrd", "6rd in a virtual machine", SCENARIOS)
    record.write(folder)
    record.ended(SCENARIOS[0], record.begin, True, "")
    record.write(folder)
    row = row_of(folder)
    assert (row["result"], row["open"]) == ("failed", True)
    assert row["tests"][0][:2] == ["passed", "a tunnel carries hosts"]
    assert row["tests"][1][:2] == ["failed", f"a relay given by name works{NOT_REACHED}"]


def test_a_machine_that_does_not_come_up_is_a_failed_row(folder):
    Record("vm_sixrd", "6rd in a virtual machine", SCENARIOS).write(folder, trouble="status None, no kernel")
    assert read(folder)["reason"] == "status None, no kernel"
    assert row_of(folder)["result"] == "failed"


def test_a_look_takes_what_the_drawings_need_and_nothing_while_the_program_rests(folder, stage):
    record = Record("vm_sixrd", "6rd", SCENARIOS)
    stage.gw.text = "[main][1] ^_^[/usr/sbin/ipv6rd_restart] start.\n"
    for label in ("one", "two"):
        record.look(stage, label)
    stage.gw.text += "[main][1] ^_^[/usr/sbin/ipv6rd_restart] ERROR_NONE, end.\n"
    record.look(stage, "three")
    record.write(folder)
    looks = read(folder)["looks"]
    assert ([look["label"] for look in looks], stage.gw.asked) == (["one", "three"], 2)
    del looks[0]["t"], looks[0]["label"]
    assert looks[0] == {
        "delegated": "3fff:200::/40", "carved": {"lan0": ["3fff:200:a::/64"], "lan1": []},
        "unique_local": {"lan0": ["fd00:1::/64"], "lan1": []},
        "gateway": {"6rd": ["3fff:200::1/128"], "br-lan": ["3fff:200:a::1/64"]},
        "hosts": {"host0": ["3fff:200:a::10/64"]}}

"""The demo as a test, and the promise that a lab leaves nothing behind, however it ends."""
import json
import os
import re
import signal
import subprocess
from pathlib import Path

import pytest
from leftovers import Watch
from netlab.wait import NotYet, need, wait_for

LAB = Path(__file__).resolve().parent / "lab"
BUILD = os.environ.get("IPV6CTL_BUILD", str(LAB.parent.parent / "build"))


def lab(folder, *verb):
    return [str(LAB), "--build", BUILD, "--out", str(folder), *verb]


@pytest.fixture
def folder(tmp_path):
    return tmp_path / "lab"


@pytest.fixture
def watch(folder):
    watch = Watch(folder)
    yield watch
    watch.close()


def nodes_ready(folder, watch, process):
    """Waits until all four nodes of a starting lab are there, and remembers them."""
    def probe():
        assert process.poll() is None, "the lab ended by itself: " + process.stdout.read()
        if not (folder / "state.json").exists() or watch.note()["phase"] == "starting":
            raise NotYet("the lab is not ready")
        return watch.note()
    state = wait_for(probe, 60)
    assert set(state["nodes"]) == {"isp", "gw", "host0", "host1"}
    assert len(watch.namespaces) == 5 * len(state["nodes"])
    return state


def test_every_check_of_the_demo_holds_and_nothing_is_left_behind(folder, watch):
    process = subprocess.Popen(lab(folder, "demo", "--json"), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    nodes_ready(folder, watch, process)
    output, story = process.communicate(timeout=400)
    result = json.loads(output)
    failed = [check["expected"] + ": " + check["seen"] for step in result["steps"] for check in step["checks"]
              if not check["ok"]]
    assert failed == [], story
    assert (process.returncode, result["ok"], len(result["steps"])) == (0, True, 5), story
    watch.nothing()
    kept = {str(path.relative_to(folder)) for path in folder.rglob("*")}
    assert {"console.log", "result.json", "gw/files/tmp/ipv6.log", "gw/invocations.jsonl", "isp/line.pcap",
            "isp/dhcpd6.conf", "isp/radvd.conf", "host0/lan.pcap", "host1/lan.pcap", "gw/2-wan/radvd.conf",
            "gw/4-firewall/firewall.txt", "gw/5-down/store.txt"} <= kept


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_an_interrupted_demo_keeps_its_files_and_leaves_nothing_behind(folder, watch, number):
    process = subprocess.Popen(lab(folder, "demo"), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    nodes_ready(folder, watch, process)
    process.send_signal(number)
    story, _ = process.communicate(timeout=60)
    assert process.returncode == 128 + number, story
    assert f"Ended by {number.name}" in story
    watch.nothing()
    assert (folder / "result.json").exists()


def test_a_killed_demo_leaves_nothing_running(folder, watch):
    process = subprocess.Popen(lab(folder, "demo"), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    nodes_ready(folder, watch, process)
    process.kill()
    process.communicate(timeout=60)
    watch.nothing(but=["the lab's state file"])


def test_a_lab_stays_up_until_it_is_taken_down(folder, watch):
    up = subprocess.run(lab(folder, "up"), capture_output=True, text=True, timeout=200, check=False)
    try:
        assert up.returncode == 0, up.stderr
        watch.note()
        server = subprocess.run(lab(folder, "exec", "host0", "getent", "ahostsv6", "www"), capture_output=True,
                                text=True, check=False)
        assert server.stdout.startswith("3fff:100:80::80 "), "a host of the connected lab resolves a name"
        name = subprocess.run(lab(folder, "exec", "host1", "hostname"), capture_output=True, text=True, check=False)
        assert (name.returncode, name.stdout) == (0, "host1\n"), name.stderr
        status = subprocess.run(lab(folder, "exec", "gw", "sh", "-c", "exit 7"), check=False)
        assert status.returncode == 7
        shown = subprocess.run(lab(folder, "status"), capture_output=True, text=True, check=False)
        assert shown.returncode == 0 and shown.stdout.startswith("A lab is up"), shown.stderr
        assert re.search(r"runs +.*dhclient.*dhcp6d.*dnsmasq.*radvd.*rdnssd", shown.stdout), shown.stdout
        for tool, said in ((["ipv6trace", "--brief", "--all"], "zel_dhcp6c_update EFFECT6"),
                           (["ipv6rehearse", "ipv6_lan_restart"], "radvd"), (["ipv6status"], "healthy")):
            found = subprocess.run(lab(folder, "exec", "gw", *tool), capture_output=True, text=True, check=False)
            assert found.returncode == 0 and said in found.stdout, f"{tool}: {found.stderr}"
        again = subprocess.run(lab(folder, "up"), capture_output=True, text=True, check=False)
        assert (again.returncode, again.stderr) == (
            1, f"A lab is already up in {folder}; end it with \"lab/lab down\".\n")
    finally:
        down = subprocess.run(lab(folder, "down"), capture_output=True, text=True, timeout=100, check=False)
    assert down.returncode == 0, down.stderr
    watch.nothing()


def test_a_killed_background_lab_leaves_nothing_running_and_the_next_one_starts(folder, watch):
    for _ in range(2):
        up = subprocess.run(lab(folder, "up", "--bare"), capture_output=True, text=True, timeout=200, check=False)
        assert up.returncode == 0, up.stderr
        os.kill(watch.note()["pid"], signal.SIGKILL)
        watch.nothing(but=["the lab's state file"])
    shown = subprocess.run(lab(folder, "status"), capture_output=True, text=True, check=False)
    assert shown.returncode == 1 and "No lab is up" in shown.stdout


def test_a_process_that_stays_in_a_network_of_the_lab_is_found(folder, watch):
    up = subprocess.run(lab(folder, "up", "--bare"), capture_output=True, text=True, timeout=200, check=False)
    assert up.returncode == 0, up.stderr
    state = watch.note()
    with subprocess.Popen(["nsenter", "-t", str(state["nodes"]["gw"]["pid"]), "-n", "sleep", "600"],
                          env={"PATH": os.environ["PATH"]}) as stray:
        try:
            inside = f"/proc/{stray.pid}/ns/net"
            wait_for(lambda: need(os.readlink(inside) == state["nodes"]["gw"]["namespaces"]["net"], "it enters"))
            os.kill(state["pid"], signal.SIGKILL)
            wait_for(lambda: need(watch.left() == [f"process {stray.pid} in a net namespace of the lab: sleep 600",
                                                   "the lab's state file"], "\n".join(watch.left())))
        finally:
            stray.kill()
    watch.nothing(but=["the lab's state file"])


def test_a_folder_that_is_not_a_labs_is_not_emptied(folder):
    folder.mkdir()
    (folder / "letter.txt").write_text("dear", encoding="utf-8")
    run = subprocess.run(lab(folder, "demo"), capture_output=True, text=True, timeout=60, check=False)
    assert run.returncode == 1
    assert "holds files that are not a lab's" in run.stdout
    assert (folder / "letter.txt").read_text(encoding="utf-8") == "dear"

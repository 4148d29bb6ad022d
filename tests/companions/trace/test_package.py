"""What is installed, what the page says, what is completed, and that the tool and the lab draw with one code."""
import json
import re
import shlex
import subprocess
import xml.etree.ElementTree as ElementTree

import pytest
from trace_logs import REPOSITORY, TOOL, end, event, run_of, said, shell, start

TRACE = REPOSITORY / "companions" / "trace"
PAGE = (TRACE / "ipv6trace.1.scd").read_text(encoding="utf-8")
LOG = event("BOUND6", 100, "") + event("EFFECT6", 101, "3fff::", shell(103, "ip6tables-restore /tmp/.ip6t", 2)) \
    + start("zel_ipcp_up", 104) + run_of("dhcp6c_renew", 104, shell(104, "killall radvd", 1)) + end("zel_ipcp_up", 105)


def options():
    """Every long option of --help."""
    text = subprocess.run([str(TOOL), "--help"], capture_output=True, text=True, check=True).stdout
    return set(re.findall(r"--[a-z]+", text))


def test_page_help_and_completion_know_the_same_options():
    completed = (TRACE / "completion" / "ipv6trace").read_text(encoding="utf-8")
    assert options() == set(re.findall(r"--[a-z]+", PAGE)) == set(re.findall(r"--[a-z]+", completed))


def test_the_page_can_be_made_and_read():
    made = subprocess.run(["scdoc"], input=PAGE.encode(), capture_output=True, check=True).stdout
    told = subprocess.run(["mandoc", "-T", "lint", "-W", "error"], input=made, capture_output=True, check=False)
    assert (told.returncode, told.stdout) == (0, b"")


def test_every_example_of_the_page_runs(tool):
    tool.log(LOG)
    examples = re.findall(r"^\t(ipv6trace .*)$", PAGE.partition("# EXAMPLES")[2], re.M)
    assert len(examples) == 9
    for example in examples:
        words = shlex.split(re.sub(r"\\(.)", r"\1", example).replace("/tmp/ipv6.log*", "ipv6.log"))[1:]
        done = tool.run(*words, *([] if words[-1] == "ipv6.log" else ["ipv6.log"]))
        assert (done.returncode, done.stderr) == (0, b""), example
    assert "<svg" in (tool.folder / "timeline.html").read_text(encoding="utf-8")


def test_json_is_what_the_page_describes(tool):
    found = json.loads(tool.text("--json", "--lines", log=LOG))
    described = set(re.findall(r"\*(\w+)\*", PAGE.partition("# JSON")[2].partition("# EXIT STATUS")[0]))

    def members(value):
        if isinstance(value, dict):
            return set(value) | {name for each in value.values() for name in members(each)}
        return {name for each in value for name in members(each)} if isinstance(value, list) else set()
    assert found["schema"] == 1
    assert members(found) <= described
    second = found["invocations"][1]
    assert (second["number"], second["command"], second["reason"], second["failed_shell_lines"]) == (
        2, "zel_dhcp6c_update", "EFFECT6", 1)
    line = second["shell_lines"][0]["line"]
    assert LOG.splitlines()[line - 1].startswith("[zel_system][103] [2]")
    assert second["shell_lines"] == [{"uptime": 103, "line": line, "status": 2, "text": "ip6tables-restore /tmp/.ip6t",
                                      "verdict": "failed", "sure": True, "confidence": "sure"}]
    assert second["parameters"] == {"loaded": 3, "sure": True, "compared_with": 1,
                                    "changed": [{"name": "ip6_prefix(lan0)", "before": "", "after": "3fff::"}]}
    assert [each["overlaps"] for each in found["invocations"]] == [[], [], [4], [3]]


def test_json_tells_of_addresses(tool):
    found = json.loads(tool.text("--json", log=run_of(
        "zel_ifconfig", 5, said("set_ipv6_addr", 5, "if_name[br-lan] FD00::5 64 0"),
        said("set_ipv6_addr", 6, "ioctl SIOCDIFADDR error."))))
    addresses = found["invocations"][0]["addresses"]
    assert addresses == [{"uptime": 5, "line": 3, "interface": "br-lan", "address": "fd00::5/64", "added": False,
                          "refused": True, "confidence": "sure"}]
    assert set(addresses[0]) <= set(re.findall(r"\*(\w+)\*", PAGE.partition("# JSON")[2]))


def test_json_of_a_long_log_is_whole(tool):
    log = "".join(run_of("zel_ipcp_up", n, shell(n, f"echo {n}")) for n in range(300))
    assert [each["shell_lines"][0]["text"] for each in json.loads(tool.text("--json", log=log))["invocations"]] == [
        f"echo {n}" for n in range(300)]
    assert json.loads(tool.text("--json", "-n", "2", log=log))["log"]["left_out"] == 298


def test_the_picture_is_one_svg_with_a_row_for_each_run(tool):
    picture = ElementTree.fromstring(tool.text("--svg", log=LOG))
    texts = [element.text for element in picture.iter("{http://www.w3.org/2000/svg}text")]
    for each in ("zel_dhcp6c_update BOUND6", "zel_dhcp6c_update EFFECT6", "zel_ipcp_up", "dhcp6c_renew"):
        assert texts.count(each) == 1
    tips = [element.text for element in picture.iter("{http://www.w3.org/2000/svg}title")]
    assert any(tip.startswith("ip6tables-restore /tmp/.ip6t\nstatus 2, ") for tip in tips)


def test_a_row_and_its_details_can_be_found_in_the_log_and_in_the_listing(tool):
    picture = tool.text("--svg", "--failed", log=LOG)
    assert ">101</text>" in picture and "+0.00" not in picture
    page = tool.text("--html", "--failed", log=LOG)
    assert "<b>#2 zel_dhcp6c_update EFFECT6</b> 101 s, " in page
    assert "       101  [dhcp6c_main] The reason is EFFECT6" in page
    assert "1 parameter changed since invocation 1:\nip6_prefix(lan0): &quot;&quot; -&gt; &quot;3fff::&quot;" in page


def test_page_and_lab_draw_a_timeline_with_the_same_code(tool):
    import sys
    sys.path.insert(0, str(REPOSITORY / "lab"))
    import ipv6trace.timeline
    import picture.report
    assert picture.report.draw_timeline is ipv6trace.timeline.draw_timeline
    drawn = ipv6trace.timeline.draw_timeline(ipv6trace.log_reader.read_log(LOG))
    assert drawn in tool.text("--html", log=LOG)


@pytest.mark.parametrize("typed, offered", [
    (["--fa"], ["--failed"]), (["--command", "zel_ipcp_"], ["zel_ipcp_up", "zel_ipcp_down"]),
    (["--color", "a"], ["auto", "always"]), (["--since", ""], ["boot", "10m", "1h", "1d"]), (["ipv6"], ["ipv6.log"]),
])
def test_bash_completes(tool, typed, offered):
    tool.log(LOG)
    script = 'source "$1"; shift; COMP_WORDS=(ipv6trace "$@"); COMP_CWORD=$#; _ipv6trace; ' \
             'printf "%s\\n" "${COMPREPLY[@]}"'
    done = subprocess.run(["bash", "-c", script, "bash", str(TRACE / "completion" / "ipv6trace"), *typed],
                          capture_output=True, text=True, check=True, cwd=tool.folder)
    assert (done.stdout.split(), done.stderr) == (offered, "")


def test_installed_it_runs_without_the_source_tree(tool, tmp_path):
    build, root = tmp_path / "build", tmp_path / "root"
    subprocess.run(["cmake", "-S", str(REPOSITORY), "-B", str(build)], capture_output=True, check=True)
    subprocess.run(["cmake", "--build", str(build), "--target", "ipv6trace_page"], capture_output=True, check=True)
    subprocess.run(["cmake", "-D", "CMAKE_INSTALL_LOCAL_ONLY=1",
                    "-P", str(build / "companions" / "trace" / "cmake_install.cmake")],
                   env={"DESTDIR": str(root), "PATH": "/usr/bin:/bin"}, capture_output=True, check=True)
    installed = {str(path.relative_to(root)) for path in root.rglob("*") if path.is_file()}
    assert {"usr/bin/ipv6trace", "usr/share/ipv6ctl/ipv6trace/version", "usr/share/man/man1/ipv6trace.1",
            "usr/share/bash-completion/completions/ipv6trace"} <= installed
    package = {path.name for path in (TRACE / "ipv6trace").iterdir() if path.is_file()}
    assert {path.rpartition("/")[2] for path in installed if "/ipv6ctl/ipv6trace/" in path} == package | {"version"}
    moved = tmp_path / "elsewhere"
    root.rename(moved)
    path = tool.log(LOG)
    for form in ((), ("--json",), ("--svg",), ("--html",)):
        done = subprocess.run([str(moved / "usr/bin/ipv6trace"), *form, str(path)], capture_output=True, check=True)
        assert done.stdout == tool.run(*form, path).stdout and done.stderr == b""
    said = subprocess.run([str(moved / "usr/bin/ipv6trace"), "--version"], capture_output=True, text=True, check=True)
    assert re.fullmatch(r"ipv6trace \(ipv6ctl\) \d+\.\d+\.\d+\n", said.stdout)
    assert not list(moved.rglob("__pycache__"))

"""lab/repeat, with a `make` that only leaves results."""
import json
import os
import subprocess
from pathlib import Path

import pytest

LAB = Path(__file__).resolve().parent
GOOD = '<testsuites><testsuite tests="2" failures="0" errors="0" skipped="0" time="4.2">' \
       '<testcase classname="lab.test_a" name="test_one"/><testcase classname="lab.test_a" name="test_two"/>' \
       '</testsuite></testsuites>'
BAD = '<testsuites><testsuite tests="2" failures="1" errors="1" skipped="0" time="5.0">' \
      '<testcase classname="lab.test_day" name="test_x"><failure message="AssertionError: no&#10;more"/></testcase>' \
      '<testcase classname="lab.test_day" name="test_y"><error message="it broke"/></testcase></testsuite></testsuites>'
MAKE = """#!/bin/sh
for word; do case $word in JUNIT=*) folder=${word#JUNIT=} ;; esac; done
mkdir -p "$folder"
echo "$*"
number=$(ls "$HERE/calls" 2>/dev/null | wc -l)
mkdir -p "$HERE/calls/$number"
[ -e "$HERE/$number-vm" ] && cp "$HERE/good" "$folder/vm.xml"
cp "$HERE/good" "$folder/scenarios.xml"
if [ -e "$HERE/$number-day-fails" ]; then cp "$HERE/bad" "$folder/day.xml"; exit 2; fi
cp "$HERE/good" "$folder/day.xml"
"""


@pytest.fixture
def repeat(tmp_path):
    """A function that runs it; files NUMBER-vm and NUMBER-day-fails in the folder say what the runs leave."""
    (tmp_path / "make").write_text(MAKE, encoding="utf-8")
    (tmp_path / "make").chmod(0o755)
    (tmp_path / "good").write_text(GOOD, encoding="utf-8")
    (tmp_path / "bad").write_text(BAD, encoding="utf-8")

    def run(*arguments):
        return subprocess.run([LAB / "repeat", *arguments], capture_output=True, text=True, check=False,
                              env={**os.environ, "PATH": f"{tmp_path}:{os.environ['PATH']}", "HERE": str(tmp_path),
                                   "IPV6CTL_RUNS": str(tmp_path / "lab" / "runs")})
    return run


def test_runs_without_a_failure_are_counted_and_the_status_is_0(repeat, tmp_path):
    for number in range(2):
        (tmp_path / f"{number}-vm").touch()
    done = repeat("2")
    assert (done.returncode, done.stdout.splitlines()[-1]) == (0, "2 of 2 runs without a failure"), done
    told = json.loads((tmp_path / "lab" / "repeat.json").read_text(encoding="utf-8"))
    assert (told["clean"], told["failed"], len(told["runs"])) == (2, {}, 2)
    assert told["runs"][1]["suites"]["vm"] == {"passed": 2, "failed": 0, "skipped": 0, "seconds": 4.2, "failures": {}}
    output = (tmp_path / "lab" / "repeat" / "2.out").read_text(encoding="utf-8")
    assert output.split() == ["--keep-going", f"JUNIT={tmp_path}/lab/junit", "test-lab", "BESIDE=test-vm"]


def test_what_failed_is_named_with_how_often_and_a_missing_result_is_a_failure(repeat, tmp_path):
    for name in ("0-vm", "1-vm", "0-day-fails", "1-day-fails"):
        (tmp_path / name).touch()
    done = repeat("3")
    assert done.returncode == 1
    assert done.stdout.splitlines()[-4:] == [
        "0 of 3 runs without a failure", "   2 times lab.test_day::test_x", "   2 times lab.test_day::test_y",
        "   1 times vm"]
    told = json.loads((tmp_path / "lab" / "repeat.json").read_text(encoding="utf-8"))
    assert told["runs"][0]["suites"]["day"] == {
        "passed": 0, "failed": 2, "skipped": 0, "seconds": 5.0,
        "failures": {"lab.test_day::test_x": "AssertionError: no", "lab.test_day::test_y": "it broke"}}
    assert told["runs"][2]["suites"]["vm"]["failures"] == {"vm": "it left no result"}
    assert [run["status"] for run in told["runs"]] == [2, 2, 0]


@pytest.mark.parametrize("arguments", [("0",), ("x",), ("2", "3"), ("--help",)])
def test_other_arguments_are_refused(repeat, arguments):
    done = repeat(*arguments)
    assert (done.returncode, done.stdout) == (2, "")
    assert "lab/repeat [N]" in done.stderr

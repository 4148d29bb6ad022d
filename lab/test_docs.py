"""What docs/lab.md and the VM's README show as an example works as it stands there."""
import json
import os
import re
import subprocess
import sys
from pathlib import Path

LAB = Path(__file__).resolve().parent
GUIDE = LAB.parent / "docs" / "lab.md"


def examples(page):
    return re.findall(r"^```python\n(.*?)^```$", page.read_text(encoding="utf-8"), re.M | re.S)


def test_the_scenario_of_the_guide_passes_as_it_stands_there(tmp_path):
    example, = examples(GUIDE)
    assert len([line for line in example.splitlines() if line.strip()]) <= 10
    test = tmp_path / "test_example.py"
    test.write_text(example, encoding="utf-8")
    # The fixtures of lab/conftest.py, which a test in lab/ has by itself.
    argv = [sys.executable, "-B", "-m", "pytest", "-q", "-p", "no:cacheprovider", "-p", "conftest", str(test)]
    done = subprocess.run(argv, cwd=tmp_path, capture_output=True, text=True, timeout=300, check=False,
                          env={**os.environ, "PYTHONPATH": str(LAB), "IPV6CTL_RUNS": str(tmp_path / "runs")})
    assert done.returncode == 0 and "1 passed" in done.stdout, done.stdout + done.stderr
    record, = (tmp_path / "runs").glob("*/scenario.json")
    record = json.loads(record.read_text(encoding="utf-8"))
    assert (record["title"], record["result"]) == (re.search(r'"""(.*)"""', example)[1], "passed")
    assert record["title"] in (tmp_path / "report.html").read_text(encoding="utf-8")


def test_the_scenario_of_the_vms_guide_is_one_of_its_flows():
    example, = examples(LAB / "vm" / "README.md")
    assert example in (LAB / "vm" / "sixrd_flow.py").read_text(encoding="utf-8")

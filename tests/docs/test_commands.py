"""Every command of the pages runs, or, where it needs hardware or is what `make test` itself does, has words that exist."""
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import time

import pytest
from page_commands import PAGES, TREE, Block, blocks, blocks_of

BUILD = pathlib.Path(os.environ.get("IPV6CTL_BUILD", TREE / "build")).resolve()
COMMANDS = re.findall(r'Command\{"(\w+)"', (TREE / "src/frame/command_table.h").read_text(encoding="utf-8"))
MAKEFILE = (TREE / "Makefile").read_text(encoding="utf-8")
TARGETS = re.findall(r"^([a-z][\w-]*):", MAKEFILE, re.M)
CROSS = re.search(r"^CROSS := (.*)$", MAKEFILE, re.M).group(1).split()
CMAKE = "".join(path.read_text(encoding="utf-8") for path in (TREE / "CMakeLists.txt", TREE / "cmake/options.cmake"))
PRESETS = [entry["name"] for entry in json.loads((TREE / "CMakePresets.json").read_text(encoding="utf-8"))["configurePresets"]]
# Names of programs and interfaces that stand in a page for the reader's own.
SET_BY_THE_READER = {"maker_store;maker_common"}


def missing_word(command):
    """What in a line does not exist: a program, a file of the repository, a target, an option, a package. None when all do."""
    words = shlex.split(command, comments=True)
    while words and re.fullmatch(r"[A-Z_][A-Z0-9_]*=.*", words[0]):
        words.pop(0)
    program, *rest = words
    if program == "make":
        for word in rest:
            if "=" not in word and word not in TARGETS and word not in [f"cross-{name}" for name in CROSS]:
                return f"make {word}"
        return None
    if program not in COMMANDS and not shutil.which(program) and not (TREE / program).is_file():
        return program
    if program == "cmake":
        for word in re.findall(r"-D ?([A-Z0-9_]+)=", command):
            if word not in CMAKE and not word.startswith("CMAKE_"):
                return word
        for word in re.findall(r"--preset (\S+)", command):
            if word not in PRESETS:
                return word
    if program == "apt-get" and rest[0] == "install":
        shown = subprocess.run(["apt-cache", "show", "--no-all-versions", *rest[1:]], capture_output=True, text=True, check=False)
        for package in [word for word in rest[1:] if not word.startswith("./build/")]:
            if f"Package: {package}\n" not in shown.stdout:
                return package
    for word in rest:
        path = word.split("::")[0]
        if re.match(r"(src|lab|tests|docs|tools|platform|companions|packaging)/", path) and not any(TREE.glob(path)):
            return word
    return None


def ids(block):
    return str(block)


@pytest.mark.parametrize("block", blocks("slow", "hardware"), ids=ids)
def test_the_words_of_a_command_exist(block):
    missing = {line: missing_word(line) for line in block.commands()}
    assert {line: word for line, word in missing.items() if word} == {}


@pytest.mark.parametrize("line", ["make tset", "lab/lbo up", "no-such-program x", "cmake --preset relaese", "apt-get install radvdd",
                                  "cmake -S . -B b -D IPV6CTL_PLATFROM=device", "/usr/bin/python3 -m pytest lab/test_nothing.py"])
def test_a_word_that_does_not_exist_is_seen(line):
    assert missing_word(line)


def test_blocks_are_found_and_none_is_passed_over():
    assert {block.kind for page in PAGES for block in blocks_of(page)} == {"lab", "gateway", "root", "slow", "hardware"}
    block = Block(TREE / "README.md", 1, "slow", "make a \\\n  b   # why\n# alone\n\nmake c\n")
    assert block.commands() == ["make a    b", "make c"]


def local(line, image=None, lab=None):
    """A line of a page with the folders of this run."""
    line = re.sub(r"(?<![\w/])build/", f"{BUILD}/", line)
    if image:
        line = line.replace("/image", str(image))
        line = line.replace("make ", f"make -C {TREE} -o build -o pages ")
    if lab:
        line = re.sub(r"(?<![\w/])lab/lab ", f"{TREE}/lab/lab --build {BUILD} --out {lab} ", line)
        line = re.sub(r"(?<![\w/])(companions|platform)/", rf"{TREE}/\1/", line)
    return line


def run(line, folder):
    env = {**os.environ, "IPV6CTL_BUILD": str(BUILD), "PATH": f"{BUILD}:{os.environ['PATH']}",
           "TESA_STORE": str(folder / "ccfg.db")}
    return subprocess.run(["sh", "-c", line], cwd=folder, env=env, capture_output=True, text=True, check=False,
                          stdin=subprocess.DEVNULL, timeout=300)


def pages_with(kind):
    return [page for page in PAGES if any(block.kind == kind for block in blocks_of(page))]


def lines_of(page, kind):
    return [(str(block), line) for block in blocks_of(page) if block.kind == kind for line in block.commands()]


@pytest.mark.parametrize("page", pages_with("root"), ids=lambda page: page.name)
def test_commands_on_a_root_run(page, tmp_path):
    image = tmp_path / "image"
    image.mkdir()
    for where, line in lines_of(page, "root"):
        result = run(local(line, image=image), tmp_path)
        assert result.returncode == 0, f"{where}: {line}\n{result.stdout}{result.stderr}"


@pytest.mark.parametrize("page", pages_with("lab"), ids=lambda page: page.name)
def test_commands_with_a_lab_run(page, tmp_path):
    try:
        for where, line in lines_of(page, "lab"):
            result = run(local(line, lab=tmp_path / "lab"), tmp_path)
            assert result.returncode == 0, f"{where}: {line}\n{result.stdout}{result.stderr}"
    finally:
        run(local("lab/lab down", lab=tmp_path / "lab"), tmp_path)


def test_both_lans_are_advertised_when_the_bridges_come_up_as_the_page_has_them(tmp_path):
    page = (TREE / "docs/debian-gateway.md").read_text(encoding="utf-8")
    started = re.findall(r"post-up (/usr/sbin/zel_ipv6_lan .*)", page)
    assert len(started) == 2
    try:
        assert run(local("lab/lab up --bare", lab=tmp_path / "lab"), tmp_path).returncode == 0
        for line in started:
            done = run(local(f"lab/lab exec gw sh -c {shlex.quote(line)}", lab=tmp_path / "lab"), tmp_path)
            assert done.returncode == 0, done.stderr
        advertised = run(local("lab/lab exec gw cat /tmp/radvd.conf", lab=tmp_path / "lab"), tmp_path).stdout
        assert re.findall(r"^(?:interface|prefix) (br-lan1?|FD)", advertised, re.M) == ["br-lan", "FD", "br-lan1", "FD"]
    finally:
        run(local("lab/lab down", lab=tmp_path / "lab"), tmp_path)


class LiveGateway:
    """The gateway of a lab whose hosts are on line."""

    def __init__(self, folder):
        self.folder = folder

    def lab(self, words):
        return run(local(f"lab/lab {words}", lab=self.folder / "lab"), self.folder)

    def ask(self, line):
        path = f"PATH=$PATH:{TREE}/companions/trace/bin"
        return self.lab(f"exec gw env -u TESA_STORE sh -c {shlex.quote(f'{path}; {line}')}")

    def lease_events(self):
        return int(self.ask("grep -c 'zel_dhcp6c_update] ERROR_NONE' /tmp/ipv6.log").stdout or 0)

    def settle(self, events):
        """Waits until a started client has brought its lease and what it started has ended."""
        deadline = time.monotonic() + 120
        while time.monotonic() < deadline:
            busy = self.ask("ls /proc/[0-9]*/exe | xargs -n 1 readlink 2>/dev/null | grep -c '/usr/sbin/ipv6ctl'").stdout.strip()
            if self.lease_events() >= events and busy == "0":
                return
            time.sleep(0.5)
        raise AssertionError("the gateway does not come to rest")

    def command(self, line):
        """One line of a page; a command that starts the client is waited for with all that follows from it."""
        word = line.split()[0]
        before = self.lease_events()
        result = self.ask(line)
        if word in ("dhcp6c_start", "dhcp6c_restart", "zel_ipv6cp_up"):
            self.settle(before + 2)
        return result.returncode == (1 if word in COMMANDS else 0), result


@pytest.fixture(scope="module")
def gateway(tmp_path_factory):
    live = LiveGateway(tmp_path_factory.mktemp("gateway"))
    started = live.lab("up")
    assert started.returncode == 0, started.stderr
    yield live
    live.lab("down")


@pytest.mark.parametrize("page", pages_with("gateway"), ids=lambda page: page.name)
def test_commands_on_the_gateway_run(page, gateway):
    for where, line in lines_of(page, "gateway"):
        went_well, result = gateway.command(line)
        assert went_well, f"{where}: {line}: {result.returncode}\n{result.stdout}{result.stderr}"
    assert gateway.ask("ip6tables -S FORWARD").stdout.splitlines()[-1] == "-A FORWARD -j DROP"


def test_a_stuck_guard_file_shows_as_the_page_says(gateway):
    gateway.ask("echo 1 >/tmp/zel_ipv6cp_script_running")
    refused = gateway.ask("zel_ipv6cp_up")
    assert refused.returncode == 255
    assert re.search(r"script_running\[1\]\.\n(.*\n)*.*ERROR_INTERNAL, end\n\n$", gateway.ask("tail -n 3 /tmp/ipv6.log").stdout)
    gateway.ask("rm -f /tmp/zel_ipv6cp_script_running")
    assert gateway.command("zel_ipv6cp_up")[0]

"""What is installed, what the page says and what is completed."""
import json
import os
import re
import shutil
import subprocess

import pytest
from rehearse_tool import BUILD, DELEGATED, FACTORY, REHEARSE, REPOSITORY, TOOL, options_in

PAGE = (REHEARSE / "ipv6rehearse.1.scd").read_text(encoding="utf-8")


def test_page_help_and_completion_know_the_same_options(tool):
    said = tool.run("--help")[1]
    completed = (REHEARSE / "completion/ipv6rehearse").read_text(encoding="utf-8")
    options = PAGE.partition("# OPTIONS")[2].partition("# WHAT A REHEARSAL")[0]
    assert options_in(said) == options_in(options.replace("\\", "")) == options_in(completed)


def test_every_example_of_the_page_runs(tool):
    shutil.copy(FACTORY, tool.folder / "my-settings.txt")
    programs, kept = tool.folder / "bin", tool.folder / "kept"
    for folder in (programs, kept):
        folder.mkdir()
    (programs / "ipv6rehearse").symlink_to(TOOL)
    (programs / "ipv6trace").symlink_to(REPOSITORY / "companions/trace/bin/ipv6trace")
    environment = {**tool.environment, "PATH": f"{programs}:{tool.environment['PATH']}", "TMPDIR": str(kept)}
    examples = re.findall(r"^\t(.*)$", PAGE.partition("# EXAMPLES")[2].partition("\n# ")[0], re.M)
    assert len(examples) == 9
    for example in examples:
        line = re.sub(r"\\(.)", r"\1", example)
        if "-XXXXXXXX" in line:
            line = line.replace("/tmp/ipv6rehearse-XXXXXXXX", str(next(kept.iterdir())))
        done = subprocess.run(["bash", "-c", line], capture_output=True, text=True, env=environment, cwd=tool.folder, check=False)
        assert done.returncode in (0, 1) and done.stderr == "", example
        assert done.stdout or "--quiet" in example
    assert len(list(kept.iterdir())) == 1
    assert "\n   #1 zel_ipv6_lan lan " in done.stdout or " zel_ipv6_lan " in done.stdout


def test_json_is_what_the_page_describes(tool):
    described = set(re.findall(r"(?<!-)\*(\w+)\*", PAGE.partition("# JSON")[2].partition("# EXIT STATUS")[0]))
    found = tool.json(*DELEGATED)
    members = set(found) | {name for part in ("shell_lines", "files", "store", "verdicts") for name in found[part][0]}
    assert found["schema"] == 1
    assert members | {"accepted", "refused", "unknown"} == described


REASONS = ["PREINIT6", "BOUND6", "RENEW6", "REBIND6", "REBOOT6", "DEPREF6", "EXPIRE6", "RELEASE6", "STOP6", "EFFECT6"]


@pytest.mark.parametrize("typed, offered", [
    (["--de"], ["--delegated"]), (["--command", "zel_ipcp_"], ["zel_ipcp_up", "zel_ipcp_down"]), (["--advertised", "n"], ["none"]),
    (["--settings", "my-"], ["my-settings.txt"]), (["--env", "reason=B"], ["reason=BOUND6"]), (["--color", "a"], ["auto", "always"]),
    (["--env", "reason", "=", "EX"], ["EXPIRE6"]), (["--env", "reason", "="], REASONS), (["--settings", "=", "my-"], ["my-settings.txt"]),
    (["zel_ipcp_"], ["zel_ipcp_up", "zel_ipcp_down"]), (["--brief", "zel_ipcp_d"], ["zel_ipcp_down"]), (["zel_ipcp_up", "zel"], []),
    (["--fail", "rad"], ["radvd"]), (["--delegated", "=", "3f"], []),
])
def test_bash_completes(tool, typed, offered):
    (tool.folder / "my-settings.txt").touch()
    script = 'source "$1"; shift; COMP_WORDS=(ipv6rehearse "$@"); COMP_CWORD=$#; _ipv6rehearse; printf "%s\\n" "${COMPREPLY[@]}"'
    done = subprocess.run(["bash", "-c", script, "bash", str(REHEARSE / "completion/ipv6rehearse"), *typed],
                          capture_output=True, text=True, check=True, cwd=tool.folder)
    assert (done.stdout.split(), done.stderr) == (offered, "")


def test_completion_offers_the_commands_and_what_stands_in_for_programs(monkeypatch):
    monkeypatch.syspath_prepend(str(REPOSITORY / "companions/recorder"))
    from ipv6recorder.private_root import RECORDERS                     # pylint: disable=import-outside-toplevel
    table = (REPOSITORY / "src/frame/command_table.h").read_text(encoding="utf-8")
    completed = (REHEARSE / "completion/ipv6rehearse").read_text(encoding="utf-8")
    commands = set(re.findall(r'Command\{"(\w+)"', table))
    programs = {name for names in RECORDERS.values() for name in names}
    assert programs <= set(re.findall(r"[\w.-]+", completed.partition("--answer | --fail)")[2].partition('" --')[0]))
    assert len(commands) == 16
    assert commands == set(re.findall(r"\b(?:zel_|dhcp6c_|wan6c_|ipv6rd_|ipv6_lan_)\w+", completed))


@pytest.fixture
def installed(tmp_path):
    """A root with what the packages put there for the tool, moved after it was made."""
    made = tmp_path / "made"
    for part in ("recorder", "rehearse", "trace"):
        subprocess.run(["cmake", "-D", "CMAKE_INSTALL_LOCAL_ONLY=1", "-P", BUILD / "companions" / part / "cmake_install.cmake"],
                       env={"DESTDIR": str(made), "PATH": "/usr/bin:/bin"}, capture_output=True, check=True)
    (made / "usr/sbin").mkdir()
    for name in ("ipv6ctl", "ccfg_cli"):
        shutil.copy(BUILD / name, made / "usr/sbin")
    root = tmp_path / "root"
    made.rename(root)
    return root


def test_installed_it_runs_without_the_source_tree(tool, installed):
    settings = tool.settings()
    words = ["--json", *DELEGATED, "--settings", settings]
    environment = {name: text for name, text in tool.environment.items() if name != "IPV6CTL_BUILD"}
    done = subprocess.run([installed / "usr/bin/ipv6rehearse", *words], capture_output=True, check=True, env=environment)
    assert (json.loads(done.stdout), done.stderr) == (tool.json(*words[1:]), b"")
    said = subprocess.run([installed / "usr/bin/ipv6rehearse", "--version"], capture_output=True, text=True, check=True, env=environment)
    assert re.fullmatch(r"ipv6rehearse \(ipv6ctl\) \d+\.\d+\.\d+\n", said.stdout) and said.stdout == tool.run("--version")[1]
    assert not list(installed.rglob("__pycache__"))
    assert (installed / "usr/share/bash-completion/completions/ipv6rehearse").is_file()


def test_an_incomplete_installation_is_told(tool, installed):
    shutil.rmtree(installed / "usr/lib/ipv6ctl/recorder")
    (installed / "usr/sbin/ccfg_cli").unlink()
    environment = {name: text for name, text in tool.environment.items() if name != "IPV6CTL_BUILD"}
    done = subprocess.run([installed / "usr/bin/ipv6rehearse"], capture_output=True, text=True, check=False, env=environment)
    assert done.returncode == 2
    assert done.stderr.startswith("ipv6rehearse: missing: /usr/sbin/ccfg_cli, /usr/lib/ipv6ctl/recorder/recorder, ")
    assert done.stderr.endswith("; install the packages ipv6ctl and ipv6ctl-stock\n")


def test_a_tree_that_was_not_built_is_told(tool):
    assert tool.refused(IPV6CTL_BUILD=str(tool.folder)).endswith("; build first (make build), or set IPV6CTL_BUILD")


def test_the_recorder_of_the_device_tests_is_this_one():
    """One recorder: the tests' modules are the installed ones, and their small programs are of the same sources."""
    import_it = "import sandbox, gateway, transcript; print(gateway.__file__, transcript.__file__, sandbox.RECORDER)"
    done = subprocess.run(["/usr/bin/python3", "-B", "-c", import_it], env={**os.environ, "PYTHONPATH": str(REPOSITORY / "tests/device")},
                          capture_output=True, text=True, check=True)
    recorder = REPOSITORY / "companions/recorder"
    assert done.stdout.split() == [str(recorder / "ipv6recorder/gateway.py"), str(recorder / "ipv6recorder/transcript.py"), str(recorder)]
    named = {path.name for path in REPOSITORY.glob("tests/**/*.c")}
    assert not named & {path.name for path in recorder.glob("*.c")}
    assert TOOL.is_file()

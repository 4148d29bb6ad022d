"""The manual: pages that can be made and read, that name what the program has, and whose examples run."""
import os
import pathlib
import re
import subprocess

import pytest

TREE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("IPV6CTL_BUILD", TREE / "build")).resolve()
MANUAL = TREE / "docs" / "man"
SOURCES = sorted([*MANUAL.glob("*.scd"), *(TREE / "companions").glob("*/*.scd")])

LOG = """[main][12] ^_^[/usr/sbin/zel_ipv6_lan] start.

[zel_system][12] [1]killall radvd
[zel_system][13] [0]/usr/sbin/ip -6 route flush [::]/0
[zel_system][14] [-1]radvd -C /tmp/radvd.conf
[main][14] ^_^[/usr/sbin/zel_ipv6_lan] ERROR_NONE, end.

"""


def source(name):
    return (MANUAL / name).read_text(encoding="utf-8")


def section(text, title):
    return re.search(rf"^# {title}\n(.*?)(?=^# |\Z)", text, re.M | re.S).group(1)


def made(path, tmp_path):
    page = tmp_path / path.name.removesuffix(".scd")
    with open(path, encoding="utf-8") as text, open(page, "w", encoding="utf-8") as out:
        subprocess.run(["scdoc"], stdin=text, stdout=out, check=True)
    return page


def lint(page):
    return subprocess.run([MANUAL / "check", page], capture_output=True, text=True, check=False)


@pytest.mark.parametrize("path", SOURCES, ids=lambda path: path.name)
def test_a_page_can_be_made_and_mandoc_finds_nothing(path, tmp_path):
    result = lint(made(path, tmp_path))
    assert (result.returncode, result.stderr) == (0, "")


def test_the_page_of_the_settings_is_made_of_their_table(tmp_path):
    settings = TREE / "companions" / "settings"
    subprocess.run([settings / "make_table.py", "page", settings / "settings.txt", settings / "ipv6ctl-settings.5.scd.in",
                    tmp_path / "ipv6ctl-settings.5.scd"], check=True)
    page = made(tmp_path / "ipv6ctl-settings.5.scd", tmp_path)
    assert (lint(page).returncode, lint(page).stderr) == (0, "")
    assert "on-demand" in page.read_text(encoding="utf-8").replace("\\-", "-")


def test_the_check_sees_a_broken_page(tmp_path):
    page = made(MANUAL / "ipv6ctl.8.scd", tmp_path)
    page.write_text(page.read_text(encoding="utf-8") + ".NOSUCHMACRO\n", encoding="utf-8")
    result = lint(page)
    assert result.returncode == 1 and "NOSUCHMACRO" in result.stderr


def test_the_program_page_has_every_command_in_matching_order():
    table = (TREE / "src/frame/command_table.h").read_text(encoding="utf-8")
    commands = re.findall(r'Command\{"(\w+)"', table)
    page = source("ipv6ctl.8.scd")
    assert len(commands) == 16
    assert re.findall(r"^\*(\w+)\*", section(page, "SYNOPSIS"), re.M) == commands
    heads = [name for line in re.findall(r"^(\*\w.*)\n\t", section(page, "COMMANDS"), re.M)
             for name in re.findall(r"\*(\w+)\*", line)]
    assert sorted(heads) == sorted(commands)


def test_every_file_of_the_program_page_is_one_that_the_program_names():
    code = "".join(path.read_text(encoding="utf-8") for folder in ("src", "platform/stock/store")
                   for path in (TREE / folder).rglob("*.[ch]*"))
    files = re.findall(r"_(/\S+)_(?=,|$)", section(source("ipv6ctl.8.scd"), "FILES"), re.M)
    assert len(files) == 12
    assert [path for path in files if path not in code] == []


def test_every_page_that_is_referred_to_is_there():
    own = {re.match(r"(.+)\.(\d)\.scd", path.name.removesuffix(".in")).groups()
           for path in [*SOURCES, *(TREE / "companions").glob("*/*.scd.in")]}
    foreign = {("logrotate", "8"), ("grep", "1"), ("gzip", "1")}
    for path in SOURCES:
        referred = set(re.findall(r"\*([\w-]+)\*\((\d)\)", path.read_text(encoding="utf-8")))
        assert referred <= own | foreign, path.name


def test_the_lines_that_the_log_page_tells_are_those_of_the_program():
    code = (TREE / "src/frame/main.cpp").read_text(encoding="utf-8") + (
        TREE / "src/frame/shell.cpp").read_text(encoding="utf-8")
    page = re.sub(r"[*_\\]", "", section(source("ipv6ctl-log.5.scd"), "LINES TO KNOW"))
    for text in ("^_^[%s] start.", "^_^[%s] ERROR_NONE, end.", "^_^[%s] ERROR_INTERNAL, end", "line too long, not run: %s"):
        assert text in code
        assert text.replace("%s", "NAME" if "[" in text else "SHELL LINE").replace("_", "") in page


def test_the_examples_of_the_log_page_run(tmp_path):
    log = tmp_path / "ipv6.log"
    log.write_text(LOG, encoding="utf-8")
    examples = re.findall(r"^```\n(.*?)\n```", section(source("ipv6ctl-log.5.scd"), "EXAMPLES"), re.M | re.S)
    shown = [subprocess.run(["sh", "-c", example.replace("\\\\", "\\").replace("/tmp/ipv6.log", str(log))],
                            capture_output=True, text=True, check=True).stdout.splitlines() for example in examples]
    lines = LOG.splitlines()
    assert shown == [[lines[2], lines[4]], [lines[0], lines[5]]]


@pytest.fixture
def complete(tmp_path):
    """complete("ccfg_cli get x"): what bash would offer for the last word, on a fresh store."""
    env = {**os.environ, "TESA_STORE": str(tmp_path / "ccfg.db"), "PATH": f"{BUILD}:{os.environ['PATH']}"}
    subprocess.run(["ccfg_cli", "set", "ip6_proto@wan100=dhcp"], env=env, check=True)
    subprocess.run(["ccfg_cli", "set", "mtu@lan7=1500"], env=env, check=True)

    def ask(line):
        script = f"""
            . {TREE}/companions/settings/completion/ccfg_cli
            COMP_WORDBREAKS=$' \\t\\n"\\'><=;|&(:@'
            COMP_LINE=$1 COMP_POINT=${{#1}}
            read -ra COMP_WORDS <<<"$1"
            [[ $1 == *" " ]] && COMP_WORDS+=("")
            COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))
            _ccfg_cli
            printf '%s\\n' "${{COMPREPLY[@]}}"
        """
        result = subprocess.run(["bash", "-c", script, "bash", line], env=env, capture_output=True, text=True, check=True)
        assert result.stderr == ""
        return result.stdout.split()
    return ask


def test_completion_offers_verbs_and_the_page_has_them(complete):
    verbs = complete("ccfg_cli ")
    page = (TREE / "companions/settings/ccfg_cli.1.scd").read_text(encoding="utf-8")
    assert set(verbs) == set(re.findall(r"^\*ccfg_cli\* (\S+?)(?:\+\+)?(?: |$)", section(page, "SYNOPSIS"), re.M))
    assert complete("ccfg_cli che") == ["check"]


def test_completion_offers_what_is_stored_for_get(complete):
    assert complete("ccfg_cli get mtu") == ["mtu@lan7"]
    assert complete("ccfg_cli get ip6_proto@w") == ["@wan100"]       # bash replaces the sign, too


def test_completion_offers_what_is_known_for_set(complete):
    assert complete("ccfg_cli set ip6_gua_si") == ["ip6_gua_sid@lan0=", "ip6_gua_sid@lan1="]
    assert "mtu@wan100=" in complete("ccfg_cli set mtu")
    assert complete("ccfg_cli set mtu@wan100=1") == []


def test_completion_offers_keys_for_help_and_sections_for_list(complete):
    assert complete("ccfg_cli help ip6_prot") == ["ip6_proto"]
    assert complete("ccfg_cli list lan7") == ["lan7"]

"""Arguments, colors, --watch, and what stands beside the program."""

import json
import os
import pty
import re
import select
import signal
import subprocess
import termios

import pytest

from status_gateway import BUILD, ROOT, VALIDATOR


def run(*arguments):
    done = subprocess.run([BUILD / "ipv6status", *arguments], capture_output=True, text=True, check=False, timeout=60,
                          env={**os.environ, "TESA_STORE": "/nonexistent/ccfg.db"})
    return done.returncode, done.stdout, done.stderr


@pytest.mark.parametrize("arguments", [("--jason",), ("--watch", "x"), ("--watch", "0"), ("--watch=",),
                                       ("--watch", "99999999999999999999"), ("now",), ("--help", "me")])
def test_called_wrongly(arguments):
    status, output, errors = run(*arguments)
    assert (status, output) == (2, "") and errors.startswith("usage: ipv6status [--json]")


def test_help_and_version():
    status, output, errors = run("--help")
    assert (status, errors) == (0, "") and "Exit status: 0 healthy, 1 degraded, 2 cannot tell" in output
    assert re.fullmatch(r"ipv6status \d+\.\d+\.\d+\n", run("--version")[1])


def seen_on_a_terminal(gw, *environment):
    """What a terminal shows."""
    ours, theirs = pty.openpty()
    words = gw.command("env", *environment, "/mnt/ipv6status")
    with subprocess.Popen(words, stdout=theirs, stderr=subprocess.DEVNULL) as child:
        os.close(theirs)
        shown = b""
        while True:
            try:
                piece = os.read(ours, 65536)
            except OSError:     # the other end is closed
                break
            if not piece:
                break
            shown += piece
    os.close(ours)
    assert child.returncode == 0
    return shown.decode()


def test_colors_are_for_terminals_that_want_them(gw):
    assert "\033[32mok\033[0m" in seen_on_a_terminal(gw, "TERM=xterm")
    assert "\033" not in seen_on_a_terminal(gw, "TERM=xterm", "NO_COLOR=1")
    assert "\033" not in seen_on_a_terminal(gw, "TERM=dumb")
    assert "\033" not in gw.run()[1]


def watched_on_a_terminal(gw, rows, columns):
    """The lines of the first look of --watch."""
    ours, theirs = pty.openpty()
    termios.tcsetwinsize(theirs, (rows, columns))
    words = gw.command("env", "TERM=xterm", "/mnt/ipv6status", "--watch", "600")
    with subprocess.Popen(words, stdout=theirs, stderr=subprocess.DEVNULL) as child:
        shown = ""
        while not re.search(r"more lines\n$|\nneighbors\n *count +0\n$", shown):
            assert select.select([ours], [], [], 60)[0], shown
            shown += re.sub("\033\\[[0-9;]*m", "", os.read(ours, 65536).decode()).replace("\r", "")
        child.terminate()
    os.close(ours)
    os.close(theirs)
    before, clear, first = shown.partition("\033[H\033[2J")
    assert (before, bool(clear)) == ("", True)
    return first.splitlines()


def test_watch_keeps_the_summary_on_a_small_terminal(gw):
    lines = watched_on_a_terminal(gw, 10, 80)
    assert len(lines) == 9 and re.fullmatch(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", lines[0])
    assert lines[1] == "healthy" and re.fullmatch(r"\.\.\. \d+ more lines", lines[-1])
    narrow = watched_on_a_terminal(gw, 10, 20)
    assert sum(-(-len(line) // 20) or 1 for line in narrow) <= 9 and narrow[1] == "healthy"
    everything = watched_on_a_terminal(gw, 200, 80)
    assert everything[-1].startswith("     count ")


def test_watch_looks_again_until_it_is_interrupted(gw):
    # The store is changed between the first look and the second.
    words = gw.command("/bin/sh", "-c", "/mnt/ipv6status --json --watch 1 & child=$!; read -r _; "
                       "kill -INT $child; wait $child")
    with subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as child:
        lines = [child.stdout.readline()]
        subprocess.run([BUILD / "ccfg_cli", "set", "ip6_wan_ready@system=0"], check=True,
                       env={**os.environ, "TESA_STORE": str(gw.path("config/ccfg.db"))})
        while json.loads(lines[-1])["health"] == "healthy":
            assert select.select([child.stdout], [], [], 60)[0], "no further look"
            lines.append(child.stdout.readline())
        child.stdin.write(b"\n")
        child.stdin.close()
        child.stdout.read()
        assert child.wait(60) == 1
    for line in lines:
        VALIDATOR.validate(json.loads(line))
    assert json.loads(lines[0])["health"] == "healthy" and json.loads(lines[-1])["health"] == "degraded"


def test_the_completion_offers_the_options():
    script = f'. {ROOT}/companions/status/completion/ipv6status; COMP_WORDS=(ipv6status --); COMP_CWORD=1; _ipv6status; ' \
             'echo "${COMPREPLY[@]}"'
    done = subprocess.run(["bash", "-c", script], capture_output=True, text=True, check=True)
    assert done.stdout.split() == ["--json", "--watch", "--help", "--version"]


def test_the_page_is_sound_and_names_every_option():
    source = (ROOT / "companions/status/ipv6status.1.scd").read_text(encoding="utf-8")
    page = subprocess.run(["scdoc"], input=source, capture_output=True, text=True, check=True).stdout
    found = subprocess.run(["mandoc", "-T", "lint", "-W", "error"], input=page, capture_output=True, text=True,
                           check=False)
    assert (found.returncode, found.stdout) == (0, "")
    for option in ("--json", "--watch", "--help", "--version"):
        assert option in source


def test_it_needs_no_runtime_library_of_cpp():
    listed = subprocess.run(["ldd", BUILD / "ipv6status"], capture_output=True, text=True, check=True).stdout
    assert "libc.so" in listed and "libstdc++" not in listed

"""What ipv6status does with a terminal: colors, folded lines, sections, and the screen of --watch."""

import fcntl
import os
import pty
import re
import select
import subprocess
import termios

import pytest


def steady(text):
    """Without what another look tells otherwise: times and process numbers."""
    return re.sub(r"(for|pid|valid|preferred)( +)(\d+[dhms ]*)+", r"\1\2N ", text)


def seen_on_a_terminal(gw, *environment, columns=0, status=0):
    """What a terminal shows."""
    ours, theirs = pty.openpty()
    termios.tcsetwinsize(theirs, (50, columns))
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
    assert child.returncode == status
    return steady(shown.decode().replace("\r", ""))


def test_colors_are_for_terminals_that_want_them(gw):
    assert "\033[32mok\033[0m" in seen_on_a_terminal(gw, "TERM=xterm")
    assert "\033" not in seen_on_a_terminal(gw, "TERM=xterm", "NO_COLOR=1")
    assert "\033" not in seen_on_a_terminal(gw, "TERM=dumb")
    assert "\033" not in gw.run()[1]


CLEAR, HOME, END = "\033[H\033[2J", "\033[H", "\033[J"
# Of a look: the first one clears, further ones are written over what is there.
LAST_LINE = re.compile(r"(?:\.\.\. \d+ more lines|neighbors(?:\033\[K)?\n *count +0)(?:\n|\033\[K\n\033\[J)")


class Watched:
    """ipv6status --watch with a terminal of its own."""

    def __init__(self, gw, rows, columns, *arguments):
        self.ours, self.theirs = pty.openpty()
        self.resize(rows, columns)
        words = gw.command("env", "TERM=xterm", "NO_COLOR=1", "/mnt/ipv6status", "--watch", *arguments)
        self.child = subprocess.Popen(words, stdout=self.theirs, stderr=subprocess.DEVNULL, start_new_session=True,
                                      preexec_fn=lambda: fcntl.ioctl(1, termios.TIOCSCTTY, 0))
        self.shown = ""

    def resize(self, rows, columns):
        termios.tcsetwinsize(self.theirs, (rows, columns))

    def next_look(self):
        """What is written up to the end of a look."""
        while not (found := LAST_LINE.search(self.shown)):
            assert select.select([self.ours], [], [], 60)[0], self.shown
            self.shown += os.read(self.ours, 65536).decode().replace("\r", "")
        look, self.shown = self.shown[:found.end()], self.shown[found.end():]
        return look

    def end(self):
        self.child.terminate()
        self.child.wait(60)
        os.close(self.ours)
        os.close(self.theirs)


@pytest.fixture
def watched(gw):
    running = []

    def start(rows, columns, *arguments):
        running.append(Watched(gw, rows, columns, *arguments))
        return running[-1]
    yield start
    for each in running:
        each.end()


def first_lines(look):
    before, clear, shown = look.partition(CLEAR)
    assert (before, clear) == ("", CLEAR) and "\033" not in shown
    return steady(shown).splitlines()


def test_watch_keeps_the_summary_on_a_small_terminal(watched):
    lines = first_lines(watched(10, 80, "600").next_look())
    assert len(lines) == 9 and re.fullmatch(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d", lines[0])
    assert lines[1] == "healthy" and re.fullmatch(r"\.\.\. \d+ more lines", lines[-1])
    narrow = first_lines(watched(10, 20, "600").next_look())
    assert sum(-(-len(line) // 20) or 1 for line in narrow) <= 9 and narrow[1] == "healthy"


def test_empty_lines_go_first_when_there_is_no_room(watched):
    roomy = first_lines(watched(200, 80, "600").next_look())
    assert roomy[-1].startswith("     count ") and roomy.count("") == 8
    full = first_lines(watched(len(roomy) + 1, 80, "600").next_look())
    assert full[1:] == roomy[1:]
    tight = first_lines(watched(len(roomy), 80, "600").next_look())
    assert [line.split()[0] for line in tight[1:]] == [line.split()[0] for line in roomy[1:] if line]


def test_watch_shows_only_the_sections_that_are_named(watched):
    lines = first_lines(watched(200, 80, "600", "neighbors", "lan0").next_look())
    assert [line for line in lines[2:] if line and line[0] != " "] == ["lan0", "neighbors"]


def test_a_further_look_is_written_over_the_one_before(watched):
    terminal = watched(12, 80, "1")
    assert terminal.next_look().startswith(CLEAR)
    look = terminal.next_look()
    # Clearing it first would flicker on a slow line.
    assert look.startswith(HOME) and CLEAR not in look and look.endswith(f"\033[K\n{END}")
    assert all(line.endswith("\033[K") for line in look.removesuffix(END).splitlines())


def test_another_size_of_the_terminal_is_heeded_at_once(watched):
    terminal = watched(10, 80, "86400")
    assert len(first_lines(terminal.next_look())) == 9
    terminal.resize(14, 80)
    assert len(first_lines(terminal.next_look())) == 13


def test_lines_of_json_come_when_it_is_time_whatever_the_terminal_does(gw):
    words = gw.command("sh", "-c", "mkfifo /mnt/told; /mnt/ipv6status --json --watch 86400 >/mnt/told & exec 3</mnt/told; "
                       "read -r first <&3; kill -WINCH $!; timeout 2 head -c 1 <&3; kill -TERM $!; wait $!; echo $?")
    done = subprocess.run(words, capture_output=True, text=True, check=True, timeout=60)
    assert (done.stdout, done.stderr) == ("0\n", "")


@pytest.mark.parametrize("columns", [40, 59, 60, 80, 132])
def test_lines_are_folded_between_words(gw, columns):
    del gw.daemons["radvd"]
    gw.network.append("addr add 3fff:200:999:1::1/64 dev br-lan nodad")
    plain = seen_on_a_terminal(gw, "TERM=dumb", status=1).splitlines()
    lines = seen_on_a_terminal(gw, "TERM=dumb", columns=columns, status=1).splitlines()
    commands = [line for line in plain if line.startswith("  -> ")]
    assert len(commands) == 2 and all(line in lines for line in commands)     # a command is there to be copied
    assert all(len(line) <= columns for line in lines if line not in commands)
    assert " ".join(lines).split() == " ".join(plain).split()
    assert columns == 132 or len(lines) > len(plain)


def test_a_word_that_is_longer_than_the_terminal_is_cut(gw):
    gw.store["ip6_gateway@wan100"] = "f" * 44
    lines = seen_on_a_terminal(gw, "TERM=dumb", columns=20, status=1).splitlines()
    assert all(len(line) <= 20 for line in lines)
    assert "f" * 44 in "".join(line.strip() for line in lines)


def test_colors_take_no_room(gw):
    del gw.daemons["radvd"]
    colored = seen_on_a_terminal(gw, "TERM=xterm", columns=60, status=1)
    assert "\033[31m" in colored
    assert re.sub("\033\\[[0-9;]*m", "", colored) == seen_on_a_terminal(gw, "TERM=dumb", columns=60, status=1)


def test_sections_are_shown_in_the_order_of_the_report(gw):
    gw.network.remove("addr add 3fff:200:300:2::1/64 dev br-lan1 nodad")
    status, lines = gw.screen("lan0", "system", "lan0")
    assert (status, lines[0]) == (1, "degraded") and lines[1].startswith("  !! lan1 global address ")
    assert [line for line in lines[1:] if line and line[0] != " "] == ["system", "lan0"]
    assert [line for line in gw.screen("lan", "w")[1][1:] if line and line[0] != " "] == ["wan", "lan0", "lan1"]

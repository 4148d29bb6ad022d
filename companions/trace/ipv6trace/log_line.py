"""One line of the diagnostic log: what it says, how it went, which commands can have written it."""
import functools
import re
from dataclasses import dataclass

WORDS = ("zel_ipv6_lan", "zel_ip6neigh_update", "zel_dhcp6c_update", "zel_resolv_update", "zel_ipcp_up",
         "zel_ipcp_down", "zel_ipv6cp_up", "zel_ipv6cp_down", "zel_ifconfig", "wan6c_restart", "ipv6rd_restart",
         "dhcp6c_start", "dhcp6c_restart", "dhcp6c_release", "dhcp6c_renew", "ipv6_lan_restart")
HOOKS = ("zel_ipv6cp_up", "zel_ipv6cp_down")        # a guard file lets one of them work at a time
WITHOUT_RECORD = ("zel_ip6neigh_update", "zel_resolv_update", "zel_ipcp_up", "zel_ipcp_down", "zel_ifconfig")
WITH_RECORD = tuple(word for word in WORDS if word not in WITHOUT_RECORD)     # these load the parameter record
DETECTING = ("zel_ipv6cp_up", "wan6c_restart", "dhcp6c_start", "dhcp6c_restart", "dhcp6c_renew")

# What only some commands can log; a routine that is not here can belong to any.
ROUTINES = {"prepare_parm": WITH_RECORD, "prepare_parm_lan1": WITH_RECORD, "get_serial_number": WITH_RECORD,
            "dhcp6c_main": ("zel_dhcp6c_update",), "waninfo_main": DETECTING,
            "zel_ip6neigh_update": ("zel_ip6neigh_update",), "zel_ipcp_up": ("zel_ipcp_up",),
            "zel_ipcp_down": ("zel_ipcp_down",), "start_lla": ("zel_ipv6_lan",)}
SHELL_LINES = {"ccfg_cli set ip6_pre_manual_gid": WITH_RECORD, "/etc/init.d/cron add ": ("zel_ipv6_lan",),
               "iptables-save ": ("zel_ipcp_up",), "iptables-restore ": ("zel_ipcp_up",),
               "conntrack -F": ("zel_ipcp_up",)}
# Statuses by which a tool says that what it was to end, empty or remove was not there.
NOTHING_TO_UNDO = (("killall ", (1,)), ("rm /tmp/", (1,)), ("sed -i ", (2,)), ("/usr/sbin/ip -6 route flush ", (2,)),
                   ("/usr/sbin/ip -6 route del ", (2,)), ("/usr/sbin/ip tunnel del ", (1,)),
                   ("/sbin/ifconfig ", (1, 255)))

SURE, LIKELY, GUESS = CONFIDENCES = ("sure", "likely", "guess")
LONGEST = 8192              # of a line, and of a message that continues over lines; the program cuts its own at 1535
PREFIX = re.compile(rb"\[([^\]\[]{0,63})\]\[(-?\d{1,18})\] ?(.*)", re.S)
FRAME = re.compile(r"\^_\^\[(.*)\] (start\.|ERROR_NONE, end\.|ERROR_INTERNAL, end)$", re.S)
SHELL = re.compile(r"\[(-?\d{1,18})\](.*)", re.S)
REASON = re.compile(r"The reason is (\w{1,32})")
BUSY = re.compile(r"script_running\[\s*\+?0*[1-9]")
FREE = re.compile(r"zel_ipv6cp_\w+ script_running\[0?\]")
HOOK = re.compile(r"@?(zel_ipv6cp_\w+)|@\[set_ip6addr\]")


@dataclass(slots=True, eq=False)
class Line:
    number: int                 # in the log, from 1
    uptime: int                 # as logged, whole seconds
    routine: str
    message: str
    confidence: str = SURE      # that its invocation wrote it
    time: float = 0.0           # seconds since the first line that is shown
    since: float = 0.0          # time of the line before it of the same invocation

    @property
    def shell(self):
        """(status, command line) of a shell line's report, None for any other line."""
        match = SHELL.fullmatch(self.message) if self.routine == "zel_system" else None
        return (int(match[1]), match[2]) if match else None

    @property
    def frame(self):
        """The match of an invocation's first or last line: its path and which of the ends; None for any other line."""
        return FRAME.fullmatch(self.message) if self.routine == "main" else None

    @property
    def is_parameter(self):
        """One of the many lines that say what was loaded from the store."""
        return self.routine in ("prepare_parm", "prepare_parm_lan1")


def parse(raw, number, confidence=SURE):
    """The Line of a log line's bytes without its line end, None when it has no prefix. Bytes that are no UTF-8 become
    `\\xNN`."""
    match = PREFIX.fullmatch(raw[:LONGEST])
    return match and line_of(match, number, confidence)


def line_of(match, number, confidence=SURE):
    return Line(number, int(match[2]), match[1].decode("utf-8", "backslashreplace"), as_text(match[3]), confidence)


def as_text(raw):
    return raw[:LONGEST].rstrip(b"\r").decode("utf-8", "backslashreplace")


def weight(line):
    """Of a shell line: "ok", "bad" when it failed, "quiet" when there was nothing to undo."""
    status, text = line.shell
    if status == 0:
        return "ok"
    quiet = any(status in known and text.startswith(start) for start, known in NOTHING_TO_UNDO)
    return "quiet" if quiet else "bad"


def possible_words(line):
    """The commands that can have written a line; None when all can."""
    if line.routine == "zel_system":
        shell = line.shell
        return shell and next((words for text, words in SHELL_LINES.items() if shell[1].startswith(text)), None)
    if line.routine == "main":
        named = HOOK.match(line.message)
        return (named[1] or "zel_ifconfig",) if named else None
    return ROUTINES.get(line.routine)


@functools.lru_cache(maxsize=4096)
def word_of(path):
    """The command's word, by the rule by which the program finds it; the last part of the path when there is none."""
    return next((word for word in WORDS if word in path), path.rpartition("/")[2])


ADDRESS = re.compile(r"\b[0-9A-Fa-f]*:[0-9A-Fa-f:.]*[0-9A-Fa-f]*(?:/\d+)?")
NUMBER = re.compile(r"\b\d+\b")
SHAPED = 400                # characters of a message that its shape is made of


@functools.lru_cache(maxsize=16384)
def shape_of(routine, message):
    """What stays the same in a line from run to run: no addresses, no numbers, nothing behind a colon or an equals sign
    (what was loaded), but the names in it."""
    shell = SHELL.fullmatch(message) if routine == "zel_system" else None
    if shell:
        return "$ " + NUMBER.sub("0", ADDRESS.sub("A", shell[2]))[:60]
    if routine == "set_ipv6_addr":              # its last number says whether the address comes or goes
        return routine + " " + ADDRESS.sub("A", message)[:60]
    return routine + " " + NUMBER.sub("0", re.split(r"[=:]", message)[0])[:40]


def shape(line):
    return shape_of(line.routine, line.message[:SHAPED])


@dataclass(slots=True, eq=False)
class Meaning:
    """What a line tells about the run that wrote it."""
    frame: object               # as of Line
    words: tuple                # the commands that can have written it; None when all can
    shape: str
    bad: bool                   # a shell line that failed
    reason: str                 # of a client event
    busy: bool                  # a hook found the other one at work
    free: bool                  # a hook found no other at work


def meaning(routine, message):
    """Of a line's bytes; lines repeat a lot."""
    return remembered(routine, message) if len(message) < REMEMBERED else worked_out(routine, message)


def worked_out(routine, message):
    line = Line(0, 0, routine.decode("utf-8", "backslashreplace"), as_text(message))
    reason = REASON.match(line.message) if line.routine == "dhcp6c_main" else None
    by_main = line.message if line.routine == "main" else ""
    return Meaning(line.frame, possible_words(line), shape(line), bool(line.shell) and weight(line) == "bad",
                   reason[1] if reason else "", bool(BUSY.search(by_main)), bool(FREE.match(by_main)))


REMEMBERED = 512            # bytes of the longest message
remembered = functools.lru_cache(maxsize=16384)(worked_out)

"""What the real daemons say of the files that a rehearsal has written."""
import pathlib
import re
import shutil
import subprocess
from dataclasses import dataclass

ACCEPTED, REFUSED, UNKNOWN = "accepted", "refused", "unknown"
SECONDS = 30
WHERE = "/usr/sbin:/sbin:/usr/bin:/bin"
BLAH = re.compile(r"Internet Systems Consortium|^Copyright|All rights reserved|^For info|^Config file:|^Database file:|^PID file:"
                  r"|^Configuration file errors|exiting, failed to read|syntax ok\Z|^Try `.*more information")


@dataclass(frozen=True)
class Judge:
    """A program that can tell whether it would take a file; `plain` is a text that it takes wherever it works at all."""
    path: str
    program: str
    package: str
    words: tuple
    plain: str


@dataclass(frozen=True)
class Verdict:
    path: str
    program: str
    verdict: str
    said: tuple


JUDGES = (
    Judge("/tmp/radvd.conf", "radvd", "radvd", ("--configtest", "-C"), "interface lo { };\n"),
    Judge("/tmp/dhcp6d.conf", "dhcpd", "isc-dhcp-server", ("-6", "-t", "-cf"), "subnet6 3fff::/64 { }\n"),
    Judge("/tmp/.ip6t", "ip6tables-restore", "iptables", ("--test",), "*filter\nCOMMIT\n"),
)


def judge_all(world, files, folder):
    """A Verdict for each of the files that has a judge. `folder` is for the files that are shown to them."""
    return [_judge(world, judge, files[judge.path], folder) for judge in JUDGES if judge.path in files]


def _judge(world, judge, text, folder):
    program = shutil.which(judge.program, path=WHERE)
    if program is None:
        return Verdict(judge.path, judge.program, UNKNOWN, (f"not installed (package {judge.package})",))
    status, said = _ask(world, judge, program, text, folder)
    if status == 0:
        return Verdict(judge.path, judge.program, ACCEPTED, said)
    works, why = _ask(world, judge, program, judge.plain, folder)
    if works != 0:
        return Verdict(judge.path, judge.program, UNKNOWN, ("does not work here: " + "; ".join(why),))
    return Verdict(judge.path, judge.program, REFUSED, said or (f"exit status {status}",))


def _ask(world, judge, program, text, folder):
    """Runs it in the private network, with nothing writable but what goes with the process."""
    shown_to_it = pathlib.Path(folder) / pathlib.PurePath(judge.path).name
    shown_to_it.write_bytes(text.encode("utf-8", "surrogateescape"))
    line = ["bwrap", "--unshare-pid", "--die-with-parent", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc", "--tmpfs", "/run",
            "--tmpfs", "/tmp", "--ro-bind", str(shown_to_it), judge.path, program, *judge.words, judge.path]
    process = world.popen(line, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env={"PATH": WHERE, "LC_ALL": "C"}, cwd="/")
    try:
        output, _ = process.communicate(timeout=SECONDS)
    except subprocess.TimeoutExpired:
        process.kill()
        process.communicate()
        return 1, (f"gave no answer within {SECONDS} s",)
    except BaseException:
        process.kill()
        process.communicate()
        raise
    return process.returncode, tuple(_telling(output.decode("utf-8", "surrogateescape")))


def _telling(output):
    """The lines that say what is wrong, without banners and what every line begins with."""
    told = set()
    output = output.split("\nIf you think you have received this message", 1)[0]
    output = re.sub(r"[^\n]*\n *\^ *(?:\n|\Z)", "", output)       # the line itself and a mark below it
    for line in output.split("\n"):
        line = re.sub(r"^\[[^\]]*\] radvd \(\d+\): ", "", line).rstrip()
        line = re.sub(r"^warning: \(\S+\) ", "warning: ", line)        # radvd says each with and without the place
        if line.strip() and not BLAH.search(line) and line not in told:
            told.add(line)
            yield line

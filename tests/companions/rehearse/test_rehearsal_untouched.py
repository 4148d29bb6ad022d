"""Nothing outside its root changes: watched in a copy of the whole machine, and for root and for an ordinary user."""
import os
import pathlib
import shlex
import signal
import subprocess
import sys
import time

import pytest
from rehearse_tool import DELEGATED, NOBODY, PROGRAMS, REPOSITORY, TOOL

# All of / under an overlay whose upper layer gets whatever is written, with the processes and the network of a new machine.
WATCHED = """
mount -t tmpfs tmpfs "$1"
mkdir "$1/upper" "$1/work" "$1/root"
mount -t overlay overlay -o lowerdir=/,upperdir="$1/upper",workdir="$1/work" "$1/root"
mount --rbind /dev "$1/root/dev"
mount --rbind /sys "$1/root/sys"
mount -t proc proc "$1/root/proc"
ip link set dev lo up
ip link add name br-lan type bridge
unshare --mount sh -ec 'cd "$1"; pivot_root . .; umount -l .; cd /; eval "$2"' inside "$1/root" "$2" >"$3" 2>&1
cd "$1/upper"
find . -mindepth 1 ! -type d -printf '%p %y %m %U:%G %l\\n' -o -type d -empty -printf '%p/ %m\\n'
find . -type f -exec sha256sum {} +
"""
KERNEL = "ip -d addr; ip -6 route; ip6tables-save | sed '/^#/d'; grep -r . /proc/sys/net/ipv6/conf/*/accept_ra; ls /sys/class/net"
# Starts none of its own.
PROCESSES = "for each in /proc/[0-9]*; do read -r name <$each/comm && echo $name; done"
COMMANDS = ["ipv6_lan_restart", "zel_ipv6_lan lan", "zel_ipv6cp_up", "dhcp6c_restart --client"]


class Machine:
    """`run` gives what the script printed and {path: what} of all that it left written."""

    def __init__(self, folder):
        self.folder = folder
        (folder / "layer").mkdir()

    def run(self, script):
        told = self.folder / "told"
        done = subprocess.run(["unshare", "--mount", "--pid", "--net", "--fork", "--kill-child", "sh", "-ec", WATCHED, "watched",
                               str(self.folder / "layer"), script, str(told)], capture_output=True, text=True, check=False,
                              timeout=300, stdin=subprocess.DEVNULL)
        assert done.returncode == 0, done.stderr + told.read_text(encoding="utf-8", errors="replace")
        return told.read_text(encoding="utf-8"), done.stdout.splitlines()


@pytest.fixture
def machine(tmp_path):
    if os.geteuid() != 0:
        pytest.fail("the copy of the machine needs root")
    return Machine(tmp_path)


def rehearsals(user):
    """The lines that rehearse all commands, with the daemons' verdicts; 0 and 1 are both an answer."""
    who = shlex.join([*user, "env", f"IPV6CTL_BUILD={PROGRAMS}", "TESA_STORE=/nowhere", str(TOOL)])
    return "\n".join(f"{who} {command} {shlex.join(DELEGATED)} --quiet || [ $? -eq 1 ]" for command in COMMANDS)


@pytest.mark.parametrize("user", [[], NOBODY], ids=["root", "user"])
def test_files_network_and_processes_are_the_same_afterwards(machine, user):
    look = f"$( {{ {KERNEL}; }} 2>&1; {PROCESSES})"
    told, written = machine.run(f"""before={look}
{rehearsals(user)}
after={look}
[ "$before" = "$after" ] || echo "$before ---- $after"
case $after in *br-lan*) echo the same;; esac""")
    assert told == "the same\n"
    # The folder of temporary files is as empty as before: an entry came and went.
    assert [line for line in written if line != "./tmp/ 1777"] == []


def test_the_copy_of_the_machine_shows_what_is_written(machine):
    _, written = machine.run("echo x >/etc/marker; rm /etc/hostname; chmod 600 /etc/passwd; mkdir /var/marker")
    assert {line.split(" ")[0] for line in written if line.startswith("./")} == {
        "./etc/marker", "./etc/hostname", "./etc/passwd", "./var/marker/"}
    assert "./etc/hostname c 0 0:0 " in written


def test_an_ordinary_user_gets_the_same_rehearsal(tool):
    words = [*DELEGATED, "--set", "wandataif@system=ppp0"]
    assert tool.json(*words, starter=NOBODY) == tool.json(*words)
    words += ["--client", "dhcp6c_start"]
    assert tool.json(*words, starter=NOBODY) == tool.json(*words)


def bound(*mounts):
    """Words that start the tool where something of the machine is another."""
    return ["bwrap", "--dev-bind", "/", "/", *mounts]


@pytest.mark.parametrize("program, package", [("/usr/bin/bwrap", "bubblewrap"), ("/usr/bin/unshare", "util-linux")])
def test_a_missing_program_is_told_with_its_package(tool, program, package):
    hidden = tool.folder / "empty"
    hidden.write_bytes(b"")
    hidden.chmod(0o644)
    said = tool.refused(starter=[*bound("--ro-bind", str(hidden), program), *NOBODY])
    assert said == f"missing: {pathlib.Path(program).name} (package {package})"


def test_a_machine_without_user_namespaces_is_told_to_use_root(tool):
    # The kernel's limit is the whole machine's, so unshare says it here instead of the kernel.
    refusing = tool.folder / "unshare"
    refusing.write_text("#!/bin/sh\necho 'unshare: unshare failed: Operation not permitted' >&2\nexit 1\n", encoding="ascii")
    refusing.chmod(0o755)
    said = tool.refused(starter=[*bound("--ro-bind", str(refusing), "/usr/bin/unshare"), *NOBODY])
    assert said == ("an ordinary user needs user namespaces, and this machine does not allow them "
                    "(unshare: unshare failed: Operation not permitted); run it as root")


def test_root_that_may_not_make_namespaces_is_told(tool):
    said = tool.refused(starter=["setpriv", "--bounding-set=-sys_admin", "--inh-caps=-sys_admin"])
    assert said.startswith("no private network: unshare: Operation not permitted")


def test_a_missing_daemon_is_no_verdict_and_no_failure(tool):
    found = tool.json(*DELEGATED, starter=bound("--ro-bind", "/dev/null", "/usr/sbin/dhcpd"))
    assert [entry for entry in found["verdicts"] if entry["verdict"] != "accepted"] == [
        {"path": "/tmp/dhcp6d.conf", "program": "dhcpd", "verdict": "unknown", "said": ["not installed (package isc-dhcp-server)"]}]
    assert found["good"]


def test_a_daemon_that_does_not_work_here_gives_no_verdict(tool):
    broken = tool.folder / "broken"
    broken.write_text("#!/bin/sh\necho no kernel for this >&2\nexit 3\n", encoding="ascii")
    broken.chmod(0o755)
    found = tool.json(*DELEGATED, starter=bound("--ro-bind", str(broken), "/usr/sbin/radvd"))
    assert found["verdicts"][0] == {"path": "/tmp/radvd.conf", "program": "radvd", "verdict": "unknown",
                                    "said": ["does not work here: no kernel for this"]}


def test_a_folder_where_programs_cannot_start_is_told(tool):
    said = tool.refused(starter=["unshare", "--mount", "sh", "-c", 'mount -t tmpfs -o noexec,mode=1777 tmpfs "$TMPDIR"; exec "$@"', "sh"])
    assert said.startswith(f"{tool.temporary}/ipv6rehearse-") and "noexec" in said


def test_an_interrupted_rehearsal_leaves_nothing(tool):
    """Ended at a moment when its root is there: while it waits for settings."""
    process = subprocess.Popen([str(TOOL), "--settings", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               env=tool.environment)
    deadline = time.monotonic() + 60
    while not list(tool.temporary.iterdir()):
        assert time.monotonic() < deadline
        time.sleep(0.01)
    process.send_signal(signal.SIGTERM)
    process.communicate(timeout=60)
    assert process.returncode == 128 + signal.SIGTERM
    assert list(tool.temporary.iterdir()) == []


def test_an_interrupt_while_the_root_is_removed_leaves_nothing(tool):
    """The signals come while files go: what removes them sends each of them to itself first."""
    script = f"""
import os, shutil, signal, sys
sys.path[:0] = [{str(REPOSITORY / "companions")!r} + "/" + name for name in ("rehearse", "recorder", "trace")]
from ipv6rehearse.cli import end_on_signals
from ipv6rehearse.rehearsal import ENDING, private_folder
remove = shutil.rmtree
def interrupted(folder, **options):
    for number in ENDING:
        os.kill(os.getpid(), number)
    remove(folder, **options)
shutil.rmtree = interrupted
end_on_signals()
with private_folder(False) as folder:
    (folder / "file").touch()
"""
    done = subprocess.run([sys.executable, "-B", "-c", script], env=tool.environment, capture_output=True, timeout=60, check=False)
    assert done.returncode in (128 + signal.SIGTERM, 128 + signal.SIGHUP, 130, -signal.SIGINT), done.stderr
    assert list(tool.temporary.iterdir()) == []


def test_a_process_that_is_ended_while_the_console_is_read_ends(tool):
    """The reader waits for the end of the run, which does not come to a process that leaves in between."""
    script = f"""
import os, pathlib, sys
sys.path.insert(0, {str(REPOSITORY / "companions/recorder")!r})
from ipv6recorder.gateway import Console
os.mkfifo("console")
Console(pathlib.Path("console")).__enter__()
sys.exit(143)
"""
    done = subprocess.run([sys.executable, "-B", "-c", script], cwd=tool.folder, capture_output=True, timeout=20, check=False)
    assert (done.returncode, done.stderr) == (143, b"")


def test_an_interrupt_before_anything_is_there_ends_without_a_word(tool):
    """While the modules are loaded: the first of them is one that interrupts."""
    modules = tool.folder / "modules"
    modules.mkdir()
    (modules / "argparse.py").write_text("import os, signal\nos.kill(os.getpid(), signal.SIGINT)\nwhile True: pass\n", encoding="ascii")
    done = subprocess.run([str(TOOL)], env={**tool.environment, "PYTHONPATH": str(modules)}, capture_output=True, timeout=60, check=False)
    assert (done.returncode, done.stdout, done.stderr) == (-signal.SIGINT, b"", b"")

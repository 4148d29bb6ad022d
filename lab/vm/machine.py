"""A virtual machine for what the host's kernel cannot do: tunnels and PPP. One boot runs one command to its end.

The guest's root is the host's, read-only, so it has the same programs and this repository under the same paths. /tmp
and /run are its own. The folder of the run is /run/exchange in the guest: what the command writes there stays.
"""
import shlex
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

HERE = Path(__file__).resolve().parent
IMAGES = HERE.parent.parent / "build" / "vm"
MEMORY = 768                # MiB
COMMAND_LINE = ("console=ttyS0 quiet panic=-1 tsc=unstable mitigations=off nokaslr no_timer_check lpj=4000000 "
                "cryptomgr.notests")

# Process 1 once the root is there. Its standard output is the machine's console.
START = """\
export PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8
cd /
ip link set lo up
(
{command}
) </dev/null >/run/exchange/output 2>&1
echo $? >/run/exchange/status
busybox sync
exec busybox poweroff -f
"""


@dataclass
class Run:
    """How a guest ended."""
    status: int | None      # of the command; None when the machine ended, or had to be ended, before it
    output: str             # of the command
    console: str            # of the kernel and of process 1
    folder: Path            # the exchange folder

    def told(self):
        """What a person needs who wants to know why it failed."""
        return f"status {self.status}\n{self.output[-4000:]}\n--- console\n{self.console[-2000:]}"


def images(folder=IMAGES):
    """Kernel and initial file system, made when they are missing."""
    done = subprocess.run([str(HERE / "kernel"), str(folder)], capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise RuntimeError(done.stderr.strip())
    return folder / "vmlinux", folder / "initramfs"


def preload(name, folder=IMAGES):
    """Compiles NAME.c of this folder to a library that can be loaded before a program of the guest."""
    source, library = HERE / f"{name}.c", folder / f"{name}.so"
    if not library.exists() or library.stat().st_mtime < source.stat().st_mtime:
        folder.mkdir(parents=True, exist_ok=True)
        subprocess.run(["gcc", "-shared", "-fPIC", "-O2", "-Wall", "-Wextra", "-Werror", "-o", str(library),
                        str(source)], check=True)
    return library


def share(name, path, readonly):
    """A folder of the host for the guest, under a mount tag."""
    options = f"local,id={name},path={path},security_model=none,multidevs=remap" + (",readonly=on" if readonly else "")
    return ["-fsdev", options, "-device", f"virtio-9p-pci,fsdev={name},mount_tag={name}"]


def exchange(folder):
    """Empties the folder of an earlier run, or makes it, to become the exchange folder of a machine; returns it."""
    folder = Path(folder).resolve()
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    return folder


def boot(folder, *command, limit=600, processors=1):
    """Runs a command in a guest of its own and returns a `Run`. `folder` is its exchange folder (see `exchange`).
    After `limit` seconds the machine is ended; it ends as well with the process that called this."""
    kernel, initramfs = images()
    (folder / "start").write_text(START.format(command=shlex.join(map(str, command))), encoding="utf-8")
    # Without hardware acceleration: it is not to be had, or does not work, where virtual machines are nested.
    argv = ["setpriv", "--pdeathsig", "KILL", "qemu-system-x86_64", "-M", "q35", "-accel", "tcg,thread=multi",
            "-smp", str(processors), "-m", str(MEMORY), "-nodefaults", "-no-user-config", "-display", "none",
            "-serial", "stdio", "-no-reboot", "-kernel", str(kernel), "-initrd", str(initramfs),
            "-append", COMMAND_LINE, *share("host", "/", True), *share("exchange", folder, False)]
    with open(folder / "console", "wb") as console, \
            subprocess.Popen(argv, stdin=subprocess.DEVNULL, stdout=console, stderr=console,
                             start_new_session=True) as machine:
        try:
            machine.wait(limit)
        except subprocess.TimeoutExpired:
            console.write(f"\nThe machine was ended after {limit} seconds.\n".encode())
        finally:
            machine.kill()
    return Run(status_in(folder / "status"), text_in(folder / "output"), text_in(folder / "console"), folder)


def text_in(path):
    return path.read_text(encoding="utf-8", errors="replace") if path.exists() else ""


def status_in(path):
    text = text_in(path).strip()
    return int(text) if text.isdigit() else None

"""Process 1 of one node: makes the node's namespaces and root, reaps its orphans, ends with its creator.

The first line of its standard input is its configuration in JSON (see `Node.start`). After that the standard input is
a leash: when its other end closes, for whatever reason, this process ends, and the kernel then kills everything that
runs in the node. No node can therefore outlive the lab that made it, not even a lab that was killed with SIGKILL.
"""
import ctypes
import json
import os
import select
import shutil
import signal
import sys

CLONE_NEWNS = 0x00020000
CLONE_NEWUTS = 0x04000000
CLONE_NEWIPC = 0x08000000
CLONE_NEWPID = 0x20000000
CLONE_NEWNET = 0x40000000
MS_NOSUID = 0x2
MS_NODEV = 0x4
MS_NOEXEC = 0x8
MS_BIND = 0x1000
MS_MOVE = 0x2000
MS_REC = 0x4000
MS_PRIVATE = 0x40000

STAGE = "/mnt"  # only covered inside the node's own mount namespace
DEVICES = ("null", "zero", "full", "random", "urandom", "tty")

libc = ctypes.CDLL(None, use_errno=True)


def fail(what):
    code = ctypes.get_errno()
    raise OSError(code, f"{what}: {os.strerror(code)}")


def unshare(flags):
    if libc.unshare(flags) != 0:
        fail("unshare")


def mount(source, target, kind=None, flags=0, options=None):
    encode = [text.encode() if text is not None else None for text in (source, target, kind, options)]
    if libc.mount(encode[0], encode[1], encode[2], ctypes.c_ulong(flags), encode[3]) != 0:
        fail(f"mount {kind or 'bind'} on {target}")


def lay_tree_over(source, target):
    """Copies a tree into the node's root, through the links of that root (a merged /usr stays merged)."""
    for folder, subfolders, files in os.walk(source):
        into = os.path.normpath(os.path.join(target, os.path.relpath(folder, source)))
        links = [name for name in subfolders if os.path.islink(os.path.join(folder, name))]
        os.makedirs(into, exist_ok=True)
        for name in files + links:
            place = os.path.join(into, name)
            if os.path.lexists(place):
                os.unlink(place)
            shutil.copy2(os.path.join(folder, name), place, follow_symlinks=False)


def make_root(config, out_fd, source_fd):
    """The host's root with a private, forgetful layer over it: nothing that happens in the node reaches the disk."""
    mount("stage", STAGE, "tmpfs", MS_NOSUID, "mode=0755")
    root = f"{STAGE}/root"
    for folder in ("upper", "work", "root"):
        os.mkdir(f"{STAGE}/{folder}", 0o755)
    mount("overlay", root, "overlay", 0, f"lowerdir=/,upperdir={STAGE}/upper,workdir={STAGE}/work")
    for folder in ("lab", "lab/out", "lab/src", *config["tmpfs"]):
        os.makedirs(f"{root}/{folder.lstrip('/')}", exist_ok=True)
    mount(f"/proc/self/fd/{out_fd}", f"{root}/lab/out", flags=MS_BIND)
    mount(f"/proc/self/fd/{source_fd}", f"{root}/lab/src", flags=MS_BIND)
    mount("tmpfs", f"{root}/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777")
    mount("tmpfs", f"{root}/run", "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755")
    for folder in config["tmpfs"]:
        mount("tmpfs", root + folder, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755")
    mount("proc", f"{root}/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC)
    mount("sysfs", f"{root}/sys", "sysfs", MS_NOSUID | MS_NODEV | MS_NOEXEC)
    make_devices(root)
    for tree in config["trees"]:
        lay_tree_over(tree, root)
    for path, text in config["files"].items():
        place = root + path
        os.makedirs(os.path.dirname(place), exist_ok=True)
        if os.path.lexists(place):
            os.unlink(place)
        with open(place, "w", encoding="utf-8") as file:
            file.write(text)
    return root


def make_devices(root):
    mount("dev", f"{root}/dev", "tmpfs", MS_NOSUID, "mode=0755")
    for name in DEVICES:
        place = f"{root}/dev/{name}"
        os.close(os.open(place, os.O_CREAT | os.O_WRONLY, 0o666))
        mount(f"/dev/{name}", place, flags=MS_BIND)
    for name in ("pts", "shm"):
        os.mkdir(f"{root}/dev/{name}", 0o755)
    mount("devpts", f"{root}/dev/pts", "devpts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=0666,mode=0620")
    mount("shm", f"{root}/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777")
    for name, aim in (("ptmx", "pts/ptmx"), ("fd", "/proc/self/fd"), ("stdin", "/proc/self/fd/0"),
                      ("stdout", "/proc/self/fd/1"), ("stderr", "/proc/self/fd/2")):
        os.symlink(aim, f"{root}/dev/{name}")


def enter_root(root):
    os.chdir(root)
    mount(".", "/", flags=MS_MOVE)
    os.chroot(".")
    os.chdir("/")


def open_console():
    """The console is a FIFO that is always being read: a plain file would keep only the last message."""
    os.mkfifo("/dev/console", 0o622)
    return os.open("/dev/console", os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)


def reap():
    while True:
        try:
            if os.waitpid(-1, os.WNOHANG)[0] == 0:
                return
        except ChildProcessError:
            return


def serve(console_fd, console_log_fd):
    wake_read, wake_write = os.pipe2(os.O_NONBLOCK | os.O_CLOEXEC)
    signal.set_wakeup_fd(wake_write, warn_on_full_buffer=False)
    signal.signal(signal.SIGCHLD, lambda *_: None)
    poll = select.poll()
    poll.register(0, select.POLLIN | select.POLLHUP)
    poll.register(wake_read, select.POLLIN)
    if console_fd is not None:
        poll.register(console_fd, select.POLLIN)
    print("ready", flush=True)
    while True:
        reap()
        for fd, _ in poll.poll():
            if fd == 0 and not os.read(0, 4096):
                return
            if fd == wake_read:
                os.read(wake_read, 4096)
            if fd == console_fd:
                os.write(console_log_fd, os.read(console_fd, 65536))


def live_as_init(config):
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    mount("none", "/", flags=MS_REC | MS_PRIVATE)
    libc.sethostname(config["name"].encode(), len(config["name"]))
    out_fd = os.open(config["out"], os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
    source_fd = os.open(config["source"], os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
    log_fd = None
    if config["console"]:
        log_fd = os.open(config["console"], os.O_WRONLY | os.O_CREAT | os.O_APPEND | os.O_CLOEXEC, 0o644)
    enter_root(make_root(config, out_fd, source_fd))
    os.close(out_fd)
    os.close(source_fd)
    serve(open_console() if log_fd is not None else None, log_fd)


def read_line(fd):
    """One line and not a byte more, so that nothing of the leash hangs in a buffer."""
    line = b""
    while not line.endswith(b"\n"):
        byte = os.read(fd, 1)
        if not byte:
            sys.exit(1)
        line += byte
    return line


def main():
    config = json.loads(read_line(0))
    unshare(CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWPID | CLONE_NEWNET)
    child = os.fork()
    if child == 0:
        try:
            live_as_init(config)
        except OSError as error:
            print(f"{config['name']}: {error}", file=sys.stderr, flush=True)
            os._exit(1)
        os._exit(0)
    print(child, flush=True)
    os.close(1)
    _, status = os.waitpid(child, 0)
    sys.exit(0 if status == 0 else 1)


if __name__ == "__main__":
    main()

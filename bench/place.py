"""The private root of the device tests, with one no-op in the place of every outside program, for measuring.

/tmp and /etc/config are in memory and put back into the same state before each run (`Scene`); the pauses of the rules
are taken out by the device tests' preload, which the shells do not get to see. Needs root, like the device tests.
"""
import dataclasses
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parent
sys.path.insert(0, str(TREE / "tests/device"))
BUILD = pathlib.Path(os.environ.get("IPV6CTL_BUILD", TREE / "build")).resolve()
os.environ.setdefault("IPV6CTL", str(BUILD / "ipv6ctl"))
os.environ.setdefault("CCFG_CLI", str(BUILD / "ccfg_cli"))

from sandbox import REAL_TOOLS, Template, World, command, store_tool_path       # noqa: E402
from scenes import LINKS                                                        # noqa: E402

PROGRAMS = BUILD / "bench/programs"
PRELOAD = "/tools/instant.so /gw/programs/alone.so"
RECORDING = PRELOAD + " /gw/programs/spawned_lines.so"

_RESET = """#!/host/dash
export PATH=/host
if [ "$1" = before ]; then
    rm -rf /tmp/* /tmp/.[!.]* /etc/config/*
    cp -a /gw/before/tmp/. /tmp
    cp -a /gw/before/config/. /etc/config
    ip -batch /gw/addresses
else
    wc -lc /tmp/ipv6.log >/gw/log.size
    [ ! -e /gw/after ] || cp -a /tmp/. /gw/after
fi
"""


@dataclasses.dataclass
class Runs:
    """The runs of one program: nanoseconds each, of them on a processor, and the exit statuses that were seen."""
    ns: list
    cpu: list
    statuses: set


def program(command_name, *args):
    """ipv6ctl under one of its names."""
    return [f"/usr/sbin/{command_name}", f"/usr/sbin/{command_name}", *args]


def peer(name, *args):
    """One of the programs of this folder."""
    return [f"/gw/programs/{name}", name, *args]


def add_what_scripts_need(root):
    """Puts awk and the bridges' hardware addresses into a root."""
    awk = pathlib.Path(shutil.which("awk")).resolve()
    (root / "usr/bin/awk").symlink_to(f"/host/{awk.name}")
    for name, mac in LINKS.items():
        folder = root / "sys/class/net" / name
        folder.mkdir(parents=True)
        (folder / "address").write_text(mac + "\n")


class Place:
    """`with Place() as place:` makes the root; everything is gone afterwards."""

    def __init__(self):
        self._world = World()

    def __enter__(self):
        if not (PROGRAMS / "noop").exists():
            raise SystemExit(f"{PROGRAMS} is empty: cmake --build {BUILD} --target bench_programs")
        shared = "/dev/shm" if os.access("/dev/shm", os.W_OK) else BUILD / "bench"
        self._folder = pathlib.Path(tempfile.mkdtemp(prefix="ipv6ctl-bench.", dir=shared))
        try:
            self._build()
        except BaseException:
            shutil.rmtree(self._folder)
            raise
        return self

    def __exit__(self, *_):
        shutil.rmtree(self._folder)

    def _build(self):
        self._template = Template()
        self._template.recorder = PROGRAMS / "noop"
        self._root = self._folder / "root"
        self._root.mkdir()
        self._template.build(self._root)
        self._no_ops_only()
        self._base = self._folder / "base"
        for folder in ("tmp", "run", "proc/net", "dev", "gw/programs", "gw/valgrind", "etc/config"):
            (self._base / folder).mkdir(parents=True)
        for name in ("self", "thread-self"):
            (self._base / "proc" / name).symlink_to("/.proc/" + name)
        (self._base / "proc/uptime").write_text("1000.00 2000.00\n")
        for device in ("null", "console"):
            (self._base / "dev" / device).touch()
        (self._base / "firewallv6.user").write_text("firewallv6.user\n")
        reset = self._base / "gw/reset"
        reset.write_text(_RESET)
        reset.chmod(0o755)
        self._world.arrange({name: (mac, None) for name, mac in LINKS.items()}, [], True)

    def _no_ops_only(self):
        """The programs that the device tests leave as they are, the shell aside."""
        for tool in set(REAL_TOOLS) - {"sh"}:
            (self._root / "usr/bin" / tool).unlink()
            shutil.copy(PROGRAMS / "noop", self._root / "usr/bin" / tool)
        add_what_scripts_need(self._root)
        shutil.copy("/etc/ld.so.cache", self._root / "etc/ld.so.cache")     # as every device has it

    # --- one situation

    def furnish(self, scene):
        """The state before each of the next runs."""
        gw = self._base / "gw"
        for folder in ("before", "answers", "after", "out", "../proc/net"):
            shutil.rmtree(gw / folder, ignore_errors=True)
        for folder in ("before/tmp", "before/config", "answers", "out", "../proc/net"):
            (gw / folder).mkdir(parents=True)
        for path, text in {**scene.files, "/etc/config/.glbcfg": "settings\n"}.items():
            self._place(path).write_text(text)
        for path, text in scene.answers.items():
            (gw / "answers" / path).parent.mkdir(exist_ok=True)
            (gw / "answers" / path).write_text(text)
        for link in ("all", *LINKS):
            for key, text in (("accept_ra", "1\n"), ("disable_ipv6", "1\n"), ("forwarding", "0\n"),
                              ("router_solicitations", "3\n")):
                switch = self._base / "proc/sys/net/ipv6/conf" / link / key
                switch.parent.mkdir(parents=True, exist_ok=True)
                switch.write_text(text)
        batch = [f"addr flush dev {link}" for link in LINKS]
        batch += [f"addr add {address} dev {link} nodad" for link, address in scene.addresses]
        (gw / "addresses").write_text("\n".join(batch) + "\n")
        self._variables = dict(scene.env)
        store = self._place("/etc/config/ccfg.db")
        lines = "".join(f"{key}={value}\n" for key, value in scene.store.items())
        subprocess.run([store_tool_path(), "import"], input=lines, text=True, check=True,
                       env={"TESA_STORE": str(store), "PATH": "/usr/bin"})

    def _place(self, path):
        for inside, outside in (("/etc/config/", "gw/before/config/"), ("/tmp/", "gw/before/tmp/"),
                                ("/proc/", "proc/")):
            if path.startswith(inside):
                found = self._base / outside / path.removeprefix(inside)
                found.parent.mkdir(parents=True, exist_ok=True)
                return found
        raise ValueError(path)

    def put(self, name, data):
        """A file of /gw. Returns its path inside."""
        (self._base / "gw" / name).write_bytes(data)
        return f"/gw/{name}"

    def read(self, name):
        return (self._base / "gw" / name).read_bytes()

    # --- runs

    def start(self, inner, preload=PRELOAD, extra=(), variables=()):
        """Runs one command line in the root, as its first process."""
        known = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "TESA_STORE": "/etc/config/ccfg.db",
                     "GW_UPTIME": "1000", "GW_TIME": "1700000000", "LC_ALL": "C", **self._variables, **dict(variables)}
        if preload:
            known["BENCH_PRELOAD"] = preload
        mounts = ["--ro-bind", PROGRAMS, "/gw/programs", "--ro-bind", PROGRAMS / "noop", "/usr/bin/ccfg_cli",
                  "--tmpfs", "/tmp", "--tmpfs", "/etc/config", "--dev-bind", "/dev/null", "/dev/console", *extra]
        line = command(self._template, self._root, self._base, known, inner, mounts=mounts)
        process = self._world.popen(line, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                    env={"PATH": "/usr/bin:/bin"}, cwd="/")
        said, _ = process.communicate()
        if process.returncode != 0:
            raise RuntimeError(f"status {process.returncode} of {' '.join(inner)}: {said.decode(errors='replace')}")

    def sample(self, *programs, rounds=40, warmup=3, reset=True, **how):
        """The programs by turns, `rounds` times each behind a warm-up. Returns their Runs, in order."""
        inner = ["/gw/programs/sampler", str(rounds), str(warmup), "/gw/reset" if reset else "-", "/gw/out/runs"]
        for words in programs:
            inner += ["--", *words]
        self.start(inner, **how)
        found = [Runs([], [], set()) for _ in programs]
        for line in self.read("out/runs").decode().splitlines():
            which, ns, cpu, status = (int(word) for word in line.split())
            found[which].ns.append(ns)
            found[which].cpu.append(cpu)
            found[which].statuses.add(status)
        return found

    def record(self, words, status=1):
        """What one run of the program did: its shell lines as (kind, line), and the log's texts in order."""
        (self._base / "gw/after").mkdir(exist_ok=True)
        (self._base / "gw/lines").unlink(missing_ok=True)
        runs, = self.sample(words, rounds=1, warmup=0, preload=RECORDING)
        if runs.statuses != {status}:
            raise RuntimeError(f"{words}: status {runs.statuses}, not {status}")
        lines = []
        if (self._base / "gw/lines").exists():
            lines = [(text[:1], text[1:]) for text in self.read("lines").split(b"\0")[:-1]]
        log = self.read("after/ipv6.log")
        shutil.rmtree(self._base / "gw/after")
        return lines, log_texts(log)

    def log_size(self):
        """Lines and bytes of the log behind the last run of `sample`."""
        return tuple(int(word) for word in self.read("log.size").split()[:2])


def log_texts(log):
    """A log as the texts that were appended to it; one text may have an empty line of its own."""
    texts = []
    for line in log.splitlines(keepends=True):
        if line == b"\n" and texts:
            texts[-1] += line
        else:
            texts.append(line)
    return texts


def plan(lines, log):
    """The same for the floor program."""
    records = [kind + b"1 " + line + b"\0" for kind, line in lines] + [b"L1 " + text + b"\0" for text in log]
    return b"".join(records)

"""A gateway for one test or rehearsal: set it up, run the program under a command name, look at what it did.

    def test_name_that_says_what_holds(gateway):
        gateway.store["ip6_gua_sid@lan1"] = "02"
        run = gateway.run("ipv6_lan_restart")
        assert run.lines == ["/sbin/ifconfig br-lan del 2001:db8::1/64", ...]

A new gateway has an empty /tmp, an empty store and no addresses, and every test gets one. Several runs share it, so that
the second run sees the files, the store and the addresses that the first one left.

Set up (before a run; all may be changed again between two runs)
    gateway.store            dict "key@section" -> text. Written into the real store before the run; after the run it
                             holds what the store then has. `del` removes a key.
    gateway.take_settings(data), gateway.take_store(data)
                             puts the lines of an export, or a whole store file, into the store; returns what ccfg_cli
                             objects to, None when nothing.
    gateway.env              dict of environment variables of the program (reason, new_ip6_address, ...).
    gateway.file(path, text) writes a file of the root: below /tmp, /run (= /var/run), /etc/config, /proc, /dev or
                             /lib/firewall/firewallv6.user. gateway.folder(path) makes a folder, which is how a file is
                             made impossible to open (the program is root). gateway.remove(path) removes either.
                             gateway.read(path) gives the text, None when it is missing. gateway.symlink(path,
                             target) makes a symbolic link.
    gateway.switch(link, key, text)
                             /proc/sys/net/ipv6/conf/<link>/<key>. br-lan, br-lan1, the WAN interface, 6rd and "all"
                             have the usual keys from the start.
    gateway.links            dict name -> MAC text: real interfaces; br-lan 00:11:22:33:44:55, br-lan1
                             00:11:22:33:44:66 and the WAN interface ppp0 00:11:22:33:44:77. `del` takes one away.
    gateway.ip4[name]        "192.0.2.1/24": IPv4 address of an interface (none from the start).
    gateway.address(link, "2001:db8::1/64")
                             puts an IPv6 address on a real interface.
    gateway.wan("eth4", sect="wan7")
                             renames the WAN interface (real link, switches and what the device's scripts print).
    gateway.script(program, *words, stdout="", status=0, sh=None, times=None)
                             what a recorder answers when its arguments begin with `words` (none: whatever they are).
                             The rule written last is tried first. `sh` is shell text run instead of `status`, with
                             the arguments as $1...; `times` is how often the rule serves. Without a rule a recorder
                             prints nothing and exits 0; wandataif.sh, if2sect.sh and uboot_env print the WAN
                             interface, the WAN section (wan100) and "SN0001".
    gateway.kill_program_at(program, *words)
                             a recorder's rule that kills the program under test (run.status is then -9).
    gateway.process(4242)    a sleeping process with that id, for `kill 4242`; see run.killed.
    gateway.at_pause(n, path, text)
                             during the n-th pause (from 1) of the next run the file gets that text.
    gateway.shell = False    takes /bin/sh away, so that no line can be run.
    gateway.pause_limit      the program is ended at this many pauses (default 100): how to test an endless wait.
    gateway.uptime, .time    the uptime (1000) in log lines, and the wall clock (1700000000).
    gateway.mounts           words of bwrap for mounts over the usual ones, such as ["--remount-ro", "/tmp"].
    gateway.starter          words in front of the program's path: a program of the root that starts it.

Run
    gateway.run("zel_ipv6_lan", "lan")                argv[0] is /usr/sbin/zel_ipv6_lan
    gateway.run("foo", argv0="foo")                   argv[0] to the letter

Result
    run.status               exit status 0..255, -N when signal N ended it
    run.lines                the shell lines in order, from the log; run.shell has (status, line) pairs
    run.calls                what the recorders were called with, in order: lists of words, each with `.env`;
                             run.calls_of("ip") those of one program
    run.pauses               the pauses in milliseconds, in order
    run.journal              calls (as one shell-quoted text each) and "(pause 1000 ms)" entries in their common order
    run.log, run.log_lines   this run's part of /tmp/ipv6.log as text and as lines without line ends
    run.messages("main")     the log texts of one routine, without the prefix
    run.log_after_loading    the log lines behind the loading of the parameters
    run.console, .console_lines, .stdout, .stderr
    run.console_masked       console lines, with TID for the transaction's number and N for the line numbers that each
                             build may choose; the fixed ones of "[zel-ipv6 main]" stay
    run.files                dict path -> text of every file below /tmp and /var/run after the run, /tmp/ipv6.log aside.
                             /tmp/dhcp6d, the copy of the server, reads as "<copy of dhcpd>"
    run.switches             dict "br-lan/accept_ra" -> text of the switches that the run has written ("" + no line end)
    run.store_before, run.store, run.store_changes       dicts; the last one key -> (before, after), None = not there
    run.addresses            dict interface -> sorted list of "address/length"
    run.killed               ids of the processes that were killed
    run.gave_up_waiting      the pause limit ended the run

Comparing two lists shows their difference line by line, and a failed test prints everything its last run did.
Real programs in the root: sh, sed, cat, rm, cp, sum, sha1sum, grep and a few more of their kind, ccfg_cli. All others
are recorders or missing (shell status 127).
"""
import os
import shutil
import subprocess
import threading

from .private_root import command
from .transcript import Run, os_text

_KEYS = {"accept_ra": "1\n", "disable_ipv6": "1\n", "forwarding": "0\n", "router_solicitations": "3\n"}
_SANITIZER = {"ASAN_OPTIONS": "verify_asan_link_order=0:detect_leaks=0:exitcode=86",
              "UBSAN_OPTIONS": "halt_on_error=1:print_stacktrace=1:exitcode=86"}
_TIME_LIMIT = 180     # a run ends within a second; another processor is emulated, and a machine may have other work


class Gateway:
    def __init__(self, world, template, root, base):
        self._world, self._template, self._root, self._base = world, template, root, base
        self.store, self.env, self.ip4 = {}, {}, {}
        self.links = {"br-lan": "00:11:22:33:44:55", "br-lan1": "00:11:22:33:44:66", "ppp0": "00:11:22:33:44:77"}
        self.uptime, self.time, self.pause_limit = 1000, 1700000000, 100
        self.shell = True
        self.mounts, self.starter = [], []
        self._stored, self._addresses, self._processes, self._rules = {}, [], [], {}
        self._written = {}
        self._fresh, self._wan, self._sect = True, "ppp0", "wan100"
        self.last_run = None
        for folder in ("tmp", "run", "proc/net", "proc/sys/net/ipv6/conf", "dev", "gw/pauses", "gw/rules",
                       "etc/config"):
            (base / folder).mkdir(parents=True)
        for name in ("self", "thread-self"):
            (base / "proc" / name).symlink_to("/.proc/" + name)
        (base / "dev/null").touch()
        (base / "no-shell").touch(mode=0o644)
        os.mkfifo(base / "dev/console")
        (base / "firewallv6.user").write_text("firewallv6.user\n")
        for link in ("all", "br-lan", "br-lan1", "6rd"):
            self._usual_switches(link)
        self.wan("ppp0")

    # --- set up

    def _path(self, path):
        if path == "/lib/firewall/firewallv6.user":
            return self._base / "firewallv6.user"
        path = path.replace("/var/run", "/run", 1) if path.startswith("/var/run") else path
        return self._base / path.lstrip("/")

    def file(self, path, text):
        place = self._path(path)
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_bytes(text.encode("utf-8", "surrogateescape"))

    def folder(self, path):
        self.remove(path)
        self._path(path).mkdir(parents=True)

    def symlink(self, path, target):
        self.remove(path)
        self._path(path).symlink_to(target)

    def remove(self, path):
        place = self._path(path)
        if place.is_dir() and not place.is_symlink():
            shutil.rmtree(place)
        else:
            place.unlink(missing_ok=True)

    def files(self):
        """{path: text} of what is below /tmp and /var/run now, as in a run's result."""
        return self._read_files()

    def read(self, path):
        place = self._path(path)
        return os_text(place.read_bytes()) if place.is_file() and not place.is_symlink() else None

    def switch(self, link, key, text):
        self.file(f"/proc/sys/net/ipv6/conf/{link}/{key}", text)

    def _usual_switches(self, link):
        for key, text in _KEYS.items():
            self.switch(link, key, text)

    def wan(self, name, sect="wan100"):
        self.links[name] = self.links.pop(self._wan)
        if self._wan != name:
            self.remove("/proc/sys/net/ipv6/conf/" + self._wan)
        self._wan, self._sect = name, sect
        self._usual_switches(name)

    def address(self, link, address):
        self._addresses.append((link, address))

    def process(self, pid):
        self._processes.append(pid)

    def at_pause(self, number, path, text):
        self.file(f"/gw/pauses/{number}", f"{path}\n{text}")

    def script(self, program, *words, stdout="", status=0, sh=None, times=None):
        rule = {"when": "".join(word + "\0" for word in words), "stdout": stdout, "status": str(status)}
        if sh is not None:
            rule["sh"] = sh
        if times is not None:
            rule["times"] = str(times)
        self._rules.setdefault(program, []).insert(0, rule)

    def kill_program_at(self, program, *words):
        self.script(program, *words, sh="read -r _ _ _ parent _ < /.proc/$PPID/stat; kill -9 $parent", times=1)

    def _write_rules(self):
        device = {"wandataif.sh": self._wan + "\n", "if2sect.sh": self._sect + "\n", "uboot_env": "SN0001\n"}
        for program in {*self._rules, *device}:
            rules = list(self._rules.get(program, []))
            if program in device:
                rules = rules + [{"when": "", "stdout": device[program], "status": "0"}]
            for number, rule in enumerate(self._written.get(program, [])):
                used = self.read(f"/gw/rules/{program}/{number}/used")
                if used is not None:
                    rule["used"] = used
            self._written[program] = rules
            self.remove("/gw/rules/" + program)
            for number, rule in enumerate(rules):
                for part, text in rule.items():
                    self.file(f"/gw/rules/{program}/{number}/{part}", text)

    # --- the store

    def _ask_tool(self, *args, given=None):
        env = {"TESA_STORE": str(self._base / "etc/config/ccfg.db"), "PATH": "/usr/bin:/bin", **_SANITIZER}
        return subprocess.run([self._template.store_tool, *args], input=given, capture_output=True, env=env, check=False)

    def _tool(self, *args, given=None):
        done = self._ask_tool(*args, given=given)
        if done.returncode != 0:
            raise RuntimeError(f"ccfg_cli {' '.join(args)}: status {done.returncode}: {os_text(done.stderr)}")
        return os_text(done.stdout)

    def take_settings(self, data):
        return self._take(self._ask_tool("import", given=data))

    def take_store(self, data):
        (self._base / "etc/config/ccfg.db").write_bytes(data)
        return self._take(self._ask_tool("export"))

    def _take(self, done):
        if done.returncode != 0:
            return os_text(done.stderr).strip() or f"ccfg_cli ended with status {done.returncode}"
        self._stored = self._read_store()
        self.store = dict(self._stored)
        return None

    def _write_store(self):
        for key in [key for key in self._stored if key not in self.store]:
            self._tool("unset", key)
        changed = {key: text for key, text in self.store.items() if self._stored.get(key) != str(text)}
        if changed:
            lines = "".join(f"{key}={text}\n" for key, text in changed.items())
            self._tool("import", given=lines.encode("utf-8", "surrogateescape"))

    def _read_store(self):
        if not self._path("/etc/config/ccfg.db").exists():
            return {}
        # Not splitlines: a value may hold what Unicode counts as a line end.
        return dict(line.split("=", 1) for line in self._tool("export").split("\n") if line)

    # --- run

    def run(self, name, *args, argv0=None):
        self._write_store()
        before = self._read_store()
        self._write_rules()
        self._world.arrange({name: (mac, self.ip4.get(name)) for name, mac in self.links.items()}, self._addresses,
                            self._fresh)
        self._fresh, self._addresses = False, []
        (self._base / "gw/journal").write_bytes(b"")
        switches = self._read_switches()
        log_size = len(self.read("/tmp/ipv6.log") or "")
        argv0 = argv0 if argv0 is not None else "/usr/sbin/" + name
        stdout, stderr, console = self._start([argv0, *args])
        report = (self._base / "gw/report").read_text().splitlines()
        log = self.read("/tmp/ipv6.log") or ""
        self._stored = self._read_store()
        self.store = dict(self._stored)
        self.last_run = Run(
            [argv0, *args], report, (self._base / "gw/journal").read_bytes(), log[log_size:], console, stdout,
            stderr, self._read_files(),
            {key: text for key, text in self._read_switches().items() if switches.get(key) != text},
            before, dict(self._stored), self._world.addresses())
        self._processes = []
        self.remove("/gw/pauses")
        self._path("/gw/pauses").mkdir()
        if "AddressSanitizer" in stderr or "runtime error:" in stderr:
            raise AssertionError("the sanitizer stopped the program:\n" + stderr)
        return self.last_run

    def _start(self, argv):
        variables = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "TESA_STORE": "/etc/config/ccfg.db",
                     "LD_PRELOAD": "/tools/instant.so", "GW_UPTIME": str(self.uptime), "GW_TIME": str(self.time),
                     "GW_PAUSE_LIMIT": str(self.pause_limit), **_SANITIZER, **self.env}
        inner = ["/tools/launcher", "/gw/report"]
        for pid in self._processes:
            inner += ["-p", str(pid)]
        inner += ["--", argv[0] if argv[0].startswith("/usr/sbin/") else "/usr/sbin/ipv6ctl", *argv]
        if not os.path.exists(self._root / inner[-len(argv) - 1].lstrip("/")):
            inner[-len(argv) - 1] = "/usr/sbin/ipv6ctl"
        at = len(inner) - len(argv) - 1
        inner[at:at] = self.starter
        line = command(self._template, self._root, self._base, variables, inner, shell=self.shell, mounts=self.mounts)
        with Console(self._base / "dev/console") as console:
            process = self._world.popen(line, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        env={"PATH": "/usr/bin:/bin"}, cwd="/")
            try:
                stdout, stderr = process.communicate(timeout=_TIME_LIMIT)
            except subprocess.TimeoutExpired as late:
                process.kill()
                stdout, stderr = process.communicate()
                raise AssertionError(f"{argv} did not end within {_TIME_LIMIT} s; its log:\n"
                                     f"{self.read('/tmp/ipv6.log')}\nstderr:\n{os_text(stderr)}") from late
            except BaseException:           # interrupted: what still runs must not write into folders that go
                process.kill()
                process.communicate()
                raise
        if process.returncode != 0:
            raise RuntimeError(f"the private root could not be started: {os_text(stderr)}")
        return os_text(stdout), os_text(stderr), console.text

    def _read_files(self):
        found = {}
        for folder, shown in (("tmp", "/tmp"), ("run", "/var/run")):
            for place in sorted((self._base / folder).rglob("*")):
                if place.is_symlink():
                    found[f"{shown}/{place.relative_to(self._base / folder)}"] = f"-> {os.readlink(place)}"
                elif place.is_file():
                    data = place.read_bytes()
                    path = f"{shown}/{place.relative_to(self._base / folder)}"
                    found[path] = "<copy of dhcpd>" if data == self._template.recorder_bytes else os_text(data)
        found.pop("/tmp/ipv6.log", None)
        return found

    def _read_switches(self):
        conf = self._base / "proc/sys/net/ipv6/conf"
        return {str(place.relative_to(conf)): os_text(place.read_bytes()) for place in sorted(conf.rglob("*"))
                if place.is_file()}


class Console:
    """Reads /dev/console, a FIFO kept open on both ends, while the program runs."""

    def __init__(self, path):
        self._path, self.text = path, ""

    def __enter__(self):
        if self._path.is_fifo():
            self._fd = os.open(self._path, os.O_RDWR | os.O_CLOEXEC)
            self._thread = threading.Thread(target=self._read, daemon=True)     # __exit__ does not come to a process that is ended
            self._thread.start()
        else:
            self._fd = None
        return self

    def _read(self):
        data = b""
        while not data.endswith(b"\0end of run\0"):
            data += os.read(self._fd, 65536)
        self.text = os_text(data[:-len(b"\0end of run\0")])

    def __exit__(self, *_):
        if self._fd is not None:
            os.write(self._fd, b"\0end of run\0")
            self._thread.join()
            os.close(self._fd)

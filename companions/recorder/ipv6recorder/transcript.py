"""What one run of the program left: parsed into lists and dicts that a test compares as a whole."""
import difflib
import re
import shlex

_ENTRY = re.compile(r"^\[([^\]\n]*)\]\[(-?\d+)\] ?", re.MULTILINE)
_SHELL = re.compile(r"\[(-?\d+)\](.*)", re.DOTALL)


class Lines(list):
    """A list whose comparison is shown as a line-by-line difference (conftest.py)."""


class Call(list):
    """The words of one call of a recorder, the program's name first, as typed; `env` is its environment."""

    def __init__(self, words, env):
        super().__init__(words)
        self.env = env


class Run:
    """See the page at the top of gateway.py for the fields."""

    def __init__(self, argv, report, journal, log, console, stdout, stderr, files, switches, store_before, store,
                 addresses):
        self.argv = argv
        self.log, self.console, self.stdout, self.stderr = log, console, stdout, stderr
        self.log_lines = Lines(log.split("\n")[:-1] if log.endswith("\n") else log.split("\n") if log else [])
        self.console_lines = Lines(console.split("\n")[:-1] if console.endswith("\n") else
                                   console.split("\n") if console else [])
        self.files, self.switches = files, switches
        self.store_before, self.store, self.addresses = store_before, store, addresses
        self.killed = [int(line.split()[1]) for line in report[1:]]
        kind, number = report[0].split()
        self.status = int(number) if kind == "exit" else -int(number)
        self.gave_up_waiting = self.status == 99
        self._entries = self._split_log()
        self.shell = Lines(self._shell_lines())
        self.lines = Lines(line for _, line in self.shell)
        self._read_journal(journal)

    def _split_log(self):
        """[(routine, uptime, text after the prefix with its line end)]; a text may span lines."""
        starts = list(_ENTRY.finditer(self.log))
        ends = [start.start() for start in starts[1:]] + [len(self.log)]
        return [(s.group(1), int(s.group(2)), self.log[s.end():end]) for s, end in zip(starts, ends)]

    def _shell_lines(self):
        for routine, _, text in self._entries:
            if routine == "zel_system":
                found = _SHELL.match(text)
                line = found.group(2)
                yield int(found.group(1)), line[:-1] if line.endswith("\n") else line

    def _read_journal(self, journal):
        fields = journal.split(b"\0")
        self.calls, self.pauses, self.journal = Lines(), [], Lines()
        at = 0

        def take(count):
            nonlocal at
            at += count
            return [os_text(field) for field in fields[at - count:at]]

        while at < len(fields) - 1:
            kind = take(1)[0]
            if kind == "P":
                milliseconds = int(take(1)[0]) / 1000
                self.pauses.append(int(milliseconds) if milliseconds.is_integer() else milliseconds)
                self.journal.append(f"(pause {milliseconds:g} ms)")
            elif kind == "C":
                words = take(int(take(1)[0]))
                env = dict(text.split("=", 1) for text in take(int(take(1)[0])) if "=" in text)
                self.calls.append(Call(words, env))
                self.journal.append(shlex.join(words))
            else:
                raise ValueError(f"journal field {at}: {kind!r}")

    @property
    def log_after_loading(self):
        """The log lines behind the loading of the parameters."""
        loaded = [at for at, line in enumerate(self.log_lines) if "] pre_routing_prefix(system):" in line]
        return Lines(self.log_lines[loaded[-1] + 1:]) if loaded else Lines()

    @property
    def console_masked(self):
        """The console lines with TID for the transaction and N for a line number that each build may choose; the
        numbers of main's lines are fixed and stay."""
        lines = [re.sub(r"(_main)\(-?\d+\)", r"\1(TID)", line) for line in self.console_lines]
        return Lines(line if line.startswith("[zel-ipv6 main]") else re.sub(r"\b(line[: ])\d+", r"\1N", line)
                     for line in lines)

    def messages(self, routine):
        """The log texts of one routine, without prefix and line end."""
        return Lines(text[:-1] if text.endswith("\n") else text for name, _, text in self._entries if name == routine)

    def calls_of(self, program):
        """The calls of one program, named without its folder."""
        return Lines(call for call in self.calls if call[0].rsplit("/", 1)[-1] == program)

    @property
    def store_changes(self):
        """{key: (before, after)}, None for a key that is not there."""
        keys = sorted(set(self.store_before) | set(self.store))
        return {key: (self.store_before.get(key), self.store.get(key)) for key in keys
                if self.store_before.get(key) != self.store.get(key)}

    def dump(self):
        """Everything, for the report of a failed test."""
        parts = [f"$ {shlex.join(self.argv)}   -> status {self.status}, pauses {self.pauses}"]
        for title, lines in (("shell lines", [f"[{status}] {line}" for status, line in self.shell]),
                             ("journal", self.journal), ("log", self.log_lines), ("console", self.console_lines),
                             ("stdout", self.stdout.splitlines()), ("stderr", self.stderr.splitlines()),
                             ("store changes", [f"{k}: {b!r} -> {a!r}" for k, (b, a) in self.store_changes.items()]),
                             ("addresses", [f"{name}: {texts}" for name, texts in self.addresses.items()]),
                             ("switches", [f"{name}: {text!r}" for name, text in self.switches.items()])):
            parts += [f"--- {title}"] + [f"    {line}" for line in lines]
        for path, text in self.files.items():
            parts += [f"--- {path}"] + [f"    {line}" for line in text.splitlines()]
        return "\n".join(parts)


def os_text(data):
    return data.decode("utf-8", "surrogateescape")


def difference(actual, expected):
    """Lines that explain why two lists differ."""
    return [line.rstrip("\n") for line in difflib.ndiff([str(e) for e in expected], [str(a) for a in actual])]

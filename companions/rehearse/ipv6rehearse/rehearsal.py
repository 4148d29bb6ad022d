"""One rehearsal: the program run in a private root, and what came of it."""
import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
from dataclasses import dataclass

from ipv6recorder.gateway import Gateway
from ipv6recorder.network import World
from ipv6recorder.transcript import os_text

from .answers import Answers
from .client import COMMAND as CLIENTS_COMMAND
from .client import let_run, odd_variables, own_client
from .inputs import OWN_STATE, STATE_LIMIT, give_settings, give_state, read_limited, state_folder
from .places import RunFailed, Unusable, demand_room_for_programs, template
from .surroundings import furnish
from .verdicts import REFUSED, judge_all

SUCCESS = 1                         # the program's exit status when all went well
# What the program says of a value that it did not use.
NOTES = re.compile(r"is left out of|does not fit into|holds a control character and counts as|line too long, not run")
# Removing one is no matter: a rehearsal begins without addresses.
REFUSED_ADDRESS = re.compile(r"^(?:\[set_ipv6_addr\]\[\d+\] )?ioctl SIOCSIFADDR error")
# What ends a running client without having it release its lease.
KEEP_LEASE = ("dhcp6c_start",)
ENDING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


@dataclass
class Rehearsal:
    command: str
    arguments: list
    source: str                     # where the settings are from
    surroundings: list
    remarks: list                   # what the settings' own check says
    run: object                     # ipv6recorder's Run
    files: dict                     # {path: text} of the files that it wrote, also where they are as before
    removed: list
    current: dict                   # what it is compared with, {path: text or None}: the state, or the machine's own files
    verdicts: list
    has_reason: bool                # the client's variables have one
    odd: list                       # what is strange about settings, variables and answers

    @property
    def notes(self):
        """What the program's log says of values that were not used."""
        said = [re.sub(r"^\[[^\]]*\]\[-?\d+\] ?", "", line) for line in self.run.log_lines]
        # The kernel's refusal does not say of what; the line before it does.
        return [f"{said[at - 1]}: {line}" if REFUSED_ADDRESS.search(line) and at else line
                for at, line in enumerate(said) if NOTES.search(line) or REFUSED_ADDRESS.search(line)]

    @property
    def failure(self):
        """Why the run itself counts as failed; None when it does not."""
        status = self.run.status
        if status == SUCCESS:
            return None
        if self.run.gave_up_waiting:
            return f"was ended after {len(self.run.pauses)} pauses: it waits for something that does not come here"
        if status < 0:
            return f"was ended by signal {-status}"
        return f"ended with exit status {status}, not {SUCCESS}; {self._last_words()}"

    @property
    def advice(self):
        """What helps when nothing happened, or with the commonest reason why files are refused; None where it is another."""
        if self.command == CLIENTS_COMMAND and not self.has_reason:
            return "the DHCPv6 client always gives a reason: --env reason=BOUND6 with the lease, then reason=EFFECT6"
        if self.run.stderr.endswith(" is not support!\n"):
            count = len(self.arguments)
            return (f"nothing was done: {self.command} does not work with {count or 'no'} argument{'' if count == 1 else 's'}; "
                    "ipv6ctl(8) has what it needs")
        if self.good or self.run.store_before.get("ip6_dhcp6c_prefix_addr@system"):
            return None
        return "the settings have no delegated prefix; --delegated 3fff:1234:0:5600::/56 shows what is done with one"

    def _last_words(self):
        said = [line for line in self.run.stderr.split("\n") + self.run.log_lines if line.strip()]
        return f"its last words: {said[-1]}" if said else "it said nothing"

    @property
    def good(self):
        return self.failure is None and not any(verdict.verdict == REFUSED for verdict in self.verdicts)


@contextlib.contextmanager
def private_folder(keep):
    """A folder that goes whenever the process is ended by a signal that can be held back."""
    made = None
    try:
        with _signals_held():
            made = pathlib.Path(tempfile.mkdtemp(prefix="ipv6rehearse-"))
        demand_room_for_programs(made)
        yield made
    finally:
        if made is not None and not keep:
            with _signals_held():
                shutil.rmtree(made, ignore_errors=True)


@contextlib.contextmanager
def _signals_held():
    before = signal.pthread_sigmask(signal.SIG_BLOCK, ENDING)
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


def rehearse(asked, client_variables, folder):
    """Runs the command as the options ask for it, with its root in `folder`. Unusable when that cannot be done."""
    made = template()
    root, base, shown_to_daemons = (folder / name for name in ("root", "gateway", "daemons"))
    for each in (root, base, shown_to_daemons):
        each.mkdir()
    try:
        world = World()
    except OSError as error:
        raise Unusable(f"no private network: {error.strerror or error}; it needs root's rights, or user namespaces") from error
    made.build(root)
    gateway = Gateway(world, made, root, base)
    given = give_settings(gateway, asked, [*asked.set, *asked.prefix])
    remarks = check_of(made.store_tool, gateway.store)
    state = state_folder(asked, given.own)
    answers = Answers(asked.answer, asked.fail)
    surroundings = surround(gateway, asked, given.own, state, answers)
    gateway.env.update(client_variables)
    before, marks = gateway.files(), marks_of(base)
    try:
        run = gateway.run(asked.command, *asked.words)
    except AssertionError as error:             # too late, or stopped by a sanitizer
        raise RunFailed(str(error).strip()) from error
    except (RuntimeError, OSError) as error:
        raise Unusable(f"the rehearsal could not be run: {str(error).strip()}") from error
    now = marks_of(base)
    written = {path: text for path, text in run.files.items() if now.get(path) != marks.get(path)}
    odd = [*given.odd, *odd_variables(asked.command, client_variables), *answers.unused(run.calls)]
    return Rehearsal(asked.command, asked.words, given.source, surroundings, remarks, run, written,
                     sorted(set(before) - set(run.files)), compared_with(written, state, before),
                     judge_all(world, written, shown_to_daemons), bool(client_variables.get("reason")), odd)


def surround(gateway, asked, own, state, answers):
    """Gives the gateway what it finds: interfaces, files, a client that runs, what programs say. Returns what it is, in lines."""
    own = own and state == OWN_STATE
    client = own_client() if own else None
    runs = asked.client or client is not None
    wan, told = furnish(gateway, asked, own, released=runs and asked.command not in KEEP_LEASE)
    if runs:
        told.append(f"a DHCPv6 client runs, process {let_run(gateway, wan, client)}{'' if client else ' (assumed)'}")
    answers.give(gateway)
    told.append(f"every {'other ' if answers.told else ''}outside program succeeds and says nothing; the log's clock stands at 1000 s")
    if state is not None:
        told.append(give_state(gateway, state))
    return told + answers.told


def compared_with(written, state, before):
    """{path: text, None when there is none} of the files that --diff compares with; a path that is not known is left out."""
    if state is None or state == OWN_STATE:
        return {path: own_file(path) for path in written}
    found = {}
    for path in written:
        if path in before:
            found[path] = before[path]
        elif path.startswith("/tmp/"):
            found[path] = own_file(os.path.join(state, path.removeprefix("/tmp/")))
    return found


def marks_of(base):
    """{path: what changes when the file is written} of the gateway's files."""
    found = {}
    for folder, path in (("tmp", "/tmp"), ("run", "/var/run")):
        for place in (base / folder).rglob("*"):
            status = place.lstat()
            found[f"{path}/{place.relative_to(base / folder)}"] = (status.st_ino, status.st_mtime_ns, status.st_size)
    return found


def check_of(store_tool, settings):
    """The lines of `ccfg_cli check` for the settings."""
    text = "".join(f"{key}={value}\n" for key, value in settings.items()).encode("utf-8", "surrogateescape")
    done = subprocess.run([store_tool, "check", "-"], input=text, capture_output=True, check=False)
    return [line for line in os_text(done.stdout).split("\n") if line]


def own_file(path):
    """What this machine has at the place; None when it is no plain file or may not be read."""
    try:
        return os_text(read_limited(path, STATE_LIMIT)) if not os.path.islink(path) else None
    except (OSError, Unusable):
        return None


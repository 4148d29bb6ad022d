"""What is given to a rehearsal: settings, the DHCPv6 client's variables, state files of earlier runs."""
import os
import pathlib
import re
import stat
import sys
from dataclasses import dataclass

from .places import STORE, Unusable, factory_settings
from .settings_file import UTF16, foreign, foreign_text, given_twice
from .words import shown

SETTINGS_LIMIT = 32 << 20
VARIABLES_LIMIT = 1 << 20
VARIABLE_LIMIT = 64 << 10
STATE_LIMIT = 1 << 20
MOST_ODD = 5
NO_STATE = "none"
OWN_STATE = "/tmp"
NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")
# What the rehearsal itself is steered by.
RESERVED = re.compile(r"(?:LD_|GW_|ASAN_|UBSAN_)|(?:PATH|TESA_STORE)\Z")
# What runs of the program and the daemons around it leave for a later run, in /tmp.
STATE_FILES = (
    ".ip6_neigh", ".ip6t", "dhcp6c-wan.conf", "dhcp6c-wan.leases", "dhcp6d.conf", "ip6_rt", "radvd.conf", "rdnssd", "resolv.conf",
    "resolv.conf.auto", "zel_ipt_new", "zel_ipt_old", "zel_ipv6cp_script_running",
)


# A shell's <(command) is a pipe with such a name.
PIPES = re.compile(r"/dev/(?:stdin|fd/\d+)\Z|/proc/self/fd/\d+\Z")


def read_limited(path, limit, follow=True):
    """The bytes of a regular file, or of a pipe for "-"; OSError as usual, Unusable when it is no plain file or too long."""
    if path == "-":
        if sys.stdin is None:
            raise Unusable("standard input is closed")
        data = sys.stdin.buffer.read(limit + 1)
    else:
        # Without waiting for somebody to open the other end of a FIFO.
        number = os.open(path, os.O_RDONLY | os.O_CLOEXEC | os.O_NONBLOCK | (0 if follow else os.O_NOFOLLOW))
        kind = os.fstat(number).st_mode
        if not stat.S_ISREG(kind) and not (stat.S_ISFIFO(kind) and PIPES.match(str(path))):
            os.close(number)
            raise Unusable(f"{shown(path)}: not a plain file")
        with open(number, "rb") as file:
            os.set_blocking(number, True)
            data = file.read(limit + 1)
    if len(data) > limit:
        raise Unusable(f"{shown(path)}: longer than {limit} bytes")
    return data


@dataclass
class Given:
    """What a rehearsal's settings are."""
    source: str                 # the words that say where they are from
    own: bool = False           # this machine's store
    fault: str = None           # why they cannot be used
    odd: tuple = ()             # what is strange about them


def give_settings(gateway, asked, changes):
    """Fills the gateway's store with what the options ask for; returns a Given without fault."""
    given = (_kept(gateway, asked.resume) if asked.resume is not None
             else _given(gateway, asked.settings) if asked.settings is not None else _own(gateway))
    if given.fault is not None:
        raise Unusable(f"{given.source}: {_plain(given.fault)}")
    for change in changes:
        if any(ord(char) < 32 or ord(char) == 127 for char in change):
            raise Unusable(f"--set {shown(change)}: a control character")
        fault = gateway.take_settings(f"{change}\n".encode("utf-8", "surrogateescape"))
        if fault is not None:
            raise Unusable(f"--set {shown(change)}: {_plain(fault).removeprefix('line 1: ')}")
    given.source += (f", {len(changes)} changed" if changes else "") + f", {len(gateway.store)} settings"
    return given


def _plain(fault):
    """What ccfg_cli objects to, without the places that only the rehearsal knows."""
    return shown(re.sub(r"^ccfg(_cli)?: (standard input: )?", "", fault))


def _given(gateway, path):
    data = read_limited(path, SETTINGS_LIMIT)
    source = "standard input" if path == "-" else shown(path)
    fault = gateway.take_settings(data)
    if fault is not None:
        return Given(source, fault=foreign(data) or fault)
    odd = [f"{key} is given {'twice' if len(lines) == 2 else f'{len(lines)} times'}, in the lines {', '.join(map(str, lines[:-1]))} "
           f"and {lines[-1]} of {source}; the last one counts" for key, lines in given_twice(data).items()]
    if len(odd) > MOST_ODD:
        odd[MOST_ODD:] = [f"so are {len(odd) - MOST_ODD} more keys"]
    return Given(source, odd=tuple(odd))


def _kept(gateway, folder):
    """The store that an earlier rehearsal has left in the root that it kept."""
    try:
        data = read_limited(pathlib.Path(folder) / "gateway/etc/config/ccfg.db", SETTINGS_LIMIT)
    except OSError as error:
        raise Unusable(f"--continue {shown(folder)}: no rehearsal was kept there ({error.strerror})") from error
    return Given(f"what was kept in {shown(folder)}", fault=gateway.take_store(data))


def _own(gateway):
    store = os.environ.get("TESA_STORE", STORE)
    try:
        data = read_limited(store, SETTINGS_LIMIT)
    except OSError as error:
        factory = str(factory_settings())
        why = "no store here" if isinstance(error, FileNotFoundError) else f"{shown(store)}: {error.strerror}"
        return Given(f"{factory} ({why})", fault=gateway.take_settings(read_limited(factory, SETTINGS_LIMIT)))
    return Given(f"the store {shown(store)}", own=True, fault=gateway.take_store(data))


def variables(given, path):
    """{name: value} of the options and of a file, and the names of the file that are passed over."""
    found, passed_over = {}, []
    if path is not None:
        data = read_limited(path, VARIABLES_LIMIT)
        fault = foreign_text(data)
        if fault is not None and (b"\0" not in data or data.startswith(UTF16)):
            raise Unusable(f"{shown(path)}: {fault}")
        # A file of /proc/PID/environ's form may hold line ends in a value.
        for entry in data.split(b"\0" if b"\0" in data else b"\n"):
            text = os.fsdecode(entry)
            if not text.strip() or text.startswith("#"):
                continue
            name, fault = _checked(text)
            if fault == "reserved":
                passed_over.append(name)
            elif fault:
                raise Unusable(f"{shown(path)}: {fault}")
            else:
                found[name] = text.split("=", 1)[1]
    for text in given:
        name, fault = _checked(text)
        if fault:
            raise Unusable(f"--env {name}: steers the rehearsal itself" if fault == "reserved" else f"--env: {fault}")
        found[name] = text.split("=", 1)[1]
    if sum(len(os.fsencode(name + value)) for name, value in found.items()) > VARIABLES_LIMIT:
        raise Unusable(f"the variables are longer than {VARIABLES_LIMIT} bytes")
    return found, passed_over


def _checked(text):
    name, equals, value = text.partition("=")
    if not equals or not NAME.match(name):
        return name, f"not NAME=VALUE: {shown(text[:80])}"
    if len(os.fsencode(value)) > VARIABLE_LIMIT:
        return name, f"{name} is longer than {VARIABLE_LIMIT} bytes"
    return name, "reserved" if RESERVED.match(name) else None


def state_folder(asked, own):
    """Where state files are taken from, None for nowhere: what is asked for, else this machine's where its store is taken."""
    if asked.resume is not None:
        return str(pathlib.Path(asked.resume) / "gateway/tmp")
    if asked.state is not None:
        return None if asked.state == NO_STATE else asked.state
    return OWN_STATE if own else None


def give_state(gateway, folder):
    """Copies the state files that are in the folder; returns the line that says which, and which not."""
    if not os.path.isdir(folder):
        raise Unusable(f"--state {shown(folder)}: not a folder")
    taken, left = [], []
    for name in STATE_FILES:
        place = pathlib.Path(folder) / name
        try:
            if place.is_symlink() or not place.exists():
                continue
            gateway.file(f"/tmp/{name}", os.fsdecode(read_limited(place, STATE_LIMIT, follow=False)))
            taken.append(name)
        except OSError as error:
            left.append(f"{name} ({error.strerror})")
        except Unusable as error:
            left.append(f"{name} ({str(error).rpartition(': ')[2]})")
    told = f"state files of {folder}: {', '.join(taken) or 'none is there'}"
    return told + (f"; not taken: {', '.join(left)}" if left else "")

"""What is given to a rehearsal: settings, the DHCPv6 client's variables, state files of earlier runs."""
import os
import pathlib
import re
import stat
import sys

from ipv6trace.terminal import shown

from .places import STORE, Unusable, factory_settings

SETTINGS_LIMIT = 32 << 20
VARIABLES_LIMIT = 1 << 20
VARIABLE_LIMIT = 64 << 10
STATE_LIMIT = 1 << 20
NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")
# What the rehearsal itself is steered by.
RESERVED = re.compile(r"(?:LD_|GW_|ASAN_|UBSAN_)|(?:PATH|TESA_STORE)\Z")
# What runs of the program and the daemons around it leave for a later run, in /tmp.
STATE_FILES = (
    ".ip6_neigh", ".ip6t", "dhcp6c-wan.conf", "dhcp6c-wan.leases", "dhcp6d.conf", "ip6_rt", "radvd.conf", "rdnssd", "resolv.conf",
    "resolv.conf.auto", "zel_ipt_new", "zel_ipt_old", "zel_ipv6cp_script_running",
)


def read_limited(path, limit):
    """The bytes of a regular file, or of a pipe for "-"; OSError as usual, Unusable when it is no plain file or too long."""
    if path == "-":
        data = sys.stdin.buffer.read(limit + 1)
    else:
        # Without waiting for somebody to open the other end of a FIFO.
        number = os.open(path, os.O_RDONLY | os.O_CLOEXEC | os.O_NONBLOCK)
        kind = os.fstat(number).st_mode
        # A shell's <(command) is a pipe with such a name.
        if not stat.S_ISREG(kind) and not (stat.S_ISFIFO(kind) and str(path).startswith("/dev/fd/")):
            os.close(number)
            raise Unusable(f"{shown(path)}: not a plain file")
        with open(number, "rb") as file:
            os.set_blocking(number, True)
            data = file.read(limit + 1)
    if len(data) > limit:
        raise Unusable(f"{shown(path)}: longer than {limit} bytes")
    return data


def give_settings(gateway, path, changes):
    """Fills the gateway's store; returns the words that say where the settings are from."""
    source, fault = _given(gateway, path) if path is not None else _own(gateway)
    if fault is not None:
        raise Unusable(f"{source}: {_plain(fault)}")
    for change in changes:
        if any(ord(char) < 32 or ord(char) == 127 for char in change):
            raise Unusable(f"--set {shown(change)}: a control character")
        fault = gateway.take_settings(f"{change}\n".encode("utf-8", "surrogateescape"))
        if fault is not None:
            raise Unusable(f"--set {shown(change)}: {_plain(fault).removeprefix('line 1: ')}")
    return source + (f", {len(changes)} changed" if changes else "")


def _plain(fault):
    """What ccfg_cli objects to, without the places that only the rehearsal knows."""
    return shown(re.sub(r"^ccfg(_cli)?: (standard input: )?", "", fault))


def _given(gateway, path):
    fault = gateway.take_settings(read_limited(path, SETTINGS_LIMIT))
    return "standard input" if path == "-" else shown(path), fault


def _own(gateway):
    store = os.environ.get("TESA_STORE", STORE)
    try:
        data = read_limited(store, SETTINGS_LIMIT)
    except OSError as error:
        factory = str(factory_settings())
        why = "no store here" if isinstance(error, FileNotFoundError) else f"{shown(store)}: {error.strerror}"
        return f"{factory} ({why})", gateway.take_settings(read_limited(factory, SETTINGS_LIMIT))
    return f"the store {shown(store)}", gateway.take_store(data)


def variables(given, path):
    """{name: value} of the options and of a file, and the names of the file that are passed over."""
    found, passed_over = {}, []
    if path is not None:
        data = read_limited(path, VARIABLES_LIMIT)
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


def give_state(gateway, folder):
    """Copies the state files that are in the folder; returns their names."""
    if not os.path.isdir(folder):
        raise Unusable(f"--state {shown(folder)}: not a folder")
    taken = []
    for name in STATE_FILES:
        place = pathlib.Path(folder) / name
        if place.is_file() and not place.is_symlink():
            gateway.file(f"/tmp/{name}", os.fsdecode(read_limited(place, STATE_LIMIT)))
            taken.append(name)
    return taken

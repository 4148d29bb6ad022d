"""What a disk may hold after a power cut, made from the system calls of one program.

The model: a write, a change of size or of a name is in memory until a sync. A sync of a file puts its contents on the
disk, a sync of a folder its names. At a cut, of what was not synced yet any part can be there: any set of a file's
sectors, and the changes of names up to any one of them, because file systems keep those in their order.
"""
import dataclasses
import os
import re
import subprocess

SECTOR = 512
CALLS = "openat,close,write,pwrite64,ftruncate,fsync,fdatasync,rename,link,unlink"
LINE = re.compile(r"(\w+)\((.*)\) += (-?\d+)(?: \w+ \(.*\))?$")


@dataclasses.dataclass
class Write:
    file: int
    offset: int
    data: bytes


@dataclasses.dataclass
class Size:
    file: int
    size: int


@dataclasses.dataclass
class Name:
    """`name` becomes that of `file`, or nobody's when that is None."""
    changes: tuple


@dataclasses.dataclass
class SyncFile:
    file: int


class SyncFolder:
    pass


def text_of(word):
    return bytes(int(digits, 16) for digits in re.findall(r"\\x([0-9a-f]{2})", word))


def record(command, folder, environment, trace):
    """Runs the program. Gives its steps in `folder` in their order; files are numbered, those there before by name."""
    done = subprocess.run(["strace", "-qq", "-xx", "-s", "100000000", "-e", f"trace={CALLS}", "-e", "signal=none", "-o", trace,
                           *map(str, command)], env=environment, check=False, capture_output=True, timeout=120)
    assert done.returncode == 0, done.stderr
    names = {name: name for name in os.listdir(folder)}
    files, steps, made = {}, [], 0
    inside = os.fsencode(str(folder))

    def local(path):
        return os.fsdecode(path[len(inside) + 1:]) if path.startswith(inside + b"/") else None

    for line in trace.read_text().splitlines():
        match = LINE.match(line)
        if not match or int(match[3]) < 0:
            continue
        call, arguments, result = match[1], match[2], int(match[3])
        words = arguments.split(", ")
        if call == "openat":
            path = text_of(words[1])
            if path.rstrip(b"/") == inside:
                files[result] = "/"
            elif (name := local(path)) is not None:
                if name not in names:
                    made += 1
                    names[name] = made
                    steps.append(Name(((name, made),)))
                files[result] = names[name]
            continue
        if call in ("rename", "link", "unlink"):
            paths = [local(text_of(word)) for word in words]
            if None in paths:
                continue
            file = names[paths[0]]
            changes = ((paths[1], file),) if call == "link" else ((paths[0], None),)
            if call == "rename":
                changes = ((paths[1], file), (paths[0], None))
            names.update(changes)
            names = {name: file for name, file in names.items() if file is not None}
            steps.append(Name(changes))
            continue
        file = files.pop(int(words[0]), None) if call == "close" else files.get(int(words[0]))
        if file is None or call == "close":
            continue
        if call == "pwrite64":
            data = text_of(words[1])
            steps.append(Write(file, int(words[3]), data[:result]))
        elif call == "ftruncate":
            steps.append(Size(file, int(words[1])))
        elif call in ("fsync", "fdatasync"):
            steps.append(SyncFolder() if file == "/" else SyncFile(file))
        else:
            raise AssertionError(f"the model does not know {line[:200]}")
    return steps


class Disk:
    """Contents of numbered files, and names."""

    def __init__(self, contents):
        self.files = dict(contents)
        self.names = {name: name for name in contents}

    def copy(self):
        other = Disk({})
        other.files, other.names = dict(self.files), dict(self.names)
        return other

    def apply(self, step):
        if isinstance(step, Name):
            for name, file in step.changes:
                if file is None:
                    self.names.pop(name, None)
                else:
                    self.names[name] = file
                    self.files.setdefault(file, b"")
            return
        old = self.files.get(step.file, b"")
        if isinstance(step, Size):
            self.files[step.file] = old[:step.size].ljust(step.size, b"\0")
        else:
            end = step.offset + len(step.data)
            self.files[step.file] = old[:step.offset].ljust(step.offset, b"\0") + step.data + old[end:]

    def read(self, name):
        return self.files.get(self.names.get(name)) if name in self.names else None


def sectors_of(step):
    """The parts of a write that are on the disk or not each by itself."""
    if not isinstance(step, Write):
        return [step]
    parts, offset = [], 0
    while offset < len(step.data):
        size = SECTOR - (step.offset + offset) % SECTOR
        parts.append(Write(step.file, step.offset + offset, step.data[offset:offset + size]))
        offset += size
    return parts


def cuts(steps, contents, random, picks):
    """Gives a disk for every cut: each step may have been the last, with `picks` sets of what was not synced by then."""
    durable = Disk(contents)
    pending = []
    for done in range(len(steps) + 1):
        data = [part for step in pending if not isinstance(step, Name) for part in sectors_of(step)]
        names = [step for step in pending if isinstance(step, Name)]
        for there in range(len(names) + 1):
            choices = [[], data, *([part for part in data if part is not one] for one in data)]
            choices += [[part for part in data if random.random() < 0.5] for _ in range(picks if data else 0)]
            for chosen in choices:
                disk = durable.copy()
                for step in [*names[:there], *chosen]:
                    disk.apply(step)
                yield done, disk
        if done == len(steps):
            return
        step = steps[done]
        if isinstance(step, (SyncFile, SyncFolder)):
            synced = [one for one in pending
                      if (isinstance(one, Name) if isinstance(step, SyncFolder)
                          else not isinstance(one, Name) and one.file == step.file)]
            for one in synced:
                durable.apply(one)
            pending = [one for one in pending if not any(one is other for other in synced)]
        else:
            pending.append(step)

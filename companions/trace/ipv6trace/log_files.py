"""The logs that are named, as one: the older parts that a rotation has put away, packed or not, before the newest."""
import contextlib
import errno
import os
import re
import stat
import sys
import zlib
from dataclasses import dataclass

from ipv6trace.log_source import BLOCK, Source

STANDARD_INPUT = "-"
PACKED = b"\x1f\x8b"
GZIP = 31                   # zlib's word for a gzip header and trailer around it
UNPACKED = 1 << 30          # bytes of a packed log that are looked at
# What a rotation puts behind the name: a number, the higher the older, or a date.
ROTATED = re.compile(r"(.+?)(?:\.(\d{1,9})|-(\d{8}(?:-?\d{1,10})?))?(?:\.gz)?", re.S)


@dataclass
class OpenedLog:
    source: Source
    name: str
    written: float | None       # seconds since 1970 at which the newest was last written to, when that is known
    notes: list[str]            # what is wrong with them


@contextlib.contextmanager
def opened(paths):
    """Gives an OpenedLog; raises OSError for what cannot be read."""
    with contextlib.ExitStack() as stack:
        names = in_order(paths)
        files = [stack.enter_context(open_one(path)) for path in names]
        names = ["standard input" if path == STANDARD_INPUT else path for path in names]
        name = " ".join(names)
        written = os.fstat(files[-1].fileno()).st_mtime if is_plain(files[-1]) else None     # before the log grows
        notes = []
        if len(files) == 1 and is_plain(files[0]) and not is_packed(files[0]):
            yield OpenedLog(Source(files[0]), name, written, notes)
        else:
            yield OpenedLog(Source.of_blocks(joined(names, files, notes)), name, written, notes)


def in_order(paths):
    """The parts of one rotated log oldest first, as a pattern of the shell does not name them; others as they came."""
    parts = [ROTATED.fullmatch(path) for path in paths]
    if len({part[1] if part else "" for part in parts}) != 1 or STANDARD_INPUT in paths:
        return list(paths)
    age = {path: (0, part[3], 0) if part[3] else (1, "", -int(part[2] or -1)) for path, part in zip(paths, parts)}
    return sorted(paths, key=age.__getitem__)


def open_one(path):
    if path != STANDARD_INPUT:
        return open(path, "rb")
    if sys.stdin is None:
        raise OSError(errno.EBADF, os.strerror(errno.EBADF), "standard input")
    return contextlib.nullcontext(sys.stdin.buffer)


def is_plain(file):
    return stat.S_ISREG(os.fstat(file.fileno()).st_mode)


def is_packed(file):
    return file.peek(len(PACKED))[:len(PACKED)] == PACKED


def joined(names, files, notes):
    """Blocks of bytes. Where one log ends, a line does."""
    for name, file in zip(names, files):
        block = b"\n"
        for block in unpacked(name, file, notes) if is_packed(file) else iter(lambda: file.read(BLOCK), b""):
            yield block
        if not block.endswith(b"\n") and file is not files[-1]:
            yield b"\n"


def unpacked(name, file, notes):
    """What was unpacked before it got damaged or cut is kept."""
    left, inside = UNPACKED, zlib.decompressobj(GZIP)
    try:
        while left and (packed := file.read(BLOCK)):
            while packed and left:
                if inside.eof:                  # another part follows
                    inside = zlib.decompressobj(GZIP)
                block = inside.decompress(packed, min(BLOCK, left))
                packed = inside.unused_data if inside.eof else inside.unconsumed_tail
                left -= len(block)
                yield block
        damaged = not inside.eof and left
    except zlib.error:
        damaged = True
    if damaged:
        notes.append(f"{name} is damaged; what could be unpacked of it is here.")
    elif not left:
        notes.append(f"{name} is looked at to its first {UNPACKED >> 20} MB only.")

"""Copies a growing log line by line with the time at which each line came: PROGRAM LOG COPY, inside a node.

Each line of the copy is a JSON object {"t": seconds of the wall clock, to the millisecond, "line": text}. The log may
be written by many short-lived processes, may appear late, and may be removed and made anew.
"""
import ctypes
import json
import os
import sys
import time

IN_MODIFY, IN_CREATE, IN_MOVED_TO = 0x2, 0x100, 0x80


class Follower:
    def __init__(self, log, copy):
        self.log, self.copy = log, copy
        self.file = None
        self.rest = b""

    def reopen(self):
        """Takes the file that bears the name now, unless it is the one at hand."""
        try:
            newest = os.stat(self.log)
        except FileNotFoundError:
            return
        if self.file is None or os.fstat(self.file.fileno()).st_ino != newest.st_ino:
            self.file = open(self.log, "rb")
            self.rest = b""

    def hear(self):
        self.reopen()
        if self.file is None:
            return
        now = round(time.time(), 3)
        *lines, self.rest = (self.rest + self.file.read()).split(b"\n")
        for line in lines:
            if line:
                self.copy.write(json.dumps({"t": now, "line": line.decode("utf-8", "replace")}) + "\n")


def watch(folder):
    """A descriptor that becomes readable whenever something in the folder is written or made."""
    libc = ctypes.CDLL(None, use_errno=True)
    fd = libc.inotify_init1(os.O_CLOEXEC)
    if fd < 0 or libc.inotify_add_watch(fd, folder.encode(), IN_MODIFY | IN_CREATE | IN_MOVED_TO) < 0:
        code = ctypes.get_errno()
        raise OSError(code, f"cannot watch {folder}: {os.strerror(code)}")
    return fd


def main():
    log, copy = sys.argv[1:3]
    fd = watch(os.path.dirname(log))
    with open(copy, "a", encoding="utf-8", buffering=1) as file:
        follower = Follower(log, file)
        print("follows", log, flush=True)
        while True:
            follower.hear()
            os.read(fd, 65536)


if __name__ == "__main__":
    main()

"""What strace noted, as a list of system calls, and questions about it."""
import re

LOG, STORE = "/tmp/ipv6.log", "/etc/config/ccfg.db"
_CALL = re.compile(r"(\d+ +)?(\w+)\((.*)\) += (-?\d+|\?)")
_TEXT = re.compile(r'"((?:[^"\\]|\\.)*)"')


class SystemCall:
    """One line of strace's: `name`, `args` as text, `result`; `file` is the path behind its descriptor."""

    def __init__(self, process, name, args, result):
        self.process, self.name, self.args, self.result = process, name, args, result
        self.file = None

    @property
    def path(self):
        """The first text of the arguments."""
        found = _TEXT.search(self.args)
        return found.group(1) if found else None


def parse(text):
    """The calls of a file of strace's, from the first one behind the loader's."""
    calls = [SystemCall(*found.groups()) for found in map(_CALL.match, text.splitlines()) if found]
    find_files(calls)
    begin = next(at for at, call in enumerate(calls) if call.path == "/dev/null" and "O_RDWR" in call.args)
    return calls[begin:]


def find_files(calls):
    opened = {}
    for call in calls:
        descriptor = (call.process, call.args.split(",")[0])
        if call.name == "openat":
            opened[call.process, call.result] = call.path
        elif not call.args.startswith('"'):
            call.file = opened.get(descriptor)
        if call.name == "close":
            opened.pop(descriptor, None)


def log_lines(calls):
    """The calls of each line of the log: from the one before its opening to its closing."""
    groups, group = [], None
    for before, call in zip(calls, calls[1:]):
        if call.name == "openat" and call.path == LOG:
            group = [before]
            groups.append(group)
        if group is not None:
            group.append(call)
            if call.name == "close":
                group = None
    return groups


def names(calls):
    return [call.name for call in calls]


def changes_of_the_store(calls):
    """The calls that write or sync something of the store's folder."""
    written = {"write", "pwrite64", "writev", "fsync", "fdatasync", "ftruncate", "fallocate"}
    named = {"rename", "renameat", "renameat2", "unlink", "unlinkat", "link", "linkat", "mkdir", "truncate"}
    return [f"{call.name}({call.args})" for call in calls
            if (call.name in written and "/etc/config" in (call.file or ""))
            or (call.name in named and "/etc/config" in call.args)
            or (call.name == "openat" and "/etc/config" in call.path
                and re.search("O_WRONLY|O_RDWR|O_CREAT", call.args))]

"""Which invocations are shown."""
import datetime
import fnmatch
import re

UNITS = {"s": 1, "m": 60, "h": 3600, "d": 86400}
SINCE = re.compile(r"(\d{1,12})([smhd]?)")
CLOCK = re.compile(r"([01]?\d|2[0-3]):([0-5]\d)(?::([0-5]\d))?", re.ASCII)


class Selection:
    """The invocations of a log that pass every filter, oldest first, and `notes` about what is left out."""

    def __init__(self, log, commands=(), since=None, failed=False, last=0):
        self.notes = []
        self.narrowed = bool(commands or since or failed)
        some = log.invocations
        if log.dropped:
            self.notes.append(f"The oldest {log.dropped} invocations, {log.dropped_bad} of them with failures, "
                              "are only counted.")
        if since:
            some = [each for each in some if is_since(each, since, log)]
        if commands:
            some = [each for each in some if any(is_named(each, pattern) for pattern in commands)]
        if failed:
            some = [each for each in some if each.troubled]
        if self.narrowed:
            self.notes.append(f"{len(some)} of {log.dropped + len(log.invocations)} are selected.")
            if commands and not some:
                names = sorted({each.word for each in log.invocations[-10000:]})
                self.notes.append("The log has: " + ", ".join(names[:40]))
        self.left_out = 0
        if last and len(some) > last:
            some, self.left_out = self.newest(some, last), len(some) - last
            self.notes.append(f"The newest {last} are shown, those with failures before others; {self.left_out} more "
                              "with --all.")
        self.invocations = some

    @staticmethod
    def newest(some, last):
        """Failures may take up to half of the room from newer ones without."""
        bad = [each for each in some if each.troubled]
        good = [each for each in some if not each.troubled]
        kept = bad[-max(last // 2, last - len(good)):]
        kept += good[-(last - len(kept)):] if last > len(kept) else []
        return sorted(kept, key=lambda each: each.number)


def is_named(each, pattern):
    return fnmatch.fnmatchcase(each.word, pattern) or fnmatch.fnmatchcase(each.title, pattern)


def since_of(text):
    """A moment as the option has it: ("boot", 0), ("uptime", seconds), ("ago", seconds) or ("clock", seconds since
    midnight); None for anything else."""
    if text == "boot":
        return "boot", 0
    if match := CLOCK.fullmatch(text):
        hours, minutes, seconds = (int(part or 0) for part in match.groups())
        return "clock", hours * 3600 + minutes * 60 + seconds
    match = SINCE.fullmatch(text)
    if not match:
        return None
    return ("ago", int(match[1]) * UNITS[match[2]]) if match[2] else ("uptime", int(match[1]))


def uptime_of_clock(seconds, written, last_uptime):
    """The moment, as ("uptime", seconds), at which a clock on the wall last showed this time of day before `written`
    (seconds since 1970), when the log's newest line, of `last_uptime`, came; and a sentence about it."""
    try:
        newest = datetime.datetime.fromtimestamp(int(written))
    except (ValueError, OverflowError, OSError):
        return ("boot", 0), "The time of the log's file is out of range, so all of the newest boot is shown."
    moment = datetime.datetime.combine(newest.date(), datetime.time()) + datetime.timedelta(seconds=seconds)
    if moment > newest:
        moment -= datetime.timedelta(days=1)
    uptime = last_uptime - int(newest.timestamp() - moment.timestamp())
    what = f"uptime {uptime} s" if uptime >= 0 else "before the newest boot"
    told = f"{moment:%F %T} is {what}: the log was last written at {newest:%T}, as its file says."
    return ("uptime", max(uptime, 0)), told


def is_since(each, since, log):
    """It was still at work then. Moments are of the newest boot."""
    kind, seconds = since
    moment = log.last_uptime - seconds if kind == "ago" else seconds
    return each.boot == log.boots and each.last_uptime >= moment

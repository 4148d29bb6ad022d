"""Moments as a user says them, and the times of day that the log itself does not have."""
import datetime
import re

UNITS = {"s": 1, "m": 60, "h": 3600, "d": 86400}
SPAN = re.compile(r"(\d{1,12})([smhd]?)", re.ASCII)
CLOCK = re.compile(r"([01]?\d|2[0-3]):([0-5]\d)(?::([0-5]\d))?", re.ASCII)


def moment_of(text):
    """("boot", 0), ("uptime", seconds), ("ago", seconds), or ("clock", seconds since midnight, how many seconds that
    moment lasts); None for anything else."""
    if text == "boot":
        return "boot", 0
    if match := CLOCK.fullmatch(text):
        hours, minutes, seconds = (int(part or 0) for part in match.groups())
        return "clock", hours * 3600 + minutes * 60 + seconds, 1 if match[3] else 60
    match = SPAN.fullmatch(text)
    if not match:
        return None
    return ("ago", int(match[1]) * UNITS[match[2]]) if match[2] else ("uptime", int(match[1]))


class Clock:
    """What a clock on the wall showed, by when the log's file was last written: then its newest line came."""

    def __init__(self, written, last_uptime):
        self.newest = datetime.datetime.fromtimestamp(int(written))
        self.last_uptime = last_uptime

    @classmethod
    def of(cls, written, last_uptime):
        """None when `written`, in seconds since 1970, is not known or no year of a calendar."""
        try:
            return None if written is None else cls(written, last_uptime)
        except (ValueError, OverflowError, OSError):
            return None

    def before(self, seconds):
        """The newest moment that is not after the newest line, and shows this time of day."""
        midnight = datetime.datetime.combine(self.newest.date(), datetime.time())
        moment = midnight + datetime.timedelta(seconds=seconds)
        return moment if moment <= self.newest else moment - datetime.timedelta(days=1)

    def uptime(self, moment):
        """Below 0 when the device was not up then."""
        return self.last_uptime - int(self.newest.timestamp() - moment.timestamp())

    def text(self, uptime):
        """The time of day, with the day when that is another one than the newest line's."""
        try:
            moment = datetime.datetime.fromtimestamp(int(self.newest.timestamp()) - (self.last_uptime - uptime))
        except (ValueError, OverflowError, OSError):
            return f"uptime {uptime}"
        return f"{moment:%T}" if moment.date() == self.newest.date() else f"{moment:%b %d %T}"


class Window:
    """What lies between two moments of the newest boot, each as `moment_of` has it or None. `notes` say what became of
    times of day."""

    def __init__(self, since=None, until=None, last_uptime=0, clock=None):
        self.any = since is not None or until is not None
        self.notes = []
        self.last_uptime, self.clock = last_uptime, clock
        self.begin = self.end = None
        if since:
            self.begin = self.uptime(since, clock and since[0] == "clock" and clock.before(since[1]))
        if until:
            day = clock and until[0] == "clock" and clock.before(until[1])
            if day and self.begin is not None and clock.uptime(day) < self.begin:
                day += datetime.timedelta(days=1)       # the first such time of day behind the beginning
            self.end = self.uptime(until, day)
            if self.end is not None and until[0] == "clock":
                self.end += until[2] - 1

    def uptime(self, moment, day):
        """`day` is the moment of a time of day. None when it cannot be told."""
        if moment[0] == "ago":
            return self.last_uptime - moment[1]
        if moment[0] != "clock":
            return moment[1]
        if not day:
            self.notes = ["The time of the log's file is out of range, so all of the newest boot is shown."]
            return None
        uptime = self.clock.uptime(day)
        what = f"uptime {uptime} s" if uptime >= 0 else "before the newest boot"
        self.notes.append(f"{day:%F %T} is {what}" + ("." if self.notes else
                          f": the log was last written at {self.clock.newest:%T}, as its file says."))
        return uptime

    def holds(self, each, boots):
        """Whether an invocation was at work within it."""
        return each.boot == boots and (self.begin is None or each.last_uptime >= self.begin) \
            and (self.end is None or each.begin_line.uptime <= self.end)

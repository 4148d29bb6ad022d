"""Which invocations are shown."""
import difflib
import fnmatch

from ipv6trace.addresses import address_actions
from ipv6trace.invocation import UNENDED
from ipv6trace.moments import Window
from ipv6trace.parameters import changes

MANY_NAMES = 40


class Selection:
    """The invocations of a log that pass every filter, oldest first, and `notes` about what is left out: text of the
    log is in them as it came. `last` keeps the newest ones, with `slow` those that took longest; 0 keeps all."""

    def __init__(self, log, commands=(), window=None, failed=False, last=0, excepted=(), does=None, slow=False,
                 numbers=()):
        window = window or Window()
        self.notes = list(window.notes)
        self.slow = slow
        self.narrowed = bool(commands or window.any or failed or excepted or does or numbers)
        some = log.invocations
        if log.dropped:
            self.notes.append(f"The oldest {log.dropped} invocations, {log.dropped_bad} of them with failures, "
                              "are only counted.")
        if numbers:
            some = [each for each in some if each.number in numbers]
        if window.any:
            some = [each for each in some if window.holds(each, log.boots)]
        if commands:
            some = [each for each in some if is_named(each, commands)]
        if excepted:
            some = [each for each in some if not is_named(each, excepted)]
        if failed:
            some = [each for each in some if each.troubled]
        if does:
            some = [each for each in some if does(each)]
        if self.narrowed:
            self.notes.append(f"{len(some)} of {log.dropped + len(log.invocations)} are selected.")
            if numbers and log.invocations and not some:
                self.notes.append(f"The log has #{log.invocations[0].number} to #{log.invocations[-1].number}.")
            hints = [text for pattern in (*commands, *excepted) for text in hint(pattern, log.invocations)]
            self.notes += dict.fromkeys(hints)
        self.left_out = 0
        if last and len(some) > last:
            self.left_out = len(some) - last
            some = slowest(some, last) if slow else newest(some, last)
            which = f"The slowest {last} are shown" if slow else \
                f"The newest {last} are shown, those with failures before others"
            self.notes.append(f"{which}; {self.left_out} more with --all.")
        self.invocations = sorted(some, key=lambda each: each.number)


def newest(some, last):
    """Failures may take up to half of the room from newer ones without."""
    bad = [each for each in some if each.troubled]
    good = [each for each in some if not each.troubled]
    kept = bad[-max(last // 2, last - len(good)):]
    return kept + (good[-(last - len(kept)):] if last > len(kept) else [])


def slowest(some, last=None):
    """The longest first; of equals the newest."""
    return sorted(some, key=lambda each: (-took(each), -each.number))[:last]


def took(each):
    """In seconds, of one without an end up to its last line."""
    return each.last_uptime - each.begin_line.uptime if each.started or each.outcome == UNENDED else 0


def is_named(each, patterns):
    """By its command, by a client event's reason, or by both."""
    return any(fnmatch.fnmatchcase(name, pattern) for pattern in patterns
               for name in {each.word, each.title, each.reason or each.word})


def hint(pattern, invocations):
    """What may have been meant by the name of a command that nothing in the log has."""
    reasons = {}
    for each in invocations[-10000:]:
        reasons.setdefault(each.word, set()).update({each.reason} - {""})
    names = set(reasons).union(*reasons.values())
    if not names or fnmatch.filter(names, pattern) or any(is_named(each, [pattern]) for each in invocations):
        return
    inside = sorted(name for name in names if pattern.lower() in name.lower())
    near = inside or difflib.get_close_matches(pattern, names, 1)
    meant = near[0] if len(near) == 1 else f"*{pattern}*"
    yield f"No command is named {pattern}" + (f"; did you mean {meant}?" if near else ".")
    told = [word + (f" ({', '.join(sorted(of))})" if of else "") for word, of in sorted(reasons.items())]
    yield "The log has: " + ", ".join(told[:MANY_NAMES])


class Deeds:
    """Whether an invocation did something with what is wanted: in a shell line, an address that it set, a parameter
    that had changed; `lines` and `parameters` widen that to every line and every parameter."""

    def __init__(self, wanted, history, lines=False, parameters=False):
        self.wanted, self.history = wanted, history
        self.every_line, self.every_parameter = lines, parameters

    def __call__(self, each):
        had_lines = each.kept is not None
        found = bool(self.lines(each)) or any(self.parameters(each)[1])
        if not had_lines:
            each.forget()
        return found

    def lines(self, each):
        """Of those that are shown, the ones that it is in."""
        found = [line for line in each.shell_lines if self.wanted(line.shell[1])]
        found += [action.line for action in address_actions(each.lines)
                  if self.wanted(f"{action.interface} {action.address}")]
        if self.every_line:
            found += [line for line in each.lines if not line.is_parameter and self.wanted(line.message)]
        return set(found)

    def parameters(self, each):
        """(the invocation that they are compared with, those that it is in as (name, value before, value))."""
        loaded = self.history.loaded(each)
        one, before = self.history.before(each) if loaded else (None, {})
        changed = changes(before, loaded) if one else []
        if self.every_parameter:
            changed = [(name, before.get(name), value) for name, value in loaded.items()]
        return one, [change for change in changed if any(self.wanted(part) for part in change if part is not None)]

"""The parameters that an invocation loaded from the store, and what differs from the one before it."""
import re

from ipv6trace.log_line import SURE, WITHOUT_RECORD

MESSAGE = re.compile(r"(\[[\w.-]+\] )?([\w.-]+)(\([\w.-]*\))?(?: is |:)(.*)", re.S)
LOOK_BACK = 50              # invocations in which the parameters before are looked for


def parameters_of(each):
    """{name as logged: value}, in the order of loading."""
    found = {}
    for line in each.lines:
        match = MESSAGE.fullmatch(line.message) if line.is_parameter else None
        if match:
            name = (match[1] or "") + match[2] + (match[3] or "")
            found[name] = unwrapped(match[4])
    return found


def unwrapped(value):
    return value[1:-1] if len(value) > 1 and (value[0], value[-1]) in (("[", "]"), ("(", ")")) else value


def are_sure(each):
    return all(line.confidence == SURE for line in each.lines if line.is_parameter)


def changes(before, after):
    """[(name, value before or None, value after)] of what differs."""
    return [(name, before.get(name), value) for name, value in after.items() if before.get(name) != value]


class History:
    """Finds for an invocation the newest one before it that loaded parameters."""

    def __init__(self, log):
        self.invocations = log.invocations
        self.places = {each.number: place for place, each in enumerate(log.invocations)}
        self.known = {}

    def loaded(self, each):
        if each.word in WITHOUT_RECORD:
            return {}
        if each.number not in self.known:
            if len(self.known) > 4 * LOOK_BACK:
                self.known.clear()
            self.known[each.number] = parameters_of(each)
        return self.known[each.number]

    def before(self, each):
        """(invocation, its parameters), (None, {}) when there is none near."""
        place = self.places[each.number]
        for other in reversed(self.invocations[max(place - LOOK_BACK, 0):place]):
            had_lines = other.kept is not None
            found = self.loaded(other)
            if not had_lines:
                other.forget()
            if found:
                return other, found
        return None, {}

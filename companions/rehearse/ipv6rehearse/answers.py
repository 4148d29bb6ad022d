"""What outside programs say in a rehearsal, where that was given."""
import os
import shlex

from ipv6recorder.private_root import RECORDERS

from .inputs import read_limited
from .places import Unusable
from .words import meant, shown

LIMIT = (1 << 20) - 1               # the recorder's buffer
_KNOWN = sorted(name for names in RECORDERS.values() for name in names)


class Answers:
    """The answers and failures of the options; a failure counts before an answer."""

    def __init__(self, answers, failures):
        self._called = []               # (option, the words that a call has to begin with)
        self._rules = []
        self.told = []                  # what each of them does
        for text in answers:
            called, equals, place = text.partition("=")
            words = self._words("--answer", text, called)
            if not equals or not place:
                raise Unusable(f"--answer {shown(text)}: no '=' with a file behind it")
            self._rules.append((words, {"stdout": os.fsdecode(read_limited(place, LIMIT))}))
            self.told.append(f"{shlex.join(words)} says what is in {place}")
        for text in failures:
            called, equals, status = text.partition("=")
            words = self._words("--fail", text, called)
            if equals and not (status.isascii() and status.isdigit() and 0 < int(status) < 256):
                raise Unusable(f"--fail {shown(text)}: no exit status from 1 to 255")
            self._rules.append((words, {"status": int(status or 1)}))
            self.told.append(f"{shlex.join(words)} ends with status {int(status or 1)}")

    def give(self, gateway):
        for words, answer in self._rules:
            gateway.script(*words, **answer)

    def unused(self, calls):
        """A text for each that no call of the run has met."""
        made = [[call[0].rsplit("/", 1)[-1], *call[1:]] for call in calls]
        return [f"{option} {shown(shlex.join(words))}: no such call was made" for option, words in self._called
                if not any(call[:len(words)] == words for call in made)]

    def _words(self, option, text, called):
        try:
            words = shlex.split(called)
        except ValueError as error:
            raise Unusable(f"{option} {shown(text)}: {error}") from error
        name = words[0].rsplit("/", 1)[-1] if words else ""
        if name not in _KNOWN:
            guess = meant(name, _KNOWN)
            raise Unusable(f"{option} {shown(text)}: no program that a rehearsal stands in for; "
                           + (f"did you mean {guess}?" if guess else f"there are {', '.join(_KNOWN)}"))
        self._called.append((option, [name, *words[1:]]))
        return [name, *words[1:]]

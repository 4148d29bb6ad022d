"""Words of people: how a text is shown to them, and what they may have meant."""
import difflib
import re

from ipv6trace import terminal

_BYTE = re.compile("[\udc80-\udcff]")           # what os.fsdecode makes of a byte that is no UTF-8


def shown(text):
    """The text on one line; what would steer the terminal, and bytes that are no UTF-8, as escapes."""
    return terminal.shown(_BYTE.sub(lambda match: f"\\x{ord(match[0]) - 0xDC00:02x}", str(text)))


def meant(word, known):
    """The one of the known words that this one looks like, None when it looks like none."""
    return next(iter(difflib.get_close_matches(word, known, 1, 0.75)), None)

"""What goes to a terminal: text that cannot steer it, and colors where they are wanted."""
import os
import re

# Controls, what turns the writing direction, what is invisible or has no place in UTF-8.
STEERING = re.compile("[\x00-\x1f\x7f-\x9f\xad\u034f\u061c\u115f\u1160\u17b4\u17b5\u180b-\u180f\u200b-\u200f"
                      "\u2028-\u202e\u2060-\u206f\u3164\ud800-\udfff\ufe00-\ufe0f\ufeff\uffa0\ufff0-\uffff"
                      "\U000e0000-\U000e0fff]")
NAMED = {"\n": "\\n", "\t": "\\t", "\r": "\\r"}
CODES = {"bad": "1;31", "good": "32", "faint": "2", "strong": "1", "warn": "33", "head": "1;4"}


def shown(text):
    """The text on one line; what would steer the terminal is written as an escape."""
    return STEERING.sub(escape, str(text))


def escape(match):
    char = match[0]
    code = ord(char)
    if char in NAMED:
        return NAMED[char]
    return f"\\x{code:02x}" if code < 256 else f"\\u{code:04x}" if code < 65536 else f"\\U{code:08x}"


class Paint:
    """`paint(kind, text)` colors finished text, or leaves it when colors are off."""

    def __init__(self, on):
        self.on = on

    def __call__(self, kind, text):
        return f"\033[{CODES[kind]}m{text}\033[0m" if self.on and text else text


def wants_colors(choice, stream, environment=os.environ):
    """`choice` is auto, always or never. See https://no-color.org for NO_COLOR."""
    if choice != "auto":
        return choice == "always"
    return stream.isatty() and not environment.get("NO_COLOR") and environment.get("TERM") != "dumb"

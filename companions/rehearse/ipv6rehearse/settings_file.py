"""A file of settings or variables as people's editors leave it: why it is none, and what is in it twice."""
import codecs
import re

UTF16 = (codecs.BOM_UTF16_LE, codecs.BOM_UTF16_BE)
_BLANK = re.compile(rb"^(?:[ \t]+[\w.-]+@[\w.-]+[ \t]*|[\w.-]+@[\w.-]+[ \t]+)=")
_KEY = re.compile(rb"^([\w.-]+@[\w.-]+)=")


def foreign_text(data):
    """What an editor has made of a file of lines: its encoding, its line ends; None when it has not."""
    if data.startswith(codecs.BOM_UTF8):
        return "begins with a byte order mark; save it as UTF-8 without one"
    if data.startswith(UTF16):
        return "is UTF-16; save it as UTF-8"
    for number, line in enumerate(data.split(b"\n"), 1):
        if line.endswith(b"\r") and line.count(b"\r") == 1:
            return f"line {number} ends with CR LF, as on Windows; save the file with LF alone"
    return None


def foreign(data):
    """The same of a file of settings, and of the way its lines are written."""
    told = foreign_text(data)
    if told is not None:
        return told
    for number, line in enumerate(data.split(b"\n"), 1):
        if b"\r" in line and _KEY.match(line):
            return f"line {number} has CR where LF belongs; save the file with LF at the end of each line"
        if _BLANK.match(line):
            return f"line {number}: no blanks before the key and before the '='"
    return None


def given_twice(data):
    """{key: numbers of its lines} of the keys that have more than one; the last one counts."""
    places = {}
    for number, line in enumerate(data.split(b"\n"), 1):
        found = _KEY.match(line)
        if found:
            places.setdefault(found[1].decode("ascii", "replace"), []).append(number)
    return {key: numbers for key, numbers in places.items() if len(numbers) > 1}

"""A rehearsal as text for people."""
import difflib
import re

from .verdicts import ACCEPTED, REFUSED
from .words import shown

AT_LINE = re.compile(r"(?:\bline:? |\.conf:)(\d+)")
MARKS = {"+": "good", "-": "bad", "@": "faint"}


class Listing:
    def __init__(self, paint, out):
        self._paint, self._out = paint, out

    def write(self, rehearsal, asked):
        quiet = asked.quiet
        if not quiet:
            self._beginning(rehearsal)
            self._shell_lines(rehearsal.run)
            if asked.log:
                self._log(rehearsal.run.log_lines)
            self._files(rehearsal, asked.diff, asked.brief)
            self._store(rehearsal.run.store_changes)
            self._kernel(rehearsal.run)
            self._section("Left out", [shown(note) for note in rehearsal.notes])
            # Near the end, where a terminal still shows them.
            self._section("What ccfg_cli check says of the settings", [shown(line) for line in rehearsal.remarks])
        self._verdict(rehearsal, quiet)

    def _line(self, text="", kind=None):
        self._out.write((self._paint(kind, text) if kind else text) + "\n")

    def _title(self, text):
        self._line()
        self._line(text, "strong")

    def _section(self, title, lines):
        if lines:
            self._title(title)
            for line in lines:
                self._line("  " + line)

    def _beginning(self, rehearsal):
        words = " ".join(shown(word) for word in [rehearsal.command, *rehearsal.arguments])
        self._line(f"{words}, with {rehearsal.source}", "strong")
        for line in rehearsal.surroundings:
            self._line(f"  {shown(line)}", "faint")

    def _shell_lines(self, run):
        self._title(f"Shell lines, {len(run.shell)}")
        for number, (status, line) in enumerate(run.shell, 1):
            failed = f"   [{status}]" if status != 0 else ""
            self._line(f"{number:4}  {shown(line)}{self._paint('warn', failed)}")
        if run.pauses:
            total = sum(run.pauses) / 1000
            told = "a pause of" if len(run.pauses) == 1 else f"{len(run.pauses)} pauses, together"
            self._line(f"      {told} {total:g} s, made instant here", "faint")

    def _log(self, lines):
        self._title(f"Its log, {_count([line for line in lines if line])}")
        for line in lines:
            if line:
                self._line(f"    | {shown(line)}")

    def _files(self, rehearsal, diff, brief):
        self._title(f"Files that it writes, {len(rehearsal.files)}")
        for path, text in rehearsal.files.items():
            if text.startswith(("<copy of ", "-> ")):
                self._line(f"  {shown(path)}  {shown(text)}")
                continue
            lines = _lines(text)
            current = rehearsal.current.get(path)
            if diff and current == text:
                self._line(f"  {shown(path)}  as it was")
            elif diff and current is not None:
                self._line(f"  {shown(path)}  differs from what was there")
                self._difference(_lines(current), lines)
            else:
                new = diff and path in rehearsal.current
                self._line(f"  {shown(path)}  {_count(lines)}{', not there before' if new else ''}")
                for line in [] if brief else lines:
                    self._line(f"    | {shown(line)}")
        for path in rehearsal.removed:
            self._line(f"  {shown(path)}  removed")

    def _difference(self, now, then):
        for line in list(difflib.unified_diff(now, then, lineterm="", n=2))[2:]:
            text = f"    {line[0]} {shown(line[1:])}" if line[0] != "@" else f"    {line}"
            self._line(text, MARKS.get(line[0]))

    def _store(self, changes):
        self._title(f"Changes in the store, {len(changes)}")
        width = max((len(key) for key in changes), default=0)
        for key, (before, after) in changes.items():
            self._line(f"  {key:{width}}  {_value(before)} -> {_value(after)}")

    def _kernel(self, run):
        lines = [f"{name}  address {address}" for name, texts in run.addresses.items() for address in texts]
        lines += [f"/proc/sys/net/ipv6/conf/{shown(name)} = {shown(text.rstrip(chr(10)))}" for name, text in run.switches.items()]
        self._section("Set in the kernel", lines)

    def _verdict(self, rehearsal, quiet):
        if not quiet:
            self._title("Verdict")
        if rehearsal.failure:
            self._line(f"  {self._paint('bad', 'FAILED')}   the run {shown(rehearsal.failure)}")
        elif not quiet:
            self._line(f"  {self._paint('good', 'ok')}       the run came to its end")
        for verdict in rehearsal.verdicts:
            if verdict.verdict == ACCEPTED:
                if not quiet:
                    self._line(f"  {self._paint('good', 'ok')}       {verdict.program} takes {verdict.path}")
            elif verdict.verdict == REFUSED:
                self._line(f"  {self._paint('bad', 'REFUSED')}  {verdict.program} does not take {verdict.path}")
            else:
                self._line(f"  {self._paint('warn', 'unknown')}  {verdict.program} was not asked about {verdict.path}")
            self._reasons(verdict, rehearsal.files[verdict.path], quiet)
        for remark in rehearsal.remarks if quiet else []:
            self._line(f"  {self._paint('warn', 'check')}    {shown(remark)}")
        for text in rehearsal.odd:
            self._line(f"  {self._paint('warn', 'odd')}      {shown(text)}")
        if rehearsal.advice:
            self._line(f"  {rehearsal.advice}")

    def _reasons(self, verdict, text, quiet):
        if verdict.verdict == ACCEPTED and quiet:
            return
        lines = _lines(text)
        for said in verdict.said:
            self._line(f"             {shown(said)}")
            at = AT_LINE.search(said)
            if verdict.verdict == REFUSED and at and 0 < int(at[1]) <= len(lines):
                self._line(f"             line {at[1]}: {shown(lines[int(at[1]) - 1])}", "faint")


def _lines(text):
    lines = text.split("\n")
    return lines[:-1] if lines[-1] == "" else lines


def _count(lines):
    return "1 line" if len(lines) == 1 else f"{len(lines)} lines" if lines else "empty"


def _value(text):
    return "not set" if text is None else f'"{shown(text)}"'

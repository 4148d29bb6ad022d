"""The log as text: failures first, then the rest, each invocation with its parameters and what it did."""
import os

from ipv6trace.addresses import address_actions
from ipv6trace.invocation import DONE, FAILED, MANY_LINES, UNENDED
from ipv6trace.log_line import GUESS, LIKELY, SURE, weight
from ipv6trace.parameters import are_sure, changes
from ipv6trace.selection import slowest
from ipv6trace.terminal import shown
from ipv6trace.time_axis import whole_seconds
from ipv6trace.timeline import count

MARK = {SURE: " ", LIKELY: "~", GUESS: "?"}
SLOW = 3                    # seconds before a line that are worth a word
BRIEFLY = 3                 # failed shell lines of an invocation
BRIEFLY_FOUND = 10          # of its lines, those that were looked for or waited for
MANY_COLUMNS = 36           # of a part of a brief head; a longer one moves what is behind it
WIDEST = 300                # characters of a parameter's value, and of a line that is no one's


class Listing:
    """Writes to `out`; `style` says how much: "brief" (a line each), "shell" or "all" lines. With a clock times of day
    are told, and `deeds` knows what was looked for."""

    def __init__(self, log, history, paint, out, style="shell", every_parameter=False, clock=None, deeds=None):
        self.log, self.history, self.paint, self.out = log, history, paint, out
        self.style, self.every_parameter, self.clock, self.deeds = style, every_parameter, clock, deeds
        self.marks = set()
        self.said = 0
        self.slow = False
        self.widths = (0, 0, 0)             # of brief heads: numbers, title, times

    def write(self, name, selection):
        self.slow = selection.slow
        self.say(self.headline(name))
        for text in selection.notes:
            self.say(self.paint("faint", shown(text)))
        some = slowest(selection.invocations) if self.slow else selection.invocations
        bad = [each for each in some if each.troubled]
        good = [each for each in some if not each.troubled]
        groups = [("Slowest first", some)] if self.slow else [("With failures", bad), ("Without failures", good)]
        if self.style == "brief":
            self.widths = self.widest(group for _, group in groups)
        for head, group in groups:
            if group:
                self.say("", self.paint("head", f"{head} ({len(group)})"))
                self.section(group)
        if self.log.strays and not selection.narrowed:
            self.strays()
        self.legend()
        if bad and good and not self.slow and self.said > screen_height(self.out):
            numbers = " ".join(f"#{each.number}" for each in bad[:10]) + (" ..." if len(bad) > 10 else "")
            self.say("", self.paint("bad", f"{len(bad)} with failures, at the top: {numbers}"))

    def headline(self, name):
        log = self.log
        total = log.dropped + len(log.invocations)
        failed = log.dropped_bad + sum(each.troubled for each in log.invocations)
        if not total:
            strange = "; no line of it is one of the diagnostic log" if log.line_count and not log.strays else ""
            return f"{shown(name)}: no invocation in {count(log.line_count, 'line')}{strange}"
        parts = [count(total, "invocation"), self.paint("bad", f"{failed} with failures") if failed else "no failure",
                 self.period(log), count(log.boots, "boot") if log.boots > 1 else "",
                 count(log.line_count, "line")]
        return f"{self.paint('strong', shown(name))}: " + ", ".join(part for part in parts if part)

    def period(self, log):
        if not self.clock:
            return f"uptime {log.first_uptime} to {log.last_uptime} s"
        began = log.first_uptime if log.boots == 1 else min(each.begin_line.uptime for each in log.invocations
                                                            if each.boot == log.boots)
        return f"{self.clock.text(began)} to {self.clock.text(log.last_uptime)}"

    def at(self, uptime, boot):
        """The time of day is known of the newest boot only."""
        return self.clock.text(uptime) if self.clock and boot == self.log.boots else str(uptime)

    def widest(self, groups):
        widths = [0, 0, 0]
        for some in groups:
            start = 0
            while start < len(some):
                alike = self.alike(some, start)
                heads = self.head(some[start], some[start + alike - 1], alike)
                widths = [max(width, min(len(text), MANY_COLUMNS)) for width, text in zip(widths, heads)]
                start += alike
        return widths

    def section(self, some):
        boot, start = None, 0
        while start < len(some):
            each, alike = some[start], self.alike(some, start)
            if self.log.boots > 1 and each.boot != boot:
                boot = each.boot
                self.say(self.paint("faint", f"-- since boot {boot} of {self.log.boots}"))
            self.block(each, some[start + alike - 1], alike)
            for done in some[start:start + alike]:
                done.forget()
            start += alike

    def alike(self, some, start):
        """How many say the same from here on: one name, no failure, the same lines, no changed parameter."""
        first, number = some[start], 1
        if self.slow or self.deeds or first.troubled:
            return number
        while start + number < len(some) and some[start + number].boot == first.boot \
                and self.says(some[start + number]) == self.says(first) and not self.changed(some[start + number])[1]:
            number += 1
        return number

    def says(self, each):
        if self.style == "brief":
            return each.title
        if self.style == "all":
            return each.title, [line.message for line in each.lines]
        return each.title, [line.shell for line in each.shell_lines], [
            (action.interface, action.address, action.came, action.refused) for action in address_actions(each.lines)]

    def changed(self, each):
        """(parameters, the changed ones, the invocation they are compared with)."""
        loaded = self.history.loaded(each) if self.style != "brief" else {}
        if not loaded:
            return loaded, [], None
        one, before = self.history.before(each)
        return loaded, changes(before, loaded) if one else [], one

    # One invocation

    def head(self, each, last, alike):
        """Numbers, title, times."""
        if alike == 1:
            return f"#{each.number}", shown(each.title), self.span(each)
        begin, end = (self.at(uptime, each.boot) for uptime in (each.begin_line.uptime, last.last_uptime))
        times = (f"{begin}{self.unit(each)}" if begin == end else f"from {begin} to {end}{self.unit(each)}") \
            + f", {alike} times" + ("" if self.style == "brief" else " alike")
        return f"#{each.number}..#{last.number}", shown(each.title), times

    def block(self, each, last, alike):
        numbers, title, times = self.head(each, last, alike)
        if self.style == "brief":
            numbers, title, times = (text.ljust(width) if place else text.rjust(width)
                                     for place, (text, width) in enumerate(zip((numbers, title, times), self.widths)))
        else:
            self.say("")
        self.say(" ".join([self.paint("faint", f"{numbers:>5}"), self.paint("strong", title), f" {times} ",
                           self.outcome(each)]))
        found = self.deeds.lines(each) if self.deeds else ()
        if self.style == "brief":
            self.worst_lines(each, found)
            return
        for text in self.facts(each):
            self.say("      " + self.paint("faint", text))
        self.parameters(each)
        self.lines(each, each.lines, found)
        if len(each.lines) == MANY_LINES:
            self.say("      " + self.paint("warn", f"only its first {MANY_LINES} lines are shown"))

    def lines(self, each, chosen, found=()):
        """Those of its lines that are `chosen` and belong to the style; `found` ones stand out."""
        chosen = set(chosen)
        actions = {action.line: action for action in address_actions(each.lines)}
        before, waited = each.begin_line.uptime, 0
        for line in each.lines:
            waited, before = max(waited, line.uptime - before), line.uptime
            if line not in chosen:              # a pause before it is told with the next one
                continue
            if line.shell:
                told = self.shell_line(line)
            elif line in actions and self.style != "all":
                told = self.action(actions[line])
            elif self.style == "all" and not line.is_parameter:
                told = f"     [{shown(line.routine)}] {shown(line.message)}" + self.meaning(actions.get(line))
            else:
                continue
            self.line(each, line, told, waited, line in found)
            waited = 0
        if each.end_line and each.started and (self.style != "brief" or self.slow):
            waited = max(waited, each.end_line.uptime - before)
            if waited >= SLOW:
                self.line(each, each.end_line, self.paint("faint", "end"), waited, False)

    def line(self, each, line, told, waited, found):
        self.marks.add(line.confidence)
        if waited >= SLOW:
            told += self.paint("warn", f"   (after {waited} s)")
        mark = self.paint("strong", ">") if found and self.style != "brief" else " "
        self.say(f"{self.at(line.uptime, each.boot):>10}{MARK[line.confidence]}{mark}{told}")

    def meaning(self, action):
        """What the numbers of a line about an address mean."""
        return self.paint("faint", "   (given)" if action.came else "   (taken away)") if action else ""

    def action(self, action):
        told = f"[{'+' if action.came else '-'}] {shown(action.interface)} {shown(action.address)}"
        return self.paint("faint", told + "   (refused)") if action.refused else told

    def shell_line(self, line):
        status, text = line.shell
        kind = weight(line)
        told = f"[{status}] {shown(text)}"
        if kind == "bad":
            told = self.paint("bad", told + "   <-- failed")
        elif kind == "quiet":
            told = self.paint("faint", told + "   (nothing to undo)")
        return told

    def worst_lines(self, each, found):
        """Briefly: what failed, what was looked for, and with the slowest what they waited for."""
        if not each.bad_count and not self.deeds and not self.slow:
            return
        failed = [line for line in each.shell_lines if weight(line) == "bad"] if each.bad_count else []
        more = [line for line in each.lines if line in found]
        if self.slow:
            more += self.late(each)
        known = set(failed)
        more = [line for line in more if line not in known]
        kept = failed[:BRIEFLY] + more[:BRIEFLY_FOUND]
        self.lines(each, kept, found)
        left = each.bad_count + len(more) - len(kept)
        if left:
            self.say(self.paint("faint", f"{'':>10}  and {left} more"))
        if self.deeds:
            one, changed = self.deeds.parameters(each)
            for name, before, value in changed:
                self.parameter(name, before, value, one)

    def outcome(self, each):
        failed = self.paint("bad", count(each.bad_count, "failed shell line")) if each.bad_count else ""
        if each.outcome == DONE:
            said = self.paint("good", "done") if not failed else ""
            said += "" if each.started else ", began before the log"
        elif each.outcome == FAILED:
            said = self.paint("bad", "refused: the other hook was at work, or had been killed" if each.busy else
                              "ERROR_INTERNAL" if each.started else "ERROR_INTERNAL: no transaction")
        else:
            said = self.paint("bad", "no end: the device was restarted" if each.rebooted else
                              "no end yet: still running, or killed" if each.maybe_running else "no end")
        unsure = self.paint("warn", "its end may be another's") if each.end_confidence != SURE else ""
        return ", ".join(part for part in (said, failed, unsure) if part)

    def facts(self, each):
        if each.path != f"/usr/sbin/{each.word}":
            yield f"started as {shown(each.path) or 'an empty name'}"
        during = each.during
        if during:
            yield f"ran while #{during[0].number} ran: {shown(during[1].shell[1])}"
        elif each.overlaps:
            named = ", ".join(f"#{other.number} {shown(other.title)}" for other in each.overlaps[:4])
            more = each.overlap_count - 4
            yield f"at the same time: {named}" + (f" and {more} more" if more > 0 else "")
        if each.unsure:
            yield f"{len(each.unsure)} of its {len(each.lines)} lines may be another's"

    @staticmethod
    def late(each):
        """The shell lines behind its longest pauses."""
        before, waited, found = each.begin_line.uptime, 0, []
        for line in each.lines:
            waited, before = max(waited, line.uptime - before), line.uptime
            if line.shell:
                found.append((waited, line))
                waited = 0
        longest = max((waited for waited, _ in found), default=0)
        return [line for waited, line in found if waited >= min(SLOW, max(longest, 2))]

    def parameters(self, each):
        loaded, changed, one = self.changed(each)
        if not loaded:
            return
        said = f"{count(len(loaded), 'parameter')} loaded"
        if one:
            said += f", {len(changed) or 'none'} changed since #{one.number}"
        if not are_sure(each):
            said += " (some may be another's)"
        self.say("      " + self.paint("faint", said))
        differ = {name: before for name, before, _ in changed}
        for name, value in loaded.items():
            if name in differ:
                self.parameter(name, differ[name], value)
            elif self.every_parameter:
                self.say(self.paint("faint", f"        {shown(name)}: {quoted(value)}"))

    def parameter(self, name, before, value, since=None):
        old = "" if before == value else "not loaded -> " if before is None else f"{quoted(before)} -> "
        told = self.paint("faint", f"   (since #{since.number})") if since and old else ""
        self.say(f"        {shown(name)}: {old}{self.paint('strong', quoted(value))}{told}")

    # The end

    def strays(self):
        some = self.log.strays
        self.say("", self.paint("head", f"Outside of any invocation ({count(len(some), 'line')})"))
        boot = self.log.boots if self.log.boots == 1 else 0
        for line in some[:None if self.style == "all" else 10]:
            told = shown(line.message if self.style == "all" else line.message[:WIDEST])
            self.say(f"{self.at(line.uptime, boot):>10}  [{shown(line.routine)}] {told}")
        if self.style != "all" and len(some) > 10:
            self.say(self.paint("faint", f"{'':>10}  and {len(some) - 10} more (--lines)"))

    def legend(self):
        if self.marks - {SURE}:
            self.say("", self.paint("faint", "~ others were running too; it is here because lines usually follow each "
                                             "other like this.  ? a guess."))

    def say(self, *lines):
        for line in lines:
            self.out.write(line + "\n")
        self.said += len(lines)

    def unit(self, each):
        return "" if self.clock and each.boot == self.log.boots else " s"

    def span(self, each):
        """When it began and how long it took."""
        begin = self.at(each.begin_line.uptime, each.boot) + self.unit(each)
        if not each.started:
            return begin
        if each.outcome == UNENDED:
            return f"{begin}, last line {self.at(each.last_uptime, each.boot)}{self.unit(each)}"
        return f"{begin}, {whole_seconds(each.end_line.uptime - each.begin_line.uptime)}"


def screen_height(out):
    """Lines; endless when it is no terminal."""
    try:
        return os.get_terminal_size(out.fileno()).lines if out.isatty() else float("inf")
    except (OSError, ValueError):
        return float("inf")


def quoted(value):
    return f'"{shown(value[:WIDEST])}"' + ("..." if len(value) > WIDEST else "")

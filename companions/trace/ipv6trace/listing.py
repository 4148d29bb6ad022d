"""The log as text: failures first, then the rest, each invocation with its parameters and shell lines."""
from ipv6trace.invocation import DONE, FAILED, MANY_LINES, UNENDED
from ipv6trace.log_line import GUESS, LIKELY, SURE, weight
from ipv6trace.parameters import are_sure, changes
from ipv6trace.terminal import shown
from ipv6trace.time_axis import whole_seconds
from ipv6trace.timeline import count

MARK = {SURE: " ", LIKELY: "~", GUESS: "?"}
SLOW = 3                    # seconds before a line that are worth a word
BRIEFLY = 3                 # failed shell lines of an invocation
WIDEST = 300                # characters of a parameter's value


class Listing:
    """Writes to `out`; `style` says how much: "brief" (a line each), "shell" or "all" lines."""

    def __init__(self, log, history, paint, out, style="shell", every_parameter=False):
        self.log, self.history, self.paint, self.out = log, history, paint, out
        self.style, self.every_parameter = style, every_parameter
        self.marks = set()

    def write(self, name, selection):
        self.say(self.headline(name))
        for text in selection.notes:
            self.say(self.paint("faint", text))
        bad = [each for each in selection.invocations if each.troubled]
        good = [each for each in selection.invocations if not each.troubled]
        for head, some in (("With failures", bad), ("Without failures", good)):
            if some:
                self.say("", self.paint("head", f"{head} ({len(some)})"))
                self.section(some)
        if self.log.strays and not selection.narrowed:
            self.strays()
        self.legend()

    def headline(self, name):
        log = self.log
        total = log.dropped + len(log.invocations)
        failed = log.dropped_bad + sum(each.troubled for each in log.invocations)
        if not total:
            return f"{shown(name)}: no invocation in {count(log.line_count, 'line')}"
        parts = [count(total, "invocation"), self.paint("bad", f"{failed} with failures") if failed else "no failure",
                 f"uptime {log.first_uptime} to {log.last_uptime} s", count(log.boots, "boot") if log.boots > 1 else "",
                 count(log.line_count, "line")]
        return f"{self.paint('strong', shown(name))}: " + ", ".join(part for part in parts if part)

    def section(self, some):
        boot = None
        while some:
            each = some[0]
            if self.log.boots > 1 and each.boot != boot:
                boot = each.boot
                self.say(self.paint("faint", f"-- since boot {boot} of {self.log.boots}"))
            alike = self.alike(some)
            self.block(each, some[alike - 1] if alike > 1 else None, alike)
            for done in some[:alike]:
                done.forget()
            some = some[alike:]

    def alike(self, some):
        """How many at the beginning say the same: one name, no failure, the same shell lines, no changed parameter."""
        number = 1
        while number < len(some) and not some[0].troubled and some[number].boot == some[0].boot \
                and self.says(some[number]) == self.says(some[0]) and not self.changed(some[number])[1]:
            number += 1
        return number

    def says(self, each):
        shell = [line.shell for line in each.shell_lines] if self.style != "brief" else []
        return each.title, shell, [line.message for line in each.lines] if self.style == "all" else []

    def changed(self, each):
        """(parameters, the changed ones, the invocation they are compared with)."""
        loaded = self.history.loaded(each)
        if not loaded or self.style == "brief":
            return loaded, [], None
        one, before = self.history.before(each)
        return loaded, changes(before, loaded) if one else [], one

    # One invocation

    def block(self, each, last_alike, alike):
        numbers = f"#{each.number}"
        times = span_text(each)
        if last_alike:
            numbers, times = f"#{each.number}..#{last_alike.number}", f"from {each.begin_line.uptime} to " \
                f"{last_alike.last_uptime} s, {alike} times{'' if self.style == 'brief' else ' alike'}"
        if self.style != "brief":
            self.say("")
        self.say(" ".join([self.paint("faint", f"{numbers:>5}"), self.paint("strong", shown(each.title)),
                           f" {times} ", self.outcome(each)]))
        if self.style == "brief":
            self.failed_lines(each)
            return
        for text in self.facts(each):
            self.say("      " + self.paint("faint", text))
        self.parameters(each)
        before = each.begin_line.uptime
        for line in each.lines:
            took, before = line.uptime - before, line.uptime
            if line.shell:
                self.shell_line(line, took)
            elif self.style == "all" and not line.is_parameter:
                self.mark(line)
                self.say(f"{line.uptime:>10}{MARK[line.confidence]}      [{shown(line.routine)}] {shown(line.message)}")
        if len(each.lines) == MANY_LINES:
            self.say("      " + self.paint("warn", f"only its first {MANY_LINES} lines are shown"))

    def outcome(self, each):
        failed = self.paint("bad", count(each.bad_count, "failed shell line")) if each.bad_count else ""
        if each.outcome == DONE:
            said = self.paint("good", "done") if not failed else ""
        elif each.outcome == FAILED:
            said = self.paint("bad", "refused: the other hook was at work" if each.busy else
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
                before = differ[name]
                old = "not loaded" if before is None else quoted(before)
                self.say(f"        {shown(name)}: {old} -> " + self.paint("strong", quoted(value)))
            elif self.every_parameter:
                self.say(self.paint("faint", f"        {shown(name)}: {quoted(value)}"))

    def failed_lines(self, each):
        if each.bad_count:
            for line in [line for line in each.shell_lines if weight(line) == "bad"][:BRIEFLY]:
                self.shell_line(line, 0)
            if each.bad_count > BRIEFLY:
                self.say(self.paint("faint", f"{'':>10}  and {each.bad_count - BRIEFLY} more"))

    def shell_line(self, line, took):
        """`took` are the seconds since the line before it of the same invocation."""
        status, text = line.shell
        kind = weight(line)
        told = f"[{status}] {shown(text)}"
        if kind == "bad":
            told = self.paint("bad", told + "   <-- failed")
        elif kind == "quiet":
            told = self.paint("faint", told + "   (nothing to undo)")
        if took >= SLOW:
            told += self.paint("warn", f"   (after {took} s)")
        self.mark(line)
        self.say(f"{line.uptime:>10}{MARK[line.confidence]} {told}")

    # The end

    def mark(self, line):
        self.marks.add(line.confidence)

    def strays(self):
        some = self.log.strays
        self.say("", self.paint("head", f"Outside of any invocation ({count(len(some), 'line')})"))
        for line in some[:None if self.style == "all" else 10]:
            self.say(f"{line.uptime:>10}  [{shown(line.routine)}] {shown(line.message)}")
        if self.style != "all" and len(some) > 10:
            self.say(self.paint("faint", f"{'':>10}  and {len(some) - 10} more (--lines)"))

    def legend(self):
        if self.marks - {SURE}:
            self.say("", self.paint("faint", "~ others were running too; it is here because lines usually follow each "
                                             "other like this.  ? a guess."))

    def say(self, *lines):
        for line in lines:
            self.out.write(line + "\n")


def span_text(each):
    if not each.started:
        return f"{each.begin_line.uptime} s"
    if each.outcome == UNENDED:
        return f"{each.begin_line.uptime} s, last line {each.last_uptime} s"
    return f"{each.begin_line.uptime} s, {whole_seconds(each.end_line.uptime - each.begin_line.uptime)}"


def quoted(value):
    return f'"{shown(value[:WIDEST])}"' + ("..." if len(value) > WIDEST else "")

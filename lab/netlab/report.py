"""Tells a person what happens, line by line, and at the end in a table."""
import os
import textwrap


class Narrator:
    """Writes to a stream as things happen; colored only on a terminal."""

    def __init__(self, stream):
        self.stream = stream
        self.color = stream.isatty() and "NO_COLOR" not in os.environ

    def paint(self, text, code):
        return f"\033[{code}m{text}\033[0m" if self.color else text

    def say(self, text=""):
        print(text, file=self.stream, flush=True)

    def step(self, number, step):
        self.say(f"\n{step.begun:6.1f}s  {self.paint(f'{number}. {step.title}', '1')}")

    def note(self, text, elapsed):
        self.say(f"{elapsed:6.1f}s       {text}")

    def check(self, check, elapsed):
        mark = self.paint("ok  ", "32") if check.held else self.paint("FAIL", "1;31")
        self.say(f"{elapsed:6.1f}s  {mark} {check.expected}" + (f": {check.seen}" if check.held and check.seen else ""))
        if not check.held:
            self.say(f"               {check.seen}")


def table(checks, width=110):
    """The run as a table: a row a step, then a row a check, with times."""
    inner = width - 25
    line = "+" + "-" * 6 + "+" + "-" * (inner + 2) + "+" + "-" * 6 + "+" + "-" * 8 + "+"
    rows = [line, row("step", "what was seen", "", "time", inner), line]
    for number, step in enumerate(checks.steps, 1):
        rows.append(row(str(number), step.title.upper(), verdict(step.held()), f"{step.seconds:.1f} s", inner))
        for check in step.checks:
            text = check.expected + (f": {check.seen}" if check.seen and check.held else "")
            if not check.held:
                text += f" - not so: {check.seen}"
            parts = textwrap.wrap(text, inner - 2) or [""]
            rows.append(row("", "  " + parts[0], verdict(check.held), f"{check.seconds:.1f} s", inner))
            rows += [row("", "    " + part, "", "", inner) for part in rewrap(parts[1:], inner - 4)]
        rows.append(line)
    return "\n".join(rows)


def rewrap(parts, width):
    return textwrap.wrap(" ".join(parts), width) if parts else []


def row(number, text, mark, seconds, inner):
    return f"| {number:<4} | {text:<{inner}} | {mark:<4} | {seconds:>6} |"


def verdict(held):
    return "ok" if held else "FAIL"


def closing(checks, folder):
    """The last lines: every failure in a sentence, and where to look."""
    count = sum(len(step.checks) for step in checks.steps)
    failures = checks.failures()
    lines = []
    for step, check in failures:
        lines.append(f"Not held, in \"{step.title}\": {check.expected}. Instead: {check.seen}.")
    if failures:
        lines.append(f"{len(failures)} of {count} checks did not hold, after {checks.elapsed():.1f} s.")
    else:
        lines.append(f"All {count} checks held, in {checks.elapsed():.1f} s.")
    lines.append(f"Kept: {folder} (logs, console, configurations, captures, firewall and store of each step).")
    return "\n".join(lines)

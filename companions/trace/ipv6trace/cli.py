"""The command line of ipv6trace."""
import argparse
import contextlib
import difflib
import os
import sys

from ipv6trace.addresses import Wanted
from ipv6trace.as_json import write_json
from ipv6trace.listing import Listing
from ipv6trace.log_files import opened
from ipv6trace.log_line import as_text
from ipv6trace.log_reader import read_source
from ipv6trace.moments import Clock, Window, moment_of
from ipv6trace.parameters import History
from ipv6trace.picture import draw_page, draw_svg
from ipv6trace.selection import Deeds, Selection
from ipv6trace.terminal import Paint, shown, wants_colors

DEFAULT_LOG = "/tmp/ipv6.log"
USUALLY = 50                # invocations that are shown when nothing else is asked for
SLOWEST = 10                # and with --slow
ALIKE = 0.7                 # from which on an option may be a mistyped one
WRONG_USE, UNREADABLE = 2, 1


class Parser(argparse.ArgumentParser):
    def error(self, message):
        unknown = message.removeprefix("unrecognized arguments: ")
        if unknown != message:
            word = unknown.split()[0].partition("=")[0]
            longer = [option for option in self._option_string_actions if option.startswith(word)]
            near = longer or difflib.get_close_matches(word, self._option_string_actions, 1, ALIKE)
            message = f"{word}: no such option" + "".join(f", did you mean {each}?" for each in near[:1])
        print(f"ipv6trace: {shown(message)}; ipv6trace --help", file=sys.stderr)
        sys.exit(WRONG_USE)


def parser():
    words = Parser(prog="ipv6trace", allow_abbrev=False, add_help=False,
                   usage="ipv6trace [OPTION]... [LOG]...",
                   description="Shows what the runs of ipv6ctl did, from its diagnostic log: failures first, each run "
                               "with its shell lines and their status and the parameters that changed.")
    words.add_argument("logs", nargs="*", metavar="LOG",
                       help=f"the log (default {DEFAULT_LOG}), or the parts that a rotation has made of it, packed "
                            "or not; - is standard input")
    which = words.add_argument_group("which runs")
    which.add_argument("-f", "--failed", action="store_true",
                       help="only those that failed, did not end, or had a shell line that failed")
    which.add_argument("-i", "--invocation", action="append", default=[], metavar="N",
                       help="only number N; may be given several times")
    which.add_argument("-c", "--command", action="append", default=[], metavar="NAME",
                       help="only those of this command, or event of the client; a shell pattern; may be given several "
                            "times")
    which.add_argument("-x", "--except", action="append", default=[], metavar="NAME", dest="excepted",
                       help="not those of this command, as above")
    which.add_argument("-g", "--grep", metavar="TEXT",
                       help="only those that did something with TEXT: a word of a shell line, a parameter that had "
                            "changed, an address, or a prefix and what is in it")
    which.add_argument("-s", "--since", metavar="WHEN",
                       help="only those at work since WHEN: an uptime in seconds, 10m (s, m, h, d) before the log's "
                            "newest line, 17:03 or 17:03:20 by the clock, or boot")
    which.add_argument("-u", "--until", metavar="WHEN", help="only those at work until WHEN, as above")
    which.add_argument("-n", "--last", metavar="N",
                       help=f"the newest N (default {USUALLY}), with --slow the slowest N (default {SLOWEST})")
    which.add_argument("-a", "--all", action="store_true", help="all, however many")
    how = words.add_argument_group("how much of each")
    how.add_argument("-b", "--brief", action="store_true", help="one line each, and what failed or was looked for")
    how.add_argument("-l", "--lines", action="store_true", help="every line of the log, not only shell lines")
    how.add_argument("-p", "--parameters", action="store_true", help="every parameter, not only those that changed")
    how.add_argument("--slow", action="store_true", help="those that took longest, first")
    how.add_argument("-t", "--clock", action="store_true",
                     help="times of day instead of uptimes, as --since 17:03 has them")
    form = words.add_argument_group("other forms")
    forms = form.add_mutually_exclusive_group()
    forms.add_argument("--json", dest="form", action="store_const", const="json",
                       help="JSON, of all runs unless -n is given")
    forms.add_argument("--svg", dest="form", action="store_const", const="svg", help="a picture of the timeline")
    forms.add_argument("--html", dest="form", action="store_const", const="html",
                       help="a page with the timeline and each run's shell lines")
    form.add_argument("-o", "--output", metavar="FILE", help="write there instead of to standard output")
    form.add_argument("--color", choices=("auto", "always", "never"), default="auto", metavar="WHEN",
                      help="auto (default: on a terminal, unless NO_COLOR is set), always, never")
    words.add_argument("-h", "--help", action="help", help="this text")
    words.add_argument("--version", action="version", help="the version", version="ipv6trace (ipv6ctl) " + version())
    return words


def version():
    with contextlib.suppress(OSError):
        with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "version"), encoding="ascii") as file:
            return file.read().strip()
    return "of the source tree"


def main(arguments=None):
    asked = parser().parse_args(arguments)
    check(asked)
    try:
        run(asked)
        return 0
    except KeyboardInterrupt:
        return 130
    except BrokenPipeError:         # the reader has seen enough
        with contextlib.suppress(OSError):
            os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
        return 0
    except OSError as error:
        place = error.filename if error.filename is not None else " ".join(asked.logs) or DEFAULT_LOG
        more = "" if asked.logs or error.filename != DEFAULT_LOG else "; name a log, or - for standard input"
        print(f"ipv6trace: {shown(place)}: {error.strerror or error}{more}", file=sys.stderr)
        return UNREADABLE


def check(asked):
    """Adds `moments`; ends the program when the options make no sense."""
    asked.moments = {}
    for option, text in (("since", asked.since), ("until", asked.until)):
        moment = asked.moments[option] = moment_of(text) if text is not None else None
        if text is not None and (moment is None or option == "until" and moment[0] == "boot"):
            parser().error(f"--{option} {text}: neither an uptime in seconds, nor a time like 10m or 17:03"
                           + (", nor boot" if option == "since" else ""))
    if asked.last is not None:
        asked.last = number(f"--last {asked.last}", asked.last)
    asked.numbers = {number(f"--invocation {text}", text.removeprefix("#")) for text in asked.invocation}
    if asked.last is not None and asked.all:
        parser().error("--last and --all contradict each other")
    if asked.grep == "":
        parser().error("--grep: nothing to look for")
    if asked.form in ("svg", "html") and asked.output is None and sys.stdout.isatty():
        parser().error(f"--{asked.form} is not for a terminal: add -o FILE")


def number(option, text):
    if not text.isascii() or not text.isdigit() or not 1 <= int(text[:12]):
        parser().error(f"{option}: not a number above 0")
    return int(text[:12])


def run(asked):
    with opened(asked.logs or [DEFAULT_LOG]) as file:
        if asked.output is not None and any(is_same(asked.output, path) for path in asked.logs or [DEFAULT_LOG]):
            parser().error(f"{asked.output} is the log itself")
        by_clock = [f"--{option} {getattr(asked, option)}" for option, moment in asked.moments.items()
                    if moment and moment[0] == "clock"] + ["--clock"] * asked.clock
        if by_clock and file.written is None:
            parser().error(f"{by_clock[0]}: only a file says when its last line came; name the log, or an uptime")
        log = read_source(file.source)
        clock = Clock.of(file.written, log.last_uptime) if by_clock else None
        window = Window(**asked.moments, last_uptime=log.last_uptime, clock=clock)
        history = History(log)
        text = as_text(os.fsencode(asked.grep or ""))       # as the log's, whatever the locale
        deeds = Deeds(Wanted(text), history, asked.lines, asked.parameters) if text else None
        usually = 0 if asked.all or asked.form == "json" else SLOWEST if asked.slow else USUALLY
        selection = Selection(log, asked.command, window, asked.failed, asked.last or usually, asked.excepted, deeds,
                              asked.slow, asked.numbers)
        selection.notes[:0] = file.notes
        with output(asked.output) as out:
            if asked.form == "json":
                write_json(log, history, file.name, selection, out, asked.lines)
            elif asked.form:
                out.write((draw_svg if asked.form == "svg" else draw_page)(log, file.name, selection))
            else:
                style = "brief" if asked.brief else "all" if asked.lines else "shell"
                paint = Paint(wants_colors(asked.color, out))
                Listing(log, history, paint, out, style, asked.parameters, clock, deeds).write(file.name, selection)


def is_same(one, other):
    with contextlib.suppress(OSError):
        return other != "-" and os.path.samefile(one, other)
    return False


@contextlib.contextmanager
def output(path):
    """What the locale cannot write is written as an escape."""
    if path is None:
        sys.stdout.reconfigure(errors="backslashreplace")
        yield sys.stdout
        sys.stdout.flush()
    else:
        with open(path, "w", encoding="utf-8", errors="backslashreplace") as out:
            yield out

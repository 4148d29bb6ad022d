"""The command line of ipv6trace."""
import argparse
import contextlib
import io
import os
import stat
import sys

from ipv6trace.as_json import write_json
from ipv6trace.listing import Listing
from ipv6trace.log_reader import read_source
from ipv6trace.log_source import Source
from ipv6trace.parameters import History
from ipv6trace.picture import draw_page, draw_svg
from ipv6trace.selection import Selection, since_of, uptime_of_clock
from ipv6trace.terminal import Paint, shown, wants_colors

DEFAULT_LOG = "/tmp/ipv6.log"
USUALLY = 50                # invocations that are shown when nothing else is asked for
WRONG_USE, UNREADABLE = 2, 1


class Parser(argparse.ArgumentParser):
    def error(self, message):
        print(f"ipv6trace: {shown(message)}; ipv6trace --help", file=sys.stderr)
        sys.exit(WRONG_USE)


def parser():
    words = Parser(prog="ipv6trace", allow_abbrev=False, add_help=False,
                   usage="ipv6trace [OPTION]... [LOG]",
                   description="Shows what the runs of ipv6ctl did, from its diagnostic log: failures first, each run "
                               "with its shell lines and their status and the parameters that changed.")
    words.add_argument("log", nargs="?", metavar="LOG", default=DEFAULT_LOG,
                       help=f"the log (default {DEFAULT_LOG}); - is standard input")
    which = words.add_argument_group("which runs")
    which.add_argument("-f", "--failed", action="store_true",
                       help="only those that failed, did not end, or had a shell line that failed")
    which.add_argument("-c", "--command", action="append", default=[], metavar="NAME",
                       help="only those of this command; a shell pattern; may be given several times")
    which.add_argument("-s", "--since", metavar="WHEN",
                       help="only those at work since WHEN: an uptime in seconds, 10m (s, m, h, d) before the log's "
                            "newest run, 17:03 or 17:03:20 by the clock, or boot")
    which.add_argument("-n", "--last", type=int, metavar="N", help=f"the newest N (default {USUALLY})")
    which.add_argument("-a", "--all", action="store_true", help="all, however many")
    how = words.add_argument_group("how much of each")
    how.add_argument("-b", "--brief", action="store_true", help="one line each")
    how.add_argument("-l", "--lines", action="store_true", help="every line of the log, not only shell lines")
    how.add_argument("-p", "--parameters", action="store_true", help="every parameter, not only those that changed")
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
    words.add_argument("--version", action="version", version="ipv6trace (ipv6ctl) " + version())
    return words


def version():
    with contextlib.suppress(OSError):
        with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "version"), encoding="ascii") as file:
            return file.read().strip()
    return "of the source tree"


def main(arguments=None):
    asked = parser().parse_args(arguments)
    try:
        return run(asked, check(asked))
    except KeyboardInterrupt:
        return 130
    except BrokenPipeError:         # the reader has seen enough
        with contextlib.suppress(OSError):
            os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
        return 0
    except OSError as error:
        place = error.filename if error.filename is not None else asked.log
        print(f"ipv6trace: {shown(place)}: {error.strerror or error}", file=sys.stderr)
        return UNREADABLE


def check(asked):
    """The moment of --since; ends the program when the options make no sense."""
    since = since_of(asked.since) if asked.since is not None else None
    if asked.since is not None and since is None:
        parser().error(f"--since {asked.since}: neither an uptime in seconds, nor a time like 10m or 17:03, nor boot")
    if asked.last is not None and asked.last < 1:
        parser().error(f"--last {asked.last}: not a number of runs")
    if asked.last is not None and asked.all:
        parser().error("--last and --all contradict each other")
    if asked.form in ("svg", "html") and asked.output is None and sys.stdout.isatty():
        parser().error(f"--{asked.form} is not for a terminal: add -o FILE")
    return since


def run(asked, since):
    with open_log(asked.log) as file:
        same = asked.output is not None and os.path.exists(asked.output) and asked.log != "-" \
            and os.path.samefile(asked.output, asked.log)
        if same:
            parser().error(f"{asked.output} is the log itself")
        by_clock = since is not None and since[0] == "clock"
        if by_clock and not is_plain(file):
            parser().error(f"--since {asked.since}: only a file says when its last line came; name the log, or an "
                           "uptime")
        written = os.fstat(file.fileno()).st_mtime if by_clock else 0   # before it is read: the log may grow
        log = read_source(Source(file) if is_plain(file) else Source.of_stream(file))
        last = asked.last or (0 if asked.all or asked.form == "json" else USUALLY)
        note = None
        if by_clock:
            since, note = uptime_of_clock(since[1], written, log.last_uptime)
        selection = Selection(log, asked.command, since, asked.failed, last)
        selection.notes[:0] = [note] if note else []
        name = "standard input" if asked.log == "-" else asked.log
        with output(asked.output) as out:
            write(asked, log, name, selection, out)
    return 0


def write(asked, log, name, selection, out):
    history = History(log)
    if asked.form == "json":
        write_json(log, history, name, selection, out, asked.lines)
    elif asked.form == "svg":
        out.write(draw_svg(log, name, selection))
    elif asked.form == "html":
        out.write(draw_page(log, name, selection))
    else:
        style = "brief" if asked.brief else "all" if asked.lines else "shell"
        paint = Paint(wants_colors(asked.color, out))
        Listing(log, history, paint, out, style, asked.parameters).write(name, selection)


def open_log(path):
    return contextlib.nullcontext(sys.stdin.buffer) if path == "-" else open(path, "rb")


def is_plain(file):
    try:
        return stat.S_ISREG(os.fstat(file.fileno()).st_mode)
    except (OSError, io.UnsupportedOperation):
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

"""The command line of ipv6rehearse."""
import argparse
import contextlib
import os
import shlex
import signal
import sys

from ipv6recorder.private_root import COMMANDS
from ipv6trace.terminal import Paint, wants_colors

from .as_json import as_json
from .inputs import variables
from .listing import Listing
from .places import RunFailed, Unusable, demand_tools, enter_own_namespaces, version
from .rehearsal import private_folder, rehearse
from .surroundings import ADVERTISEMENTS, delegated
from .words import meant, shown

GOOD, BAD, UNUSABLE = 0, 1, 2
DEFAULT_COMMAND = "ipv6_lan_restart"


class Parser(argparse.ArgumentParser):
    def error(self, message):
        print(f"ipv6rehearse: {shown(message)}; ipv6rehearse --help", file=sys.stderr)
        sys.exit(UNUSABLE)


def parser():
    words = Parser(prog="ipv6rehearse", allow_abbrev=False, add_help=False, usage="ipv6rehearse [OPTION]... [COMMAND [ARGUMENT]...]",
                   description="Shows what a command of ipv6ctl would do with somebody's settings: the program runs in a "
                               "throw-away root in which every outside program only notes how it was called. Nothing else of "
                               "the machine changes.")
    what = words.add_argument_group("what is run")
    what.add_argument("call", metavar="COMMAND [ARGUMENT]...", nargs="*",
                      help=f"the command and its arguments (default {DEFAULT_COMMAND})")
    what.add_argument("-c", "--command", metavar="NAME", help="the same: the command")
    what.add_argument("-a", "--args", metavar="WORDS", help="and its arguments, in one word")
    what.add_argument("-s", "--settings", metavar="FILE",
                      help="the settings, as \"ccfg_cli export\" writes them; - is standard input (default: this machine's "
                           "store, or where there is none the factory settings)")
    what.add_argument("--set", metavar="KEY@SECTION=VALUE", action="append", default=[],
                      help="one setting that is different; may be given several times")
    what.add_argument("--delegated", metavar="PREFIX/LENGTH", help="as if the provider had delegated this prefix")
    what.add_argument("-e", "--env", metavar="NAME=VALUE", action="append", default=[],
                      help="a variable of the DHCPv6 client, such as reason=BOUND6; may be given several times")
    what.add_argument("--env-file", metavar="FILE", help="such variables, one a line or as in /proc/PID/environ")
    what.add_argument("--continue", metavar="FOLDER", dest="resume",
                      help="go on with the store and the files that a rehearsal with --keep has left")
    around = words.add_argument_group("what it finds")
    around.add_argument("--state", metavar="FOLDER",
                        help="take the files that earlier runs left in it (default: /tmp with this machine's store, otherwise none)")
    around.add_argument("--client", action="store_true", help="a DHCPv6 client runs")
    around.add_argument("--advertised", metavar="WHAT", choices=list(ADVERTISEMENTS), default="managed",
                        help="what the WAN's router advertises: managed (the default), other or none")
    around.add_argument("--ip4", metavar="ADDRESS[/LENGTH]", help="the WAN's IPv4 address")
    around.add_argument("--mac", metavar="INTERFACE=ADDRESS", action="append", default=[], help="an interface's hardware address")
    around.add_argument("--answer", metavar="PROGRAM=FILE", action="append", default=[],
                        help="what an outside program says; the first of its arguments may stand behind it: \"ip -6 neigh=FILE\"")
    around.add_argument("--fail", metavar="PROGRAM[=STATUS]", action="append", default=[], help="an outside program that fails")
    how = words.add_argument_group("what is shown")
    how.add_argument("-b", "--brief", action="store_true", help="without the texts of the files")
    how.add_argument("-d", "--diff", action="store_true", help="files as their difference to those that are there now")
    how.add_argument("-l", "--log", action="store_true", help="also what the program writes into its log")
    how.add_argument("-q", "--quiet", action="store_true", help="only what is wrong; nothing when all is good")
    how.add_argument("-j", "--json", action="store_true", help="JSON")
    how.add_argument("-k", "--keep", action="store_true", help="keep the root and say where it is")
    how.add_argument("--color", choices=("auto", "always", "never"), default="auto", metavar="WHEN",
                     help="auto, always or never")
    how.add_argument("-h", "--help", action="help", help="this")
    how.add_argument("--version", action="version", version=f"ipv6rehearse (ipv6ctl) {version()}", help="the version")
    return words


def checked(arguments):
    asked = parser().parse_intermixed_args(arguments)
    if asked.call and (asked.command is not None or asked.args is not None):
        parser().error(f"{asked.call[0]}: the command is given twice, there is --command or --args too")
    try:
        asked.words = asked.call[1:] if asked.call else shlex.split(asked.args or "")
    except ValueError as error:
        parser().error(f"--args: {error}")
    named = asked.call[0] if asked.call else DEFAULT_COMMAND if asked.command is None else asked.command
    asked.command = named.rsplit("/", 1)[-1]
    if asked.command not in COMMANDS:
        parser().error(f"{named}: {no_command(named)}")
    if asked.resume is not None and (asked.settings is not None or asked.state is not None):
        parser().error("--continue has settings and state of its own")
    if [asked.settings, asked.env_file, *(text.partition("=")[2] for text in asked.answer)].count("-") > 1:
        parser().error("standard input cannot be two things")
    if asked.json and (asked.quiet or asked.diff or asked.brief or asked.log):
        parser().error("--json has everything; --quiet, --diff, --brief and --log are for the text")
    return asked


def no_command(named):
    if os.path.isfile(named):
        return "no command; a file of settings is given with --settings"
    guess = meant(named, COMMANDS)
    return f"no command; did you mean {guess}?" if guess else f"no command; there are {', '.join(sorted(COMMANDS))}"


def end_on_signals():
    def end(number, _):
        sys.exit(128 + number)
    signal.signal(signal.SIGINT, signal.default_int_handler)
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, end)


def main(arguments=None):
    asked = checked(arguments)
    end_on_signals()
    try:
        if sys.stdout is None:
            raise Unusable("standard output is closed")
        demand_tools()
        enter_own_namespaces()
        asked.prefix = delegated(asked.delegated)
        found, passed_over = variables(asked.env, asked.env_file)
        if passed_over:
            print(f"ipv6rehearse: passed over: {', '.join(passed_over)}", file=sys.stderr)
        with private_folder(asked.keep) as folder:
            rehearsal = rehearse(asked, found, folder)
            kept = str(folder) if asked.keep else None
            tell(asked, rehearsal, kept)
    except Unusable as error:
        print(f"ipv6rehearse: {shown(error)}", file=sys.stderr)
        return UNUSABLE
    except RunFailed as error:
        print(f"ipv6rehearse: {shown(error)}", file=sys.stderr)
        return BAD
    except BrokenPipeError:         # the reader has seen enough
        with contextlib.suppress(OSError):
            os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
        return GOOD if rehearsal.good else BAD
    except KeyboardInterrupt:
        return 130
    except OSError as error:
        where = f"{shown(error.filename)}: " if error.filename else ""
        print(f"ipv6rehearse: {where}{error.strerror or error}", file=sys.stderr)
        return UNUSABLE
    return GOOD if rehearsal.good else BAD


def tell(asked, rehearsal, kept):
    sys.stdout.reconfigure(errors="backslashreplace")
    try:
        if asked.json:
            sys.stdout.write(as_json(rehearsal, kept))
        else:
            Listing(Paint(wants_colors(asked.color, sys.stdout)), sys.stdout).write(rehearsal, asked)
            if kept:
                print(f"\nThe root is kept: {kept}\n  the next command in it: ipv6rehearse --continue {shlex.quote(kept)} COMMAND")
        sys.stdout.flush()
    except BrokenPipeError:
        raise
    except OSError as error:
        raise Unusable(f"standard output: {error.strerror}") from error

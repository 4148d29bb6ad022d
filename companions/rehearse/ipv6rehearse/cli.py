"""The command line of ipv6rehearse."""
import argparse
import contextlib
import os
import shlex
import signal
import sys

from ipv6recorder.private_root import COMMANDS
from ipv6trace.terminal import Paint, shown, wants_colors

from .as_json import as_json
from .inputs import variables
from .listing import Listing
from .places import RunFailed, Unusable, demand_tools, enter_own_namespaces, version
from .rehearsal import private_folder, rehearse
from .surroundings import ADVERTISEMENTS, delegated

GOOD, BAD, UNUSABLE = 0, 1, 2
DEFAULT_COMMAND = "ipv6_lan_restart"


class Parser(argparse.ArgumentParser):
    def error(self, message):
        print(f"ipv6rehearse: {shown(message)}; ipv6rehearse --help", file=sys.stderr)
        sys.exit(UNUSABLE)


def parser():
    words = Parser(prog="ipv6rehearse", allow_abbrev=False, add_help=False, usage="ipv6rehearse [OPTION]...",
                   description="Shows what a command of ipv6ctl would do with somebody's settings: the program runs in a "
                               "throw-away root in which every outside program only notes how it was called. Nothing else of "
                               "the machine changes.")
    what = words.add_argument_group("what is run")
    what.add_argument("-c", "--command", metavar="NAME", default=DEFAULT_COMMAND,
                      help=f"the command (default {DEFAULT_COMMAND})")
    what.add_argument("-a", "--args", metavar="WORDS", default="", help="its arguments, in one word")
    what.add_argument("-s", "--settings", metavar="FILE",
                      help="the settings, as \"ccfg_cli export\" writes them; - is standard input (default: this machine's "
                           "store, or where there is none the factory settings)")
    what.add_argument("--set", metavar="KEY@SECTION=VALUE", action="append", default=[],
                      help="one setting that is different; may be given several times")
    what.add_argument("--delegated", metavar="PREFIX/LENGTH", default="",
                      help="as if the provider had delegated this prefix")
    what.add_argument("-e", "--env", metavar="NAME=VALUE", action="append", default=[],
                      help="a variable of the DHCPv6 client, such as reason=BOUND6; may be given several times")
    what.add_argument("--env-file", metavar="FILE", help="such variables, one a line or as in /proc/PID/environ")
    around = words.add_argument_group("what it finds")
    around.add_argument("--state", metavar="FOLDER", help="take the files that earlier runs left in it, as in /tmp")
    around.add_argument("--advertised", metavar="WHAT", choices=sorted(ADVERTISEMENTS), default="managed",
                        help="what the WAN's router advertises: managed (the default), other or none")
    around.add_argument("--ip4", metavar="ADDRESS[/LENGTH]", help="the WAN's IPv4 address")
    how = words.add_argument_group("what is shown")
    how.add_argument("-d", "--diff", action="store_true", help="files as their difference to those that are there now")
    how.add_argument("-q", "--quiet", action="store_true", help="only what is wrong; nothing when all is good")
    how.add_argument("-j", "--json", action="store_true", help="JSON")
    how.add_argument("-k", "--keep", action="store_true", help="keep the root and say where it is")
    how.add_argument("--color", choices=("auto", "always", "never"), default="auto", metavar="WHEN",
                     help="auto, always or never")
    how.add_argument("-h", "--help", action="help", help="this")
    how.add_argument("--version", action="version", version=f"ipv6rehearse (ipv6ctl) {version()}", help="the version")
    return words


def checked(arguments):
    asked = parser().parse_args(arguments)
    if asked.command not in COMMANDS:
        parser().error(f"--command {asked.command}: there are {', '.join(sorted(COMMANDS))}")
    try:
        asked.words = shlex.split(asked.args)
    except ValueError as error:
        parser().error(f"--args: {error}")
    if asked.settings == "-" and asked.env_file == "-":
        parser().error("standard input cannot be both the settings and the variables")
    if asked.json and (asked.quiet or asked.diff):
        parser().error("--json has everything; --quiet and --diff are for the text")
    return asked


def end_on_signals():
    def end(number, _):
        sys.exit(128 + number)
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, end)


def main(arguments=None):
    asked = checked(arguments)
    end_on_signals()
    try:
        demand_tools()
        enter_own_namespaces()
        asked.delegated = delegated(asked.delegated)
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
        print(f"ipv6rehearse: {shown(error.filename or 'it')}: {error.strerror or error}", file=sys.stderr)
        return UNUSABLE
    return GOOD if rehearsal.good else BAD


def tell(asked, rehearsal, kept):
    sys.stdout.reconfigure(errors="backslashreplace")
    if asked.json:
        sys.stdout.write(as_json(rehearsal, kept))
    else:
        Listing(Paint(wants_colors(asked.color, sys.stdout)), sys.stdout).write(rehearsal, asked.diff, asked.quiet)
        if kept:
            print(f"\nThe root is kept: {kept}")
    sys.stdout.flush()

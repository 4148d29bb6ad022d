"""Where the programs and files are that a rehearsal needs, and what of them is missing."""
import os
import pathlib
import shutil
import subprocess
import sys

from ipv6recorder.private_root import Template

HERE = pathlib.Path(__file__).resolve().parent
INSIDE = "IPV6REHEARSE_INSIDE"      # set for the tool that this one has started again as root of its own namespaces
STORE = "/etc/config/ccfg.db"
FACTORY = "/etc/config/ccfg.factory"
SOURCE_TREE = HERE.parents[2]


class Unusable(Exception):
    """Something that was given, or that the machine lacks, makes a rehearsal impossible."""


class RunFailed(Exception):
    """The program ran, but there is nothing to tell of it."""


def from_source_tree():
    return HERE.parent.name == "rehearse" and (SOURCE_TREE / "CMakeLists.txt").is_file()


def _installed(path):
    """A file below the folder that this package is installed in (/usr, as a rule), else the one in /usr."""
    beside = HERE.parents[2] / path
    return beside if beside.exists() else pathlib.Path("/usr") / path


def template():
    """The recorder's template of the private root, on the installed program or on that of the build folder."""
    if from_source_tree():
        build = pathlib.Path(os.environ.get("IPV6CTL_BUILD", SOURCE_TREE / "build")).resolve()
        program, store_tool, small = build / "ipv6ctl", build / "ccfg_cli", build / "companions/recorder"
        advice = "build first (make build), or set IPV6CTL_BUILD"
    else:
        program, store_tool = _installed("sbin/ipv6ctl"), _installed("sbin/ccfg_cli")
        small = _installed("lib/ipv6ctl/recorder")
        advice = "install the packages ipv6ctl and ipv6ctl-stock"
    found = [program, store_tool, small / "recorder", small / "launcher", small / "instant.so"]
    missing = [str(path) for path in found if not os.access(path, os.R_OK)]
    if missing:
        raise Unusable(f"missing: {', '.join(missing)}; {advice}")
    return Template(*found)


def factory_settings():
    if os.path.isfile(FACTORY) or not from_source_tree():
        return pathlib.Path(FACTORY)
    return SOURCE_TREE / "platform/stock/kit/root/etc/config/ccfg.factory"


def version():
    if from_source_tree():
        for line in (SOURCE_TREE / "CMakeLists.txt").read_text(encoding="utf-8").splitlines():
            if line.startswith("project("):
                return line.split("VERSION ")[1].split()[0]
    return (HERE / "version").read_text(encoding="ascii").strip()


def demand_tools():
    """Ends with Unusable when a program is missing that every rehearsal needs; names the packages."""
    needed = {"bwrap": "bubblewrap", "ip": "iproute2"}
    if os.geteuid() != 0:
        needed["unshare"] = "util-linux"
    path = os.environ.get("PATH", "") + ":/usr/sbin:/sbin:/usr/bin:/bin"
    missing = [f"{program} (package {package})" for program, package in needed.items() if not shutil.which(program, path=path)]
    if missing:
        raise Unusable(f"missing: {', '.join(missing)}")


def enter_own_namespaces():
    """An ordinary user becomes root of a user and a network namespace of his own: starts this process's program again."""
    if os.geteuid() == 0 or INSIDE in os.environ:
        return
    words = ["unshare", "--user", "--map-root-user", "--net"]
    tried = subprocess.run([*words, "true"], capture_output=True, text=True, check=False)
    if tried.returncode != 0:
        raise Unusable("an ordinary user needs user namespaces, and this machine does not allow them "
                       f"({tried.stderr.strip()}); run it as root")
    os.execvpe(words[0], [*words, sys.executable, os.path.abspath(sys.argv[0]), *sys.argv[1:]], {**os.environ, INSIDE: "1"})


def demand_room_for_programs(folder):
    if os.statvfs(folder).f_flag & os.ST_NOEXEC:
        raise Unusable(f"{folder}: programs cannot be started there (noexec); set TMPDIR to another folder")

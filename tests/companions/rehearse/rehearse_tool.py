"""ipv6rehearse as its tests run it: from the source tree, on the programs of the build folder."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile

REPOSITORY = pathlib.Path(__file__).resolve().parents[3]
BUILD = pathlib.Path(os.environ.get("IPV6CTL_BUILD", REPOSITORY / "build")).resolve()
REHEARSE = REPOSITORY / "companions/rehearse"
NEEDED = ("ipv6ctl", "ccfg_cli", "companions/recorder/recorder", "companions/recorder/launcher", "companions/recorder/instant.so")
DELEGATED = ("--delegated", "3fff:1234:0:5600::/56")
NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]


def open_to_everybody(path):
    return all(each.stat().st_mode & 0o5 == 0o5 for each in [path, *path.parents])


def copied_for_everybody(folder):
    """The tree and the build folder as far as the tool needs them, below a folder that is removed when the tests end."""
    place = pathlib.Path(folder.name)
    place.chmod(0o755)
    shutil.copy2(REPOSITORY / "CMakeLists.txt", place)      # a source tree is known by it, and has its version from it
    for name in ("companions", "platform/stock/kit"):
        shutil.copytree(REPOSITORY / name, place / name, symlinks=True)
    for name in NEEDED:
        (place / "build" / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(BUILD / name, place / "build" / name)
    return place, place / "build"


# Some tests are an ordinary user's, and root's home is closed to one. Nothing is copied before there is a build: its lack is told elsewhere.
TREE, PROGRAMS = REPOSITORY, BUILD
if all((BUILD / name).exists() for name in NEEDED) and not (open_to_everybody(REPOSITORY) and open_to_everybody(BUILD)):
    _COPY = tempfile.TemporaryDirectory(prefix="ipv6rehearse-tree-")
    TREE, PROGRAMS = copied_for_everybody(_COPY)
TOOL = TREE / "companions/rehearse/bin/ipv6rehearse"
FACTORY = TREE / "platform/stock/kit/root/etc/config/ccfg.factory"


class RehearseTool:
    """`run` gives status, output and errors; temporary files go below `folder/tmp`, where nothing may stay."""

    def __init__(self, folder):
        self.folder = folder
        self.temporary = folder / "tmp"
        self.temporary.mkdir()
        self.temporary.chmod(0o1777)
        self.environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "TMPDIR": str(self.temporary), "LC_ALL": "C.UTF-8",
                            "IPV6CTL_BUILD": str(PROGRAMS), "TESA_STORE": "/nowhere/ccfg.db"}

    def settings(self, *lines, name="settings.txt"):
        """The factory settings with these lines instead of theirs, in a file."""
        path = self.folder / name
        keys = {os.fsencode(line.partition("=")[0]) for line in lines}
        kept = [line for line in FACTORY.read_bytes().splitlines(keepends=True) if line.partition(b"=")[0] not in keys]
        text = "".join(f"{line}\n" for line in lines).encode("utf-8", "surrogateescape")
        path.write_bytes(b"".join(kept) + text)
        return str(path)

    def run(self, *words, given=b"", starter=(), **environment):
        done = subprocess.run([*starter, str(TOOL), *words], input=given, capture_output=True, check=False, timeout=120,
                              env={**self.environment, **environment}, cwd=self.folder)
        assert list(self.temporary.iterdir()) == []
        return done.returncode, os.fsdecode(done.stdout), os.fsdecode(done.stderr)

    def json(self, *words, **options):
        """The rehearsal as JSON; its exit status has to be what it says itself."""
        status, output, errors = self.run("--json", *words, **options)
        assert status in (0, 1), errors
        found = json.loads(output)
        assert found["good"] == (status == 0)
        return found

    def refused(self, *words, **options):
        """What it says when it cannot be used like that, without "ipv6rehearse: "."""
        status, output, errors = self.run(*words, **options)
        assert (status, output) == (2, "")
        assert errors.startswith("ipv6rehearse: ") and errors.count("\n") == 1
        return errors.removeprefix("ipv6rehearse: ").removesuffix("\n")


def changes_of(found):
    """{key: value after the run} of the store."""
    return {entry["key"]: entry["after"] for entry in found["store"]}


def lines_of(found):
    return [entry["line"] for entry in found["shell_lines"]]


def file_of(found, path):
    return next(entry["text"] for entry in found["files"] if entry["path"] == path)


def verdicts_of(found):
    return {entry["path"]: entry["verdict"] for entry in found["verdicts"]}


def options_in(text):
    return set(re.findall(r"--[a-z][a-z0-9-]*", text))

"""Something else stands where a file of the program should: a link to something precious, a FIFO, a folder."""
import os

import pytest

from broken import LOG
from clean import RULESET, SILENCED, clean_run, ended_normally, steps, unexplained
from scenes import GUARD, SCENES, STATE_FILES

WAIT, UPDATE = "(pause 1000 ms)", "/usr/sbin/resolv_update.sh SYSTEM"
APPENDED = ["/tmp/dhcp6d.leases", "/var/run/dhcp6d.pid"]     # only made sure of, never written
ROUTES = {"extra_sid_1@system", "extra_gateway_1@system"}        # they go with the neighbor table
PRECIOUS = "/etc/config/precious"


def precious(number):
    return f"{PRECIOUS}/{number}"


def state(place):
    found = os.lstat(place)
    return found.st_ino, found.st_size, found.st_mode, found.st_uid, found.st_mtime_ns, place.read_bytes()


def put(gateway, path, kind, number):
    """Puts something of a kind where the file belongs."""
    text = gateway.read(path) if path in STATE_FILES else None
    if kind == "fifo":
        gateway.fifo(path)
    elif kind == "folder":
        gateway.folder(path)
    else:
        gateway.file(precious(number), text if text is not None else "precious\n")
        gateway.symlink(path, precious(number))
        if kind == "dangling link":
            gateway.remove(precious(number))


def others(paths):
    """What is not called when these files are out of reach."""
    found = [SILENCED[path] for path in paths if SILENCED[path] is not None]
    return "|".join(found) if found else None


def assert_goes_on(run, clean, paths):
    """The run is the clean one but for what needs these files."""
    seen, wanted = steps(run), steps(clean)
    if "/tmp/resolv.conf.auto" in paths and UPDATE in seen and seen[seen.index(UPDATE) - 1] == WAIT:
        at = seen.index(UPDATE)         # the file is waited for
        assert seen[at - 4:at] == [WAIT] * 4
        del seen[at - 4:at]
    assert unexplained(seen, wanted, others(paths)) == []
    assert set(run.store_changes) <= set(clean.store_changes) | ROUTES | {"ip6_tunnel_status@wan100"}


@pytest.mark.parametrize("kind", ["link", "dangling link", "fifo"])
@pytest.mark.parametrize("name", SCENES)
def test_what_stands_in_place_of_the_files_is_left_alone(new_gateway, figures, name, kind):
    clean = clean_run(new_gateway, name)
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    paths = [*SILENCED, RULESET]
    for number, path in enumerate(paths):
        put(gateway, path, kind, number)
    places = [gateway.place(precious(number)) for number in range(len(paths))]
    before = [state(place) for place in places] if kind == "link" else None
    run = SCENES[name].run(gateway)
    assert ended_normally(run)
    assert_goes_on(run, clean, SILENCED)
    if kind == "link":
        assert [state(place) for place in places] == before
    elif kind == "dangling link":
        assert [place for place in places if place.exists()] == []
    figures.add("something else in place of the files", runs=1, files=len(paths))


@pytest.mark.parametrize("name", SCENES)
def test_folders_in_place_of_the_files(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    for path in SILENCED:
        put(gateway, path, "folder", 0)
    run = SCENES[name].run(gateway)
    assert ended_normally(run)
    assert_goes_on(run, clean, SILENCED)
    figures.add("something else in place of the files", runs=1, files=len(SILENCED))


@pytest.mark.parametrize("kind", ["link", "dangling link", "fifo", "folder"])
@pytest.mark.parametrize("name", SCENES)
def test_without_a_log_everything_else_is_the_same(new_gateway, figures, name, kind):
    clean = clean_run(new_gateway, name)
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    put(gateway, LOG, kind, 0)
    before = state(gateway.place(precious(0))) if kind == "link" else None
    run = SCENES[name].run(gateway)
    assert (run.status, run.journal, run.console, run.stdout, run.stderr) == (
        1, clean.journal, clean.console, clean.stdout, clean.stderr)
    assert (run.store, run.files, run.addresses, run.switches) == (
        clean.store, clean.files, clean.addresses, clean.switches)
    assert run.log == ""
    assert before is None or state(gateway.place(precious(0))) == before
    figures.add("log or console not openable", runs=1)


@pytest.mark.parametrize("name", SCENES)
def test_without_a_console_everything_else_is_the_same(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    gateway.folder("/dev/console")
    run = SCENES[name].run(gateway)
    echoes = [line for line in clean.lines if line.startswith("echo") and line.endswith(">/dev/console")]
    assert run.lines == clean.lines
    assert [(status, line) for status, line in run.shell if line not in echoes] == [
        (status, line) for status, line in clean.shell if line not in echoes]
    assert [status for status, line in run.shell if line in echoes] == [2] * len(echoes)
    assert (run.status, run.journal, run.store, run.files, run.addresses, run.switches) == (
        clean.status, clean.journal, clean.store, clean.files, clean.addresses, clean.switches)
    figures.add("log or console not openable", runs=1)


@pytest.mark.parametrize("name", SCENES)
def test_files_of_another_user_are_used_as_they_would_be(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    for path in [*SILENCED, RULESET, LOG]:
        if gateway.read(path) is None and path not in (GUARD, LOG):
            gateway.file(path, "" if path in APPENDED else "of another user\n" * 1000)
        if gateway.read(path) is not None:
            os.chown(gateway.place(path), 12345, 12345)
            gateway.place(path).chmod(0o555)
    run = SCENES[name].run(gateway)
    assert (run.status, run.shell, run.journal, run.log) == (clean.status, clean.shell, clean.journal, clean.log)
    assert (run.store, run.addresses, run.switches) == (clean.store, clean.addresses, clean.switches)
    assert {path: run.files[path] for path in clean.files} == clean.files
    figures.add("files of another user", runs=1, files=len(SILENCED))


@pytest.mark.parametrize("name", [name for name in SCENES if name in (
    "wan6c_restart", "ipv6rd_restart", "ipv6_lan_restart", "zel_dhcp6c_update EFFECT6")])
def test_a_ruleset_that_cannot_be_written_ends_the_run_without_a_commit(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    gateway.folder(RULESET)
    run = SCENES[name].run(gateway)
    last = clean.journal.index("ip6tables-restore /tmp/.ip6t")
    assert run.journal == clean.journal[:last]
    assert run.log_lines[-1] == "[save2file6][1000] Can't open /tmp/.ip6t"
    assert run.status == 1
    # What `ccfg_cli` has done in between stands.
    assert run.store_changes == {"extra_gateway_2@system": ("fe80::dead", None), "extra_sid_2@system": ("11", None),
                                 "ip6_pre_manual_gid@lan1": ("1", "0")}
    figures.add("something else in place of the files", runs=1, files=1)

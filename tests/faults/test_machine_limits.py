"""The machine has run out of something: room in /tmp, processes, descriptors, memory; or the caller withholds it."""
import ctypes
import os
import random
import signal

import pytest

from clean import RULESET, SILENCED, clean_run, ended_normally, programs, steps, torn_lines, unexplained
from figures import LONG
from scenes import SCENES

NO_TRANSACTION = "Failed to start a transaction to zel middle\n"
CLONE_NEWNS, MS_REC, MS_PRIVATE, MNT_DETACH = 0x20000, 0x4000, 0x40000, 2
_libc = ctypes.CDLL(None, use_errno=True)


def _must(result, what):
    assert result == 0, f"{what}: {os.strerror(ctypes.get_errno())}"


def some(name, choices, count):
    """All of them in the long form, a few of them otherwise."""
    return choices if LONG else random.Random(name).sample(choices, count)


# --- /tmp

@pytest.fixture(scope="session")
def own_mounts():
    """A mount namespace for this test process, so that no mount outlives it."""
    _must(_libc.unshare(CLONE_NEWNS), "unshare")
    _must(_libc.mount(b"none", b"/", None, MS_REC | MS_PRIVATE, None), "mount /")


@pytest.fixture
def small_tmp(own_mounts):
    """Puts a full file system of a few pages under a gateway's /tmp, with `left` pages of room."""
    mounted = []

    def make(gateway, left):
        place = gateway.place("/tmp")
        kept = {entry.name: entry.read_bytes() for entry in place.iterdir()}
        _must(_libc.mount(b"none", os.fsencode(place), b"tmpfs", 0, b"size=256k"), "mount tmpfs")
        mounted.append(place)
        for name, data in kept.items():
            (place / name).write_bytes(data)
        free = os.statvfs(place)
        with open(place / "filler", "wb") as filler:
            filler.write(bytes((free.f_bavail - left) * free.f_bsize))
        assert os.statvfs(place).f_bavail == left
    yield make
    for place in mounted:
        _must(_libc.umount2(os.fsencode(place), MNT_DETACH), "umount")


# Steps that need what another step has put into a file of /tmp.
FED_BY_FILES = "|".join(pattern for pattern in SILENCED.values() if pattern is not None)
LOADER = "ip6tables-restore /tmp/.ip6t"
WAITS = "not expected: (pause 1000 ms)"             # for an IPv4 name server
# How the whole files of the daemons and of the loader begin and end.
WHOLE = {"/tmp/radvd.conf": ("interface br-lan {\n", "};\n"), RULESET: ("*filter\n", "COMMIT\n"),
         "/tmp/dhcp6d.conf": ("dhcpv6-lease-file-name ", (";\n", "}\n\n")),
         "/tmp/dhcp6c-wan.conf": ("request ", (";", ";\n"))}
ROUTES = {f"extra_{what}_{number}@system" for what in ("sid", "gateway") for number in (1, 2)}


def is_whole(path, text):
    begin, end = WHOLE[path]
    return text.startswith(begin) and text.endswith(end)


@pytest.mark.parametrize("name", SCENES)
def test_a_full_tmp_ends_no_sequence_and_leaves_no_half_of_a_file(new_gateway, small_tmp, figures, name):
    clean = clean_run(new_gateway, name)
    for path in WHOLE:
        assert path not in clean.files or is_whole(path, clean.files[path])
    for left in some(name, [0, 1, 2, 3, 4, 6, 8], 2):
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        small_tmp(gateway, left)
        run = SCENES[name].run(gateway)
        assert run.status == 1
        wrong = unexplained(steps(run), steps(clean), FED_BY_FILES)
        assert [step for step in wrong if step != WAITS] == [], left
        assert wrong.count(WAITS) in (0, 4), left
        for path in WHOLE:
            assert run.files.get(path, "") == "" or is_whole(path, run.files[path]), (path, left)
        assert run.store_before.keys() - run.store.keys() <= ROUTES, left
        assert run.switches == clean.switches, left
        figures.add("/tmp full", runs=1)


@pytest.mark.parametrize("name", SCENES)
def test_a_read_only_tmp_ends_no_sequence(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    gateway.mounts = ["--remount-ro", "/tmp"]
    run = SCENES[name].run(gateway)
    assert run.status == 1
    assert run.log == ""
    wanted = steps(clean)
    if LOADER in wanted:                    # the process ends where it cannot write the ruleset
        wanted = wanted[:wanted.index(LOADER)]
    wrong = unexplained(steps(run), wanted, FED_BY_FILES)
    assert [step for step in wrong if step != WAITS] == []
    given = gateway.plain_files()
    assert all(given[path] == text for path, text in clean_files_before(new_gateway, name).items())
    assert run.store_before.keys() - run.store.keys() <= ROUTES
    figures.add("/tmp read-only", runs=1)


def clean_files_before(new_gateway, name):
    """The files below /tmp that a scene begins with."""
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    return {path: text for path, text in gateway.plain_files().items() if path.startswith("/tmp/")}


# --- no processes

@pytest.mark.parametrize("name", SCENES)
def test_a_line_whose_process_is_refused_fails_alone(new_gateway, figures, name):
    """Every line in turn, or a few: the line is logged with -1, the rest goes on as if the line had failed."""
    clean = clean_run(new_gateway, name)
    for number in some(name, list(range(1, len(clean.lines) + 1)), min(2, len(clean.lines))):
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        gateway.refuse(f"posix_spawn:{number}:1")
        run = SCENES[name].run(gateway)
        figures.add("fork refused", runs=1)
        if run.gave_up_waiting:         # nobody said which interface the WAN is: its records are waited for without end
            assert asked_and_refused(run) == 1 and "wan_ifname=" in run.console.splitlines(), number
            continue
        assert ended_normally(run), number
        assert [status for status, _ in run.shell].count(-1) + asked_and_refused(run) <= 1, number
        assert_nothing_new(run, clean, number)
        assert run.files.get(GUARD, "0") == "0"


def assert_nothing_new(run, clean, fault):
    """The run's programs are the clean run's, without some. A route whose gateway is unknown may be added all the same:
    when the neighbor table cannot be opened, the device of the route before it holds."""
    more_routes = len(routes(run) - routes(clean))
    new = [step for step in unexplained(programs(run), programs(clean), "") if step != WAITS]
    assert new in ([], ["not expected: /usr/sbin/ip"] * more_routes), fault


def routes(run):
    return {line for line in run.lines if line.startswith("/usr/sbin/ip -6 route add ")}


GUARD = "/tmp/zel_ipv6cp_script_running"


def asked_and_refused(run):
    """How many of the lines that the program asks something by could not be run."""
    return sum(line.endswith("osSystem_GetOutput fail.") for line in run.log_lines)


@pytest.mark.parametrize("name", SCENES)
def test_no_process_at_all(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    gateway.refuse("posix_spawn:1:100000")
    run = SCENES[name].run(gateway)
    assert ended_normally(run)
    assert run.calls == []
    assert {status for status, _ in run.shell} <= {-1}
    assert torn_lines(run) == []
    assert set(run.store_changes) <= set(clean.store_changes) | {"ip6_tunnel_status@wan100"}
    assert run.files.get(GUARD, "0") == "0"
    figures.add("fork refused", runs=1)


# --- no descriptors, no memory

def assert_sound(run, clean, fault):
    """Either no transaction could be started and nothing happened, or the run came to one of its ends."""
    if run.gave_up_waiting:             # the advertisement records cannot be read: that is waited for without end
        assert run.console_lines[-1].startswith("[zel-ipv6 waninfo_main] action = 0 "), fault
        assert run.store_changes.keys() <= clean.store_changes.keys(), fault
        return 1
    assert run.status in (1, 255), fault
    if run.status == 255:
        assert run.stderr.endswith(NO_TRANSACTION), fault
        assert (run.calls, run.lines, run.store_changes) == ([], [], {}), fault
        assert run.log in ("", f"[main][1000] ^_^[{run.argv[0]}] ERROR_INTERNAL, end\n\n"), fault
        return 0
    assert torn_lines(run) == [], fault
    assert_nothing_new(run, clean, fault)
    assert run.store_before.keys() - run.store.keys() <= ROUTES, fault
    for path in WHOLE:
        assert run.files.get(path, "") == "" or is_whole(path, run.files[path]), (path, fault)
    return 1


@pytest.mark.parametrize("name", SCENES)
def test_few_descriptors(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    for count in some(name, list(range(5, 13)), 3):
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        gateway.with_fault("-n", count)
        run = SCENES[name].run(gateway)
        worked = assert_sound(run, clean, count)
        figures.add("no descriptors left", runs=1, no_transaction=1 - worked)


@pytest.mark.parametrize("name", SCENES)
def test_little_memory(new_gateway, figures, name):
    """Address space from what no program can start with up to plenty, and single refusals."""
    clean = clean_run(new_gateway, name)
    for size in some(name, [8 << 20, 12 << 20, 20 << 20, 24 << 20, 32 << 20, 64 << 20], 2):
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        gateway.with_fault("-m", size)
        run = SCENES[name].run(gateway)
        worked = assert_sound(run, clean, size)
        figures.add("no memory", runs=1, no_transaction=1 - worked)
    for call in some(name, [f"{call}:{at}:{count}" for call in ("malloc", "mmap") for at in range(1, 13)
                            for count in (1, 100000)], 4):
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        gateway.refuse(call)
        run = SCENES[name].run(gateway)
        worked = assert_sound(run, clean, call)
        figures.add("no memory", runs=1, no_transaction=1 - worked)


@pytest.mark.parametrize("call", ["socket", "pipe2", "open"])
@pytest.mark.parametrize("name", SCENES)
def test_a_refused_call_of_the_system(new_gateway, figures, name, call):
    clean = clean_run(new_gateway, name)
    for at in some(name + call, list(range(1, 41)), 1):
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        gateway.refuse(f"{call}:{at}:1")
        run = SCENES[name].run(gateway)
        worked = assert_sound(run, clean, (call, at))
        figures.add("no descriptors left", runs=1, no_transaction=1 - worked)


# --- what the caller hands down

HANDED_DOWN = {
    "no standard input": ["-c", 0], "no standard output": ["-c", 1], "no standard error": ["-c", 2],
    "no output, no error": ["-c", 1, "-c", 2], "no standard descriptor": ["-c", 0, "-c", 1, "-c", 2],
    "broken output": ["-b", 1], "broken error": ["-b", 2], "SIGPIPE ignored": ["-i", int(signal.SIGPIPE)],
    "SIGPIPE ignored, broken output": ["-i", int(signal.SIGPIPE), "-b", 1],
    "SIGCHLD ignored": ["-i", int(signal.SIGCHLD)], "SIGALRM ignored": ["-i", int(signal.SIGALRM)],
    "every signal blocked": ["-B"],
}


NO_PROCESS = (1, "kill 4242")


@pytest.mark.parametrize("fault", HANDED_DOWN)
@pytest.mark.parametrize("name", SCENES)
def test_what_the_caller_hands_down_changes_nothing(new_gateway, figures, name, fault):
    if fault not in some(name, list(HANDED_DOWN), 4):
        return
    clean = clean_run(new_gateway, name)
    gateway = new_gateway()
    SCENES[name].furnish(gateway)
    gateway.with_fault(*HANDED_DOWN[fault])
    run = SCENES[name].run(gateway)
    shell, log = list(clean.shell), clean.log
    if fault == "broken error" and NO_PROCESS in shell:     # the shell that complains there is what the signal ends
        shell[shell.index(NO_PROCESS)] = (141, NO_PROCESS[1])
        log = log.replace("[1]kill 4242", "[141]kill 4242")
    assert run.status == clean.status
    assert run.shell == shell
    assert (run.journal, run.log, run.console) == (clean.journal, log, clean.console)
    assert (run.store, run.files, run.addresses, run.switches) == (
        clean.store, clean.files, clean.addresses, clean.switches)
    figures.add("standard descriptors and signals handed down", runs=1)


@pytest.mark.parametrize("fault", ["no standard error", "no standard descriptor", "broken error"])
def test_a_message_for_nobody_does_not_change_the_end(gateway, figures, fault):
    gateway.with_fault(*HANDED_DOWN[fault])
    run = gateway.run("foo")
    assert ended_normally(run)
    gateway.file("/etc/config/ccfg.db", "this is no store\n")
    gateway._write_store = gateway._read_store = dict       # no transaction can be started
    run = gateway.run("zel_ipcp_up")
    assert run.status == 255
    assert run.log == "[main][1000] ^_^[/usr/sbin/zel_ipcp_up] ERROR_INTERNAL, end\n\n"
    assert gateway.read("/etc/config/ccfg.db") == "this is no store\n"
    figures.add("standard descriptors and signals handed down", runs=2)

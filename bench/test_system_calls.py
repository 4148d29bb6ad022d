"""What the program asks of the kernel: for a line of the log, for nothing to do, for its parameters, for no change."""
import collections

import pytest

from calls import LOG, STORE, changes_of_the_store, log_lines, names, parse
from scenes import SERVERS, lan_restart


def traced(gateway, name, *options):
    """Runs a command under strace. Returns its run and its calls, from the first one behind the loader's."""
    gateway.starter = ["/host/strace", "strace", "-s", "256", "-o", "/gw/strace", *options]
    run = gateway.run(name)
    gateway.starter = []
    return run, parse(gateway.read("/gw/strace"))


@pytest.fixture
def home(gateway):
    scene = lan_restart()
    gateway.store.update(scene.store)
    for path, text in scene.files.items():
        gateway.file(path, text)
    gateway.file("/etc/config/.glbcfg", "settings\n")
    return gateway


def test_a_line_of_the_log_is_the_uptime_an_open_a_write_and_a_close(home):
    run, calls = traced(home, "ipv6_lan_restart")
    groups = log_lines(calls)
    assert {tuple(names(group)) for group in groups} == {("sysinfo", "openat", "write", "close")}
    assert len(groups) == len(run._entries) > 100                               # pylint: disable=protected-access


def test_a_run_with_nothing_to_do(gateway):
    gateway.store["ip6_proto@wan100"] = "dhcp"
    _, calls = traced(gateway, "ipv6ctl")
    line = ["sysinfo", "openat", "write", "close"]
    guarded, released = [at for at, call in enumerate(calls) if call.name == "rt_sigaction"]
    assert names(calls[:guarded]) == [
        "openat", "close",                                      # descriptors 0 to 2 are open
        "newfstatat", "newfstatat", "openat", "newfstatat", "fstatfs", "mmap", "read", "read",      # the store
        *line]
    assert names(calls[guarded + 1:released]) == ["writev"]     # "is not support!"
    assert names(calls[released + 1:]) == ["close", "munmap", *line, "exit_group"]


def test_loading_the_parameters(home):
    _, calls = traced(home, "dhcp6c_release")
    first = next(at for at, call in enumerate(calls) if call.name == "clone3")
    last = next(at for at, call in enumerate(calls) if "pre_routing_prefix(system)" in call.args)
    loading = calls[first:last]
    opened = collections.Counter(call.path for call in loading if call.name == "openat")
    assert opened == {LOG: 61, "/dev/console": 1}
    assert names(loading).count("clone3") == 5
    assert names(loading).count("socket") == 2                  # the bridges' hardware addresses
    assert not {"fsync", "fdatasync", "rename", "unlink", "lseek"} & set(names(loading))


@pytest.mark.parametrize("command", ["ipv6_lan_restart", "zel_resolv_update", "dhcp6c_release"])
def test_a_run_that_changes_nothing_writes_nothing_to_the_store(home, command):
    home.run(command)
    home.file("/tmp/resolv.conf.auto", SERVERS["/tmp/resolv.conf.auto"])
    run, calls = traced(home, command, "-f")
    assert run.store_changes == {}
    assert changes_of_the_store(calls) == []
    assert any(call.path == STORE for call in calls)


def test_the_store_is_read_once_also_by_a_run_that_changes_it(home):
    _, calls = traced(home, "ipv6_lan_restart")
    assert changes_of_the_store(calls) != []
    assert [call.name for call in calls if call.path == STORE and call.name == "openat"] == ["openat"]


def test_a_question_to_the_store_costs_a_look_at_the_open_file(home):
    _, calls = traced(home, "dhcp6c_release")
    looks = [call for call in calls if call.name == "newfstatat"]
    assert len([call for call in looks if call.file == STORE]) > 50
    assert len([call for call in looks if call.path == STORE]) < 6          # at the beginning


def test_a_run_that_changes_something_is_seen_to_write(home):
    _, calls = traced(home, "ipv6_lan_restart", "-f")
    done = {call.split("(")[0] for call in changes_of_the_store(calls)}
    assert {"openat", "pwrite64", "fsync", "rename"} <= done


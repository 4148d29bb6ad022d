"""Invocations that overlap: the ruleset and the files of radvd and dhcpd are built and loaded by one at a time.

The program under test starts another one, the holder, before it comes to these files, and goes on when the holder has
begun to load one of them. The holder's loader ends only when the kernel says that somebody waits for a lock.
"""
import pytest

from expected_ruleset import ruleset
from expected_texts import BARE

HOLDER, OWN = "2001:db8:aaaa::", "2001:db8:bbbb::"

# Runs while the parameters are loaded, before the first lock is taken.
START_HOLDER = """
echo SN0001
[ -n "$HOLDER" ] && exit 0
cp /etc/config/ccfg.db /run/holder.db
export TESA_STORE=/run/holder.db
ccfg_cli set ip6_prefix@wan100=2001:db8:aaaa::
ccfg_cli set ip6_dns1@system=2001:db8:aaaa::
env -u LD_PRELOAD HOLDER=1 sh -c 'LD_PRELOAD=/tools/instant.so /usr/sbin/ipv6_lan_restart > /dev/null 2>&1 &'
until [ -e /run/loading ]; do ls / > /run/scratch; done
"""

LOAD = """
[ -n "$HOLDER" ] || { cp FILE /run/own; exit 0; }
cp FILE /run/before
echo > /run/loading
until grep -q -e '-> POSIX' /.proc/locks; do ls / > /run/scratch; done
cp FILE /run/after
THEN
"""

KILL_HOLDER = "read -r _ _ _ parent _ < /.proc/$PPID/stat; kill -9 $parent"


@pytest.fixture
def busy(gateway):
    gateway.store.update(BARE)
    gateway.store.update({"ip6_prefix@wan100": OWN, "ip6_pfxlen@wan100": "64", "ip6_dns1@system": OWN,
                          "ip6_dhcp6c_prefix_addr@system": "2001:db8:1234:5600::", "ip6_proto@wan100": "static",
                          "ip6_dhcp6c_prefix_length@system": "56"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 10.0.0.1\n")
    gateway.script("uboot_env", sh=START_HOLDER)
    return gateway


def overlap(gateway, program, path, then=""):
    """What the holder's loader saw, before and after the other one came, and what that one's loader saw."""
    gateway.script(program, sh=LOAD.replace("FILE", path).replace("THEN", then))
    run = gateway.run("ipv6_lan_restart")
    assert run.messages("FileLock") == []
    assert run.status == 1
    stops_and_starts = [(call.env.get("HOLDER", ""), " ".join(call)) for call in run.calls
                        if call in (["killall", "radvd"], ["killall", "dhcp6d"]) or call[0] in ("radvd", "/tmp/dhcp6d")]
    whole = ["killall radvd", "killall dhcp6d", "radvd -C /tmp/radvd.conf", "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf"]
    if program == "ip6tables-restore" or not then:
        assert stops_and_starts == [("1", line) for line in whole] + [("", line) for line in whole]
    return [run.files["/var/run/" + name] for name in ("before", "after", "own")]


def rules_for(prefix):
    return ruleset(echo=[f"-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d {prefix}/64 -j REJECT"],
                   delegated="2001:db8:1234:5600::/56")


def test_the_ruleset_is_built_and_loaded_by_one_at_a_time(busy):
    assert overlap(busy, "ip6tables-restore", "/tmp/.ip6t") == [rules_for(HOLDER), rules_for(HOLDER), rules_for(OWN)]


@pytest.mark.parametrize("program, path, statement", [
    ("radvd", "/tmp/radvd.conf", "RDNSS {}"), ("dhcp6d", "/tmp/dhcp6d.conf", "option dhcp6.name-servers {};")])
def test_a_daemon_s_file_is_built_and_loaded_by_one_at_a_time(busy, program, path, statement):
    before, after, own = overlap(busy, program, path)
    assert before == after
    assert before == own.replace(statement.format(OWN), statement.format(HOLDER)) != own


@pytest.mark.parametrize("program, path", [("ip6tables-restore", "/tmp/.ip6t"), ("radvd", "/tmp/radvd.conf"),
                                           ("dhcp6d", "/tmp/dhcp6d.conf")])
def test_a_holder_that_is_killed_lets_the_next_one_in(busy, program, path):
    own = overlap(busy, program, path, then=KILL_HOLDER)[-1]
    busy.remove("/var/run/own")
    busy.script("uboot_env", stdout="SN0001\n")
    busy.script(program, sh=f"cp {path} /run/own")
    assert busy.run("ipv6_lan_restart").files["/var/run/own"] == own


def test_a_lock_file_that_a_killed_run_left_is_no_hindrance(busy):
    busy.script("uboot_env", stdout="SN0001\n")
    busy.kill_program_at("ip6tables-restore")
    killed = busy.run("ipv6_lan_restart")
    assert killed.status == -9
    assert "/tmp/.ip6t.lock" in killed.files
    run = busy.run("ipv6_lan_restart")
    assert run.files["/tmp/.ip6t"] == rules_for(OWN)
    assert run.messages("FileLock") == []
    assert [path for path in run.files if path.endswith((".lock", ".new"))] == []


@pytest.mark.parametrize("program, path", [("ip6tables-restore", "/tmp/.ip6t"), ("radvd", "/tmp/radvd.conf"),
                                           ("dhcp6d", "/tmp/dhcp6d.conf")])
def test_what_is_started_under_the_lock_does_not_inherit_it(busy, program, path):
    busy.script("uboot_env", stdout="SN0001\n")
    busy.script(program, sh=f"ls {path}.lock /tmp/*.new > /run/present 2>&1; ls -l /.proc/self/fd > /run/open")
    run = busy.run("ipv6_lan_restart")
    assert f"{path}.lock\n" in run.files["/var/run/present"]
    assert ".new\n" not in run.files["/var/run/present"]
    assert "/tmp/" not in run.files["/var/run/open"]


@pytest.mark.parametrize("path", ["/tmp/.ip6t", "/tmp/radvd.conf", "/tmp/dhcp6d.conf"])
@pytest.mark.parametrize("obstacle", ["folder", "link"])
def test_without_its_lock_file_a_run_goes_on_and_says_so(busy, path, obstacle):
    busy.script("uboot_env", stdout="SN0001\n")
    clean = busy.run("ipv6_lan_restart")
    if obstacle == "folder":
        busy.folder(path + ".lock")
    else:
        busy.symlink(path + ".lock", "victim")
    run = busy.run("ipv6_lan_restart")
    assert run.lines == clean.lines
    assert run.files[path] == clean.files[path]
    assert "/tmp/victim" not in run.files
    assert run.messages("FileLock") == [f"Can't open {path}.lock, going on without it."]

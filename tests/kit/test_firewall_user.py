"""The device's own part of the firewall: the file that is sourced behind the ruleset, and what closes the gateway when
the ruleset was refused. Real ip6tables of both kinds, in the gateway's own network."""

import importlib.util
import re

import pytest
from conftest import REPOSITORY

RULES = "/tmp/.ip6t"
SOURCE = ". /lib/firewall/firewallv6.user"
LAST = ("-A INPUT -j DROP", "-A FORWARD -j DROP")
ECHO = "-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d %s -j REJECT"
OWN = ["-A FORWARD -i br-lan ! -s 3fff:0:100:1::/64 -j DROP"]


def load_expected_ruleset():
    """The text that the program writes is held by the tests of the program."""
    spec = importlib.util.spec_from_file_location("expected_ruleset", REPOSITORY / "tests/device/expected_ruleset.py")
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module.ruleset


ruleset = load_expected_ruleset()
WHOLE = ruleset(wan="eth0", echo=[ECHO % "3fff:0:1::/64"], own_prefix=OWN, delegated="3fff:0:100::/56")
NO_WAN_PREFIX = ruleset(wan="eth0", echo=[ECHO % "/128"], own_prefix=OWN, delegated="3fff:0:100::/56")
NO_DELEGATION = ruleset(wan="eth0", echo=[ECHO % "3fff:0:1::/64"], delegated="/56")
GARBAGE = WHOLE.replace("-A FORWARD -j DROP\n", "-A FORWARD -s nobody -j ACCEPT\n-A FORWARD -j DROP\n")
# The largest ruleset that there is: twenty records of two ranges for both protocols.
USERS = [f"-A FORWARD -p {protocol} {side} 3fff:0:100:1:aaaa:bbbb:cccc:{record:04x} -m multiport --dports "
         f"{10000 + record}:{20000 + record} -j ACCEPT"
         for record in range(20) for _ in range(2) for protocol in ("tcp", "udp") for side in ("-s", "-d")]


@pytest.fixture(params=["nft", "legacy"])
def filtered(request, gateway):
    """The gateway with one of the two kinds of tools in force, and a system log."""
    for tool in ("ip6tables", "ip6tables-restore", "ip6tables-save"):
        kind = tool.replace("ip6tables", f"ip6tables-{request.param}")
        gateway.sh(f"rm -f /usr/sbin/{tool}; ln -s {kind} /usr/sbin/{tool}")
    gateway.sh("mount -t tmpfs none /dev && mknod -m 666 /dev/null c 1 3 && busybox syslogd -O /tmp/messages")
    gateway.wait_for(lambda: gateway.exists("/dev/log"))
    return gateway


def apply(gateway, text):
    """What the program does with a ruleset. Returns (status of the loader, what the sourced file left behind)."""
    if text is None:
        gateway.sh(f"rm -f {RULES}")
    else:
        gateway.write(RULES, text)
    gateway.run("ip6tables", "-F")
    refused = gateway.run("ip6tables-restore", RULES, check=False).returncode
    return refused, gateway.sh(f"{SOURCE}; echo status $?; set", check=False)


def saved(gateway):
    """The filter's rules as the kernel has them, counters left out."""
    text = gateway.run("ip6tables-save", "-t", "filter").stdout
    return [line for line in re.sub(r"\[\d+:\d+\]", "[0:0]", text).splitlines() if not line.startswith("#")]


def loaded_alone(gateway, text):
    """What the kernel makes of a ruleset in an empty network."""
    gateway.write("/tmp/alone", text)
    done = gateway.run("unshare", "--net", "sh", "-c", "ip6tables-restore /tmp/alone && ip6tables-save -t filter")
    return [line for line in re.sub(r"\[\d+:\d+\]", "[0:0]", done.stdout).splitlines() if not line.startswith("#")]


def messages(gateway, count):
    """What the system's log has from the firewall: at least `count` lines, waited for."""
    def found():
        text = gateway.read("/tmp/messages") if gateway.exists("/tmp/messages") else ""
        return re.findall(r" firewall: (.*)", text)
    gateway.wait_for(lambda: len(found()) >= count)
    return found()


def last_of(rules, chain):
    return [line for line in rules if line.startswith(f"-A {chain} ")][-1]


@pytest.mark.parametrize("text", [WHOLE, ruleset(wan="eth0", echo=[ECHO % "3fff:0:1::/64"], user=USERS,
                                                 own_prefix=OWN, delegated="3fff:0:100::/56")], ids=["plain", "long"])
def test_a_ruleset_that_is_in_force_is_left_as_it_is(filtered, text):
    filtered.write(RULES, text)
    filtered.run("ip6tables-restore", RULES)
    before = saved(filtered)
    filtered.write("/lib/firewall/closev6", "#!/bin/sh\ntouch /tmp/closed\n", 0o755)
    filtered.sh(SOURCE)
    assert saved(filtered) == before == loaded_alone(filtered, text)
    assert not filtered.exists("/tmp/closed")


@pytest.mark.parametrize("text, without", [(NO_WAN_PREFIX, " -d /128 "), (NO_DELEGATION, " /56 ")],
                         ids=["WAN prefix", "delegated prefix"])
def test_without_a_prefix_the_ruleset_is_in_force_without_its_rules(filtered, text, without):
    refused, _ = apply(filtered, text)
    assert refused != 0
    kept = "".join(line for line in text.splitlines(True) if without not in line)
    assert kept.count("\n") < text.count("\n")
    rules = saved(filtered)
    assert rules == loaded_alone(filtered, kept)
    assert (last_of(rules, "INPUT"), last_of(rules, "FORWARD")) == LAST
    assert messages(filtered, 1) == [
        "the ruleset was refused; it is in force without the rules that lack an address"]
    assert filtered.read(RULES) == text


@pytest.mark.parametrize("text", [GARBAGE, None, "", "*filter\nCOMMIT\n", WHOLE.replace("COMMIT\n", ""),
                                  WHOLE.replace("-A FORWARD -j DROP\n", ""), "\n", "-A INPUT /\n"],
                         ids=["a line that is no rule", "no file", "empty", "no rules", "cut", "no end", "line",
                              "no table"])
def test_whatever_else_is_there_the_gateway_ends_up_closed(filtered, text):
    apply(filtered, text)
    rules = saved(filtered)
    assert (last_of(rules, "INPUT"), last_of(rules, "FORWARD")) == LAST
    assert "-A FORWARD -i br-lan+ ! -o br-lan+ -m state --state NEW -j ACCEPT" in rules
    assert messages(filtered, 1) == ["the ruleset was refused; the gateway is closed but for what the LANs ask for"]


def test_a_link_in_the_place_of_the_ruleset_is_not_followed(filtered):
    filtered.write("/tmp/other", "*filter\n-A INPUT -j DROP\n-A FORWARD -j ACCEPT\n-A FORWARD -j DROP\nCOMMIT\n")
    filtered.sh(f"ln -s /tmp/other {RULES}; ip6tables -F; {SOURCE}")
    assert "-A FORWARD -j ACCEPT" not in saved(filtered)
    assert last_of(saved(filtered), "FORWARD") == LAST[1]


def test_a_loader_that_was_only_disturbed_is_asked_again(filtered):
    filtered.write(RULES, WHOLE)
    filtered.sh(f"ip6tables -F; {SOURCE}")
    assert saved(filtered) == loaded_alone(filtered, WHOLE)
    assert messages(filtered, 1) == ["the ruleset was loaded at the second attempt"]


def test_closing_again_changes_nothing_and_is_said_again(filtered):
    apply(filtered, GARBAGE)
    first = saved(filtered)
    apply(filtered, GARBAGE)
    assert saved(filtered) == first
    filtered.sh(SOURCE)
    filtered.run("/lib/firewall/closev6")
    assert saved(filtered) == first
    assert len(messages(filtered, 3)) == 3


def test_the_next_good_ruleset_takes_its_place_whole(filtered):
    apply(filtered, GARBAGE)
    refused, _ = apply(filtered, WHOLE)
    assert refused == 0 and saved(filtered) == loaded_alone(filtered, WHOLE)


def test_the_owners_rules_follow_and_the_shell_goes_on(filtered):
    file = filtered.read("/lib/firewall/firewallv6.user")
    marked = file.index("# Your rules follow here.")
    assert file.index("/lib/firewall/closev6 ;;") < marked
    filtered.write("/lib/firewall/firewallv6.user", file + "ip6tables -I FORWARD -p tcp --dport 22 -j ACCEPT\n")
    _, sourced = apply(filtered, NO_DELEGATION)
    assert "-A FORWARD -p tcp -m tcp --dport 22 -j ACCEPT" in saved(filtered)
    assert last_of(saved(filtered), "FORWARD") == LAST[1]
    assert sourced.stdout.startswith("status 0\n") and sourced.stderr == ""
    # Nothing of it stays in the shell that sources it.
    fresh = filtered.sh("echo status 0; set").stdout

    def names(text):
        return set(re.findall(r"^([A-Za-z_]\w*)=", text, re.M))
    assert names(sourced.stdout) == names(fresh)


def test_what_cannot_be_closed_is_said_and_shows_in_the_status(filtered):
    filtered.write("/usr/sbin/ip6tables-restore.broken", "#!/bin/sh\nexit 3\n", 0o755)
    filtered.sh("mv /usr/sbin/ip6tables-restore.broken /usr/sbin/ip6tables-restore; ip6tables -F")
    assert filtered.run("/lib/firewall/closev6", check=False).returncode == 1
    assert messages(filtered, 1) == ["the ruleset was refused, and no other could be loaded: the gateway is open"]


def test_without_a_system_log_it_closes_just_the_same(filtered):
    filtered.sh("rm -f /dev/log")
    _, sourced = apply(filtered, GARBAGE)
    assert last_of(saved(filtered), "FORWARD") == LAST[1]
    assert sourced.stdout.startswith("status 0\n") and sourced.stderr == ""

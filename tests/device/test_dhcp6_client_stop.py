"""Stopping the DHCPv6 client, with and without giving up its lease."""
import pytest

from expected_texts import HOME, ran, said
from wan_setup import (LEASES, LIST_FOR_STOP, ONLY_STOP, PID_FILE, RELEASE, RUNNING_CLIENT, STOPPED, STOP_RADVD,
                       own_console, own_lines, own_log)

REBIND = "ip6_dhcp6c_rebind_instead_of_solicit@wan100"
LIST = "/tmp/ps_dhcp6c.txt"
STOP_DAEMONS = [STOP_RADVD, "killall dhcp6d"]


@pytest.fixture
def wan(gateway):
    gateway.store.update(HOME)
    gateway.file(PID_FILE, "4242\n")
    gateway.file(LEASES, "lease6 {}\n")
    gateway.script("ps", stdout=RUNNING_CLIENT)
    return gateway


def stop(wan):
    return wan.run("dhcp6c_release")


def test_the_running_client_releases_its_lease(wan):
    run = stop(wan)
    assert own_log(run) == (ran(LIST_FOR_STOP, RELEASE) + said("stop_dhcp6c", "remove DHCP6C_LEASE_FILE")
                            + ran(*STOP_DAEMONS))
    assert own_console(run) == STOPPED
    assert run.journal[3:] == [
        "ps",
        "/usr/sbin/dhclient -r -6 -P -d -q -nw -cf /tmp/dhcp6c-wan.conf -sf /usr/sbin/zel_dhcp6c_update "
        "-lf /tmp/dhcp6c-wan.leases -pf /var/run/dhcp6c-wan.pid ppp0",
        "(pause 1000 ms)", "killall radvd", "(pause 800 ms)", "killall dhcp6d"]
    assert run.files == {}
    assert run.store_changes == {}
    assert run.killed == []


def test_with_rebinding_configured_the_client_only_stops_and_keeps_its_lease(wan):
    wan.store[REBIND] = "1"
    run = stop(wan)
    assert own_log(run) == ran(LIST_FOR_STOP, ONLY_STOP, *STOP_DAEMONS)
    assert own_console(run) == STOPPED[:3] + [
        "[stop_dhcp6c] ip6_dhcp6c_rebind_instead_of_solicit=1", "[stop_dhcp6c] remove DHCP6C_PID_FILE"]
    assert run.pauses == [1000, 800]
    assert run.files == {LEASES: "lease6 {}\n"}


@pytest.mark.parametrize("value, shown", [("0", 0), ("", 0), ("01", 1), ("1 ", 1), ("2", 2), ("-1", -1), ("yes", 0)])
def test_only_the_text_one_means_rebinding(wan, value, shown):
    wan.store[REBIND] = value
    run = stop(wan)
    assert own_lines(run)[1] == RELEASE
    assert own_console(run)[3:5] == [f"[stop_dhcp6c] ip6_dhcp6c_rebind_instead_of_solicit={shown}",
                                     "[stop_dhcp6c] remove DHCP6C_LEASE_FILE"]
    assert run.files == {}


def test_without_a_pid_file_nothing_is_stopped(wan):
    wan.remove(PID_FILE)
    run = stop(wan)
    assert own_lines(run) == STOP_DAEMONS
    assert own_console(run) == ["[zel-ipv6 stop_dhcp6c] enter"]
    assert run.pauses == [800]
    assert run.files == {LEASES: "lease6 {}\n"}


@pytest.mark.parametrize("listed, last", [
    ("4243 root 1832 /usr/sbin/dhclient -6 ppp0\n77 root 900 grep dhclient\n", 77),
    ("42 root 1832 /usr/sbin/dhclient -6 ppp0\n", 42),
    ("", 0),
])
def test_a_client_that_is_not_listed_is_left_with_its_files(wan, listed, last):
    wan.script("ps", stdout=listed)
    run = stop(wan)
    assert own_log(run) == ran(LIST_FOR_STOP, status=0 if listed else 1) + ran(*STOP_DAEMONS)
    assert own_console(run) == [
        "[zel-ipv6 stop_dhcp6c] enter",
        f"[stop_dhcp6c] pid=4242, ps_pid={last}, ready to remove /tmp/ps_dhcp6c.txt"]
    assert run.pauses == [800]
    assert run.files == {PID_FILE: "4242\n", LEASES: "lease6 {}\n"}


def test_the_client_is_found_among_others(wan):
    wan.script("ps", stdout="4100 root 1832 /usr/sbin/dhclient -4 -q eth0\n" + RUNNING_CLIENT
               + "4300 root 1832 /usr/sbin/dhclient -6 -S -d eth9\n")
    run = stop(wan)
    assert own_lines(run)[1] == RELEASE
    assert own_console(run) == STOPPED


@pytest.mark.parametrize("arguments, tail", [
    ("-6 -dec -P -sf /usr/sbin/zel_dhcp6c_update -lf /tmp/dhcp6c-wan.leases", "-6 -dec -P -sf /usr/sb -lf"),
    ("-6 -P -d -q -nw -v -cf /tmp/x", "-6 -P -d -q -nw -v"),
    ("-6 -N -P -d -q -nw -cf /tmp/x", "-6 -N -P -d -q -nw"),
    ("-6 -P -d -q -nw -xcf", "-6 -P -d -q -nw -xcf"),
    ("-6 -P -cf /tmp/dhcp6c-wan.conf -d -q -nw", "-6 -P -cf /tmp/dh -d -q"),
    ("-6 ppp0", "-6 ppp0    "),
    ("", "     "),
])
def test_six_arguments_are_repeated_when_the_sixth_is_not_the_configuration(wan, arguments, tail):
    wan.script("ps", stdout=f"4242 root 1832 /usr/sbin/dhclient {arguments}\n")
    run = stop(wan)
    assert own_lines(run)[1] == RELEASE.replace("-6 -P -d -q -nw", tail)
    assert own_console(run)[1] == f'[stop_dhcp6c] tailstr="{tail}", line N '


def test_five_arguments_are_repeated_when_the_sixth_begins_like_the_configuration(wan):
    wan.script("ps", stdout="4242 root 1832 /usr/sbin/dhclient -6 -P -d -q -nw -cfx\n")
    run = stop(wan)
    assert own_lines(run)[1] == RELEASE
    assert own_console(run)[1] == STOPPED[1]


def test_a_line_that_is_no_client_can_still_carry_the_number(wan):
    wan.script("ps", stdout="4242 root 900 grep dhclient\n")
    run = stop(wan)
    assert own_lines(run)[1] == RELEASE.replace("-6 -P -d -q -nw", "     ")
    assert run.files == {}


def test_a_release_that_fails_still_cleans_up(wan):
    wan.script("dhclient", status=1)
    run = stop(wan)
    assert run.status == 1
    assert run.files == {}


def test_a_hostile_argument_stays_one_word(wan):
    wan.script("ps", stdout="4242 root 1832 /usr/sbin/dhclient -6 $(rm) -d -q -nw -cf\n")
    run = stop(wan)
    assert run.calls_of("dhclient")[0][:5] == ["/usr/sbin/dhclient", "-r", "-6", "$(rm)", "-d"]


@pytest.mark.parametrize("name", ["dhcp6c_release", "dhcp6c_restart", "dhcp6c_renew", "wan6c_restart", "zel_ipv6cp_up"])
def test_every_command_that_stops_the_client_releases_the_lease(wan, name):
    wan.store["ip6_proto@wan100"] = "static"
    run = wan.run(name)
    assert RELEASE in run.lines
    assert LEASES not in run.files
    assert PID_FILE not in run.files
    assert LIST not in run.files

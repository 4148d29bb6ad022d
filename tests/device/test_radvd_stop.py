"""The stop of the router-advertisement daemon."""
import pytest

from expected_texts import BARE


@pytest.fixture
def bare(gateway):
    gateway.store.update(BARE)
    return gateway


def test_stopping_the_daemon_ends_forwarding_and_then_waits_800_ms(bare):
    bare.file("/tmp/run/radvd.pid", "77\n")
    bare.switch("all", "forwarding", "1\n")
    bare.script("killall", "radvd", sh="cat /proc/sys/net/ipv6/conf/all/forwarding > /tmp/seen")
    bare.script("killall", "dhcp6d", sh="cat /proc/sys/net/ipv6/conf/all/forwarding > /tmp/seen_later")
    bare.at_pause(1, "/proc/sys/net/ipv6/conf/all/forwarding", "during the pause")
    run = bare.run("dhcp6c_release")
    assert run.journal[-3:] == ["killall radvd", "(pause 800 ms)", "killall dhcp6d"]
    assert run.files == {"/tmp/seen": "1\n", "/tmp/seen_later": "during the pause"}
    assert run.lines[-2:] == ["killall radvd; rm -f /tmp/run/radvd.pid", "killall dhcp6d"]


def test_stopping_the_daemon_writes_one_character_into_the_switch(bare):
    run = bare.run("dhcp6c_release")
    assert run.switches == {"all/forwarding": "0"}


def test_on_a_link_dialed_on_demand_stopping_the_daemon_leaves_forwarding_alone(bare):
    bare.store["on-demand@wan100"] = "1"
    bare.switch("all", "forwarding", "1\n")
    run = bare.run("dhcp6c_release")
    assert run.switches == {}
    assert run.pauses == [800]


def test_a_stop_before_the_settings_are_loaded_ends_forwarding_on_a_dialed_link_too(bare):
    bare.store["on-demand@wan100"] = "1"
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.switches["all/forwarding"] == "0"

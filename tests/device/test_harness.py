"""The harness itself: what the other tests rely on."""


def test_a_second_run_goes_on_where_the_first_one_ended(gateway):
    first = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", "1")
    assert first.addresses == {"br-lan": ["fd00::1/64"], "br-lan1": [], "ppp0": []}
    second = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", "0")
    assert second.addresses == {"br-lan": [], "br-lan1": [], "ppp0": []}
    assert second.log.startswith("[main][1000] ^_^[/usr/sbin/zel_ifconfig] start.\n\n")


def test_a_store_key_reaches_the_real_store_and_can_be_taken_back(gateway):
    gateway.store["on-demand@wan100"] = "1"
    assert gateway.run("foo").store == {"on-demand@wan100": "1"}
    del gateway.store["on-demand@wan100"]
    assert gateway.run("foo").store == {}


def test_a_recorder_answers_with_the_rule_that_was_written_last_and_fits(gateway):
    gateway.script("wandataif.sh", stdout="eth0\n")
    gateway.script("wandataif.sh", stdout="eth1\n", times=1)
    assert gateway.run("zel_ipcp_up").messages("get_wan_ifname") == ["wandataif is [eth1]"]
    assert gateway.run("zel_ipcp_up").messages("get_wan_ifname") == ["wandataif is [eth0]"]


def test_without_a_shell_no_line_runs(gateway):
    gateway.shell = False
    run = gateway.run("zel_ipv6_lan", "1")
    assert run.calls == []
    assert {status for status, _ in run.shell} == {-1}


def test_a_daemon_in_the_background_has_its_place_in_the_journal(gateway):
    run = gateway.run("zel_ipv6_lan", "lan")
    assert run.journal[-5:] == [
        "radvd -C /tmp/radvd.conf",
        "(pause 1000 ms)",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf",
        "rdnssd -r /tmp/rdnssd",
        "/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'",
    ]

"""How shell lines are run and logged."""
import pytest


@pytest.mark.parametrize("status", [0, 1, 42, 255])
def test_the_status_of_a_line_is_logged_in_front_of_it(gateway, status):
    gateway.script("killall", status=status)
    gateway.store["ip6_wan_ready@system"] = "1"
    run = gateway.run("zel_ipcp_up")
    assert (status, "killall -s USR1 dnsmasq") in run.shell
    assert f"[zel_system][1000] [{status}]killall -s USR1 dnsmasq" in run.log_lines


def test_a_line_that_a_signal_ends_has_that_signal_in_its_status(gateway):
    gateway.store["ip6_wan_ready@system"] = "1"
    gateway.script("killall", sh="kill -TERM $$")
    run = gateway.run("zel_ipcp_up")
    assert (128 + 15, "killall -s USR1 dnsmasq") in run.shell


def test_a_line_is_logged_after_it_has_finished(gateway):
    gateway.store["ip6_wan_ready@system"] = "1"
    gateway.script("killall", sh="echo meanwhile >> /tmp/ipv6.log")
    run = gateway.run("zel_ipcp_up")
    at = run.log_lines.index("meanwhile")
    assert run.log_lines[at + 1] == "[zel_system][1000] [0]killall -s USR1 dnsmasq"


def test_a_program_that_is_not_there_is_only_logged(gateway):
    gateway.store["ip6_proto@wan100"] = "static"
    gateway.script("ip6tables", sh="exit 127")
    run = gateway.run("zel_ipv6cp_up")
    assert run.status == 1
    assert (127, "ip6tables -F") in run.shell


def test_without_a_shell_every_line_has_the_status_minus_one_and_the_command_goes_on(gateway):
    gateway.store["ip6_proto@wan100"] = "static"
    gateway.shell = False
    run = gateway.run("zel_ipv6cp_up")
    assert run.status == 1
    assert run.shell == [
        (-1, "ccfg_cli set ip6_pre_manual_gid@lan0=0"),
        (-1, "ccfg_cli set ip6_pre_manual_gid@lan1=0"),
        (-1, "ip6tables -F"),
    ]
    assert run.journal == []
    assert run.files == {"/tmp/zel_ipv6cp_script_running": "0"}


def test_a_value_stays_one_word_of_its_line(gateway):
    gateway.script("wandataif.sh", stdout="ppp0; touch /tmp/owned\n")
    run = gateway.run("ipv6rd_restart")
    assert run.calls_of("if2sect.sh") == [["if2sect.sh", "ppp0; touch /tmp/owned"]]
    assert run.files == {}


@pytest.mark.parametrize("name, quoted", [
    ("6rd-7_x.y@z%:,+=/", "6rd-7_x.y@z%:,+=/"),
    ("a b", "'a b'"),
    ("$(id)", "'$(id)'"),
    ("a;b", "'a;b'"),
    ("`id`", "'`id`'"),
    ("a&b|c>d<e", "'a&b|c>d<e'"),
    ("*?[a]", "'*?[a]'"),
    ("~root", "'~root'"),
    ("a#b", "'a#b'"),
    ("a\"b\\c", "'a\"b\\c'"),
])
def test_only_a_value_with_unusual_characters_is_quoted(gateway, name, quoted):
    gateway.store["ip6_6rd_ifname@wan100"] = name
    run = gateway.run("ipv6rd_restart")
    assert run.lines[-1] == f"/usr/sbin/ip tunnel del {quoted}"
    assert run.calls_of("ip") == [["/usr/sbin/ip", "tunnel", "del", name]]


def test_a_single_quote_in_a_value_stays_in_its_word(gateway):
    gateway.store["ip6_6rd_ifname@wan100"] = "a'b; touch /tmp/owned; '"
    run = gateway.run("ipv6rd_restart")
    assert run.calls_of("ip") == [["/usr/sbin/ip", "tunnel", "del", "a'b; touch /tmp/owned; '"]]
    assert run.files == {}


def test_an_empty_value_leaves_its_place_empty(gateway):
    gateway.store["ip6_6rd_ifname@wan100"] = ""
    run = gateway.run("ipv6rd_restart")
    assert run.lines[-1] == "/usr/sbin/ip tunnel del "
    assert run.calls_of("ip") == [["/usr/sbin/ip", "tunnel", "del"]]

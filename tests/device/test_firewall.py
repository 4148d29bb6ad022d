"""The packet filter: the rules that every gateway has, how they are loaded and flushed."""
import pytest

from expected_ruleset import PLAIN_ECHO, TUNNEL_ECHO, TUNNEL_FORWARD, ruleset
from expected_texts import BARE

RULES, SWITCH = "/tmp/.ip6t", "/proc/sys/net/ipv6/conf/all/forwarding"
LOAD = ["ip6tables-restore /tmp/.ip6t", ". /lib/firewall/firewallv6.user"]


@pytest.fixture
def plain(gateway):
    """A gateway without unique-local addresses, delegated prefix and user filter."""
    gateway.store.update(BARE)
    gateway.file("/tmp/resolv.conf.auto", "nameserver 10.0.0.1\n")
    gateway.file("/etc/config/.glbcfg", "settings\n")
    return gateway


@pytest.fixture
def delegated(plain):
    """The same with a WAN prefix and a delegated prefix."""
    plain.store.update({
        "ip6_dhcp6c_prefix_addr@system": "2001:db8:1234:5600::", "ip6_dhcp6c_prefix_length@system": "56",
        "ip6_prefix@wan100": "2001:db8:1::", "ip6_pfxlen@wan100": "64"})
    return plain


def written(gateway):
    return gateway.run("ipv6_lan_restart").files[RULES]


def test_the_whole_ruleset_of_a_gateway_with_a_delegated_prefix(delegated):
    run = delegated.run("ipv6_lan_restart")
    assert run.files[RULES] == ruleset(
        echo=["-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d 2001:db8:1::/64 -j REJECT"],
        own_prefix=["-A FORWARD -i br-lan ! -s 2001:db8:1234:5601::/64 -j DROP"],
        delegated="2001:db8:1234:5600::/56")
    at = run.lines.index(LOAD[0])
    assert run.lines[at:at + 2] == ["ip6tables-restore /tmp/.ip6t", ". /lib/firewall/firewallv6.user"]
    assert run.calls_of("ip6tables-restore") == [["ip6tables-restore", "/tmp/.ip6t"]]
    assert run.calls_of("firewallv6.user") == [["firewallv6.user"]]
    assert run.switches["all/forwarding"] == "1"


def test_without_any_prefix_the_rules_carry_empty_ones_and_there_is_none_against_forged_sources(plain):
    assert written(plain) == ruleset()


def test_a_tunnel_has_its_own_rules(delegated):
    delegated.store["ip6_proto@wan100"] = "tunnel"
    assert written(delegated) == ruleset(
        echo=[TUNNEL_ECHO], tunnel=TUNNEL_FORWARD, delegated="2001:db8:1234:5600::/56",
        own_prefix=["-A FORWARD -i br-lan ! -s 2001:db8:1234:5601::/64 -j DROP"])


def test_a_mode_that_begins_with_tunnel_is_a_tunnel(plain):
    plain.store["ip6_proto@wan100"] = "tunnel6"
    assert written(plain) == ruleset(echo=[TUNNEL_ECHO], tunnel=TUNNEL_FORWARD)


@pytest.mark.parametrize("mode", ["tunne", "Tunnel", "xtunnel", "static", ""])
def test_any_other_mode_is_no_tunnel(plain, mode):
    plain.store["ip6_proto@wan100"] = mode
    assert written(plain) == ruleset(echo=[PLAIN_ECHO])


def test_the_rules_name_the_wan_interface_and_the_values_of_its_section(plain):
    plain.wan("eth4", sect="wan7")
    plain.store.update({"ip6_prefix@wan7": "2001:db8:7::", "ip6_pfxlen@wan7": "48",
                        "ip6_prefix@wan100": "2001:db8:1::", "ip6_pfxlen@wan100": "64"})
    assert written(plain) == ruleset(
        wan="eth4", echo=["-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d 2001:db8:7::/48 -j REJECT"])


@pytest.mark.parametrize("prefix, length, rule", [
    ("2001:db8:9::", "60", ["-A FORWARD -i br-lan ! -s 2001:db8:9::/60 -j DROP"]),
    ("::", "1", ["-A FORWARD -i br-lan ! -s ::/1 -j DROP"]),
    ("2001:db8:9::", "0", []),
    ("2001:db8:9::", "-1", []),
    ("2", "64", []),
    ("", "64", []),
])
def test_forged_sources_are_dropped_when_the_first_lan_has_a_prefix_and_a_length(plain, prefix, length, rule):
    plain.store.update({"ip6_prefix@lan0": prefix, "ip6_pfxlen@lan0": length})
    assert written(plain) == ruleset(own_prefix=rule)


def test_the_prefix_of_the_second_lan_has_no_rule_of_its_own(plain):
    plain.store.update({"ip6_prefix@lan1": "2001:db8:9::", "ip6_pfxlen@lan1": "64"})
    assert written(plain) == ruleset()


def test_the_delegated_prefix_stands_in_its_rules_as_it_is_stored(plain):
    plain.store.update({"ip6_proto@wan100": "static", "ip6_dhcp6c_prefix_addr@system": "2001:0DB8:1234:5600::",
                        "ip6_dhcp6c_prefix_length@system": "48"})
    assert written(plain) == ruleset(delegated="2001:0DB8:1234:5600::/48")


def test_the_ruleset_of_the_last_run_is_removed_first(plain):
    plain.file(RULES, "*filter\n-A FORWARD -j ACCEPT\n" * 100)
    assert written(plain) == ruleset()
    assert written(plain) == ruleset()


@pytest.mark.parametrize("value", [
    "a b", "a'b", 'a"b', "a#b", "a\\b", "host.example", "192.0.2.1", "2001:db8::,2001:db8:1::", "2001:db8::/64",
    "2001:0DB8:1234:5612C::", "!2001:db8::", "2001:db8::1%ppp0", "-j ACCEPT", "  ",
    pytest.param("\udcff\udcfe", id="no UTF-8")])
def test_a_prefix_that_is_no_address_has_its_lines_left_out_and_the_log_says_so(plain, value):
    plain.store.update({"ip6_proto@wan100": "static", "ip6_prefix@wan100": value, "ip6_prefix@lan0": value,
                        "ip6_pfxlen@lan0": "64", "ip6_dhcp6c_prefix_addr@system": value})
    run = plain.run("ipv6_lan_restart")
    assert run.files[RULES] == ruleset(echo=(), echo_forward=False, inside=False)
    assert run.messages("write_base_ruleset") == [
        "the WAN prefix is left out of the ruleset: it is no IPv6 address.",
        "the LAN prefix is left out of the ruleset: it is no IPv6 address.",
        "the delegated prefix is left out of the ruleset: it is no IPv6 address."]


@pytest.mark.parametrize("length", ["129", "1000", "99999999999"])
def test_a_length_that_no_prefix_has_takes_its_lines_with_it_and_the_log_says_so(delegated, length):
    delegated.store.update({
        "ip6_proto@wan100": "static", "ip6_prefix@lan0": "2001:db8:9::", "ip6_pfxlen@lan0": length,
        "ip6_pfxlen@wan100": length, "ip6_dhcp6c_prefix_length@system": length})
    run = delegated.run("ipv6_lan_restart")
    assert run.files[RULES] == ruleset(echo=(), echo_forward=False, inside=False)
    assert run.messages("write_base_ruleset") == [
        "the WAN prefix is left out of the ruleset: its length is not within 0 to 128.",
        "the LAN prefix is left out of the ruleset: its length is not within 0 to 128.",
        "the delegated prefix is left out of the ruleset: its length is not within 0 to 128."]


def test_a_negative_length_has_no_lines_either(delegated):
    delegated.store.update({"ip6_proto@wan100": "static", "ip6_pfxlen@wan100": "-1",
                            "ip6_dhcp6c_prefix_length@system": "-1"})
    assert written(delegated) == ruleset(echo=(), echo_forward=False, inside=False)


@pytest.mark.parametrize("link", ["ppp 0", "ppp0123456789abc", "ppp+", "!ppp0", 'ppp"0', "a/b"])
def test_a_wan_interface_that_is_none_has_its_lines_left_out_and_the_log_says_so(plain, link):
    plain.script("wandataif.sh", stdout=link + "\n")
    run = plain.run("ipv6_lan_restart")
    assert run.files[RULES] == "".join(line for line in ruleset(wan=link).splitlines(True) if link not in line)
    assert run.messages("write_base_ruleset") == [
        "the WAN interface is left out of the ruleset: it is no interface name."]


def test_a_ruleset_that_cannot_be_opened_ends_the_process_without_a_commit(plain):
    plain.folder(RULES)
    before = dict(plain.store)
    run = plain.run("ipv6_lan_restart")
    assert run.log_lines[-1] == "[save2file6][1000] Can't open /tmp/.ip6t"
    assert run.lines[-1] == "ecmh -i ppp0 -d br-lan"
    assert run.status == 1
    assert run.store == before


def test_a_refused_ruleset_is_only_logged_and_forwarding_is_still_switched_on(plain):
    plain.script("ip6tables-restore", status=2)
    plain.script("firewallv6.user", status=3)
    run = plain.run("ipv6_lan_restart")
    at = run.lines.index(LOAD[0])
    assert run.shell[at:at + 2] == [(2, LOAD[0]), (3, LOAD[1])]
    assert run.switches["all/forwarding"] == "1"
    assert run.status == 1


def test_forwarding_is_off_until_the_rules_and_the_users_own_additions_are_loaded(plain):
    plain.switch("all", "forwarding", "1\n")
    for program in ("ip6tables", "radvd", "ecmh", "ip6tables-restore"):
        plain.script(program, sh=f"cat {SWITCH} > /tmp/at_{program}")
    plain.file("/lib/firewall/firewallv6.user", f"firewallv6.user\ncat {SWITCH} > /tmp/at_user\n")
    run = plain.run("ipv6_lan_restart")
    assert {path: text for path, text in run.files.items() if path.startswith("/tmp/at_")} == {
        "/tmp/at_ip6tables": "0", "/tmp/at_radvd": "0", "/tmp/at_ecmh": "0", "/tmp/at_ip6tables-restore": "0",
        "/tmp/at_user": "0"}
    assert run.switches == {**run.switches, "all/forwarding": "1"}


def test_a_forwarding_switch_that_cannot_be_opened_is_passed_over_silently(plain):
    plain.folder(SWITCH)
    run = plain.run("ipv6_lan_restart")
    assert run.lines[run.lines.index(LOAD[1]) + 1] == "/usr/sbin/resolv_update.sh SYSTEM"
    assert run.messages("main") == [
        "^_^[/usr/sbin/ipv6_lan_restart] start.\n", "^_^[/usr/sbin/ipv6_lan_restart] ERROR_NONE, end.\n"]


def test_the_users_own_additions_see_the_loaded_rules_and_may_call_the_filter(plain):
    plain.file("/lib/firewall/firewallv6.user", "ip6tables -I FORWARD -j LOG\n")
    run = plain.run("ipv6_lan_restart")
    assert run.journal[run.journal.index("ip6tables-restore /tmp/.ip6t") + 1] == "ip6tables -I FORWARD -j LOG"


def test_the_lan_restart_flushes_the_filter_before_it_rebuilds_it(plain):
    run = plain.run("ipv6_lan_restart")
    assert run.calls_of("ip6tables") == [["ip6tables", "-F"]]
    assert run.lines.index("ip6tables -F") < run.lines.index(LOAD[0])


def test_the_ipv6cp_up_hook_flushes_the_filter_and_does_not_rebuild_it(plain):
    plain.file("/proc/net/if_flags6", "")
    plain.pause_limit = 3
    run = plain.run("zel_ipv6cp_up")
    assert run.lines[2] == "ip6tables -F"
    assert RULES not in run.files

"""What ipv6status makes of the filter and of the user's records."""

import pytest

from status_gateway import RULES


def test_a_firewall_that_was_flushed(gw):
    gw.loaded = []
    assert gw.look().reasons() == {"firewall loaded": "the firewall is empty: everything is let through"}


def test_rules_that_are_not_of_the_file_are_counted(gw):
    assert gw.look().row("firewall", "loaded")["value"] == "4 rules"
    gw.loaded = ["-A FORWARD -j ACCEPT", *RULES]
    look = gw.look()
    assert (look.health, look.row("firewall", "loaded")["value"]) == ("healthy", "5 rules, 1 more than the file has")


def test_a_ruleset_that_was_refused(gw):
    gw.loaded = RULES[:1]
    assert gw.look().reasons() == {
        "firewall loaded": '3 of the file\'s rules are missing, the first is "-A INPUT -j DROP": '
                           "it was refused, or changed since"}


@pytest.mark.parametrize("loaded, first", [
    ([*RULES[:1], "-A INPUT -j ACCEPT", *RULES[2:]], "-A INPUT -j DROP"),
    ([*RULES[1:], "-A INPUT -i eth0 -j ACCEPT"], "-A INPUT -i br-lan -j ACCEPT"),
    ([f"{RULES[0]} -o eth0", *RULES[1:]], "-A INPUT -i br-lan -j ACCEPT"),
    ([RULES[1], RULES[0], *RULES[2:]], "-A INPUT -j DROP")])
def test_a_rule_that_was_exchanged_for_another(gw, loaded, first):
    gw.loaded = loaded
    assert gw.look().reasons() == {
        "firewall loaded": f'1 of the file\'s rules is missing, the first is "{first}": it was refused, or changed since'}


@pytest.mark.parametrize("text", ["", "\0\xff garbage\n"])
def test_a_ruleset_file_without_rules(gw, text):
    gw.files["/tmp/.ip6t"] = text
    del gw.store["ip6_filter_list@wan100"]
    assert gw.look().reasons() == {"firewall ruleset": "it is no ruleset"}


def test_chains_of_the_file_may_come_in_another_order(gw):
    gw.loaded = RULES[2:] + RULES[:2]
    assert gw.look().health == "healthy"


def test_rules_of_another_table_are_none_of_the_filter(gw):
    gw.scripts["ip6tables-save"] = "echo '*mangle'; grep -v '^.filter' /mnt/saved; echo '*filter'"
    assert gw.look().row("firewall", "loaded")["value"] == "0 rules"


def test_user_records_that_are_left_out(gw):
    gw.store["ip6_filter_list@wan100"] = ("web;3fff:200:300:1::5;tcp;80;80/nohost;x;tcp;1;2/ports;3fff::1;udp;9;7/"
                                          "late;3fff::2;both;5;6/none;3fff::3;tcp;;")
    look = gw.look()
    assert [row["state"] for row in look.rows("firewall", "user_record")] == ["good"] + ["wrong"] * 4
    assert [look.why("firewall", "user_record", str(number)) for number in (2, 3, 4, 5)] == [
        "left out: its host is no IPv6 address", "left out: its ports are no range within 1 to 65535",
        "not in force: the ruleset was written without it", "left out: it has no pair of ports"]
    assert look.row("firewall", "user_record", "4")["value"] == "late: 3fff::2 both 5-6"


def test_user_records_that_are_switched_off_are_not_listed(gw):
    gw.store["ip6_filter_cnt@wan100"] = "0"
    assert gw.look().rows("firewall", "user_record") == []

"""The user's filter list: its records, their ranges, and what is refused."""
import pytest

from expected_ruleset import ruleset
from expected_texts import BARE

HOST = "2001:db8::10"


@pytest.fixture
def plain(gateway):
    gateway.store.update(BARE)
    gateway.file("/tmp/resolv.conf.auto", "nameserver 10.0.0.1\n")
    return gateway


def pair(protocol, ports, host=HOST):
    """The two rules of one protocol."""
    return [f"-A FORWARD -p {protocol} -s {host} -m multiport --dports {ports} -j ACCEPT",
            f"-A FORWARD -p {protocol} -d {host} -m multiport --dports {ports} -j ACCEPT"]


def both(ports, host=HOST):
    return pair("tcp", ports, host) + pair("udp", ports, host)


def filtered(gateway, text, count="1"):
    gateway.store.update({"ip6_filter_list@wan100": text, "ip6_filter_cnt@wan100": count})
    return gateway.run("ipv6_lan_restart")


def holds(gateway, text, rules, count="1"):
    """Checks the whole ruleset; returns what the log says about the list."""
    run = filtered(gateway, text, count)
    assert run.files["/tmp/.ip6t"] == ruleset(user=rules)
    return run.messages("write_user_filter")


def test_one_tcp_port_to_and_from_a_host(plain):
    assert holds(plain, "web;2001:db8::10;tcp;80;80;;;;", [
        "-A FORWARD -p tcp -s 2001:db8::10 -m multiport --dports 80 -j ACCEPT",
        "-A FORWARD -p tcp -d 2001:db8::10 -m multiport --dports 80 -j ACCEPT"]) == []


def test_a_range_of_ports_of_both_protocols(plain):
    assert holds(plain, "ftp;2001:db8::10;b;20;21;;;;", [
        "-A FORWARD -p tcp -s 2001:db8::10 -m multiport --dports 20:21 -j ACCEPT",
        "-A FORWARD -p tcp -d 2001:db8::10 -m multiport --dports 20:21 -j ACCEPT",
        "-A FORWARD -p udp -s 2001:db8::10 -m multiport --dports 20:21 -j ACCEPT",
        "-A FORWARD -p udp -d 2001:db8::10 -m multiport --dports 20:21 -j ACCEPT"]) == []


@pytest.mark.parametrize("range_, rules", [
    ("tcp;20;21", pair("tcp", "20:21")), ("tcp;20;20", pair("tcp", "20")),
    ("udp;20;21", pair("udp", "20:21")), ("udp;20;20", pair("udp", "20")),
    ("b;20;21", both("20:21")), ("b;20;20", both("20")), ("bth;20;20", both("20")),
    ("tcp;1;65535", pair("tcp", "1:65535")),
])
def test_each_kind_of_range(plain, range_, rules):
    assert holds(plain, f"x;{HOST};{range_}", rules) == []


def test_both_ranges_of_a_record_in_their_order(plain):
    assert holds(plain, f"x;{HOST};udp;53;53;b;1000;2000", pair("udp", "53") + both("1000:2000")) == []
    assert holds(plain, f"x;{HOST};b;1;2;tcp;3;3", both("1:2") + pair("tcp", "3")) == []


def test_several_records_in_their_order(plain):
    assert holds(plain, f"a;{HOST};tcp;1;1/b;2001:db8::11;udp;2;3/c;2001:db8::12;b;4;4", [
        *pair("tcp", "1"), *pair("udp", "2:3", "2001:db8::11"), *both("4", "2001:db8::12")], count="3") == []


@pytest.mark.parametrize("protocol", ["x", "icm", "TCP", "B", "-p"])
def test_a_range_of_another_protocol_has_no_rules_and_the_other_range_stands(plain, protocol):
    holds(plain, f"x;{HOST};{protocol};1;2;tcp;3;3", pair("tcp", "3"))
    holds(plain, f"x;{HOST};tcp;3;3;{protocol};1;2", pair("tcp", "3"))


@pytest.mark.parametrize("record", [
    f"x;{HOST};tcp;;;udp;3;3", f"x;{HOST};tcp;;80;udp;3;3", f"x;{HOST};tcp;80;;udp;3;3", f"x;{HOST};;80;80;udp;3;3",
    "x;;tcp;80;80;udp;3;3", f";{HOST};tcp;80;80;udp;3;3", f"x;{HOST};tcp;80", f"x;{HOST};tcp", f"x;{HOST}", "x", "",
    f"x;{HOST};tcp;80;", ";;;;;;;",
])
def test_an_empty_field_ends_the_record_and_ranges_without_both_ports_have_no_rules(plain, record):
    holds(plain, record + f"/y;{HOST};tcp;9;9" if record else "", pair("tcp", "9") if record else [])


def test_an_empty_field_of_the_second_range_leaves_the_first_one(plain):
    assert holds(plain, f"x;{HOST};tcp;80;80;udp;;90", pair("tcp", "80")) == []
    assert holds(plain, f"x;{HOST};tcp;80;80;;90;90", pair("tcp", "80")) == []
    assert holds(plain, f"x;{HOST};tcp;80;80;udp;90", pair("tcp", "80")) == []


def test_an_apostrophe_ends_a_field_like_a_semicolon_and_then_the_record(plain):
    holds(plain, f"o'brien;{HOST};tcp;80;80", [])
    holds(plain, f"x;{HOST};tcp;80;80';udp;90;90", pair("tcp", "80"))


def test_fields_beyond_the_eighth_are_not_read(plain):
    assert holds(plain, f"x;{HOST};tcp;80;80;udp;90;90;tcp;99;99", pair("tcp", "80") + pair("udp", "90")) == []


# --- the switch

@pytest.mark.parametrize("count", ["0", "00", "01", "0x"])
def test_a_count_that_begins_with_zero_switches_the_list_off(plain, count):
    assert holds(plain, f"x;{HOST};tcp;80;80", [], count=count) == []


def test_a_missing_count_switches_the_list_off(plain):
    plain.store["ip6_filter_list@wan100"] = f"x;{HOST};tcp;80;80"
    assert plain.run("ipv6_lan_restart").files["/tmp/.ip6t"] == ruleset()


@pytest.mark.parametrize("count", ["1", "7", "10", "-1", "x", ""])
def test_any_other_count_switches_all_records_on(plain, count):
    rules = pair("tcp", "80") + pair("tcp", "81")
    assert holds(plain, f"x;{HOST};tcp;80;80/y;{HOST};tcp;81;81", rules, count=count) == []


def test_an_empty_list_adds_nothing(plain):
    assert holds(plain, "", []) == []


def test_count_and_list_are_those_of_the_section_of_the_wan_interface(plain):
    plain.wan("eth4", sect="wan7")
    plain.store.update({"ip6_filter_cnt@wan7": "1", "ip6_filter_list@wan7": f"x;{HOST};tcp;80;80",
                        "ip6_filter_cnt@wan100": "1", "ip6_filter_list@wan100": f"x;{HOST};tcp;81;81"})
    assert plain.run("ipv6_lan_restart").files["/tmp/.ip6t"] == ruleset(wan="eth4", user=pair("tcp", "80"))


# --- splitting

def test_the_first_character_never_ends_a_record(plain):
    rules = pair("tcp", "80") + pair("tcp", "81")
    assert holds(plain, f"/;{HOST};tcp;80;80/y;{HOST};tcp;81;81", rules) == []


def test_a_list_of_25_records_is_cut_to_20(plain):
    text = "/".join(f"n{n};{HOST};tcp;{n};{n}" for n in range(1, 26))
    rules = [rule for n in range(1, 21) for rule in pair("tcp", str(n))]
    assert holds(plain, text, rules, count="25") == []


def test_the_twentieth_record_ends_at_its_own_slash(plain):
    text = "/".join([f"n;{HOST};tcp;1;1"] * 19 + [f"n;{HOST};tcp;2;2;udp;3;4", f"n;{HOST};tcp;5;5"])
    assert holds(plain, text, pair("tcp", "1") * 19 + pair("tcp", "2") + pair("udp", "3:4"), count="21") == []


def test_empty_records_between_slashes_count_and_do_nothing(plain):
    def list_of(empty):
        return f"x;{HOST};tcp;80;80" + "/" * empty + f"/y;{HOST};tcp;81;81/z;{HOST};tcp;82;82"

    holds(plain, list_of(17), pair("tcp", "80") + pair("tcp", "81") + pair("tcp", "82"))
    holds(plain, list_of(18), pair("tcp", "80") + pair("tcp", "81"))
    holds(plain, list_of(19), pair("tcp", "80"))


def test_a_slash_at_the_end_adds_nothing(plain):
    holds(plain, f"x;{HOST};tcp;80;80/", pair("tcp", "80"))


def test_a_list_that_fills_its_room_is_read_to_its_end(plain):
    text = f"{'n' * 39};{HOST};tcp;1;1/"
    text += "m" * (1023 - len(text) - len(f";{HOST};udp;60000;60001")) + f";{HOST};udp;60000;60001"
    assert len(text) == 1023
    rules = filtered(plain, text).files["/tmp/.ip6t"]
    assert rules == ruleset(user=pair("tcp", "1") + pair("udp", "60000:60001"))


# --- what is refused

def refused(gateway, record, rules=()):
    """Checks that a record adds `rules` only and that the next one stands; returns what the log says."""
    return holds(gateway, f"{record}/good;{HOST};tcp;9;9", [*rules, *pair("tcp", "9")])


NO_HOST = "is left out of the ruleset: its host is no IPv6 address."
NO_PORTS = "is left out of the ruleset: its ports are no range within 1 to 65535."
NO_PROTOCOL = "is left out of the ruleset: unknown protocol."


@pytest.mark.parametrize("host", ["host.example", "192.0.2.1", "2001:db8::g", "2001:db8::10 -j ACCEPT", "-j", "::1%lo",
                                  "2001:db8", "!::1", ":::"])
def test_a_host_that_is_no_ipv6_address_has_no_rules_and_the_log_names_the_record(plain, host):
    assert refused(plain, f"badhost;{host};tcp;80;80") == [f"record badhost {NO_HOST}"]


@pytest.mark.parametrize("host", ["::", "2001:DB8::10", "::ffff:192.0.2.1", "2001:0db8:0000:0000:0000:0000:0000:0010"])
def test_every_form_of_an_ipv6_address_is_taken_as_it_is_written(plain, host):
    assert holds(plain, f"x;{host};tcp;80;80", pair("tcp", "80", host)) == []


@pytest.mark.parametrize("ports", ["0;80", "80;65536", "65536;65536", "080;80", "80;080", "21;20", "x;80", "80;x",
                                   "-1;80", "80;8 0", "80,90;80", "8;0x50", "+80;80", "99999999;99999999", "80; 80"])
def test_ports_that_are_no_plain_rising_numbers_have_no_rules_and_the_log_names_the_record(plain, ports):
    assert refused(plain, f"badport;{HOST};tcp;{ports}") == [f"record badport {NO_PORTS}"]
    assert refused(plain, f"badport;{HOST};b;{ports}") == [f"record badport {NO_PORTS}"]


@pytest.mark.parametrize("protocol", ["tc", "tcq", "t", "u", "ud", "ucp", "tc!"])
def test_a_protocol_that_only_begins_like_tcp_or_udp_has_no_rules_and_the_log_names_the_record(plain, protocol):
    assert refused(plain, f"badproto;{HOST};{protocol};80;80") == [f"record badproto {NO_PROTOCOL}"]


def test_a_refused_range_leaves_the_other_one(plain):
    assert refused(plain, f"badport;{HOST};tcp;0;80;udp;7;7", pair("udp", "7")) == [f"record badport {NO_PORTS}"]
    assert refused(plain, f"badport;{HOST};udp;7;7;tcp;0;80", pair("udp", "7")) == [f"record badport {NO_PORTS}"]


@pytest.mark.parametrize("host", ["2001:0db8:0000:0000:0000:0000:0000:00100000", "::" + "0" * 38 + "1",
                                  "2001:db8:1111:2222:3333:4444:5555:6666:7777"])
def test_a_host_longer_than_its_room_is_never_cut_to_another_host(plain, host):
    assert refused(plain, f"longhost;{host};tcp;80;80") == [f"record longhost {NO_HOST}"]


@pytest.mark.parametrize("ports", ["123456789;80", "80;000000080", "12345678;12345678"])
def test_a_port_longer_than_its_room_is_never_cut_to_another_port(plain, ports):
    assert refused(plain, f"longport;{HOST};tcp;{ports}") == [f"record longport {NO_PORTS}"]


@pytest.mark.parametrize("protocol", ["tcpx", "udplite", "tcptcptcp"])
def test_a_protocol_longer_than_its_room_is_never_cut_to_another_protocol(plain, protocol):
    assert refused(plain, f"longproto;{HOST};{protocol};80;80") == [f"record longproto {NO_PROTOCOL}"]


def test_a_long_name_does_not_matter_because_it_is_not_used(plain):
    assert holds(plain, f"{'n' * 100};{HOST};tcp;80;80", pair("tcp", "80")) == []


def test_a_name_may_hold_any_sign(plain):
    assert holds(plain, f'web "1" # \\ server;{HOST};tcp;80;80', pair("tcp", "80")) == []

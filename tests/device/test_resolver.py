"""Resolver update: harvest of the IPv4 name servers, the added IPv6 ones, the forwarder's restart."""
import pytest

from expected_texts import found_wan, framed, ran, said

FILE = "/tmp/resolv.conf.auto"
CALLED = "echo other scripts call zel_resolv_update. >/dev/console"
RESTART = [
    "/usr/sbin/resolv_update.sh SYSTEM",
    "dnsmasq_update.sh",
    "echo  zel_resolv_update restart dnsmasq. >/dev/console",
    "/etc/init.d/dnsmasq2 restart",
]


def console(wan6=("", ""), wan4=("", ""), lan="", vlan7=("", ""), vlan8=("", ""), more=()):
    return [
        "other scripts call zel_resolv_update.",
        f"[zel_resolv_update] wan_ip6_dns1={wan6[0]}, wan_ip6_dns2={wan6[1]}, wan_ip4_dns1={wan4[0]}, "
        f"wan_ip4_dns2={wan4[1]}, ipv4_lan_ip={lan}",
        f"[zel_resolv_update] vlan7_ip4_dns1={vlan7[0]}, vlan7_ip4_dns2={vlan7[1]}, vlan8_ip4_dns1={vlan8[0]}, "
        f"vlan8_ip4_dns2={vlan8[1]}",
        *more,
        "zel_resolv_update restart dnsmasq.",
    ]


def update(gateway, text=None):
    if text is not None:
        gateway.file(FILE, text)
    return gateway.run("zel_resolv_update")


def harvested(gateway, text):
    """What a file with this text leaves as dns@wan100 and sdns@wan100, and the pauses."""
    run = update(gateway, text)
    return run.store.get("dns@wan100"), run.store.get("sdns@wan100"), run.pauses


def test_zel_resolv_update_from_first_to_last_line(gateway):
    gateway.store.update({
        "ip6_dns_primary@wan100": "2001:db8::53", "ip6_dns_secondary@wan100": "2001:db8::54",
        "dns@wan100": "192.0.2.9", "sdns@wan100": "192.0.2.10",
        "vlan7_dns1@system": "198.51.100.1", "vlan7_dns2@system": "198.51.100.2",
        "vlan8_dns1@system": "198.51.100.3", "vlan8_dns2@system": "198.51.100.4", "ip4addr@lan0": "192.168.1.1",
        "ip6_dns1@system": "2001:db8::aaaa", "ip6_dns2@system": "2001:db8::bbbb"})
    run = update(gateway, "nameserver 127.0.0.1\nnameserver 10.0.0.1\nnameserver 10.0.0.2\n")
    assert run.lines == [
        "echo other scripts call zel_resolv_update. >/dev/console",
        "/usr/sbin/resolv_update.sh SYSTEM",
        "dnsmasq_update.sh",
        "echo  zel_resolv_update restart dnsmasq. >/dev/console",
        "/etc/init.d/dnsmasq2 restart",
    ]
    assert run.log_lines == framed(
        "zel_resolv_update",
        ran("echo other scripts call zel_resolv_update. >/dev/console"),
        said("get_wan_ifname", "wandataif is [ppp0]"),
        said("get_wan_sect", "wan_sect is [wan100]"),
        ran("/usr/sbin/resolv_update.sh SYSTEM", "dnsmasq_update.sh",
            "echo  zel_resolv_update restart dnsmasq. >/dev/console", "/etc/init.d/dnsmasq2 restart"))
    assert run.console_lines == [
        "other scripts call zel_resolv_update.",
        "[zel_resolv_update] wan_ip6_dns1=2001:db8::53, wan_ip6_dns2=2001:db8::54, wan_ip4_dns1=10.0.0.1, "
        "wan_ip4_dns2=10.0.0.2, ipv4_lan_ip=192.168.1.1",
        "[zel_resolv_update] vlan7_ip4_dns1=198.51.100.1, vlan7_ip4_dns2=198.51.100.2, vlan8_ip4_dns1=198.51.100.3, "
        "vlan8_ip4_dns2=198.51.100.4",
        "wan_ip6_dns1 is 2001:db8::53",
        "zel_resolv_update restart dnsmasq.",
    ]
    assert run.files == {FILE: "nameserver 127.0.0.1\nnameserver 10.0.0.1\nnameserver 10.0.0.2\n"
                               "nameserver 2001:db8::53\nnameserver 2001:db8::54\n"}
    assert run.store_changes == {"dns@wan100": ("192.0.2.9", "10.0.0.1"), "sdns@wan100": ("192.0.2.10", "10.0.0.2")}
    assert run.journal == ["wandataif.sh", "if2sect.sh ppp0", "/usr/sbin/resolv_update.sh SYSTEM",
                           "dnsmasq_update.sh", "/etc/init.d/dnsmasq2 restart"]
    assert (run.pauses, run.switches, run.addresses, run.stderr, run.stdout, run.status) == (
        [], {}, {"br-lan": [], "br-lan1": [], "ppp0": []}, "", "", 1)


# --- harvest

def test_the_first_ipv4_address_is_the_first_server_and_the_loopback_is_none(gateway):
    assert harvested(gateway, "nameserver 127.0.0.1\nnameserver 10.0.0.1\nnameserver 10.0.0.2\n") == (
        "10.0.0.1", "10.0.0.2", [])


def test_one_ipv4_address_leaves_the_second_server_as_it_was(gateway):
    gateway.store["sdns@wan100"] = "192.0.2.7"
    assert harvested(gateway, "nameserver 10.0.0.1\n") == ("10.0.0.1", "192.0.2.7", [])


def test_the_last_address_behind_the_first_ipv4_one_is_the_second_server(gateway):
    assert harvested(gateway, "nameserver 10.0.0.1\nnameserver 10.0.0.2\nnameserver 10.0.0.3\n") == (
        "10.0.0.1", "10.0.0.3", [])


def test_an_ipv6_address_behind_the_first_ipv4_one_counts_as_second_server(gateway):
    assert harvested(gateway, "nameserver 10.0.0.1\nnameserver 2001:db8::1\n") == ("10.0.0.1", "2001:db8::1", [])


def test_an_ipv6_address_before_the_first_ipv4_one_is_overwritten(gateway):
    assert harvested(gateway, "nameserver 2001:db8::1\nnameserver 10.0.0.1\n") == ("10.0.0.1", None, [])


def test_a_lone_ipv6_address_is_stored_and_the_search_ends_with_the_fifth_attempt(gateway):
    run = update(gateway, "nameserver 2001:db8::1\n")
    assert run.store_changes == {"dns@wan100": (None, "2001:db8::1")}
    assert run.pauses == [1000, 1000, 1000, 1000]
    assert run.console_lines == console(wan4=("2001:db8::1", ""))
    assert run.lines == [CALLED, *RESTART]


def test_a_last_line_without_line_end_loses_its_last_character(gateway):
    assert harvested(gateway, "nameserver 10.0.0.12") == ("10.0.0.1", None, [])


def test_an_ipv4_address_of_15_characters_stays_whole(gateway):
    assert harvested(gateway, "nameserver 203.200.113.254\nnameserver 203.200.113.253\n") == (
        "203.200.113.254", "203.200.113.253", [])


def test_an_address_is_cut_to_15_characters(gateway):
    assert harvested(gateway, "nameserver 2001:db8:1234:5678::53\nnameserver 10.0.0.1\n"
                              "nameserver 2001:db8:1234:5678::54\n") == ("10.0.0.1", "2001:db8:1234:5", [])
    assert harvested(gateway, "nameserver 2001:db8:1234:5678::53\n") == (
        "2001:db8:1234:5", "2001:db8:1234:5", [1000] * 4)


def test_a_loopback_entry_without_line_end_is_taken_for_an_address(gateway):
    assert harvested(gateway, "nameserver 127.0.0.1") == ("127.0.0.", None, [])


def test_the_words_of_a_line_are_separated_by_blanks_only_and_each_one_counts(gateway):
    assert harvested(gateway, "nameserver   10.0.0.1x 10.0.0.2\n") == ("10.0.0.1", "10.0.0.2", [])


def test_any_word_other_than_nameserver_is_taken_for_an_address(gateway):
    assert harvested(gateway, "search isp.example\nnameserver 10.0.0.1\n") == ("searc", "10.0.0.1", [])


def test_a_blank_behind_an_address_makes_the_line_end_a_word_of_its_own(gateway):
    assert harvested(gateway, "nameserver 10.0.0.12 \n") == ("10.0.0.1", "", [])


def test_an_empty_line_is_taken_for_an_empty_ipv4_address(gateway):
    assert harvested(gateway, "\nnameserver 10.0.0.1\n") == ("", "10.0.0.1", [])


def test_a_word_with_a_control_character_counts_as_absent_and_the_log_says_so(gateway):
    run = update(gateway, "nameserver\t10.0.0.1\nnameserver 10.0.0.2\r\nnameserver 10.0.0.3\n")
    assert run.store_changes == {"dns@wan100": (None, "10.0.0.3")}
    assert run.messages("zel_resolv_update") == ["a name server holds a control character and counts as absent."] * 2


def test_a_line_longer_than_99_bytes_is_read_in_pieces(gateway):
    assert harvested(gateway, " " * 97 + "10.0.0.1\n") == ("1", ".0.0.1", [])


def test_a_missing_file_is_looked_for_five_times(gateway):
    gateway.script("resolv_update.sh", sh=f"echo nameserver 10.0.0.9 > {FILE}")
    run = gateway.run("zel_resolv_update")
    assert run.pauses == [1000, 1000, 1000, 1000]
    assert run.store_changes == {}
    assert run.lines == [CALLED, *RESTART]
    assert run.console_lines == console()


def test_a_file_that_appears_during_a_pause_is_read_at_the_next_attempt(gateway):
    gateway.at_pause(3, FILE, "nameserver 10.0.0.1\n")
    run = gateway.run("zel_resolv_update")
    assert run.pauses == [1000, 1000, 1000]
    assert run.store_changes == {"dns@wan100": (None, "10.0.0.1")}


def test_a_file_that_appears_during_the_last_pause_is_still_read(gateway):
    gateway.at_pause(4, FILE, "nameserver 10.0.0.1\n")
    run = gateway.run("zel_resolv_update")
    assert run.pauses == [1000, 1000, 1000, 1000]
    assert run.store_changes == {"dns@wan100": (None, "10.0.0.1")}


def test_an_ipv6_address_of_an_earlier_attempt_is_replaced_by_a_later_ipv4_one(gateway):
    gateway.at_pause(1, FILE, "nameserver 10.0.0.1\nnameserver 10.0.0.2\n")
    assert harvested(gateway, "nameserver 2001:db8::1\n") == ("10.0.0.1", "10.0.0.2", [1000])


def test_an_empty_file_is_looked_at_five_times(gateway):
    assert harvested(gateway, "") == (None, None, [1000] * 4)


def test_the_servers_belong_to_the_section_of_the_wan_interface(gateway):
    gateway.wan("eth4", sect="wan7")
    gateway.store.update({"ip6_dns_primary@wan7": "2001:db8::7", "ip6_dns_primary@wan100": "2001:db8::100"})
    run = update(gateway, "nameserver 10.0.0.1\nnameserver 10.0.0.2\n")
    assert run.store_changes == {"dns@wan7": (None, "10.0.0.1"), "sdns@wan7": (None, "10.0.0.2")}
    assert run.log_lines == framed("zel_resolv_update", ran(CALLED), found_wan("eth4", "wan7"), ran(*RESTART))
    assert run.files[FILE] == "nameserver 10.0.0.1\nnameserver 10.0.0.2\nnameserver 2001:db8::7\n"


# --- what is reported

def test_the_console_shows_values_of_the_store_cut_to_their_room(gateway):
    gateway.store.update({"ip6_dns_primary@wan100": "2" * 60, "vlan7_dns1@system": "7" * 30, "ip4addr@lan0": "4" * 30})
    run = update(gateway, "nameserver 10.0.0.1\n")
    assert run.console_lines == console(wan6=("2" * 45, ""), wan4=("10.0.0.1", ""), lan="4" * 15,
                                        vlan7=("7" * 15, ""), more=["wan_ip6_dns1 is " + "2" * 45])


# --- added IPv6 servers

BASE = "nameserver 10.0.0.1\n"


def added(gateway, text=BASE):
    run = update(gateway, text)
    assert run.lines == [CALLED, *RESTART]
    assert run.files[FILE].startswith(text)
    return run.files[FILE][len(text):]


def test_without_ipv6_servers_the_file_stays_as_the_script_left_it(gateway):
    run = update(gateway, BASE)
    assert run.files == {FILE: BASE}
    assert run.console_lines == console(wan4=("10.0.0.1", ""))


def test_the_first_server_of_the_wan_may_stand_alone(gateway):
    gateway.store["ip6_dns_primary@wan100"] = "2001:db8::53"
    assert added(gateway) == "nameserver 2001:db8::53\n"


def test_a_second_server_of_the_wan_without_a_first_one_is_ignored(gateway):
    gateway.store["ip6_dns_secondary@wan100"] = "2001:db8::54"
    run = update(gateway, BASE)
    assert run.files[FILE] == BASE
    assert run.console_lines == console(wan6=("", "2001:db8::54"), wan4=("10.0.0.1", ""))


def test_the_servers_of_the_settings_are_not_known_to_this_command(gateway):
    gateway.store.update({"ip6_dns1@system": "2001:db8::aaaa", "ip6_dns2@system": "2001:db8::bbbb"})
    assert added(gateway) == ""


def test_an_address_that_the_script_has_written_is_not_added_again(gateway):
    gateway.store.update({"ip6_dns_primary@wan100": "2001:db8::53", "ip6_dns_secondary@wan100": "2001:db8::54"})
    gateway.script("resolv_update.sh", sh=f"echo nameserver 2001:db8::53 >> {FILE}")
    run = update(gateway, BASE)
    assert run.files[FILE] == BASE + "nameserver 2001:db8::53\nnameserver 2001:db8::54\n"
    assert run.console_lines == console(wan6=("2001:db8::53", "2001:db8::54"), wan4=("10.0.0.1", ""),
                                        more=["wan_ip6_dns1 is 2001:db8::53"])


def test_a_second_address_that_the_script_has_written_is_not_added_again(gateway):
    gateway.store.update({"ip6_dns_primary@wan100": "2001:db8::53", "ip6_dns_secondary@wan100": "2001:db8::54"})
    assert added(gateway, BASE + "nameserver 2001:db8::54\n") == "nameserver 2001:db8::53\n"


def test_an_address_that_is_part_of_another_text_counts_as_written(gateway):
    gateway.store["ip6_dns_primary@wan100"] = "2001:db8::5"
    assert added(gateway, BASE + "# 2001:db8::53\n") == ""


def test_the_same_address_twice_is_added_twice_because_only_the_snapshot_is_searched(gateway):
    gateway.store.update({"ip6_dns_primary@wan100": "2001:db8::53", "ip6_dns_secondary@wan100": "2001:db8::53"})
    assert added(gateway) == "nameserver 2001:db8::53\nnameserver 2001:db8::53\n"


@pytest.mark.parametrize("before, again", [(1011, ""), (1012, "nameserver 2001:db8::53\n")])
def test_only_the_first_1023_bytes_are_searched(gateway, before, again):
    gateway.store["ip6_dns_primary@wan100"] = "2001:db8::53"
    text = (BASE + "#" * before)[:before - 1] + "\n2001:db8::53\n"
    assert added(gateway, text) == again


def test_the_file_is_rebuilt_before_the_servers_are_added(gateway):
    gateway.store["ip6_dns_primary@wan100"] = "2001:db8::53"
    gateway.script("resolv_update.sh", sh=f"echo rebuilt > {FILE}")
    run = update(gateway, BASE)
    assert run.files == {FILE: "rebuilt\nnameserver 2001:db8::53\n"}


def test_the_forwarder_is_restarted_after_the_servers_were_added(gateway):
    gateway.store["ip6_dns_primary@wan100"] = "2001:db8::53"
    gateway.script("dnsmasq_update.sh", sh=f"cat {FILE} > /tmp/seen")
    assert update(gateway, BASE).files["/tmp/seen"] == BASE + "nameserver 2001:db8::53\n"


# --- failures

def test_a_file_missing_after_the_script_ends_the_update_without_a_restart(gateway):
    gateway.store["ip6_dns_primary@wan100"] = "2001:db8::53"
    gateway.script("resolv_update.sh", sh=f"rm {FILE}")
    run = update(gateway, BASE)
    assert run.lines == [CALLED, "/usr/sbin/resolv_update.sh SYSTEM"]
    assert run.store_changes == {"dns@wan100": (None, "10.0.0.1")}
    assert run.files == {}
    assert run.status == 1


def test_a_file_that_cannot_be_written_ends_the_update_without_a_restart(gateway):
    gateway.script("resolv_update.sh", sh=f"rm {FILE}; mkdir {FILE}")
    run = update(gateway, BASE)
    assert run.lines == [CALLED, "/usr/sbin/resolv_update.sh SYSTEM"]


def test_failing_scripts_do_not_stop_the_update(gateway):
    gateway.store["ip6_dns_primary@wan100"] = "2001:db8::53"
    for program in ("resolv_update.sh", "dnsmasq_update.sh", "dnsmasq2"):
        gateway.script(program, status=3)
    run = update(gateway, BASE)
    assert run.shell == [
        (0, CALLED), (3, "/usr/sbin/resolv_update.sh SYSTEM"), (3, "dnsmasq_update.sh"),
        (0, "echo  zel_resolv_update restart dnsmasq. >/dev/console"), (3, "/etc/init.d/dnsmasq2 restart")]
    assert run.files[FILE] == BASE + "nameserver 2001:db8::53\n"


# --- the daemon that learns servers from advertisements

def test_the_advertised_servers_daemon_is_started_with_its_file(gateway):
    run = gateway.run("zel_ipv6_lan", "lan")
    assert run.lines[-2] == "rdnssd -r /tmp/rdnssd"
    assert run.calls_of("rdnssd") == [["rdnssd", "-r", "/tmp/rdnssd"]]


def test_the_advertised_servers_daemon_is_stopped_before_its_file_is_removed(gateway):
    gateway.file("/tmp/rdnssd", "nameserver 2001:db8::1\n")
    gateway.file("/tmp/resolv.conf", "")
    gateway.script("killall", "rdnssd", sh="cat /tmp/rdnssd > /tmp/seen")
    run = gateway.run("zel_ipv6cp_down")
    at = run.lines.index("killall rdnssd")
    assert run.shell[at:at + 2] == [(0, "killall rdnssd"), (0, "rm /tmp/rdnssd")]
    assert run.files["/tmp/seen"] == "nameserver 2001:db8::1\n"
    assert "/tmp/rdnssd" not in run.files

"""Static routes that send further subnets of the delegated prefix to routers inside the LAN."""
import pytest

from expected_texts import BARE, LOADING_CONSOLE

ROUTER, OTHER = "fe80::a", "2001:db8:1234:5601::b"
NEIGHBORS = (f"{ROUTER} dev br-lan lladdr 00:11:22:33:44:0a router REACHABLE\n"
             f"{OTHER} dev br-lan1 lladdr 00:11:22:33:44:0b STALE\n")
SHOW = "/usr/sbin/ip -6 neigh show > /tmp/ip6_rt"
AROUND = "ecmh -i ppp0 -d br-lan", "ip6tables-restore /tmp/.ip6t"


@pytest.fixture
def routed(gateway):
    """A delegated prefix 2001:db8:1234:5600::/56 and two known routers."""
    gateway.store.update(BARE)
    gateway.store.update({
        "ip6_dhcp6c_prefix_addr@system": "2001:db8:1234:5600::", "ip6_dhcp6c_prefix_length@system": "56",
        "add_static_route@system": "1"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    gateway.script("ip", "-6", "neigh", "show", stdout=NEIGHBORS)
    return gateway


def entries(gateway, *pairs):
    gateway.store["num_extra_routes@system"] = str(len(pairs))
    for number, (subnet_id, router) in enumerate(pairs, 1):
        if subnet_id is not None:
            gateway.store[f"extra_sid_{number}@system"] = subnet_id
        if router is not None:
            gateway.store[f"extra_gateway_{number}@system"] = router


def restart(gateway):
    """The run, the shell lines of the routes, and their console text without what comes before and after."""
    run = gateway.run("ipv6_lan_restart")
    first, last = (run.lines.index(line) for line in AROUND)
    told = [line for line in run.console.split("\n") if "set_static_route6" in line or "flush_static_routes6" in line]
    return run, run.lines[first + 1:last], told


def route(subnet_id, router=ROUTER, link="br-lan"):
    return [SHOW, f"/usr/sbin/ip -6 route add 2001:0DB8:1234:56{subnet_id}::/64 via {router} dev {link}"]


def removed(number):
    return [f"ccfg_cli unset extra_sid_{number}@system", f"ccfg_cli unset extra_gateway_{number}@system"]


def changes(run):
    """The changes of the keys that the routes are kept in."""
    return {key: change for key, change in run.store_changes.items()
            if key.startswith(("extra_", "ip6_extra_", "ip6_pre_routing_", "num_extra_", "add_static_"))}


FIRST = {"ip6_pre_routing_prefix@system": (None, "2001:0DB8:1234:56")}


def test_two_routes_are_installed_and_recorded(routed):
    entries(routed, ("10", ROUTER), ("11", OTHER))
    run, lines, told = restart(routed)
    assert lines == [
        "/usr/sbin/ip -6 neigh show > /tmp/ip6_rt",
        "/usr/sbin/ip -6 route add 2001:0DB8:1234:5610::/64 via fe80::a dev br-lan",
        "/usr/sbin/ip -6 neigh show > /tmp/ip6_rt",
        "/usr/sbin/ip -6 route add 2001:0DB8:1234:5611::/64 via 2001:db8:1234:5601::b dev br-lan1",
    ]
    assert told == []
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": (None, "10;11")}
    assert run.files["/tmp/ip6_rt"] == NEIGHBORS
    assert run.calls_of("ip") == [
        ["/usr/sbin/ip", "-6", "neigh", "show"],
        ["/usr/sbin/ip", "-6", "route", "add", "2001:0DB8:1234:5610::/64", "via", "fe80::a", "dev", "br-lan"],
        ["/usr/sbin/ip", "-6", "neigh", "show"],
        ["/usr/sbin/ip", "-6", "route", "add", "2001:0DB8:1234:5611::/64", "via", "2001:db8:1234:5601::b", "dev",
         "br-lan1"]]


def test_without_the_flag_nothing_is_done_and_the_record_stays(routed):
    entries(routed, ("10", ROUTER))
    routed.store.update({"add_static_route@system": "0", "ip6_extra_sid@system": "77",
                         "ip6_pre_routing_prefix@system": "2001:0DB8:9:99"})
    run, lines, told = restart(routed)
    assert (lines, told, changes(run)) == ([], [], {})
    assert "/tmp/ip6_rt" not in run.files


@pytest.mark.parametrize("flag", ["2", "-1"])
def test_any_flag_other_than_zero_installs_routes(routed, flag):
    entries(routed, ("10", ROUTER))
    routed.store["add_static_route@system"] = flag
    assert restart(routed)[1] == route("10")


@pytest.mark.parametrize("count", ["0", "-3"])
def test_a_count_of_zero_or_less_installs_nothing_and_empties_the_record(routed, count):
    entries(routed, ("10", ROUTER))
    routed.store.update({"num_extra_routes@system": count, "ip6_extra_sid@system": "77"})
    run, lines, told = restart(routed)
    assert (lines, told) == ([], [])
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": ("77", "")}


def test_entries_beyond_the_count_are_not_read(routed):
    entries(routed, ("10", ROUTER), ("11", ROUTER))
    routed.store["num_extra_routes@system"] = "1"
    assert restart(routed)[1] == route("10")


# --- the record of the last run

def test_a_first_run_flushes_nothing_and_records_its_routing_prefix(routed):
    entries(routed, ("10", ROUTER))
    routed.store["ip6_extra_sid@system"] = "77"
    run, lines, told = restart(routed)
    assert (lines, told) == (route("10"), [])
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": ("77", "10")}


def test_a_later_run_flushes_the_recorded_routes_first_and_keeps_the_recorded_prefix(routed):
    entries(routed, ("10", ROUTER))
    routed.store.update({"ip6_extra_sid@system": "77;05;a", "ip6_pre_routing_prefix@system": "2001:0DB8:9:99"})
    run, lines, told = restart(routed)
    assert lines == [
        "/usr/sbin/ip -6 route flush 2001:0DB8:9:9977::/64",
        "/usr/sbin/ip -6 route flush 2001:0DB8:9:9905::/64",
        "/usr/sbin/ip -6 route flush 2001:0DB8:9:99a::/64",
        *route("10"),
    ]
    assert told == []
    assert changes(run) == {"ip6_extra_sid@system": ("77;05;a", "10")}


def test_a_later_run_with_an_empty_record_says_so_and_flushes_nothing(routed):
    entries(routed, ("10", ROUTER))
    routed.store["ip6_pre_routing_prefix@system"] = "2001:0DB8:9:99"
    run, lines, told = restart(routed)
    assert lines == route("10")
    assert told == ["[flush_static_routes6][1000] ERROR: ip6_extra_sid@system is empty"]
    assert changes(run) == {"ip6_extra_sid@system": (None, "10")}


def test_two_restarts_flush_what_the_first_installed(routed):
    entries(routed, ("10", ROUTER), ("11", OTHER))
    restart(routed)
    run, lines, told = restart(routed)
    assert lines == [
        "/usr/sbin/ip -6 route flush 2001:0DB8:1234:5610::/64",
        "/usr/sbin/ip -6 route flush 2001:0DB8:1234:5611::/64",
        *route("10"), *route("11", OTHER, "br-lan1")]
    assert (told, changes(run)) == ([], {})


def test_routes_have_the_prefix_length_of_the_first_lan(routed):
    routed.store.update({"ip6_proto@wan100": "static", "ip6_pfxlen@lan0": "62", "ip6_extra_sid@system": "77",
                         "ip6_pre_routing_prefix@system": "2001:0DB8:9:99"})
    entries(routed, ("10", ROUTER))
    assert restart(routed)[1] == [
        "/usr/sbin/ip -6 route flush 2001:0DB8:9:9977::/62",
        SHOW,
        "/usr/sbin/ip -6 route add 10::/62 via fe80::a dev br-lan",
    ]


# --- subnet ids

def test_an_id_of_one_digit_gets_a_zero_in_front(routed):
    entries(routed, ("5", ROUTER))
    run, lines, told = restart(routed)
    assert (lines, told) == (route("05"), [])
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": (None, "05")}


def test_an_empty_id_is_a_duplicate_and_not_recorded(routed):
    entries(routed, ("", ROUTER), ("10", ROUTER))
    run, lines, told = restart(routed)
    assert lines == removed(1) + route("10")
    assert told == ["[set_static_route6][1000] Duplicate subnet-id 0"]
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": (None, "10"), "extra_sid_1@system": ("", None),
                            "extra_gateway_1@system": (ROUTER, None)}


def test_a_gap_in_the_numbering_is_a_duplicate_and_unset_again(routed):
    entries(routed, (None, None), ("10", ROUTER))
    run, lines, told = restart(routed)
    assert lines == removed(1) + route("10")
    assert told == ["[set_static_route6][1000] Duplicate subnet-id 0"]
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": (None, "10")}


def test_a_second_gap_repeats_the_first_one(routed):
    entries(routed, (None, None), (None, None))
    run, lines, told = restart(routed)
    assert lines == removed(1) + removed(2)
    assert told == ["[set_static_route6][1000] Duplicate subnet-id 0", "[set_static_route6][1000] Duplicate subnet-id "]
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": (None, "")}


def test_an_id_of_zero_is_an_ordinary_one_when_it_has_two_digits(routed):
    entries(routed, ("0", ROUTER), ("00", ROUTER))
    run, lines, _ = restart(routed)
    assert lines == route("00") + route("00")
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": (None, "00;00")}


def test_the_second_of_two_equal_entries_is_reported_as_the_tool_printed_it_and_removed(routed):
    entries(routed, ("10", ROUTER), ("10", OTHER))
    run, lines, told = restart(routed)
    assert lines == route("10") + removed(2)
    assert told == ["[set_static_route6][1000] Duplicate subnet-id 10"]
    assert "[set_static_route6][1000] Duplicate subnet-id 10\n\n" in run.console
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": (None, "10"), "extra_sid_2@system": ("10", None),
                            "extra_gateway_2@system": (OTHER, None)}
    assert run.store["num_extra_routes@system"] == "2"


def test_ids_are_compared_ignoring_case(routed):
    entries(routed, ("ab", ROUTER), ("cd", ROUTER), ("AB", ROUTER))
    run, lines, told = restart(routed)
    assert lines == route("ab") + route("cd") + removed(3)
    assert told == ["[set_static_route6][1000] Duplicate subnet-id AB"]


def test_earlier_entries_are_compared_as_the_tool_prints_them(routed):
    entries(routed, ("5", ROUTER), ("05", ROUTER))
    assert restart(routed)[1] == route("05") + route("05")


def test_an_id_of_a_bridge_given_twice_is_removed_and_recorded_twice(routed):
    entries(routed, ("01", ROUTER), ("01", ROUTER))
    run, lines, told = restart(routed)
    assert lines == removed(1) + removed(2)
    assert told == ["[set_static_route6][1000] Duplicate subnet-id 01"] * 2
    assert changes(run)["ip6_extra_sid@system"] == (None, "01;01")


@pytest.mark.parametrize("key, text, extra", [
    ("ip6_gua_sid@lan0", "01", "01"), ("ip6_gua_sid@lan1", "02", "02"), ("ip6_gua_sid@lan0", "aB", "Ab"),
    ("ip6_ula_sid@lan0", "01", "0001"), ("ip6_ula_sid@lan1", "0c", "000C"),
])
def test_an_id_of_a_bridge_is_a_duplicate_and_recorded_all_the_same(routed, key, text, extra):
    routed.store[key] = text
    entries(routed, (extra, ROUTER), ("10", ROUTER))
    run, lines, told = restart(routed)
    assert [line for line in lines if "route add" not in line] == [*removed(1), SHOW]
    assert told == [f"[set_static_route6][1000] Duplicate subnet-id {extra}"]
    assert f"Duplicate subnet-id {extra}\n\n" not in run.console
    assert changes(run)["ip6_extra_sid@system"] == (None, f"{extra};10")
    assert changes(run)["extra_sid_1@system"] == (extra, None)


def test_a_unique_local_id_is_not_met_by_its_two_digits(routed):
    routed.store["ip6_ula_sid@lan0"] = "0c"
    entries(routed, ("0c", ROUTER))
    run, lines, told = restart(routed)
    assert (lines, told) == (route("0c"), [])
    assert run.store["extra_sid_1@system"] == "0c"


def test_ids_that_no_longer_fit_are_left_out_of_the_record_and_the_log_says_so(routed):
    ids = [letter * 40 for letter in "abcd"]
    entries(routed, *[(i, ROUTER) for i in ids], ("77", ROUTER))
    run, lines, _ = restart(routed)
    assert run.store["ip6_extra_sid@system"] == ";".join([*ids[:3], "77"])
    assert run.messages("set_static_route6") == [
        f"subnet-id {ids[3]} does not fit into ip6_extra_sid@system and is left out of it."]
    assert lines == [line for i in [*ids, "77"] for line in route(i)]


def test_an_id_that_fills_the_record_to_its_last_byte_is_kept(routed):
    ids = [letter * 41 for letter in "abc"]         # three of them and two separators: 125 bytes
    entries(routed, *[(i, ROUTER) for i in ids], ("7", ROUTER), ("88", ROUTER))
    run, _, _ = restart(routed)
    assert run.store["ip6_extra_sid@system"] == ";".join(ids)
    assert run.messages("set_static_route6") == [
        f"subnet-id {i} does not fit into ip6_extra_sid@system and is left out of it." for i in ("07", "88")]
    routed.store["extra_sid_1@system"] = "a" * 40
    del routed.store["ip6_pre_routing_prefix@system"]
    run, _, _ = restart(routed)
    assert run.store["ip6_extra_sid@system"] == ";".join(["a" * 40, *ids[1:], "07"])
    assert len(run.store["ip6_extra_sid@system"]) == 127


def test_an_id_longer_than_its_room_is_cut(routed):
    entries(routed, ("e" * 60, ROUTER))
    run, lines, _ = restart(routed)
    assert lines == route("e" * 45)
    assert run.store["ip6_extra_sid@system"] == "e" * 45


def test_an_id_with_other_signs_stays_one_word(routed):
    entries(routed, ("1 $(reboot)", ROUTER))
    run, lines, _ = restart(routed)
    assert run.calls_of("ip")[1] == [
        "/usr/sbin/ip", "-6", "route", "add", "2001:0DB8:1234:561 $(reboot)::/64", "via", "fe80::a", "dev", "br-lan"]
    assert len(lines) == 2


# --- the router

def test_a_router_that_is_no_neighbor_drops_the_entry(routed):
    entries(routed, ("10", "fe80::ffff"), ("11", ROUTER))
    run, lines, told = restart(routed)
    assert lines == [SHOW, *removed(1), *route("11")]
    assert told == ["[set_static_route6][1000] No such device matches the gateway address:fe80::ffff "]
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": (None, "10;11"), "extra_sid_1@system": ("10", None),
                            "extra_gateway_1@system": ("fe80::ffff", None)}


def test_a_router_written_in_another_case_is_no_neighbor(routed):
    entries(routed, ("10", "FE80::A"))
    _, lines, told = restart(routed)
    assert lines == [SHOW, *removed(1)]
    assert told == ["[set_static_route6][1000] No such device matches the gateway address:FE80::A "]


def test_a_missing_router_is_no_neighbor(routed):
    entries(routed, ("10", None))
    _, lines, told = restart(routed)
    assert lines == [SHOW, *removed(1)]
    assert told == ["[set_static_route6][1000] No such device matches the gateway address: "]


def test_a_router_whose_address_only_begins_like_a_neighbors_does_not_match(routed):
    entries(routed, ("10", "fe80::"))
    assert restart(routed)[1] == [SHOW, *removed(1)]


def test_the_first_matching_line_names_the_device(routed):
    routed.script("ip", "-6", "neigh", "show",
                  stdout="fe80::1 dev eth9 lladdr 00:11:22:33:44:01 STALE\n"
                         "fe80::a dev br-lan1 lladdr 00:11:22:33:44:0a STALE\n"
                         "fe80::a dev br-lan lladdr 00:11:22:33:44:0a STALE\n")
    entries(routed, ("10", ROUTER))
    assert restart(routed)[1] == route("10", link="br-lan1")


def test_a_router_without_link_layer_address_is_a_neighbor_too(routed):
    routed.script("ip", "-6", "neigh", "show", stdout="fe80::a dev br-lan  FAILED\n")
    entries(routed, ("10", ROUTER))
    assert restart(routed)[1] == route("10")


def test_a_line_without_a_device_does_not_name_one(routed):
    routed.script("ip", "-6", "neigh", "show", stdout="fe80::1 dev br-lan lladdr 00:11:22:33:44:01 STALE\nfe80::a\n")
    entries(routed, ("10", ROUTER))
    _, lines, told = restart(routed)
    assert lines == [SHOW, *removed(1)]
    assert told == ["[set_static_route6][1000] No such device matches the gateway address:fe80::a "]


def test_an_empty_neighbor_table_at_the_first_entry_drops_it(routed):
    routed.script("ip", "-6", "neigh", "show", stdout="")
    entries(routed, ("10", ROUTER))
    assert restart(routed)[1] == [SHOW, *removed(1)]


@pytest.mark.parametrize("later", [{"stdout": ""}, {"sh": "rm /tmp/ip6_rt"}])
def test_an_empty_or_missing_neighbor_table_at_a_later_entry_leaves_the_device_of_the_one_before(routed, later):
    routed.script("ip", "-6", "neigh", "show", **later)
    routed.script("ip", "-6", "neigh", "show", stdout=NEIGHBORS, times=1)
    entries(routed, ("10", ROUTER), ("11", "fe80::ffff"))
    assert restart(routed)[1] == route("10") + route("11", "fe80::ffff")


def test_a_table_without_the_router_clears_the_device_of_the_entry_before(routed):
    entries(routed, ("10", ROUTER), ("11", "fe80::ffff"))
    assert restart(routed)[1] == [*route("10"), SHOW, *removed(2)]


def test_the_neighbor_table_of_the_last_run_is_deleted_first(routed):
    routed.file("/tmp/ip6_rt", "left behind\n")
    routed.script("ecmh", sh="cp -l /tmp/ip6_rt /tmp/same_file")
    entries(routed, ("10", ROUTER))
    run, _, _ = restart(routed)
    assert (run.files["/tmp/ip6_rt"], run.files["/tmp/same_file"]) == (NEIGHBORS, "left behind\n")


def test_a_failed_route_is_passed_over_silently(routed):
    routed.script("ip", "-6", "route", status=2)
    entries(routed, ("10", ROUTER), ("11", OTHER))
    run, lines, told = restart(routed)
    assert (lines, told) == (route("10") + route("11", OTHER, "br-lan1"), [])
    assert changes(run) == {**FIRST, "ip6_extra_sid@system": (None, "10;11")}


def test_the_console_has_nothing_else_from_the_routes(routed):
    entries(routed, ("10", ROUTER), ("01", ROUTER))
    run, _, told = restart(routed)
    assert run.console_lines[:1] == LOADING_CONSOLE
    assert told == ["[set_static_route6][1000] Duplicate subnet-id 01"]
    assert run.messages("set_static_route6") == []


def test_a_new_start_of_the_lan_forgets_the_routes_without_removing_them(routed):
    entries(routed, ("10", ROUTER))
    routed.store.update({"ip6_extra_sid@system": "10", "ip6_pre_routing_prefix@system": "2001:0DB8:1234:56"})
    run = routed.run("zel_ipv6_lan", "lan")
    assert run.calls_of("ip") == []
    assert changes(run) == {
        "add_static_route@system": ("1", "0"), "num_extra_routes@system": ("1", "0"),
        "ip6_pre_routing_prefix@system": ("2001:0DB8:1234:56", ""), "ip6_extra_sid@system": ("10", "")}

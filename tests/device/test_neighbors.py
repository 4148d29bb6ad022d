"""The table of neighbors: loaded, merged with what the kernel lists, aged and stored."""
import pytest

from expected_texts import framed, ran, said

TABLE, SHOWN = "/tmp/.ip6_neigh", "/tmp/.ip6_neigh_show"
SHOW = "ip -6 neigh show > /tmp/.ip6_neigh_show"


def listed(gateway, *lines, **options):
    gateway.script("ip", "-6", "neigh", "show", stdout="".join(line + "\n" for line in lines), **options)


def table(gateway, *lines):
    gateway.file(TABLE, "".join(line + "\n" for line in lines))


def update(gateway):
    return gateway.run("zel_ip6neigh_update")


def notes(gateway):
    """The log texts of a run, checked to be the only ones besides the snapshot's line."""
    run = update(gateway)
    assert run.lines == [SHOW]
    return run.messages("zel_ip6neigh_update")


HOST1 = "2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01"
HOST2 = "2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02"
HOST3 = "fe80::3 dev br-lan1 lladdr 0a:bc:de:f0:12:03"


def test_zel_ip6neigh_update_from_first_to_last_line(gateway):
    table(gateway, HOST1 + " uptime 400", HOST2 + " uptime 700",
          "fe80::9 dev br-lan lladdr ff:ee:dd:cc:bb:aa uptime 401")
    listed(gateway, HOST2 + " REACHABLE", HOST3 + " router STALE")
    run = update(gateway)
    assert run.lines == ["ip -6 neigh show > /tmp/.ip6_neigh_show"]
    assert run.log_lines == framed(
        "zel_ip6neigh_update",
        said("zel_ip6neigh_update",
             "1, 2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01 uptime 400.",
             "1, 2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02 uptime 700.",
             "1, fe80::9 dev br-lan lladdr ff:ee:dd:cc:bb:aa uptime 401."),
        ran("ip -6 neigh show > /tmp/.ip6_neigh_show"),
        said("zel_ip6neigh_update",
             "2, 2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02.",
             "2.1, 2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01.",
             "2.2.",
             "2.1, 2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02.",
             "2, fe80::3 dev br-lan1 lladdr 0a:bc:de:f0:12:03.",
             "2.1, 2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01.",
             "2.2.",
             "2.1, 2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02.",
             "2.2.",
             "2.1, fe80::9 dev br-lan lladdr ff:ee:dd:cc:bb:aa.",
             "2.2.",
             "2.3.",
             "3, 2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01 uptime 400[1000].",
             "3, 2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02 uptime 1000[1000].",
             "3, fe80::9 dev br-lan lladdr ff:ee:dd:cc:bb:aa uptime 401[1000].",
             "3, fe80::3 dev br-lan1 lladdr 0a:bc:de:f0:12:03 uptime 1000[1000].",
             "4, hs_count 3."))
    assert run.files == {
        TABLE: "2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02 uptime 1000\n"
               "fe80::9 dev br-lan lladdr ff:ee:dd:cc:bb:aa uptime 401\n"
               "fe80::3 dev br-lan1 lladdr 0a:bc:de:f0:12:03 uptime 1000\n",
        SHOWN: HOST2 + " REACHABLE\n" + HOST3 + " router STALE\n",
    }
    assert run.calls == [["ip", "-6", "neigh", "show"]]
    assert (run.console, run.pauses, run.store_changes, run.switches, run.stderr, run.status) == ("", [], {}, {}, "", 1)


def test_three_neighbors_at_the_first_run_give_three_entries_with_the_current_uptime(gateway):
    gateway.uptime = 4711
    listed(gateway, HOST1 + " STALE", HOST2 + " STALE", HOST3 + " STALE")
    run = update(gateway)
    assert run.files[TABLE] == HOST1 + " uptime 4711\n" + HOST2 + " uptime 4711\n" + HOST3 + " uptime 4711\n"
    assert run.messages("zel_ip6neigh_update") == [
        "2, 2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01.",
        "2.3.",
        "2, 2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02.",
        "2.1, 2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01.",
        "2.2.",
        "2.3.",
        "2, fe80::3 dev br-lan1 lladdr 0a:bc:de:f0:12:03.",
        "2.1, 2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01.",
        "2.2.",
        "2.1, 2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02.",
        "2.2.",
        "2.3.",
        "3, 2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01 uptime 4711[4711].",
        "3, 2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02 uptime 4711[4711].",
        "3, fe80::3 dev br-lan1 lladdr 0a:bc:de:f0:12:03 uptime 4711[4711].",
        "4, hs_count 3.",
    ]


def test_no_neighbor_at_all_leaves_an_empty_table(gateway):
    run = update(gateway)
    assert run.files == {TABLE: "", SHOWN: ""}
    assert run.messages("zel_ip6neigh_update") == ["4, hs_count 0."]


@pytest.mark.parametrize("last_seen, kept, count", [(400, False, 0), (401, True, 1), (399, False, 0), (1000, True, 1)])
def test_an_entry_not_seen_for_600_seconds_is_dropped(gateway, last_seen, kept, count):
    table(gateway, f"{HOST1} uptime {last_seen}")
    run = update(gateway)
    assert run.files[TABLE] == (f"{HOST1} uptime {last_seen}\n" if kept else "")
    assert run.messages("zel_ip6neigh_update") == [
        f"1, {HOST1} uptime {last_seen}.", f"3, {HOST1} uptime {last_seen}[1000].", f"4, hs_count {count}."]


def test_an_entry_from_before_a_clock_that_starts_anew_is_kept(gateway):
    gateway.uptime = 5
    table(gateway, f"{HOST1} uptime 100000")
    assert update(gateway).files[TABLE] == f"{HOST1} uptime 100000\n"


def test_an_entry_that_the_kernel_lists_is_kept_however_old_it_was(gateway):
    gateway.uptime = 100000
    table(gateway, f"{HOST1} uptime 1")
    listed(gateway, HOST1 + " STALE")
    run = update(gateway)
    assert run.files[TABLE] == f"{HOST1} uptime 100000\n"
    assert run.messages("zel_ip6neigh_update") == [
        f"1, {HOST1} uptime 1.", f"2, {HOST1}.", f"2.1, {HOST1}.", f"3, {HOST1} uptime 100000[100000].",
        "4, hs_count 1."]


def test_the_table_lives_from_run_to_run(gateway):
    listed(gateway, HOST1 + " STALE")
    update(gateway)
    listed(gateway, HOST2 + " STALE")
    gateway.uptime = 1599
    assert update(gateway).files[TABLE] == HOST1 + " uptime 1000\n" + HOST2 + " uptime 1599\n"
    listed(gateway)
    gateway.uptime = 1600
    assert update(gateway).files[TABLE] == HOST2 + " uptime 1599\n"


@pytest.mark.parametrize("other", [
    "2001:db8::1 dev br-lan1 lladdr 00:11:22:33:44:01",
    "2001:db8::1 dev br-lan lladdr 00:11:22:33:44:ff",
    "2001:db8::1 dev br-lan lladdr ff:11:22:33:44:01",
    "2001:DB8::1 dev br-lan lladdr 00:11:22:33:44:01",
    "2001:db8::1 dev BR-LAN lladdr 00:11:22:33:44:01",
    "2001:db8::11 dev br-lan lladdr 00:11:22:33:44:01",
])
def test_another_address_device_or_link_layer_address_is_another_entry(gateway, other):
    table(gateway, f"{HOST1} uptime 999")
    listed(gateway, other + " STALE")
    run = update(gateway)
    assert run.files[TABLE] == f"{HOST1} uptime 999\n{other} uptime 1000\n"
    assert run.messages("zel_ip6neigh_update")[-1] == "4, hs_count 2."


def test_one_address_on_two_devices_gives_two_entries(gateway):
    listed(gateway, "fe80::1 dev br-lan lladdr 00:11:22:33:44:01 STALE",
           "fe80::1 dev br-lan1 lladdr 00:11:22:33:44:01 STALE")
    assert update(gateway).files[TABLE] == (
        "fe80::1 dev br-lan lladdr 00:11:22:33:44:01 uptime 1000\n"
        "fe80::1 dev br-lan1 lladdr 00:11:22:33:44:01 uptime 1000\n")


def test_link_layer_addresses_are_compared_as_numbers(gateway):
    table(gateway, "fe80::1 dev br-lan lladdr 0A:B:C:D:E:F uptime 500")
    listed(gateway, "fe80::1 dev br-lan lladdr 0a:0b:0c:0d:0e:0f STALE")
    assert update(gateway).files[TABLE] == "fe80::1 dev br-lan lladdr 0a:0b:0c:0d:0e:0f uptime 1000\n"


def test_a_neighbor_without_link_layer_address_gets_that_of_the_line_before(gateway):
    listed(gateway, HOST1 + " STALE", "2001:db8::7 dev br-lan1  FAILED")
    assert update(gateway).files[TABLE] == (
        HOST1 + " uptime 1000\n" + "2001:db8::7 dev br-lan1 lladdr 00:11:22:33:44:01 uptime 1000\n")


def test_a_neighbor_without_link_layer_address_is_matched_with_that_of_the_line_before(gateway):
    table(gateway, "2001:db8::7 dev br-lan1 lladdr 00:11:22:33:44:01 uptime 1")
    listed(gateway, HOST1 + " STALE", "2001:db8::7 dev br-lan1 INCOMPLETE")
    assert update(gateway).files[TABLE] == (
        "2001:db8::7 dev br-lan1 lladdr 00:11:22:33:44:01 uptime 1000\n" + HOST1 + " uptime 1000\n")


def test_a_first_neighbor_without_link_layer_address_has_zeros(gateway):
    listed(gateway, "2001:db8::7 dev br-lan FAILED")
    assert update(gateway).files[TABLE] == "2001:db8::7 dev br-lan lladdr 00:00:00:00:00:00 uptime 1000\n"


def test_a_line_with_an_address_only_keeps_device_and_octets_of_the_line_before(gateway):
    listed(gateway, HOST1 + " STALE", "2001:db8::7")
    assert update(gateway).files[TABLE] == (
        HOST1 + " uptime 1000\n" + "2001:db8::7 dev br-lan lladdr 00:11:22:33:44:01 uptime 1000\n")


def test_octets_up_to_a_malformed_one_are_taken(gateway):
    listed(gateway, HOST1 + " STALE", "2001:db8::7 dev br-lan lladdr aa:bb:x STALE")
    assert update(gateway).files[TABLE] == (
        HOST1 + " uptime 1000\n" + "2001:db8::7 dev br-lan lladdr aa:bb:22:33:44:01 uptime 1000\n")


def test_an_empty_line_repeats_the_line_before(gateway):
    listed(gateway, HOST1 + " STALE", "")
    assert notes(gateway) == [
        f"2, {HOST1}.", "2.3.", f"2, {HOST1}.", f"2.1, {HOST1}.", f"3, {HOST1} uptime 1000[1000].", "4, hs_count 1."]


def test_what_follows_the_link_layer_address_does_not_matter(gateway):
    table(gateway, f"{HOST1} uptime 1")
    listed(gateway, HOST1, HOST1 + " router REACHABLE", HOST1 + " proxy")
    assert update(gateway).files[TABLE] == f"{HOST1} uptime 1000\n"


def test_a_last_line_without_line_end_counts(gateway):
    gateway.script("ip", "-6", "neigh", "show", stdout=HOST1 + " STALE")
    assert update(gateway).files[TABLE] == f"{HOST1} uptime 1000\n"


def test_texts_too_long_for_an_entry_are_cut_after_the_line_was_read_whole(gateway):
    listed(gateway, "a" * 60 + " dev " + "d" * 40 + " lladdr 00:11:22:33:44:01 STALE")
    run = update(gateway)
    assert run.files[TABLE] == "a" * 45 + " dev " + "d" * 31 + " lladdr 00:11:22:33:44:01 uptime 1000\n"


def test_a_line_longer_than_255_bytes_is_read_in_pieces(gateway):
    first = HOST1 + " STALE"
    listed(gateway, first + " " * (255 - len(first)) + HOST2)
    assert update(gateway).files[TABLE] == HOST1 + " uptime 1000\n" + HOST2 + " uptime 1000\n"


def test_the_snapshot_of_the_last_run_is_removed_first(gateway):
    gateway.file(SHOWN, HOST1 + " STALE\n")
    gateway.script("ip", "-6", "neigh", "show", sh=f"echo '{HOST2} STALE'")
    assert update(gateway).files == {SHOWN: HOST2 + " STALE\n", TABLE: HOST2 + " uptime 1000\n"}


def test_a_failed_snapshot_ends_the_run_and_leaves_the_table_untouched(gateway):
    text = HOST1 + " uptime 1\n" + HOST2 + "   uptime 700"
    gateway.file(TABLE, text)
    listed(gateway, HOST3 + " STALE", status=1)
    run = update(gateway)
    assert run.files[TABLE] == text
    assert run.log_lines == framed(
        "zel_ip6neigh_update",
        said("zel_ip6neigh_update", "1, 2001:db8::1 dev br-lan lladdr 00:11:22:33:44:01 uptime 1.",
             "1, 2001:db8::2 dev br-lan lladdr 00:11:22:33:44:02 uptime 700."),
        ran("ip -6 neigh show > /tmp/.ip6_neigh_show", status=1))
    assert run.status == 1


def test_a_snapshot_that_cannot_be_run_leaves_the_table_untouched_and_no_old_snapshot(gateway):
    gateway.file(TABLE, HOST1 + " uptime 1\n")
    gateway.file(SHOWN, HOST2 + " STALE\n")
    gateway.shell = False
    run = update(gateway)
    assert run.files == {TABLE: HOST1 + " uptime 1\n"}
    assert run.shell == [(-1, SHOW)]


def test_a_table_that_cannot_be_written_loses_nothing_from_the_count(gateway):
    gateway.file(TABLE + "/busy", "")
    listed(gateway, HOST1 + " STALE", HOST2 + " STALE")
    assert notes(gateway) == [
        f"2, {HOST1}.", "2.3.", f"2, {HOST2}.", f"2.1, {HOST1}.", "2.2.", "2.3.", "4, hs_count 2."]


def test_a_log_that_cannot_be_opened_does_not_keep_the_table_from_being_kept(gateway):
    gateway.folder("/tmp/ipv6.log")
    table(gateway, f"{HOST1} uptime 1")
    listed(gateway, HOST2 + " STALE")
    assert update(gateway).files[TABLE] == f"{HOST2} uptime 1000\n"


@pytest.mark.parametrize("text", [
    "rubbish\n", "2001:db8::1 dev br-lan\n", "\n\n", "2001:db8::1 dev br-lan lladdr 0:1\n"])
def test_a_damaged_table_does_not_keep_the_run_from_ending(gateway, text):
    gateway.file(TABLE, text)
    listed(gateway, HOST1 + " STALE")
    run = update(gateway)
    assert run.status == 1
    assert run.files[TABLE].endswith(f"{HOST1} uptime 1000\n")


def test_the_settings_are_not_loaded(gateway):
    assert update(gateway).calls == [["ip", "-6", "neigh", "show"]]


def test_two_hundred_neighbors_are_all_kept(gateway):
    hosts = [f"2001:db8::{n:x} dev br-lan lladdr 00:00:00:00:00:{n:02x}" for n in range(1, 201)]
    listed(gateway, *hosts)
    assert update(gateway).files[TABLE] == "".join(f"{host} uptime 1000\n" for host in hosts)

"""Values and files that somebody else chose, and a gateway that cannot be asked."""

import hashlib
import json
import os
import subprocess

from status_gateway import lease


def test_a_missing_store_is_told_and_not_created(gw):
    gw.store = None
    look = gw.look()
    assert (look.health, look.why("system", "store")) == ("unknown", "there is no store yet")
    assert os.listdir(gw.path("config")) == []


def test_a_damaged_store_is_told_and_left_alone(gw):
    gw.look()
    gw.path("config/ccfg.factory").touch()
    path = gw.path("config/ccfg.db")
    names = sorted(os.listdir(gw.path("config")))
    damaged = path.read_bytes().replace(b"fe80::1", b"fe80::2")
    gw.store = None
    path.write_bytes(damaged)
    look = gw.look()
    row = look.row("system", "store")
    assert (look.health, row["state"], row["help"]) == (
        "unknown", "unknown", "ccfg_cli import /mnt/config/ccfg.factory")
    assert path.read_bytes() == damaged and sorted(os.listdir(gw.path("config"))) == names


def test_looking_changes_nothing(gw):
    def state():
        return {str(path): (hashlib.sha256(path.read_bytes()).digest(), path.stat().st_mtime_ns)
                for name in ("tmp", "config", "run") for path in gw.path(name).rglob("*") if path.is_file()}
    before = 'find /tmp /run /mnt/config -type f -exec sha256sum {} + | sort >/mnt/bin/before'
    command = gw.command("/bin/sh", "-c", "/mnt/ipv6status >/dev/null; /mnt/ipv6status --json >/dev/null; "
                         "find /tmp /run /mnt/config -type f -exec sha256sum {} + | sort >/mnt/bin/after", before=before)
    held = state()
    subprocess.run(command, check=True, timeout=60)
    assert state() == held
    listed = gw.path("bin/before").read_text(encoding="ascii")
    assert listed.count("\n") > 5 and listed == gw.path("bin/after").read_text(encoding="ascii")


def test_control_characters_never_reach_the_terminal(gw):
    gw.store["ip6_dns_primary@wan100"] = "a\\b\u00e9\"x"
    gw.files["/tmp/.ip6_neigh"] = "fe80::1\x1b[31m dev br\x07lan lladdr 02:00:00:00:00:01 uptime 5\n"
    gw.daemons["radvd"] = "-C '/tmp/\x1b]0;owned\x07'"
    look = gw.look()
    assert look.row("wan", "name_server")["value"] == "a\\x5cb\\xc3\\xa9\"x"
    assert look.rows("neighbors", "neighbor")[0]["value"].startswith("fe80::1\\x1b[31m dev br\\x07lan ")
    assert look.row("daemons", "file", "radvd")["value"] == "/tmp/\\x1b]0;owned\\x07"
    _, lines = gw.screen()
    assert all(" " <= character <= "~" for line in lines for character in line)


def test_files_that_make_no_sense(gw):
    for path in ("/tmp/radvd.conf", "/tmp/dhcp6c-wan.leases", "/tmp/.ip6t", "/tmp/.ip6_neigh",
                 "/tmp/zel_ipv6cp_script_running"):
        gw.files[path] = "iaprefix {{{ /999 \xff\0 prefix interface br-lan {\nprefix x/y\n" * 50
    look = gw.look()
    assert look.health == "degraded" and look.why("lan0", "global_prefix") == "/tmp/radvd.conf does not have it"


def test_a_lease_file_that_ends_in_the_middle(gw):
    text = lease()
    for end in range(0, len(text), 37):
        gw.files["/tmp/dhcp6c-wan.leases"] = text[:end]
        assert gw.look().health in ("healthy", "degraded")


def test_links_and_fifos_in_tmp_are_not_followed(gw):
    for path in ("/tmp/radvd.conf", "/tmp/.ip6t", "/tmp/.ip6_neigh"):
        gw.files[path] = None
    look = gw.look(before="mkfifo /tmp/radvd.conf /tmp/.ip6_neigh; ln -s /etc/passwd /tmp/.ip6t")
    assert look.why("firewall", "ruleset") == "/tmp/.ip6t is missing: the firewall has not been loaded"
    assert look.why("lan0", "global_prefix") == "/tmp/radvd.conf is gone"


def test_a_ruleset_that_nothing_of_is_loaded_is_compared_in_time(gw):
    gw.files["/tmp/.ip6t"] = "*filter\n" + "-A INPUT\n" * 28000
    gw.loaded = ["-A INPUT -i b"] * 20000
    assert gw.look().why("firewall", "loaded") == (
        "28000 of the file's rules are missing, the first is \"-A INPUT\": it was refused, or changed since")


def test_a_flood_of_one_kind_does_not_hide_the_rest(gw):
    gw.network += [f"addr add 3fff:900::{number:x}/64 dev br-lan nodad" for number in range(1, 401)]
    gw.store["ip6_filter_list@wan100"] = "web" + "/x" * 300
    gw.store.update({"add_static_route@system": "1", "num_extra_routes@system": "99999999999999"})
    look = gw.look()
    assert (look.health, look.document["complete"]) == ("degraded", False)
    assert look.row("lan0", "more")["value"] == "384 of the old addresses are not listed"
    assert look.row("firewall", "more")["value"] == "269 of the user records are not listed"
    assert look.row("neighbors", "count")["value"] == "0"


def test_more_addresses_than_there_is_room_for_cannot_be_judged(gw):
    gw.network += [f"addr add 3fff:900::{number:x}/64 dev br-lan nodad" for number in range(1, 600)]
    look = gw.look()
    assert look.health == "unknown" and look.row("wan", "address")["state"] == "unknown"


def test_a_program_that_fails_is_told(gw):
    gw.scripts["ip6tables-save"] = "exit 3"
    look = gw.look()
    assert (look.health, look.reasons()) == ("unknown", {"firewall loaded": "ip6tables-save: it failed"})
    words = gw.command("setpriv", "--reuid", "65534", "--clear-groups", "/mnt/ipv6status", "--json")
    told = json.loads(subprocess.run(words, capture_output=True, check=False, timeout=120).stdout)["sections"]["firewall"]
    assert [row["why"] for row in told if "why" in row] == ["ip6tables-save: it failed; it answers root alone"]


def test_a_program_that_never_answers_is_given_up(gw):
    gw.scripts["ip6tables-save"] = "sleep 500"
    assert gw.look().reasons() == {"firewall loaded": "ip6tables-save: it did not answer within five seconds"}


def test_a_device_script_that_prints_without_end(gw):
    gw.scripts["if2sect.sh"] = "yes wan100 | head -c 1000000"
    assert gw.look().row("wan", "section")["value"] == "wan100"


def test_a_device_script_that_is_missing(gw):
    gw.scripts["wandataif.sh"] = "exit 1"
    look = gw.look()
    assert (look.health, look.why("wan", "interface")) == ("unknown", "it failed")

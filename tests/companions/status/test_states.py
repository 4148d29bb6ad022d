"""What ipv6status makes of each state of a gateway."""

import json
import subprocess
import time

import pytest

from status_gateway import lease


def test_a_healthy_gateway_is_called_healthy(gw):
    look = gw.look()
    assert (look.health, look.reasons()) == ("healthy", {})
    assert look.row("lan0", "global_address")["value"] == "3fff:200:300:1::1"
    assert look.row("wan", "mode")["value"] == "dhcp, stateful"
    assert look.row("firewall", "user_record", "1")["state"] == "good"


def test_the_screen_says_the_same(gw):
    status, lines = gw.screen()
    assert (status, lines[0]) == (0, "healthy")
    assert "  ok global prefix          3fff:200:300:1::/64" in lines
    gw.network.remove("addr add 3fff:200:300:2::1/64 dev br-lan1 nodad")
    status, lines = gw.screen()
    assert (status, lines[:4]) == (1, ["degraded", "  !! lan1 global address 3fff:200:300:2::1: the store has it, br-lan1 does not",
                                       "  -> ipv6_lan_restart", ""])


def test_what_is_left_of_the_prefix_comes_from_the_lease(gw):
    gw.files["/tmp/dhcp6c-wan.leases"] = lease(age=600, preferred=3600, valid=7200)
    look = gw.look()
    assert 2900 < look.row("wan", "prefix_preferred")["seconds"] <= 3000
    assert 6500 < look.row("wan", "prefix_valid")["seconds"] <= 6600


def test_a_lease_that_has_run_out_is_wrong(gw):
    gw.files["/tmp/dhcp6c-wan.leases"] = lease(age=8000)
    assert gw.look().why("wan", "prefix_valid") == "it has run out"


def test_only_the_newest_lease_counts(gw):
    gw.files["/tmp/dhcp6c-wan.leases"] = lease(prefix="3fff:9:9::/56") + lease()
    assert gw.look().health == "healthy"
    gw.files["/tmp/dhcp6c-wan.leases"] = lease() + lease(prefix="3fff:9:9::/56")
    gw.later = 60
    look = gw.look()
    assert look.reasons() == {"wan delegated_prefix": "the client's lease has another one"}
    assert look.row("wan", "delegated_prefix")["help"] == "dhcp6c_restart"


def test_a_newer_lease_without_a_prefix_leaves_no_lifetimes(gw):
    gw.files["/tmp/dhcp6c-wan.leases"] = lease() + 'lease6 {\n  interface "eth0";\n}\n'
    assert gw.look().rows("wan", "prefix_valid") == []


def test_a_lease_for_ever(gw):
    gw.files["/tmp/dhcp6c-wan.leases"] = lease(preferred=0xFFFFFFFF, valid=0xFFFFFFFF)
    assert gw.look().row("wan", "prefix_valid")["value"] == "for ever"


@pytest.mark.parametrize("line, reasons", [
    ("addr add 3fff:100::77/64 dev eth0 nodad", {"wan address": "the store has it, eth0 does not"}),
    ("route add default via fe80::1 dev eth0", {"wan gateway": "there is no default route"}),
    ("addr add fd11:2233:4455:1::1/64 dev br-lan nodad",
     {"lan0 unique_local_address": "the store has it, br-lan does not"})])
def test_what_the_store_says_and_the_kernel_denies_is_wrong(gw, line, reasons):
    gw.network.remove(line)
    look = gw.look()
    assert (look.health, look.reasons()) == ("degraded", reasons)


def test_a_default_route_that_leads_elsewhere(gw):
    gw.store["ip6_gateway@wan100"] = "fe80::2"
    assert gw.look().reasons() == {"wan gateway": "the default route leads elsewhere"}


@pytest.mark.parametrize("mode, helps", [("dhcp", "dhcp6c_start"), ("static", "wan6c_restart")])
def test_what_starts_the_wan_anew_depends_on_its_mode(gw, mode, helps):
    gw.store["ip6_proto@wan100"] = mode
    gw.later = 60
    gw.network.remove("route add default via fe80::1 dev eth0")
    assert gw.look().row("wan", "gateway")["help"] == helps


def test_a_link_that_is_down(gw):
    gw.network = [line for line in gw.network if line != "link set line up"]
    assert gw.look().row("wan", "link")["value"] == "no carrier"
    gw.network = [line for line in gw.network if "eth0 up" not in line and "default" not in line]
    look = gw.look()
    assert look.row("wan", "link") == {"name": "link", "value": "down", "state": "wrong", "why": "the link is not up",
                                       "help": "ip link set eth0 up"}
    # There is no use in starting a client on it.
    assert "help" not in look.row("wan", "gateway")


def test_a_wan_that_does_not_exist(gw):
    gw.scripts["wandataif.sh"] = "echo ppp7"
    assert gw.look().why("wan", "link") == "there is no interface ppp7"


def test_a_wan_without_ipv6(gw):
    gw.store["ip6_wan_ready@system"] = "0"
    look = gw.look()
    assert look.why("system", "ip6_wan_ready") == "the WAN has no IPv6"
    assert look.why("lan1", "old_address") == "br-lan1 has it, the store does not"


def test_no_delegation(gw):
    del gw.store["ip6_dhcp6c_prefix_addr@system"]
    assert gw.look().why("wan", "delegated_prefix") == (
        "without one the LANs have no prefix and the ruleset is refused")


def test_a_prefix_of_an_earlier_delegation(gw):
    gw.store["ip6_dhcp6c_prefix_addr@system"] = "3fff:200:400::"
    gw.files["/tmp/dhcp6c-wan.leases"] = lease(prefix="3fff:200:400::/56")
    reasons = gw.look().reasons()
    assert reasons == {f"{lan} old_prefix": "it is not part of the delegated prefix" for lan in ("lan0", "lan1")}


def test_an_address_and_a_prefix_that_were_left_behind(gw):
    gw.network.append("addr add 3fff:200:999:1::1/64 dev br-lan nodad")
    gw.files["/tmp/radvd.conf"] += "interface br-lan1 {\nprefix 3fff:200:999:2::/64 {\n"
    look = gw.look()
    assert look.row("lan0", "old_address")["value"] == "3fff:200:999:1::1/64"
    assert look.row("lan0", "old_address")["help"] == "zel_ifconfig br-lan 3fff:200:999:1::1 64 0"
    assert look.row("lan1", "old_prefix")["value"] == "3fff:200:999:2::/64"
    assert look.health == "degraded"


def test_radvd_that_was_killed(gw):
    del gw.daemons["radvd"]
    look = gw.look()
    assert look.why("daemons", "daemon", "radvd") == (
        "/tmp/radvd.conf is there, so it has been started, and it does not run")
    assert look.why("lan1", "global_prefix") == "it is not advertised: radvd does not run"


def test_the_cause_stands_before_what_follows_from_it_and_what_helps_is_said_once(gw):
    del gw.daemons["radvd"]
    _, lines = gw.screen()
    assert lines[:lines.index("")] == [
        "degraded",
        "  !! daemons radvd not running: /tmp/radvd.conf is there, so it has been started, and it does not run",
        "  !! lan0 global prefix 3fff:200:300:1::/64: it is not advertised: radvd does not run (and 2 more alike)",
        "  -> ipv6_lan_restart"]


def test_two_reasons_alike_are_both_told(gw):
    gw.network = [line for line in gw.network if "addr" not in line or "br-lan " not in line]
    _, lines = gw.screen()
    assert lines[:lines.index("")] == [
        "degraded",
        "  !! lan0 global address 3fff:200:300:1::1: the store has it, br-lan does not",
        "  !! lan0 unique local address fd11:2233:4455:1::1: the store has it, br-lan does not",
        "  -> ipv6_lan_restart"]


@pytest.mark.parametrize("name, sign, helps", [
    ("dnsmasq", "/run/dnsmasq2.pid", "/etc/init.d/dnsmasq2 restart"), ("rdnssd", "/tmp/rdnssd", "zel_ipv6_lan lan"),
    ("dhclient", "/run/dhcp6c-wan.pid", "dhcp6c_start"), ("dhcp6d", "/tmp/dhcp6d.conf", "ipv6_lan_restart")])
def test_a_daemon_that_left_its_sign_and_is_gone(gw, name, sign, helps):
    gw.daemons.pop(name, None)
    gw.files[sign] = "4711\n"
    look = gw.look()
    row = look.row("daemons", "daemon", name)
    assert list(look.reasons()) == [f"daemons daemon {name}"]
    assert (row["state"], row["help"]) == ("wrong", helps)


def test_a_bridge_that_is_down(gw):
    gw.network.append("link set br-lan1 down")
    look = gw.look()
    row = look.row("lan1", "bridge")
    assert (row["why"], row["help"]) == ("it is down", "ip link set br-lan1 up && ipv6_lan_restart")
    # The file has it and radvd runs, but nobody hears it.
    assert look.why("lan1", "global_prefix") == "it is not advertised: br-lan1 is down"


def test_a_bridge_without_a_link_is_told_and_no_fault(gw):
    gw.network += ["link add lan1 type veth peer name host1", "link set lan1 up master br-lan1"]
    look = gw.look(before="until ip link show br-lan1 | grep -q NO-CARRIER; do :; done")
    assert look.health == "healthy" and look.row("lan1", "carrier") == {
        "name": "carrier", "value": "none: no port of the bridge has a link, so there are no hosts", "state": "fact"}
    gw.network.append("link set host1 up")
    assert gw.look().rows("lan1", "carrier") == []


def test_a_daemon_that_somebody_has_stopped(gw):
    look = gw.look(before='for stat in /proc/[0-9]*/cmdline; do case $(tr "\\0" " " <$stat) in */radvd\\ *) '
                          'pid=${stat#/proc/}; kill -STOP ${pid%/cmdline};; esac; done')
    row = look.row("daemons", "daemon", "radvd")
    assert row["why"] == "somebody has stopped it: it does nothing until it is continued"
    assert row["help"] == "kill -CONT " + row["value"].rpartition(" ")[2]


def test_a_daemon_of_another_network_namespace_is_none_of_this_gateway(gw):
    del gw.daemons["radvd"]
    elsewhere = 'mkfifo /mnt/ready/radvd; unshare -n radvd -C /tmp/radvd.conf >/dev/null 2>&1 & read -r _ </mnt/ready/radvd'
    gw.scripts["radvd"] = "echo >/mnt/ready/radvd; sleep 600"
    assert gw.look(before=elsewhere).row("daemons", "daemon", "radvd")["value"] == "not running"
    # Who is not told its namespace sees that it has another number there.
    command = gw.command("setpriv", "--reuid", "65534", "--clear-groups", "/mnt/ipv6status", "--json",
                         before=elsewhere.replace("unshare -n", "unshare -npf"))
    rows = json.loads(subprocess.run(command, capture_output=True, check=False, timeout=60).stdout)["sections"]["daemons"]
    assert [row["value"] for row in rows if row["item"] == "radvd"] == ["not running"]
    here = elsewhere.replace("unshare -n ", "")
    assert gw.look(before=here).row("daemons", "daemon", "radvd")["state"] == "good"


def test_a_gateway_that_does_not_forward(gw):
    gw.kernel["all/forwarding"] = 0
    look = gw.look()
    assert look.reasons() == {"wan forwarding": "no packet gets from one interface to another"}
    assert look.row("wan", "forwarding")["help"] == "ipv6_lan_restart"


@pytest.mark.parametrize("key, value, why, help_", [
    ("accept_ra", 1, "a gateway that forwards hears no advertisement unless accept_ra is 2", "accept_ra=2"),
    ("accept_ra", 0, "a gateway that forwards hears no advertisement unless accept_ra is 2", "accept_ra=2"),
    ("router_solicitations", -1, "the detection takes -1 for none and does not wait for an answer", "router_solicitations=3")])
def test_a_wan_that_does_not_listen_to_advertisements(gw, key, value, why, help_):
    gw.kernel[f"eth0/{key}"] = value
    look = gw.look()
    assert look.reasons() == {"wan listening": why}
    assert look.row("wan", "listening")["help"] == f"sysctl -w net.ipv6.conf.eth0.{help_}"
    gw.store["ip6_proto@wan100"] = "static"
    assert gw.look().rows("wan", "listening") == []


def test_a_mode_that_there_is_not(gw):
    gw.store["ip6_proto@wan100"] = "dhpc"
    assert gw.look().reasons() == {"wan mode": "there is no such mode: it is dhcp, static or tunnel"}


def test_a_prefix_that_is_not_in_radvds_file(gw):
    gw.files["/tmp/radvd.conf"] = gw.files["/tmp/radvd.conf"].replace("prefix 3fff:200:300:2::/64 {\n};\n", "")
    assert gw.look().reasons() == {"lan1 global_prefix": "/tmp/radvd.conf does not have it"}


def test_radvds_file_that_is_gone(gw):
    gw.files["/tmp/radvd.conf"] = None
    assert gw.look().why("lan1", "global_prefix") == "/tmp/radvd.conf is gone"
    del gw.daemons["radvd"]
    assert gw.look().why("lan1", "global_prefix") == "it is not advertised: radvd has not been started"
    gw.files["/tmp/radvd.conf"] = ""
    gw.daemons["radvd"] = "-C /tmp/radvd.conf"
    assert gw.look().why("lan1", "global_prefix") == "/tmp/radvd.conf does not have it"


def test_unique_local_addresses_that_are_off_in_the_store_alone(gw):
    gw.store["ip6_ula_eb@lan0"] = "0"
    assert gw.look().reasons() == {"lan0 old_address": "br-lan has it, the store does not",
                                   "lan0 old_prefix": "/tmp/radvd.conf has it, the store does not"}


def test_unique_local_addresses_of_another_global_id(gw):
    gw.network.append("addr add fdaa:bbbb:cccc:1::1/64 dev br-lan nodad")
    assert gw.look().reasons() == {"lan0 old_address": "br-lan has it, the store does not"}


def test_daemons_that_were_never_started(gw):
    gw.daemons.clear()
    for path in ("/tmp/radvd.conf", "/tmp/dhcp6d.conf", "/run/dhcp6c-wan.pid"):
        gw.files[path] = None
    look = gw.look()
    assert all(row["state"] == "fact" for row in look.rows("daemons", "daemon"))


def test_a_file_that_has_changed_since_its_daemon_was_started(gw):
    gw.times["/tmp/dhcp6d.conf"] = 100
    assert gw.look().reasons() == {"daemons file dhcp6d": "it has changed since the daemon was started"}
    gw.times["/tmp/dhcp6d.conf"] = -100
    assert gw.look().health == "healthy"


def test_a_guard_file_that_was_left_behind(gw):
    gw.files["/tmp/zel_ipv6cp_script_running"] = "1"
    assert list(gw.look().reasons()) == ["system guard"]
    gw.daemons["zel_ipv6cp_up"] = ""
    assert gw.look().row("system", "guard") == {"name": "guard", "value": "a link hook is at work", "state": "fact"}


def test_a_stateless_wan(gw):
    gw.store["ip6_stateless@wan100"] = "1"
    assert gw.look().row("wan", "mode")["value"] == "dhcp, stateless"


def test_a_static_wan_needs_no_client(gw):
    gw.store["ip6_proto@wan100"] = "static"
    del gw.daemons["dhclient"]
    gw.files.update({"/run/dhcp6c-wan.pid": None, "/tmp/dhcp6c-wan.leases": None})
    look = gw.look()
    assert (look.health, look.rows("wan", "detection")) == ("healthy", [])


def test_a_tunnel_is_judged_by_its_own_interface(gw):
    gw.store["ip6_proto@wan100"] = "tunnel"
    assert gw.look().reasons() == {"wan tunnel": "there is no such interface", "wan gateway": "there is no default route"}
    gw.network += ["link add 6rd type bridge", "link set 6rd up", "route add default via fe80::9 dev 6rd metric 1"]
    assert gw.look().health == "healthy"


def test_static_routes(gw):
    gw.store.update({"add_static_route@system": "1", "num_extra_routes@system": "3",
                     "ip6_pre_routing_prefix@system": "3fff:200:300:", "extra_sid_1@system": "a",
                     "extra_gateway_1@system": "fe80::a", "extra_sid_2@system": "0b",
                     "extra_gateway_2@system": "fe80::b"})
    gw.network.append("route add 3fff:200:300:a::/64 via fe80::a dev br-lan")
    look = gw.look()
    assert look.row("static_routes", "route", "1")["state"] == "good"
    assert look.reasons() == {"static_routes route 2": "it is not installed"}
    assert look.row("static_routes", "route", "3")["value"] == (
        "none: it was faulty, and the program has taken it out of the store")


def test_neighbors_are_listed_with_their_age(gw):
    uptime = int(time.clock_gettime(time.CLOCK_BOOTTIME))
    gw.files["/tmp/.ip6_neigh"] = "".join(
        f"fe80::{number:x} dev br-lan lladdr 02:00:00:00:00:{number:02x} uptime {uptime - 100}\n" for number in range(1, 80))
    look = gw.look()
    assert len(look.rows("neighbors", "neighbor")) == 64
    assert look.row("neighbors", "count")["value"] == "79"
    first = look.rows("neighbors", "neighbor")[0]
    assert first["value"].startswith("fe80::1 dev br-lan lladdr 02:00:00:00:00:01, seen 1m ")
    assert first["value"].endswith(", gone from the kernel") and 100 <= first["seconds"] < 160
    _, lines = gw.screen()
    assert sum(line.startswith("     neighbor ") for line in lines) == 8

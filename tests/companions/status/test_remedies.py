"""The commands that ipv6status offers, in the order in which a user tries them, and when it offers none."""

import re

import pytest

from status_gateway import ROOT, RULES, lease


def arrows(gw):
    """The commands below the reasons."""
    _, lines = gw.screen()
    return [line.removeprefix("  -> ") for line in lines[:lines.index("")] if line.startswith("  -> ")]


def test_a_gateway_that_nothing_has_run_on_is_led_to_the_wan_first(gw):
    gw.store = {"ip6_ula_eb@lan0": "1", "ip6_ula_eb@lan1": "1"}
    gw.files = {path: None for path in gw.files}
    gw.daemons.clear()
    gw.network = [line for line in gw.network if not line.startswith(("addr", "route")) and "eth0 up" not in line]
    gw.loaded = []
    assert arrows(gw) == ["ip link set eth0 up", "zel_ipv6_lan lan", "zel_ipv6_lan lan1"]
    gw.network.append("link set eth0 up")
    # Not the LAN restart, which takes the WAN for ready.
    assert arrows(gw) == ["dhcp6c_start", "zel_ipv6_lan lan", "zel_ipv6_lan lan1"]


def test_a_command_that_another_one_ends_with_is_not_offered_beside_it(gw):
    gw.network += ["link set br-lan1 down", "addr del 3fff:200:300:1::1/64 dev br-lan"]
    assert arrows(gw) == ["ip link set br-lan1 up && ipv6_lan_restart"]
    gw.network.pop(-2)
    assert arrows(gw) == ["ipv6_lan_restart"]


def test_while_a_run_is_at_work_nothing_is_offered(gw):
    gw.network.append("addr add 3fff:200:999:1::1/64 dev br-lan nodad")
    assert arrows(gw) == ["zel_ifconfig br-lan 3fff:200:999:1::1 64 0"]
    gw.daemons["zel_dhcp6c_update"] = ""
    assert arrows(gw) == []
    _, lines = gw.screen()
    assert re.fullmatch(r"     zel_dhcp6c_update is at work, for \d+s, pid \d+: "
                        "what is not right yet may come right in a few seconds", lines[1])
    look = gw.look()
    assert look.row("system", "at_work")["state"] == "fact" and look.health == "degraded"
    assert not any("help" in row for rows in look.sections.values() for row in rows)


def test_a_run_is_not_mentioned_above_a_healthy_gateway(gw):
    gw.daemons["zel_ip6neigh_update"] = ""
    status, lines = gw.screen()
    assert (status, lines[:2]) == (0, ["healthy", ""])


def test_a_run_that_does_not_end_is_wrong_and_holds_nothing_back(gw):
    gw.network.append("addr add 3fff:200:999:1::1/64 dev br-lan nodad")
    gw.daemons["ipv6_lan_restart"] = ""
    gw.later = 119
    assert gw.look().row("system", "at_work")["state"] == "fact"
    gw.later = 120
    look = gw.look()
    assert look.why("system", "at_work") == "it should have ended: something that it has started may hang"
    assert look.row("lan0", "old_address")["help"] == "zel_ifconfig br-lan 3fff:200:999:1::1 64 0"


def test_every_command_of_the_program_is_known_as_a_run(gw):
    table = (ROOT / "src/frame/command_table.h").read_text(encoding="ascii")
    commands = re.findall(r'Command\{"(\w+)"', table)
    known = (ROOT / "companions/status/processes.cpp").read_text(encoding="ascii")
    listed = re.search(r"commands\[\] = \{(.*?)\};", known, re.S).group(1)
    assert re.findall(r'"(\w+)"', listed) == commands and len(commands) == 16
    gw.daemons["zel_ipcp_up.sh"] = ""
    assert gw.look().row("system", "at_work")["value"].startswith("zel_ipcp_up.sh is at work, ")


def test_a_provider_that_gives_nothing(gw):
    gw.files["/tmp/dhcp6c-wan.leases"] = 'default-duid "\\000\\001";\n'
    look = gw.look()
    assert look.health == "healthy" and look.row("wan", "lease")["state"] == "fact"
    assert re.fullmatch(r"none, asking for \ds", look.row("wan", "lease")["value"])
    gw.later = 10
    look = gw.look()
    assert look.reasons() == {"wan lease": "the provider does not answer the DHCPv6 client, or gives nothing"}
    assert look.row("wan", "lease")["help"] == "dhcp6c_restart"
    # What is left of the lease before is not called good.
    assert look.row("wan", "delegated_prefix")["state"] == "fact"


@pytest.mark.parametrize("has_lease, ready", [(False, "0"), (False, "1"), (True, "1")])
def test_while_the_client_has_just_been_started_there_is_nothing_to_do(gw, has_lease, ready):
    gw.store["ip6_wan_ready@system"] = ready
    gw.loaded = []
    del gw.daemons["radvd"]
    gw.network = [line for line in gw.network if "br-lan1 nodad" not in line and "br-lan nodad" not in line]
    gw.files["/tmp/dhcp6c-wan.leases"] = lease(age=-5) if has_lease else ""
    assert arrows(gw) == []
    assert gw.look().row("system", "at_work")["value"].startswith("dhclient is at work, for ")
    gw.later = 10
    assert arrows(gw) != []
    assert gw.look().rows("system", "at_work") == []
    # A lease from before the client was started: the program is not at work on it.
    gw.later = 0
    gw.files["/tmp/dhcp6c-wan.leases"] = lease(age=600)
    assert arrows(gw) != []


def test_the_wan_comes_before_the_forwarding_that_follows_it(gw):
    gw.kernel["all/forwarding"] = 0
    gw.files["/tmp/dhcp6c-wan.leases"] = lease(age=8000)
    gw.later = 60
    assert arrows(gw) == ["dhcp6c_restart", "ipv6_lan_restart"]


def test_a_prefix_that_the_provider_has_taken_back(gw):
    gw.files["/tmp/dhcp6c-wan.leases"] = lease().replace("iaprefix", "iaaddr").replace("/56", "")
    row = gw.look().row("wan", "delegated_prefix")
    assert (row["why"], row["help"]) == ("the client's lease has no prefix any more", "wan6c_restart")


def test_a_prefix_that_is_advertised_as_deprecated(gw):
    gw.later = 60
    gw.files["/tmp/radvd.conf"] = gw.files["/tmp/radvd.conf"].replace(
        "prefix 3fff:200:300:2::/64 {\n", "prefix 3fff:200:300:2::/64 {\nAdvPreferredLifetime 0;\nAdvValidLifetime 7200;\n")
    look = gw.look()
    assert look.reasons() == {
        "lan1 global_prefix": "it is advertised with a preferred lifetime of 0: hosts open no connections from it"}
    assert look.row("lan1", "global_prefix")["help"] == "dhcp6c_restart"
    gw.files["/tmp/radvd.conf"] = gw.files["/tmp/radvd.conf"].replace("AdvPreferredLifetime 0", "AdvPreferredLifetime 60")
    assert gw.look().health == "healthy"


def test_a_ruleset_that_wants_an_address(gw):
    gw.store["ip6_dhcp6c_prefix_addr@system"] = ""
    gw.files["/tmp/.ip6t"] = gw.files["/tmp/.ip6t"].replace("COMMIT", "-A FORWARD -d /56 -j DROP\nCOMMIT")
    gw.loaded = RULES[:1]
    look = gw.look()
    assert look.why("firewall", "loaded") == (
        "4 of the file's rules are missing: it is refused, because some have no address for want of a prefix")
    gw.later = 60
    assert arrows(gw)[0] == "dhcp6c_restart"


@pytest.mark.parametrize("there, help_", [(True, "ccfg_cli import /mnt/config/ccfg.factory"), (False, None)])
def test_factory_settings_are_offered_where_there_are_some(gw, there, help_):
    gw.store = None
    gw.files["/config/ccfg.factory"] = "ip6_proto@wan100=dhcp\n" if there else None
    assert gw.look().row("system", "store").get("help") == help_

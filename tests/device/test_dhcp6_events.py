"""Events of the DHCPv6 client: every event, and what a binding stores."""
import pytest

from expected_texts import HOME, framed, loaded, ran, said
from wan_setup import own_console, own_lines, own_log

CALL = "[zel-ipv6 main] call dhcp6c_main(TID) , line:4044"
EMPTY_BINDING = {
    "log": ["ip6 =  delegate =  prefixlen = ", "hostname = , domainname = ",
            "dns = , domain_search = , preferr_life =  valid_life = ", "sntp_servers = , ia_renew = , ia_rebind="],
}
LEASE = {
    "new_ip6_address": "3fff:1::5", "new_ip6_prefixlen": "128", "new_ip6_prefix": "3fff:1234:5600::/56",
    "new_dhcp6_name_servers": "3fff::53 3fff::54", "new_dhcp6_domain_search": "isp.example.",
    "new_dhcp6_sntp_servers": "3fff::123", "new_preferred_life": "3600", "new_max_life": "7200", "new_renew": "1800",
    "new_rebind": "2880",
}
STORED = {
    "ip6_addr@wan100": "3fff:1::5", "ip6_pfxlen@wan100": "128", "ip6_stateless@wan100": "0",
    "ip6_dhcp6c_prefix_addr@system": "3fff:1234:5600::", "ip6_dhcp6c_prefix_length@system": "56",
    "ip6_dns@wan100": "3fff::53 3fff::54", "ip6_dns_primary@wan100": "3fff::53",
    "ip6_dns_secondary@wan100": "3fff::54", "ip6_domain@wan100": "isp.example", "ip6_sntp@wan100": "3fff::123",
    "ip6_lease@wan100": "3600", "ip6_dhcp_prefer@lan0": "3600", "ip6_life@wan100": "7200",
    "ip6_dhcp_valid@lan0": "7200", "ip6_renew@wan100": "1800", "ip6_rebind@wan100": "2880",
    "ip6_changed@wan100": "1",
}
P005 = "vorn_syslog_cli addEventCode -1 P005 3fff:1234:5600::/56"
P007 = 'vorn_syslog_cli addEventCode -1 P007 "3fff::53 3fff::54"'


@pytest.fixture
def wan(gateway):
    gateway.store.update(HOME)
    return gateway


def event(wan, reason, stateless="0", **variables):
    wan.env = {"reason": reason, "interface": "ppp0", **variables}
    if stateless is not None:
        wan.env["stateless"] = stateless
    return wan.run("zel_dhcp6c_update")


def announced(reason, stateless="0", on_demand=0, mode=0, interface="ppp0"):
    """The console lines that begin every event."""
    return [CALL, f"[dhcp6c_main] wan_on_demand={on_demand}, dhcp6c_prefix_mode={mode}",
            f"[dhcp6c_main] The reason is {reason}, the interface is {interface} and the stateless is {stateless}.",
            f"[dhcp6c_main][1000] Reason : {reason} "]


def told(reason, stateless="0", interface="ppp0"):
    """The log line that begins every event."""
    return said("dhcp6c_main",
                f"The reason is {reason}, the interface is {interface} and the stateless is {stateless}.")


# --- every event

@pytest.mark.parametrize("reason", ["DEPREF6", "bound6", "BOUND", "BOUND66", "PREINIT", "FAIL", ""])
def test_an_unknown_event_is_only_reported(wan, reason):
    run = event(wan, reason, **LEASE)
    assert run.status == 1
    assert own_log(run) == told(reason)
    assert own_console(run) == announced(reason)
    assert own_lines(run) == []
    assert run.store_changes == {}
    assert run.switches == {}


def test_an_event_without_any_variable_is_only_reported(wan):
    wan.env = {}
    run = wan.run("zel_dhcp6c_update")
    assert run.status == 1
    assert own_log(run) == told("", "", "")
    assert own_console(run) == announced("", "", interface="")
    assert run.store_changes == {}


@pytest.mark.parametrize("on_demand, mode", [(1, 1), (2, 7), (-1, -3)])
def test_an_event_tells_link_and_prefix_mode(wan, on_demand, mode):
    wan.store.update({"on-demand@wan100": str(on_demand), "ip6_dhcp6c_prefix_mode@system": str(mode)})
    run = event(wan, "DEPREF6", stateless="1")
    assert own_console(run) == announced("DEPREF6", "1", on_demand, mode)


# --- binding, whole

@pytest.mark.parametrize("reason", ["BOUND6", "REBIND6", "REBOOT6", "RENEW6"])
def test_a_binding_is_stored(wan, reason):
    before = dict(wan.store)
    run = event(wan, reason, **LEASE, new_dhcp6_host_name="gw", new_dhcp6_domain_name="other.example")
    assert run.log_lines == framed(
        "zel_dhcp6c_update", loaded(before), told(reason),
        said("dhcp6c_main", "ip6 = 3fff:1::5 delegate = 3fff:1234:5600::/56 prefixlen = 128",
             "hostname = gw, domainname = other.example",
             "dns = 3fff::53 3fff::54, domain_search = isp.example., preferr_life = 3600 valid_life = 7200",
             "sntp_servers = 3fff::123, ia_renew = 1800, ia_rebind=2880",
             "@@dns = 3fff::53 3fff::54, pri_namesvr = 3fff::53, snd_namesvr = 3fff::54"),
        ran(P007, P005), said("dhcp6c_main", "ip6_changed = 1"))
    assert own_console(run) == announced(reason) + [
        "[dhcp6c_main] ip6 = 3fff:1::5 delegate = 3fff:1234:5600::/56 prefixlen = 128",
        "[dhcp6c_main] hostname = gw, domainname = other.example",
        "[dhcp6c_main] dns = 3fff::53 3fff::54, domain_search = isp.example., preferr_life = 3600 valid_life = 7200",
        "[dhcp6c_main] sntp_servers = 3fff::123, ia_renew = 1800, ia_rebind=2880",
        "[dhcp6c_main][1000] mode:preferred, delegate_pfxlen = 56 ",
        "[dhcp6c_main] ip6_changed=1",
    ]
    assert run.journal == [
        "uboot_env --get --name serial", "wandataif.sh", "if2sect.sh ppp0",
        "vorn_syslog_cli addEventCode -1 P007 '3fff::53 3fff::54'", P005]
    assert run.store_changes == {key: (None, text) for key, text in STORED.items()}
    assert run.files == {}
    assert run.switches == {}
    assert run.pauses == []
    assert run.addresses == {"br-lan": [], "br-lan1": [], "ppp0": []}
    assert run.status == 1


def test_a_binding_that_brings_nothing_new_is_no_change(wan):
    wan.store.update(STORED)
    run = event(wan, "RENEW6", **LEASE)
    assert run.store_changes == {"ip6_changed@wan100": ("1", "0")}
    assert own_lines(run) == [P007, P005]
    assert own_console(run)[-1] == "[dhcp6c_main] ip6_changed=0"
    assert own_log(run)[-1:] == said("dhcp6c_main", "ip6_changed = 0")
    assert [line for line in own_console(run) if "mode:" in line] == []


def test_a_binding_without_values_stores_only_that_nothing_came(wan):
    run = event(wan, "BOUND6")
    assert own_log(run) == told("BOUND6") + said("dhcp6c_main", *EMPTY_BINDING["log"], "ip6_changed = 0")
    assert own_console(run) == announced("BOUND6") + [
        "[dhcp6c_main] " + text for text in EMPTY_BINDING["log"]] + ["[dhcp6c_main] ip6_changed=0"]
    assert own_lines(run) == []
    assert run.store_changes == {"ip6_stateless@wan100": (None, "1"), "ip6_changed@wan100": (None, "0")}


@pytest.mark.parametrize("variable, value, keys, changed", [
    ("new_ip6_address", "3fff:1::6", {"ip6_addr@wan100": "3fff:1::6"}, 1),
    ("new_ip6_prefixlen", "64", {}, 0),
    ("new_ip6_prefix", "3fff:1234:5700::/56", {"ip6_dhcp6c_prefix_addr@system": "3fff:1234:5700::"}, 1),
    ("new_ip6_prefix", "3fff:1234:5600::/60", {"ip6_dhcp6c_prefix_length@system": "60"}, 1),
    ("new_dhcp6_name_servers", "3fff::55 3fff::54",
     {"ip6_dns_primary@wan100": "3fff::55", "ip6_dns@wan100": "3fff::55 3fff::54"}, 1),
    ("new_dhcp6_name_servers", "3fff::53 3fff::55",
     {"ip6_dns_secondary@wan100": "3fff::55", "ip6_dns@wan100": "3fff::53 3fff::55"}, 1),
    ("new_dhcp6_name_servers", "3fff::53", {"ip6_dns@wan100": "3fff::53"}, 0),
    ("new_dhcp6_name_servers", "3fff::53 3fff::54 3fff::55", {"ip6_dns@wan100": "3fff::53 3fff::54 3fff::55"}, 0),
    ("new_dhcp6_domain_search", "new.example.", {"ip6_domain@wan100": "new.example"}, 1),
    ("new_dhcp6_sntp_servers", "3fff::124", {"ip6_sntp@wan100": "3fff::124"}, 0),
    ("new_preferred_life", "3601", {"ip6_lease@wan100": "3601", "ip6_dhcp_prefer@lan0": "3601"}, 0),
    ("new_max_life", "7201", {"ip6_life@wan100": "7201", "ip6_dhcp_valid@lan0": "7201"}, 0),
    ("new_renew", "1801", {"ip6_renew@wan100": "1801"}, 0),
    ("new_rebind", "2881", {"ip6_rebind@wan100": "2881"}, 0),
])
def test_one_new_value_of_a_known_lease(wan, variable, value, keys, changed):
    wan.store.update({**STORED, "ip6_changed@wan100": "0"})
    run = event(wan, "RENEW6", **{**LEASE, variable: value})
    expected = {key: (STORED[key], text) for key, text in keys.items()}
    if changed:
        expected["ip6_changed@wan100"] = ("0", "1")
    assert run.store_changes == expected
    assert own_console(run)[-1] == f"[dhcp6c_main] ip6_changed={changed}"


@pytest.mark.parametrize("variable", ["new_dhcp6_sntp_servers", "new_preferred_life", "new_max_life", "new_renew",
                                      "new_rebind", "new_ip6_prefix", "new_dhcp6_domain_search"])
def test_a_value_that_is_not_given_leaves_the_stored_one(wan, variable):
    wan.store.update({**STORED, "ip6_changed@wan100": "0"})
    run = event(wan, "RENEW6", **{name: text for name, text in LEASE.items() if name != variable})
    assert run.store_changes == {}
    assert (P005 in run.lines) == (variable != "new_ip6_prefix")


def test_lifetimes_are_compared_with_the_wan_only(wan):
    wan.store.update({**STORED, "ip6_dhcp_prefer@lan0": "5", "ip6_dhcp_valid@lan0": "6"})
    run = event(wan, "RENEW6", **LEASE)
    assert run.store["ip6_dhcp_prefer@lan0"] == "5"
    assert run.store["ip6_dhcp_valid@lan0"] == "6"


# --- domain

@pytest.mark.parametrize("search, name, stored", [
    ("isp.example", None, "isp.example"), ("isp.example.", None, "isp.example"),
    ("isp.example..", None, "isp.example."),
    (".", None, "."), ("x.", None, "x"), ("..", None, "."), ("a.example. b.example.", None, "a.example. b.example"),
    (None, "name.example.", "name.example"), ("search.example", "name.example", "search.example"),
    ("d" * 200, None, "d" * 127)])
def test_the_domain(wan, search, name, stored):
    given = {"new_dhcp6_domain_search": search, "new_dhcp6_domain_name": name}
    run = event(wan, "BOUND6", **{key: text for key, text in given.items() if text is not None})
    assert run.store["ip6_domain@wan100"] == stored
    assert run.store["ip6_changed@wan100"] == "1"


def test_the_same_domain_without_its_dot_is_no_change(wan):
    wan.store["ip6_domain@wan100"] = "isp.example"
    assert event(wan, "BOUND6", new_dhcp6_domain_search="isp.example.").store["ip6_changed@wan100"] == "0"


# --- name servers

@pytest.mark.parametrize("servers, primary, secondary, rest", [
    ("3fff::53", "3fff::53", None, ""),
    ("3fff::53 3fff::54", "3fff::53", "3fff::54", "3fff::54"),
    ("3fff::53 3fff::54 3fff::55", "3fff::53", "3fff::54", "3fff::54 3fff::55"),
    ("3fff::53 ", "3fff::53", None, ""),
    ("9" * 50, "9" * 45, None, ""),
    ("3fff::53 " + "9" * 50, "3fff::53", "9" * 45, "9" * 50),
])
def test_name_servers(wan, servers, primary, secondary, rest):
    run = event(wan, "BOUND6", new_dhcp6_name_servers=servers)
    assert run.store["ip6_dns_primary@wan100"] == primary
    assert run.store.get("ip6_dns_secondary@wan100") == secondary
    assert run.store["ip6_dns@wan100"] == servers
    assert own_lines(run) == [f'vorn_syslog_cli addEventCode -1 P007 "{servers}"']
    assert run.calls_of("vorn_syslog_cli") == [["vorn_syslog_cli", "addEventCode", "-1", "P007", servers]]
    logged = [text for text in run.messages("dhcp6c_main") if text.startswith("@@dns")]
    assert len(logged) == 1
    assert logged[0].startswith(f"@@dns = {servers}, pri_namesvr = ")
    assert logged[0].endswith(f", snd_namesvr = {rest}")


def test_a_long_list_of_name_servers_is_cut_to_its_room(wan):
    servers = " ".join(["3fff:1111:2222:3333:4444:5555:6666:7777"] * 8)
    run = event(wan, "BOUND6", new_dhcp6_name_servers=servers)
    assert run.store["ip6_dns@wan100"] == servers[:255]
    assert own_lines(run) == [f'vorn_syslog_cli addEventCode -1 P007 "{servers[:255]}"']


def test_without_name_servers_those_of_the_advertisements_are_taken(wan):
    wan.store.update({"ip6_dns_primary@wan100": "3fff::1", "ip6_dns_secondary@wan100": "3fff::2"})
    wan.file("/tmp/rdnssd", "nameserver 3fff::53\nnameserver 3fff::54\n")
    run = event(wan, "BOUND6")
    assert run.store["ip6_dns_primary@wan100"] == "3fff::53"
    assert run.store["ip6_dns_secondary@wan100"] == "3fff::54"
    assert "ip6_dns@wan100" not in run.store
    assert run.store["ip6_changed@wan100"] == "0"
    assert own_lines(run) == []


def test_given_name_servers_win_over_those_of_the_advertisements(wan):
    wan.file("/tmp/rdnssd", "nameserver 3fff::99\n")
    assert event(wan, "BOUND6", new_dhcp6_name_servers="3fff::53").store["ip6_dns_primary@wan100"] == "3fff::53"


# --- delegated prefix

@pytest.mark.parametrize("mode", ["1", "2", "-1"])
def test_in_random_mode_the_prefix_stays_in_the_process(wan, mode):
    wan.store.update({"ip6_dhcp6c_prefix_mode@system": mode, "ip6_dhcp6c_prefix_addr@system": "3fff:9::",
                      "ip6_dhcp6c_prefix_length@system": "48"})
    run = event(wan, "BOUND6", new_ip6_prefix="3fff:1234:5600::/60")
    assert own_lines(run) == ["vorn_syslog_cli addEventCode -1 P005 3fff:1234:5600::/60"]
    assert own_console(run)[-2:] == ["[dhcp6c_main][1000] mode:random, delegate_pfxlen = 60 ",
                                     "[dhcp6c_main] ip6_changed=0"]
    assert run.store_changes == {"ip6_stateless@wan100": (None, "1"), "ip6_changed@wan100": (None, "0")}


@pytest.mark.parametrize("mode", ["0", "1"])
@pytest.mark.parametrize("given", ["3fff:1234:5600::", ""])
def test_a_prefix_without_a_slash_is_no_prefix(wan, given, mode):
    wan.store["ip6_dhcp6c_prefix_mode@system"] = mode
    run = event(wan, "BOUND6", new_ip6_prefix=given)
    assert own_lines(run) == []
    assert "ip6_dhcp6c_prefix_addr@system" not in run.store
    assert [line for line in own_console(run) if "mode:" in line] == []


def test_without_a_length_text_the_length_is_56(wan):
    wan.store["ip6_dhcp6c_prefix_mode@system"] = "1"
    run = event(wan, "BOUND6", new_ip6_prefix="3fff:1234:5600::/")
    assert own_lines(run) == [P005]
    assert own_console(run)[-2] == "[dhcp6c_main][1000] mode:random, delegate_pfxlen = 56 "


def test_an_unchanged_part_of_the_prefix_is_used_as_loaded(wan):
    wan.store.update({"ip6_dhcp6c_prefix_addr@system": "3fff:1234:5600::", "ip6_dhcp6c_prefix_length@system": "60"})
    run = event(wan, "BOUND6", new_ip6_prefix="3fff:7777::/60")
    assert own_lines(run) == ["vorn_syslog_cli addEventCode -1 P005 3fff:7777::/60"]
    assert [line for line in own_console(run) if "mode:" in line] == []


def test_the_length_is_compared_as_text_and_stored_as_a_number(wan):
    wan.store["ip6_dhcp6c_prefix_length@system"] = "056"
    run = event(wan, "BOUND6", new_ip6_prefix="3fff:1234:5600::/56")
    assert run.store["ip6_dhcp6c_prefix_length@system"] == "56"
    run = event(wan, "BOUND6", new_ip6_prefix="3fff:1234:5600::/060x")
    assert run.store["ip6_dhcp6c_prefix_length@system"] == "60"
    assert own_lines(run) == ["vorn_syslog_cli addEventCode -1 P005 3fff:1234:5600::/60"]


# --- address

@pytest.mark.parametrize("prefixlen, stored", [("128", "128"), (None, "64"), ("060", "60"), ("x", "0")])
def test_the_length_of_the_address(wan, prefixlen, stored):
    given = {"new_ip6_address": "3fff:1::5"}
    if prefixlen is not None:
        given["new_ip6_prefixlen"] = prefixlen
    run = event(wan, "BOUND6", **given)
    assert run.store["ip6_addr@wan100"] == "3fff:1::5"
    assert run.store["ip6_pfxlen@wan100"] == stored


@pytest.mark.parametrize("stateless", [None, "0"])
def test_a_stateful_binding_notes_whether_an_address_came(wan, stateless):
    wan.store["ip6_stateless@wan100"] = "5"
    assert event(wan, "BOUND6", stateless).store["ip6_stateless@wan100"] == "1"
    run = event(wan, "BOUND6", stateless, new_ip6_address="3fff:1::5")
    assert run.store["ip6_stateless@wan100"] == "0"


@pytest.mark.parametrize("stateless", ["1", "2", ""])
def test_a_stateless_binding_leaves_the_address_alone(wan, stateless):
    run = event(wan, "BOUND6", stateless, **LEASE)
    assert {key for key in run.store_changes} == set(STORED) - {"ip6_addr@wan100", "ip6_pfxlen@wan100",
                                                               "ip6_stateless@wan100"}


# --- values that somebody else chose

@pytest.mark.parametrize("variable", ["new_dhcp6_domain_search", "new_dhcp6_name_servers", "new_ip6_address",
                                      "new_ip6_prefix", "new_dhcp6_sntp_servers", "new_renew"])
def test_a_value_with_a_control_character_counts_as_absent(wan, variable):
    run = event(wan, "BOUND6", **{variable: LEASE[variable] + "\n[main][1] forged"})
    assert run.messages("dhcp6c_main")[1:] == [
        f"{variable} holds a control character and counts as absent.", *EMPTY_BINDING["log"], "ip6_changed = 0"]
    assert run.store_changes == {"ip6_stateless@wan100": (None, "1"), "ip6_changed@wan100": (None, "0")}


def test_a_hostile_list_of_name_servers_stays_one_word(wan):
    hostile = '3fff::53";reboot;$(reboot)`reboot`\\'
    run = event(wan, "BOUND6", new_dhcp6_name_servers=hostile)
    assert run.calls_of("vorn_syslog_cli") == [["vorn_syslog_cli", "addEventCode", "-1", "P007", hostile]]
    assert run.store["ip6_dns@wan100"] == hostile


def test_a_hostile_prefix_stays_one_word(wan):
    run = event(wan, "BOUND6", new_ip6_prefix="3fff::;reboot/56")
    assert own_lines(run) == ["vorn_syslog_cli addEventCode -1 P005 '3fff::;reboot'/56"]

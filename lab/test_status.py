"""ipv6status, in every state of the gateway that the lab can make."""
import json

import jsonschema
import pytest

from netlab.isp import IspConfig
from netlab.topology import REPOSITORY
from netlab.wait import need
from test_wan_static import BY_HAND, apply_settings

SCHEMA = json.loads((REPOSITORY / "companions/status/ipv6status.schema.json").read_text(encoding="ascii"))


def look(lab, at_rest=True):
    """(exit status, {"section name item": why} of all that is not as it should be, sections). While the gateway is at work
    its store may change beside the look."""
    before = lab.gw.run("ccfg_cli", "export").stdout
    done = lab.gw.run("ipv6status", "--json")
    assert done.stderr == ""
    document = json.loads(done.stdout)
    jsonschema.Draft202012Validator(SCHEMA).validate(document)
    assert not at_rest or lab.gw.run("ccfg_cli", "export").stdout == before
    reasons = {" ".join(filter(None, (section, row["name"], row.get("item")))): row["why"]
               for section, rows in document["sections"].items() for row in rows if "why" in row}
    return done.returncode, reasons, document["sections"]


def value(sections, section, name):
    return next(row["value"] for row in sections[section] if row["name"] == name)


@pytest.fixture(scope="module")
def online(shared_lab_with):
    lab = shared_lab_with()
    if lab.get("ip6_wan_ready@system") != "1":
        lab.online()
    return lab


def healthy(lab):
    status, reasons, _ = look(lab, at_rest=False)
    need((status, reasons) == (0, {}), reasons)
    return True


def restarted(lab):
    """Brings everything back for the next test."""
    lab.command("ipv6_lan_restart")
    lab.idle()
    lab.until("the gateway is healthy again", lambda: healthy(lab))


def test_a_gateway_that_nothing_has_run_on(lab_with):
    """Before anything ran: degraded, and the reasons are the WAN and the firewall"""
    lab = lab_with()
    status, reasons, sections = look(lab)
    assert status == 1
    assert {"system ip6_wan_ready", "firewall ruleset", "firewall loaded"} <= set(reasons)
    assert all(row["state"] == "fact" for row in sections["daemons"])


def test_a_bound_gateway_is_healthy(online):
    """Bound, addresses and prefixes in place: healthy, with the lifetimes of the lease"""
    online.until("the gateway is healthy", lambda: healthy(online))
    _, _, sections = look(online)
    assert value(sections, "wan", "delegated_prefix") == "{}/{}".format(
        online.get("ip6_dhcp6c_prefix_addr@system"), online.get("ip6_dhcp6c_prefix_length@system"))
    assert value(sections, "wan", "detection") == "advertisement with the Managed flag: stateful"
    left = next(row["seconds"] for row in sections["wan"] if row["name"] == "prefix_valid")
    assert 0 < left <= online.isp.config.valid


def test_radvd_killed(online):
    """radvd is killed: both LANs' prefixes are no longer advertised"""
    online.gw.must("killall", "radvd")
    online.until("radvd is gone", lambda: need("radvd" not in online.daemons(), "it runs") or True)
    status, reasons, _ = look(online)
    assert status == 1
    assert reasons["lan0 global_prefix"] == reasons["lan1 global_prefix"] == "it is not advertised: radvd does not run"
    assert "daemons daemon radvd" in reasons
    restarted(online)


def test_firewall_flushed(online):
    """The filter is flushed: that is the only reason"""
    online.gw.must("ip6tables", "-F")
    assert look(online)[:2] == (1, {"firewall loaded": "the firewall is empty: everything is let through"})
    restarted(online)


def test_an_address_taken_off_and_an_old_one_left(online):
    """A LAN loses its address and keeps one of an earlier delegation: both are told"""
    address = online.get("ip6_addr@lan1")
    online.gw.must("ip", "-6", "addr", "del", f"{address}/64", "dev", "br-lan1")
    online.gw.must("ip", "-6", "addr", "add", "3fff:100:b000:2::1/64", "dev", "br-lan1", "nodad")
    assert look(online)[:2] == (1, {"lan1 global_address": "the store has it, br-lan1 does not",
                                    "lan1 old_address": "br-lan1 has it, the store does not"})
    online.gw.must("ip", "-6", "addr", "del", "3fff:100:b000:2::1/64", "dev", "br-lan1")
    restarted(online)


def test_guard_left_behind(online):
    """The guard file says 1 and no hook is at work"""
    online.gw.must("sh", "-c", "echo 1 >/tmp/zel_ipv6cp_script_running")
    status, reasons, _ = look(online)
    assert (status, list(reasons)) == (1, ["system guard"])
    online.gw.must("sh", "-c", "echo 0 >/tmp/zel_ipv6cp_script_running")


def test_user_records(online):
    """A record that the firewall takes is in force after a restart, one that it cannot take is left out"""
    online.set("ip6_filter_cnt@wan", "2")
    online.set("ip6_filter_list@wan", "web;3fff:100:a000:1::5;tcp;80;80/bad;host;udp;1;2")
    assert look(online)[1]["firewall user_record 1"] == "not in force: the ruleset was written without it"
    online.command("ipv6_lan_restart")
    online.idle()
    assert look(online)[:2] == (1, {"firewall user_record 2": "left out: its host is no IPv6 address"})
    online.set("ip6_filter_cnt@wan", "0")
    restarted(online)


def helps_of(sections):
    return [row["help"] for rows in sections.values() for row in rows if "help" in row]


def test_rules_exchanged(online):
    """The last rule of the filter lets through what it dropped: the number of rules is the same, and it is told"""
    last = len(online.gw.must("ip6tables", "-S", "FORWARD").splitlines()) - 1
    online.gw.must("ip6tables", "-R", "FORWARD", str(last), "-j", "ACCEPT")
    assert look(online)[:2] == (1, {"firewall loaded": '1 of the file\'s rules is missing, the first is "-A FORWARD -j DROP": '
                                                       "it was refused, or changed since"})
    restarted(online)


def test_forwarding_switched_off(online):
    """The kernel forwards nothing: told, and the LAN restart switches it on"""
    online.gw.must("sysctl", "-q", "-w", "net.ipv6.conf.all.forwarding=0")
    status, reasons, sections = look(online)
    assert (status, list(reasons), helps_of(sections)) == (1, ["wan forwarding"], ["ipv6_lan_restart"])
    restarted(online)


def test_the_wan_does_not_listen(online):
    """accept_ra is that of a host: told, with the line that mends it"""
    online.gw.must("sysctl", "-q", "-w", "net.ipv6.conf.eth0.accept_ra=1")
    _, reasons, sections = look(online)
    assert (list(reasons), helps_of(sections)) == (["wan listening"], ["sysctl -w net.ipv6.conf.eth0.accept_ra=2"])
    online.gw.must("sh", "-c", helps_of(sections)[0])
    assert look(online)[:2] == (0, {})


def test_wan_down(online):
    """The link goes down: the WAN has no IPv6"""
    online.command("zel_ipv6cp_down")
    online.gw.must("ip", "link", "set", "eth0", "down")
    status, reasons, _ = look(online)
    assert status == 1 and {"system ip6_wan_ready", "wan link"} <= set(reasons)


def test_damaged_store(online):
    """The store is damaged: it cannot be told, and the store stays as it is"""
    online.gw.must("sh", "-c", "echo x >>/etc/config/ccfg.db")
    before = online.gw.must("sha256sum", "/etc/config/ccfg.db")
    status, reasons, _ = look(online)
    assert status == 2 and "system store" in reasons
    assert online.gw.must("sha256sum", "/etc/config/ccfg.db") == before


def test_the_commands_that_are_offered_lead_to_a_healthy_gateway(lab_with):
    """A user does what stands first and looks again; while a run is at work nothing is offered"""
    lab = lab_with()
    lab.plug_in()
    done, at_work = [], []

    def obeyed():
        status, reasons, sections = look(lab, at_rest=False)
        if any(row["name"] == "at_work" for row in sections["system"]):
            at_work.append(helps_of(sections))
        elif helps_of(sections):
            done.append(helps_of(sections)[0])
            lab.gw.run("sh", "-c", done[-1])
        need((status, reasons) == (0, {}), reasons)
        return True
    lab.until("the gateway is healthy", obeyed, within=180)
    assert "dhcp6c_start" in done and at_work and not any(at_work), (done, at_work)


def test_a_provider_that_falls_silent(lab_with):
    """The client gets no answer: that is told, also when a LAN restart has put the rest in order, until it asks anew"""
    lab = lab_with()
    lab.online()
    lab.isp.stop_dhcp()
    lab.command("dhcp6c_restart")
    lab.command("ipv6_lan_restart")

    def silent():
        _, reasons, sections = look(lab, at_rest=False)
        need({"wan lease", "lan0 global_prefix"} <= set(reasons), reasons)
        need(reasons["lan0 global_prefix"].startswith("it is advertised with a preferred lifetime of 0"), reasons)
        need("dhcp6c_restart" in helps_of(sections), sections)
        return True
    lab.until("the missing lease is told", silent, within=60)
    lab.isp.serve_dhcp()
    lab.isp.await_services()
    lab.command("dhcp6c_restart")
    lab.until("the gateway is healthy again", lambda: healthy(lab), within=120)


def test_stateless(lab_with):
    """An advertisement without the Managed flag: stateless, and healthy with a delegation"""
    lab = lab_with(isp=IspConfig(managed=False, other=True, autonomous=True))
    lab.online()
    _, _, sections = look(lab)
    assert value(sections, "wan", "mode") == "dhcp, stateless"
    assert value(sections, "wan", "detection") == "advertisement without the Managed flag: stateless"
    lab.until("the gateway is healthy", lambda: healthy(lab))


def test_static(lab_with):
    """A WAN configured by hand: healthy without a client"""
    lab = lab_with(settings=BY_HAND)
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    for bridge, section in (("br-lan", "lan0"), ("br-lan1", "lan1")):
        lab.set(f"ip6_pfxlen@{section}", "64")
        lab.command("zel_ifconfig", bridge, lab.get(f"ip6_addr@{section}"), 64, 1)
    apply_settings(lab)
    lab.until("the gateway is healthy", lambda: healthy(lab))


def test_no_delegation(lab_with):
    """An address and no prefix: no delegation, no LAN prefixes, and the ruleset refused as a whole"""
    lab = lab_with(isp=IspConfig(delegated_length=0))
    lab.plug_in()
    lab.command("zel_ipv6cp_up")
    lab.bound()
    status, reasons, _ = look(lab)
    assert status == 1
    assert {"wan delegated_prefix", "lan0 global_prefix", "lan1 global_prefix", "firewall loaded"} <= set(reasons)

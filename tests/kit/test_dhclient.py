"""The dhclient adapter against a real DHCPv6 server, with a recorder in the place of the program."""

import re
import time

import pytest
from dhcp_side import (CONF, DECLINE, END, PID, SHORT, START, TAIL, client_lines, global_addresses, processes,
                       reasons, start, times)


def test_one_binding_is_one_call_with_address_and_prefix_then_effect(gateway, isp):
    isp.serve()
    calls = start(gateway)
    assert reasons(gateway) == ["PREINIT6", "BOUND6", "EFFECT6"]
    bound = calls[1]
    assert re.fullmatch(r"3fff:0:1::1[0-9a-f]{3}", bound["new_ip6_address"])
    assert re.fullmatch(r"3fff:0:1[0-9a-f]{2}::/56", bound["new_ip6_prefix"])
    expected = {
        "interface": "eth0", "stateless": "0", "new_ip6_prefixlen": "128",
        "new_dhcp6_name_servers": "3fff:0:1::1 3fff:0:1::2", "new_dhcp6_domain_search": "isp.example. second.example.",
        "new_preferred_life": "3600", "new_max_life": "7200", "new_renew": "1800", "new_rebind": "2880",
    }
    assert {key: bound.get(key) for key in expected} == expected
    assert not [key for key in bound if key.startswith("old_") or key.startswith("adapter_")]
    assert bound["PATH"].startswith("/usr/sbin:")


def test_effect_carries_interface_and_stateless_only(gateway, isp):
    isp.serve()
    effect = start(gateway)[-1]
    assert {key: effect[key] for key in effect if key not in ("PATH", "PWD", "_", "OLDPWD")} == {
        "reason": "EFFECT6", "interface": "eth0", "stateless": "0"}


def test_the_leased_address_is_on_the_interface_before_the_program_is_called(gateway, isp):
    isp.serve()
    calls = start(gateway)
    address = calls[1]["new_ip6_address"]
    assert f"inet6 {address}/128 " in gateway.read("/tmp/calls/001.addr")
    assert global_addresses(gateway) == [f"{address}/128"]
    shown = gateway.run("ip", "-6", "addr", "show", "dev", "eth0", "scope", "global").stdout
    valid, preferred = map(int, re.search(r"valid_lft (\d+)sec preferred_lft (\d+)sec", shown).groups())
    assert 7100 < valid <= 7200 and 3500 < preferred <= 3600


def test_the_client_shows_once_with_the_number_of_its_pid_file(gateway, isp):
    isp.serve()
    start(gateway)
    lines = client_lines(gateway)
    assert len(lines) == 1
    assert re.match(rf" *{gateway.read(PID).strip()} \S+ +\S+ /usr/sbin/dhclient -6 -P -d -q -nw -cf ", lines[0])


def test_kill_ends_all_of_it_without_a_call_and_leaves_the_pid_file(gateway, isp):
    isp.serve()
    calls = len(start(gateway))
    gateway.run("kill", gateway.read(PID).strip())
    gateway.wait_for(lambda: processes(gateway) == [])
    assert gateway.exists(PID)
    time.sleep(0.5)
    assert len(gateway.calls()) == calls
    assert "Release" not in isp.messages()


def test_kill_from_within_its_own_script_does_not_end_the_script(gateway, isp):
    isp.serve()
    script = f'#!/bin/sh\n[ "$reason" = EFFECT6 ] || exit 0\nkill $(cat {PID})\nsleep 1\n'
    gateway.write("/tmp/on_call", script, 0o755)
    start(gateway)
    assert reasons(gateway)[-1] == "EFFECT6"
    gateway.wait_for(lambda: processes(gateway) == [])


def test_renewals_are_merged_and_followed_by_effect(gateway, isp):
    isp.serve(lifetimes=SHORT)
    start(gateway)
    gateway.wait_for(lambda: reasons(gateway).count("RENEW6") >= 2 and reasons(gateway)[-1] == "EFFECT6")
    seen = reasons(gateway)
    assert seen[:7] == ["PREINIT6", "BOUND6", "EFFECT6", "RENEW6", "EFFECT6", "RENEW6", "EFFECT6"]
    renewed = gateway.calls()[3]
    for name in ("ip6_address", "ip6_prefix", "dhcp6_name_servers"):
        assert renewed["new_" + name] == renewed["old_" + name]
    assert len(global_addresses(gateway)) == 1


def test_release_is_one_call_and_goes_out_on_the_wire(gateway, isp):
    isp.serve()
    bound = start(gateway)[1]
    # As the program does it: the lease and pid files go one second later.
    gateway.sh(END % ("-r", TAIL) + " sleep 1; rm -f /tmp/dhcp6c-wan.leases " + PID)
    gateway.wait_for(lambda: processes(gateway) == [])
    assert reasons(gateway) == ["PREINIT6", "BOUND6", "EFFECT6", "RELEASE6"]
    released = gateway.calls()[-1]
    assert released["old_ip6_address"] == bound["new_ip6_address"]
    assert released["old_ip6_prefix"] == bound["new_ip6_prefix"]
    assert not [key for key in released if key.startswith("new_") or key.startswith("adapter_")]
    assert "stateless" not in released
    assert isp.messages()[-1] == "Release"
    assert f"releases address {bound['new_ip6_address']}" in isp.log()
    assert f"releases prefix {bound['new_ip6_prefix']}" in isp.log()
    assert global_addresses(gateway) == []
    assert not gateway.exists(PID) and not gateway.exists("/tmp/dhcp6c-wan.leases")


def test_stop_keeps_the_lease_and_says_nothing_to_the_server(gateway, isp):
    isp.serve()
    bound = start(gateway)[1]
    gateway.sh(END % ("-x", TAIL) + " sleep 1; rm -f " + PID)
    gateway.wait_for(lambda: processes(gateway) == [])
    assert reasons(gateway)[-1] == "STOP6" and reasons(gateway).count("STOP6") == 1
    stopped = gateway.calls()[-1]
    assert stopped["old_ip6_address"] == bound["new_ip6_address"]
    assert stopped["old_ip6_prefix"] == bound["new_ip6_prefix"]
    assert "Release" not in isp.messages()
    assert global_addresses(gateway) == []
    gateway.sh(START % 0)
    gateway.wait_for(lambda: reasons(gateway)[-2:] == ["REBIND6", "EFFECT6"])
    again = gateway.calls()[-2]
    assert (again["new_ip6_address"], again["new_ip6_prefix"]) == (bound["new_ip6_address"], bound["new_ip6_prefix"])


def test_release_without_a_client_or_a_lease_calls_nothing(gateway, isp):
    gateway.sh(END % ("-r", TAIL) + " wait")
    assert gateway.calls() == []
    assert processes(gateway) == []


def test_decline_goes_out_and_the_next_client_gets_another_address(gateway, isp):
    isp.serve()
    bound = start(gateway)[1]
    address = bound["new_ip6_address"]
    # The program's steps on a duplicate: kill, decline, remove the lease, and the next client kills every other one.
    kill_all = "for p in $(ps | grep '/usr/sbin/dhclient -6' | grep -v grep | awk '{print $1}'); do kill $p; done;"
    gateway.sh(f"{kill_all} {DECLINE} rm -f /tmp/dhcp6c-wan.leases; sleep 0.05; {kill_all} {START % 0}")
    gateway.wait_for(lambda: reasons(gateway).count("EFFECT6") == 2)
    assert f"reports address {address} is already in use" in isp.log()
    messages = isp.messages()
    assert messages.count("Decline") == 1
    assert messages.index("Decline") < len(messages) - 1
    assert reasons(gateway) == ["PREINIT6", "BOUND6", "EFFECT6", "PREINIT6", "BOUND6", "EFFECT6"]
    second = gateway.calls()[4]
    assert second["new_ip6_address"] != address
    assert global_addresses(gateway) == [second["new_ip6_address"] + "/128"]
    assert len(client_lines(gateway)) == 1
    assert client_lines(gateway)[0].split()[0] == gateway.read(PID).strip()


def test_decline_shows_in_the_process_list_and_ends_by_itself(gateway, isp):
    isp.serve()
    start(gateway)
    gateway.sh("kill $(cat %s); %s" % (PID, DECLINE))
    gateway.wait_for(lambda: [line for line in client_lines(gateway) if re.match(
        r" *\d+ \S+ +\S+ /usr/sbin/dhclient -6 -dec -P -sf /usr/sbin/recorder -lf ", line)])
    gateway.wait_for(lambda: processes(gateway) == [])
    assert isp.messages().count("Decline") == 1
    assert global_addresses(gateway) == []


def test_decline_without_a_binding_says_nothing(gateway, isp):
    isp.serve()
    gateway.sh(DECLINE + " wait")
    assert isp.messages() == []
    assert gateway.calls() == []


def test_the_tail_of_a_decline_client_is_understood_by_release(gateway, isp):
    isp.serve()
    start(gateway)
    # What is cut out of "-6 -dec -P -sf /usr/sbin/... -lf ..." by fields of seven characters.
    gateway.sh(END % ("-r", "-6 -dec -P -sf /usr/sb -lf") + " wait")
    gateway.wait_for(lambda: processes(gateway) == [])
    assert reasons(gateway)[-1] == "RELEASE6"
    assert isp.messages()[-1] == "Release"


def test_stateless_asks_for_a_prefix_only(gateway, isp):
    isp.serve()
    calls = start(gateway, stateless=1)
    assert reasons(gateway) == ["PREINIT6", "BOUND6", "EFFECT6"]
    assert "new_ip6_address" not in calls[1]
    assert re.fullmatch(r"3fff:0:1[0-9a-f]{2}::/56", calls[1]["new_ip6_prefix"])
    assert calls[1]["new_dhcp6_name_servers"] == "3fff:0:1::1 3fff:0:1::2"
    assert [call["stateless"] for call in calls] == ["1", "1", "1"]
    assert global_addresses(gateway) == []
    assert "NA: address" not in isp.log()


def test_stateless_leaves_the_advertised_address_alone(gateway, isp):
    isp.serve()
    gateway.sh("ip -6 addr add 3fff:0:1::abcd/64 dev eth0")
    start(gateway, stateless=1)
    assert global_addresses(gateway) == ["3fff:0:1::abcd/64"]
    gateway.sh(END % ("-r", TAIL))
    gateway.wait_for(lambda: processes(gateway) == [])
    assert reasons(gateway)[-1] == "RELEASE6"
    assert global_addresses(gateway) == ["3fff:0:1::abcd/64"]


def test_stateless_without_a_prefix_learns_the_name_servers_and_goes_on_asking(gateway, isp):
    isp.serve(what="range6 3fff:0:1::1000 3fff:0:1::1fff;")
    gateway.sh("IPV6CTL_INFO_WAIT=2 " + START % 1)
    gateway.wait_for(lambda: "EFFECT6" in reasons(gateway))
    informed = gateway.calls()[-2]
    assert informed["reason"] == "RENEW6"
    assert informed["new_dhcp6_name_servers"] == "3fff:0:1::1 3fff:0:1::2"
    assert informed["stateless"] == "1"
    assert "new_ip6_prefix" not in informed
    solicits = isp.messages().count("Solicit")
    # The client that goes on must not make the program forget what it has just learnt.
    gateway.wait_for(lambda: isp.messages().count("Solicit") > solicits)
    assert reasons(gateway).count("PREINIT6") == 1
    assert len(client_lines(gateway)) == 1
    isp.serve()
    gateway.wait_for(lambda: "new_ip6_prefix" in gateway.calls()[-2] and reasons(gateway)[-1] == "EFFECT6", seconds=60)
    gateway.run("kill", gateway.read(PID).strip())
    gateway.wait_for(lambda: processes(gateway) == [])


def test_a_server_without_prefixes_still_gives_an_address(gateway, isp):
    isp.serve(what="range6 3fff:0:1::1000 3fff:0:1::1fff;")
    calls = start(gateway)
    assert reasons(gateway) == ["PREINIT6", "BOUND6", "EFFECT6"]
    assert "new_ip6_address" in calls[1] and "new_ip6_prefix" not in calls[1]


def test_a_lease_that_runs_out_is_told_and_its_address_goes(gateway, isp):
    isp.serve(lifetimes=times(8, 6, 3, 5))
    bound = start(gateway)[1]
    isp.end()
    gateway.wait_for(lambda: "EXPIRE6" in reasons(gateway))
    gateway.wait_for(lambda: global_addresses(gateway) == [])
    expired = [call for call in gateway.calls() if call["reason"] == "EXPIRE6"]
    assert expired[0].get("old_ip6_address", bound["new_ip6_address"]) == bound["new_ip6_address"]
    assert gateway.read(PID).strip() in client_lines(gateway)[0].split()[0]


def test_the_address_of_an_earlier_client_goes(gateway, isp):
    isp.serve()
    start(gateway)
    gateway.run("kill", "-9", gateway.read(PID).strip())
    first = global_addresses(gateway)
    gateway.sh("rm /tmp/dhcp6c-wan.leases")
    gateway.write("/tmp/dhcp6c-wan.conf", CONF.replace(":01;", ":77;"))
    gateway.sh(START % 0)
    gateway.wait_for(lambda: reasons(gateway).count("EFFECT6") == 2)
    second = global_addresses(gateway)
    assert len(second) == 1 and second != first
    # The stock client that the hard kill left behind is gone too.
    assert len([line for line in processes(gateway) if "stock/dhclient" in line]) == 1


def test_addresses_of_before_go_when_a_client_starts(gateway, isp):
    isp.serve()
    leased = start(gateway)[1]["new_ip6_address"]
    gateway.run("kill", gateway.read(PID).strip())
    isp.end()
    gateway.sh("ip -6 addr add 3fff:0:1::77/64 dev eth0")
    gateway.sh("ip -6 addr add 3fff:0:1::78/64 dev eth0 valid_lft 900 preferred_lft 900")
    assert f"{leased}/128" in global_addresses(gateway)
    gateway.sh(START % 0)
    gateway.wait_for(lambda: reasons(gateway)[-1] == "PREINIT6")
    # What the kernel formed from an advertisement has a lifetime and is none of the client's.
    assert global_addresses(gateway) == ["3fff:0:1::78/64"]
    gateway.run("kill", gateway.read(PID).strip())


def test_text_from_the_server_does_not_become_commands(gateway, isp):
    isp.serve(domains='"a\'b$(touch${IFS}/tmp/pwned).example", "`touch /tmp/pwned`.example"')
    calls = start(gateway)
    assert reasons(gateway) == ["PREINIT6", "BOUND6", "EFFECT6"]
    assert calls[1]["new_dhcp6_name_servers"] == "3fff:0:1::1 3fff:0:1::2"
    gateway.sh(END % ("-r", TAIL) + " wait")
    gateway.wait_for(lambda: "RELEASE6" in reasons(gateway))
    assert not gateway.exists("/tmp/pwned")


HOSTILE = "a'b\"c $(touch /tmp/pwned) `touch /tmp/pwned`; touch /tmp/pwned\nmore\\"


def test_hostile_values_reach_the_program_unchanged_and_run_nothing(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    gateway.sh("mkdir -p /tmp/own /tmp/kept")
    base = {"adapter_script": "/usr/sbin/recorder", "adapter_own": "/tmp/own", "adapter_kept": "/tmp/kept",
            "interface": "eth0", "stateless": "0", "new_dhcp6_domain_search": HOSTILE}
    lease = ('lease6 {\n  interface "eth0";\n  ia-na 1 {\n    iaaddr 3fff::1 {\n    }\n  }\n'
             '  ia-pd 1 {\n    iaprefix 3fff::/56 {\n    }\n  }\n}\n')
    gateway.write("/tmp/l", lease)
    base["adapter_leases"] = "/tmp/l"
    events = "/usr/lib/ipv6ctl/adapters/dhclient-events"
    base.update(reason="BOUND6", new_iaid="1")
    gateway.run(events, env={**base, "new_ip6_address": HOSTILE, "new_max_life": HOSTILE})
    assert gateway.calls() == []
    gateway.run(events, env={**base, "new_ip6_prefix": HOSTILE, "new_max_life": "9"})
    calls = gateway.calls()
    assert [call["reason"] for call in calls] == ["BOUND6", "EFFECT6"]
    for name in ("new_ip6_address", "new_ip6_prefix", "new_dhcp6_domain_search"):
        assert calls[0][name] == HOSTILE
    assert not gateway.exists("/tmp/pwned")


def test_a_call_that_never_comes_does_not_hold_the_others(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    gateway.isp("ip", "link", "set", "isp0", "up")
    gateway.sh("mkdir -p /tmp/own /tmp/kept; ip link set eth0 up")
    gateway.write("/tmp/l", 'lease6 {\n  interface "eth0";\n  ia-na 1 {\n    iaaddr 3fff::1 {\n    }\n  }\n'
                  '  ia-pd 1 {\n    iaprefix 3fff::/56 {\n    }\n  }\n}\n')
    gateway.run("/usr/lib/ipv6ctl/adapters/dhclient-events", env={
        "adapter_script": "/usr/sbin/recorder", "adapter_own": "/tmp/own", "adapter_kept": "/tmp/kept",
        "adapter_leases": "/tmp/l", "interface": "eth0", "reason": "BOUND6", "new_iaid": "1",
        "new_ip6_address": "3fff::1", "new_ip6_prefixlen": "128", "new_max_life": "90", "new_preferred_life": "60"})
    assert gateway.calls() == []
    gateway.wait_for(lambda: reasons(gateway) == ["BOUND6", "EFFECT6"])
    assert global_addresses(gateway) == ["3fff::1/128"]


@pytest.mark.parametrize("newest, calls", [("old", 3), ("dead", 2)])
def test_values_that_the_server_gave_up_are_left_out(gateway, newest, calls):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    gateway.sh("mkdir -p /tmp/own /tmp/kept; ip link set eth0 up")
    second = "    iaprefix 3fff:2::/56 {\n    }\n" if newest == "old" else ""
    gateway.write("/tmp/l", 'lease6 {\n  interface "eth0";\n  ia-na 1 {\n    iaaddr 3fff::9 {\n    }\n  }\n}\n'
                  'lease6 {\n  interface "eth0";\n  ia-na 1 {\n  }\n'
                  f'  ia-pd 1 {{\n    iaprefix 3fff:1::/56 {{\n    }}\n{second}  }}\n}}\n'
                  'lease6 {\n  interface "eth7";\n  ia-na 1 {\n  }\n}\n')
    base = {"adapter_script": "/usr/sbin/recorder", "adapter_own": "/tmp/own", "adapter_kept": "/tmp/kept",
            "adapter_leases": "/tmp/l", "interface": "eth0", "reason": "RENEW6", "new_iaid": "1"}
    steps = [{}, {"new_ip6_prefix": "3fff:1::/56", "new_max_life": "0"},
             {"new_ip6_prefix": "3fff:2::/56", "new_max_life": "9"}]
    for done, step in enumerate(steps[:calls], start=1):
        gateway.run("/usr/lib/ipv6ctl/adapters/dhclient-events", env={**base, **step})
        assert (reasons(gateway) == []) == (done < calls)
    assert reasons(gateway) == ["RENEW6", "EFFECT6"]
    assert gateway.calls()[0].get("new_ip6_prefix") == ("3fff:2::/56" if newest == "old" else None)


def test_only_the_exchange_that_withdraws_a_value_waits_for_its_call(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    gateway.sh("mkdir -p /tmp/own /tmp/kept; ip link set eth0 up")
    lease = ('lease6 {\n  interface "eth0";\n  ia-pd 1 {\n    iaprefix 3fff:1::/56 {\n      max-life 0;\n    }\n'
             '    iaprefix 3fff:2::/56 {\n      max-life 90;\n    }\n  }\n}\n')
    gateway.write("/tmp/l", lease + lease)
    gateway.run("/usr/lib/ipv6ctl/adapters/dhclient-events", env={
        "adapter_script": "/usr/sbin/recorder", "adapter_own": "/tmp/own", "adapter_kept": "/tmp/kept",
        "adapter_leases": "/tmp/l", "interface": "eth0", "reason": "RENEW6", "new_iaid": "1",
        "new_ip6_prefix": "3fff:2::/56", "new_max_life": "90"})
    assert reasons(gateway) == ["RENEW6", "EFFECT6"]


def test_an_interface_name_that_is_a_path_is_refused(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    for name in ("../../tmp/x", "$(touch /tmp/pwned)", "a b", ""):
        done = gateway.run("/usr/sbin/dhclient", "-6", "-P", "-sf", "/usr/sbin/recorder", "-pf", "/tmp/p", name,
                           check=False)
        assert done.returncode == 2
    assert not gateway.exists("/tmp/pwned") and not gateway.exists("/tmp/p")


def test_a_client_for_ipv4_is_the_stock_one(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    gateway.write("/usr/lib/ipv6ctl/stock/dhclient", "#!/bin/sh\necho \"stock $*\"\n", 0o755)
    assert gateway.run("/usr/sbin/dhclient", "-4", "-v", "eth0").stdout == "stock -4 -v eth0\n"

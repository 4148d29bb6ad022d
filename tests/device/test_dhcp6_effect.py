"""The event that applies a binding: the duplicate address check, the restart of the WAN and of the LANs."""
import pytest

from expected_ruleset import ruleset
from expected_texts import (COLOR, HOME, LAN0_ID, LAN0_ULA, LAN1_ID, LAN1_ULA, PLAIN, found_wan, framed, loaded, ran,
                            said)
from wan_setup import (CONF, LEASES, LIST_CLIENTS, LIST_FOR_STOP, PID_FILE, RECORDS, RELEASE, REQUEST_ALL,
                       RUNNING_CLIENT, START_DECLINE, START_STATEFUL, STOPPED, own_console, own_lines, own_log, record)

BOUND = {
    "ip6_changed@wan100": "1", "ip6_stateless@wan100": "0", "ip6_addr@wan100": "3fff:1::5", "ip6_pfxlen@wan100": "64",
    "ip6_gateway@wan100": "fe80::1", "ip6_dns_primary@wan100": "3fff::53", "ip6_dns_secondary@wan100": "3fff::54",
    "ip6_dns@wan100": "3fff::53 3fff::54", "ip6_domain@wan100": "isp.example", "ip6_lease@wan100": "3600",
    "ip6_life@wan100": "7200", "ip6_dhcp_prefer@lan0": "3600", "ip6_dhcp_valid@lan0": "7200",
    "ip6_dhcp6c_prefix_addr@system": "3fff:1234:5600::", "ip6_dhcp6c_prefix_length@system": "56",
    "ip6_duid@wan100": "00:03:00:01:00:11:22:33:44:55",
}
WAN, LAN = "-> start_ipv6_wan", "-> start_ipv6_lan"
LAN0_ADDR, LAN1_ADDR = f"3FFF:1234:0000:5601:{LAN0_ID}", f"3FFF:1234:0000:5602:{LAN1_ID}"
ADDRESS = {"address": "3fff:1::5", "address_flags": 0x80}
FLUSH = "/usr/sbin/ip -f inet6 addr flush ppp0 scope global"


@pytest.fixture
def wan(gateway):
    gateway.store.update({**HOME, **BOUND})
    gateway.store["ip6_dhcp6c_prefix_addr@system"] = "3fff:1234:0:5600::"
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    return gateway


def effect(wan, stateless="0", **variables):
    wan.env = {"reason": "EFFECT6", "interface": "ppp0", **variables}
    if stateless is not None:
        wan.env["stateless"] = stateless
    return wan.run("zel_dhcp6c_update")


def steps(run):
    """Which sides the run restarted."""
    return [text for text in run.messages("dhcp6c_main") if text in (WAN, LAN)]


def radvd_section(link, ula, gua, dns):
    return (f"interface {link} {{\nAdvSendAdvert on;\nAdvLinkMTU 1492;\nAdvCurHopLimit 255;\nMinRtrAdvInterval 20;\n"
            "MaxRtrAdvInterval 60;\nAdvDefaultPreference medium;\nAdvHomeAgentFlag off;\nAdvManagedFlag off;\n"
            f"AdvOtherConfigFlag on;\nprefix {ula}::/64 {{\nAdvOnLink on;\nAdvAutonomous on;\nAdvRouterAddr off;\n"
            "AdvPreferredLifetime 604800;\nAdvValidLifetime 1814400;\n};\n"
            f"prefix {gua}/64 {{\nAdvOnLink on;\nAdvAutonomous on;\nAdvRouterAddr off;\n"
            "AdvPreferredLifetime 3600;\nAdvValidLifetime 7200;\nDeprecatePrefix on;\n};\n"
            f"RDNSS {dns}\n{{\nAdvRDNSSLifetime 600;\n}};\nDNSSL isp.example\n{{\nAdvDNSSLLifetime 600;\n}};\n}};\n")


# --- the whole path

def test_a_changed_lease_restarts_the_wan_and_the_lans(wan):
    before = dict(wan.store)
    run = effect(wan)
    assert run.log_lines == framed(
        "zel_dhcp6c_update", loaded(before),
        said("dhcp6c_main", "The reason is EFFECT6, the interface is ppp0 and the stateless is 0.", WAN),
        ran("/usr/sbin/ip -6 route flush table 200"),
        said("start_ipv6", "wan_ip6_addr = 3fff:1::5/64", "wan_ip6_prefix = 3fff:1::"),
        ran("/usr/sbin/ip -6 route flush ::/0", "/usr/sbin/ip -6 route add ::/0 via fe80::1 dev ppp0"),
        said("dhcp6c_main", LAN),
        said("start_ipv6", "delegate_addr = 3fff:1234:0:5600::/56"),
        said("generate_addr", "generate_addr: 3FFF:1234:0000:5601:0000:0000:0000:0000",
             "routing_prefix: 3FFF:1234:0000:56/56"),
        said("start_ipv6", "ko3_addr: 3FFF:1234:0000:5601:0000:0000:0000:0000",
             "lan_ip6_prefix = 3fff:1234:0:5601::", f"lan_ip6_addr = {LAN0_ADDR}", "lan_ip6_pfxlen = 64"),
        said("set_ipv6_addr", f"if_name[br-lan] {LAN0_ADDR} 64 1"),
        said("start_ipv6", "delegate_addr = 3fff:1234:0:5600::/56"),
        said("generate_addr", "generate_addr: 3FFF:1234:0000:5602:0000:0000:0000:0000",
             "routing_prefix: 3FFF:1234:0000:56/56"),
        said("start_ipv6", "ko3_addr: 3FFF:1234:0000:5602:0000:0000:0000:0000",
             "lan1_ip6_prefix = 3fff:1234:0:5602::", f"lan1_ip6_addr = {LAN1_ADDR}", "lan1_ip6_pfxlen = 64"),
        said("set_ipv6_addr", f"if_name[br-lan1] {LAN1_ADDR} 64 1"),
        ran("killall radvd; rm -f /tmp/run/radvd.pid", "killall dhcp6d", "killall -9 ecmh", "ip6tables -F",
            "echo  sys_ipv6_lan_done call zel_resolv_update. >/dev/console"),
        said("get_mac_addr", "br-lan macaddr is [00:11:22:33:44:55]"),
        said("set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 1"),
        ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding"),
        said("get_mac_addr", "br-lan1 macaddr is [00:11:22:33:44:66]"),
        said("set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 1"),
        ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding",
            "vorn_syslog_cli addEventCode -1 ME104 3fff:1234:0:5601::/64",
            "vorn_syslog_cli addEventCode -1 ME104 3fff:1234:0:5602::/64", "radvd -C /tmp/radvd.conf &",
            "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d", "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&", "ecmh -i ppp0 -d br-lan",
            "ip6tables-restore /tmp/.ip6t", ". /lib/firewall/firewallv6.user"),
        found_wan(),
        ran("/usr/sbin/resolv_update.sh SYSTEM", "dnsmasq_update.sh",
            "echo  zel_resolv_update restart dnsmasq. >/dev/console", "/etc/init.d/dnsmasq2 restart",
            "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 3fff:1::5 3fff::53"))
    assert own_console(run) == [
        "[zel-ipv6 main] call dhcp6c_main(TID) , line:4044",
        "[dhcp6c_main] wan_on_demand=0, dhcp6c_prefix_mode=0",
        "[dhcp6c_main] The reason is EFFECT6, the interface is ppp0 and the stateless is 0.",
        "[dhcp6c_main][1000] Reason : EFFECT6 ",
        "[dhcp6c_main] -> start_ipv6_wan",
        "[dhcp6c_main] -> start_ipv6_lan",
        f"[set_ipv6_addr] if_name[br-lan] {LAN0_ADDR} 64 1",
        f"[set_ipv6_addr] if_name[br-lan1] {LAN1_ADDR} 64 1",
        "sys_ipv6_lan_done call zel_resolv_update.",
        f"[start_ula][1000] {COLOR}[1905] lan_ip6_ula_gid = 3e:41a2:09bc {PLAIN}",
        f"[start_ula][1000] {COLOR}[1954] lan_ip6_ula_addr = {LAN0_ULA} {PLAIN}",
        f"[set_ipv6_addr] if_name[br-lan] {LAN0_ULA} 64 1",
        f"[start_ula][1000] lan1_ip6_ula_addr = {LAN1_ULA}",
        f"[set_ipv6_addr] if_name[br-lan1] {LAN1_ULA} 64 1",
        "[zel_resolv_update] wan_ip6_dns1=3fff::53, wan_ip6_dns2=3fff::54, wan_ip4_dns1=192.0.2.53, wan_ip4_dns2=, "
        "ipv4_lan_ip=",
        "[zel_resolv_update] vlan7_ip4_dns1=, vlan7_ip4_dns2=, vlan8_ip4_dns1=, vlan8_ip4_dns2=",
        "wan_ip6_dns1 is 3fff::53",
        "zel_resolv_update restart dnsmasq.",
    ]
    assert run.pauses == [800]
    assert run.store_changes == {
        "ip6_changed@wan100": ("1", "0"), "ip6_prefix@wan100": (None, "3fff:1::"),
        "ip6_wan_ready@system": (None, "1"), "dns@wan100": (None, "192.0.2.53"),
        "ip6_prefix@lan0": (None, "3fff:1234:0:5601::"), "ip6_addr@lan0": (None, LAN0_ADDR),
        "ip6_pfxlen@lan0": (None, "64"), "ip6_ula_addr@lan0": (None, LAN0_ULA),
        "ip6_prefix@lan1": (None, "3fff:1234:0:5602::"), "ip6_addr@lan1": (None, LAN1_ADDR),
        "ip6_pfxlen@lan1": (None, "64"), "ip6_ula_addr@lan1": (None, LAN1_ULA),
    }
    assert run.addresses == {
        "br-lan": ["3fff:1234:0:5601:211:22ff:fe33:4455/64", "fd3e:41a2:9bc:1:211:22ff:fe33:4455/64"],
        "br-lan1": ["3fff:1234:0:5602:211:22ff:fe33:4466/64", "fd5d:77c0:e1f2:2:211:22ff:fe33:4466/64"],
        "ppp0": []}
    assert run.switches == {
        "all/forwarding": "1", "br-lan/forwarding": "1\n", "br-lan/disable_ipv6": "0", "br-lan/accept_ra": "0",
        "br-lan1/forwarding": "1\n", "br-lan1/disable_ipv6": "0", "br-lan1/accept_ra": "0"}
    assert run.files == {
        "/tmp/radvd.conf": (
            radvd_section("br-lan", "FD3e:41a2:09bc:0001", "3fff:1234:0:5601::", LAN0_ULA)
            + radvd_section("br-lan1", "FD5d:77c0:e1f2:0002", "3fff:1234:0:5602::", LAN1_ULA)),
        "/tmp/.ip6t": ruleset(
            echo=["-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d 3fff:1::/64 -j REJECT"],
            own_prefix=["-A FORWARD -i br-lan ! -s 3fff:1234:0:5601::/64 -j DROP"],
            delegated="3fff:1234:0:5600::/56"),
        "/tmp/dhcp6d": "<copy of dhcpd>",
        "/tmp/dhcp6d.conf": (
            'dhcpv6-lease-file-name "/tmp/dhcp6d.leases";\ndhcpv6-pid-file-name "/var/run/dhcp6d.pid";\n'
            "server-duid LLT ethernet 378691200 00:11:22:33:44:55;\nauthoritative;\ndefault-lease-time 7200;\n"
            'preferred-lifetime 3600;\noption dhcp6.domain-search "isp.example";\noption dhcp6.rapid-commit;\n'
            f"subnet6 3fff:1234:0:5601::/64 {{\noption dhcp6.name-servers {LAN0_ULA};\n}}\n\n"
            f"subnet6 3fff:1234:0:5602::/64 {{\noption dhcp6.name-servers {LAN1_ULA};\n}}\n\n"),
        "/tmp/dhcp6d.leases": "",
        "/var/run/dhcp6d.pid": "",
        "/tmp/resolv.conf.auto": "nameserver 192.0.2.53\nnameserver 3fff::53\nnameserver 3fff::54\n",
    }
    assert run.status == 1


# --- whether anything is done

@pytest.mark.parametrize("changed", [None, "0", "", "no"])
def test_without_a_change_nothing_is_done(wan, changed):
    if changed is None:
        del wan.store["ip6_changed@wan100"]
    else:
        wan.store["ip6_changed@wan100"] = changed
    run = effect(wan)
    assert own_log(run) == said("dhcp6c_main", "The reason is EFFECT6, the interface is ppp0 and the stateless is 0.")
    assert len(own_console(run)) == 4
    assert own_lines(run) == []
    assert run.store["ip6_changed@wan100"] == "0"
    assert set(run.store_changes) <= {"ip6_changed@wan100"}


def test_the_mark_is_consumed_once(wan):
    assert steps(effect(wan)) == [WAN, LAN]
    assert steps(effect(wan)) == []


@pytest.mark.parametrize("changed", ["2", "-1"])
def test_any_other_number_is_a_change(wan, changed):
    wan.store["ip6_changed@wan100"] = changed
    run = effect(wan)
    assert steps(run) == [WAN, LAN]
    assert run.store["ip6_changed@wan100"] == "0"


@pytest.mark.parametrize("stateless, sides", [("0", [WAN, LAN]), (None, [WAN, LAN]), ("1", [LAN]), ("2", [LAN]),
                                              ("", [LAN]), ("00", [LAN])])
def test_only_a_stateful_wan_is_restarted(wan, stateless, sides):
    run = effect(wan, stateless)
    assert steps(run) == sides
    assert [line for line in own_console(run) if "->" in line] == [f"[dhcp6c_main] {side}" for side in sides]
    assert ("/usr/sbin/ip -6 route flush table 200" in run.lines) == (WAN in sides)
    assert run.store["ip6_wan_ready@system"] == "1"


def test_a_renewal_without_news_does_not_restart_anything(wan):
    wan.store["ip6_changed@wan100"] = "0"
    wan.env = {"reason": "RENEW6", "interface": "ppp0", "stateless": "0", "new_ip6_address": "3fff:1::5",
               "new_dhcp6_domain_search": "isp.example.", "new_dhcp6_name_servers": "3fff::53 3fff::54",
               "new_ip6_prefix": "3fff:1234:0:5600::/56", "new_max_life": "9000"}
    assert wan.run("zel_dhcp6c_update").store_changes == {
        "ip6_life@wan100": ("7200", "9000"), "ip6_dhcp_valid@lan0": ("7200", "9000")}
    assert own_lines(effect(wan)) == []


def test_a_random_prefix_does_not_reach_the_lans(wan):
    wan.store.update({"ip6_dhcp6c_prefix_mode@system": "1", "ip6_changed@wan100": "0"})
    wan.env = {"reason": "BOUND6", "interface": "ppp0", "stateless": "0", "new_ip6_address": "3fff:1::6",
               "new_ip6_prefix": "3fff:9999::/48"}
    wan.run("zel_dhcp6c_update")
    run = effect(wan)
    assert run.messages("start_ipv6")[2] == "delegate_addr = 3fff:1234:0:5600::/56"


# --- the duplicate address check

@pytest.fixture
def probing(wan):
    wan.store["ip6_stateless@wan100"] = "1"
    return wan


@pytest.mark.parametrize("stateless", [None, "0"])
def test_the_address_is_put_on_anew_and_looked_at_after_a_second(probing, stateless):
    probing.file(RECORDS, record(**ADDRESS))
    run = effect(probing, stateless)
    assert own_log(run)[1:4] == (ran(FLUSH) + said("set_ipv6_addr", "if_name[ppp0] 3fff:1::5 64 1")
                                 + said("dhcp6c_main", WAN))
    assert own_console(run)[4:6] == ["[set_ipv6_addr] if_name[ppp0] 3fff:1::5 64 1", "[dhcp6c_main] -> start_ipv6_wan"]
    assert run.journal[3:6] == [FLUSH, "(pause 1000 ms)", "/usr/sbin/ip -6 route flush table 200"]
    assert run.addresses["ppp0"] == ["3fff:1::5/64"]
    assert steps(run) == [WAN, LAN]


def test_the_check_uses_the_interface_that_the_client_names(probing):
    probing.env["interface"] = "br-lan"
    run = effect(probing, interface="br-lan")
    assert own_lines(run)[0] == "/usr/sbin/ip -f inet6 addr flush br-lan scope global"
    assert run.messages("set_ipv6_addr")[0] == "if_name[br-lan] 3fff:1::5 64 1"


@pytest.mark.parametrize("changes, stateless", [
    ({"ip6_stateless@wan100": "0"}, "0"), ({"ip6_stateless@wan100": "01"}, "0"), ({"ip6_stateless@wan100": ""}, "0"),
    ({"ip6_addr@wan100": ""}, "0"), ({}, "1")])
def test_when_the_address_is_not_checked(probing, changes, stateless):
    probing.store.update(changes)
    probing.file(RECORDS, record(**{**ADDRESS, "address_flags": 0x88}))
    run = effect(probing, stateless)
    assert FLUSH not in run.lines
    assert run.pauses == [800]
    assert steps(run)[-1] == LAN


@pytest.mark.parametrize("records", [
    None, "", record(**ADDRESS), record(**{**ADDRESS, "address_flags": 0xF7}),
    record(**{**ADDRESS, "link": "br-lan", "address_flags": 0x88}), "08\n",
    record(**{**ADDRESS, "link": "ppp01", "address_flags": 0x88}),
])
def test_no_duplicate(probing, records):
    if records is not None:
        probing.file(RECORDS, records)
    run = effect(probing)
    assert steps(run) == [WAN, LAN]
    assert START_DECLINE not in run.lines
    assert run.store["ip6_addr@wan100"] == "3fff:1::5"


RESET = {
    "ip6_addr@wan100": ("3fff:1::5", None), "ip6_pfxlen@wan100": ("64", "0"),
    "ip6_domain@wan100": ("isp.example", None), "ip6_dns@wan100": ("3fff::53 3fff::54", None),
    "ip6_dns_primary@wan100": ("3fff::53", None), "ip6_dns_secondary@wan100": ("3fff::54", None),
    "ip6_lease@wan100": ("3600", "0"), "ip6_life@wan100": ("7200", "0"), "ip6_renew@wan100": (None, "0"),
    "ip6_rebind@wan100": (None, "0"), "ip6_sntp@wan100": ("3fff::123", None), "ip6_prefix@wan100": ("3fff:1::", None),
    "ip6_changed@wan100": ("1", "0"),
}
DECLINED = [
    "call start_dhcp6c(tid, SEND_DECLINE) , line:N", "[zel-ipv6 start_dhcp6c] ask_info_only = 2"]
ASKED_ANEW = ["[zel-ipv6 start_dhcp6c] ask_info_only = 0"]


@pytest.fixture
def duplicate(probing):
    probing.store.update({"ip6_sntp@wan100": "3fff::123", "ip6_prefix@wan100": "3fff:1::"})
    probing.file(RECORDS, record("fe80::1", address_flags=0x80) + record(**{**ADDRESS, "link": "br-lan"})
                 + record(**{**ADDRESS, "address_flags": 0x88}))
    probing.file(LEASES, "lease6 {}\n")
    probing.remove("/tmp/resolv.conf.auto")
    return probing


def test_a_duplicate_address_is_declined_and_a_new_one_asked_for(duplicate):
    run = effect(duplicate)
    assert own_log(run)[1:] == (
        ran(FLUSH) + said("set_ipv6_addr", "if_name[ppp0] 3fff:1::5 64 1")
        + said("dhcp6c_main", "ppp0: detect duplicate address detected!") + ran(LIST_CLIENTS, status=1)
        + ran(START_DECLINE) + ran(LIST_CLIENTS, status=1) + ran(START_STATEFUL))
    assert own_console(run)[4:] == ["[set_ipv6_addr] if_name[ppp0] 3fff:1::5 64 1", *DECLINED, *ASKED_ANEW]
    assert run.pauses == [1000]
    assert run.files == {CONF: REQUEST_ALL + "send dhcp6.client-id 00:03:00:01:00:11:22:33:44:55;"}
    assert run.store_changes == RESET
    assert run.calls_of("dhclient") == [
        ["/usr/sbin/dhclient", "-6", "-dec", "-P", "-sf", "/usr/sbin/zel_dhcp6c_update", "-lf",
         "/tmp/dhcp6c-wan.leases", "-pf", "/var/run/dhcp6c-wan.pid", "ppp0"],
        ["/usr/sbin/dhclient", "-6", "-P", "-d", "-q", "-nw", "-cf", "/tmp/dhcp6c-wan.conf", "-sf",
         "/usr/sbin/zel_dhcp6c_update", "-lf", "/tmp/dhcp6c-wan.leases", "-pf", "/var/run/dhcp6c-wan.pid", "-e",
         "stateless=0", "ppp0"]]


@pytest.mark.parametrize("flags", [0x08, 0x0C, 0xC8, 0xFF])
def test_one_flag_tells_a_duplicate(duplicate, flags):
    duplicate.file(RECORDS, record(**{**ADDRESS, "address_flags": flags}))
    assert START_DECLINE in effect(duplicate).lines


def test_any_address_of_the_wan_interface_can_be_the_duplicate(duplicate):
    duplicate.file(RECORDS, record("fe80::9", scope=0x20, address_flags=0x88))
    assert START_DECLINE in effect(duplicate).lines


def test_the_record_of_the_duplicate_needs_no_router(duplicate):
    duplicate.file(RECORDS, record(**{**ADDRESS, "address_flags": 0x88})[:-34] + "\n")
    assert START_DECLINE in effect(duplicate).lines


def test_a_client_that_runs_is_stopped_before_the_new_one(duplicate):
    duplicate.file(PID_FILE, "4242\n")
    duplicate.script("ps", stdout=RUNNING_CLIENT)
    run = effect(duplicate)
    assert own_lines(run)[1:] == [LIST_CLIENTS, "kill 4242", START_DECLINE, LIST_FOR_STOP, RELEASE, LIST_CLIENTS,
                                  "kill 4242", START_STATEFUL]
    assert own_console(run)[5:] == [*DECLINED, *STOPPED, *ASKED_ANEW]
    assert run.pauses == [1000, 1000]
    assert set(run.files) == {CONF}


def test_in_random_mode_the_duplicate_takes_the_prefix_along(duplicate):
    duplicate.store["ip6_dhcp6c_prefix_mode@system"] = "1"
    assert effect(duplicate).store_changes == {
        **RESET, "ip6_dhcp6c_prefix_addr@system": ("3fff:1234:0:5600::", None),
        "ip6_dhcp6c_prefix_length@system": ("56", None)}


def test_on_a_link_dialed_on_demand_the_duplicate_takes_the_name_servers_along(duplicate):
    duplicate.store["on-demand@wan100"] = "1"
    run = effect(duplicate)
    assert run.store_changes == RESET
    assert run.switches == {}


def test_an_interface_name_that_is_no_word_stays_one_word(probing):
    run = effect(probing, interface="ppp0; reboot")
    assert run.lines[2] == "/usr/sbin/ip -f inet6 addr flush 'ppp0; reboot' scope global"

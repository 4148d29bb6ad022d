"""ipv6_lan_restart: the LAN side brought into line with a WAN that works."""
import pytest

from expected_ruleset import TUNNEL_ECHO, TUNNEL_FORWARD, ruleset
from expected_texts import (BARE, COLOR, HOME, LAN0_ID, LAN0_ULA, LAN1_ID, LAN1_ULA, LOADING, LOADING_CONSOLE, PLAIN,
                            found_wan, framed, loaded, ran, said)

WAN = {
    "ip6_proto@wan100": "dhcp",
    "ip6_addr@wan100": "2001:db8:1::5",
    "ip6_prefix@wan100": "2001:db8:1::",
    "ip6_pfxlen@wan100": "64",
    "ip6_dns_primary@wan100": "2001:db8:1::53",
    "ip6_dns_secondary@wan100": "2001:db8:1::54",
    "ip6_domain@wan100": "isp.example",
    "ip6_dhcp6c_prefix_addr@system": "2001:db8:1234:5600::",
    "ip6_dhcp6c_prefix_length@system": "56",
    "ip6_wan_ready@system": "0",
    "ip4_wan_ready@system": "1",
    "dns@wan100": "192.0.2.53",
}
GLOBAL0, GLOBAL1 = f"2001:0DB8:1234:5601:{LAN0_ID}", f"2001:0DB8:1234:5602:{LAN1_ID}"
FIXED = ("AdvSendAdvert on;\nAdvLinkMTU 1492;\nAdvCurHopLimit 255;\nMinRtrAdvInterval 20;\nMaxRtrAdvInterval 60;\n"
         "AdvDefaultPreference medium;\nAdvHomeAgentFlag off;\nAdvManagedFlag off;\nAdvOtherConfigFlag on;\n")


@pytest.fixture
def home(gateway):
    """Unique-local addresses enabled; the WAN has got its address, prefix and servers from a DHCPv6 server."""
    gateway.store.update({**HOME, **WAN})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    gateway.file("/etc/config/.glbcfg", "settings\n")
    return gateway


@pytest.fixture
def bare(home):
    """The same without unique-local addresses."""
    home.store.update(BARE)
    return home


def prefix_block(prefix, preferred, valid, more=""):
    return (f"prefix {prefix} {{\nAdvOnLink on;\nAdvAutonomous on;\nAdvRouterAddr off;\n"
            f"AdvPreferredLifetime {preferred};\nAdvValidLifetime {valid};\n{more}}};\n")


def section(link, local, ula, prefix):
    return (f"interface {link} {{\n" + FIXED + prefix_block(local, 604800, 1814400)
            + prefix_block(prefix, 86400, 604800, "DeprecatePrefix on;\n")
            + f"RDNSS {ula}\n{{\nAdvRDNSSLifetime 600;\n}};\nDNSSL isp.example\n{{\nAdvDNSSLLifetime 600;\n}};\n}};\n")


def test_ipv6_lan_restart_from_first_to_last_line(home):
    home.store.update({
        "ip6_addr@lan0": "2001:db8:9999:1::1", "ip6_prefix@lan0": "2001:db8:9999:1::", "ip6_pfxlen@lan0": "64",
        "ip6_addr@lan1": "2001:db8:9999:2::1", "ip6_prefix@lan1": "2001:db8:9999:2::", "ip6_pfxlen@lan1": "64",
        "ip6_ula_addr@lan0": "FD00:0:0:1::1", "ip6_ula_addr@lan1": "FD00:0:0:2::1",
        "ip6_ula_addra@lan1": "FD00:0:0:22::1"})
    home.address("br-lan", "fd00:0:0:1::1/64")
    home.address("br-lan1", "fd00:0:0:2::1/64")
    home.address("br-lan1", "fd00:0:0:22::1/64")
    run = home.run("ipv6_lan_restart")
    assert run.lines == [
        "ccfg_cli set ip6_pre_manual_gid@lan0=0",
        "ccfg_cli set ip6_pre_manual_gid@lan1=0",
        "/sbin/ifconfig br-lan del 2001:db8:9999:1::1/64",
        "/sbin/ifconfig br-lan1 del 2001:db8:9999:2::1/64",
        "killall radvd; rm -f /tmp/run/radvd.pid",
        "killall dhcp6d",
        "killall -9 ecmh",
        "ip6tables -F",
        "echo  sys_ipv6_lan_done call zel_resolv_update. >/dev/console",
        "echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding",
        "echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding",
        "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5601::/64",
        "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5602::/64",
        "radvd -C /tmp/radvd.conf &",
        "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
        "ecmh -i ppp0 -d br-lan",
        "ip6tables-restore /tmp/.ip6t",
        ". /lib/firewall/firewallv6.user",
        "/usr/sbin/resolv_update.sh SYSTEM",
        "dnsmasq_update.sh",
        "echo  zel_resolv_update restart dnsmasq. >/dev/console",
        "/etc/init.d/dnsmasq2 restart",
        "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 2001:db8:1::5 2001:db8:1::53",
    ]
    assert run.log_lines == framed(
        "ipv6_lan_restart",
        loaded(run.store_before),
        ran("/sbin/ifconfig br-lan del 2001:db8:9999:1::1/64", "/sbin/ifconfig br-lan1 del 2001:db8:9999:2::1/64"),
        said("start_ipv6", "delegate_addr = 2001:db8:1234:5600::/56"),
        said("generate_addr", "generate_addr: 2001:0DB8:1234:5601:0000:0000:0000:0000",
             "routing_prefix: 2001:0DB8:1234:56/56"),
        said("start_ipv6", "ko3_addr: 2001:0DB8:1234:5601:0000:0000:0000:0000",
             "lan_ip6_prefix = 2001:db8:1234:5601::",
             "lan_ip6_addr = 2001:0DB8:1234:5601:0211:22FF:FE33:4455",
             "lan_ip6_pfxlen = 64"),
        said("set_ipv6_addr", "if_name[br-lan] 2001:0DB8:1234:5601:0211:22FF:FE33:4455 64 1"),
        said("start_ipv6", "delegate_addr = 2001:db8:1234:5600::/56"),
        said("generate_addr", "generate_addr: 2001:0DB8:1234:5602:0000:0000:0000:0000",
             "routing_prefix: 2001:0DB8:1234:56/56"),
        said("start_ipv6", "ko3_addr: 2001:0DB8:1234:5602:0000:0000:0000:0000",
             "lan1_ip6_prefix = 2001:db8:1234:5602::",
             "lan1_ip6_addr = 2001:0DB8:1234:5602:0211:22FF:FE33:4466",
             "lan1_ip6_pfxlen = 64"),
        said("set_ipv6_addr", "if_name[br-lan1] 2001:0DB8:1234:5602:0211:22FF:FE33:4466 64 1"),
        ran("killall radvd; rm -f /tmp/run/radvd.pid", "killall dhcp6d", "killall -9 ecmh", "ip6tables -F",
            "echo  sys_ipv6_lan_done call zel_resolv_update. >/dev/console"),
        said("set_ipv6_addr", "if_name[br-lan] FD00:0:0:1::1 64 0", "if_name[br-lan]  64 0",
             "ioctl SIOCDIFADDR error."),
        said("get_mac_addr", "br-lan macaddr is [00:11:22:33:44:55]"),
        said("set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 1"),
        ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding"),
        said("set_ipv6_addr", "if_name[br-lan1] FD00:0:0:2::1 64 0", "if_name[br-lan1] FD00:0:0:22::1 64 0"),
        said("get_mac_addr", "br-lan1 macaddr is [00:11:22:33:44:66]"),
        said("set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 1"),
        ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding",
            "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5601::/64",
            "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5602::/64",
            "radvd -C /tmp/radvd.conf &",
            "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
            "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
            "ecmh -i ppp0 -d br-lan",
            "ip6tables-restore /tmp/.ip6t",
            ". /lib/firewall/firewallv6.user"),
        found_wan(),
        ran("/usr/sbin/resolv_update.sh SYSTEM", "dnsmasq_update.sh",
            "echo  zel_resolv_update restart dnsmasq. >/dev/console", "/etc/init.d/dnsmasq2 restart",
            "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 2001:db8:1::5 2001:db8:1::53"))
    assert run.console_lines == [
        f"[prepare_parm][1000] {COLOR} Auto_gid (0) {PLAIN}",
        f"[set_ipv6_addr] if_name[br-lan] {GLOBAL0} 64 1",
        f"[set_ipv6_addr] if_name[br-lan1] {GLOBAL1} 64 1",
        "sys_ipv6_lan_done call zel_resolv_update.",
        f"[start_ula][1000] {COLOR}[1905] lan_ip6_ula_gid = 3e:41a2:09bc {PLAIN}",
        "[set_ipv6_addr] if_name[br-lan] FD00:0:0:1::1 64 0",
        "[set_ipv6_addr] if_name[br-lan]  64 0",
        f"[start_ula][1000] {COLOR}[1954] lan_ip6_ula_addr = {LAN0_ULA} {PLAIN}",
        f"[set_ipv6_addr] if_name[br-lan] {LAN0_ULA} 64 1",
        "[set_ipv6_addr] if_name[br-lan1] FD00:0:0:2::1 64 0",
        "[set_ipv6_addr] if_name[br-lan1] FD00:0:0:22::1 64 0",
        f"[start_ula][1000] lan1_ip6_ula_addr = {LAN1_ULA}",
        f"[set_ipv6_addr] if_name[br-lan1] {LAN1_ULA} 64 1",
        "[zel_resolv_update] wan_ip6_dns1=2001:db8:1::53, wan_ip6_dns2=2001:db8:1::54, wan_ip4_dns1=192.0.2.53, "
        "wan_ip4_dns2=, ipv4_lan_ip=",
        "[zel_resolv_update] vlan7_ip4_dns1=, vlan7_ip4_dns2=, vlan8_ip4_dns1=, vlan8_ip4_dns2=",
        "wan_ip6_dns1 is 2001:db8:1::53",
        "zel_resolv_update restart dnsmasq.",
    ]
    assert run.journal == [
        "uboot_env --get --name serial",
        "wandataif.sh",
        "if2sect.sh ppp0",
        "/sbin/ifconfig br-lan del 2001:db8:9999:1::1/64",
        "/sbin/ifconfig br-lan1 del 2001:db8:9999:2::1/64",
        "killall radvd",
        "(pause 800 ms)",
        "killall dhcp6d",
        "killall -9 ecmh",
        "ip6tables -F",
        "(pause 1000 ms)",
        "(pause 1000 ms)",
        "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5601::/64",
        "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5602::/64",
        "radvd -C /tmp/radvd.conf",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf",
        "ecmh -i ppp0 -d br-lan",
        "ip6tables-restore /tmp/.ip6t",
        "firewallv6.user",
        "wandataif.sh",
        "if2sect.sh ppp0",
        "/usr/sbin/resolv_update.sh SYSTEM",
        "dnsmasq_update.sh",
        "/etc/init.d/dnsmasq2 restart",
        "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 2001:db8:1::5 2001:db8:1::53",
    ]
    assert run.pauses == [800, 1000, 1000]
    assert run.files == {
        "/tmp/radvd.conf": section("br-lan", "FD3e:41a2:09bc:0001::/64", LAN0_ULA, "2001:db8:1234:5601::/64")
        + section("br-lan1", "FD5d:77c0:e1f2:0002::/64", LAN1_ULA, "2001:db8:1234:5602::/64"),
        "/tmp/dhcp6d": "<copy of dhcpd>",
        "/tmp/dhcp6d.conf":
            'dhcpv6-lease-file-name "/tmp/dhcp6d.leases";\n'
            'dhcpv6-pid-file-name "/var/run/dhcp6d.pid";\n'
            "server-duid LLT ethernet 378691200 00:11:22:33:44:55;\n"
            "authoritative;\n"
            'option dhcp6.domain-search "isp.example";\n'
            "option dhcp6.rapid-commit;\n"
            "subnet6 2001:db8:1234:5601::/64 {\n"
            f"option dhcp6.name-servers {LAN0_ULA};\n"
            "}\n"
            "\n"
            "subnet6 2001:db8:1234:5602::/64 {\n"
            f"option dhcp6.name-servers {LAN1_ULA};\n"
            "}\n"
            "\n",
        "/tmp/dhcp6d.leases": "",
        "/var/run/dhcp6d.pid": "",
        "/tmp/.ip6t": ruleset(
            echo=["-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d 2001:db8:1::/64 -j REJECT"],
            own_prefix=["-A FORWARD -i br-lan ! -s 2001:db8:1234:5601::/64 -j DROP"],
            delegated="2001:db8:1234:5600::/56"),
        "/tmp/resolv.conf.auto": "nameserver 192.0.2.53\nnameserver 2001:db8:1::53\nnameserver 2001:db8:1::54\n",
    }
    assert run.store_changes == {
        "ip6_wan_ready@system": ("0", "1"),
        "ip6_addr@lan0": ("2001:db8:9999:1::1", GLOBAL0),
        "ip6_prefix@lan0": ("2001:db8:9999:1::", "2001:db8:1234:5601::"),
        "ip6_ula_addr@lan0": ("FD00:0:0:1::1", LAN0_ULA),
        "ip6_addr@lan1": ("2001:db8:9999:2::1", GLOBAL1),
        "ip6_prefix@lan1": ("2001:db8:9999:2::", "2001:db8:1234:5602::"),
        "ip6_ula_addr@lan1": ("FD00:0:0:2::1", LAN1_ULA),
    }
    assert run.switches == {
        "all/forwarding": "1",
        "br-lan/disable_ipv6": "0", "br-lan/accept_ra": "0", "br-lan/forwarding": "1\n",
        "br-lan1/disable_ipv6": "0", "br-lan1/accept_ra": "0", "br-lan1/forwarding": "1\n"}
    assert run.addresses == {
        "br-lan": ["2001:db8:1234:5601:211:22ff:fe33:4455/64", "fd3e:41a2:9bc:1:211:22ff:fe33:4455/64"],
        "br-lan1": ["2001:db8:1234:5602:211:22ff:fe33:4466/64", "fd5d:77c0:e1f2:2:211:22ff:fe33:4466/64"],
        "ppp0": []}
    assert (run.stdout, run.stderr, run.status) == ("", "", 1)


# --- the ready flags

def test_the_ipv6_flag_is_written_when_it_was_missing(bare):
    del bare.store["ip6_wan_ready@system"]
    run = bare.run("ipv6_lan_restart")
    assert run.store["ip6_wan_ready@system"] == "1"


def test_the_new_flag_counts_at_once(bare):
    run = bare.run("ipv6_lan_restart")
    assert "prefix 2001:db8:1234:5601::/64 {\n" in run.files["/tmp/radvd.conf"]
    assert "subnet6 2001:db8:1234:5601::/64 {\n" in run.files["/tmp/dhcp6d.conf"]


@pytest.mark.parametrize("mode, before, after", [
    ("tunnel", "0", "1"), ("tunnel6", "0", "1"), ("tunnel", None, "1"), ("tunnel", "1", "1"), ("tunnel", "2", "2"),
    ("dhcp", "0", "0"), ("dhcp", None, None), ("static", "0", "0"), ("tunne", "0", "0"), ("Tunnel", "0", "0"),
])
def test_a_tunnel_that_works_shows_that_ipv4_does(bare, mode, before, after):
    bare.store.update({"ip6_proto@wan100": mode})
    del bare.store["ip4_wan_ready@system"]
    if before is not None:
        bare.store["ip4_wan_ready@system"] = before
    assert bare.run("ipv6_lan_restart").store.get("ip4_wan_ready@system") == after


# --- order and failures

def test_a_static_wan_leaves_the_global_addresses_and_restarts_the_daemons(bare):
    bare.store.update({"ip6_proto@wan100": "static", "ip6_addr@lan0": "2001:db8:9::1",
                       "ip6_prefix@lan0": "2001:db8:9::", "ip6_pfxlen@lan0": "64"})
    bare.address("br-lan", "2001:db8:9::1/64")
    run = bare.run("ipv6_lan_restart")
    assert run.lines == [
        *LOADING,
        "killall radvd; rm -f /tmp/run/radvd.pid",
        "killall dhcp6d",
        "killall -9 ecmh",
        "ip6tables -F",
        "echo  sys_ipv6_lan_done call zel_resolv_update. >/dev/console",
        "echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding",
        "echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding",
        "vorn_syslog_cli addEventCode -1 ME104 2001:db8:9::/64",
        "vorn_syslog_cli addEventCode -1 ME104 /0",
        "radvd -C /tmp/radvd.conf &",
        "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
        "ecmh -i ppp0 -d br-lan",
        "ip6tables-restore /tmp/.ip6t",
        ". /lib/firewall/firewallv6.user",
        "/usr/sbin/resolv_update.sh SYSTEM",
        "dnsmasq_update.sh",
        "echo  zel_resolv_update restart dnsmasq. >/dev/console",
        "/etc/init.d/dnsmasq2 restart",
        "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 2001:db8:1::5 2001:db8:1::53",
    ]
    assert run.addresses == {"br-lan": ["2001:db8:9::1/64"], "br-lan1": [], "ppp0": []}
    assert run.files["/tmp/.ip6t"] == ruleset(
        echo=["-A INPUT -p ipv6-icmp --icmpv6-type echo-request -d 2001:db8:1::/64 -j REJECT"],
        own_prefix=["-A FORWARD -i br-lan ! -s 2001:db8:9::/64 -j DROP"], delegated="2001:db8:1234:5600::/56")


def test_a_tunnel_gets_its_lan_prefixes_from_the_delegated_one_too(bare):
    bare.store["ip6_proto@wan100"] = "tunnel"
    run = bare.run("ipv6_lan_restart")
    assert run.addresses == {
        "br-lan": ["2001:db8:1234:5601:211:22ff:fe33:4455/64"],
        "br-lan1": ["2001:db8:1234:5602:211:22ff:fe33:4466/64"], "ppp0": []}
    assert run.files["/tmp/.ip6t"] == ruleset(
        echo=[TUNNEL_ECHO], tunnel=TUNNEL_FORWARD, delegated="2001:db8:1234:5600::/56",
        own_prefix=["-A FORWARD -i br-lan ! -s 2001:db8:1234:5601::/64 -j DROP"])


def test_the_bridges_have_their_addresses_before_the_daemons_are_stopped(bare):
    bare.store["ip6_addr@lan0"] = "2001:db8:9::1"
    run = bare.run("ipv6_lan_restart")
    assert run.lines[2:4] == ["/sbin/ifconfig br-lan del 2001:db8:9::1/0", "killall radvd; rm -f /tmp/run/radvd.pid"]
    assert run.console_lines[1:4] == [
        f"[set_ipv6_addr] if_name[br-lan] {GLOBAL0} 64 1",
        f"[set_ipv6_addr] if_name[br-lan1] {GLOBAL1} 64 1",
        "sys_ipv6_lan_done call zel_resolv_update.",
    ]


def test_failing_programs_do_not_stop_the_restart(bare):
    for program in ("ifconfig", "killall", "ip6tables", "vorn_syslog_cli", "radvd", "ecmh", "ip6tables-restore",
                    "firewallv6.user", "resolv_update.sh", "dnsmasq_update.sh", "dnsmasq2", "sip_config"):
        bare.script(program, status=5)
    run = bare.run("ipv6_lan_restart")
    assert [line for status, line in run.shell if status == 5] == [
        "killall dhcp6d",
        "killall -9 ecmh",
        "ip6tables -F",
        "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5601::/64",
        "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5602::/64",
        "ecmh -i ppp0 -d br-lan",
        "ip6tables-restore /tmp/.ip6t",
        ". /lib/firewall/firewallv6.user",
        "/usr/sbin/resolv_update.sh SYSTEM",
        "dnsmasq_update.sh",
        "/etc/init.d/dnsmasq2 restart",
        "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 2001:db8:1::5 2001:db8:1::53",
    ]
    assert run.status == 1


def test_the_voice_service_hears_of_empty_values_as_they_are(bare):
    del bare.store["ip6_addr@wan100"], bare.store["ip6_dns_primary@wan100"]
    assert bare.run("ipv6_lan_restart").lines[-1] == "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10  "


def test_the_multicast_proxy_serves_the_first_lan_on_the_wan_interface(bare):
    bare.wan("eth4", sect="wan7")
    run = bare.run("ipv6_lan_restart")
    assert run.calls_of("ecmh") == [["ecmh", "-i", "eth4", "-d", "br-lan"]]
    assert [call for call in run.calls_of("killall") if "ecmh" in call] == [["killall", "-9", "ecmh"]]


def test_a_missing_resolver_file_delays_the_restart_and_skips_the_forwarder_only(bare):
    bare.remove("/tmp/resolv.conf.auto")
    run = bare.run("ipv6_lan_restart")
    assert run.lines[-2:] == [
        "/usr/sbin/resolv_update.sh SYSTEM",
        "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 2001:db8:1::5 2001:db8:1::53",
    ]
    assert run.pauses == [800, 1000, 1000, 1000, 1000]


@pytest.mark.parametrize("pair, added", [
    (("2001:db8::aaaa", "2001:db8::bbbb"), "nameserver 2001:db8::aaaa\nnameserver 2001:db8::bbbb\n"),
    (("2001:db8::aaaa", ""), "nameserver 2001:db8::aaaa\n"),
    (("", "2001:db8::bbbb"), "nameserver 2001:db8:1::53\nnameserver 2001:db8:1::54\n"),
])
def test_the_servers_of_the_settings_win_over_those_of_the_wan_and_are_never_mixed_with_them(bare, pair, added):
    bare.store.update({"ip6_dns1@system": pair[0], "ip6_dns2@system": pair[1]})
    run = bare.run("ipv6_lan_restart")
    assert run.files["/tmp/resolv.conf.auto"] == "nameserver 192.0.2.53\n" + added
    assert [line for line in run.console_lines if line.startswith("wan_ip6_dns1 is")] == (
        [] if pair[0] else ["wan_ip6_dns1 is 2001:db8:1::53"])


def test_a_server_of_the_settings_that_the_script_has_written_is_not_added_again(bare):
    bare.store.update({"ip6_dns1@system": "2001:db8::aaaa", "ip6_dns2@system": "2001:db8::bbbb"})
    bare.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\nnameserver 2001:db8::aaaa\n")
    assert bare.run("ipv6_lan_restart").files["/tmp/resolv.conf.auto"] == (
        "nameserver 192.0.2.53\nnameserver 2001:db8::aaaa\nnameserver 2001:db8::bbbb\n")


def test_on_a_link_dialed_on_demand_forwarding_stays_on_throughout(bare):
    bare.store["on-demand@wan100"] = "1"
    bare.switch("all", "forwarding", "1\n")
    bare.script("ecmh", sh="cat /proc/sys/net/ipv6/conf/all/forwarding > /tmp/seen")
    assert bare.run("ipv6_lan_restart").files["/tmp/seen"] == "1\n"


def test_a_second_restart_renews_the_same_addresses_with_pauses_between(home):
    home.script("resolv_update.sh", sh="echo nameserver 192.0.2.53 > /tmp/resolv.conf.auto")
    home.store["sdns@wan100"] = "2001:db8:1::54"        # the last server that the first run added to the file
    home.run("ipv6_lan_restart")
    run = home.run("ipv6_lan_restart")
    assert run.pauses == [800, 1000, 1000]
    assert run.store_changes == {}
    assert run.lines[2:4] == [f"/sbin/ifconfig br-lan del {GLOBAL0}/64", f"/sbin/ifconfig br-lan1 del {GLOBAL1}/64"]
    assert run.addresses == {
        "br-lan": ["2001:db8:1234:5601:211:22ff:fe33:4455/64", "fd3e:41a2:9bc:1:211:22ff:fe33:4455/64"],
        "br-lan1": ["2001:db8:1234:5602:211:22ff:fe33:4466/64", "fd5d:77c0:e1f2:2:211:22ff:fe33:4466/64"],
        "ppp0": []}
    assert run.console_lines[:1] == LOADING_CONSOLE

"""Whole transcripts of the LAN commands on a gateway that has been set up before: stored ids, addresses to renew."""
import pytest

from expected_texts import (BARE, COLOR, HOME, LAN0_ID, LAN0_ULA, LAN1_ID, LAN1_ULA, PLAIN, framed, loaded, ran, said)

CRON = "/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'"
GUARD = "/tmp/zel_ipv6cp_script_running"
FIXED = ("AdvSendAdvert on;\nAdvLinkMTU 1492;\nAdvCurHopLimit 255;\nMinRtrAdvInterval 20;\nMaxRtrAdvInterval 60;\n"
         "AdvDefaultPreference medium;\nAdvHomeAgentFlag off;\nAdvManagedFlag off;\nAdvOtherConfigFlag on;\n")
SERVER_HEAD = ('dhcpv6-lease-file-name "/tmp/dhcp6d.leases";\n'
               'dhcpv6-pid-file-name "/var/run/dhcp6d.pid";\n'
               "server-duid LLT ethernet 378691200 00:11:22:33:44:55;\n"
               "authoritative;\n"
               "option dhcp6.rapid-commit;\n")


def section(link, prefix, address):
    return (f"interface {link} {{\n" + FIXED + f"prefix {prefix} {{\nAdvOnLink on;\nAdvAutonomous on;\n"
            "AdvRouterAddr off;\nAdvPreferredLifetime 604800;\nAdvValidLifetime 1814400;\n};\n"
            f"RDNSS {address}\n{{\nAdvRDNSSLifetime 600;\n}};\n}};\n")


def advertised(length):
    return (section("br-lan", f"FD3e:41a2:09bc:0001::/{length}", LAN0_ULA)
            + section("br-lan1", f"FD5d:77c0:e1f2:0002::/{length}", LAN1_ULA))


SERVED = (SERVER_HEAD + f"subnet6 fd3e:41a2:09bc:0001::/64 {{\noption dhcp6.name-servers {LAN0_ULA};\n}}\n\n"
          f"subnet6 fd5d:77c0:e1f2:0002::/64 {{\noption dhcp6.name-servers {LAN1_ULA};\n}}\n\n")


@pytest.fixture
def home(gateway):
    """Both unique-local addresses are stored and on their bridges; the first has a second one to be removed."""
    gateway.store.update(HOME)
    gateway.store.update({
        "product_class@system": "GW-1", "ip6_pfxlen@lan0": "64", "ip6_pfxlen@lan1": "64",
        "ip6_ula_addr@lan0": LAN0_ULA, "ip6_ula_addra@lan0": "fd00::aaaa", "ip6_ula_addr@lan1": LAN1_ULA})
    gateway.address("br-lan", LAN0_ULA + "/64")
    gateway.address("br-lan", "fd00::aaaa/64")
    gateway.address("br-lan1", LAN1_ULA + "/64")
    return gateway


def test_zel_ipv6_lan_for_the_first_lan(home):
    home.store.update({"add_static_route@system": "1", "num_extra_routes@system": "2", "ip6_extra_sid@system": "10;11",
                       "ip6_pre_routing_prefix@system": "2001:0DB8:1234:56"})
    run = home.run("zel_ipv6_lan", "lan")
    assert run.log_lines == framed(
        "zel_ipv6_lan",
        ran("killall radvd; rm -f /tmp/run/radvd.pid", "killall dhcp6d"),
        loaded(run.store_before),
        said("set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 0", "if_name[br-lan] fd00::aaaa 64 0"),
        said("get_mac_addr", "br-lan macaddr is [00:11:22:33:44:55]"),
        said("set_ipv6_addr", f"if_name[br-lan] {LAN0_ULA} 64 1"),
        ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding"),
        said("start_lla", f"lan_ip6_lla = fe80::{LAN0_ID}"),
        said("set_ipv6_addr", f"if_name[br-lan] fe80::{LAN0_ID} 64 1"),
        ran("radvd -C /tmp/radvd.conf &",
            "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
            "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
            "rdnssd -r /tmp/rdnssd",
            CRON))
    assert run.console_lines == [
        f"[prepare_parm][1000] {COLOR} Auto_gid (0) {PLAIN}",
        f"[start_ula][1000] {COLOR}[1905] lan_ip6_ula_gid = 3e:41a2:09bc {PLAIN}",
        f"[set_ipv6_addr] if_name[br-lan] {LAN0_ULA} 64 0",
        "[set_ipv6_addr] if_name[br-lan] fd00::aaaa 64 0",
        f"[start_ula][1000] {COLOR}[1954] lan_ip6_ula_addr = {LAN0_ULA} {PLAIN}",
        f"[set_ipv6_addr] if_name[br-lan] {LAN0_ULA} 64 1",
        f"[set_ipv6_addr] if_name[br-lan] fe80::{LAN0_ID} 64 1",
    ]
    assert run.journal == [
        "killall radvd", "(pause 800 ms)", "killall dhcp6d", "uboot_env --get --name serial", "wandataif.sh",
        "if2sect.sh ppp0", "(pause 1000 ms)", "radvd -C /tmp/radvd.conf", "(pause 1000 ms)",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf", "rdnssd -r /tmp/rdnssd", CRON]
    assert run.files == {
        "/tmp/radvd.conf": advertised(64), "/tmp/dhcp6d": "<copy of dhcpd>", "/tmp/dhcp6d.conf": SERVED,
        "/tmp/dhcp6d.leases": "", "/var/run/dhcp6d.pid": ""}
    assert run.store_changes == {
        "add_static_route@system": ("1", "0"), "num_extra_routes@system": ("2", "0"),
        "ip6_extra_sid@system": ("10;11", ""), "ip6_pre_routing_prefix@system": ("2001:0DB8:1234:56", "")}
    assert run.switches == {"all/forwarding": "0", "br-lan/disable_ipv6": "0", "br-lan/accept_ra": "0",
                            "br-lan/forwarding": "1\n"}
    assert run.addresses == {
        "br-lan": ["fd3e:41a2:9bc:1:211:22ff:fe33:4455/64", "fe80::211:22ff:fe33:4455/64"],
        "br-lan1": ["fd5d:77c0:e1f2:2:211:22ff:fe33:4466/64"], "ppp0": []}
    assert (run.pauses, run.stdout, run.stderr, run.status) == ([800, 1000, 1000], "", "", 1)


def test_zel_ipv6_lan_for_the_second_lan(home):
    home.file("/tmp/radvd.conf", "untouched\n")
    home.file("/tmp/dhcp6d.conf", "untouched\n")
    run = home.run("zel_ipv6_lan", "1")
    assert run.lines == [
        "ccfg_cli set ip6_pre_manual_gid@lan0=0",
        "ccfg_cli set ip6_pre_manual_gid@lan1=0",
        "echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding",
        "/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'",
    ]
    assert run.log_lines == framed(
        "zel_ipv6_lan",
        loaded(run.store_before),
        said("set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 0", "if_name[br-lan1]  64 0",
             "ioctl SIOCDIFADDR error."),
        said("get_mac_addr", "br-lan1 macaddr is [00:11:22:33:44:66]"),
        said("set_ipv6_addr", f"if_name[br-lan1] {LAN1_ULA} 64 1"),
        ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding", CRON))
    assert run.console_lines == [
        f"[prepare_parm][1000] {COLOR} Auto_gid (0) {PLAIN}",
        f"[set_ipv6_addr] if_name[br-lan1] {LAN1_ULA} 64 0",
        "[set_ipv6_addr] if_name[br-lan1]  64 0",
        f"[start_ula][1000] lan1_ip6_ula_addr = {LAN1_ULA}",
        f"[set_ipv6_addr] if_name[br-lan1] {LAN1_ULA} 64 1",
    ]
    assert run.journal == ["uboot_env --get --name serial", "wandataif.sh", "if2sect.sh ppp0", "(pause 1000 ms)", CRON]
    assert run.files == {"/tmp/radvd.conf": "untouched\n", "/tmp/dhcp6d.conf": "untouched\n"}
    assert run.store_changes == {}
    assert run.switches == {"br-lan1/disable_ipv6": "0", "br-lan1/accept_ra": "0", "br-lan1/forwarding": "1\n"}
    assert run.addresses == {
        "br-lan": ["fd00::aaaa/64", "fd3e:41a2:9bc:1:211:22ff:fe33:4455/64"],
        "br-lan1": ["fd5d:77c0:e1f2:2:211:22ff:fe33:4466/64"], "ppp0": []}
    assert (run.pauses, run.stdout, run.stderr, run.status) == ([1000], "", "", 1)


@pytest.mark.parametrize("on_demand", [False, True])
@pytest.mark.parametrize("ip4_ready", [False, True])
def test_zel_ipv6cp_down(home, on_demand, ip4_ready):
    home.store.update({
        "ip6_wan_ready@system": "1", "ip4_wan_ready@system": "1" if ip4_ready else "0",
        "on-demand@wan100": "1" if on_demand else "0",
        "ip6_addr@wan100": "2001:db8:1::5", "ip6_pfxlen@wan100": "64",
        "ip6_addr@lan0": f"2001:0DB8:1234:5601:{LAN0_ID}", "ip6_prefix@lan0": "2001:db8:1234:5601::",
        "ip6_addr@lan1": f"2001:0DB8:1234:5602:{LAN1_ID}", "ip6_prefix@lan1": "2001:db8:1234:5602::"})
    home.address("ppp0", "2001:db8:1::5/64")
    home.address("br-lan", f"2001:db8:1234:5601:{LAN0_ID}/64")
    home.address("br-lan1", f"2001:db8:1234:5602:{LAN1_ID}/64")
    home.switch("all", "forwarding", "1")
    home.file("/tmp/resolv.conf", "nameserver fe80::1\nnameserver 192.0.2.53\n")
    home.file("/tmp/rdnssd", "nameserver 2001:db8::53\n")
    home.file(GUARD, "0")
    run = home.run("zel_ipv6cp_down")
    dns_only = ["ip6tables -F", "ip6tables -A OUTPUT -o ppp0 -p udp --dport 53 -j ACCEPT",
                "ip6tables -A OUTPUT -o ppp0 -j DROP"] if on_demand else []
    wake = ["echo  zel_ipv6cp_down killall USR1 dnsmasq >/dev/console", "killall -s USR1 dnsmasq"] if ip4_ready else []
    flags = f"ip6_wan_ready=0, ip4_wan_ready={1 if ip4_ready else 0}."
    assert run.lines == [
        "ccfg_cli set ip6_pre_manual_gid@lan0=0",
        "ccfg_cli set ip6_pre_manual_gid@lan1=0",
        *dns_only,
        "sed -i '/^nameserver fe80::1/d' /tmp/resolv.conf",
        *wake,
        "killall rdnssd",
        "rm /tmp/rdnssd",
        "killall radvd; rm -f /tmp/run/radvd.pid",
        "killall dhcp6d",
        "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 \"\" \"\"",
        "radvd -C /tmp/radvd.conf &",
        "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
        "rdnssd -r /tmp/rdnssd",
    ]
    assert run.log_lines == framed(
        "zel_ipv6cp_down",
        said("main", "@zel_ipv6cp_down script_running[0]."),
        said("set_tmp_value", f"{GUARD}[1]."),
        loaded(run.store_before),
        ran(*dns_only, "sed -i '/^nameserver fe80::1/d' /tmp/resolv.conf"),
        said("main", f"zel_ipv6cp_down starting. {flags}"),
        said("main", f"zel_ipv6cp_down send signal USR1 to dnsmasq. {flags}") if ip4_ready else [],
        ran(*wake, "killall rdnssd", "rm /tmp/rdnssd", "killall radvd; rm -f /tmp/run/radvd.pid", "killall dhcp6d",
            "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 \"\" \"\""),
        said("set_ipv6_addr", "if_name[ppp0] 2001:db8:1::5 64 0", f"if_name[br-lan] 2001:0DB8:1234:5601:{LAN0_ID} 64 0",
             f"if_name[br-lan1] 2001:0DB8:1234:5602:{LAN1_ID} 64 0"),
        ran("radvd -C /tmp/radvd.conf &", "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d", "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
            "rdnssd -r /tmp/rdnssd"),
        said("set_tmp_value", f"{GUARD}[0]."))
    assert run.console_lines == [
        f"[prepare_parm][1000] {COLOR} Auto_gid (0) {PLAIN}",
        *(["zel_ipv6cp_down killall USR1 dnsmasq"] if ip4_ready else []),
        "[zel-ipv6 stop_dhcp6c] enter",
        "[set_ipv6_addr] if_name[ppp0] 2001:db8:1::5 64 0",
        f"[set_ipv6_addr] if_name[br-lan] 2001:0DB8:1234:5601:{LAN0_ID} 64 0",
        f"[set_ipv6_addr] if_name[br-lan1] 2001:0DB8:1234:5602:{LAN1_ID} 64 0",
    ]
    assert run.files == {
        GUARD: "0", "/tmp/resolv.conf": "nameserver 192.0.2.53\n", "/tmp/radvd.conf": advertised(64),
        "/tmp/dhcp6d": "<copy of dhcpd>", "/tmp/dhcp6d.conf": SERVED, "/tmp/dhcp6d.leases": "",
        "/var/run/dhcp6d.pid": ""}
    assert run.store_changes == {"ip6_wan_ready@system": ("1", "0")}
    assert run.switches == ({} if on_demand else {"all/forwarding": "0"})
    assert run.addresses == {
        "br-lan": ["fd00::aaaa/64", "fd3e:41a2:9bc:1:211:22ff:fe33:4455/64"],
        "br-lan1": ["fd5d:77c0:e1f2:2:211:22ff:fe33:4466/64"], "ppp0": []}
    assert (run.pauses, run.stdout, run.stderr, run.status) == ([800], "", "", 1)


def test_zel_ipv6cp_down_without_anything_to_take_down(gateway):
    gateway.store.update(BARE)
    run = gateway.run("zel_ipv6cp_down")
    assert [entry for entry in run.shell if entry[0] != 0] == [
        (2, "sed -i '/^nameserver fe80::1/d' /tmp/resolv.conf"), (1, "rm /tmp/rdnssd")]
    assert run.messages("main")[-1] == "^_^[/usr/sbin/zel_ipv6cp_down] ERROR_NONE, end.\n"
    assert run.store_changes == {"ip6_wan_ready@system": (None, "0")}
    assert run.files["/tmp/radvd.conf"] == f"interface br-lan {{\n{FIXED}}};\ninterface br-lan1 {{\n{FIXED}}};\n"
    assert run.files["/tmp/dhcp6d.conf"] == SERVER_HEAD

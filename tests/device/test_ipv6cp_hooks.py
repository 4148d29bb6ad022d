"""zel_ipv6cp_up and zel_ipv6cp_down, whole transcripts."""
import pytest

GUARD = "/tmp/zel_ipv6cp_script_running"
AUTO_GID = "[prepare_parm][1000] \x1b[1;31m Auto_gid (0) \x1b[0m"
MANUAL_GID_LINES = ["ccfg_cli set ip6_pre_manual_gid@lan0=0", "ccfg_cli set ip6_pre_manual_gid@lan1=0"]


def test_up_flushes_the_filter_stops_the_client_and_detects_the_wan(gateway):
    gateway.store["ip6_proto@wan100"] = "static"
    run = gateway.run("zel_ipv6cp_up")
    assert run.status == 1
    assert run.log_lines[:4] == [
        "[main][1000] ^_^[/usr/sbin/zel_ipv6cp_up] start.",
        "",
        "[main][1000] zel_ipv6cp_up script_running[0].",
        f"[set_tmp_value][1000] {GUARD}[1].",
    ]
    assert run.log_after_loading == [
        "[zel_system][1000] [0]ip6tables -F",
        f"[set_tmp_value][1000] {GUARD}[0].",
        "[main][1000] ^_^[/usr/sbin/zel_ipv6cp_up] ERROR_NONE, end.",
        "",
    ]
    assert run.lines == MANUAL_GID_LINES + ["ip6tables -F"]
    assert run.console_masked == [
        AUTO_GID,
        "[zel-ipv6 stop_dhcp6c] enter",
        "[zel-ipv6 main] call waninfo_main(TID) , line:4077",
        "[zel-ipv6 waninfo_main] return ERROR_INTERNAL , line:N",
    ]
    assert run.journal == ["uboot_env --get --name serial", "wandataif.sh", "if2sect.sh ppp0", "ip6tables -F"]
    assert run.pauses == []
    assert run.files == {GUARD: "0"}
    assert run.switches == {}
    assert run.store_changes == {
        "ip6_gua_hostid@lan0": (None, "0211:22FF:FE33:4455"),
        "ip6_gua_hostid@lan1": (None, "0211:22FF:FE33:4466"),
        "ip6_pre_manual_gid@lan0": (None, "0"),
        "ip6_pre_manual_gid@lan1": (None, "0"),
        "ip6_ula_hostid@lan0": (None, "0211:22FF:FE33:4455"),
        "ip6_ula_hostid@lan1": (None, "0211:22FF:FE33:4466"),
    }


def test_up_gives_the_transaction_number_to_the_console(gateway):
    gateway.store["ip6_proto@wan100"] = "static"
    run = gateway.run("zel_ipv6cp_up")
    called = [line for line in run.console_lines if line.startswith("[zel-ipv6 main] call waninfo_main(")]
    assert len(called) == 1
    number = called[0].removeprefix("[zel-ipv6 main] call waninfo_main(").removesuffix(") , line:4077")
    assert number.isdecimal()


@pytest.fixture
def wan_up(gateway):
    gateway.store.update({
        "ip6_proto@wan100": "dhcp",
        "ip6_addr@wan100": "2001:db8:1::5",
        "ip6_pfxlen@wan100": "64",
        "ip6_wan_ready@system": "1",
        "ip6_addr@lan0": "2001:0DB8:1234:5601:0211:22FF:FE33:4455",
        "ip6_prefix@lan0": "2001:db8:1234:5601::",
        "ip6_pfxlen@lan0": "64",
        "ip6_gua_sid@lan0": "01",
        "ip6_ula_sid@lan0": "01",
        "ip6_addr@lan1": "2001:0DB8:1234:5602:0211:22FF:FE33:4466",
        "ip6_prefix@lan1": "2001:db8:1234:5602::",
        "ip6_pfxlen@lan1": "64",
        "ip6_gua_sid@lan1": "02",
        "ip6_ula_sid@lan1": "02",
    })
    gateway.address("ppp0", "2001:db8:1::5/64")
    gateway.address("br-lan", "2001:db8:1234:5601:211:22ff:fe33:4455/64")
    gateway.address("br-lan", "fd00::1/64")
    gateway.address("br-lan1", "2001:db8:1234:5602:211:22ff:fe33:4466/64")
    gateway.file("/tmp/resolv.conf", "nameserver fe80::1\nnameserver 192.0.2.53\nnameserver fe80::1%ppp0\n")
    gateway.file("/tmp/rdnssd", "nameserver 2001:db8::53\n")
    return gateway


def radvd_section(bridge, dns):
    return (f"interface {bridge} {{\n"
            "AdvSendAdvert on;\n"
            "AdvLinkMTU 1492;\n"
            "AdvCurHopLimit 255;\n"
            "MinRtrAdvInterval 20;\n"
            "MaxRtrAdvInterval 60;\n"
            "AdvDefaultPreference medium;\n"
            "AdvHomeAgentFlag off;\n"
            "AdvManagedFlag off;\n"
            "AdvOtherConfigFlag on;\n"
            f"RDNSS {dns}\n"
            "{\n"
            "AdvRDNSSLifetime 600;\n"
            "};\n"
            "};\n")


def test_down_of_a_permanent_link(wan_up):
    run = wan_up.run("zel_ipv6cp_down")
    assert run.status == 1
    assert run.log_lines[:4] == [
        "[main][1000] ^_^[/usr/sbin/zel_ipv6cp_down] start.",
        "",
        "[main][1000] @zel_ipv6cp_down script_running[0].",
        f"[set_tmp_value][1000] {GUARD}[1].",
    ]
    assert run.log_after_loading == [
        "[zel_system][1000] [0]sed -i '/^nameserver fe80::1/d' /tmp/resolv.conf",
        "[main][1000] zel_ipv6cp_down starting. ip6_wan_ready=0, ip4_wan_ready=0.",
        "[zel_system][1000] [0]killall rdnssd",
        "[zel_system][1000] [0]rm /tmp/rdnssd",
        "[zel_system][1000] [0]killall radvd; rm -f /tmp/run/radvd.pid",
        "[zel_system][1000] [0]killall dhcp6d",
        "[zel_system][1000] [0]/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 \"\" \"\"",
        "[set_ipv6_addr][1000] if_name[ppp0] 2001:db8:1::5 64 0",
        "[set_ipv6_addr][1000] if_name[br-lan] 2001:0DB8:1234:5601:0211:22FF:FE33:4455 64 0",
        "[set_ipv6_addr][1000] if_name[br-lan1] 2001:0DB8:1234:5602:0211:22FF:FE33:4466 64 0",
        "[zel_system][1000] [0]radvd -C /tmp/radvd.conf &",
        "[zel_system][1000] [0]cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
        "[zel_system][1000] [0]/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
        "[zel_system][1000] [0]rdnssd -r /tmp/rdnssd",
        f"[set_tmp_value][1000] {GUARD}[0].",
        "[main][1000] ^_^[/usr/sbin/zel_ipv6cp_down] ERROR_NONE, end.",
        "",
    ]
    assert run.console_lines == [
        AUTO_GID,
        "[zel-ipv6 stop_dhcp6c] enter",
        "[set_ipv6_addr] if_name[ppp0] 2001:db8:1::5 64 0",
        "[set_ipv6_addr] if_name[br-lan] 2001:0DB8:1234:5601:0211:22FF:FE33:4455 64 0",
        "[set_ipv6_addr] if_name[br-lan1] 2001:0DB8:1234:5602:0211:22FF:FE33:4466 64 0",
    ]
    assert run.journal == [
        "uboot_env --get --name serial",
        "wandataif.sh",
        "if2sect.sh ppp0",
        "killall rdnssd",
        "killall radvd",
        "(pause 800 ms)",
        "killall dhcp6d",
        "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 '' ''",
        "radvd -C /tmp/radvd.conf",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf",
        "rdnssd -r /tmp/rdnssd",
    ]
    assert run.addresses == {"br-lan": ["fd00::1/64"], "br-lan1": [], "ppp0": []}
    assert run.switches == {"all/forwarding": "0"}
    assert run.files == {
        GUARD: "0",
        "/tmp/dhcp6d": "<copy of dhcpd>",
        "/tmp/dhcp6d.conf": ("dhcpv6-lease-file-name \"/tmp/dhcp6d.leases\";\n"
                             "dhcpv6-pid-file-name \"/var/run/dhcp6d.pid\";\n"
                             "server-duid LLT ethernet 378691200 00:11:22:33:44:55;\n"
                             "authoritative;\n"
                             "option dhcp6.rapid-commit;\n"),
        "/tmp/dhcp6d.leases": "",
        "/var/run/dhcp6d.pid": "",
        "/tmp/radvd.conf": (radvd_section("br-lan", "2001:0DB8:1234:5601:0211:22FF:FE33:4455")
                            + radvd_section("br-lan1", "2001:0DB8:1234:5602:0211:22FF:FE33:4466")),
        "/tmp/resolv.conf": "nameserver 192.0.2.53\n",
    }
    assert run.store_changes == {
        "ip6_gua_hostid@lan0": (None, "0211:22FF:FE33:4455"),
        "ip6_gua_hostid@lan1": (None, "0211:22FF:FE33:4466"),
        "ip6_pre_manual_gid@lan0": (None, "0"),
        "ip6_pre_manual_gid@lan1": (None, "0"),
        "ip6_ula_hostid@lan0": (None, "0211:22FF:FE33:4455"),
        "ip6_ula_hostid@lan1": (None, "0211:22FF:FE33:4466"),
        "ip6_wan_ready@system": ("1", "0"),
    }


def test_down_of_a_link_dialled_on_demand_lets_only_name_queries_out(wan_up):
    wan_up.store["on-demand@wan100"] = "1"
    run = wan_up.run("zel_ipv6cp_down")
    assert run.lines == MANUAL_GID_LINES + [
        "ip6tables -F",
        "ip6tables -A OUTPUT -o ppp0 -p udp --dport 53 -j ACCEPT",
        "ip6tables -A OUTPUT -o ppp0 -j DROP",
        "sed -i '/^nameserver fe80::1/d' /tmp/resolv.conf",
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
    assert run.switches == {}       # stop_radvd leaves forwarding alone on such a link


@pytest.mark.parametrize("value", ["0", "2", "-1", "yes"])
def test_only_the_value_one_means_on_demand(wan_up, value):
    wan_up.store["on-demand@wan100"] = value
    run = wan_up.run("zel_ipv6cp_down")
    assert run.calls_of("ip6tables") == []


def test_down_wakes_the_forwarder_when_the_ipv4_wan_is_ready(wan_up):
    wan_up.store["ip4_wan_ready@system"] = "1"
    run = wan_up.run("zel_ipv6cp_down")
    assert run.log_after_loading[:6] == [
        "[zel_system][1000] [0]sed -i '/^nameserver fe80::1/d' /tmp/resolv.conf",
        "[main][1000] zel_ipv6cp_down starting. ip6_wan_ready=0, ip4_wan_ready=1.",
        "[main][1000] zel_ipv6cp_down send signal USR1 to dnsmasq. ip6_wan_ready=0, ip4_wan_ready=1.",
        "[zel_system][1000] [0]echo  zel_ipv6cp_down killall USR1 dnsmasq >/dev/console",
        "[zel_system][1000] [0]killall -s USR1 dnsmasq",
        "[zel_system][1000] [0]killall rdnssd",
    ]
    assert run.console_lines[:3] == [AUTO_GID, "zel_ipv6cp_down killall USR1 dnsmasq", "[zel-ipv6 stop_dhcp6c] enter"]
    assert run.store["ip4_wan_ready@system"] == "1"


@pytest.mark.parametrize("text, shown", [("01", 1), ("1x", 1), ("2", 2), ("0", 0)])
def test_the_ipv4_flag_is_compared_as_text(wan_up, text, shown):
    wan_up.store["ip4_wan_ready@system"] = text
    run = wan_up.run("zel_ipv6cp_down")
    assert run.messages("main")[2] == f"zel_ipv6cp_down starting. ip6_wan_ready=0, ip4_wan_ready={shown}."
    assert ["killall", "-s", "USR1", "dnsmasq"] not in run.calls


def test_down_without_addresses_goes_on_when_the_kernel_refuses(gateway):
    run = gateway.run("zel_ipv6cp_down")
    assert run.status == 1
    assert run.messages("set_ipv6_addr") == [
        "if_name[ppp0]  0 0", "ioctl SIOCDIFADDR error.",
        "if_name[br-lan]  0 0", "ioctl SIOCDIFADDR error.",
        "if_name[br-lan1]  0 0", "ioctl SIOCDIFADDR error.",
    ]
    assert [line for status, line in run.shell if status != 0] == [
        "sed -i '/^nameserver fe80::1/d' /tmp/resolv.conf",         # neither file is there
        "rm /tmp/rdnssd",
    ]
    assert run.files[GUARD] == "0"

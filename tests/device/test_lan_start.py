"""zel_ipv6_lan: the LAN side before the WAN is up, whole transcripts."""
import pytest

CRON_LINE = "/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'"
LAN0_ULA = "FD77:0c4f:aab8:0001:0211:22FF:FE33:4455"
LAN1_ULA = "FDe9:0e9a:270e:0002:0211:22FF:FE33:4466"
FIXED_OPTIONS = ("AdvSendAdvert on;\n"
                 "AdvLinkMTU 1492;\n"
                 "AdvCurHopLimit 255;\n"
                 "MinRtrAdvInterval 20;\n"
                 "MaxRtrAdvInterval 60;\n"
                 "AdvDefaultPreference medium;\n"
                 "AdvHomeAgentFlag off;\n"
                 "AdvManagedFlag off;\n"
                 "AdvOtherConfigFlag on;\n")


@pytest.fixture
def lan(gateway):
    gateway.store.update({
        "ip6_gua_sid@lan0": "01", "ip6_gua_sid@lan1": "02", "ip6_ula_sid@lan0": "01", "ip6_ula_sid@lan1": "02",
        "ip6_ula_eb@lan0": "1", "ip6_ula_eb@lan1": "1", "ip6_pfxlen@lan0": "64", "ip6_pfxlen@lan1": "64",
    })
    return gateway


LOADED = {
    "ip6_gua_hostid@lan0": (None, "0211:22FF:FE33:4455"),
    "ip6_gua_hostid@lan1": (None, "0211:22FF:FE33:4466"),
    "ip6_pre_manual_gid@lan0": (None, "0"),
    "ip6_pre_manual_gid@lan1": (None, "0"),
    "ip6_ula_hostid@lan0": (None, "0211:22FF:FE33:4455"),
    "ip6_ula_hostid@lan1": (None, "0211:22FF:FE33:4466"),
}


def test_first_lan(lan):
    lan.file("/tmp/run/radvd.pid", "123\n")
    lan.file("/tmp/dhcp6d.leases", "old leases\n")
    run = lan.run("zel_ipv6_lan", "lan")
    assert run.status == 1
    assert run.log_lines[:5] == [
        "[main][1000] ^_^[/usr/sbin/zel_ipv6_lan] start.",
        "",
        "[zel_system][1000] [0]killall radvd; rm -f /tmp/run/radvd.pid",
        "[zel_system][1000] [0]killall dhcp6d",
        "[prepare_parm][1000] ProductClass(system) is ",
    ]
    assert run.log_after_loading == [
        "[generate_addr][1000] time = [1700000000l], [000000006553F100021122FFFE334455]",
        "[zel_system][1000] [0]sha1sum /tmp/sha.txt > /tmp/ula.txt",
        "[start_ula][1000] lan_ip6_ula_gid = 77:0c4f:aab8",
        "[get_mac_addr][1000] br-lan macaddr is [00:11:22:33:44:55]",
        f"[set_ipv6_addr][1000] if_name[br-lan] {LAN0_ULA} 64 1",
        "[zel_system][1000] [0]echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding",
        "[start_lla][1000] lan_ip6_lla = fe80::0211:22FF:FE33:4455",
        "[set_ipv6_addr][1000] if_name[br-lan] fe80::0211:22FF:FE33:4455 64 1",
        "[zel_system][1000] [0]radvd -C /tmp/radvd.conf &",
        "[zel_system][1000] [0]cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
        "[zel_system][1000] [0]/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
        "[zel_system][1000] [0]rdnssd -r /tmp/rdnssd",
        f"[zel_system][1000] [0]{CRON_LINE}",
        "[main][1000] ^_^[/usr/sbin/zel_ipv6_lan] ERROR_NONE, end.",
        "",
    ]
    assert run.console_lines == [
        "[prepare_parm][1000] \x1b[1;31m Auto_gid (0) \x1b[0m",
        "[start_ula][1000] \x1b[1;31m[1905] lan_ip6_ula_gid =  \x1b[0m",
        f"[start_ula][1000] \x1b[1;31m[1954] lan_ip6_ula_addr = {LAN0_ULA} \x1b[0m",
        f"[set_ipv6_addr] if_name[br-lan] {LAN0_ULA} 64 1",
        "[set_ipv6_addr] if_name[br-lan] fe80::0211:22FF:FE33:4455 64 1",
    ]
    assert run.journal == [
        "killall radvd",
        "(pause 800 ms)",
        "killall dhcp6d",
        "uboot_env --get --name serial",
        "wandataif.sh",
        "if2sect.sh ppp0",
        "radvd -C /tmp/radvd.conf",
        "(pause 1000 ms)",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf",
        "rdnssd -r /tmp/rdnssd",
        CRON_LINE,
    ]
    assert run.addresses == {
        "br-lan": ["fd77:c4f:aab8:1:211:22ff:fe33:4455/64", "fe80::211:22ff:fe33:4455/64"], "br-lan1": [], "ppp0": []}
    assert run.switches == {"all/forwarding": "0", "br-lan/accept_ra": "0", "br-lan/disable_ipv6": "0",
                            "br-lan/forwarding": "1\n"}
    assert run.files == {
        "/tmp/dhcp6d": "<copy of dhcpd>",
        "/tmp/dhcp6d.conf": ("dhcpv6-lease-file-name \"/tmp/dhcp6d.leases\";\n"
                             "dhcpv6-pid-file-name \"/var/run/dhcp6d.pid\";\n"
                             "server-duid LLT ethernet 378691200 00:11:22:33:44:55;\n"
                             "authoritative;\n"
                             "option dhcp6.rapid-commit;\n"
                             "subnet6 fd77:0c4f:aab8:0001::/64 {\n"
                             f"option dhcp6.name-servers {LAN0_ULA};\n"
                             "}\n"
                             "\n"
                             "subnet6 fd:0002::/64 {\n"
                             "}\n"
                             "\n"),
        "/tmp/dhcp6d.leases": "",
        "/var/run/dhcp6d.pid": "",
        "/tmp/radvd.conf": ("interface br-lan {\n" + FIXED_OPTIONS +
                            "prefix FD77:0c4f:aab8:0001::/64 {\n"
                            "AdvOnLink on;\n"
                            "AdvAutonomous on;\n"
                            "AdvRouterAddr off;\n"
                            "AdvPreferredLifetime 604800;\n"
                            "AdvValidLifetime 1814400;\n"
                            "};\n"
                            f"RDNSS {LAN0_ULA}\n"
                            "{\n"
                            "AdvRDNSSLifetime 600;\n"
                            "};\n"
                            "};\n"
                            "interface br-lan1 {\n" + FIXED_OPTIONS +
                            "};\n"),
        "/tmp/sha.txt": "000000006553F100021122FFFE334455",
        "/tmp/ula.txt": "68efee10e329ed9531e69b2a088136770c4faab8  /tmp/sha.txt\n",
    }
    assert run.store_changes == {
        **LOADED,
        "ip6_ula_addr@lan0": (None, LAN0_ULA),
        "ip6_ula_gid@lan0": (None, "77:0c4f:aab8"),
    }


def test_second_lan(lan):
    run = lan.run("zel_ipv6_lan", "1")
    assert run.status == 1
    assert run.log_lines[:3] == [
        "[main][1000] ^_^[/usr/sbin/zel_ipv6_lan] start.",
        "",
        "[prepare_parm][1000] ProductClass(system) is ",
    ]
    assert run.log_after_loading == [
        "[generate_addr][1000] time = [1700000000l], [000000006553F100021122FFFE334466]",
        "[zel_system][1000] [0]sha1sum /tmp/sha.txt > /tmp/ula.txt",
        "[start_ula][1000] lan1_ip6_ula_gid = e9:0e9a:270e",
        "[get_mac_addr][1000] br-lan1 macaddr is [00:11:22:33:44:66]",
        f"[set_ipv6_addr][1000] if_name[br-lan1] {LAN1_ULA} 64 1",
        "[zel_system][1000] [0]echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding",
        f"[zel_system][1000] [0]{CRON_LINE}",
        "[main][1000] ^_^[/usr/sbin/zel_ipv6_lan] ERROR_NONE, end.",
        "",
    ]
    assert run.console_lines == [
        "[prepare_parm][1000] \x1b[1;31m Auto_gid (0) \x1b[0m",
        f"[start_ula][1000] lan1_ip6_ula_addr = {LAN1_ULA}",
        f"[set_ipv6_addr] if_name[br-lan1] {LAN1_ULA} 64 1",
    ]
    assert run.journal == ["uboot_env --get --name serial", "wandataif.sh", "if2sect.sh ppp0", CRON_LINE]
    assert run.addresses == {"br-lan": [], "br-lan1": ["fde9:e9a:270e:2:211:22ff:fe33:4466/64"], "ppp0": []}
    assert run.switches == {"br-lan1/accept_ra": "0", "br-lan1/disable_ipv6": "0", "br-lan1/forwarding": "1\n"}
    assert run.files == {
        "/tmp/sha.txt": "000000006553F100021122FFFE334466",
        "/tmp/ula.txt": "97e512e4eb17001c929e82d914e67de90e9a270e  /tmp/sha.txt\n",
    }
    assert run.store_changes == {
        **LOADED,
        "ip6_ula_addr@lan1": (None, LAN1_ULA),
        "ip6_ula_gid@lan1": (None, "e9:0e9a:270e"),
    }


@pytest.mark.parametrize("word", ["1", "lan1", "10", "x1y", "-1"])
def test_a_one_anywhere_in_the_word_means_the_second_lan(lan, word):
    run = lan.run("zel_ipv6_lan", word)
    assert run.lines == ["ccfg_cli set ip6_pre_manual_gid@lan0=0",
                         "ccfg_cli set ip6_pre_manual_gid@lan1=0",
                         "sha1sum /tmp/sha.txt > /tmp/ula.txt",
                         "echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding",
                         CRON_LINE]
    assert run.pauses == []


@pytest.mark.parametrize("word", ["0", "lan", "2", "", "lan0"])
def test_any_other_word_means_the_first_lan(lan, word):
    run = lan.run("zel_ipv6_lan", word)
    assert run.lines == ["killall radvd; rm -f /tmp/run/radvd.pid",
                         "killall dhcp6d",
                         "ccfg_cli set ip6_pre_manual_gid@lan0=0",
                         "ccfg_cli set ip6_pre_manual_gid@lan1=0",
                         "sha1sum /tmp/sha.txt > /tmp/ula.txt",
                         "echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding",
                         "radvd -C /tmp/radvd.conf &",
                         "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
                         "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
                         "rdnssd -r /tmp/rdnssd",
                         CRON_LINE]
    assert run.pauses == [800, 1000]


def test_without_an_argument_nothing_runs(lan):
    run = lan.run("zel_ipv6_lan")
    assert run.status == 1
    assert run.stderr == "\t/usr/sbin/zel_ipv6_lan is not support!\n"
    assert run.log == ("[main][1000] ^_^[/usr/sbin/zel_ipv6_lan] start.\n\n"
                       "[main][1000] ^_^[/usr/sbin/zel_ipv6_lan] ERROR_NONE, end.\n\n")
    assert run.journal == []
    assert run.store_changes == {}


def test_radvd_and_the_server_are_stopped_before_the_parameters_are_known(lan):
    lan.store["on-demand@wan100"] = "1"
    run = lan.run("zel_ipv6_lan", "lan")
    assert run.switches["all/forwarding"] == "0"        # as on a permanent link: nothing is loaded yet


ROUTES = {"add_static_route@system": "1", "num_extra_routes@system": "3",
          "ip6_pre_routing_prefix@system": "2001:0DB8:1234:56", "ip6_extra_sid@system": "10;11"}


@pytest.mark.parametrize("word", ["lan", "1"])
@pytest.mark.parametrize("flag", ["1", "2", "-1"])
def test_the_record_of_extra_routes_is_cleared(lan, word, flag):
    lan.store.update({**ROUTES, "add_static_route@system": flag})
    run = lan.run("zel_ipv6_lan", word)
    assert {key: run.store[key] for key in ROUTES} == {
        "add_static_route@system": "0", "num_extra_routes@system": "0", "ip6_pre_routing_prefix@system": "",
        "ip6_extra_sid@system": ""}
    assert run.lines[-1] == CRON_LINE


@pytest.mark.parametrize("word", ["lan", "1"])
def test_without_extra_routes_their_record_is_left_alone(lan, word):
    lan.store.update({**ROUTES, "add_static_route@system": "0"})
    run = lan.run("zel_ipv6_lan", word)
    assert {key: run.store[key] for key in ROUTES} == {**ROUTES, "add_static_route@system": "0"}


def test_starting_again_renews_the_same_address_with_a_pause_between(lan):
    lan.run("zel_ipv6_lan", "lan")
    lan.time += 86400
    run = lan.run("zel_ipv6_lan", "lan")
    assert run.pauses == [800, 1000, 1000]
    assert run.log_after_loading[:5] == [
        f"[set_ipv6_addr][1000] if_name[br-lan] {LAN0_ULA} 64 0",
        "[set_ipv6_addr][1000] if_name[br-lan]  64 0",
        "[set_ipv6_addr][1000] ioctl SIOCDIFADDR error.",
        "[get_mac_addr][1000] br-lan macaddr is [00:11:22:33:44:55]",
        f"[set_ipv6_addr][1000] if_name[br-lan] {LAN0_ULA} 64 1",
    ]
    assert run.addresses["br-lan"] == ["fd77:c4f:aab8:1:211:22ff:fe33:4455/64", "fe80::211:22ff:fe33:4455/64"]
    assert run.store_changes == {}

"""Whole transcripts of the commands that bring the WAN up, start it again or give its lease up."""
import pytest

from expected_ruleset import TUNNEL_ECHO, TUNNEL_FORWARD, ruleset
from expected_texts import (BARE, COLOR, HOME, LAN0_ID, LAN1_ID, LOADING_CONSOLE, PLAIN, found_wan, framed, loaded, ran,
                            said)
from wan_setup import (CONF, LAN0_DUID, LEASES, LIST_CLIENTS, LIST_FOR_STOP, MANAGED, PID_FILE, RECORDS, RELEASE,
                       REQUEST_ALL, REQUEST_WITHOUT_SERVERS, RUNNING_CLIENT, START_STATEFUL, START_STATELESS, STOPPED,
                       UNMANAGED, record, record_console, record_log)

GUARD = "/tmp/zel_ipv6cp_script_running"
QUERIES = ["uboot_env --get --name serial", "wandataif.sh", "if2sect.sh ppp0"]
STOP_DAEMONS = ["killall radvd; rm -f /tmp/run/radvd.pid", "killall dhcp6d"]
STOP_DAEMONS_CALLS = ["killall radvd", "(pause 800 ms)", "killall dhcp6d"]
RELEASE_CALLS = ["ps", RELEASE.removesuffix(" &"), "(pause 1000 ms)"]
RELEASED = ran(LIST_FOR_STOP, RELEASE) + said("stop_dhcp6c", "remove DHCP6C_LEASE_FILE")
CLIENT_CONF = REQUEST_ALL + f"send dhcp6.client-id {LAN0_DUID};"
WAN_ADDRESS = "3fff:1::211:22ff:fe33:4477"
KNOWN = "wan_ifname:ppp0, if_max_rs:3, wan_ip6_addr:3fff:8::8, wan_ip6_pfxlen:64, wan_ip6_proto:dhcp"

# What the detection logs and calls when the router sets its Managed flag, and when it does not.
STATEFUL_LOG = said(
    "waninfo_main", KNOWN, record_log(**MANAGED), "action=00000000, wan_ifname=ppp0, if_probes=1, if_flags6=60",
    "action=00000000, ManagedFlag of remote radvd is enabled, should try DHCPv6",
    "action=00000002, Delete the IPv6 address assigned by RA") + ran(
    f"/sbin/ifconfig ppp0 del {WAN_ADDRESS}/64", f"/usr/sbin/ip -6 route del {WAN_ADDRESS}/64 dev ppp0") + said(
    "waninfo_main", "action=00000006, Stateful")
STATEFUL_CALLS = [f"/sbin/ifconfig ppp0 del {WAN_ADDRESS}/64", f"/usr/sbin/ip -6 route del {WAN_ADDRESS}/64 dev ppp0",
                  "ps", START_STATEFUL.removesuffix(" &").replace("-6  -P", "-6 -P")]
STATELESS_LOG = said(
    "waninfo_main", KNOWN, record_log(**UNMANAGED), "action=00000000, wan_ifname=ppp0, if_probes=1, if_flags6=20",
    "action=00000000, When both M & O flags are ZERO, router SHOULD still send IA_PD to request PD information and "
    "pass to LAN", "addr6p=3fff:0001:0000:0000:0211:22ff:fe33:4477, plen=64", f"wan_ip6_addr={WAN_ADDRESS}") + ran(
    f"vorn_syslog_cli addEventCode -1 P001 {WAN_ADDRESS}") + said(
    "waninfo_main", "wan_ip6_pfxlen=64", "wan_gw=fe80:0000:0000:0000:0000:0000:0000:0001",
    "wan_ip6_gateway=fe80::1") + ran("vorn_syslog_cli addEventCode -1 P002 fe80::1") + said(
    "waninfo_main", "action=00000005, Stateless") + ran("/usr/sbin/ip -6 route flush table 200") + said(
    "start_ipv6", f"wan_ip6_addr = {WAN_ADDRESS}/64", "wan_ip6_prefix = 3fff:1::") + ran(
    "/usr/sbin/ip -6 route flush ::/0", "/usr/sbin/ip -6 route add ::/0 via fe80::1 dev ppp0")
STATELESS_CALLS = [f"vorn_syslog_cli addEventCode -1 P001 {WAN_ADDRESS}",
                   "vorn_syslog_cli addEventCode -1 P002 fe80::1", "/usr/sbin/ip -6 route flush table 200",
                   "/usr/sbin/ip -6 route flush ::/0", "/usr/sbin/ip -6 route add ::/0 via fe80::1 dev ppp0", "ps",
                   START_STATELESS.removesuffix(" &").replace("-6  -P", "-6 -P")]


def detected(fields, action, word, ask, mode):
    """The console of the detection, with one record of the WAN interface."""
    return [
        "[zel-ipv6 waninfo_main] action = 0 , line:N", "[zel-ipv6 waninfo_main] fp != NULL , line:N",
        *record_console(**fields), "action=00000000, wan_ifname=ppp0, if_probes=1, "
        f"if_flags6={fields['if_flags']:x} , atoi(if_max_rs) = 3",
        f"[zel-ipv6 waninfo_main] action = {action} , line:N",
        f"[waninfo_main][1000] {COLOR} action({action}){PLAIN} ",
        f"[waninfo_main] action={action:08x}, {word}", ask, f"[zel-ipv6 start_dhcp6c] ask_info_only = {mode}"]


STATEFUL_CONSOLE = detected(MANAGED, 6, "Stateful", "call start_dhcp6c(tid, ASK_ADDR_INFO) , line:N", 0)
STATELESS_CONSOLE = detected(
    UNMANAGED, 5, "Stateless", "[zel-ipv6 waninfo_main] call start_dhcp6c(tid, ASK_INFO_ONLY) , line:N", 1)


@pytest.fixture
def wan(gateway):
    """A link that was up before: a client with a lease runs, the LAN's daemons have their files."""
    gateway.store.update({
        **HOME, "ip6_duid@wan100": LAN0_DUID, "ip6_duid_type@wan100": "3", "ip6_addr@wan100": "3fff:8::8",
        "ip6_pfxlen@wan100": "64", "ip6_prefix@wan100": "3fff:8::", "ip6_wan_ready@system": "1",
        "ip6_stateless@wan100": "0"})
    gateway.file(PID_FILE, "4242\n")
    gateway.file(LEASES, "lease6 {}\n")
    gateway.file("/tmp/dhcp6d.conf", "authoritative;\n")
    gateway.file("/tmp/dhcp6d.leases", "")
    gateway.file("/tmp/run/radvd.pid", "77\n")
    gateway.script("ps", stdout=RUNNING_CLIENT)
    gateway.process(4242)
    return gateway


LAN_FILES = {"/tmp/dhcp6d.conf": "authoritative;\n", "/tmp/dhcp6d.leases": "", "/tmp/run/radvd.pid": "77\n"}
GONE_TO_STATELESS = {
    "ip6_addr@wan100": ("3fff:8::8", WAN_ADDRESS), "ip6_gateway@wan100": (None, "fe80::1"),
    "ip6_stateless@wan100": ("0", "1"), "ip6_prefix@wan100": ("3fff:8::", "3fff:1::")}


def check_end(run, killed=(4242,)):
    assert run.killed == list(killed)
    assert run.addresses == {"br-lan": [], "br-lan1": [], "ppp0": []}
    assert (run.stdout, run.stderr, run.status) == ("", "", 1)


def test_zel_ipv6cp_up(wan):
    wan.file(RECORDS, record(**MANAGED))
    before = dict(wan.store)
    run = wan.run("zel_ipv6cp_up")
    assert run.log_lines == framed(
        "zel_ipv6cp_up", said("main", "zel_ipv6cp_up script_running[0]."), said("set_tmp_value", f"{GUARD}[1]."),
        loaded(before), ran("ip6tables -F"), RELEASED, STATEFUL_LOG, ran(LIST_CLIENTS, "kill 4242", START_STATEFUL),
        said("set_tmp_value", f"{GUARD}[0]."))
    assert run.console_masked == LOADING_CONSOLE + STOPPED + [
        "[zel-ipv6 main] call waninfo_main(TID) , line:4077"] + STATEFUL_CONSOLE
    assert run.journal == QUERIES + ["ip6tables -F"] + RELEASE_CALLS + STATEFUL_CALLS
    assert run.files == {GUARD: "0", CONF: CLIENT_CONF, **LAN_FILES}
    assert run.store_changes == {"ip6_gateway@wan100": (None, "fe80::1")}
    assert run.switches == {}
    check_end(run)


def test_wan6c_restart(wan):
    wan.file(RECORDS, record(**UNMANAGED))
    before = dict(wan.store)
    run = wan.run("wan6c_restart")
    assert run.log_lines == framed(
        "wan6c_restart", loaded(before), ran("/usr/sbin/ip tunnel del 6rd"), RELEASED, ran(*STOP_DAEMONS),
        STATELESS_LOG, ran(LIST_CLIENTS, "kill 4242", START_STATELESS))
    assert run.console_masked == LOADING_CONSOLE + STOPPED + [
        "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4151"] + STATELESS_CONSOLE
    assert run.journal == QUERIES + ["/usr/sbin/ip tunnel del 6rd"] + RELEASE_CALLS + STOP_DAEMONS_CALLS + (
        STATELESS_CALLS)
    assert run.files == {CONF: CLIENT_CONF}
    assert run.store_changes == GONE_TO_STATELESS
    assert run.switches == {"all/forwarding": "0"}
    check_end(run)


def test_dhcp6c_start(wan):
    wan.file(RECORDS, record(**MANAGED))
    wan.file("/tmp/rdnssd", "nameserver 3fff::53\nnameserver 3fff::54\n")
    before = dict(wan.store)
    run = wan.run("dhcp6c_start")
    assert run.log_lines == framed(
        "dhcp6c_start", loaded(before), STATEFUL_LOG, ran(LIST_CLIENTS, "kill 4242", START_STATEFUL))
    assert run.console_masked == LOADING_CONSOLE + [
        "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4167"] + STATEFUL_CONSOLE
    assert run.journal == QUERIES + STATEFUL_CALLS
    assert run.files == {
        CONF: REQUEST_WITHOUT_SERVERS + f"send dhcp6.client-id {LAN0_DUID};", PID_FILE: "4242\n",
        LEASES: "lease6 {}\n", "/tmp/rdnssd": "nameserver 3fff::53\nnameserver 3fff::54\n", **LAN_FILES}
    assert run.store_changes == {
        "ip6_gateway@wan100": (None, "fe80::1"), "ip6_dns_primary@wan100": (None, "3fff::53"),
        "ip6_dns_secondary@wan100": (None, "3fff::54")}
    assert run.switches == {}
    check_end(run)


def test_dhcp6c_restart(wan):
    wan.file(RECORDS, record(**MANAGED))
    before = dict(wan.store)
    run = wan.run("dhcp6c_restart")
    assert run.log_lines == framed(
        "dhcp6c_restart", loaded(before), RELEASED, ran(*STOP_DAEMONS), STATEFUL_LOG,
        ran(LIST_CLIENTS, "kill 4242", START_STATEFUL))
    assert run.console_masked == LOADING_CONSOLE + STOPPED + [
        "[zel-ipv6 main] call waninfo_main(TID) , line:4180"] + STATEFUL_CONSOLE
    assert run.journal == QUERIES + RELEASE_CALLS + STOP_DAEMONS_CALLS + STATEFUL_CALLS
    assert run.files == {CONF: CLIENT_CONF}
    assert run.store_changes == {"ip6_gateway@wan100": (None, "fe80::1")}
    assert run.switches == {"all/forwarding": "0"}
    check_end(run)


def test_dhcp6c_release(wan):
    before = dict(wan.store)
    run = wan.run("dhcp6c_release")
    assert run.log_lines == framed("dhcp6c_release", loaded(before), RELEASED, ran(*STOP_DAEMONS))
    assert run.console_masked == LOADING_CONSOLE + STOPPED
    assert run.journal == QUERIES + RELEASE_CALLS + STOP_DAEMONS_CALLS
    assert run.files == {}
    assert run.store_changes == {}
    assert run.switches == {"all/forwarding": "0"}
    check_end(run, killed=())


@pytest.mark.parametrize("rebind", ["0", "1"])
def test_dhcp6c_renew(wan, rebind):
    wan.file(RECORDS, record(**MANAGED))
    wan.store["ip6_dhcp6c_rebind_instead_of_solicit@wan100"] = rebind
    before = dict(wan.store)
    run = wan.run("dhcp6c_renew")
    stopped = RELEASED if rebind == "0" else ran(LIST_FOR_STOP, RELEASE.replace(" -r ", " -x "))
    console = STOPPED if rebind == "0" else STOPPED[:3] + [
        "[stop_dhcp6c] ip6_dhcp6c_rebind_instead_of_solicit=1", STOPPED[-1]]
    assert run.log_lines == framed(
        "dhcp6c_renew", loaded(before), stopped, STATEFUL_LOG, ran(LIST_CLIENTS, "kill 4242", START_STATEFUL))
    assert run.console_masked == LOADING_CONSOLE + console + [
        "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4206"] + STATEFUL_CONSOLE
    assert run.journal == QUERIES + [
        call.replace(" -r ", " -r " if rebind == "0" else " -x ") for call in RELEASE_CALLS] + STATEFUL_CALLS
    kept = {} if rebind == "0" else {LEASES: "lease6 {}\n"}
    assert run.files == {CONF: CLIENT_CONF, **kept, **LAN_FILES}
    assert run.store_changes == {"ip6_gateway@wan100": (None, "fe80::1")}
    assert run.switches == {}
    check_end(run)


# --- a WAN that is a tunnel

GUA0, GUA1 = f"3FFF:0ABC:C000:0201:{LAN0_ID}", f"3FFF:0ABC:C000:0201:{LAN1_ID}"
BUILT = [
    "nslookup relay.isp.example > /tmp/host.log", "rm /tmp/host.log", "/usr/sbin/ip tunnel del 6rd",
    "/usr/sbin/ip tunnel add 6rd mode sit ttl 64 remote any local 192.0.2.1", "/usr/sbin/ip link set dev 6rd up",
    "/usr/sbin/ip tunnel 6rd dev 6rd 6rd-prefix 3fff:abc::/32 6rd-relay_prefix 0.0.0.0/0",
    "/usr/sbin/ip -6 route del default",
    "/usr/sbin/ip -6 route add default via ::198.51.100.7 dev 6rd metric 1"]
ANSWER = "Server:    192.0.2.53\nAddress 1: 192.0.2.53\n\nName:      relay\nAddress 1: 198.51.100.7 relay\n"


def radvd_section(link, prefix, address):
    return (f"interface {link} {{\nAdvSendAdvert on;\nAdvLinkMTU 1492;\nAdvCurHopLimit 255;\nMinRtrAdvInterval 20;\n"
            "MaxRtrAdvInterval 60;\nAdvDefaultPreference medium;\nAdvHomeAgentFlag off;\nAdvManagedFlag off;\n"
            f"AdvOtherConfigFlag on;\nprefix {prefix}/64 {{\nAdvOnLink on;\nAdvAutonomous on;\nAdvRouterAddr off;\n"
            "AdvPreferredLifetime 86400;\nAdvValidLifetime 604800;\nDeprecatePrefix on;\n};\n"
            f"RDNSS {address}\n{{\nAdvRDNSSLifetime 600;\n}};\n}};\n")


@pytest.fixture
def sixrd(gateway):
    gateway.store.update({
        **BARE, "ip6_proto@wan100": "tunnel", "ip6_tunnel_type@wan100": "1",
        "ip6_6rd_info@wan100": "0 32 3fff:abc:: relay.isp.example"})
    gateway.file("/etc/config/.glbcfg", "settings\n")
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    gateway.script("nslookup", stdout=ANSWER)
    gateway.ip4["ppp0"] = "192.0.2.1/24"
    gateway.links["6rd"] = "00:11:22:33:44:88"
    return gateway


def one_lan(side, bridge, address):
    return (
        said("start_ipv6", "delegate_addr = 3fff:abc:c000:201::/64")
        + said("generate_addr", "generate_addr: 3FFF:0ABC:C000:0201:0000:0000:0000:0000",
               "routing_prefix: 3FFF:0ABC:C000:02/64")
        + said("start_ipv6", "ko3_addr: 3FFF:0ABC:C000:0201:0000:0000:0000:0000",
               f"{side}_ip6_prefix = 3fff:abc:c000:201::", f"{side}_ip6_addr = {address}", f"{side}_ip6_pfxlen = 64")
        + said("set_ipv6_addr", f"if_name[{bridge}] {address} 64 1"))


TUNNEL_LOG = (
    said("start_6rd", "6rd_info[0 32 3fff:abc:: relay.isp.example]",
         "str_ip4addr[192.0.2.1], str_prefix[3fff:abc::], str_pfxlen[32], str_relay[relay.isp.example], str_v4mask[0]")
    + ran(BUILT[0]) + said("start_6rd", "FQDN's ip = 198.51.100.7") + ran(*BUILT[1:])
    + said("start_6rd", "delegate_prefix = 3fff:abc:c000:201::/64")
    + one_lan("lan", "br-lan", GUA0) + one_lan("lan1", "br-lan1", GUA1)
    + ran(*STOP_DAEMONS, "killall -9 ecmh", "ip6tables -F",
          "echo  sys_ipv6_lan_done call zel_resolv_update. >/dev/console")
    + said("get_mac_addr", "br-lan macaddr is [00:11:22:33:44:55]")
    + ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding")
    + said("get_mac_addr", "br-lan1 macaddr is [00:11:22:33:44:66]")
    + ran("echo 1 > /proc/sys/net/ipv6/conf/br-lan1/forwarding",
          "vorn_syslog_cli addEventCode -1 ME104 3fff:abc:c000:201::/64",
          "vorn_syslog_cli addEventCode -1 ME104 3fff:abc:c000:201::/64", "radvd -C /tmp/radvd.conf &",
          "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d", "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&", "ecmh -i ppp0 -d br-lan",
          "ip6tables-restore /tmp/.ip6t", ". /lib/firewall/firewallv6.user")
    + found_wan()
    + ran("/usr/sbin/resolv_update.sh SYSTEM", "dnsmasq_update.sh",
          "echo  zel_resolv_update restart dnsmasq. >/dev/console", "/etc/init.d/dnsmasq2 restart",
          "/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10  ")
    + said("set_ipv6_addr", "if_name[6rd] 3fff:abc:c000:201::1 128 1"))
TUNNEL_CONSOLE = [
    f"[set_ipv6_addr] if_name[br-lan] {GUA0} 64 1", f"[set_ipv6_addr] if_name[br-lan1] {GUA1} 64 1",
    "sys_ipv6_lan_done call zel_resolv_update.",
    f"[start_ula][1000] {COLOR}[1905] lan_ip6_ula_gid = 3e:41a2:09bc {PLAIN}",
    "[zel_resolv_update] wan_ip6_dns1=, wan_ip6_dns2=, wan_ip4_dns1=192.0.2.53, wan_ip4_dns2=, ipv4_lan_ip=",
    "[zel_resolv_update] vlan7_ip4_dns1=, vlan7_ip4_dns2=, vlan8_ip4_dns1=, vlan8_ip4_dns2=",
    "zel_resolv_update restart dnsmasq.", "[set_ipv6_addr] if_name[6rd] 3fff:abc:c000:201::1 128 1"]


def test_ipv6rd_restart(sixrd):
    before = dict(sixrd.store)
    run = sixrd.run("ipv6rd_restart")
    assert run.log_lines == framed("ipv6rd_restart", loaded(before), ran("/usr/sbin/ip tunnel del 6rd"), TUNNEL_LOG)
    assert run.console_masked == LOADING_CONSOLE + TUNNEL_CONSOLE
    assert run.pauses == [800]
    assert run.files == {
        "/tmp/radvd.conf": (radvd_section("br-lan", "3fff:abc:c000:201::", GUA0)
                            + radvd_section("br-lan1", "3fff:abc:c000:201::", GUA1)),
        "/tmp/.ip6t": ruleset(echo=[TUNNEL_ECHO],
                              own_prefix=["-A FORWARD -i br-lan ! -s 3fff:abc:c000:201::/64 -j DROP"],
                              delegated="3fff:abc:c000:201::/64", tunnel=TUNNEL_FORWARD),
        "/tmp/dhcp6d": "<copy of dhcpd>",
        "/tmp/dhcp6d.conf": (
            'dhcpv6-lease-file-name "/tmp/dhcp6d.leases";\ndhcpv6-pid-file-name "/var/run/dhcp6d.pid";\n'
            "server-duid LLT ethernet 378691200 00:11:22:33:44:55;\nauthoritative;\noption dhcp6.rapid-commit;\n"
            f"subnet6 3fff:abc:c000:201::/64 {{\noption dhcp6.name-servers {GUA0};\n}}\n\n"
            f"subnet6 3fff:abc:c000:201::/64 {{\noption dhcp6.name-servers {GUA1};\n}}\n\n"),
        "/tmp/dhcp6d.leases": "",
        "/var/run/dhcp6d.pid": "",
        "/tmp/resolv.conf.auto": "nameserver 192.0.2.53\n",
    }
    assert run.store_changes == {
        "ip6_6rd_v4mask@wan100": (None, "0"), "ip6_6rd_pfxlen@wan100": (None, "32"),
        "ip6_6rd_prefix@wan100": (None, "3fff:abc::"), "ip6_6rd_border_relay@wan100": (None, "relay.isp.example"),
        "ip6_dhcp6c_prefix_addr@system": (None, "3fff:abc:c000:201::"),
        "ip6_dhcp6c_prefix_length@system": (None, "64"),
        "ip6_wan_ready@system": (None, "1"), "ip4_wan_ready@system": (None, "1"), "dns@wan100": (None, "192.0.2.53"),
        "ip6_prefix@lan0": (None, "3fff:abc:c000:201::"), "ip6_addr@lan0": (None, GUA0),
        "ip6_pfxlen@lan0": (None, "64"),
        "ip6_prefix@lan1": (None, "3fff:abc:c000:201::"), "ip6_addr@lan1": (None, GUA1),
        "ip6_pfxlen@lan1": (None, "64"),
    }
    assert run.addresses == {
        "br-lan": ["3fff:abc:c000:201:211:22ff:fe33:4455/64"], "br-lan1": ["3fff:abc:c000:201:211:22ff:fe33:4466/64"],
        "ppp0": [], "6rd": ["3fff:abc:c000:201::1/128"]}
    assert run.switches == {
        "6rd/disable_ipv6": "0", "all/forwarding": "1", "br-lan/disable_ipv6": "0", "br-lan/accept_ra": "0",
        "br-lan/forwarding": "1\n", "br-lan1/forwarding": "1\n"}
    assert (run.stdout, run.stderr, run.status) == ("", "", 1)


def test_wan6c_restart_of_a_tunnel_builds_it_before_the_detection_refuses(sixrd):
    before = dict(sixrd.store)
    run = sixrd.run("wan6c_restart")
    assert run.log_lines == framed("wan6c_restart", loaded(before), ran("/usr/sbin/ip tunnel del 6rd", *STOP_DAEMONS),
                                   TUNNEL_LOG)
    assert run.console_masked == LOADING_CONSOLE + ["[zel-ipv6 stop_dhcp6c] enter"] + TUNNEL_CONSOLE + [
        "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4151",
        "[zel-ipv6 waninfo_main] return ERROR_INTERNAL , line:N"]
    assert run.pauses == [800, 800]
    assert run.addresses["6rd"] == ["3fff:abc:c000:201::1/128"]
    assert run.status == 1

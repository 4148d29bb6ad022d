"""Which command a name selects, and the frame around every command."""
import pytest

CRON_LINE = "/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'"


def test_unknown_name_is_refused_and_still_ends_normally(gateway):
    gateway.store["ip6_wan_ready@system"] = "1"
    run = gateway.run("foo", argv0="foo")
    assert run.status == 1
    assert run.stderr == "\tfoo is not support!\n"
    assert run.stdout == ""
    assert run.log == ("[main][1000] ^_^[foo] start.\n\n"
                       "[main][1000] ^_^[foo] ERROR_NONE, end.\n\n")
    assert run.console == ""
    assert run.journal == []
    assert run.files == {}
    assert run.switches == {}
    assert run.store_changes == {}


def test_unknown_name_is_reported_with_its_path(gateway):
    run = gateway.run("foo")
    assert run.status == 1
    assert run.stderr == "\t/usr/sbin/foo is not support!\n"
    assert run.log_lines == ["[main][1000] ^_^[/usr/sbin/foo] start.", "",
                             "[main][1000] ^_^[/usr/sbin/foo] ERROR_NONE, end.", ""]


def test_arguments_of_an_unknown_name_are_not_looked_at(gateway):
    run = gateway.run("foo", "zel_ipv6_lan", "1")
    assert run.stderr == "\t/usr/sbin/foo is not support!\n"
    assert run.journal == []


def test_a_name_needs_no_path(gateway):
    run = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", "1", argv0="zel_ifconfig")
    assert run.status == 1
    assert run.stderr == ""
    assert run.messages("main")[0] == "^_^[zel_ifconfig] start.\n"
    assert run.addresses["br-lan"] == ["fd00::1/64"]


def test_a_name_is_found_inside_a_longer_one(gateway):
    run = gateway.run("x", "br-lan", "fd00::1", "64", "1", argv0="/opt/my_zel_ifconfig.new")
    assert run.addresses["br-lan"] == ["fd00::1/64"]
    assert run.messages("main") == [
        "^_^[/opt/my_zel_ifconfig.new] start.\n",
        "@[set_ip6addr][/opt/my_zel_ifconfig.new br-lan fd00::1 64 1]",
        "^_^[/opt/my_zel_ifconfig.new] ERROR_NONE, end.\n",
    ]


def test_the_name_is_compared_with_its_case(gateway):
    run = gateway.run("ZEL_IFCONFIG", "br-lan", "fd00::1", "64", "1")
    assert run.stderr == "\t/usr/sbin/ZEL_IFCONFIG is not support!\n"
    assert run.addresses["br-lan"] == []


def test_a_beginning_of_a_name_is_not_enough(gateway):
    run = gateway.run("zel_ifconfi", "br-lan", "fd00::1", "64", "1")
    assert run.stderr == "\t/usr/sbin/zel_ifconfi is not support!\n"


# What shows which command ran, for a WAN with a fixed address: its first shell line (after those of the loading) or,
# without one, its first console line.
SIGNS = {
    "zel_ipv6_lan": "killall radvd; rm -f /tmp/run/radvd.pid",
    "zel_ip6neigh_update": "ip -6 neigh show > /tmp/.ip6_neigh_show",
    "zel_dhcp6c_update": "[zel-ipv6 main] call dhcp6c_main(TID) , line:4044",
    "zel_resolv_update": "echo other scripts call zel_resolv_update. >/dev/console",
    "zel_ipcp_up": "iptables-save > /tmp/zel_ipt_old",
    "zel_ipcp_down": "sed -i '/^nameserver 192.0.2.53/d' /tmp/resolv.conf",
    "zel_ipv6cp_up": "ip6tables -F",
    "zel_ipv6cp_down": "sed -i '/^nameserver fe80::1/d' /tmp/resolv.conf",
    "zel_ifconfig": "[set_ipv6_addr] if_name[lan] 2 3 4",
    "wan6c_restart": "/usr/sbin/ip tunnel del 6rd",
    "ipv6rd_restart": "/usr/sbin/ip tunnel del 6rd",
    "dhcp6c_start": "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4167",
    "dhcp6c_restart": "[zel-ipv6 stop_dhcp6c] enter",
    "dhcp6c_release": "[zel-ipv6 stop_dhcp6c] enter",
    "dhcp6c_renew": "[zel-ipv6 stop_dhcp6c] enter",
    "ipv6_lan_restart": "killall radvd; rm -f /tmp/run/radvd.pid",
}
# What the sign leaves open.
ALSO_CONSOLE = {
    "wan6c_restart": "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4151",
    "dhcp6c_restart": "[zel-ipv6 main] call waninfo_main(TID) , line:4180",
    "dhcp6c_renew": "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4206",
    "ipv6_lan_restart": "sys_ipv6_lan_done call zel_resolv_update.",
}


@pytest.mark.parametrize("name", SIGNS)
def test_each_name_selects_its_command(gateway, name):
    gateway.store.update({"ip6_proto@wan100": "static", "dns@wan100": "192.0.2.53"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    run = gateway.run(name, "lan", "2", "3", "4")
    assert run.status == 1
    assert run.stderr.count("is not support!") == 0
    own = [line for line in run.lines if not line.startswith("ccfg_cli set ip6_pre_manual_gid@")]
    if SIGNS[name] in run.lines:
        assert own[0] == SIGNS[name]
    else:
        spoken = [line for line in run.console_masked if "Auto_gid" not in line]
        assert spoken[0] == SIGNS[name]
    if name in ALSO_CONSOLE:
        assert ALSO_CONSOLE[name] in run.console_masked
    elif name in ("ipv6rd_restart", "dhcp6c_release"):
        assert [line for line in run.console_lines if "waninfo_main" in line] == []


@pytest.mark.parametrize("argv0, sign", [
    ("/usr/sbin/zel_ipv6_lan_and_zel_ifconfig", CRON_LINE),
    ("/zel_ipv6_lan/foo", CRON_LINE),
    ("/usr/sbin/zel_ifconfig_zel_ip6neigh_update", "ip -6 neigh show > /tmp/.ip6_neigh_show"),
    ("/usr/sbin/wan6c_restart_zel_resolv_update", "echo other scripts call zel_resolv_update. >/dev/console"),
    ("/usr/sbin/dhcp6c_renew_ipv6rd_restart", "/usr/sbin/ip tunnel del 6rd"),
])
def test_the_first_name_of_the_table_wins_wherever_it_stands(gateway, argv0, sign):
    gateway.store["ip6_proto@wan100"] = "static"
    run = gateway.run("x", "1", "", "", "", argv0=argv0)
    own = [line for line in run.lines if not line.startswith("ccfg_cli")]
    if sign == CRON_LINE:
        assert own[-1] == sign
        assert "[set_ip6addr]" not in run.log
    else:
        assert own[0] == sign


def test_the_ipv4_and_the_ipv6_hook_are_told_apart(gateway):
    gateway.store["ip6_proto@wan100"] = "static"
    six = gateway.run("zel_ipv6cp_up")
    assert six.messages("zel_ipcp_up") == []
    assert six.files["/tmp/zel_ipv6cp_script_running"] == "0"
    gateway.remove("/tmp/zel_ipv6cp_script_running")
    four = gateway.run("zel_ipcp_up")
    assert four.messages("zel_ipcp_up")[0] == "zel_ipcp_up starting. ip6_wan_ready=0, ip4_wan_ready=0."
    assert "/tmp/zel_ipv6cp_script_running" not in four.files


# --- no transaction

@pytest.mark.parametrize("name", ["zel_ipv6_lan", "zel_ipv6cp_up", "zel_ip6neigh_update", "foo"])
def test_without_a_store_nothing_runs(gateway, name):
    gateway.env["TESA_STORE"] = "/nowhere/ccfg.db"
    run = gateway.run(name, "lan")
    assert run.status == 255
    assert run.stderr == "Failed to start a transaction to zel middle\n"
    assert run.stdout == ""
    assert run.log == f"[main][1000] ^_^[/usr/sbin/{name}] ERROR_INTERNAL, end\n\n"
    assert run.console == ""
    assert run.journal == []
    assert run.files == {}


def test_without_a_store_and_without_a_log_the_status_is_the_same(gateway):
    gateway.env["TESA_STORE"] = "/nowhere/ccfg.db"
    gateway.folder("/tmp/ipv6.log")
    run = gateway.run("foo")
    assert run.status == 255
    assert run.stderr == "Failed to start a transaction to zel middle\n"


# --- the log

def test_a_log_that_cannot_be_opened_only_drops_the_lines(gateway):
    gateway.store["ip6_proto@wan100"] = "static"
    gateway.folder("/tmp/ipv6.log")
    run = gateway.run("zel_ipv6cp_up")
    assert run.status == 1
    assert run.log == ""
    assert run.calls_of("ip6tables") == [["ip6tables", "-F"]]
    assert run.store["ip6_gua_hostid@lan0"] == "0211:22FF:FE33:4455"
    assert run.files["/tmp/zel_ipv6cp_script_running"] == "0"


def test_the_log_grows_and_is_never_cut(gateway):
    gateway.file("/tmp/ipv6.log", "a line of another program\n")
    gateway.run("foo")
    gateway.uptime = 2345678901
    gateway.run("bar")
    assert gateway.read("/tmp/ipv6.log") == (
        "a line of another program\n"
        "[main][1000] ^_^[/usr/sbin/foo] start.\n\n"
        "[main][1000] ^_^[/usr/sbin/foo] ERROR_NONE, end.\n\n"
        "[main][2345678901] ^_^[/usr/sbin/bar] start.\n\n"
        "[main][2345678901] ^_^[/usr/sbin/bar] ERROR_NONE, end.\n\n")


def test_the_log_is_not_written_through_a_symbolic_link(gateway):
    gateway.file("/tmp/victim", "precious\n")
    gateway.symlink("/tmp/ipv6.log", "victim")
    run = gateway.run("foo")
    assert run.status == 1
    assert run.files["/tmp/victim"] == "precious\n"


# --- results of the steps

def test_failing_steps_do_not_stop_the_sequence(gateway):
    for program in ("killall", "radvd", "dhcp6d", "dhcpd", "rdnssd", "cron"):
        gateway.script(program, status=7)
    run = gateway.run("zel_ipv6_lan", "lan")
    assert run.status == 1
    assert run.shell[-1] == (7, CRON_LINE)
    assert [status for status, line in run.shell if line == "killall dhcp6d"] == [7]
    assert run.messages("main")[-1] == "^_^[/usr/sbin/zel_ipv6_lan] ERROR_NONE, end.\n"

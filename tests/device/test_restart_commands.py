"""The management commands, whole sequences for a WAN with a fixed address: the mode detection then ends at once."""
import pytest

GID_LINES = ["ccfg_cli set ip6_pre_manual_gid@lan0=0", "ccfg_cli set ip6_pre_manual_gid@lan1=0"]
AUTO_GID = "[prepare_parm][1000] \x1b[1;31m Auto_gid (0) \x1b[0m"
NOT_DHCP = "[zel-ipv6 waninfo_main] return ERROR_INTERNAL , line:N"
LOADED = {
    "ip6_gua_hostid@lan0": (None, "0211:22FF:FE33:4455"),
    "ip6_gua_hostid@lan1": (None, "0211:22FF:FE33:4466"),
    "ip6_pre_manual_gid@lan0": (None, "0"),
    "ip6_pre_manual_gid@lan1": (None, "0"),
    "ip6_ula_hostid@lan0": (None, "0211:22FF:FE33:4455"),
    "ip6_ula_hostid@lan1": (None, "0211:22FF:FE33:4466"),
}
QUERIES = ["uboot_env --get --name serial", "wandataif.sh", "if2sect.sh ppp0"]
STOP_DAEMONS = ["killall radvd", "(pause 800 ms)", "killall dhcp6d"]
STOPPED = ["[zel_system][1000] [0]killall radvd; rm -f /tmp/run/radvd.pid", "[zel_system][1000] [0]killall dhcp6d"]


@pytest.fixture
def fixed(gateway):
    gateway.store["ip6_proto@wan100"] = "static"
    gateway.file("/tmp/dhcp6d.conf", "old\n")
    gateway.file("/tmp/dhcp6d.leases", "old\n")
    gateway.file("/var/run/dhcp6d.pid", "77\n")
    gateway.file("/tmp/run/radvd.pid", "78\n")
    return gateway


def ended(name):
    return [f"[main][1000] ^_^[/usr/sbin/{name}] ERROR_NONE, end.", ""]


def check_frame(run, name):
    assert run.status == 1
    assert run.stderr == ""
    assert run.log_lines[:3] == [f"[main][1000] ^_^[/usr/sbin/{name}] start.", "",
                                 "[prepare_parm][1000] ProductClass(system) is "]
    assert run.store_changes == LOADED
    assert run.addresses == {"br-lan": [], "br-lan1": [], "ppp0": []}


def test_wan6c_restart(fixed):
    run = fixed.run("wan6c_restart")
    check_frame(run, "wan6c_restart")
    assert run.log_after_loading == (["[zel_system][1000] [0]/usr/sbin/ip tunnel del 6rd"] + STOPPED
                                     + ended("wan6c_restart"))
    assert run.console_masked == [AUTO_GID, "[zel-ipv6 stop_dhcp6c] enter",
                                  "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4151", NOT_DHCP]
    assert run.journal == QUERIES + ["/usr/sbin/ip tunnel del 6rd"] + STOP_DAEMONS
    assert run.switches == {"all/forwarding": "0"}
    assert run.files == {"/var/run/dhcp6d.pid": "77\n"}


def test_ipv6rd_restart(fixed):
    run = fixed.run("ipv6rd_restart")
    check_frame(run, "ipv6rd_restart")
    assert run.log_after_loading == (["[zel_system][1000] [0]/usr/sbin/ip tunnel del 6rd"] + ended("ipv6rd_restart"))
    assert run.console_lines == [AUTO_GID]
    assert run.journal == QUERIES + ["/usr/sbin/ip tunnel del 6rd"]
    assert run.switches == {}
    assert run.files == {"/tmp/dhcp6d.conf": "old\n", "/tmp/dhcp6d.leases": "old\n", "/tmp/run/radvd.pid": "78\n",
                         "/var/run/dhcp6d.pid": "77\n"}


def test_dhcp6c_start(fixed):
    run = fixed.run("dhcp6c_start")
    check_frame(run, "dhcp6c_start")
    assert run.log_after_loading == ended("dhcp6c_start")
    assert run.console_masked == [AUTO_GID, "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4167", NOT_DHCP]
    assert run.journal == QUERIES
    assert run.switches == {}
    assert run.files == {"/tmp/dhcp6d.conf": "old\n", "/tmp/dhcp6d.leases": "old\n", "/tmp/run/radvd.pid": "78\n",
                         "/var/run/dhcp6d.pid": "77\n"}


def test_dhcp6c_restart(fixed):
    run = fixed.run("dhcp6c_restart")
    check_frame(run, "dhcp6c_restart")
    assert run.log_after_loading == STOPPED + ended("dhcp6c_restart")
    assert run.console_masked == [AUTO_GID, "[zel-ipv6 stop_dhcp6c] enter",
                                  "[zel-ipv6 main] call waninfo_main(TID) , line:4180", NOT_DHCP]
    assert run.journal == QUERIES + STOP_DAEMONS
    assert run.switches == {"all/forwarding": "0"}
    assert run.files == {"/var/run/dhcp6d.pid": "77\n"}


def test_dhcp6c_release(fixed):
    run = fixed.run("dhcp6c_release")
    check_frame(run, "dhcp6c_release")
    assert run.log_after_loading == STOPPED + ended("dhcp6c_release")
    assert run.console_masked == [AUTO_GID, "[zel-ipv6 stop_dhcp6c] enter"]
    assert run.journal == QUERIES + STOP_DAEMONS
    assert run.switches == {"all/forwarding": "0"}
    assert run.files == {"/var/run/dhcp6d.pid": "77\n"}


@pytest.mark.parametrize("rebind", ["0", "1", None])
def test_dhcp6c_renew_leaves_the_daemons_and_the_rebind_setting_alone(fixed, rebind):
    if rebind is not None:
        fixed.store["ip6_dhcp6c_rebind_instead_of_solicit@wan100"] = rebind
    run = fixed.run("dhcp6c_renew")
    check_frame(run, "dhcp6c_renew")
    assert run.log_after_loading == ended("dhcp6c_renew")
    assert run.console_masked == [AUTO_GID, "[zel-ipv6 stop_dhcp6c] enter",
                                  "[zel-ipv6 main] call waninfo_main(ipv6_tid) , line:4206", NOT_DHCP]
    assert run.journal == QUERIES
    assert run.switches == {}
    assert run.files == {"/tmp/dhcp6d.conf": "old\n", "/tmp/dhcp6d.leases": "old\n", "/tmp/run/radvd.pid": "78\n",
                         "/var/run/dhcp6d.pid": "77\n"}
    assert run.store.get("ip6_dhcp6c_rebind_instead_of_solicit@wan100") == rebind


@pytest.mark.parametrize("name", ["wan6c_restart", "dhcp6c_restart", "dhcp6c_release"])
def test_on_a_link_dialled_on_demand_stopping_radvd_leaves_forwarding_alone(fixed, name):
    fixed.store["on-demand@wan100"] = "1"
    run = fixed.run(name)
    assert run.switches == {}
    assert run.pauses == [800]


@pytest.mark.parametrize("name", ["wan6c_restart", "ipv6rd_restart"])
def test_the_tunnel_of_the_configured_name_is_deleted(fixed, name):
    fixed.store["ip6_6rd_ifname@wan100"] = "tun6rd"
    run = fixed.run(name)
    assert run.calls_of("ip") == [["/usr/sbin/ip", "tunnel", "del", "tun6rd"]]


def test_the_client_event_hook_passes_the_transaction_to_its_handler(fixed):
    fixed.env["reason"] = "UNKNOWN6"
    run = fixed.run("zel_dhcp6c_update")
    assert run.status == 1
    assert run.console_lines[0] == AUTO_GID
    called = run.console_lines[1]
    assert called.startswith("[zel-ipv6 main] call dhcp6c_main(")
    assert called.endswith(") , line:4044")
    assert called[len("[zel-ipv6 main] call dhcp6c_main("):-len(") , line:4044")].isdecimal()
    assert run.log_after_loading[-2:] == ended("zel_dhcp6c_update")
    assert run.store_changes == LOADED


# With a client that runs, its stop shows its place in each sequence.
STOP_CLIENT = ["ps",
               "/usr/sbin/dhclient -r -6 -P -d -q -nw -cf /tmp/dhcp6c-wan.conf -sf /usr/sbin/zel_dhcp6c_update "
               "-lf /tmp/dhcp6c-wan.leases -pf /var/run/dhcp6c-wan.pid ppp0",
               "(pause 1000 ms)"]


@pytest.mark.parametrize("name, steps", [
    ("wan6c_restart", ["/usr/sbin/ip tunnel del 6rd"] + STOP_CLIENT + STOP_DAEMONS),
    ("dhcp6c_restart", STOP_CLIENT + STOP_DAEMONS),
    ("dhcp6c_release", STOP_CLIENT + STOP_DAEMONS),
    ("dhcp6c_renew", STOP_CLIENT),
    ("zel_ipv6cp_up", ["ip6tables -F"] + STOP_CLIENT),
    ("zel_ipv6cp_down", ["killall rdnssd"] + STOP_DAEMONS + STOP_CLIENT
     + ["/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10 '' ''", "radvd -C /tmp/radvd.conf",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf", "rdnssd -r /tmp/rdnssd"]),
])
def test_a_running_client_is_stopped_at_its_place_in_the_sequence(fixed, name, steps):
    fixed.file("/var/run/dhcp6c-wan.pid", "4242\n")
    fixed.script("ps", stdout=" 4242 root      1234 /usr/sbin/dhclient -6 -P -d -q -nw -cf /tmp/dhcp6c-wan.conf\n")
    run = fixed.run(name)
    assert run.status == 1
    assert run.journal == QUERIES + steps
    assert "/var/run/dhcp6c-wan.pid" not in run.files

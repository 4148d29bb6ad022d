"""What the rehearsed gateway finds around itself: given, out of its settings, this machine's own, or assumed."""
import os
import subprocess

import pytest
from rehearse_tool import BUILD, DELEGATED, FACTORY, PROGRAMS, TREE, changes_of, file_of, lines_of

NEIGHBORS = "fe80::10 dev br-lan lladdr 02:00:00:00:00:10 REACHABLE\n3fff:9::10 dev br-lan1 lladdr 02:00:00:00:00:11 STALE\n"
CLIENT = "-6 -P -d -q -nw -cf /tmp/dhcp6c-wan.conf"


def server_identifier(found):
    return next(line for line in file_of(found, "/tmp/dhcp6d.conf").splitlines() if line.startswith("server-duid"))


def test_hardware_addresses_are_given(tool):
    found = tool.json(*DELEGATED, "--mac", "br-lan=02:AA:00:00:00:01", "--mac", "eth0=02:bb:00:00:00:02", "dhcp6c_start")
    assert "br-lan 02:aa:00:00:00:01, " in found["surroundings"][1] and found["surroundings"][1].endswith(", eth0 02:bb:00:00:00:02")
    assert changes_of(found)["ip6_gua_hostid@lan0"] == "00AA:00FF:FE00:0001"
    assert "/sbin/ifconfig eth0 del 3fff:1::bb:ff:fe00:2/64" in lines_of(found)


@pytest.mark.parametrize("settings, mac, told", [
    (["ip6_gua_hostid@lan0=0000:00FF:FE00:0001"], "02:00:00:00:00:01", "of its host id"),
    (["ip6_ula_hostid@lan0=02AA:BBFF:FECC:DDEE"], "00:aa:bb:cc:dd:ee", "of its host id"),
    (["ip6_gua_hostid@lan0=0000:00FF:FE00:0001", "ip6_gua_manual_hostid@lan0=1"], "00:11:22:33:44:55", "assumed"),
    (["ip6_gua_hostid@lan0=0000:0000:0000:0001"], "00:11:22:33:44:55", "assumed"),
    (["ip6_gua_hostid@lan0=nonsense"], "00:11:22:33:44:55", "assumed"),
    (["ip6_gua_hostid@lan0=0300:00FF:FE00:0001"], "00:11:22:33:44:55", "assumed"),
])
def test_the_hardware_address_of_a_bridge_is_in_the_host_id_of_an_export(tool, settings, mac, told):
    found = tool.json(*DELEGATED, "--settings", tool.settings(*settings))
    assert f" br-lan {mac} ({told}), " in found["surroundings"][1]
    assert server_identifier(found) == f"server-duid LLT ethernet 378691200 {mac};"


@pytest.mark.parametrize("stored, router, told", [
    ("fe80::77", "fe80::77", "fe80::77 advertises"), ("", "fe80::1", "fe80::1 (assumed) advertises"),
    ("3fff::1", "fe80::1", "fe80::1 (assumed) advertises"), ("fe80::1%eth0", "fe80::1", "fe80::1 (assumed) advertises"),
])
def test_the_router_is_the_one_that_the_gateway_has_stored(tool, stored, router, told):
    found = tool.json("dhcp6c_start", "--settings", tool.settings(f"ip6_gateway@wan100={stored}"))
    assert f"the WAN's router {told} Managed, and the prefix 3fff:1::/64 (assumed)" in found["surroundings"]
    assert changes_of(found).get("ip6_gateway@wan100", router) == router


def test_a_running_client_is_released_or_ended(tool):
    release = tool.json("--client", "dhcp6c_release")
    assert [line for line in lines_of(release) if line.startswith("/usr/sbin/dhclient -r")] == [
        f"/usr/sbin/dhclient -r {CLIENT} -sf /usr/sbin/zel_dhcp6c_update -lf /tmp/dhcp6c-wan.leases -pf /var/run/dhcp6c-wan.pid eth0 &"]
    assert "a DHCPv6 client runs, process 4242 (assumed)" in release["surroundings"]
    assert {"line": "kill 4242", "status": 0} in tool.json("--client", "dhcp6c_start")["shell_lines"]
    restart = lines_of(tool.json("--client", "dhcp6c_restart"))
    assert "kill 4242" not in restart and any(line.startswith("/usr/sbin/dhclient -r ") for line in restart)
    assert not [line for line in lines_of(tool.json("dhcp6c_release")) if "dhclient -r" in line]


def test_an_outside_program_says_what_is_in_a_file(tool):
    path = tool.folder / "neighbors"
    path.write_text(NEIGHBORS, encoding="ascii")
    found = tool.json("zel_ip6neigh_update", "--answer", f"ip -6 neigh={path}")
    assert [line.split()[:3] for line in file_of(found, "/tmp/.ip6_neigh").splitlines()] == [
        ["fe80::10", "dev", "br-lan"], ["3fff:9::10", "dev", "br-lan1"]]
    assert found["surroundings"][-2:] == ["every other outside program succeeds and says nothing; the log's clock stands at 1000 s",
                                          f"ip -6 neigh says what is in {path}"]
    assert found["odd"] == []
    other = tool.json("zel_ip6neigh_update", "--answer", f"ip -6 neihg={path}", "--fail", "radvd=3")
    assert other["odd"] == ["--answer ip -6 neihg: no such call was made", "--fail radvd: no such call was made"]
    assert not [entry for entry in other["files"] if entry["path"] == "/tmp/.ip6_neigh" and entry["text"]]


def test_an_outside_program_fails(tool):
    found = tool.json(*DELEGATED, "--fail", "ip6tables-restore", "--fail", "ip6tables -F=3")
    assert [(entry["line"], entry["status"]) for entry in found["shell_lines"] if entry["status"]] == [
        ("ip6tables -F", 3), ("ip6tables-restore /tmp/.ip6t", 1)]
    assert found["surroundings"][-2:] == ["ip6tables-restore ends with status 1", "ip6tables -F ends with status 3"]
    assert "      [3]" not in (shown := tool.run(*DELEGATED, "--fail", "ip6tables -F=3")[1]) and "ip6tables -F   [3]\n" in shown


class Machine:
    """A gateway of its own store, with files in /tmp, a WAN interface wan7 and, when wanted, a client that runs."""

    def __init__(self, tool):
        self._tool = tool
        self.state = tool.folder / "machine-tmp"
        self.state.mkdir(mode=0o1777)
        self._store = tool.folder / "ccfg.db"
        self._client = tool.folder / "dhclient"
        self._client.write_text("#!/bin/sh\nwhile :; do sleep 1; done\n", encoding="ascii")
        self._client.chmod(0o755)
        environment = {"TESA_STORE": str(self._store), "PATH": os.environ["PATH"]}
        subprocess.run([BUILD / "ccfg_cli", "import", FACTORY], env=environment, check=True)
        for setting in ("wandataif@system=wan7", "if2sect_wan7@system=wan100", "ip6_addr@wan100=3fff:5::99"):
            subprocess.run([BUILD / "ccfg_cli", "set", setting], env=environment, check=True)

    def json(self, *words, client=False, wan="ip addr add 3fff:5::99/128 dev wan7 nodad; ip addr add fe80::77/64 dev wan7 nodad; "):
        # The folders of the test may be below the /tmp that is hidden.
        kept = [word for path in (self._tool.folder, PROGRAMS, TREE) for word in ("--bind", str(path), str(path))]
        start = f"(:); (:); (:); (:); (:); (:); (:); (:); (:); /usr/sbin/dhclient {CLIENT} wan7 & echo $! >/var/run/dhcp6c-wan.pid; "
        within = f'{start if client else ""}exec "$@"'
        starter = ["unshare", "--net", "--mount", "sh", "-c",
                   "mount -t sysfs sysfs /sys; ip link add name wan7 address 02:00:00:00:00:77 type bridge; "
                   f'ip addr add 198.51.100.7/25 dev wan7; {wan}exec "$@"', "sh",
                   "bwrap", "--die-with-parent", "--unshare-pid", "--dev-bind", "/", "/", "--proc", "/proc", "--tmpfs", "/run",
                   "--bind", str(self.state), "/tmp", *kept, "--ro-bind", str(self._client), "/usr/sbin/dhclient",
                   "sh", "-c", within, "sh"]
        return self._tool.json(*words, starter=starter, TESA_STORE=str(self._store))


@pytest.fixture
def machine(tool):
    if os.geteuid() != 0:
        pytest.fail("a machine of its own needs root")
    return Machine(tool)


def test_with_the_machines_own_store_its_files_and_addresses_are_found(machine):
    (machine.state / "zel_ipv6cp_script_running").write_text("1", encoding="ascii")
    (machine.state / "radvd.conf").write_text("as it was\n", encoding="ascii")
    (machine.state / "dhcp6d.leases").write_text("a lease\n", encoding="ascii")
    assert machine.json("zel_ipv6cp_up")["status"] == 255
    assert machine.json("zel_ipv6cp_up", "--state", "none")["status"] == 1
    found = machine.json("dhcp6c_start")
    assert found["surroundings"][0] == "WAN interface wan7, section wan100"
    assert found["surroundings"][2] == "IPv4 address of the WAN: 198.51.100.7/25"
    assert found["surroundings"][3] == (
        "the WAN's router fe80::1 (assumed) advertises Managed; addresses of the WAN: 3fff:5::99/128, fe80::77/64")
    assert "state files of /tmp: radvd.conf, zel_ipv6cp_script_running" in found["surroundings"]
    assert "/sbin/ifconfig wan7 del 3fff:5::99/128" in lines_of(found)
    current = {entry["path"]: entry["current"] for entry in machine.json(*DELEGATED)["files"]}
    assert (current["/tmp/radvd.conf"], current["/tmp/dhcp6d.leases"], current["/tmp/.ip6t"]) == ("as it was\n", "a lease\n", None)


def test_with_the_machines_own_store_its_client_is_found(machine):
    found = machine.json("dhcp6c_restart", client=True)
    told = [line for line in found["surroundings"] if line.startswith("a DHCPv6 client runs, process ")]
    assert len(told) == 1 and "assumed" not in told[0] and not told[0].endswith(" 4242")
    assert any(line.startswith(f"/usr/sbin/dhclient -r {CLIENT} ") for line in lines_of(found))
    # The release takes the leased address with it before the program looks for an advertised one.
    assert not [line for line in lines_of(found) if "3fff:5::99" in line]
    number = told[0].rpartition(" ")[2]
    assert f"kill {number}" in lines_of(machine.json("dhcp6c_start", client=True))
    none = machine.json("dhcp6c_restart", "--state", "none", client=True)["surroundings"]
    assert not [line for line in none if "client" in line or "addresses of the WAN" in line or "198.51.100.7" in line]


def test_a_wan_without_an_address_is_waited_for_as_on_the_machine(machine):
    found = machine.json("dhcp6c_start", wan="")
    assert found["surroundings"][3].endswith("; addresses of the WAN: none")
    assert found["failure"] == "was ended after 100 pauses: it waits for something that does not come here"
    assert found["surroundings"][1].endswith(", wan7 02:00:00:00:00:77")


def test_files_of_a_given_state_are_compared_with_it_alone(tool):
    state = tool.folder / "state"
    state.mkdir()
    (state / "dhcp6d.leases").write_text("a lease\n", encoding="ascii")
    output = tool.run(*DELEGATED, "--diff", "--state", str(state))[1]
    assert "  /tmp/dhcp6d.leases  differs from what was there\n    @@ -1 +0,0 @@\n    - a lease\n" in output
    assert "  /var/run/dhcp6d.pid  empty\n" in output and "  /tmp/.ip6t  58 lines, not there before\n" in output

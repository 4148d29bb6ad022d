"""Links and FIFOs that somebody put where the program, or one of its shell lines, opens a file."""
import os

import pytest

from expected_texts import BARE

PRECIOUS = "precious\n"

# Where a shell line writes, and what runs that line.
WRITTEN_BY_A_LINE = [
    ("/tmp/ps_dhcp6c_s.txt", "dhcp6c_start", {}), ("/tmp/host.log", "ipv6rd_restart", {
        "ip6_proto@wan100": "tunnel", "ip6_tunnel_type@wan100": "2", "ip6_6rd_border_relay@wan100": "192.0.2.1"}),
    ("/tmp/zel_ipt_old", "zel_ipcp_up", {}), ("/tmp/dhcp6d", "ipv6_lan_restart", {}),
    ("/tmp/ip6_rt", "ipv6_lan_restart", {
        "add_static_route@system": "1", "num_extra_routes@system": "1", "extra_sid_1@system": "10",
        "extra_gateway_1@system": "fe80::a"}),
    ("/tmp/.ip6_neigh_show", "zel_ip6neigh_update", {}),
    ("/tmp/ps_dhcp6c.txt", "dhcp6c_release", {}), ("/tmp/ula.txt", "ipv6_lan_restart", {
        "ip6_ula_eb@lan0": "1", "ip6_ula_gid@lan0": ""}),
]

# What the program opens itself, and what makes it do so.
OPENED = [
    ("/tmp/radvd.conf", "ipv6_lan_restart"), ("/tmp/dhcp6d.conf", "ipv6_lan_restart"), ("/tmp/dhcp6d.leases", "ipv6_lan_restart"),
    ("/var/run/dhcp6d.pid", "ipv6_lan_restart"), ("/tmp/resolv.conf.auto", "zel_resolv_update"),
    ("/tmp/rdnssd", "dhcp6c_start"), ("/tmp/dhcp6c-wan.conf", "dhcp6c_start"), ("/var/run/dhcp6c-wan.pid", "dhcp6c_release"),
    ("/tmp/.ip6_neigh", "zel_ip6neigh_update"), ("/tmp/zel_ipv6cp_script_running", "zel_ipv6cp_down"),
    ("/tmp/ipv6.log", "zel_ip6neigh_update"), ("/tmp/.ip6t.lock", "ipv6_lan_restart"),
]


@pytest.fixture
def home(gateway):
    gateway.store.update(BARE)
    gateway.store.update({"ip6_duid@wan100": "00:03:00:01:00:11:22:33:44:55", "ip6_duid_type@wan100": "3"})
    gateway.file("/proc/net/if_flags6", "20010db8000100020211220000334455 05 40 00 80 01 000000e0 ppp0 "
                 "fe800000000000000000000000000001\n")
    gateway.file("/var/run/dhcp6c-wan.pid", "4242\n")
    gateway.file("/run/victim", PRECIOUS)
    return gateway


def fifo(gateway, path):
    gateway.remove(path)
    os.mkfifo(gateway._path(path))


@pytest.mark.parametrize("path, command, settings", WRITTEN_BY_A_LINE)
def test_a_shell_line_writes_through_no_link_and_waits_at_no_fifo(home, path, command, settings):
    home.store.update(settings)
    usual = dict(home.store)
    clean = home.run(command)
    for obstacle in ("link", "dangling link", "fifo"):
        home.store = dict(usual)
        home.file("/var/run/dhcp6c-wan.pid", "4242\n")
        if obstacle == "fifo":
            fifo(home, path)
        else:
            home.symlink(path, "/run/victim" if obstacle == "link" else "/run/nobody")
        run = home.run(command)
        assert run.lines == clean.lines, obstacle
        assert run.files["/var/run/victim"] == PRECIOUS
        assert "/var/run/nobody" not in run.files
        assert run.status == 1


@pytest.mark.parametrize("path, command, settings", [
    ("/tmp/sha.txt", "ipv6_lan_restart", {"ip6_ula_eb@lan0": "1", "ip6_ula_gid@lan0": ""}),
    ("/tmp/resolv.conf", "zel_ipv6cp_down", {}), ("/tmp/resolv.conf", "zel_ipcp_down", {"dns@wan100": "192.0.2.53"})])
def test_a_shell_line_reads_from_no_fifo(home, path, command, settings):
    home.store.update(settings)
    fifo(home, path)
    assert home.run(command).status == 1


def test_a_link_in_the_place_of_the_resolver_s_file_stays_one_for_the_shell_line(home):
    home.file("/run/resolv", "nameserver fe80::1\nnameserver 192.0.2.53\n")
    home.symlink("/tmp/resolv.conf", "/run/resolv")
    assert home.run("zel_ipv6cp_down").files["/tmp/resolv.conf"] == "nameserver 192.0.2.53\n"


@pytest.mark.parametrize("path, command", OPENED)
def test_the_program_waits_at_no_fifo(home, path, command):
    fifo(home, path)
    assert home.run(command).status == 1


def test_what_stands_in_the_ruleset_s_place_is_removed_first(home):
    home.symlink("/tmp/.ip6t", "/run/nobody")
    run = home.run("ipv6_lan_restart")
    assert run.status == 1
    assert run.files["/tmp/.ip6t"].startswith("*filter\n")
    assert "/var/run/nobody" not in run.files
    fifo(home, "/tmp/.ip6t")
    assert home.run("ipv6_lan_restart").files["/tmp/.ip6t"].endswith("COMMIT\n")

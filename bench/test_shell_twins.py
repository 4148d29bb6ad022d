"""The shell scripts that the program is compared with do the program's work: same files, settings and calls."""
import pathlib
import shutil

import pytest

from scenes import SERVERS, lan_restart, neighbor

TWINS = pathlib.Path(__file__).resolve().parent / "twin"
SHELLS = {"dash": ["/host/dash", "sh"], "ash": ["/host/busybox", "sh"]}



def by_script(gateway, name, shell, **variables):
    """Runs the script in the program's place."""
    gateway.file(f"/tmp/{name}", (TWINS / name).read_text())
    gateway.file("/proc/uptime", "1000.00 2000.00\n")
    gateway.env = {"PAUSE": ":", **variables}
    gateway.starter = [*SHELLS[shell], f"/tmp/{name}"]
    run = gateway.run("ipv6_lan_restart")
    gateway.starter = []
    run.files.pop(f"/tmp/{name}")
    return run


def daemons(run):
    """The calls of programs that something is left of: without questions, and without addresses, which the script sets
    by `ip` and the program by itself. What stays in the background comes last, because it starts in its own time."""
    asked = ("uboot_env", "wandataif.sh", "if2sect.sh")
    calls = [[call[0].rsplit("/", 1)[-1], *call[1:]] for call in run.calls]
    calls = [call for call in calls if call[0] not in asked and call[1:3] != ["-6", "addr"]]
    behind = {"radvd": 1, "dhcp6d": 2}
    return sorted(calls, key=lambda call: behind.get(call[0], 0))


@pytest.fixture
def twins(gateway, request):
    """Two gateways in the same state, one after the other: a function that starts the state anew."""
    def furnish(scene):
        for path in ("/tmp", "/run", "/etc/config"):
            for place in list(gateway._path(path).iterdir()):                   # pylint: disable=protected-access
                shutil.rmtree(place) if place.is_dir() else place.unlink()
        gateway._stored = {}                                                    # pylint: disable=protected-access
        gateway.store = dict(scene.store)
        for path, text in {**scene.files, "/etc/config/.glbcfg": "settings\n"}.items():
            gateway.file(path, text)
        return gateway
    return furnish


SITUATIONS = {
    "after a renumbering": lan_restart(),
    "with servers of its own": lan_restart(**{"ip6_dns1@system": "3fff::1", "ip6_dns2@system": "3fff::2"}),
    "without unique-local addresses": lan_restart(**{"ip6_ula_eb@lan0": "0", "ip6_ula_eb@lan1": "0",
                                                     "ip6_ula_addr@lan0": "", "ip6_ula_addr@lan1": ""}),
    "with a short prefix and other ids": lan_restart(**{
        "ip6_dhcp6c_prefix_addr@system": "3fff:ab::", "ip6_dhcp6c_prefix_length@system": "48",
        "ip6_gua_sid@lan0": "16", "ip6_gua_sid@lan1": "07"}),
    "with a long prefix": lan_restart(**{"ip6_dhcp6c_prefix_addr@system": "3fff:ab:0:20::",
                                         "ip6_dhcp6c_prefix_length@system": "60", "ip6_gua_sid@lan1": "31"}),
    "without a domain": lan_restart(**{"ip6_domain@wan100": "", "mtu@wan100": "1280", "ip6_lease@wan100": "60"}),
}


@pytest.mark.parametrize("shell", SHELLS)
@pytest.mark.parametrize("situation", SITUATIONS)
def test_the_restart_of_the_lan(twins, situation, shell):
    scene = SITUATIONS[situation]
    program = twins(scene).run("ipv6_lan_restart")
    script = by_script(twins(scene), "ipv6_lan_restart.sh", shell)
    assert script.files == program.files
    assert "/tmp/.ip6t" in program.files and SERVERS["/tmp/resolv.conf.auto"] in program.files["/tmp/resolv.conf.auto"]
    assert script.store_changes == program.store_changes
    assert daemons(script) == daemons(program)


OLD = "".join(neighbor(n, 900) for n in range(5)) + neighbor(9, 400) + neighbor(10, 401)
SHOWN = "".join(neighbor(n) for n in (3, 4, 300)) + "3fff::1 dev br-lan1 FAILED\n" + neighbor(7)


@pytest.mark.parametrize("shell", SHELLS)
@pytest.mark.parametrize("old, shown, left", [(OLD, SHOWN, 9), ("", SHOWN, 5), (OLD, "", 6), ("", "", 0)])
def test_the_neighbor_table(twins, old, shown, left, shell):
    def after(start):
        gateway = twins(lan_restart())
        gateway.file("/tmp/.ip6_neigh", old)
        gateway.script("ip", stdout=shown)
        return start(gateway)

    program = after(lambda gateway: gateway.run("zel_ip6neigh_update"))
    script = after(lambda gateway: by_script(gateway, "ip6neigh_update.sh", shell))
    assert script.files == program.files
    assert len(program.files["/tmp/.ip6_neigh"].splitlines()) == left
    assert script.lines == program.lines

    with_log = after(lambda gateway: by_script(gateway, "ip6neigh_update.sh", shell, LOG="1"))
    assert with_log.files == program.files
    assert with_log.log_lines == [line for line in program.log_lines if line and not line.startswith("[main]")]

"""The Debian packages: installed, used, upgraded, removed and purged in a system of their own. Slow: `make test-packages`."""
import os
import pathlib
import re
import subprocess

import pytest
from debian_root import DebianRoot, build_folder, make_base

PACKAGES = ("ipv6ctl", "ipv6ctl-stock", "ipv6ctl-lab")
ADAPTERS = ("dhclient", "ps", "nslookup", "ecmh")


@pytest.fixture(scope="session")
def debs():
    """{package: path}, as `make deb` left them."""
    found = {name: sorted((build_folder() / "deb").glob(f"{name}_*.deb")) for name in PACKAGES}
    for name, paths in found.items():
        assert len(paths) == 1, f"{name}: {paths}; run make deb"
    return {name: paths[0] for name, paths in found.items()}


@pytest.fixture(scope="session")
def newer(debs, tmp_path_factory):
    """The same packages as the next version."""
    folder = tmp_path_factory.mktemp("newer")
    made = {}
    for name, path in debs.items():
        content = folder / name
        subprocess.run(["dpkg-deb", "-R", path, content], check=True)
        control = content / "DEBIAN/control"
        control.write_text(control.read_text(encoding="utf-8").replace("0.1.0-1", "0.1.0-2"), encoding="utf-8")
        if name == "ipv6ctl-stock":
            rules = content / "lib/firewall/firewallv6.user"
            rules.write_text(rules.read_text(encoding="utf-8") + "# newer\n", encoding="utf-8")
        made[name] = folder / f"{name}_0.1.0-2.deb"
        subprocess.run(["dpkg-deb", "--root-owner-group", "-b", content, made[name]], check=True, stdout=subprocess.DEVNULL)
    return made


@pytest.fixture(scope="session")
def base(debs):
    folder = pathlib.Path(os.environ.get("IPV6CTL_DEBIAN_BASE", build_folder() / "debian-root")).resolve()
    make_base(folder, list(debs.values()))
    return folder


@pytest.fixture
def root(base, tmp_path):
    return DebianRoot(base, tmp_path)


def install(root, packages, names=("ipv6ctl", "ipv6ctl-stock")):
    paths = [root.put(packages[name]) for name in names]
    return root.must(f"dpkg -i --force-confold {' '.join(paths)}")


def use(root):
    """What a gateway does in its life, as far as it leaves something behind."""
    root.must("""
        ccfg_cli set ip6_proto@wan100=static
        /etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'
        zel_ip6neigh_update || [ $? -eq 1 ]
        zel_ipcp_up || [ $? -eq 1 ]
        ipv6_lan_restart || [ $? -eq 1 ]
        [ -s /tmp/ipv6.log ] && [ -s /etc/config/ccfg.db ]
    """)


def test_lintian_finds_no_error(debs):
    told = subprocess.run(["lintian", "--fail-on", "error", "--allow-root", *debs.values()],
                          capture_output=True, text=True, check=False)
    assert told.returncode == 0, told.stdout
    assert "E:" not in told.stdout


def test_the_packages_depend_on_what_they_run(root, debs):
    for name in PACKAGES:
        assert "libc6" in subprocess.check_output(["dpkg-deb", "-f", debs[name], "Depends"], text=True)
    install(root, debs, PACKAGES)
    assert root.must("dpkg --audit; dpkg -V ipv6ctl ipv6ctl-stock ipv6ctl-lab") == ""


def test_an_installed_gateway_works(root, debs):
    install(root, debs)
    assert root.must("ccfg_cli get ip6_proto@wan100") == "dhcp\n"
    assert root.run("zel_resolv_update").returncode == 1
    assert "zel_resolv_update" in root.must("ipv6trace --brief --all")
    assert root.run("ipv6status --help").returncode == 0
    assert root.must("ipv6rehearse --quiet --delegated 3fff:1234:0:5600::/56 && echo good") == "good\n"
    for page in ("man8/ipv6ctl", "man8/dhcp6c_start", "man5/ipv6ctl-log", "man5/ipv6ctl-settings", "man1/ccfg_cli", "man1/ipv6rehearse"):
        assert root.must(f"zcat /usr/share/man/{page}.{page[3]}.gz").startswith(".\\\"")


def test_the_pages_that_a_gateway_needs_come_along_with_those_that_they_lead_to(root, debs):
    install(root, debs)
    pages = root.must("cd /usr/share/doc/ipv6ctl && ls *.md.gz").split()
    assert {"debian-gateway.md.gz", "field-problems.md.gz", "odd-rules.md.gz"} <= set(pages)
    for page in pages:
        text = root.must(f"zcat /usr/share/doc/ipv6ctl/{page}")
        assert text.startswith("# ")
        assert {f"{name}.gz" for name in re.findall(r"\]\(([\w-]+\.md)\)", text)} <= set(pages), page


def test_adapters_stand_before_the_stock_tools(root, debs):
    install(root, debs)
    for name in ADAPTERS:
        assert f"# ipv6ctl adapter: {name}" in root.must(f"head -n 2 /usr/sbin/{name}")
    assert root.must("head -c 4 /usr/lib/ipv6ctl/stock/dhclient") == "\x7fELF"
    # The real one answers through the adapter.
    assert "isc-dhclient-4" in root.run("dhclient --version").stderr
    assert "COMMAND" in root.must("/usr/sbin/ps | head -n 1")


def test_installing_starts_nothing(root, debs):
    paths = [root.put(debs[name]) for name in ("ipv6ctl", "ipv6ctl-stock")]
    told = root.must(f"""
        dpkg -i {' '.join(paths)} >/dev/null
        for process in /proc/[0-9]*; do [ "$process" = /proc/$$ ] || readlink "$process/exe" || :; done""")
    assert [line for line in told.splitlines() if line != "/usr/bin/dash"] == []


def test_a_purge_leaves_nothing(root, debs):
    before = root.listing()
    install(root, debs, PACKAGES)
    use(root)
    assert root.listing() != before
    told = root.must("dpkg --purge ipv6ctl-lab ipv6ctl-stock ipv6ctl 2>&1")
    assert "not empty" not in told and "error" not in told
    assert root.listing() == before


def test_a_removed_package_gives_the_tools_back_and_keeps_the_settings(root, debs):
    before = root.listing()
    install(root, debs)
    root.must("ccfg_cli set ip6_proto@wan100=static; echo '# mine' >>/lib/firewall/firewallv6.user")
    root.must("dpkg --remove ipv6ctl-stock ipv6ctl")
    after = root.listing()
    for path in ("/usr/sbin/dhclient", "/etc/init.d/cron"):
        assert after[path] == before[path]
    assert {path for path in after if path.startswith(("/usr/sbin/", "/usr/lib/ipv6ctl"))} == {
        path for path in before if path.startswith(("/usr/sbin/", "/usr/lib/ipv6ctl"))}
    assert "ip6_proto@wan100=static" in root.must("cat /etc/config/ccfg.db")
    assert root.must("tail -n 1 /lib/firewall/firewallv6.user") == "# mine\n"
    install(root, debs)
    assert root.must("ccfg_cli get ip6_proto@wan100") == "static\n"


def test_an_upgrade_keeps_settings_rules_and_diversions(root, debs, newer):
    install(root, debs)
    root.must("ccfg_cli set ip6_proto@wan100=static; echo '# mine' >>/lib/firewall/firewallv6.user")
    store = root.must("cat /etc/config/ccfg.db")
    diversions = root.must("dpkg-divert --list '*'")
    install(root, newer)
    assert root.must("dpkg-query -W -f '${Version} ' ipv6ctl ipv6ctl-stock") == "0.1.0-2 0.1.0-2 "
    assert root.must("cat /etc/config/ccfg.db") == store
    assert root.must("tail -n 1 /lib/firewall/firewallv6.user") == "# mine\n"
    assert root.must("dpkg-divert --list '*'") == diversions
    assert root.must("head -c 4 /usr/lib/ipv6ctl/stock/dhclient") == "\x7fELF"


def test_a_purge_after_an_upgrade_leaves_nothing_either(root, debs, newer):
    before = root.listing()
    install(root, debs)
    install(root, newer)
    use(root)
    root.must("dpkg --purge ipv6ctl-stock ipv6ctl")
    assert root.listing() == before


def test_a_newer_stock_client_does_not_take_the_adapters_place(root, debs):
    install(root, debs)
    root.must("""
        rm -rf /packages/client
        deb=$(ls /var/cache/apt/archives/isc-dhcp-client_*.deb)
        rm /usr/lib/ipv6ctl/stock/dhclient
        dpkg -i --force-confold "$deb" """)
    assert "ipv6ctl adapter" in root.must("head -n 2 /usr/sbin/dhclient")
    assert root.must("head -c 4 /usr/lib/ipv6ctl/stock/dhclient") == "\x7fELF"


def test_the_log_is_rotated_by_truncation(root, debs):
    install(root, debs)
    told = root.must("""
        head -c 1200000 /dev/zero | tr '\\0' x >/tmp/ipv6.log
        exec 3>>/tmp/ipv6.log
        logrotate /etc/logrotate.d/ipv6ctl
        echo later >&3
        cat /tmp/ipv6.log; ls /tmp; zcat /tmp/ipv6.log.1.gz | wc -c""")
    assert told == "later\nipv6.log\nipv6.log.1.gz\n1200000\n"


def test_link_hooks_run_their_command_on_the_wan_alone(root, debs):
    install(root, debs)
    root.must("ccfg_cli set wandataif@system=ppp0")
    for folder, command in (("ip-up", "zel_ipcp_up"), ("ip-down", "zel_ipcp_down"), ("ipv6-up", "zel_ipv6cp_up"),
                            ("ipv6-down", "zel_ipv6cp_down")):
        root.must(f"rm -f /tmp/ipv6.log; PPP_IFACE=ppp7 run-parts /etc/ppp/{folder}.d; [ ! -e /tmp/ipv6.log ]")
        # The guard that another hook holds ends those of IPV6CP at once.
        root.run(f"echo 1 >/tmp/zel_ipv6cp_script_running; PPP_IFACE=ppp0 run-parts --regex ipv6ctl /etc/ppp/{folder}.d")
        assert f"^_^[/usr/sbin/{command}] start." in root.must("cat /tmp/ipv6.log")


def test_the_cron_line_runs_only_when_the_program_has_registered_it(root, debs):
    install(root, debs)
    line = "line=$(sed -n 's/^[^#]* root //p' /etc/cron.d/ipv6ctl); sh -c \"$line\" || :"
    root.must(f"rm -f /tmp/ipv6.log; {line}; [ ! -e /tmp/ipv6.log ]")
    root.must("/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'")
    root.must(f"{line}; grep -q zel_ip6neigh_update /tmp/ipv6.log")


def test_the_lab_comes_without_the_gateway(root, debs):
    install(root, debs, ("ipv6ctl-lab",))
    assert "demo|up|exec|status|down" in root.must("ipv6ctl-lab --help")
    assert root.run("ipv6ctl-lab status").stdout == 'No lab is up. Start one with "ipv6ctl-lab up".\n'
    assert root.must("head -c 4 /usr/sbin/dhclient") == "\x7fELF"


def test_the_packaged_lab_comes_up(root, debs):
    install(root, debs, ("ipv6ctl-lab",))
    told = root.must("""
        mount -t sysfs sysfs /sys; mount -t tmpfs tmpfs /tmp
        ipv6ctl-lab up >/run/up
        trap 'ipv6ctl-lab down >/run/down' EXIT
        for program in "ccfg_cli get ip6_wan_ready@system" "ipv6status --version"; do ipv6ctl-lab exec gw $program; done""")
    assert re.fullmatch(r"1\nipv6status \S+\n", told)

"""`make install` and `make uninstall` (packaging/place): what comes goes again, what is somebody else's stays."""
import os
import pathlib
import stat
import subprocess

import pytest

TREE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("IPV6CTL_BUILD", TREE / "build")).resolve()
PLACE = TREE / "packaging" / "place"


def place(*words):
    return subprocess.run([PLACE, *map(str, words)], capture_output=True, text=True, check=False)


def done(result):
    assert result.returncode == 0, result.stderr
    return result.stderr


def listing(root):
    """{path: kind, mode and contents} of everything below a folder."""
    found = {}
    for path in sorted(root.rglob("*")):
        status = path.lstat()
        if path.is_symlink():
            what = os.readlink(path)
        elif path.is_file():
            what = path.read_bytes()
        else:
            what = None
        found[str(path.relative_to(root))] = (stat.filemode(status.st_mode), what)
    return found


@pytest.fixture
def root(tmp_path):
    """A root as a system has it: /lib is a link, there are other people's files, one of them at a place of ours."""
    folder = tmp_path / "root"
    for name in ("usr/lib", "usr/sbin", "usr/share/man/man8", "etc/init.d"):
        (folder / name).mkdir(parents=True)
    (folder / "lib").symlink_to("usr/lib")
    (folder / "etc/init.d/cron").write_text("#!/bin/sh\n# another package's\n", encoding="utf-8")
    (folder / "etc/init.d/cron").chmod(0o750)
    (folder / "usr/share/man/man8/other.8").write_text(".TH OTHER 8\n", encoding="utf-8")
    return folder


def test_the_device_layout_is_there(root):
    done(place("install", BUILD, root))
    assert os.readlink(root / "usr/sbin/zel_ipv6cp_up") == "ipv6ctl"
    assert (root / "usr/lib/firewall/firewallv6.user").is_file()
    assert (root / "lib").is_symlink()
    assert (root / "usr/bin/ipv6trace").stat().st_mode & 0o777 == 0o755
    for page in ("man8/ipv6ctl.8", "man5/ipv6ctl-log.5", "man5/ipv6ctl-settings.5", "man1/ccfg_cli.1", "man1/ipv6trace.1",
                 "man1/ipv6rehearse.1"):
        assert (root / "usr/share/man" / page).read_text(encoding="utf-8").startswith(".\\\"")
    for tool in ("ccfg_cli", "ipv6trace", "ipv6rehearse"):
        assert (root / "usr/share/bash-completion/completions" / tool).is_file()


def test_uninstall_leaves_the_root_as_it_was(root):
    before = listing(root)
    done(place("install", BUILD, root))
    assert listing(root) != before
    assert done(place("uninstall", root)) == ""
    assert listing(root) == before


def test_a_second_installation_changes_nothing(root):
    before = listing(root)
    done(place("install", BUILD, root))
    first = listing(root)
    done(place("install", BUILD, root))
    assert listing(root) == first
    done(place("uninstall", root))
    assert listing(root) == before


def test_the_settings_stay_and_nothing_else(root):
    before = set(listing(root))
    done(place("install", BUILD, root))
    store = root / "etc/config/ccfg.db"
    subprocess.run([root / "usr/sbin/ccfg_cli", "set", "ip6_proto@wan100=static"], check=True,
                   env={**os.environ, "TESA_STORE": str(store)})
    kept = store.read_bytes()
    assert done(place("uninstall", root)) == f"place: not empty, stays: {root}/etc/config\n"
    assert store.read_bytes() == kept
    assert set(listing(root)) - before == {"etc/config", "etc/config/ccfg.db", "etc/config/ccfg.db.lock"}


def test_an_owners_change_is_kept_beside_the_new_file(root):
    done(place("install", BUILD, root))
    rules = root / "usr/lib/firewall/firewallv6.user"
    original = rules.read_text(encoding="utf-8")
    rules.write_text("ip6tables -A INPUT -j DROP\n", encoding="utf-8")
    assert done(place("install", BUILD, root)) == (
        f"place: {root}/lib/firewall/firewallv6.user was changed, kept as {root}/lib/firewall/firewallv6.user.old\n")
    assert rules.read_text(encoding="utf-8") == original
    assert rules.with_name("firewallv6.user.old").read_text(encoding="utf-8") == "ip6tables -A INPUT -j DROP\n"


def test_a_prefix_moves_what_people_start_and_read_only(root):
    before = listing(root)
    done(place("install", BUILD, root, "/opt/gateway"))
    came = {path for path in listing(root) if path not in before}
    assert {path for path in came if path.startswith(("usr/bin", "usr/share"))} == set()
    assert {"opt/gateway/bin/ipv6trace", "opt/gateway/share/man/man8/ipv6ctl.8", "usr/sbin/ipv6ctl"} <= came
    shown = subprocess.run([root / "opt/gateway/bin/ipv6trace", "--version"], capture_output=True, text=True, check=True)
    assert shown.stdout.startswith("ipv6trace (ipv6ctl) ")
    shown = subprocess.run([root / "opt/gateway/bin/ipv6rehearse", "--version"], capture_output=True, text=True, check=True)
    assert shown.stdout.startswith("ipv6rehearse (ipv6ctl) ")
    done(place("uninstall", root, "/opt/gateway"))
    assert listing(root) == before


def test_stock_tools_are_back_before_their_adapters_are_gone(root):
    stock = root / "usr/sbin/dhclient"
    stock.write_text("#!/bin/sh\necho stock\n", encoding="utf-8")
    stock.chmod(0o755)
    before = listing(root)
    done(place("install", BUILD, root))
    subprocess.run([root / "usr/lib/ipv6ctl/adapters/enable", root], check=True)
    assert "ipv6ctl adapter: dhclient" in stock.read_text(encoding="utf-8")
    done(place("uninstall", root))
    assert listing(root) == before


@pytest.mark.parametrize("words", [(), ("install",), ("install", "/nowhere"), ("uninstall",), ("remove", "/nowhere")])
def test_a_wrong_call_is_told_and_does_nothing(words):
    result = place(*words)
    assert (result.returncode, result.stdout) == (2, "")
    assert result.stderr.startswith("usage: place install ")


def test_nothing_is_removed_where_nothing_was_installed(root):
    before = listing(root)
    result = place("uninstall", root)
    assert (result.returncode, result.stderr) == (
        1, f"place: nothing was installed there: no {root}/usr/share/ipv6ctl/placed\n")
    assert listing(root) == before

"""Putting the adapters in place and taking them away, and the output forms of ps, nslookup and ecmh."""

import os
import re
import shutil
import stat
import subprocess

from conftest import KIT

ADAPTERS = KIT / "adapters"
HOSTILE = "a'b\"c $(touch /tmp/pwned) `touch /tmp/pwned`; touch /tmp/pwned"
# How the program reads a line: a number, two columns, the path, the first six arguments.
CLIENT_LINE = re.compile(r"^ *(\d{1,5}) +(\S+) +(\S+) /usr/sbin/dhclient (\S+) (\S+) (\S+) (\S+) (\S+) (\S+)", re.M)


def tree(root):
    """Everything below `root`: kind, mode, owner, size, time, content or target."""
    found = {}
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            path = os.path.join(folder, name)
            data = os.lstat(path)
            if stat.S_ISLNK(data.st_mode):
                content = os.readlink(path)
            elif stat.S_ISREG(data.st_mode):
                with open(path, "rb") as file:
                    content = (file.read(), data.st_mtime_ns)
            else:
                content = None
            found[os.path.relpath(path, root)] = (data.st_mode, data.st_uid, data.st_gid, content)
    return found


def stock_root(folder):
    """A root with its tools in the three ways that occur: a program, a relative link to one, one in /usr/bin."""
    root = folder / "root"
    (root / "usr/sbin").mkdir(parents=True)
    (root / "usr/bin").mkdir()
    (root / "usr/lib/ipv6ctl/adapters").mkdir(parents=True)
    for file in ADAPTERS.iterdir():
        shutil.copy2(file, root / "usr/lib/ipv6ctl/adapters")
    for path, text in (("usr/sbin/dhclient", "#!/bin/sh\necho stock dhclient\n"),
                       ("usr/bin/ps", "#!/bin/sh\necho stock ps\n"),
                       ("usr/bin/toolbox", "#!/bin/sh\necho toolbox\n")):
        (root / path).write_text(text)
        (root / path).chmod(0o750)
        os.utime(root / path, (1_000_000_000, 1_000_000_000))
    (root / "usr/sbin/nslookup").symlink_to("../bin/toolbox")
    return root


def enable(root):
    subprocess.run([ADAPTERS / "enable", root], check=True)


def disable(root):
    subprocess.run([ADAPTERS / "disable", root], check=True)


def test_enable_puts_adapters_in_place_and_the_stock_tools_aside(tmp_path):
    root = stock_root(tmp_path)
    enable(root)
    for name in ("dhclient", "ps", "nslookup", "ecmh"):
        placed = root / "usr/sbin" / name
        assert not placed.is_symlink()
        assert placed.read_bytes() == (ADAPTERS / name).read_bytes()
        assert placed.stat().st_mode & 0o777 == 0o755
    stock = root / "usr/lib/ipv6ctl/stock"
    assert (stock / "dhclient").read_text() == "#!/bin/sh\necho stock dhclient\n"
    assert (stock / "ps").read_text() == "#!/bin/sh\necho stock ps\n"
    assert not (stock / "nslookup").is_symlink()
    assert (stock / "nslookup").read_text() == "#!/bin/sh\necho toolbox\n"
    assert not (stock / "ecmh").exists()


def test_enable_twice_is_enable_once(tmp_path):
    root = stock_root(tmp_path)
    enable(root)
    before = tree(root)
    enable(root)
    assert tree(root) == before


def test_disable_leaves_what_was_before(tmp_path):
    root = stock_root(tmp_path)
    before = tree(root)
    enable(root)
    enable(root)
    disable(root)
    assert tree(root) == before
    disable(root)
    assert tree(root) == before
    enable(root)
    disable(root)
    assert tree(root) == before


def test_a_newer_adapter_takes_the_place_of_an_older_one(tmp_path):
    root = stock_root(tmp_path)
    before = tree(root)
    enable(root)
    with open(root / "usr/sbin/dhclient", "a", encoding="ascii") as file:
        file.write("# an older one\n")
    enable(root)
    assert (root / "usr/sbin/dhclient").read_bytes() == (ADAPTERS / "dhclient").read_bytes()
    assert (root / "usr/lib/ipv6ctl/stock/dhclient").read_text() == "#!/bin/sh\necho stock dhclient\n"
    disable(root)
    assert tree(root) == before


def test_a_tool_installed_over_an_adapter_stays(tmp_path):
    root = stock_root(tmp_path)
    enable(root)
    (root / "usr/sbin/ecmh").write_text("#!/bin/sh\necho another\n")
    disable(root)
    assert (root / "usr/sbin/ecmh").read_text() == "#!/bin/sh\necho another\n"


def test_ps_prints_number_two_columns_and_arguments(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    gateway.sh("sleep 54321 >/dev/null 2>&1 & echo $! >/tmp/pid")
    pid = gateway.read("/tmp/pid").strip()
    found = [line for line in gateway.run("ps").stdout.splitlines() if "54321" in line]
    assert len(found) == 1
    assert re.fullmatch(rf" *{pid} +root +\d+ sleep 54321", found[0])


def test_ps_shows_a_client_once_and_nothing_of_the_adapter(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    # A stock client that only waits: it is the lines that are looked at.
    gateway.write("/usr/lib/ipv6ctl/stock/dhclient", "#!/bin/sh\nexec sleep 1000\n", 0o755)
    gateway.sh("ip link set eth0 up")
    gateway.sh("/usr/sbin/dhclient -6  -P -d -q -nw -cf /tmp/c -sf /usr/sbin/recorder -lf /tmp/l -pf /var/run/d.pid "
               "-e stateless=1 eth0 & sleep 0.5")
    for _ in range(5):
        text = gateway.sh("ps | grep dhclient").stdout
        lines = [line for line in text.splitlines() if "grep" not in line]
        assert len(lines) == 1
        match = CLIENT_LINE.match(lines[0])
        assert match.group(1) == gateway.read("/var/run/d.pid").strip()
        assert match.groups()[3:] == ("-6", "-P", "-d", "-q", "-nw", "-cf")
    gateway.run("kill", gateway.read("/var/run/d.pid").strip())


PROCESSES = """    PID    PPID USER        VSZ COMMAND
      1       0 root       2576 /sbin/init
     20       1 root       2576 /bin/sh /usr/sbin/dhclient -6 -P -d -q -nw -cf /tmp/c -lf /tmp/a  b eth0
     21      20 root       9000 /usr/lib/ipv6ctl/stock/dhclient -6 -d -q -N -P -nw -lf /tmp/l eth0
     22      20 root       2576 /bin/sh /usr/sbin/dhclient -6 -P -d -q -nw -cf /tmp/c -lf /tmp/a  b eth0
     23      21 root       2576 /bin/sh /usr/lib/ipv6ctl/adapters/dhclient-events
     24       1 root       2576 {dhclient} /bin/sh /usr/sbin/dhclient -r -6 -P -d -q -nw -cf /tmp/c eth0
     25       1 root       2576 sh -c /usr/sbin/dhclient -6 -dec -P -sf x eth0 &
     26       1 root       9000 /usr/sbin/dhclient -4 eth1
"""


def test_ps_shows_the_process_that_is_the_client_and_hides_what_is_below_it(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    gateway.write("/tmp/processes", PROCESSES)
    gateway.write("/usr/lib/ipv6ctl/stock/ps", "#!/bin/sh\ncat /tmp/processes\n", 0o755)
    assert [re.sub(" {2,}(?=[0-9])", " ", line).strip() for line in gateway.run("ps").stdout.splitlines()[1:]] == [
        "1 root 2576 /sbin/init",
        "20 root 2576 /usr/sbin/dhclient -6 -P -d -q -nw -cf /tmp/c -lf /tmp/a  b eth0",
        "24 root 2576 /usr/sbin/dhclient -r -6 -P -d -q -nw -cf /tmp/c eth0",
        "25 root 2576 sh -c /usr/sbin/dhclient -6 -dec -P -sf x eth0 &",
        "26 root 9000 /usr/sbin/dhclient -4 eth1",
    ]


def test_ps_works_over_busybox_too(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    gateway.sh("rm /usr/lib/ipv6ctl/stock/ps; cp /bin/busybox /usr/lib/ipv6ctl/stock/ps")
    gateway.write("/usr/lib/ipv6ctl/stock/dhclient", "#!/bin/sh\nexec sleep 1000\n", 0o755)
    gateway.sh("/usr/sbin/dhclient -6  -P -d -q -nw -cf /tmp/c -sf /usr/sbin/recorder -lf /tmp/l -pf /var/run/d.pid "
               "-e stateless=0 eth0 & sleep 0.5")
    lines = [line for line in gateway.sh("ps | grep dhclient").stdout.splitlines() if "grep" not in line]
    assert len(lines) == 1
    assert CLIENT_LINE.match(lines[0]).groups()[3:] == ("-6", "-P", "-d", "-q", "-nw", "-cf")
    gateway.run("kill", gateway.read("/var/run/d.pid").strip())


def test_ps_with_options_is_the_stock_one(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    assert gateway.run("ps", "-o", "pid=", "-p", "1").stdout.strip() == "1"


def looked_up(text):
    """The program's way to the address."""
    named = text[text.index("Name:"):]
    match = re.match(r"([0-9.]{1,15}) ", named[named.index("Address 1: ") + 11:])
    return match.group(1) if match else None


def test_nslookup_gives_a_literal_address_back(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    assert looked_up(gateway.run("nslookup", "192.0.2.77").stdout) == "192.0.2.77"


def name_server(gateway):
    gateway.sh("echo nameserver 127.0.0.1 >/tmp/resolv; mount --bind /tmp/resolv $(readlink -f /etc/resolv.conf)")
    gateway.sh("dnsmasq --conf-file=/dev/null --no-resolv --no-hosts --pid-file= --user=root --interface=lo "
               "--bind-interfaces --host-record=relay.isp.example,192.0.2.99,3fff::99 "
               "--host-record=six.isp.example,3fff::98 --local=/example/")


def test_nslookup_of_a_name_puts_ipv4_first(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    name_server(gateway)
    done = gateway.run("nslookup", "relay.isp.example")
    assert looked_up(done.stdout) == "192.0.2.99"
    assert "Address 1: 192.0.2.99 relay.isp.example\nAddress 2: 3fff::99 relay.isp.example\n" in done.stdout


def test_nslookup_of_a_name_without_ipv4_gives_the_program_none(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    name_server(gateway)
    assert looked_up(gateway.run("nslookup", "six.isp.example").stdout) is None


def test_nslookup_without_an_answer_has_no_name_line(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    name_server(gateway)
    done = gateway.run("nslookup", "none.example", check=False)
    assert done.returncode == 1 and "Name:" not in done.stdout


def test_nslookup_reads_the_output_of_either_stock_tool(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    other = ("Server:\\t\\t192.0.2.53\\nAddress:\\t192.0.2.53#53\\n\\nNon-authoritative answer:\\n"
             "Name:\\trelay.example\\nAddress: 3fff::1\\nName:\\trelay.example\\nAddress: 192.0.2.8\\n")
    gateway.write("/usr/lib/ipv6ctl/stock/nslookup", f"#!/bin/sh\nprintf '{other}'\n", 0o755)
    assert looked_up(gateway.run("nslookup", "relay.example").stdout) == "192.0.2.8"


def test_nslookup_reads_its_own_form_too(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    other = ("Server:    192.0.2.53\\nAddress 1: 192.0.2.53 ns.example\\n\\n"
             "Name:      relay.example\\nAddress 1: 3fff::1 six.example\\nAddress 2: 192.0.2.8 four.example\\n")
    gateway.write("/usr/lib/ipv6ctl/stock/nslookup", f"#!/bin/sh\nprintf '{other}'\n", 0o755)
    assert gateway.run("nslookup", "relay.example").stdout.splitlines()[2:] == [
        "Name:      relay.example", "Address 1: 192.0.2.8 relay.example", "Address 2: 3fff::1 relay.example"]


def test_nslookup_refuses_what_is_no_name(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    for name in (HOSTILE, "", "-type=any", "a\nb"):
        assert gateway.run("nslookup", name, check=False).returncode == 2
    assert not gateway.exists("/tmp/pwned")


def test_ecmh_notes_the_call_and_returns(gateway):
    gateway.run("/usr/lib/ipv6ctl/adapters/enable")
    gateway.run("ecmh", "-i", "eth0", "-d", "br-lan", timeout=5)
    assert gateway.read("/tmp/ecmh") == "from eth0 to br-lan\n"
    for arguments in ([], ["-i"], ["-i", "eth0"], ["-i", HOSTILE, "-d", "x"], ["-x", "y"]):
        assert gateway.run("ecmh", *arguments, check=False).returncode == 2
    assert gateway.read("/tmp/ecmh") == "from eth0 to br-lan\n"

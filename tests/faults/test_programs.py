"""Each outside program in each way of going wrong, under each command that calls it.

What a program prints and nobody reads changes nothing but the status in its line's log entry. What is read counts as
the answer, within its limits; then the run is compared with a clean one as far as the answer does not reach.
"""
import random
import re

import pytest

from clean import clean_run, ended_normally, programs, torn_lines, unexplained
from figures import LONG
from scenes import SCENES

SEED = 8
WAIT = "(pause 1000 ms)"
MEGABYTE = "/gw/megabyte"
# How it goes wrong: the shell text that stands in for the program, and the status of its line.
FAULTS = {
    "status 1": ("exit 1", 1),
    "status 127": ("exit 127", 127),
    "killed": ("kill -9 $$", 137),
    "hangs up": ("kill -HUP $$", 129),
    "closes at once": ("exec <&- >&- 2>&-", 0),
    "prints nothing": (":", 0),
    "a megabyte of lines": (f"/host/cat {MEGABYTE}.lines", 0),
    "a megabyte in one line": (f"/host/cat {MEGABYTE}.line", 0),
    "binary": (f"/host/cat {MEGABYTE}.binary", 0),
    "a megabyte of errors": (f"/host/cat {MEGABYTE}.lines >&2", 0),
}
FAULTY = [*FAULTS, "missing"]
# Programs whose output the program reads, by a pipe or by a file, and what no longer follows when it is of no use.
ANSWERS = {
    "wandataif.sh": "", "if2sect.sh": None, "uboot_env": "", "ps": r"/usr/sbin/dhclient|\(pause 1000 ms\)",
    "nslookup": None,
    "iptables-save": None, "ip": r"/usr/sbin/ip", "sha1sum": None, "sum": None, "cat": "", "ccfg_cli": "",
    "grep": r"/usr/sbin/dhclient|\(pause 1000 ms\)",
}
RECORDED = {"radvd", "dhcpd", "rdnssd", "ecmh", "ip", "ifconfig", "ip6tables", "ip6tables-restore", "iptables-save",
            "iptables-restore", "conntrack", "dhclient", "uboot_env", "sip_config", "resolv_update.sh",
            "dnsmasq_update.sh", "wandataif.sh", "if2sect.sh", "vorn_syslog_cli", "killall", "nslookup", "ps",
            "dnsmasq2", "cron"}
REAL = {"sed": "sed -i", "rm": "rm /tmp", "cp": "cp -rf", "sha1sum": "sha1sum ", "grep": "| grep",
        "ccfg_cli": "ccfg_cli "}
REAL_ASKED = {"sum": "generate_addr: ", "cat": "if_max_rs:"}


NEIGHBORS = ("zel_ip6neigh_update", "ip")
ENDLESS = ["a megabyte of lines", "a megabyte in one line", "binary"]


@pytest.mark.parametrize("fault", ENDLESS)
def test_a_neighbor_table_without_end(gateway, figures, fault):
    name, program = NEIGHBORS
    SCENES[name].furnish(gateway)
    spoil(gateway, program, fault)
    # Each line is compared with each entry, and every comparison is logged: a megabyte would be gigabytes of log. (The
    # list ends at 4,096 entries; the unit tests fill it.)
    for kind, data in OUTPUTS.items():
        gateway.place(f"{MEGABYTE}.{kind}").write_bytes(data[:1 << 15])
    run = SCENES[name].run(gateway)
    assert ended_normally(run)
    assert "fe80::c dev br-lan1 lladdr 00:11:22:33:44:0c uptime 900\n" in run.files["/tmp/.ip6_neigh"]
    figures.add("outside programs that go wrong", runs=1, lines=1)


def called_by(run):
    """The outside programs of a clean run."""
    found = {call[0].rsplit("/", 1)[-1] for call in run.calls} & RECORDED
    found |= {program for program, sign in REAL.items() if any(sign in line for line in run.lines)}
    found |= {program for program, sign in REAL_ASKED.items() if sign in run.log}
    if "/tmp/dhcp6d" in run.files:
        found.add("dhcpd")
    return sorted(found)


def lines_of(program, clean):
    """The clean run's shell lines that this program's status is the status of."""
    def is_last_of(line):
        words = re.split(r"[|;]", line)[-1].split()
        return words[0].rsplit("/", 1)[-1] == program and not line.endswith("&")
    return [line for line in clean.lines if is_last_of(line)]


def spoil(gateway, program, fault):
    for kind, data in OUTPUTS.items():
        gateway.place(f"{MEGABYTE}.{kind}").write_bytes(data)
    if fault == "missing":
        gateway.use_root(gateway.roots.without(program))
        return
    gateway.use_root(gateway.roots.with_recorder(program))
    if program == "ccfg_cli":
        gateway.mounts = ["--ro-bind", gateway.roots.plain / "usr/sbin/ip", "/usr/bin/ccfg_cli"]
    gateway.clear_script(program)
    gateway.script(program, sh=FAULTS[fault][0])


def _outputs():
    chance = random.Random(SEED)
    lines = b"".join(bytes(chance.choices(b"abcdefghijklmnopqrstuvwxyz0123456789:./ ", k=63)) + b"\n"
                     for _ in range(1 << 14))
    return {"lines": lines, "line": lines.replace(b"\n", b"-"), "binary": chance.randbytes(1 << 18)}


OUTPUTS = _outputs()


def no_control_characters(text):
    return all(ord(sign) >= 32 and ord(sign) != 127 for sign in text)


@pytest.mark.parametrize("name", SCENES)
def test_a_program_that_goes_wrong_stops_nothing_else(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    cases = [(program, fault) for program in called_by(clean) for fault in FAULTY
             if (name, program) != NEIGHBORS or fault not in ENDLESS]
    if not LONG:
        cases = random.Random(f"{SEED} {name}").sample(cases, min(10, len(cases)))
    for program, fault in cases:
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        spoil(gateway, program, fault)
        run = SCENES[name].run(gateway)
        case = (program, fault)
        if program in ANSWERS:
            assert_sound(run, clean, program, case)
        else:
            assert_only_the_status_differs(run, clean, program, fault, case)
        figures.add("outside programs that go wrong", runs=1, lines=len(run.lines))


def assert_only_the_status_differs(run, clean, program, fault, case):
    """For programs whose output nobody reads."""
    wanted_status = 127 if fault == "missing" else FAULTS[fault][1]
    own = lines_of(program, clean)
    assert run.lines == clean.lines, case
    for (status, line), (usual, _) in zip(run.shell, clean.shell):
        if line in own:
            assert status == wanted_status, (case, line)
        elif program == "dhcpd" and line.startswith("cp"):
            assert status in (usual, 1), (case, line)
        elif program in line:           # a part of the line, or in the background
            assert status in (usual, wanted_status), (case, line)
        elif line.startswith("/tmp/dhcp6d"):
            assert status in (usual, 127), (case, line)
        else:
            assert status == usual, (case, line)
    changed = [line for line in run.log_lines if line not in clean.log_lines]
    assert all(line.startswith("[zel_system]") for line in changed), case
    assert len(run.log_lines) == len(clean.log_lines), case
    assert (run.status, run.console, run.pauses) == (clean.status, clean.console, clean.pauses), case
    assert (run.store, run.addresses) == (clean.store, clean.addresses), case
    left_to_it = {"sed": ["/tmp/resolv.conf"], "rm": ["/tmp/rdnssd", "/tmp/host.log"],
                  "cp": ["/tmp/dhcp6d"], "dhcpd": ["/tmp/dhcp6d"]}.get(program, [])
    assert {path: text for path, text in run.files.items() if path not in left_to_it} == {
        path: text for path, text in clean.files.items() if path not in left_to_it}, case


def assert_sound(run, clean, program, case):
    """For programs that the program asks: the end is normal, what does not depend on the answer is as ever."""
    assert torn_lines_of_others(run) == [], case
    for key, value in run.store.items():
        assert no_control_characters(value), (case, key)
    assert run.store_before.keys() - run.store.keys() <= {
        f"extra_{what}_{number}@system" for what in ("sid", "gateway") for number in (1, 2)}, case
    if run.gave_up_waiting:             # the WAN interface is none that the records know: that is waited for
        assert program == "wandataif.sh" and "waninfo_main" in run.console, case
        return
    assert run.status == 1, case
    assert run.log_lines[-2:] == clean.log_lines[-2:], case
    if program == "if2sect.sh":         # another section has other settings, which lead elsewhere
        return
    seen, wanted = ([step for step in programs(one) if step.rsplit("/", 1)[-1] != program] for one in (run, clean))
    assert [step for step in unexplained(seen, wanted, ANSWERS[program]) if step != "not expected: " + WAIT] == [], case


def torn_lines_of_others(run):
    """Torn log lines, those aside that show a line of a file as it is."""
    return [line for line in torn_lines(run) if "zel_ipcp_up" not in run.log]


# --- the device's own rules, which are a script that the shell reads

RULES = ". /lib/firewall/firewallv6.user"
SCRIPTS = {"exit 3\n": 3, "return 4\n": 4, "kill -9 $$\n": 137, "no-such-program\n": 127, "if then\n": 2, "": 0,
           "exec <&- >&- 2>&-\n": 0, None: 2}


@pytest.mark.parametrize("name", [name for name in SCENES if name in (
    "wan6c_restart", "ipv6rd_restart", "ipv6_lan_restart", "zel_dhcp6c_update EFFECT6")])
def test_rules_of_the_device_that_go_wrong_stop_nothing_else(new_gateway, figures, name):
    clean = clean_run(new_gateway, name)
    at = clean.lines.index(RULES)
    for text, status in SCRIPTS.items():
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        if text is None:
            gateway.mounts = ["--tmpfs", "/lib/firewall"]
        else:
            gateway.file("/lib/firewall/firewallv6.user", text)
        run = SCENES[name].run(gateway)
        assert run.shell == [*clean.shell[:at], (status, RULES), *clean.shell[at + 1:]], text
        assert (run.status, run.store, run.files, run.console) == (
            clean.status, clean.store, clean.files, clean.console), text
        assert run.switches == clean.switches, text
        figures.add("outside programs that go wrong", runs=1, lines=len(run.lines))

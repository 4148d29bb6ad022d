"""The device's small scripts, in a root of their own with a plain store."""

import re

HOSTILE = "a'b\"c $(touch /tmp/pwned) `touch /tmp/pwned`; touch /tmp/pwned"


def test_wan_interface_is_the_stored_one(gateway):
    gateway.store(wandataif__system="ppp0")
    assert gateway.run("wandataif.sh").stdout == "ppp0\n"


def test_wan_interface_without_a_setting_is_eth0(gateway):
    assert gateway.run("wandataif.sh").stdout == "eth0\n"


def test_wan_interface_that_is_no_name_counts_as_none(gateway):
    for name in ("../../x", "a b", HOSTILE, "sixteencharacter", ".."):
        gateway.store(wandataif__system=name)
        assert gateway.run("wandataif.sh").stdout == "eth0\n"
    assert not gateway.exists("/tmp/pwned")


def test_section_comes_from_the_table(gateway):
    gateway.store(if2sect_ppp0__system="wan200", if2sect_eth0__system="wan101")
    assert gateway.run("if2sect.sh", "ppp0").stdout == "wan200\n"
    assert gateway.run("if2sect.sh", "eth0").stdout == "wan101\n"


def test_section_of_an_unknown_interface_is_wan100(gateway):
    gateway.store(if2sect_ppp0__system="wan200")
    for arguments in (["eth9"], [""], [], [HOSTILE], ["ppp0@system=\nx"]):
        assert gateway.run("if2sect.sh", *arguments).stdout == "wan100\n"
    assert not gateway.exists("/tmp/pwned")


def test_boot_variables_are_read_from_the_file(gateway):
    gateway.write("/etc/config/uboot.env", "serial=old\nserial=S 1=2\nxserial=no\nhw_version=7")
    assert gateway.run("uboot_env", "--get", "--name", "serial").stdout == "S 1=2\n"
    assert gateway.run("uboot_env", "--get", "--name", "hw_version").stdout == "7\n"


def test_missing_boot_variable_prints_nothing_and_fails(gateway):
    for name in ("eth1addr", "seria"):
        done = gateway.run("uboot_env", "--get", "--name", name, check=False)
        assert (done.stdout, done.returncode) == ("", 1)
    assert gateway.run("uboot_env", "--set", "--name", "serial", check=False).returncode == 2
    assert gateway.run("uboot_env", "--get", "--name", ".*", check=False).returncode == 2


def test_delivered_boot_variables_give_a_serial_number(gateway):
    assert re.fullmatch(r"\S+\n", gateway.run("uboot_env", "--get", "--name", "serial").stdout)


def test_an_event_is_one_line(gateway):
    gateway.run("vorn_syslog_cli", "addEventCode", "-1", "P001", "3fff::1")
    gateway.run("vorn_syslog_cli", "addEventCode", "-1", "P007", "3fff::1 3fff::2\nP999 forged")
    gateway.run("vorn_syslog_cli", "addEventCode", "-1", "P007", HOSTILE)
    lines = [line.split(" ", 1) for line in gateway.read("/tmp/events").splitlines()]
    assert [text for _, text in lines] == ["P001 3fff::1", "P007 3fff::1 3fff::2?P999 forged", "P007 " + HOSTILE]
    assert all(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", time) for time, _ in lines)
    assert not gateway.exists("/tmp/pwned")


def test_an_event_goes_to_syslog_when_there_is_one(gateway):
    gateway.sh("mount -t tmpfs none /dev && mknod -m 666 /dev/null c 1 3 && busybox syslogd -O /tmp/messages")
    gateway.run("vorn_syslog_cli", "addEventCode", "-1", "P005", "3fff:1::/56")
    log = "/tmp/messages"
    gateway.wait_for(lambda: gateway.exists(log) and "event: P005 3fff:1::/56" in gateway.read(log))
    assert gateway.read("/tmp/events").endswith(" P005 3fff:1::/56\n")


def test_an_event_does_not_follow_a_link(gateway):
    gateway.sh("ln -s /etc/config/uboot.env /tmp/events")
    before = gateway.read("/etc/config/uboot.env")
    assert gateway.run("vorn_syslog_cli", "addEventCode", "-1", "P001", "x", check=False).returncode == 1
    assert gateway.read("/etc/config/uboot.env") == before


def test_voice_calls_are_recorded_with_their_arguments(gateway):
    gateway.run("sip_config", "SIP_CORE_SetVcIPAddr", "10", "3fff::1", "3fff::2")
    gateway.run("sip_config", "SIP_CORE_SetVcIPAddr", "10", "", "")
    gateway.run("sip_config", "SIP_CORE_SetVcIPAddr", "10", HOSTILE, "a\\b\nc")
    assert gateway.read("/tmp/sip_config").splitlines() == [
        'SIP_CORE_SetVcIPAddr "10" "3fff::1" "3fff::2"',
        'SIP_CORE_SetVcIPAddr "10" "" ""',
        'SIP_CORE_SetVcIPAddr "10" "%s" "a\\\\b?c"' % HOSTILE.replace('"', '\\"'),
    ]
    assert not gateway.exists("/tmp/pwned")


NEIGHBOR_LINE = "*/1 * * * * /usr/sbin/zel_ip6neigh_update"


def test_a_cron_line_is_registered_once(gateway):
    for _ in range(2):
        gateway.run("/etc/init.d/cron", "add", "zel_ip6neigh_update", NEIGHBOR_LINE)
        assert gateway.read("/etc/crontabs/root") == f"# cron: zel_ip6neigh_update\n{NEIGHBOR_LINE}\n"


def test_an_unchanged_cron_line_writes_nothing(gateway):
    gateway.run("/etc/init.d/cron", "add", "a", "1 2 * * * x")
    before = gateway.path("/etc/crontabs/root").stat()
    gateway.run("/etc/init.d/cron", "add", "a", "1 2 * * * x")
    after = gateway.path("/etc/crontabs/root").stat()
    assert (before.st_ino, before.st_mtime_ns) == (after.st_ino, after.st_mtime_ns)


def test_a_cron_name_is_replaced_and_the_others_stay(gateway):
    gateway.run("/etc/init.d/cron", "add", "a", r"1 2 * * * x \n & '%")
    gateway.sh("echo '5 5 * * * by hand' >>/etc/crontabs/root")
    gateway.run("/etc/init.d/cron", "add", "b", "3 4 * * * y")
    gateway.run("/etc/init.d/cron", "add", "a", r"9 9 * * * \t new")
    assert gateway.read("/etc/crontabs/root").splitlines() == [
        "# cron: a", r"9 9 * * * \t new", "5 5 * * * by hand", "# cron: b", "3 4 * * * y"]
    gateway.run("/etc/init.d/cron", "del", "a")
    assert gateway.read("/etc/crontabs/root").splitlines() == ["5 5 * * * by hand", "# cron: b", "3 4 * * * y"]


def test_cron_refuses_what_would_be_more_than_one_line(gateway):
    for arguments in (["add", "a", "x\n* * * * * evil"], ["add", "a b", "x"], ["add", "a"], ["add", "a", ""], []):
        assert gateway.run("/etc/init.d/cron", *arguments, check=False).returncode == 2
    assert not gateway.exists("/etc/crontabs/root")


def test_cron_calls_at_the_same_time_lose_no_line(gateway):
    gateway.sh("for n in 1 2 3 4 5 6 7 8; do /etc/init.d/cron add job$n \"$n * * * * x\" & done; wait")
    lines = gateway.read("/etc/crontabs/root").splitlines()
    assert sorted(lines) == sorted([f"# cron: job{n}" for n in range(1, 9)] + [f"{n} * * * * x" for n in range(1, 9)])


def test_cron_daemon_starts_once_and_stops(gateway):
    gateway.run("/etc/init.d/cron", "start")
    gateway.run("/etc/init.d/cron", "start")
    assert gateway.sh("grep -lsa '^busybox.crond.-f' /proc/[0-9]*/cmdline | wc -l").stdout == "1\n"
    pid = gateway.read("/var/run/crond-ipv6ctl.pid").strip()
    assert "crond" in gateway.read(f"/proc/{pid}/cmdline")
    gateway.run("/etc/init.d/cron", "stop")
    gateway.wait_for(lambda: not gateway.exists(f"/proc/{pid}"))


def test_the_users_firewall_file_can_be_sourced(gateway):
    assert gateway.sh(". /lib/firewall/firewallv6.user").stdout == ""


def test_factory_settings_are_what_the_store_accepts_and_what_the_program_needs(gateway):
    lines = gateway.read("/etc/config/ccfg.factory").splitlines()
    pattern = re.compile(r"([A-Za-z0-9_.-]{1,63})@([A-Za-z0-9_.-]{1,63})=([ -~]{0,1023})")
    settings = {}
    for line in lines:
        key, section, value = pattern.fullmatch(line).groups()
        assert (key, section) not in settings
        settings[key, section] = value
    for key, lan, value in (("ip6_gua_sid", "lan0", "01"), ("ip6_ula_sid", "lan0", "01"), ("ip6_gua_sid", "lan1", "02"),
                            ("ip6_ula_sid", "lan1", "02"), ("ip6_ula_eb", "lan0", "1"), ("ip6_ula_eb", "lan1", "1"),
                            ("ip6_pfxlen", "lan0", "64"), ("ip6_pfxlen", "lan1", "64"),
                            ("ip6_proto", "wan100", "dhcp")):
        assert settings[key, lan] == value
    # Without a type there is no client identifier, and no client.
    assert settings["ip6_duid_type", "wan100"] in ("1", "2", "3")
    for lan in ("lan0", "lan1"):
        assert 0 < int(settings["ip6_ula_prefer", lan]) <= int(settings["ip6_ula_valid", lan])
    assert int(settings["ip6_dhcp_prefer", "lan0"]) <= int(settings["ip6_dhcp_valid", "lan0"])
    assert settings["if2sect_" + settings["wandataif", "system"], "system"] == "wan100"


def test_the_summed_file_is_there(gateway):
    assert re.match(r"\d+ ", gateway.run("sum", "/etc/config/.glbcfg").stdout)

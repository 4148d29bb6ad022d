"""What reaches /dev/console, and what happens without it."""


def test_a_message_is_cut_at_511_characters(gateway):
    name = "x" * 600
    run = gateway.run("zel_ifconfig", name, "fd00::1", "64", "1")
    assert run.console == ("[set_ipv6_addr] if_name[" + name)[:511]
    assert run.messages("set_ipv6_addr")[0] == f"if_name[{name}] fd00::1 64 1"


def test_a_message_of_511_characters_is_whole(gateway):
    name = "x" * (511 - len("[set_ipv6_addr] if_name[] fd00::1 64 1\n"))
    run = gateway.run("zel_ifconfig", name, "fd00::1", "64", "1")
    assert run.console == f"[set_ipv6_addr] if_name[{name}] fd00::1 64 1\n"
    assert len(run.console) == 511


def test_a_message_of_512_characters_loses_its_line_end(gateway):
    name = "x" * (512 - len("[set_ipv6_addr] if_name[] fd00::1 64 1\n"))
    run = gateway.run("zel_ifconfig", name, "fd00::1", "64", "1")
    assert run.console == f"[set_ipv6_addr] if_name[{name}] fd00::1 64 1"


def test_the_end_of_a_cut_message_brings_no_note(gateway):
    run = gateway.run("zel_ifconfig", "x" * 2000, "fd00::1", "64", "1")
    assert len(run.console) == 511
    assert "NOTE" not in run.console


def test_percent_signs_of_a_value_are_printed_as_they_are(gateway):
    run = gateway.run("zel_ifconfig", "%s%n%d", "%x", "64", "1")
    assert run.console == "[set_ipv6_addr] if_name[%s%n%d] %x 64 1\n"
    assert run.messages("set_ipv6_addr")[0] == "if_name[%s%n%d] %x 64 1"
    assert run.messages("main")[1] == "@[set_ip6addr][/usr/sbin/zel_ifconfig %s%n%d %x 64 1]"


def test_without_a_console_the_command_does_all_its_work(gateway):
    gateway.store["ip6_proto@wan100"] = "static"
    gateway.store["ip6_gua_sid@lan0"] = "123"
    gateway.folder("/dev/console")
    run = gateway.run("zel_ipv6cp_up")
    assert run.status == 1
    assert run.console == ""
    assert run.calls_of("ip6tables") == [["ip6tables", "-F"]]
    assert run.store["ip6_gua_sid@lan0"] == "01"
    assert run.messages("main")[-1] == "^_^[/usr/sbin/zel_ipv6cp_up] ERROR_NONE, end.\n"


def test_a_console_that_is_a_plain_file_keeps_the_last_message(gateway):
    gateway.remove("/dev/console")
    gateway.file("/dev/console", "old\n")
    gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", "1")
    assert gateway.read("/dev/console") == "[set_ipv6_addr] if_name[br-lan] fd00::1 64 1\n"


def test_a_line_of_the_loading_is_appended_to_a_console_that_is_a_plain_file(gateway):
    gateway.remove("/dev/console")
    gateway.file("/dev/console", "old\n")
    gateway.run("ipv6rd_restart")
    assert gateway.read("/dev/console") == "old\n[prepare_parm][1000] \x1b[1;31m Auto_gid (0) \x1b[0m\n"


def test_a_shell_line_that_cannot_reach_the_console_is_logged_with_its_status(gateway):
    gateway.folder("/dev/console")
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    run = gateway.run("zel_resolv_update")
    status, line = run.shell[0]
    assert line == "echo other scripts call zel_resolv_update. >/dev/console"
    assert status != 0
    assert run.shell[-1] == (0, "/etc/init.d/dnsmasq2 restart")

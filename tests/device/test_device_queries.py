"""What the device is asked: the WAN interface and its section, the serial number, MAC and IPv4 addresses."""
import pytest


def test_the_answers_are_logged_under_the_name_of_each_query(gateway):
    gateway.wan("eth4.7", sect="wan7")
    gateway.script("uboot_env", "--get", "--name", "serial", stdout="S1234567890\n")
    run = gateway.run("ipv6rd_restart")
    assert run.messages("get_wan_ifname") == ["wandataif is [eth4.7]"]
    assert run.messages("get_wan_sect") == ["wan_sect is [wan7]"]
    assert run.messages("get_serial_number") == ["SerialNumber is S1234567890"]
    assert run.messages("get_mac_addr") == ["br-lan1 macaddr is [00:11:22:33:44:66]",
                                            "br-lan macaddr is [00:11:22:33:44:55]"]
    assert run.calls[:3] == [["uboot_env", "--get", "--name", "serial"], ["wandataif.sh"], ["if2sect.sh", "eth4.7"]]


def test_the_line_end_of_an_answer_is_trimmed(gateway):
    gateway.script("wandataif.sh", stdout="wan100\n")
    run = gateway.run("ipv6rd_restart")
    assert "[get_wan_ifname][1000] wandataif is [wan100]" in run.log_lines
    assert run.calls_of("if2sect.sh") == [["if2sect.sh", "wan100"]]


@pytest.mark.parametrize("printed", [" \t\r\nppp0\r\n\t ", "ppp0", "\n\nppp0\n\n"])
def test_blanks_tabs_and_line_ends_are_trimmed_from_both_ends(gateway, printed):
    gateway.script("wandataif.sh", stdout=printed)
    gateway.script("if2sect.sh", stdout=printed.replace("ppp0", "wan9"))
    gateway.script("uboot_env", stdout=printed.replace("ppp0", "SN 9"))
    run = gateway.run("ipv6rd_restart")
    assert run.messages("get_wan_ifname") == ["wandataif is [ppp0]"]
    assert run.messages("get_wan_sect") == ["wan_sect is [wan9]"]
    assert run.messages("get_serial_number") == ["SerialNumber is SN 9"]


def test_long_answers_are_cut_to_their_capacity(gateway):
    gateway.script("wandataif.sh", stdout="i" * 40)
    gateway.script("if2sect.sh", stdout="s" * 40)
    gateway.script("uboot_env", stdout="n" * 80)
    run = gateway.run("ipv6rd_restart")
    assert run.messages("get_wan_ifname") == [f"wandataif is [{'i' * 31}]"]
    assert run.messages("get_wan_sect") == [f"wan_sect is [{'s' * 31}]"]
    assert run.messages("get_serial_number") == [f"SerialNumber is {'n' * 63}"]
    assert run.calls_of("if2sect.sh") == [["if2sect.sh", "i" * 31]]


def test_an_answer_counts_whatever_the_status_of_its_program(gateway):
    gateway.script("wandataif.sh", stdout="ppp0\n", status=3)
    gateway.script("if2sect.sh", stdout="wan5\n", status=1)
    gateway.script("uboot_env", stdout="SN5\n", status=255)
    run = gateway.run("ipv6rd_restart")
    assert run.messages("get_wan_ifname") == ["wandataif is [ppp0]"]
    assert run.messages("get_wan_sect") == ["wan_sect is [wan5]"]
    assert run.messages("get_serial_number") == ["SerialNumber is SN5"]


def test_an_empty_answer_is_taken_as_it_is(gateway):
    gateway.script("wandataif.sh")
    gateway.script("if2sect.sh")
    gateway.script("uboot_env")
    run = gateway.run("ipv6rd_restart")
    assert run.messages("get_wan_ifname") == ["wandataif is []"]
    assert run.messages("get_wan_sect") == ["wan_sect is []"]
    assert run.messages("get_serial_number") == ["SerialNumber is "]
    assert run.calls_of("if2sect.sh") == [["if2sect.sh"]]
    assert "ip6_proto():dhcp" in run.messages("prepare_parm")


def test_queries_that_cannot_be_run_are_logged_and_the_section_keeps_its_default(gateway):
    gateway.store["ip6_proto@wan100"] = "static"
    gateway.shell = False
    run = gateway.run("ipv6rd_restart")
    assert run.status == 1
    assert run.messages("get_serial_number") == ["osSystem_GetOutput fail."]
    assert run.messages("get_wan_ifname") == ["osSystem_GetOutput fail."]
    assert run.messages("get_wan_sect") == ["osSystem_GetOutput fail."]
    loaded = run.messages("prepare_parm")
    assert "SerialNumber is " in loaded
    assert "wandataif is []" in loaded
    assert "wan0_sect is [wan100]" in loaded
    assert "ip6_proto(wan100):static" in loaded


def test_a_mac_is_printed_in_lower_case(gateway):
    gateway.links["br-lan"] = "00:1A:2B:3C:4D:5E"
    run = gateway.run("ipv6rd_restart")
    assert run.messages("get_mac_addr")[1] == "br-lan macaddr is [00:1a:2b:3c:4d:5e]"


def test_every_octet_of_a_mac_has_two_lower_case_digits(gateway):
    gateway.links["br-lan1"] = "FA:0B:CD:0E:EF:AB"
    run = gateway.run("ipv6rd_restart")
    assert run.messages("get_mac_addr")[0] == "br-lan1 macaddr is [fa:0b:cd:0e:ef:ab]"


def test_a_missing_interface_has_no_mac(gateway):
    del gateway.links["br-lan"]
    run = gateway.run("ipv6rd_restart")
    assert run.status == 1
    assert run.messages("get_mac_addr") == ["br-lan1 macaddr is [00:11:22:33:44:66]", "SIOCGIFHWADDR ioctl error."]
    assert run.store["ip6_gua_hostid@lan0"] == "0200:00FF:FE00:0000"


@pytest.fixture
def tunnel(gateway):
    gateway.store.update({
        "ip6_proto@wan100": "tunnel", "ip6_tunnel_type@wan100": "2", "ip6_6rd_v4mask@wan100": "0",
        "ip6_6rd_pfxlen@wan100": "32", "ip6_6rd_prefix@wan100": "2001:db8::",
        "ip6_6rd_border_relay@wan100": "192.0.2.254",
    })
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    return gateway


PARAMETERS = ("str_ip4addr[%s], str_prefix[2001:db8::], str_pfxlen[32], str_relay[192.0.2.254], str_v4mask[0]")


def test_the_ipv4_address_of_the_wan_is_read_from_the_kernel(tunnel):
    tunnel.ip4["ppp0"] = "203.100.113.254/24"
    run = tunnel.run("ipv6rd_restart")
    assert run.messages("get_ip4_addr") == []
    assert run.messages("start_6rd")[0] == PARAMETERS % "203.100.113.254"


def test_an_interface_without_an_ipv4_address_is_logged(tunnel):
    run = tunnel.run("ipv6rd_restart")
    assert run.status == 1
    assert run.messages("get_ip4_addr") == ["ioctl SIOCGIFADDR error."]
    assert run.messages("start_6rd")[0] == PARAMETERS % ""


def test_an_interface_name_is_cut_to_fifteen_characters(tunnel):
    tunnel.wan("abcdefghijklmno")
    tunnel.ip4["abcdefghijklmno"] = "192.0.2.1/24"
    tunnel.script("wandataif.sh", stdout="abcdefghijklmnopq\n")
    run = tunnel.run("ipv6rd_restart")
    assert run.messages("get_wan_ifname")[0] == "wandataif is [abcdefghijklmnopq]"
    assert run.messages("get_ip4_addr") == []
    assert run.messages("start_6rd")[0] == PARAMETERS % "192.0.2.1"


def test_an_answer_with_a_control_character_inside_counts_as_absent(gateway):
    gateway.script("wandataif.sh", stdout="ppp\x010\n")
    gateway.script("uboot_env", stdout="SN1\nSN2\n")
    run = gateway.run("ipv6rd_restart")
    assert run.status == 1
    assert "SerialNumber is " in run.messages("prepare_parm")
    assert "wandataif is []" in run.messages("prepare_parm")
    assert run.calls_of("if2sect.sh") == [["if2sect.sh"]]
    assert "\x01" not in run.log
    for query in ("get_serial_number", "get_wan_ifname"):
        assert "control character" in run.messages(query)[0]

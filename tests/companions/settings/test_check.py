"""`ccfg_cli check` finds what is wrong with settings, and nothing else."""

import pytest

from settings_tool import GOOD

RADVD_REFUSES = "radvd refuses its whole file; make it shorter"


def test_good_settings_have_no_findings(tool):
    assert tool.findings() == []


@pytest.mark.parametrize("line, finding", [
    ("ip6_addr@wan100=3fff::g", 'ip6_addr@wan100: "3fff::g" is no IPv6 address'),
    ("vlan7_dns1@system=10.0.0.256", 'vlan7_dns1@system: "10.0.0.256" is no IPv4 address'),
    ("on-demand@wan100=yes", 'on-demand@wan100: "yes" is neither 0 nor 1'),
    ("mtu@wan100=1279", 'mtu@wan100: "1279" is no number from 1280 to 65535'),
    ("mtu@wan100=-1", 'mtu@wan100: "-1" is no number from 1280 to 65535'),
    ("ip6_proto@wan100=pppoe", 'ip6_proto@wan100: "pppoe" is none of: dhcp static tunnel'),
    ("ip6_ula_gid@lan0=12:3456:789", 'ip6_ula_gid@lan0: "12:3456:789" is no global id xx:xxxx:xxxx'),
    ("ip6_ula_sid@lan0=123", 'ip6_ula_sid@lan0: "123" is not one or two hexadecimal digits'),
    ("ip6_gua_hostid@lan1=1:2:3:4",
     'ip6_gua_hostid@lan1: "1:2:3:4" is no interface identifier xxxx:xxxx:xxxx:xxxx'),
    ("ip6_duid@wan100=00:03:1", 'ip6_duid@wan100: "00:03:1" is no list of octets with colons between'),
    ("ip6_6rd_info@wan100=0 32 3fff::", 'ip6_6rd_info@wan100: "0 32 3fff::" is not: IPv4 mask length, prefix length, '
                                        "prefix, border relay"),
    ("ip6_6rd_border_relay@wan100=-x", 'ip6_6rd_border_relay@wan100: "-x" is neither an IPv4 address nor a host name'),
    ("wandataif@system=a/b", 'wandataif@system: "a/b" is no name of an interface'),
    ("product_class@system=" + "x" * 32, f'product_class@system: "{"x" * 32}" is cut after 31 characters'),
    ("ip6_dns@wan100=3fff::1,3fff::2",
     'ip6_dns@wan100: "3fff::1,3fff::2" is no list of IPv6 addresses with blanks between'),
    ("ip6_extra_sid@system=10;;11", 'ip6_extra_sid@system: "10;;11" is no list of subnet ids with semicolons between'),
])
def test_a_value_of_the_wrong_kind_is_told(tool, line, finding):
    assert tool.findings(line) == [finding]


@pytest.mark.parametrize("line", [
    "ip6_addr@wan100=", "ip6_addr@wan100=3fff::1", "ip6_addr@lan0=3FFF:0000:0000:0001:0211:22FF:FE33:4455",
    "mtu@wan100=1280", "ip6_6rd_info@wan100=0 32 3fff:: 192.0.2.254", "ip6_6rd_info@wan100=0 32 3fff:: br.isp.example",
    "ip6_ula_gid@lan0=12:3456:789a", "ip6_duid@wan100=00:03:00:01:02:00:00:00:00:01", "ip6_dns@wan100=3fff::1 3fff::2",
    "if2sect_eth7@system=wan7", "ip6_extra_sid@system=10;11", "ip6_domain@wan100=isp.example",
    "dns@wan100=192.0.2.1", "dns@wan100=3fff:100:53::2",
    # A longer one is stored like this.
    "dns@wan100=2001:4860:4860:", "sdns@wan100=2001:4860:4860:",
])
def test_a_value_of_the_right_kind_is_not(tool, line):
    assert tool.findings(line) == []


@pytest.mark.parametrize("line, finding", [
    ("ip6_adr@wan100=", "ip6_adr@wan100: nothing reads this key; did you mean ip6_addr?"),
    ("colour@system=red", "colour@system: nothing reads this key"),
    ("mtu@lan0=1500", "mtu@lan0: nothing reads this key in this section, only in the WAN's section"),
    ("mtu@dsl=1500", "mtu@dsl: nothing reads this key in this section, only in the WAN's section"),
    ("ip6_addr@system=", "ip6_addr@system: nothing reads this key in this section, only in lan0, lan1, the WAN's section"),
    ("ip6_mtu@wan100=1500", "ip6_mtu@wan100: nothing reads this key; did you mean mtu?"),
    ("extra_sid_0@system=10", "extra_sid_0@system: nothing reads this key; did you mean extra_sid_N?"),
])
def test_a_name_that_nothing_reads_is_told(tool, line, finding):
    assert tool.findings(line) == [finding]


def test_the_section_of_the_wan_follows_its_interface(tool):
    assert tool.findings("wandataif@system=ppp0", "if2sect_ppp0@system=dsl", "if2sect_eth0@system=wan100",
                         "mtu@dsl=1500", "ip6_duid_type@dsl=3") == []


def test_a_section_that_no_interface_has_is_told_where_the_sections_are_known(tool):
    told = "no interface has this section: the WAN's is wan7 (wandataif@system and if2sect_IFNAME@system)"
    known = ("if2sect_eth0@system=wan7", "ip6_duid_type@wan7=3", "if2sect_eth1@system=wan100")
    assert tool.findings(*known) == []
    assert tool.findings(*known, "mtu@wan=1500") == [f"mtu@wan: {told}"]
    # A device that has a script of its own in the place of if2sect.sh.
    assert tool.findings("mtu@wan3=1500") == []


@pytest.mark.parametrize("lines, finding", [
    (["ip6_ula_eb@lan1=1", "ip6_ula_eb@lan0=0", "ip6_ula_prefer@lan1=10", "ip6_ula_valid@lan1=9"],
     f"ip6_ula_prefer@lan1: 10 s are longer than ip6_ula_valid (9 s): {RADVD_REFUSES}"),
    (["ip6_ula_eb@lan0=1", "ip6_ula_valid@lan0=600"],
     f"ip6_ula_prefer@lan0: 604800 s are longer than ip6_ula_valid (600 s): {RADVD_REFUSES}"),
    (["ip6_lease@wan100=700", "ip6_life@wan100=600"],
     f"ip6_lease@wan100: 700 s are longer than ip6_life (600 s): {RADVD_REFUSES}"),
    (["ip6_domain@wan100=a.example b.example"],
     "ip6_domain@wan100: several domains in one text: the DHCPv6 server hands them out as one name that no host takes; "
     "one domain works"),
    (["ip6_dns2@system=3fff::1"], "ip6_dns2@system: counts only together with ip6_dns1; set that one first"),
    (["ip6_gua_sid@lan1=1"],
     "ip6_gua_sid@lan1: both bridges get subnet 1 of the delegated /56: hosts of the second are cut off; choose ids "
     "that differ within 255"),
    (["ip6_gua_sid@lan1=20", "ip6_dhcp6c_prefix_length@system=60"],
     "ip6_gua_sid@lan1: 20 is more than the delegated /60 has room for, and counts as 4; choose one up to 15"),
    (["ip6_gua_sid@lan1=03", "ip6_gua_sid@lan0=00", "ip6_dhcp6c_prefix_length@system=63"],
     "ip6_gua_sid@lan1: 3 is more than the delegated /63 has room for, and counts as 1; choose one up to 1"),
    (["ip6_gua_sid@lan1=05", "ip6_dhcp6c_prefix_length@system=62"],
     "ip6_gua_sid@lan1: both bridges get subnet 1 of the delegated /62: hosts of the second are cut off; choose ids "
     "that differ within 3"),
    (["ip6_dhcp6c_prefix_length@system=64"],
     "ip6_dhcp6c_prefix_length@system: a /64 has room for one bridge: both carry the same prefix, and hosts of the "
     "second are cut off; ask the provider for a /60 or shorter"),
    (["ip6_gua_sid@lan1=0F"], 'ip6_gua_sid@lan1: is read as a decimal number, so "0F" counts as 0; use digits only'),
    (["ip6_ula_eb@lan0=1", "ip6_ula_eb@lan1=1", "ip6_ula_sid@lan0=03", "ip6_ula_sid@lan1=03"],
     "ip6_ula_sid@lan1: both bridges get the same unique-local prefix; choose another id"),
    (["ip6_dhcp6c_prefix_addr@system=2001:db8:1::", "ip6_dhcp6c_prefix_length@system=56"],
     "ip6_dhcp6c_prefix_addr@system: lies in 2001:db8::/32, for documentation: the firewall forwards none of it"),
    (["ip6_prefix@lan0=fec0:0:0:1::"],
     "ip6_prefix@lan0: lies in fec0::/10, for site-local addresses (RFC 3879): the firewall forwards none of it"),
    (["ip6_prefix@lan1=fd12:3456:789a:1::"],
     "ip6_prefix@lan1: lies in fd00::/8, for unique-local addresses: the firewall forwards none of it"),
    (["ip6_prefix@lan1=2001:1f::"],
     "ip6_prefix@lan1: lies in 2001:10::/28, for an expired experiment (RFC 4843): the firewall forwards none of it"),
    (["ip6_dhcp6c_prefix_mode@system=1"],
     "ip6_dhcp6c_prefix_mode@system: the LANs get nothing of a prefix that is not stored; 0 stores it"),
    (["ip6_pfxlen@lan1=0"],
     "ip6_pfxlen@lan1: is also the length of the unique-local prefix that is advertised, and radvd refuses 0; set 64"),
    (["ip6_pfxlen@lan1=48"],
     "ip6_pfxlen@lan1: hosts make no address out of an advertised /48 (RFC 4862, section 5.5.3); set 64"),
    (["ip6_gua_sid@lan0=zz"], 'ip6_gua_sid@lan0: "zz" is not one or two hexadecimal digits'),
    (["ip6_dhcp6c_prefix_addr@system=3fff::"],
     "ip6_dhcp6c_prefix_length@system: a delegated prefix without a length gives the LANs nothing"),
    (["ip6_prefix@lan1=3fff:1:2:3::5"],
     "ip6_prefix@lan1: has bits behind its length of 64: dhcpd refuses its whole file; set 3fff:1:2:3::"),
    (["ip6_prefix@lan0=3fff:1:2:3:8000::"],
     "ip6_prefix@lan0: has bits behind its length of 64: dhcpd refuses its whole file; set 3fff:1:2:3::"),
    (["num_extra_routes@system=2"], "num_extra_routes@system: counts only with add_static_route=1"),
    (["ip6_filter_list@wan100=web;3fff::1;tcp;80;80"],
     "ip6_filter_cnt@wan100: is 0: none of the records in ip6_filter_list is in force"),
    (["ip6_filter_cnt@wan100=1"], "ip6_filter_list@wan100: is empty: nothing is opened"),
    (["ip6_filter_cnt@wan100=1", "ip6_filter_list@wan100=web;3fff::x;tcp;80;80"],
     "ip6_filter_list@wan100: record 1 (web), range 1 is left out: its host is no IPv6 address"),
    (["ip6_filter_cnt@wan100=1", "ip6_filter_list@wan100=a;3fff::1;b;1;2/b;3fff::1;tcp;1;1;udp;9;8"],
     "ip6_filter_list@wan100: record 2 (b), range 2 is left out: its ports are no range within 1 to 65535"),
    (["ip6_filter_cnt@wan100=1", "ip6_filter_list@wan100=ping;3fff::1;icmp;1;2"],
     "ip6_filter_list@wan100: record 1 (ping), range 1 is left out: its protocol is neither tcp nor udp nor both"),
    (["ip6_filter_cnt@wan100=1", "ip6_filter_list@wan100=web;2001:db8::5;tcp;80;80"],
     "ip6_filter_list@wan100: record 1 (web) opens nothing: its host lies in 2001:db8::/32, for documentation, and the "
     "firewall forwards none of it"),
    (["ip6_filter_cnt@wan100=1", "ip6_filter_list@wan100=web;fd12:3456::5;tcp;80;80"],
     "ip6_filter_list@wan100: record 1 (web) opens nothing: its host lies in fd00::/8, for unique-local addresses, and "
     "the firewall forwards none of it"),
    (["ip6_filter_cnt@wan100=1", "ip6_filter_list@wan100=name;3fff::1"],
     "ip6_filter_list@wan100: record 1 (name) opens nothing: it has no pair of ports"),
    (["ip6_filter_cnt@wan100=21", "ip6_filter_list@wan100=" + "/".join(["a;3fff::1;b;1;1"] * 21)],
     "ip6_filter_list@wan100: has more than 20 records: the others are not in force"),
])
def test_what_daemons_refuse_or_hosts_suffer_from_is_told(tool, lines, finding):
    assert [found for found in tool.findings(*lines) if found != 'ip6_filter_cnt@wan100: "21" is no number from 0 to 20'
            ] == [finding]


def test_a_static_wan_needs_its_values(tool):
    found = tool.findings("ip6_proto@wan100=static")
    assert [line.split(": ")[0] for line in found] == ["ip6_addr@wan100", "ip6_pfxlen@wan100", "ip6_gateway@wan100",
                                                       "ip6_prefix@lan0", "ip6_prefix@lan1",
                                                       "ip6_dhcp6c_prefix_addr@system"]
    by_hand = ("ip6_proto@wan100=static", "ip6_addr@wan100=3fff::2", "ip6_pfxlen@wan100=64", "ip6_gateway@wan100=fe80::1",
               "ip6_prefix@lan0=3fff:0:0:1::", "ip6_prefix@lan1=3fff:0:0:2::")
    assert tool.findings(*by_hand) == [
        "ip6_dhcp6c_prefix_addr@system: nothing is delegated to a static WAN: set the prefix that both bridges' prefixes are in, and "
        "its length; ip6tables-restore refuses the whole ruleset without"]
    delegated = ("ip6_dhcp6c_prefix_addr@system=3fff::", "ip6_dhcp6c_prefix_length@system=56")
    assert tool.findings(*by_hand, *delegated) == []
    assert tool.findings(*by_hand[:-1], "ip6_prefix@lan1=3fff:0:0:1::", *delegated) == [
        "ip6_prefix@lan1: both bridges have the same prefix: hosts of the second are cut off; choose another"]


def test_a_tunnel_needs_its_parameters(tool):
    assert tool.findings("ip6_proto@wan100=tunnel") == [
        "ip6_tunnel_type@wan100: no tunnel comes up: 1 takes the parameters from DHCPv4, 2 from the keys ip6_6rd_*"]
    assert tool.findings("ip6_proto@wan100=tunnel", "ip6_tunnel_type@wan100=1") == [
        "ip6_6rd_info@wan100: DHCPv4 has told nothing: no tunnel comes up"]
    manual = ("ip6_proto@wan100=tunnel", "ip6_tunnel_type@wan100=2", "ip6_6rd_prefix@wan100=3fff::",
              "ip6_6rd_border_relay@wan100=192.0.2.1")
    assert tool.findings(*manual) == []
    assert tool.findings(*manual, "ip6_6rd_pfxlen@wan100=40", "ip6_6rd_v4mask@wan100=4") == [
        "ip6_6rd_pfxlen@wan100: with 32 minus ip6_6rd_v4mask the delegated prefix would be a /68: no tunnel comes up "
        "above /64"]


def test_extra_routes_are_looked_at_one_by_one(tool):
    assert tool.findings("add_static_route@system=1", "num_extra_routes@system=4",
                         "extra_sid_1@system=10", "extra_gateway_1@system=fe80::1",
                         "extra_sid_2@system=10", "extra_gateway_2@system=fe80::2",
                         "extra_sid_3@system=01", "extra_gateway_3@system=FE80:0::3",
                         "extra_sid_4@system=11", "extra_gateway_4@system=") == [
        "extra_sid_2@system: is there already: the next LAN restart removes it",
        "extra_sid_3@system: is the id of lan0 itself: the next LAN restart removes it, and the one after that takes "
        "the bridge's own route away",
        "extra_gateway_3@system: is compared letter by letter with the neighbor table, which says fe80::3",
        "extra_gateway_4@system: is no IPv6 address: the next LAN restart removes the route"]


def test_a_finding_in_a_file_is_told_with_its_line(tool):
    lines = ["# mine", "", *GOOD, "mtu@wan100=9", "ip6_pfxlen@lan1=0", "on-demand@wan100=yes"]
    path = tool.folder / "mine.txt"
    path.write_text("\n".join(lines) + "\n")
    told = tool.run("check", str(path))[1]
    assert told == [f"{path}:4: ip6_pfxlen@lan1: is set again in line 10, to another value: the last one counts",
                    f'{path}:9: mtu@wan100: "9" is no number from 1280 to 65535',
                    f'{path}:11: on-demand@wan100: "yes" is neither 0 nor 1',
                    f"{path}:10: ip6_pfxlen@lan1: is also the length of the unique-local prefix that is advertised, and radvd "
                    "refuses 0; set 64"]
    path.write_text("\n".join(line for line in GOOD if "pfxlen@lan1" not in line))
    assert [line.split(": ")[:2] for line in tool.run("check", str(path))[1]] == [[str(path), "ip6_pfxlen@lan1"]]


def test_a_setting_that_stands_twice_is_told_unless_both_say_the_same(tool):
    assert tool.findings("mtu@wan100=1400", "mtu@wan100=1400") == []
    assert tool.findings("mtu@wan100=1400", "mtu@wan100=1500", "mtu@wan100=1400") == [
        f"mtu@wan100: is set again in line {len(GOOD) + 2}, to another value: the last one counts",
        f"mtu@wan100: is set again in line {len(GOOD) + 3}, to another value: the last one counts"]


def test_the_store_itself_is_checked_when_no_file_is_named(tool):
    assert tool.run("import", text="\n".join(GOOD) + "\n")[0] == 0
    assert tool.run("check") == (0, [], "")
    assert tool.run("set", "mtu@wan100=9")[0] == 0
    assert tool.run("check") == (1, ['mtu@wan100: "9" is no number from 1280 to 65535'], "")


@pytest.mark.parametrize("text", [
    b"mtu@wan100=\x001500\n", b"\xff\xfe\n", b"x" * 100_000, b"mtu@wan100=" + b"1" * 100_000 + b"\n", b"=\n", b"@=\n",
    b"mtu wan100 1500\n", b"mtu@wan100=\x1b[31m\n",
])
def test_a_file_that_is_no_settings_is_refused_with_its_line(tool, text):
    status, found, errors = tool.run("check", "-", text=b"\n".join(line.encode() for line in GOOD) + b"\n" + text)
    assert (status, found) == (2, [])
    assert errors.startswith(f"ccfg: standard input: line {len(GOOD) + 1}: ") and errors.count("\n") == 1
    assert all(c == "\n" or c.isprintable() or c == "\ufffd" for c in errors)


def test_every_line_that_is_no_setting_is_told(tool):
    bad = ["junk", "mtu@wan100 = 1500", "mtu@wan100=1500\r", "\u00fc@wan100=1"]
    status, found, errors = tool.run("check", "-", text="\n".join([bad[0], "mtu@wan100=9", *bad[1:]]) + "\n")
    assert (status, found) == (2, [])
    assert errors.splitlines() == [
        "ccfg: standard input: line 1: there is no '=' before the value: junk",
        "ccfg: standard input: line 3: there is a blank before, after or in the name: mtu@wan100 = 1500",
        "ccfg: standard input: line 4: the line ends with a carriage return, as files of another system do: mtu@wan100=1500?",
        "ccfg: standard input: line 5: key and section must each be 1 to 63 characters of A-Za-z0-9_.-: ??@wan100=1"]
    errors = tool.run("check", "-", text="junk\n" * 5000)[2].splitlines()
    assert len(errors) == 11 and errors[-1] == "ccfg: standard input: 4990 more lines are no settings"


def test_a_terminal_is_told_that_nothing_is_wrong_and_nobody_else(tool):
    path = tool.folder / "mine.txt"
    path.write_text("# comment\n\n" + "\n".join(GOOD) + "\n")
    assert tool.run("check", str(path)) == (0, [], "")
    assert tool.on_terminal(80, "ccfg_cli", "check", path) == (0, [f"{len(GOOD)} settings, nothing wrong"])


def test_a_finding_is_broken_between_words_on_a_terminal(tool):
    assert tool.run("import", text="\n".join([*GOOD, "ip6_pfxlen@lan1=0"]) + "\n")[0] == 0
    assert tool.on_terminal(40, "ccfg_cli", "check") == (1, [
        "ip6_pfxlen@lan1: is also the length of", "    the unique-local prefix that is", "    advertised, and radvd refuses 0; set", "    64"])
    assert [len(tool.on_terminal(columns, "ccfg_cli", "check")[1]) for columns in (20, 200)] == [1, 1]


def test_setting_on_a_terminal_tells_what_check_would(tool):
    typo = "ip6_gus_sid@lan1: nothing reads this key; did you mean ip6_gua_sid?"
    assert tool.run("set", "ip6_gus_sid@lan1=06") == (0, [], "")
    assert tool.on_terminal(80, "ccfg_cli", "set", "ip6_gus_sid@lan1=06") == (0, [typo])
    assert tool.on_terminal(80, "ccfg_cli", "set", "mtu@wan100=9") == (0, ['mtu@wan100: "9" is no number from 1280 to 65535'])
    assert tool.on_terminal(80, "ccfg_cli", "set", "mtu@wan100=1500") == (0, [])
    assert tool.run("get", "ip6_gus_sid@lan1") == (0, ["06"], "")


def test_a_missing_file_is_told_and_an_endless_one_is_refused(tool):
    status, found, errors = tool.run("check", str(tool.folder / "none"))
    assert (status, found) == (2, []) and "cannot be read: No such file or directory" in errors
    assert tool.run("check", "/dev/zero")[0] == 2
    assert tool.run("check", str(tool.folder))[0] == 2
    assert tool.run("check", "a", "b")[0] == 2
    assert tool.run("check", "-q") == (2, [], 'ccfg_cli: there is no option "-q"\nusage: ccfg_cli check [FILE]\n')


def test_settings_with_many_thousands_of_keys_are_checked_to_the_end(tool):
    status, found, errors = tool.run("check", "-", text="".join(f"key{n}@system=1\n" for n in range(50_000)))
    assert status == 1 and errors == ""
    assert sum(": nothing reads this key" in line for line in found) == 50_000
    found = tool.run("check", "-", text="".join(f"mtu@wan{n}={n % 1280}\n" for n in range(50_000)))[1]
    assert sum(": \"" in line for line in found) == 50_000

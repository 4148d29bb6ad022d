"""The DHCPv6 server of the LANs: its configuration file, its files, its start and its stop."""
import pytest

from expected_texts import BARE, HOME, LAN0_ULA, LAN1_ULA

HEAD = (
    'dhcpv6-lease-file-name "/tmp/dhcp6d.leases";\n'
    'dhcpv6-pid-file-name "/var/run/dhcp6d.pid";\n'
    "server-duid LLT ethernet 378691200 00:11:22:33:44:55;\n"
    "authoritative;\n"
)
RAPID = "option dhcp6.rapid-commit;\n"
COPY = "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d"
START = "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&"


def subnet(text, servers=None):
    return f"subnet6 {text} {{\n" + (f"option dhcp6.name-servers {servers};\n" if servers else "") + "}\n\n"


@pytest.fixture
def bare(gateway):
    """No unique-local addresses, WAN not ready, a global address stored for each bridge."""
    gateway.store.update(BARE)
    gateway.store.update({"ip6_addr@lan0": "2001:db8:1234:5601::1", "ip6_addr@lan1": "2001:db8:1234:5602::1"})
    return gateway


@pytest.fixture
def ready(bare):
    """The same with the WAN ready and a global prefix on each bridge."""
    bare.store.update({
        "ip6_wan_ready@system": "1", "ip6_prefix@lan0": "2001:db8:1234:5601::", "ip6_pfxlen@lan0": "64",
        "ip6_prefix@lan1": "2001:db8:1234:5602::", "ip6_pfxlen@lan1": "62"})
    return bare


@pytest.fixture
def local(gateway):
    """Unique-local addresses on both bridges, WAN not ready."""
    gateway.store.update(HOME)
    gateway.store["ip6_ula_addr@lan1"] = LAN1_ULA
    return gateway


def left_out_text(what, why="it holds a character that would end its statement"):
    return f"{what} is left out of /tmp/dhcp6d.conf: {why}."


def written(gateway):
    return gateway.run("zel_ipv6_lan", "lan").files["/tmp/dhcp6d.conf"]


def test_all_statements_stand_in_their_order(ready):
    ready.store.update({
        "ip6_dhcp_valid@lan0": "7200", "ip6_dhcp_prefer@lan0": "3600", "ip6_dhcp_renew@lan0": "900",
        "ip6_dhcp_rebind@lan0": "1800", "ip6_dhcp_pref@lan0": "255", "ip6_domain@wan100": "isp.example",
        "ip6_dns1@system": "2001:db8::53", "ip6_dns2@system": "2001:db8::54"})
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/dhcp6d.conf"] == (
        'dhcpv6-lease-file-name "/tmp/dhcp6d.leases";\n'
        'dhcpv6-pid-file-name "/var/run/dhcp6d.pid";\n'
        "server-duid LLT ethernet 378691200 00:11:22:33:44:55;\n"
        "authoritative;\n"
        "default-lease-time 7200;\n"
        "preferred-lifetime 3600;\n"
        "option dhcp-renewal-time 900;\n"
        "option dhcp-rebinding-time 1800;\n"
        'option dhcp6.domain-search "isp.example";\n'
        "option dhcp6.preference 255;\n"
        "option dhcp6.rapid-commit;\n"
        "subnet6 2001:db8:1234:5601::/64 {\n"
        "option dhcp6.name-servers 2001:db8::53,2001:db8::54;\n"
        "}\n"
        "\n"
        "subnet6 2001:db8:1234:5602::/62 {\n"
        "option dhcp6.name-servers 2001:db8::53,2001:db8::54;\n"
        "}\n"
        "\n")
    assert run.files["/tmp/dhcp6d"] == "<copy of dhcpd>"
    assert run.files["/tmp/dhcp6d.leases"] == ""
    assert run.files["/var/run/dhcp6d.pid"] == ""
    assert run.lines[-4:-2] == [COPY, START]
    assert run.calls_of("dhcp6d") == [["/tmp/dhcp6d", "-6", "-cf", "/tmp/dhcp6d.conf"]]


def test_without_settings_prefixes_and_servers_only_the_fixed_statements_are_left(gateway):
    gateway.store.update(BARE)
    assert written(gateway) == HEAD + RAPID


def test_before_the_wan_is_ready_and_without_unique_local_addresses_there_is_no_subnet(bare):
    assert written(bare) == HEAD + RAPID


def test_before_the_wan_is_ready_the_unique_local_subnets_are_served_with_a_small_fd(local):
    assert written(local) == (HEAD + RAPID + subnet("fd3e:41a2:09bc:0001::/64", LAN0_ULA)
                              + subnet("fd5d:77c0:e1f2:0002::/64", LAN1_ULA))


def test_once_the_wan_is_ready_the_global_subnets_are_served_also_beside_unique_local_ones(local):
    local.store.update({
        "ip6_wan_ready@system": "1", "ip6_prefix@lan0": "2001:db8:1234:5601::", "ip6_pfxlen@lan0": "64",
        "ip6_prefix@lan1": "2001:db8:1234:5602::", "ip6_pfxlen@lan1": "64"})
    assert written(local) == (HEAD + RAPID + subnet("2001:db8:1234:5601::/64", LAN0_ULA)
                              + subnet("2001:db8:1234:5602::/64", LAN1_ULA))


@pytest.mark.parametrize("sides, blocks", [
    ({"ip6_ula_eb@lan0": "0"}, [subnet("fd5d:77c0:e1f2:0002::/64", LAN1_ULA)]),
    ({"ip6_ula_eb@lan1": "0"}, [subnet("fd3e:41a2:09bc:0001::/64", LAN0_ULA)]),
    ({"ip6_ula_eb@lan1": "2"}, [subnet("fd3e:41a2:09bc:0001::/64", LAN0_ULA)]),
])
def test_each_side_decides_for_itself_whether_it_has_a_unique_local_subnet(local, sides, blocks):
    local.store.update(sides)
    assert written(local) == HEAD + RAPID + "".join(blocks)


def test_an_enabled_side_is_served_also_while_its_address_is_missing(local):
    local.store["ip6_ula_addr@lan1"] = ""
    assert written(local) == (HEAD + RAPID + subnet("fd3e:41a2:09bc:0001::/64", LAN0_ULA)
                              + subnet("fd5d:77c0:e1f2:0002::/64"))


def test_the_wan_is_ready_with_exactly_one(ready):
    ready.store["ip6_wan_ready@system"] = "2"
    assert written(ready) == HEAD + RAPID


def test_without_servers_each_bridge_names_its_global_address(ready):
    assert written(ready) == (HEAD + RAPID + subnet("2001:db8:1234:5601::/64", "2001:db8:1234:5601::1")
                              + subnet("2001:db8:1234:5602::/62", "2001:db8:1234:5602::1"))


def test_without_servers_and_addresses_a_subnet_is_empty(ready):
    ready.store.update({"ip6_addr@lan0": "", "ip6_addr@lan1": ""})
    assert written(ready) == (HEAD + RAPID + subnet("2001:db8:1234:5601::/64") + subnet("2001:db8:1234:5602::/62"))


def test_a_stored_unique_local_address_of_a_disabled_side_is_not_named(ready):
    ready.store.update({"ip6_ula_addr@lan1": LAN1_ULA})
    assert written(ready) == (HEAD + RAPID + subnet("2001:db8:1234:5601::/64", "2001:db8:1234:5601::1")
                              + subnet("2001:db8:1234:5602::/62", "2001:db8:1234:5602::1"))


@pytest.mark.parametrize("servers, named", [
    (("2001:db8::53", ""), ("2001:db8::53", "2001:db8::53")),
    (("2001:db8::53", "2001:db8::54"), ("2001:db8::53,2001:db8::54",) * 2),
    (("", "2001:db8::54"), ("2001:db8:1234:5601::1", "2001:db8:1234:5602::1")),
])
def test_the_servers_of_the_settings_are_joined_by_a_comma_and_need_the_first(ready, servers, named):
    ready.store.update({"ip6_dns1@system": servers[0], "ip6_dns2@system": servers[1]})
    assert written(ready) == (HEAD + RAPID + subnet("2001:db8:1234:5601::/64", named[0])
                              + subnet("2001:db8:1234:5602::/62", named[1]))


@pytest.mark.parametrize("key, statement", [
    ("ip6_dhcp_valid@lan0", "default-lease-time 77;\n"),
    ("ip6_dhcp_prefer@lan0", "preferred-lifetime 77;\n"),
    ("ip6_dhcp_renew@lan0", "option dhcp-renewal-time 77;\n"),
    ("ip6_dhcp_rebind@lan0", "option dhcp-rebinding-time 77;\n"),
    ("ip6_domain@wan100", 'option dhcp6.domain-search "77";\n'),
    ("ip6_dhcp_pref@lan0", "option dhcp6.preference 77;\n"),
])
def test_each_setting_brings_its_own_statement_and_no_other(bare, key, statement):
    bare.store[key] = "77"
    assert written(bare) == HEAD + statement + RAPID


@pytest.mark.parametrize("key", ["ip6_dhcp_valid", "ip6_dhcp_prefer", "ip6_dhcp_renew", "ip6_dhcp_rebind",
                                 "ip6_dhcp_pref"])
def test_the_settings_of_the_second_lan_are_not_asked(bare, key):
    bare.store[key + "@lan1"] = "77"
    assert written(bare) == HEAD + RAPID


def test_a_setting_longer_than_15_characters_is_cut(bare):
    bare.store["ip6_dhcp_valid@lan0"] = "12345678901234567890"
    assert written(bare) == HEAD + "default-lease-time 123456789012345;\n" + RAPID


def test_the_server_id_follows_the_hardware_address_of_the_first_bridge(bare):
    bare.links["br-lan"] = "02:aa:bb:cc:dd:0e"
    assert written(bare) == HEAD.replace("00:11:22:33:44:55", "02:aa:bb:cc:dd:0e") + RAPID


@pytest.mark.parametrize("mark", [";", "{", "}", '"', "#", "\\"])
@pytest.mark.parametrize("key, statement", [
    ("ip6_domain@wan100", "option dhcp6.domain-search"), ("ip6_dhcp_valid@lan0", "default-lease-time"),
    ("ip6_dhcp_pref@lan0", "option dhcp6.preference")])
def test_a_value_that_would_end_its_statement_is_left_out_and_the_log_says_so(bare, key, statement, mark):
    bare.store[key] = f"7{mark}7"
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/dhcp6d.conf"] == HEAD + RAPID
    assert run.messages("start_dhcp6d") == [left_out_text(statement)]


def test_a_server_that_would_end_its_statement_is_left_out_of_both_subnets(ready):
    ready.store["ip6_dns1@system"] = "::1; } evil {"
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/dhcp6d.conf"] == (
        HEAD + RAPID + subnet("2001:db8:1234:5601::/64") + subnet("2001:db8:1234:5602::/62"))
    assert run.messages("start_dhcp6d") == [left_out_text("option dhcp6.name-servers")] * 2


def test_a_prefix_that_would_end_its_statement_takes_its_whole_block_with_it(ready):
    ready.store["ip6_prefix@lan0"] = "::/0 { } #"
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/dhcp6d.conf"] == HEAD + RAPID + subnet("2001:db8:1234:5602::/62", "2001:db8:1234:5602::1")
    assert run.messages("start_dhcp6d") == [left_out_text("the global prefix")]


@pytest.mark.parametrize("key, statement", [
    ("ip6_dhcp_valid@lan0", "default-lease-time"), ("ip6_dhcp_prefer@lan0", "preferred-lifetime"),
    ("ip6_dhcp_renew@lan0", "option dhcp-renewal-time"), ("ip6_dhcp_rebind@lan0", "option dhcp-rebinding-time"),
    ("ip6_dhcp_pref@lan0", "option dhcp6.preference")])
@pytest.mark.parametrize("text, why", [
    ("  ", "it is blank"), ("abc", "dhcpd takes no such number"), ("08", "dhcpd takes no such number"),
    ("1 2", "dhcpd takes no such number"), ("+5", "dhcpd takes no such number")])
def test_a_number_that_is_none_is_left_out_and_the_log_says_so(bare, key, statement, text, why):
    bare.store[key] = text
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/dhcp6d.conf"] == HEAD + RAPID
    assert run.messages("start_dhcp6d") == [left_out_text(statement, why)]


@pytest.mark.parametrize("key, text, line", [
    ("ip6_dhcp_pref@lan0", "255", "option dhcp6.preference 255;\n"), ("ip6_dhcp_pref@lan0", "256", ""),
    ("ip6_dhcp_pref@lan0", "-1", ""), ("ip6_dhcp_valid@lan0", "infinite", "default-lease-time infinite;\n"),
    ("ip6_dhcp_renew@lan0", "infinite", ""), ("ip6_dhcp_valid@lan0", "-5", "default-lease-time -5;\n"),
    ("ip6_dhcp_valid@lan0", "99999999999", "default-lease-time 99999999999;\n"),
    ("ip6_domain@wan100", "a..b", ""), ("ip6_domain@wan100", "a" * 64, ""), ("ip6_domain@wan100", " ", ""),
    ("ip6_domain@wan100", "a" * 63 + ".", f'option dhcp6.domain-search "{"a" * 63}.";\n')])
def test_a_setting_is_written_when_the_server_takes_it(bare, key, text, line):
    bare.store[key] = text
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/dhcp6d.conf"] == HEAD + line + RAPID
    assert len(run.messages("start_dhcp6d")) == (0 if line else 1)


@pytest.mark.parametrize("server", ["dns.example", "192.0.2.53", "2001:db8::1 2001:db8::2", "2001:db8::1,", "fe80::1%lo"])
def test_a_server_that_is_no_address_is_left_out_of_both_subnets(ready, server):
    ready.store["ip6_dns1@system"] = server
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/dhcp6d.conf"] == (
        HEAD + RAPID + subnet("2001:db8:1234:5601::/64") + subnet("2001:db8:1234:5602::/62"))
    assert run.messages("start_dhcp6d") == [
        left_out_text("option dhcp6.name-servers", "they are no IPv6 addresses")] * 2


@pytest.mark.parametrize("text, length", [("host.example", "64"), ("2001:db8::/64", "64"), ("192.0.2.1", "64"),
                                          ("2001:db8:9::", "129"), ("2001:db8:9::", "-1")])
def test_a_global_prefix_that_is_none_takes_its_block_with_it(ready, text, length):
    ready.store.update({"ip6_prefix@lan0": text, "ip6_pfxlen@lan0": length})
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/dhcp6d.conf"] == HEAD + RAPID + subnet("2001:db8:1234:5602::/62", "2001:db8:1234:5602::1")
    assert run.messages("start_dhcp6d") == [left_out_text("the global prefix", "it is no IPv6 prefix")]


@pytest.mark.parametrize("key, text, why", [
    ("ip6_ula_sid@lan1", "{;", "it holds a character that would end its statement"),
    ("ip6_ula_sid@lan1", "xy", "it is no IPv6 prefix"), ("ip6_ula_gid@lan1", "1:2:3:4:5:6:7", "it is no IPv6 prefix")])
def test_a_unique_local_prefix_that_is_none_takes_its_block_with_it(local, key, text, why):
    local.store[key] = text
    run = local.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/dhcp6d.conf"] == HEAD + RAPID + subnet("fd3e:41a2:09bc:0001::/64", LAN0_ULA)
    assert run.messages("start_dhcp6d") == [left_out_text("the unique-local prefix", why)]


def test_an_empty_global_prefix_is_written_as_it_is(ready):
    ready.store["ip6_prefix@lan1"] = ""
    assert written(ready) == (HEAD + RAPID + subnet("2001:db8:1234:5601::/64", "2001:db8:1234:5601::1")
                              + subnet("/62", "2001:db8:1234:5602::1"))


def test_a_configuration_that_cannot_be_opened_keeps_the_server_from_starting(bare):
    bare.file("/tmp/dhcp6d.conf/busy", "")
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.lines[-4:] == [
        "radvd -C /tmp/radvd.conf &",
        COPY,
        "rdnssd -r /tmp/rdnssd",
        "/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'",
    ]
    assert "/tmp/dhcp6d.leases" not in run.files
    assert "/var/run/dhcp6d.pid" not in run.files


def test_a_lease_file_that_cannot_be_opened_keeps_the_server_from_starting(bare):
    bare.file("/tmp/dhcp6d.leases/busy", "")
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.lines[-3:-1] == [COPY, "rdnssd -r /tmp/rdnssd"]
    assert run.files["/tmp/dhcp6d.conf"] == HEAD + RAPID


def test_a_pid_file_that_cannot_be_opened_keeps_the_server_from_starting(bare):
    bare.folder("/var/run/dhcp6d.pid")
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.lines[-3:-1] == [COPY, "rdnssd -r /tmp/rdnssd"]
    assert run.files["/tmp/dhcp6d.conf"] == HEAD + RAPID
    assert run.files["/tmp/dhcp6d.leases"] == ""


def test_a_failed_copy_or_start_does_not_stop_the_sequence(bare):
    bare.folder("/tmp/dhcp6d")
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.lines[-4:-1] == [COPY, START, "rdnssd -r /tmp/rdnssd"]
    assert run.status == 1


def test_the_file_of_the_last_start_is_replaced(bare):
    bare.script("killall", "dhcp6d", sh="cp /usr/sbin/dhcpd /tmp/dhcp6d.conf")
    assert written(bare) == HEAD + RAPID


def test_the_pid_file_keeps_what_the_last_server_wrote(bare):
    bare.file("/var/run/dhcp6d.pid", "77\n")
    bare.script("killall", "dhcp6d", sh="echo lease > /tmp/dhcp6d.leases")
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.files["/var/run/dhcp6d.pid"] == "77\n"
    assert run.files["/tmp/dhcp6d.leases"] == "lease\n"


def test_stopping_the_server_first_removes_its_configuration_and_leases_and_leaves_its_pid_file(bare):
    bare.file("/tmp/dhcp6d", "program\n")
    bare.file("/tmp/dhcp6d.conf", "authoritative;\n")
    bare.file("/tmp/dhcp6d.leases", "lease\n")
    bare.file("/var/run/dhcp6d.pid", "77\n")
    bare.script("killall", "dhcp6d", sh="ls /tmp > /var/run/seen")
    run = bare.run("dhcp6c_release")
    assert run.files == {"/tmp/dhcp6d": "program\n", "/var/run/dhcp6d.pid": "77\n",
                         "/var/run/seen": "dhcp6d\nipv6.log\n"}
    assert run.lines[-1] == "killall dhcp6d"
    assert run.journal[-1] == "killall dhcp6d"

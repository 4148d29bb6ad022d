"""The router-advertisement daemon: its configuration file and its start."""
import pytest

from expected_texts import BARE, HOME, LAN0_ULA, LAN1_ULA

FIXED = (
    "AdvSendAdvert on;\n"
    "AdvLinkMTU {mtu};\n"
    "AdvCurHopLimit 255;\n"
    "MinRtrAdvInterval 20;\n"
    "MaxRtrAdvInterval 60;\n"
    "AdvDefaultPreference medium;\n"
    "AdvHomeAgentFlag off;\n"
    "AdvManagedFlag off;\n"
    "AdvOtherConfigFlag on;\n"
)


def section(link, *blocks, mtu=1492):
    return f"interface {link} {{\n" + FIXED.format(mtu=mtu) + "".join(blocks) + "};\n"


def prefix(text, preferred, valid, *more):
    return (f"prefix {text} {{\nAdvOnLink on;\nAdvAutonomous on;\nAdvRouterAddr off;\n"
            f"AdvPreferredLifetime {preferred};\nAdvValidLifetime {valid};\n" + "".join(more) + "};\n")


def global_prefix(text, preferred="86400", valid="604800"):
    return prefix(text, preferred, valid, "DeprecatePrefix on;\n")


def rdnss(servers):
    return f"RDNSS {servers}\n{{\nAdvRDNSSLifetime 600;\n}};\n"


def dnssl(domains):
    return f"DNSSL {domains}\n{{\nAdvDNSSLLifetime 600;\n}};\n"


@pytest.fixture
def bare(gateway):
    """No unique-local addresses, WAN not ready, a global address stored for each bridge."""
    gateway.store.update(BARE)
    gateway.store.update({"ip6_addr@lan0": "2001:db8:1234:5601::1", "ip6_addr@lan1": "2001:db8:1234:5602::1"})
    return gateway


@pytest.fixture
def ready(gateway):
    """No unique-local addresses, WAN ready, a global prefix on each bridge and a name server."""
    gateway.store.update(BARE)
    gateway.store.update({
        "ip6_wan_ready@system": "1", "ip6_dns1@system": "2001:db8::53",
        "ip6_prefix@lan0": "2001:db8:1234:5601::", "ip6_pfxlen@lan0": "64",
        "ip6_prefix@lan1": "2001:db8:1234:5602::", "ip6_pfxlen@lan1": "64"})
    return gateway


def left_out_text(what, why="it holds a character that would end its statement"):
    return f"{what} is left out of /tmp/radvd.conf: {why}."


READY0, READY1 = global_prefix("2001:db8:1234:5601::/64"), global_prefix("2001:db8:1234:5602::/64")
SERVER = rdnss("2001:db8::53")


def written(gateway):
    return gateway.run("zel_ipv6_lan", "lan").files["/tmp/radvd.conf"]


def test_everything_is_advertised_once_the_wan_is_ready(gateway):
    gateway.store.update(HOME)
    gateway.store.update({
        "ip6_wan_ready@system": "1", "mtu@wan100": "1480", "ip6_lease@wan100": "3600", "ip6_life@wan100": "7200",
        "ip6_dns1@system": "2001:db8::53", "ip6_dns2@system": "2001:db8::54", "ip6_domain@wan100": "isp.example",
        "ip6_prefix@lan0": "2001:db8:1234:5601::", "ip6_pfxlen@lan0": "64",
        "ip6_prefix@lan1": "2001:db8:1234:5602::", "ip6_pfxlen@lan1": "62",
        "ip6_ula_prefer@lan0": "1001", "ip6_ula_valid@lan0": "1002",
        "ip6_ula_addr@lan1": LAN1_ULA, "ip6_ula_prefer@lan1": "2001", "ip6_ula_valid@lan1": "2002"})
    run = gateway.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/radvd.conf"] == (
        "interface br-lan {\n"
        "AdvSendAdvert on;\n"
        "AdvLinkMTU 1480;\n"
        "AdvCurHopLimit 255;\n"
        "MinRtrAdvInterval 20;\n"
        "MaxRtrAdvInterval 60;\n"
        "AdvDefaultPreference medium;\n"
        "AdvHomeAgentFlag off;\n"
        "AdvManagedFlag off;\n"
        "AdvOtherConfigFlag on;\n"
        "prefix FD3e:41a2:09bc:0001::/64 {\n"
        "AdvOnLink on;\n"
        "AdvAutonomous on;\n"
        "AdvRouterAddr off;\n"
        "AdvPreferredLifetime 1001;\n"
        "AdvValidLifetime 1002;\n"
        "};\n"
        "prefix 2001:db8:1234:5601::/64 {\n"
        "AdvOnLink on;\n"
        "AdvAutonomous on;\n"
        "AdvRouterAddr off;\n"
        "AdvPreferredLifetime 3600;\n"
        "AdvValidLifetime 7200;\n"
        "DeprecatePrefix on;\n"
        "};\n"
        "RDNSS 2001:db8::53 2001:db8::54\n"
        "{\n"
        "AdvRDNSSLifetime 600;\n"
        "};\n"
        "DNSSL isp.example\n"
        "{\n"
        "AdvDNSSLLifetime 600;\n"
        "};\n"
        "};\n"
        "interface br-lan1 {\n"
        "AdvSendAdvert on;\n"
        "AdvLinkMTU 1480;\n"
        "AdvCurHopLimit 255;\n"
        "MinRtrAdvInterval 20;\n"
        "MaxRtrAdvInterval 60;\n"
        "AdvDefaultPreference medium;\n"
        "AdvHomeAgentFlag off;\n"
        "AdvManagedFlag off;\n"
        "AdvOtherConfigFlag on;\n"
        "prefix FD5d:77c0:e1f2:0002::/62 {\n"
        "AdvOnLink on;\n"
        "AdvAutonomous on;\n"
        "AdvRouterAddr off;\n"
        "AdvPreferredLifetime 2001;\n"
        "AdvValidLifetime 2002;\n"
        "};\n"
        "prefix 2001:db8:1234:5602::/62 {\n"
        "AdvOnLink on;\n"
        "AdvAutonomous on;\n"
        "AdvRouterAddr off;\n"
        "AdvPreferredLifetime 3600;\n"
        "AdvValidLifetime 7200;\n"
        "DeprecatePrefix on;\n"
        "};\n"
        "RDNSS 2001:db8::53 2001:db8::54\n"
        "{\n"
        "AdvRDNSSLifetime 600;\n"
        "};\n"
        "DNSSL isp.example\n"
        "{\n"
        "AdvDNSSLLifetime 600;\n"
        "};\n"
        "};\n")
    assert run.lines[-7:-2] == [
        "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5601::/64",
        "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5602::/62",
        "radvd -C /tmp/radvd.conf &",
        "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
    ]


def test_before_the_wan_is_ready_only_unique_local_prefixes_and_dns_are_advertised(gateway):
    gateway.store.update(HOME)
    gateway.store.update({
        "ip6_prefix@lan0": "2001:db8:1234:5601::", "ip6_pfxlen@lan0": "64", "ip6_addr@lan0": "2001:db8:1234:5601::1",
        "ip6_prefix@lan1": "2001:db8:1234:5602::", "ip6_pfxlen@lan1": "64", "ip6_addr@lan1": "2001:db8:1234:5602::1",
        "ip6_ula_addr@lan1": LAN1_ULA, "ip6_domain@wan100": "isp.example"})
    run = gateway.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/radvd.conf"] == (
        section("br-lan", prefix("FD3e:41a2:09bc:0001::/64", 604800, 1814400), rdnss(LAN0_ULA), dnssl("isp.example"))
        + section("br-lan1", prefix("FD5d:77c0:e1f2:0002::/64", 604800, 1814400), rdnss(LAN1_ULA),
                  dnssl("isp.example")))
    assert run.calls_of("vorn_syslog_cli") == []
    assert run.calls_of("radvd") == [["radvd", "-C", "/tmp/radvd.conf"]]


def test_the_unique_local_prefix_has_the_length_of_the_global_one_even_when_that_is_zero(gateway):
    gateway.store.update(HOME)
    assert written(gateway) == (
        section("br-lan", prefix("FD3e:41a2:09bc:0001::/0", 604800, 1814400), rdnss(LAN0_ULA)) + section("br-lan1"))


def test_without_unique_local_address_and_wan_only_options_and_dns_are_left(bare):
    assert written(bare) == (section("br-lan", rdnss("2001:db8:1234:5601::1"))
                             + section("br-lan1", rdnss("2001:db8:1234:5602::1")))


def test_without_any_address_no_server_is_advertised(gateway):
    gateway.store.update(BARE)
    assert written(gateway) == section("br-lan") + section("br-lan1")


def test_a_unique_local_address_that_is_not_enabled_with_exactly_one_is_not_used(bare):
    bare.store.update({"ip6_ula_eb@lan1": "2", "ip6_ula_addr@lan1": LAN1_ULA})
    assert written(bare) == (section("br-lan", rdnss("2001:db8:1234:5601::1"))
                             + section("br-lan1", rdnss("2001:db8:1234:5602::1")))


def test_an_enabled_side_without_unique_local_address_has_no_such_block(bare):
    bare.store["ip6_ula_eb@lan1"] = "1"
    assert written(bare) == (section("br-lan", rdnss("2001:db8:1234:5601::1"))
                             + section("br-lan1", rdnss("2001:db8:1234:5602::1")))


def test_one_side_may_have_a_unique_local_prefix_alone(bare):
    bare.store.update({"ip6_ula_eb@lan1": "1", "ip6_ula_addr@lan1": LAN1_ULA, "ip6_pfxlen@lan1": "64"})
    assert written(bare) == (
        section("br-lan", rdnss("2001:db8:1234:5601::1"))
        + section("br-lan1", prefix("FD5d:77c0:e1f2:0002::/64", 604800, 1814400), rdnss(LAN1_ULA)))


def test_the_wan_is_ready_with_exactly_one(ready):
    ready.store["ip6_wan_ready@system"] = "2"
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/radvd.conf"] == section("br-lan", SERVER) + section("br-lan1", SERVER)
    assert run.calls_of("vorn_syslog_cli") == []


def test_lifetimes_of_the_global_prefix_have_defaults(ready):
    assert written(ready) == section("br-lan", READY0, SERVER) + section("br-lan1", READY1, SERVER)


@pytest.mark.parametrize("key, preferred, valid", [("ip6_lease", "7", "604800"), ("ip6_life", "86400", "7")])
def test_each_lifetime_of_the_global_prefix_stands_alone(ready, key, preferred, valid):
    ready.store[key + "@wan100"] = "7"
    assert written(ready) == (
        section("br-lan", global_prefix("2001:db8:1234:5601::/64", preferred, valid), SERVER)
        + section("br-lan1", global_prefix("2001:db8:1234:5602::/64", preferred, valid), SERVER))


def test_lifetimes_are_copied_as_text_without_a_range_check(ready):
    ready.store.update({"ip6_lease@wan100": "infinity", "ip6_life@wan100": "99999999999"})
    assert written(ready) == (
        section("br-lan", global_prefix("2001:db8:1234:5601::/64", "infinity", "99999999999"), SERVER)
        + section("br-lan1", global_prefix("2001:db8:1234:5602::/64", "infinity", "99999999999"), SERVER))


def test_a_lifetime_longer_than_19_characters_is_cut(ready):
    ready.store["ip6_lease@wan100"] = "1234567890123456789012345"
    assert written(ready) == (
        section("br-lan", global_prefix("2001:db8:1234:5601::/64", "1234567890123456789"), SERVER)
        + section("br-lan1", global_prefix("2001:db8:1234:5602::/64", "1234567890123456789"), SERVER))


def test_lifetimes_and_mtu_belong_to_the_section_of_the_wan_interface(ready):
    ready.wan("eth4", sect="wan7")
    ready.store.update({"ip6_lease@wan7": "10", "ip6_life@wan7": "20", "mtu@wan7": "1400",
                        "ip6_lease@wan100": "30", "ip6_life@wan100": "40", "mtu@wan100": "1300"})
    assert written(ready) == (
        section("br-lan", global_prefix("2001:db8:1234:5601::/64", "10", "20"), SERVER, mtu=1400)
        + section("br-lan1", global_prefix("2001:db8:1234:5602::/64", "10", "20"), SERVER, mtu=1400))


def test_the_mtu_is_read_anew_for_each_interface(ready):
    ready.script("vorn_syslog_cli", sh="ccfg_cli set mtu@wan100=1300", times=1)
    assert written(ready) == section("br-lan", READY0, SERVER) + section("br-lan1", READY1, SERVER, mtu=1300)


def test_unique_local_lifetimes_of_zero_mean_the_defaults_each_by_itself(gateway):
    gateway.store.update(HOME)
    gateway.store.update({"ip6_pfxlen@lan0": "64", "ip6_ula_prefer@lan0": "0", "ip6_ula_valid@lan0": "5",
                          "ip6_pfxlen@lan1": "64", "ip6_ula_prefer@lan1": "6", "ip6_ula_addr@lan1": LAN1_ULA})
    assert written(gateway) == (
        section("br-lan", prefix("FD3e:41a2:09bc:0001::/64", 604800, 5), rdnss(LAN0_ULA))
        + section("br-lan1", prefix("FD5d:77c0:e1f2:0002::/64", 6, 1814400), rdnss(LAN1_ULA)))


@pytest.mark.parametrize("servers, written_servers", [
    (("2001:db8::53", ""), "2001:db8::53"),
    (("2001:db8::53", "2001:db8::54"), "2001:db8::53 2001:db8::54"),
])
def test_the_servers_of_the_settings_stand_in_for_the_own_address(bare, servers, written_servers):
    bare.store.update({"ip6_dns1@system": servers[0], "ip6_dns2@system": servers[1]})
    assert written(bare) == section("br-lan", rdnss(written_servers)) + section("br-lan1", rdnss(written_servers))


def test_a_second_server_without_a_first_one_is_ignored(bare):
    bare.store["ip6_dns2@system"] = "2001:db8::54"
    assert written(bare) == (section("br-lan", rdnss("2001:db8:1234:5601::1"))
                             + section("br-lan1", rdnss("2001:db8:1234:5602::1")))


def test_two_servers_of_full_length_fit(bare):
    first, second = "2001:0db8:1111:2222:3333:4444:5555:0001", "2001:0db8:1111:2222:3333:4444:5555:0002"
    bare.store.update({"ip6_dns1@system": first, "ip6_dns2@system": second})
    both = rdnss(f"{first} {second}")
    assert written(bare) == section("br-lan", both) + section("br-lan1", both)


def test_several_domains_stand_as_they_are(bare):
    bare.store["ip6_domain@wan100"] = "isp.example second.example"
    assert written(bare) == (
        section("br-lan", rdnss("2001:db8:1234:5601::1"), dnssl("isp.example second.example"))
        + section("br-lan1", rdnss("2001:db8:1234:5602::1"), dnssl("isp.example second.example")))


@pytest.mark.parametrize("mark", [";", "{", "}", '"', "#", "\\"])
def test_a_domain_that_would_end_its_statement_is_left_out_and_the_log_says_so(bare, mark):
    bare.store["ip6_domain@wan100"] = f"isp{mark}example"
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/radvd.conf"] == (section("br-lan", rdnss("2001:db8:1234:5601::1"))
                                            + section("br-lan1", rdnss("2001:db8:1234:5602::1")))
    assert run.messages("start_radvd") == [left_out_text("the domain list")] * 2


LIFETIMES = "AdvPreferredLifetime 86400;\nAdvValidLifetime 604800;\n"


@pytest.mark.parametrize("key, statement, told", [
    ("ip6_dns1@system", SERVER, "the name servers"),
    ("ip6_lease@wan100", LIFETIMES, "ip6_lease"),
    ("ip6_life@wan100", LIFETIMES, "ip6_life")])
def test_a_server_or_lifetime_that_would_end_its_statement_is_left_out(ready, key, statement, told):
    ready.store[key] = "1;}x{"
    run = ready.run("zel_ipv6_lan", "lan")
    whole = section("br-lan", READY0, SERVER) + section("br-lan1", READY1, SERVER)
    assert run.files["/tmp/radvd.conf"] == whole.replace(statement, "")
    assert run.messages("start_radvd") == [left_out_text(told)] * 2


@pytest.mark.parametrize("key", ["ip6_lease", "ip6_life"])
@pytest.mark.parametrize("text, why", [
    (" ", "it is blank"), ("abc", "it is no number of seconds"), ("-5", "it is no number of seconds"),
    ("1 2", "it is no number of seconds"), ("0x10", "it is no number of seconds")])
def test_a_lifetime_that_is_no_number_takes_the_other_one_with_it(ready, key, text, why):
    ready.store[key + "@wan100"] = text
    run = ready.run("zel_ipv6_lan", "lan")
    whole = section("br-lan", READY0, SERVER) + section("br-lan1", READY1, SERVER)
    assert run.files["/tmp/radvd.conf"] == whole.replace(LIFETIMES, "")
    assert run.messages("start_radvd") == [left_out_text(key, why)] * 2


@pytest.mark.parametrize("key", ["ip6_ula_prefer@lan1", "ip6_ula_valid@lan1"])
def test_a_negative_lifetime_of_the_unique_local_prefix_takes_the_other_one_with_it(bare, key):
    bare.store.update({"ip6_ula_eb@lan1": "1", "ip6_ula_addr@lan1": LAN1_ULA, "ip6_pfxlen@lan1": "64", key: "-6"})
    run = bare.run("zel_ipv6_lan", "lan")
    block = prefix("FD5d:77c0:e1f2:0002::/64", 1, 2).replace("AdvPreferredLifetime 1;\nAdvValidLifetime 2;\n", "")
    assert run.files["/tmp/radvd.conf"] == (section("br-lan", rdnss("2001:db8:1234:5601::1"))
                                            + section("br-lan1", block, rdnss(LAN1_ULA)))
    assert run.messages("start_radvd") == [
        left_out_text("a lifetime of the unique-local prefix", "it is negative")]


def test_a_negative_mtu_is_left_out(ready):
    ready.store["mtu@wan100"] = "-1"
    run = ready.run("zel_ipv6_lan", "lan")
    whole = section("br-lan", READY0, SERVER) + section("br-lan1", READY1, SERVER)
    assert run.files["/tmp/radvd.conf"] == whole.replace("AdvLinkMTU 1492;\n", "")
    assert run.messages("start_radvd") == [left_out_text("mtu", "it is negative")] * 2


@pytest.mark.parametrize("server", ["dns.example", "192.0.2.53", "2001:db8::1%ppp0", "2001:db8::53/64", "600"])
def test_a_server_that_is_no_address_is_left_out(ready, server):
    ready.store["ip6_dns2@system"] = server
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/radvd.conf"] == section("br-lan", READY0) + section("br-lan1", READY1)
    assert run.messages("start_radvd") == [
        left_out_text("the name servers", "they are no one to three IPv6 addresses")] * 2


@pytest.mark.parametrize("domain", ["a_b.example", "isp.example on", "prefix", "10.0.0.1", "$(reboot)",
                                    "é.example"])
def test_a_domain_that_the_daemon_does_not_take_is_left_out(ready, domain):
    ready.store["ip6_domain@wan100"] = domain
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/radvd.conf"] == section("br-lan", READY0, SERVER) + section("br-lan1", READY1, SERVER)
    assert run.messages("start_radvd") == [left_out_text("the domain list", "radvd takes no such domain")] * 2


@pytest.mark.parametrize("text, length", [("host.example", "64"), ("2001:db8::/64", "64"), ("192.0.2.1", "64"),
                                          ("2001:db8:9::", "129"), ("2001:db8:9::", "-1")])
def test_a_global_prefix_that_is_none_takes_its_block_and_its_event_with_it(ready, text, length):
    ready.store.update({"ip6_prefix@lan0": text, "ip6_pfxlen@lan0": length})
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/radvd.conf"] == section("br-lan", SERVER) + section("br-lan1", READY1, SERVER)
    assert run.messages("start_radvd") == [left_out_text("the global prefix", "it is no IPv6 prefix")]
    assert len(run.calls_of("vorn_syslog_cli")) == 1


def test_a_global_prefix_that_would_end_its_statement_takes_its_block_and_its_event_with_it(ready):
    ready.store["ip6_prefix@lan0"] = "::/0 {};"
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/radvd.conf"] == section("br-lan", SERVER) + section("br-lan1", READY1, SERVER)
    assert run.messages("start_radvd") == [left_out_text("the global prefix")]
    assert run.calls_of("vorn_syslog_cli") == [
        ["vorn_syslog_cli", "addEventCode", "-1", "ME104", "2001:db8:1234:5602::/64"]]


@pytest.mark.parametrize("key", ["ip6_ula_gid@lan1", "ip6_ula_sid@lan1"])
@pytest.mark.parametrize("text, why", [("{}", "it holds a character that would end its statement"),
                                       ("xy", "it is no IPv6 prefix")])
def test_a_unique_local_prefix_that_is_none_takes_its_block_with_it(bare, key, text, why):
    bare.store.update({"ip6_ula_eb@lan1": "1", "ip6_ula_addr@lan1": LAN1_ULA, key: text})
    run = bare.run("zel_ipv6_lan", "lan")
    assert run.files["/tmp/radvd.conf"] == section("br-lan", rdnss("2001:db8:1234:5601::1")) + section(
        "br-lan1", rdnss(LAN1_ULA))
    assert run.messages("start_radvd") == [left_out_text("the unique-local prefix", why)]


def test_an_empty_global_prefix_is_written_as_it_is(ready):
    del ready.store["ip6_prefix@lan0"]
    assert written(ready) == section("br-lan", global_prefix("/64"), SERVER) + section("br-lan1", READY1, SERVER)


def test_a_file_that_cannot_be_opened_keeps_the_daemon_from_starting_and_the_rest_goes_on(ready):
    ready.folder("/tmp/radvd.conf")
    run = ready.run("zel_ipv6_lan", "lan")
    assert run.lines == [
        "killall radvd; rm -f /tmp/run/radvd.pid",
        "killall dhcp6d",
        "ccfg_cli set ip6_pre_manual_gid@lan0=0",
        "ccfg_cli set ip6_pre_manual_gid@lan1=0",
        "echo 1 > /proc/sys/net/ipv6/conf/br-lan/forwarding",
        "cp -rf /usr/sbin/dhcpd /tmp/dhcp6d",
        "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&",
        "rdnssd -r /tmp/rdnssd",
        "/etc/init.d/cron add zel_ip6neigh_update '*/1 * * * * /usr/sbin/zel_ip6neigh_update'",
    ]
    assert run.status == 1


def test_the_file_of_the_last_start_is_replaced(bare):
    bare.file("/tmp/radvd.conf", "interface br-lan7 {\n};\n" * 200)
    assert written(bare) == (section("br-lan", rdnss("2001:db8:1234:5601::1"))
                             + section("br-lan1", rdnss("2001:db8:1234:5602::1")))


def test_the_daemon_starts_although_the_event_cannot_be_recorded(ready):
    ready.script("vorn_syslog_cli", status=1)
    run = ready.run("zel_ipv6_lan", "lan")
    assert [entry for entry in run.shell if "ME104" in entry[1] or "radvd -C" in entry[1]] == [
        (1, "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5601::/64"),
        (1, "vorn_syslog_cli addEventCode -1 ME104 2001:db8:1234:5602::/64"),
        (0, "radvd -C /tmp/radvd.conf &"),
    ]


def test_host_ids_set_by_hand_do_not_reach_the_prefix(gateway):
    gateway.store.update(HOME)
    gateway.store.update({"ip6_ula_manual_hostid@lan0": "1", "ip6_ula_hostid@lan0": "0:0:0:1",
                          "ip6_pfxlen@lan0": "64", "ip6_pfxlen@lan1": "64"})
    assert written(gateway) == (
        section("br-lan", prefix("FD3e:41a2:09bc:0001::/64", 604800, 1814400),
                rdnss("FD3e:41a2:09bc:0001:0:0:0:1")) + section("br-lan1"))

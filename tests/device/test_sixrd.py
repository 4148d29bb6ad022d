"""The 6rd tunnel: its parameters, its relay, the prefix that it delegates."""
import pytest

from expected_texts import HOME, ran, said
from wan_setup import own_console, own_lines, own_log

DEL = "/usr/sbin/ip tunnel del 6rd"
RELAY = "/usr/sbin/ip -6 route add default via ::192.0.2.254 dev 6rd metric 1"
LOOK_UP = ["nslookup 192.0.2.254 > /tmp/host.log", "rm /tmp/host.log"]
ANSWER = "Server:    192.0.2.53\nAddress 1: 192.0.2.53 dns\n\nName:      {}\nAddress 1: {} {}\n"


@pytest.fixture
def wan(gateway):
    gateway.store.update({
        **HOME, "ip6_proto@wan100": "tunnel", "ip6_tunnel_type@wan100": "2", "ip6_6rd_v4mask@wan100": "0",
        "ip6_6rd_pfxlen@wan100": "32", "ip6_6rd_prefix@wan100": "2001:db8::",
        "ip6_6rd_border_relay@wan100": "192.0.2.254", "ip6_ula_eb@lan0": "0", "ip6_ula_eb@lan1": "0"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    gateway.ip4["ppp0"] = "192.0.2.1/24"
    gateway.links["6rd"] = "00:11:22:33:44:88"
    return gateway


def tunnel(pfxlen, relay_prefix, v4mask, prefix="2001:db8::", name="6rd"):
    return [f"/usr/sbin/ip tunnel del {name}",
            f"/usr/sbin/ip tunnel add {name} mode sit ttl 64 remote any local 192.0.2.1",
            f"/usr/sbin/ip link set dev {name} up",
            f"/usr/sbin/ip tunnel 6rd dev {name} 6rd-prefix {prefix}/{pfxlen} 6rd-relay_prefix {relay_prefix}/{v4mask}",
            "/usr/sbin/ip -6 route del default", RELAY.replace("dev 6rd", f"dev {name}")]


def start(wan):
    return wan.run("ipv6rd_restart")


def texts(run):
    return run.messages("start_6rd")


def assert_nothing_built(run, status=None, looked_up=True):
    assert own_lines(run) == [DEL] + (LOOK_UP if looked_up else [])
    assert run.store.get("ip6_tunnel_status@wan100") == status
    assert "ip6_dhcp6c_prefix_addr@system" not in run.store
    assert "ip6_wan_ready@system" not in run.store
    assert run.switches == {}
    assert run.addresses["6rd"] == []


# --- whether there is a tunnel

@pytest.mark.parametrize("proto", ["dhcp", "static", "tunne", "Tunnel", "xtunnel"])
def test_a_wan_that_is_no_tunnel_only_loses_an_old_tunnel(wan, proto):
    wan.store["ip6_proto@wan100"] = proto
    run = start(wan)
    assert own_log(run) == ran(DEL)
    assert own_console(run) == []
    assert run.store_changes == {}


def test_six_characters_of_the_protocol_are_compared(wan):
    wan.store["ip6_proto@wan100"] = "tunnelx"
    assert own_lines(start(wan))[3:9] == tunnel(32, "0.0.0.0", 0)


@pytest.mark.parametrize("kind", ["0", "", "3", "x2", "auto", None])
def test_any_other_type_is_no_tunnel(wan, kind):
    if kind is None:
        del wan.store["ip6_tunnel_type@wan100"]
    else:
        wan.store["ip6_tunnel_type@wan100"] = kind
    run = start(wan)
    assert own_log(run) == ran(DEL)
    assert run.store_changes == {}


@pytest.mark.parametrize("kind", ["2", "2x", "21"])
def test_the_first_character_is_the_type(wan, kind):
    wan.store["ip6_tunnel_type@wan100"] = kind
    assert own_lines(start(wan))[3:9] == tunnel(32, "0.0.0.0", 0)


# --- parameters

@pytest.mark.parametrize("kind", ["1", "12"])
def test_the_information_of_the_ipv4_lease_fills_the_settings(wan, kind):
    wan.store.update({"ip6_tunnel_type@wan100": kind, "ip6_6rd_info@wan100": "8 36 2001:db8:10:: 192.0.2.254"})
    run = start(wan)
    assert texts(run)[:2] == [
        "6rd_info[8 36 2001:db8:10:: 192.0.2.254]",
        "str_ip4addr[192.0.2.1], str_prefix[2001:db8:10::], str_pfxlen[36], str_relay[192.0.2.254], str_v4mask[8]"]
    assert run.store["ip6_6rd_v4mask@wan100"] == "8"
    assert run.store["ip6_6rd_pfxlen@wan100"] == "36"
    assert run.store["ip6_6rd_prefix@wan100"] == "2001:db8:10::"
    assert run.store["ip6_6rd_border_relay@wan100"] == "192.0.2.254"
    assert own_lines(run)[3:9] == tunnel(36, "192.0.0.0", 8, "2001:db8:10::")


def test_the_example_of_an_ipv4_lease(wan):
    for key in ("v4mask", "pfxlen", "prefix", "border_relay"):
        del wan.store[f"ip6_6rd_{key}@wan100"]
    wan.store.update({"ip6_tunnel_type@wan100": "1", "ip6_6rd_info@wan100": "0 32 2001:db8:: 192.0.2.254"})
    run = start(wan)
    assert {key: text for key, text in run.store.items() if key.startswith("ip6_6rd_")} == {
        "ip6_6rd_info@wan100": "0 32 2001:db8:: 192.0.2.254", "ip6_6rd_v4mask@wan100": "0",
        "ip6_6rd_pfxlen@wan100": "32", "ip6_6rd_prefix@wan100": "2001:db8::",
        "ip6_6rd_border_relay@wan100": "192.0.2.254"}
    assert run.store["ip6_dhcp6c_prefix_addr@system"] == "2001:db8:c000:201::"


@pytest.mark.parametrize("info", ["", None])
def test_without_information_of_the_ipv4_lease_nothing_is_built(wan, info):
    wan.store["ip6_tunnel_type@wan100"] = "1"
    if info is not None:
        wan.store["ip6_6rd_info@wan100"] = info
    run = start(wan)
    assert own_log(run) == ran(DEL) + said("start_6rd", "6rd_info[]")
    assert run.store_changes == {}


def test_settings_made_by_hand_leave_the_information_alone(wan):
    wan.store["ip6_6rd_info@wan100"] = "8 36 2001:db8:10:: 198.51.100.1"
    run = start(wan)
    assert texts(run)[0] == ("str_ip4addr[192.0.2.1], str_prefix[2001:db8::], str_pfxlen[32], "
                             "str_relay[192.0.2.254], str_v4mask[0]")


def test_the_defaults_of_the_settings(wan):
    for key in ("v4mask", "pfxlen", "prefix", "border_relay"):
        del wan.store[f"ip6_6rd_{key}@wan100"]
    run = start(wan)
    assert own_log(run) == (
        ran(DEL)
        + said("start_6rd", "str_ip4addr[192.0.2.1], str_prefix[], str_pfxlen[64], str_relay[], str_v4mask[32]")
        + ran("nslookup  > /tmp/host.log") + said("start_6rd", "tedo: File size is zero!")
        + ran("rm /tmp/host.log"))
    assert run.store_changes == {"ip6_tunnel_status@wan100": (None, "disconnected")}


def test_a_wan_without_an_ipv4_address_is_logged(wan):
    del wan.ip4["ppp0"]
    run = start(wan)
    assert run.messages("get_ip4_addr") == ["ioctl SIOCGIFADDR error."]
    assert texts(run)[0].startswith("str_ip4addr[], str_prefix[2001:db8::], ")


@pytest.mark.parametrize("key, value, status", [
    ("v4mask", "-1", "disconnected"), ("pfxlen", "0", "disconnected"), ("pfxlen", "-32", "disconnected"),
    ("pfxlen", "none", "disconnected"), ("prefix", "", "disconnected"),
    ("v4mask", "33", None), ("v4mask", "1000", None), ("pfxlen", "33", None), ("pfxlen", "64", None),
])
def test_incomplete_settings_mark_the_tunnel_and_excessive_ones_do_not(wan, key, value, status):
    wan.store[f"ip6_6rd_{key}@wan100"] = value
    assert_nothing_built(start(wan), status)


def test_incomplete_settings_are_noticed_before_excessive_ones(wan):
    wan.store.update({"ip6_6rd_v4mask@wan100": "40", "ip6_6rd_prefix@wan100": ""})
    assert_nothing_built(start(wan), "disconnected")


def test_excessive_settings_leave_the_status_as_it_was(wan):
    wan.store.update({"ip6_6rd_v4mask@wan100": "33", "ip6_tunnel_status@wan100": "connected"})
    assert_nothing_built(start(wan), "connected")


# --- the relay

def test_a_relay_with_a_name_is_looked_up(wan):
    wan.store["ip6_6rd_border_relay@wan100"] = "relay.isp.example"
    wan.script("nslookup", "relay.isp.example",
               stdout=ANSWER.format("relay.isp.example", "198.51.100.7", "relay.isp.example"))
    run = start(wan)
    assert own_lines(run)[1:3] == ["nslookup relay.isp.example > /tmp/host.log", "rm /tmp/host.log"]
    assert texts(run)[1] == "FQDN's ip = 198.51.100.7"
    assert own_lines(run)[8] == "/usr/sbin/ip -6 route add default via ::198.51.100.7 dev 6rd metric 1"
    assert run.store["ip6_6rd_border_relay@wan100"] == "relay.isp.example"
    assert "/tmp/host.log" not in run.files


def test_a_relay_that_is_an_address_comes_back_unchanged(wan):
    wan.script("nslookup", stdout=ANSWER.format("192.0.2.254", "192.0.2.254", "relay"))
    run = start(wan)
    assert texts(run)[1] == "FQDN's ip = 192.0.2.254"
    assert RELAY in run.lines


@pytest.mark.parametrize("answer", [
    "Address 1: 198.51.100.7 relay\n",                                      # no name
    "Name:      relay\nAddress 1: 198.51.100.7\n",                          # no blank behind the address
    "Name:      relay\nAddress: 198.51.100.7 relay\n",
    "Name:      relay\nAddress 1: 2001:db8::7 relay\n",
    "server can't find relay\n",
])
def test_an_answer_without_an_address_keeps_the_relay(wan, answer):
    wan.script("nslookup", stdout=answer)
    run = start(wan)
    assert [text for text in texts(run) if "FQDN" in text or "tedo" in text] == []
    assert RELAY in run.lines


def test_an_empty_answer_is_logged(wan):
    run = start(wan)
    assert texts(run)[1] == "tedo: File size is zero!"
    assert RELAY in run.lines


def test_a_long_answer_is_read_whole(wan):
    wan.script("nslookup", stdout="; a remark\n" * 600 + ANSWER.format("relay", "198.51.100.7", "relay"))
    assert texts(start(wan))[1] == "FQDN's ip = 198.51.100.7"


def test_a_relay_that_is_no_word_stays_one_word(wan):
    wan.store["ip6_6rd_border_relay@wan100"] = "192.0.2.254 $(reboot)"
    run = start(wan)
    assert own_lines(run)[1] == "nslookup '192.0.2.254 $(reboot)' > /tmp/host.log"
    assert run.calls_of("nslookup") == [["nslookup", "192.0.2.254 $(reboot)"]]


# --- the tunnel and its prefix

@pytest.mark.parametrize("prefix, pfxlen, v4mask, relay_prefix, delegated, length", [
    ("2001:db8::", 32, 0, "0.0.0.0", "2001:db8:c000:201::", 64),
    ("2001:db8::", 32, 8, "192.0.0.0", "2001:db8:2:100::", 56),
    ("2001:db8::", 32, 16, "192.0.0.0", "2001:db8:201::", 48),
    ("2001:db8::", 32, 24, "192.0.2.0", "2001:db8:100::", 40),
    ("2001:db8::", 32, 31, "192.0.2.0", "2001:db8:8000::", 33),
    ("2001:db8::", 32, 32, "192.0.2.1", "2001:db8:c000:201::", 32),         # the shift by 32 is one by 0
    ("2001:db8::", 32, 1, "128.0.0.0", "2001:db8:8000:402::", 63),
    ("2001:db0::", 28, 0, "0.0.0.0", "2001:dbc:0:2010::", 60),
    ("2001:dbf::", 28, 4, "192.0.0.0", "2001:db0:2:100::", 56),
    ("3ffe::", 20, 0, "0.0.0.0", "3ffe:c00:20:1000::", 52),
    ("2001:db8:ff:ffff::", 40, 8, "192.0.0.0", "2001:db8:0:201::", 64),
    ("2001:db8:1:2::", 48, 16, "192.0.0.0", "2001:db8:1:201::", 64),
    ("2001:db8:1:2::", 56, 32, "192.0.2.1", "2001:db8:1:c0::", 56),
    ("2001:db8:1:2::", 64, 32, "192.0.2.1", "2001:db8:1:2:c000::", 64),
    ("2001:db8:1:2::", 63, 31, "192.0.2.0", "2001:db8:1:3::", 64),
    ("8000::", 1, 0, "0.0.0.0", "e000:100:8000::", 33),
    ("2001:db8::", 7, 0, "0.0.0.0", "2180:4:200::", 39),
])
def test_the_delegated_prefix(wan, prefix, pfxlen, v4mask, relay_prefix, delegated, length):
    wan.store.update({"ip6_6rd_prefix@wan100": prefix, "ip6_6rd_pfxlen@wan100": str(pfxlen),
                      "ip6_6rd_v4mask@wan100": str(v4mask)})
    run = start(wan)
    assert own_lines(run)[3:9] == tunnel(pfxlen, relay_prefix, v4mask, prefix)
    assert texts(run)[-1] == f"delegate_prefix = {delegated}/{length}"
    assert run.store["ip6_dhcp6c_prefix_addr@system"] == delegated
    assert run.store["ip6_dhcp6c_prefix_length@system"] == str(length)
    assert run.addresses["6rd"] == [f"{delegated}1/128"]


def test_the_order_of_the_steps(wan):
    run = start(wan)
    log = own_log(run)
    built = ran(DEL) + said(
        "start_6rd", "str_ip4addr[192.0.2.1], str_prefix[2001:db8::], str_pfxlen[32], str_relay[192.0.2.254], "
        "str_v4mask[0]") + ran(LOOK_UP[0]) + said("start_6rd", "tedo: File size is zero!") + ran(
        LOOK_UP[1], *tunnel(32, "0.0.0.0", 0)) + said(
        "start_6rd", "delegate_prefix = 2001:db8:c000:201::/64") + said(
        "start_ipv6", "delegate_addr = 2001:db8:c000:201::/64")
    assert log[:len(built)] == built
    assert log[-2:] == ran("/usr/sbin/sip_config SIP_CORE_SetVcIPAddr 10  ") + said(
        "set_ipv6_addr", "if_name[6rd] 2001:db8:c000:201::1 128 1")
    assert own_console(run)[-1] == "[set_ipv6_addr] if_name[6rd] 2001:db8:c000:201::1 128 1"
    assert run.switches["6rd/disable_ipv6"] == "0"
    assert run.store["ip6_wan_ready@system"] == "1"
    assert run.store["ip4_wan_ready@system"] == "1"
    assert "ip6_tunnel_status@wan100" not in run.store


def test_the_lans_get_their_part_of_the_tunnels_prefix(wan):
    wan.store["ip6_6rd_v4mask@wan100"] = "8"
    run = start(wan)
    assert run.store["ip6_prefix@lan0"] == "2001:db8:2:101::"
    assert run.store["ip6_prefix@lan1"] == "2001:db8:2:102::"


def test_the_tunnel_has_the_configured_name(wan):
    wan.store["ip6_6rd_ifname@wan100"] = "tun6"
    del wan.links["6rd"]
    wan.links["tun6"] = "00:11:22:33:44:88"
    wan.switch("tun6", "disable_ipv6", "1\n")
    run = start(wan)
    assert own_lines(run)[3:9] == tunnel(32, "0.0.0.0", 0, name="tun6")
    assert run.switches["tun6/disable_ipv6"] == "0"
    assert run.addresses["tun6"] == ["2001:db8:c000:201::1/128"]


def test_failing_commands_do_not_stop_the_tunnel(wan):
    wan.script("ip", status=3)
    wan.script("nslookup", status=1)
    del wan.links["6rd"]
    wan.folder("/proc/sys/net/ipv6/conf/6rd/disable_ipv6")
    run = start(wan)
    assert [status for status, _ in run.shell[2:11]] == [3, 1, 0, 3, 3, 3, 3, 3, 3]
    assert run.store["ip6_dhcp6c_prefix_addr@system"] == "2001:db8:c000:201::"
    assert run.messages("set_ipv6_addr")[-2:] == ["if_name[6rd] 2001:db8:c000:201::1 128 1",
                                                  "ioctl SIOCSIFADDR error."]
    assert run.status == 1


def test_starting_again_removes_the_tunnel_twice_and_the_old_addresses(wan):
    start(wan)
    run = start(wan)
    assert own_lines(run)[0] == DEL
    assert own_lines(run)[3:9] == tunnel(32, "0.0.0.0", 0)
    assert own_lines(run)[9:11] == [
        "/sbin/ifconfig br-lan del 2001:0DB8:C000:0201:0211:22FF:FE33:4455/64",
        "/sbin/ifconfig br-lan1 del 2001:0DB8:C000:0201:0211:22FF:FE33:4466/64"]


def test_information_with_a_word_missing_is_incomplete(wan):
    wan.store.update({"ip6_tunnel_type@wan100": "1", "ip6_6rd_info@wan100": "8 32 2001:db8::"})
    run = start(wan)
    assert run.store["ip6_6rd_border_relay@wan100"] == ""
    assert run.store["ip6_tunnel_status@wan100"] == "disconnected"
    assert own_lines(run) == [DEL, "nslookup  > /tmp/host.log", "rm /tmp/host.log"]


@pytest.mark.parametrize("name", ["../../../../../tmp", "..", ".", "/tmp"])
def test_a_tunnel_name_that_is_a_path_reaches_no_other_file(wan, name):
    wan.store["ip6_6rd_ifname@wan100"] = name
    run = start(wan)
    assert run.messages("write_ipv6_conf") == [f"{name} is no interface name."]
    assert "/tmp/disable_ipv6" not in run.files

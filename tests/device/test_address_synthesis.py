"""Addresses made of a delegated prefix, subnet ids and host identifiers, and the first global id."""
import hashlib

import pytest

from expected_texts import HOME, LAN0_ID, LAN1_ID, ran, said
from wan_setup import UNMANAGED, RECORDS, own_log, record

SHA_LINE = "sha1sum /tmp/sha.txt > /tmp/ula.txt"


# --- LAN prefixes

@pytest.fixture
def lan(gateway):
    gateway.store.update({**HOME, "ip6_ula_eb@lan0": "0", "ip6_ula_eb@lan1": "0"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    return gateway


def carve(lan, prefix, length, sid0="01", sid1="02"):
    lan.store.update({"ip6_dhcp6c_prefix_addr@system": prefix, "ip6_dhcp6c_prefix_length@system": str(length),
                      "ip6_gua_sid@lan0": sid0, "ip6_gua_sid@lan1": sid1})
    return lan.run("ipv6_lan_restart")


def both(routed0, routed1, routing, length):
    return [f"generate_addr: {routed0}:0000:0000:0000:0000", f"routing_prefix: {routing}/{length}",
            f"generate_addr: {routed1}:0000:0000:0000:0000", f"routing_prefix: {routing}/{length}"]


@pytest.mark.parametrize("prefix, length, sids, groups, routing", [
    ("2001:db8:1234:5600::", 56, ("01", "02"), ("2001:0DB8:1234:5601", "2001:0DB8:1234:5602"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:5600::", 60, ("01", "02"), ("2001:0DB8:1234:5601", "2001:0DB8:1234:5602"), "2001:0DB8:1234:56"),
    # the subnet id is a decimal number
    ("2001:db8:1234:5600::", 56, ("10", "99"), ("2001:0DB8:1234:560A", "2001:0DB8:1234:5663"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:5600::", 56, ("0A", "A0"), ("2001:0DB8:1234:5600", "2001:0DB8:1234:5600"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:5600::", 56, ("5", ""), ("2001:0DB8:1234:5605", "2001:0DB8:1234:5600"), "2001:0DB8:1234:56"),
    # it is cut to the bits that a long prefix leaves
    ("2001:db8:1234:5600::", 57, ("99", "88"), ("2001:0DB8:1234:5663", "2001:0DB8:1234:5658"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:5680::", 58, ("99", "64"), ("2001:0DB8:1234:56A3", "2001:0DB8:1234:5680"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:5600::", 59, ("99", "32"), ("2001:0DB8:1234:5603", "2001:0DB8:1234:5600"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:5600::", 60, ("17", "16"), ("2001:0DB8:1234:5601", "2001:0DB8:1234:5600"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:56f8::", 61, ("15", "08"), ("2001:0DB8:1234:56FF", "2001:0DB8:1234:56F8"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:5600::", 62, ("05", "04"), ("2001:0DB8:1234:5601", "2001:0DB8:1234:5600"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:5602::", 63, ("03", "02"), ("2001:0DB8:1234:5603", "2001:0DB8:1234:5602"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:5607::", 64, ("01", "99"), ("2001:0DB8:1234:5607", "2001:0DB8:1234:5607"), "2001:0DB8:1234:56"),
    # it never reaches the seventh octet, and the bits of the prefix below its length are masked first
    ("2001:db8:1200::", 40, ("01", "02"), ("2001:0DB8:1200:0001", "2001:0DB8:1200:0002"), "2001:0DB8:1200:00"),
    ("2001:db8:1234:56ff:1::", 56, ("01", "02"), ("2001:0DB8:1234:5601", "2001:0DB8:1234:5602"), "2001:0DB8:1234:56"),
    ("2001:db8:1234:567f::", 58, ("01", "02"), ("2001:0DB8:1234:5641", "2001:0DB8:1234:5642"), "2001:0DB8:1234:56"),
    ("8000::", 1, ("01", "02"), ("8000:0000:0000:0001", "8000:0000:0000:0002"), "8000:0000:0000:00"),
    ("ffff::", 1, ("01", "02"), ("8000:0000:0000:0001", "8000:0000:0000:0002"), "8000:0000:0000:00"),
])
def test_each_lan_gets_its_part_of_the_delegated_prefix(lan, prefix, length, sids, groups, routing):
    run = carve(lan, prefix, length, *sids)
    assert run.messages("generate_addr") == both(*groups, routing, length)
    assert run.store["ip6_addr@lan0"] == f"{groups[0]}:{LAN0_ID}"
    assert run.store["ip6_addr@lan1"] == f"{groups[1]}:{LAN1_ID}"


@pytest.mark.parametrize("length", [0, 65, 128, -1])
def test_a_length_that_is_none_gives_no_prefix(lan, length):
    run = carve(lan, "2001:db8:1234:5600::", length)
    assert run.messages("generate_addr") == []
    assert "ip6_prefix@lan0" not in run.store


@pytest.mark.parametrize("length, octets", [(60, "560F"), (57, "567F"), (64, "5600"), (56, "56FF"),
                                            (48, "00FF")])
def test_a_subnet_id_with_a_minus_sign_stays_within_its_octet(lan, length, octets):
    run = carve(lan, "2001:db8:1234:5600::", length, "-1", "02")
    assert run.messages("generate_addr")[0] == f"generate_addr: 2001:0DB8:1234:{octets}:0000:0000:0000:0000"
    assert run.store["ip6_prefix@lan0"] == f"2001:db8:1234:{octets.lower().lstrip('0')}::"


def test_without_a_shell_there_is_no_prefix_although_a_subnet_id_is_set(lan):
    lan.shell = False
    run = carve(lan, "2001:db8:1234:5600::", 56)
    assert run.messages("generate_addr") == ["osSystem_GetOutput fail.", "osSystem_GetOutput fail."]
    assert [text for text in run.messages("start_ipv6") if text.startswith("ko3_addr")] == ["ko3_addr: ", "ko3_addr: "]
    assert run.store["ip6_prefix@lan0"] == ""
    assert run.store["ip6_prefix@lan1"] == ""


def test_the_checksum_of_the_settings_is_taken_but_not_used_when_a_subnet_id_is_set(lan):
    missing = carve(lan, "2001:db8:1234:5600::", 56)
    assert missing.stderr == "sum: /etc/config/.glbcfg: No such file or directory\n" * 2
    lan.file("/etc/config/.glbcfg", "some settings\n")
    run = carve(lan, "2001:db8:1234:5600::", 56)
    assert run.stderr == ""
    for each in (missing, run):
        assert each.store["ip6_prefix@lan0"] == "2001:db8:1234:5601::"
        assert each.store["ip6_prefix@lan1"] == "2001:db8:1234:5602::"


# --- host addresses

def test_a_host_identifier_set_by_hand_is_used_as_it_is(lan):
    lan.store.update({"ip6_gua_manual_hostid@lan0": "1", "ip6_gua_hostid@lan0": "0:0:0:1",
                      "ip6_gua_manual_hostid@lan1": "1", "ip6_gua_hostid@lan1": "a:b:c:d"})
    run = carve(lan, "2001:db8:1234:5600::", 56)
    assert run.store["ip6_addr@lan0"] == "2001:0DB8:1234:5601:0:0:0:1"
    assert run.store["ip6_addr@lan1"] == "2001:0DB8:1234:5602:a:b:c:d"
    assert run.addresses["br-lan"] == ["2001:db8:1234:5601::1/64"]
    assert run.addresses["br-lan1"] == ["2001:db8:1234:5602:a:b:c:d/64"]


def test_without_a_host_identifier_the_address_ends_in_a_colon(lan):
    lan.store.update({"ip6_gua_manual_hostid@lan0": "1", "ip6_gua_hostid@lan0": ""})
    run = carve(lan, "2001:db8:1234:5600::", 56)
    assert run.store["ip6_addr@lan0"] == "2001:0DB8:1234:5601:"
    assert run.messages("set_ipv6_addr")[:2] == ["if_name[br-lan] 2001:0DB8:1234:5601: 64 1",
                                                 "ioctl SIOCSIFADDR error."]
    assert run.addresses["br-lan"] == []


def test_the_host_identifier_follows_the_hardware_address(lan):
    lan.links["br-lan"] = "02:1a:2b:3c:4d:5e"
    run = carve(lan, "2001:db8:1234:5600::", 56)
    assert run.store["ip6_addr@lan0"] == "2001:0DB8:1234:5601:001A:2BFF:FE3C:4D5E"


# --- prefixes of the WAN address

@pytest.mark.parametrize("address, length, prefix", [
    ("2001:db8:1:2:3:4:5:6", 64, "2001:db8:1:2::"), ("2001:db8:1:2:3:4:5:6", 128, "2001:db8:1:2:3:4:5:6"),
    ("2001:db8:1:2:3:4:5:6", 127, "2001:db8:1:2:3:4:5:6"), ("2001:db8:1:2:3:4:5:7", 127, "2001:db8:1:2:3:4:5:6"),
    ("2001:db8::", 32, "2001:db8::"), ("3fff:ffff::1", 20, "3fff:f000::"), ("fe80::1", 10, "fe80::"),
    ("febf::1", 10, "fe80::"), ("ffff::", 1, "8000::"), ("2001:db8::1", 125, "2001:db8::"),
    ("2001:db8::ff", 121, "2001:db8::80"), ("::1", 128, "::1"), ("1::", 16, "1::"), ("1::8", 128, "1::8"),
])
def test_the_prefix_of_an_address(gateway, address, length, prefix):
    gateway.store.update(HOME)
    gateway.file(RECORDS, record(**{**UNMANAGED, "address": address, "plen": length}))
    assert gateway.run("dhcp6c_start").store["ip6_prefix@wan100"] == prefix


@pytest.mark.parametrize("address, length, prefix", [
    ("2001:DB8:0:0::5", "48", "2001:db8::"),                # any spelling that the store holds
    ("2001:db8:0001:0000:0000:0000:0000:0005", "64", "2001:db8:1::"),
    ("12345::1", "16", "2345::"),                           # a group keeps its lower sixteen bits
    ("1:2:3:4:5:6:7:8:9", "128", "1:2:3:4:5:6:7:8"),        # eight groups are read
])
def test_the_prefix_of_a_stored_address(gateway, address, length, prefix):
    gateway.store.update({**HOME, "ip6_proto@wan100": "static", "ip6_addr@wan100": address,
                          "ip6_pfxlen@wan100": length, "ip6_changed@wan100": "1"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    gateway.env = {"reason": "EFFECT6", "interface": "ppp0", "stateless": "0"}
    run = gateway.run("zel_dhcp6c_update")
    assert run.store["ip6_prefix@wan100"] == prefix


# --- global ids

@pytest.fixture
def fresh(gateway):
    """A second LAN without a global id."""
    gateway.store.update({**HOME, "ip6_ula_gid@lan1": ""})
    return gateway


def test_the_first_global_id_comes_from_time_and_hardware_address(fresh):
    run = fresh.run("zel_ipv6_lan", "1")
    assert own_log(run)[:3] == (
        said("generate_addr", "time = [1700000000l], [000000006553F100021122FFFE334466]") + ran(SHA_LINE)
        + said("start_ula", "lan1_ip6_ula_gid = e9:0e9a:270e"))
    digest = "97e512e4eb17001c929e82d914e67de90e9a270e"
    assert hashlib.sha1(b"000000006553F100021122FFFE334466").hexdigest() == digest
    assert run.files["/tmp/sha.txt"] == "000000006553F100021122FFFE334466"
    assert run.files["/tmp/ula.txt"] == f"{digest}  /tmp/sha.txt\n"
    assert run.store["ip6_ula_gid@lan1"] == "e9:0e9a:270e"
    assert run.messages("generate_addr") == ["time = [1700000000l], [000000006553F100021122FFFE334466]"]


@pytest.mark.parametrize("now, text", [(0, "0000000000000000"), (4294967295, "00000000FFFFFFFF"),
                                       (4294967296 + 5, "0000000000000005"), (2147483648, "0000000080000000")])
def test_the_time_is_an_unsigned_number_of_32_bits(fresh, now, text):
    fresh.time = now
    run = fresh.run("zel_ipv6_lan", "1")
    assert run.messages("generate_addr") == [f"time = [{now % 2**32}l], [{text}021122FFFE334466]"]
    assert run.files["/tmp/sha.txt"] == f"{text}021122FFFE334466"
    digest = hashlib.sha1(run.files["/tmp/sha.txt"].encode()).hexdigest()
    assert run.store["ip6_ula_gid@lan1"] == f"{digest[30:32]}:{digest[32:36]}:{digest[36:40]}"


def test_files_of_an_earlier_id_are_replaced(fresh):
    fresh.file("/tmp/sha.txt", "x" * 100)
    fresh.file("/tmp/ula.txt", "y" * 100)
    run = fresh.run("zel_ipv6_lan", "1")
    assert run.files["/tmp/sha.txt"] == "000000006553F100021122FFFE334466"
    assert run.store["ip6_ula_gid@lan1"] == "e9:0e9a:270e"


def test_a_text_that_cannot_be_written_is_logged_as_a_failed_command(fresh):
    fresh.folder("/tmp/sha.txt")
    fresh.store["ip6_ula_manual_gid@lan1"] = "1"
    run = fresh.run("zel_ipv6_lan", "1")
    assert own_log(run)[1:3] == ran(SHA_LINE, status=1) + said("generate_addr",
                                                               "system command not executed properly!")
    assert run.store["ip6_ula_gid@lan1"] == ""


def test_a_digest_that_cannot_be_written_gives_no_id(fresh):
    fresh.folder("/tmp/ula.txt")
    fresh.store["ip6_ula_manual_gid@lan1"] = "1"
    run = fresh.run("zel_ipv6_lan", "1")
    assert own_log(run)[1:3] == ran(SHA_LINE, status=2) + said("generate_addr",
                                                               "system command not executed properly!")
    assert run.store["ip6_ula_gid@lan1"] == ""


def test_without_a_shell_the_digest_file_is_taken_as_it_stands(fresh):
    fresh.shell = False
    fresh.file("/tmp/ula.txt", "0123456789abcdef0123456789abcdef0123ABCD  /tmp/sha.txt\n")
    run = fresh.run("zel_ipv6_lan", "1")
    assert own_log(run)[:4] == (
        said("generate_addr", "time = [1700000000l], [000000006553F100021122FFFE334466]") + ran(SHA_LINE, status=-1)
        + said("generate_addr", "system command not executed properly!")
        + said("start_ula", "lan1_ip6_ula_gid = ef:0123:ABCD"))

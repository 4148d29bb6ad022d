"""Starting the DHCPv6 client: older clients, its configuration file, its identifier, its command line."""
import pytest

from expected_texts import HOME, ran, said
from wan_setup import (CONF, LAN0_DUID, LEASES, LIST_CLIENTS, RECORDS, REQUEST_ALL, REQUEST_WITHOUT_SERVERS,
                       RUNNING_CLIENT, SILENT, START_STATEFUL, own_console, own_lines, own_log, record)

STATEFUL = "[waninfo_main][1000] action=00000006, Stateful"
LAUNCHED = "[zel-ipv6 start_dhcp6c] ask_info_only = 0"


@pytest.fixture
def wan(gateway):
    gateway.store.update(HOME)
    gateway.store["ip6_duid_type@wan100"] = "3"
    gateway.file(RECORDS, record(**SILENT))
    return gateway


def start(wan):
    return wan.run("dhcp6c_start")


def log_of_start(run):
    log = own_log(run)
    return type(log)(log[log.index(STATEFUL) + 1:])


# --- the clients that run already

def test_every_ipv6_client_is_killed_whatever_its_interface(wan):
    wan.script("ps", stdout=RUNNING_CLIENT
               + " 4243 root 1700 /usr/sbin/dhclient -4 -cf /tmp/d.conf eth0\n"
               + "4244 root 1700 /usr/sbin/dhclient -d -6 -lf /tmp/x eth7\n"
               + "4245 root 1700 /usr/sbin/dhclient -d -q -6 eth7\n"
               + "4246 root 900 grep dhclient\n"
               + "4247 root 1700 /sbin/dhclient -6 eth7\n"
               + "  4248 nobody S /usr/sbin/dhclient -6\n")
    for pid in range(4242, 4249):
        wan.process(pid)
    run = start(wan)
    assert own_lines(run) == [LIST_CLIENTS, "kill 4242", "kill 4244", "kill 4248", START_STATEFUL]
    assert run.killed == [4242, 4244, 4248]
    assert "/tmp/ps_dhcp6c_s.txt" not in run.files


@pytest.mark.parametrize("arguments, killed", [
    ("-6", True), ("-6x", True), ("-6 -4", True), ("-4 -6", True), ("-P -6pd", True), ("6 -6", True), ("6 6", False),
    ("-4 -4 -6", False), ("-v6 eth0", False)])
def test_the_first_two_arguments_tell_an_ipv6_client(wan, arguments, killed):
    wan.script("ps", stdout=f"4242 root 1700 /usr/sbin/dhclient {arguments}\n")
    wan.process(4242)
    assert start(wan).killed == ([4242] if killed else [])


def test_a_client_that_has_ended_meanwhile_does_not_matter(wan):
    wan.script("ps", stdout=RUNNING_CLIENT)
    run = start(wan)
    assert log_of_start(run) == ran(LIST_CLIENTS) + ran("kill 4242", status=1) + ran(START_STATEFUL)


def test_a_process_list_that_cannot_be_opened_ends_the_start(wan):
    wan.script("ps", sh="until [ -e /tmp/ps_dhcp6c_s.txt ]; do :; done; rm -f /tmp/ps_dhcp6c_s.txt")
    run = start(wan)
    assert log_of_start(run) == ran(LIST_CLIENTS, status=1)
    assert LAUNCHED not in own_console(run)
    assert run.files == {}
    assert "ip6_duid@wan100" not in run.store


# --- the configuration file

def test_the_file_is_written_anew(wan):
    wan.file(CONF, "request everything;\n" * 50)
    assert start(wan).files[CONF] == REQUEST_ALL + f"send dhcp6.client-id {LAN0_DUID};"


def test_a_file_that_cannot_be_opened_ends_the_start(wan):
    wan.folder(CONF)
    run = start(wan)
    assert log_of_start(run) == ran(LIST_CLIENTS, status=1)
    assert LAUNCHED not in own_console(run)
    assert "/tmp/ps_dhcp6c_s.txt" not in run.files
    assert "ip6_duid@wan100" not in run.store


# --- servers known from advertisements

@pytest.mark.parametrize("text, primary, secondary", [
    ("nameserver 2001:db8::1\n", "2001:db8::1", None),
    ("nameserver 2001:db8::1\nnameserver 2001:db8::2\n", "2001:db8::1", "2001:db8::2"),
    ("nameserver 2001:db8::1\nnameserver 2001:db8::2\nnameserver 2001:db8::3\n", "2001:db8::1", "2001:db8::3"),
    ("nameserver\nnameserver 2001:db8::2\n", "nameserver", "2001:db8::2"),
    ("nameserver 2001:db8::1", "2001:db8::", None),
    ("nameserver 2001:db8::1 2001:db8::2\n", "2001:db8::2", None),
    ("search isp.example\nnameserver 2001:db8::2\n", "isp.example", "2001:db8::2"),
    ("nameserver " + "a" * 60 + "\n", "a" * 45, None),
])
def test_servers_known_from_advertisements_are_stored_and_not_asked_for(wan, text, primary, secondary):
    wan.file("/tmp/rdnssd", text)
    run = start(wan)
    assert run.files[CONF] == REQUEST_WITHOUT_SERVERS + f"send dhcp6.client-id {LAN0_DUID};"
    assert run.store.get("ip6_dns_primary@wan100") == primary
    assert run.store.get("ip6_dns_secondary@wan100") == secondary
    assert run.files["/tmp/rdnssd"] == text


@pytest.mark.parametrize("text", [None, "", "nameserver"])
def test_without_such_servers_they_are_asked_for(wan, text):
    wan.store["ip6_dns_primary@wan100"] = "2001:db8::99"
    if text is not None:
        wan.file("/tmp/rdnssd", text)
    run = start(wan)
    assert run.files[CONF] == REQUEST_ALL + f"send dhcp6.client-id {LAN0_DUID};"
    assert run.store["ip6_dns_primary@wan100"] == "2001:db8::99"


def test_servers_stored_earlier_are_replaced(wan):
    wan.store.update({"ip6_dns_primary@wan100": "2001:db8::98", "ip6_dns_secondary@wan100": "2001:db8::99"})
    wan.file("/tmp/rdnssd", "nameserver 2001:db8::1\n")
    run = start(wan)
    assert run.store["ip6_dns_primary@wan100"] == "2001:db8::1"
    assert run.store["ip6_dns_secondary@wan100"] == "2001:db8::99"


# --- the client identifier

@pytest.mark.parametrize("kind", ["0", "2", "3", "9", "-1"])
def test_a_stored_identifier_is_used_as_it_is(wan, kind):
    wan.store.update({"ip6_duid@wan100": "00:02:ab:cd", "ip6_duid_type@wan100": kind})
    run = start(wan)
    assert run.files[CONF] == REQUEST_ALL + "send dhcp6.client-id 00:02:ab:cd;"
    assert run.messages("start_dhcp6c") == []
    assert run.store_changes == {}
    assert own_lines(run)[-1] == START_STATEFUL


def test_the_link_layer_identifier(wan):
    run = start(wan)
    assert run.files[CONF] == REQUEST_ALL + "send dhcp6.client-id 00:03:00:01:00:11:22:33:44:55;"
    assert run.messages("start_dhcp6c") == []
    assert run.store["ip6_duid@wan100"] == "00:03:00:01:00:11:22:33:44:55"


@pytest.mark.parametrize("now, octets, digits", [
    (1700000000, "2c:e6:ad:80", "2ce6ad80"),
    (946684801, "00:00:00:01", "00000001"),
    (946684800, "38:6d:43:80", "386d4380"),
    (4102444800, "bc:19:13:80", "bc191380"),
    (5, "00:00:00:05", "00000005"),
])
def test_the_identifier_with_a_time_counts_from_the_year_2000(wan, now, octets, digits):
    wan.store["ip6_duid_type@wan100"] = "1"
    wan.time = now
    run = start(wan)
    duid = f"00:01:00:01:{octets}:00:11:22:33:44:55"
    assert run.messages("start_dhcp6c") == [f"time = [{digits}], wan_ip6_duid={duid}"]
    assert run.store["ip6_duid@wan100"] == duid
    assert run.files[CONF] == REQUEST_ALL + f"send dhcp6.client-id {duid};"


def test_the_identifier_with_a_time_is_built_anew_at_every_start(wan):
    wan.store["ip6_duid_type@wan100"] = "1"
    start(wan)
    wan.time += 1
    run = start(wan)
    assert run.store_changes == {"ip6_duid@wan100": ("00:01:00:01:2c:e6:ad:80:00:11:22:33:44:55",
                                                     "00:01:00:01:2c:e6:ad:81:00:11:22:33:44:55")}


def test_the_enterprise_identifier_spells_product_and_serial_number(wan):
    wan.store.update({"ip6_duid_type@wan100": "2", "product_class@system": "VX7"})
    run = start(wan)
    duid = "00:02:00:00:7e:d9:56:58:37:53:4e:30:30:30:31"
    assert log_of_start(run) == ran(LIST_CLIENTS, status=1) + said(
        "start_dhcp6c", "number=00:00:7e:d9", "identifier=:56:58:37",
        "identifier=:56:58:37:53:4e:30:30:30:31") + ran(START_STATEFUL)
    assert run.store["ip6_duid@wan100"] == duid
    assert run.files[CONF] == REQUEST_ALL + f"send dhcp6.client-id {duid};"


def test_the_enterprise_identifier_of_an_unnamed_product(wan):
    wan.store["ip6_duid_type@wan100"] = "2"
    wan.script("uboot_env", stdout="\n")
    run = start(wan)
    assert run.messages("start_dhcp6c") == ["number=00:00:7e:d9", "identifier=", "identifier="]
    assert run.store["ip6_duid@wan100"] == "00:02:00:00:7e:d9"


def test_a_long_enterprise_identifier_is_cut_to_its_room(wan):
    wan.store.update({"ip6_duid_type@wan100": "2", "product_class@system": "P" * 31})
    wan.script("uboot_env", stdout="S" * 63 + "\n")
    run = start(wan)
    whole = "00:02:00:00:7e:d9" + ":50" * 31 + ":53" * 63
    assert run.messages("start_dhcp6c") == ["number=00:00:7e:d9", "identifier=" + ":50" * 31,
                                            "identifier=" + ":50" * 31 + ":53" * 63]
    assert run.store["ip6_duid@wan100"] == whole[:255]
    assert run.files[CONF] == REQUEST_ALL + f"send dhcp6.client-id {whole[:255]};"


@pytest.mark.parametrize("kind", [None, "0", "4", "-1", "two"])
def test_without_an_identifier_an_unknown_type_ends_the_start(wan, kind):
    if kind is None:
        del wan.store["ip6_duid_type@wan100"]
    else:
        wan.store["ip6_duid_type@wan100"] = kind
    run = start(wan)
    assert log_of_start(run) == ran(LIST_CLIENTS, status=1) + said(
        "start_dhcp6c", "The type of DHCP Unique Identifier (DUID) is incorrect.")
    assert own_console(run)[-1] == "call start_dhcp6c(tid, ASK_ADDR_INFO) , line:N"
    assert run.files == {CONF: REQUEST_ALL}
    assert run.store_changes == {}
    assert run.status == 1


def test_an_identifier_that_would_end_its_statement_is_left_out_of_the_file(wan):
    wan.store["ip6_duid@wan100"] = "00:01;} send host-name evil"
    run = start(wan)
    assert run.files[CONF] == REQUEST_ALL
    assert len(run.messages("start_dhcp6c")) == 1
    assert CONF in run.messages("start_dhcp6c")[0]


# --- the launch

def test_the_client_gets_its_arguments(wan):
    wan.wan("eth4.7")
    wan.file(RECORDS, record(**SILENT, link="eth4.7"))
    run = start(wan)
    assert run.calls_of("dhclient") == [[
        "/usr/sbin/dhclient", "-6", "-P", "-d", "-q", "-nw", "-cf", "/tmp/dhcp6c-wan.conf",
        "-sf", "/usr/sbin/zel_dhcp6c_update", "-lf", "/tmp/dhcp6c-wan.leases", "-pf", "/var/run/dhcp6c-wan.pid",
        "-e", "stateless=0", "eth4.7"]]


def test_a_kept_lease_is_left_for_the_new_client(wan):
    wan.file(LEASES, "lease6 {}\n")
    assert start(wan).files[LEASES] == "lease6 {}\n"


def test_a_client_that_fails_is_not_noticed(wan):
    wan.script("dhclient", status=1)
    run = start(wan)
    assert run.status == 1
    assert own_console(run)[-1] == LAUNCHED

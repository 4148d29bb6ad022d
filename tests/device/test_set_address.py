"""zel_ifconfig: one address put on an interface or taken away."""
import pytest


def test_an_address_is_added(gateway):
    run = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", "1")
    assert run.status == 1
    assert run.log == ("[main][1000] ^_^[/usr/sbin/zel_ifconfig] start.\n\n"
                       "[main][1000] @[set_ip6addr][/usr/sbin/zel_ifconfig br-lan fd00::1 64 1]\n"
                       "[set_ipv6_addr][1000] if_name[br-lan] fd00::1 64 1\n"
                       "[main][1000] ^_^[/usr/sbin/zel_ifconfig] ERROR_NONE, end.\n\n")
    assert run.console == "[set_ipv6_addr] if_name[br-lan] fd00::1 64 1\n"
    assert run.stderr == ""
    assert run.journal == []
    assert run.files == {}
    assert run.switches == {}
    assert run.store_changes == {}
    assert run.addresses == {"br-lan": ["fd00::1/64"], "br-lan1": [], "ppp0": []}


@pytest.mark.parametrize("operation, number", [("0", 0), ("2", 2), ("-1", -1), ("", 0), ("add", 0), ("11", 11)])
def test_any_operation_but_one_deletes(gateway, operation, number):
    gateway.address("br-lan", "fd00::1/64")
    run = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", operation)
    assert run.status == 1
    assert run.log_lines[2:4] == [
        f"[main][1000] @[set_ip6addr][/usr/sbin/zel_ifconfig br-lan fd00::1 64 {operation}]",
        f"[set_ipv6_addr][1000] if_name[br-lan] fd00::1 64 {number}",
    ]
    assert run.console == f"[set_ipv6_addr] if_name[br-lan] fd00::1 64 {number}\n"
    assert run.addresses["br-lan"] == []


@pytest.mark.parametrize("operation", ["1", " 1", "1st", "01", "+1"])
def test_the_operation_is_read_as_a_number(gateway, operation):
    run = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", operation)
    assert run.addresses["br-lan"] == ["fd00::1/64"]


@pytest.mark.parametrize("text, length", [("48", 48), ("128", 128), ("64bits", 64)])
def test_the_prefix_length_is_read_as_a_number(gateway, text, length):
    run = gateway.run("zel_ifconfig", "br-lan", "fd00::1", text, "1")
    assert run.messages("set_ipv6_addr") == [f"if_name[br-lan] fd00::1 {length} 1"]
    assert run.addresses["br-lan"] == [f"fd00::1/{length}"]


def test_the_other_addresses_of_the_interface_stay(gateway):
    gateway.address("br-lan1", "fd00::1/64")
    gateway.address("br-lan1", "fd00::2/64")
    run = gateway.run("zel_ifconfig", "br-lan1", "fd00::2", "64", "0")
    assert run.addresses["br-lan1"] == ["fd00::1/64"]


def test_an_address_in_any_spelling_is_taken(gateway):
    run = gateway.run("zel_ifconfig", "br-lan", "FD00:0:0:0:0:0:0:00AB", "64", "1")
    assert run.addresses["br-lan"] == ["fd00::ab/64"]


@pytest.mark.parametrize("interface, address, length, operation, refusal", [
    ("nosuch0", "fd00::1", "64", "1", "ioctl SIOCSIFADDR error."),
    ("nosuch0", "fd00::1", "64", "0", "ioctl SIOCDIFADDR error."),
    ("br-lan", "fd00::1", "129", "1", "ioctl SIOCSIFADDR error."),
    ("br-lan", "fd00::9", "64", "0", "ioctl SIOCDIFADDR error."),
    ("br-lan", "not-an-address", "64", "1", "ioctl SIOCSIFADDR error."),
    ("br-lan", "", "64", "0", "ioctl SIOCDIFADDR error."),
])
def test_a_refusal_of_the_kernel_is_logged_and_the_run_ends_normally(gateway, interface, address, length, operation,
                                                                     refusal):
    run = gateway.run("zel_ifconfig", interface, address, length, operation)
    assert run.status == 1
    assert run.messages("set_ipv6_addr") == [f"if_name[{interface}] {address} {length} {operation}", refusal]
    assert run.messages("main")[-1] == "^_^[/usr/sbin/zel_ifconfig] ERROR_NONE, end.\n"
    assert run.addresses["br-lan"] == []


def test_adding_an_address_twice_is_refused_by_the_kernel_only(gateway):
    gateway.address("br-lan", "fd00::1/64")
    run = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", "1")
    assert run.status == 1
    assert run.messages("set_ipv6_addr") == ["if_name[br-lan] fd00::1 64 1", "ioctl SIOCSIFADDR error."]
    assert run.addresses["br-lan"] == ["fd00::1/64"]


@pytest.mark.parametrize("args", [[], ["br-lan"], ["br-lan", "fd00::1"], ["br-lan", "fd00::1", "64"]])
def test_with_too_few_arguments_nothing_runs(gateway, args):
    run = gateway.run("zel_ifconfig", *args)
    assert run.status == 1
    assert run.stderr == "\t/usr/sbin/zel_ifconfig is not support!\n"
    assert run.log == ("[main][1000] ^_^[/usr/sbin/zel_ifconfig] start.\n\n"
                       "[main][1000] ^_^[/usr/sbin/zel_ifconfig] ERROR_NONE, end.\n\n")
    assert run.console == ""
    assert run.journal == []


def test_further_arguments_are_not_read(gateway):
    run = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", "1", "0", "x")
    assert run.addresses["br-lan"] == ["fd00::1/64"]
    assert run.messages("main")[1] == "@[set_ip6addr][/usr/sbin/zel_ifconfig br-lan fd00::1 64 1]"


def test_the_parameters_are_not_loaded(gateway):
    run = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", "1")
    assert run.messages("prepare_parm") == []
    assert run.store == {}


def test_it_works_without_log_and_console(gateway):
    gateway.folder("/tmp/ipv6.log")
    gateway.folder("/dev/console")
    run = gateway.run("zel_ifconfig", "br-lan", "fd00::1", "64", "1")
    assert run.status == 1
    assert run.addresses["br-lan"] == ["fd00::1/64"]

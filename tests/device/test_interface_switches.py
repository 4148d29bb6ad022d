"""The per-interface switches of the kernel."""


def test_a_switch_is_written_without_a_line_end(gateway):
    gateway.store["ip6_ula_eb@lan1"] = "1"
    run = gateway.run("zel_ipv6_lan", "1")
    assert run.switches == {"br-lan1/disable_ipv6": "0", "br-lan1/accept_ra": "0", "br-lan1/forwarding": "1\n"}


def test_a_missing_interface_folder_is_ignored_silently(gateway):
    gateway.store["ip6_ula_eb@lan1"] = "1"
    gateway.remove("/proc/sys/net/ipv6/conf/br-lan1")
    run = gateway.run("zel_ipv6_lan", "1")
    assert run.status == 1
    assert run.switches == {}
    assert "disable_ipv6" not in run.log
    assert "accept_ra" not in run.log
    assert run.addresses["br-lan1"] == ["fde9:e9a:270e:0:211:22ff:fe33:4466/64"]


def test_a_switch_that_cannot_be_opened_is_ignored_silently(gateway):
    gateway.store["ip6_ula_eb@lan1"] = "1"
    gateway.folder("/proc/sys/net/ipv6/conf/br-lan1/disable_ipv6")
    run = gateway.run("zel_ipv6_lan", "1")
    assert run.status == 1
    assert run.switches == {"br-lan1/accept_ra": "0", "br-lan1/forwarding": "1\n"}

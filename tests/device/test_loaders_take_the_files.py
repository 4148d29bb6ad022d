"""The real loaders read what the program wrote of hostile settings: none may refuse a whole file for one value."""
import subprocess

import pytest

from expected_texts import HOME, LAN0_ULA, LAN1_ULA

TEXTS = [
    " ", "abc", "-5", "0x10", "08", "1 2", "infinity", "infinite", "256", "99999999", "-", "!", "+", "*", "..", "/", ":", ",",
    "on", "prefix", "AdvOnLink", "a_b.example", "a..b", "a" * 64, "isp.example on", "host.example", "192.0.2.1",
    "2001:db8::1", "2001:db8::/64", "2001:db8::1%ppp0", "2001:db8:1:2:", "2001:db8::1,2001:db8::2", "::ffff:192.0.2.1",
    "2001:0DB8:1234:5612C::", "2001:db8::1 2001:db8::2 2001:db8::3", "a;b", "a{b", "}", 'a"b', "a#b", "a\\b", "a'b", "$(reboot)",
    "`reboot`", "-j ACCEPT", "\udcff\udcfe", "%s%n", "ppp0123456789abcdef", "ppp+", "!ppp0", "a/b", "-A",
]

# Settings that get one of the texts at the same time, by loader: none of them keeps the others from being written.
GROUPS = [
    ("radvd", ["ip6_lease@wan100", "ip6_life@wan100", "ip6_dns1@system", "ip6_dns2@system", "ip6_domain@wan100",
               "mtu@wan100", "ip6_ula_prefer@lan0", "ip6_ula_valid@lan0"]),
    ("radvd", ["ip6_prefix@lan0", "ip6_ula_gid@lan0", "ip6_ula_sid@lan1"]),
    ("radvd", ["ip6_pfxlen@lan0"]),
    ("dhcpd", ["ip6_dhcp_valid@lan0", "ip6_dhcp_prefer@lan0", "ip6_dhcp_renew@lan0", "ip6_dhcp_rebind@lan0",
               "ip6_dhcp_pref@lan0", "ip6_dns1@system", "ip6_dns2@system", "ip6_domain@wan100"]),
    ("dhcpd", ["ip6_prefix@lan0"]),
    ("dhcpd without a WAN", ["ip6_ula_gid@lan0", "ip6_ula_sid@lan1"]),
    ("ip6tables", ["ip6_prefix@wan100", "ip6_prefix@lan0", "ip6_dhcp6c_prefix_addr@system"]),
    ("ip6tables", ["ip6_pfxlen@wan100", "ip6_pfxlen@lan0", "ip6_dhcp6c_prefix_length@system"]),
    ("ip6tables", ["ip6_filter_list@wan100"]),
    ("ip6tables", ["wandataif.sh"]),
]

# What dhcpd refuses and is written all the same: whether a prefix has bits behind its length is not looked at.
KNOWN = {("dhcpd", "2001:db8::1"), ("dhcpd", "::ffff:192.0.2.1")}


@pytest.fixture
def settled(gateway):
    gateway.store.update(HOME)
    gateway.store.update({
        "ip6_proto@wan100": "static", "ip6_wan_ready@system": "1", "ip6_dns1@system": "2001:db8::53",
        "ip6_domain@wan100": "isp.example", "ip6_ula_addr@lan0": LAN0_ULA, "ip6_ula_addr@lan1": LAN1_ULA,
        "ip6_prefix@lan0": "2001:db8:1234:5601::", "ip6_pfxlen@lan0": "64",
        "ip6_prefix@lan1": "2001:db8:1234:5602::", "ip6_pfxlen@lan1": "64",
        "ip6_dhcp6c_prefix_addr@system": "2001:db8:1234:5600::", "ip6_dhcp6c_prefix_length@system": "56",
        "ip6_prefix@wan100": "2001:db8:1::", "ip6_pfxlen@wan100": "64", "ip6_filter_cnt@wan100": "1",
        "ip6_filter_list@wan100": "web;2001:db8::10;tcp;80;80;;;;"})
    gateway.file("/tmp/resolv.conf.auto", "nameserver 10.0.0.1\n")
    return gateway


def loader_of(world, kind, tmp_path):
    """A function that gives what the loader says of a file that it refuses, nothing of one that it takes."""
    if kind == "ip6tables":
        programs = [["/usr/sbin/ip6tables-nft-restore", "--test"], ["/usr/sbin/ip6tables-legacy-restore", "--test"]]
    elif kind == "radvd":
        programs = [["/usr/sbin/radvd", "-c", "-m", "stderr", "-p", str(tmp_path / "pid"), "-C"]]
    else:
        programs = [["/usr/sbin/dhcpd", "-6", "-t", "-cf"]]

    def refusal(text):
        path = tmp_path / "file"
        path.write_bytes(text.replace("/tmp/dhcp6d.leases", str(tmp_path / "leases"))
                         .encode("utf-8", "surrogateescape"))
        (tmp_path / "leases").touch()
        for program in programs:
            loader = world.popen([*program, str(path)], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                 stderr=subprocess.PIPE)
            said = loader.communicate()[1]
            if loader.returncode != 0:
                return said.decode(errors="replace")
        return ""
    return refusal


def hostile(setting, text):
    """The text in its place: the list of services has fields of its own."""
    if setting == "ip6_filter_list@wan100":
        text = text.replace("/", "").replace("'", "")
        return f"a;{text};tcp;80;80/b;2001:db8::1;{text};1;2/c;2001:db8::1;b;{text};7/d;2001:db8::1;udp;7;{text}"
    return text


@pytest.mark.parametrize("kind, settings", GROUPS, ids=[f"{kind}-{settings[0]}" for kind, settings in GROUPS])
def test_no_hostile_setting_makes_a_loader_refuse_the_file(settled, _world, tmp_path, kind, settings):
    refusal = loader_of(_world, kind, tmp_path)
    file = {"ip6tables": "/tmp/.ip6t", "radvd": "/tmp/radvd.conf"}.get(kind, "/tmp/dhcp6d.conf")
    if kind == "dhcpd without a WAN":
        settled.store["ip6_wan_ready@system"] = "0"
    command = ["ipv6_lan_restart"] if kind == "ip6tables" else ["zel_ipv6_lan", "lan"]
    usual = dict(settled.store)
    assert refusal(settled.run(*command).files[file]) == ""
    refused = {}
    for text in TEXTS:
        settled.store = dict(usual)
        if settings == ["wandataif.sh"]:
            settled.script("wandataif.sh", stdout=(text.strip() or "ppp0") + "\n")     # an empty name is written as it is
        else:
            settled.store.update({setting: hostile(setting, text) for setting in settings})
        said = refusal(settled.run(*command).files[file])
        known = (kind, text) in KNOWN and settings == ["ip6_prefix@lan0"]
        if bool(said) != known:
            refused[text] = said
    assert refused == {}

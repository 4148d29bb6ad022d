"""Situations in which a command has its usual work to do."""
import dataclasses
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests/device"))

from expected_texts import HOME, LAN0_ULA, LAN1_ULA                             # noqa: E402
from wan_setup import MANAGED, RECORDS, record                                  # noqa: E402

LINKS = {"br-lan": "00:11:22:33:44:55", "br-lan1": "00:11:22:33:44:66", "ppp0": "00:11:22:33:44:77"}
DEVICE = {"wandataif.sh": "ppp0\n", "if2sect.sh": "wan100\n", "uboot_env": "SN0001\n"}
GUARD = "/tmp/zel_ipv6cp_script_running"
SERVERS = {"/tmp/resolv.conf.auto": "nameserver 192.0.2.53\nnameserver 192.0.2.54\n"}

_ULA = {"ip6_ula_addr@lan0": LAN0_ULA, "ip6_ula_addr@lan1": LAN1_ULA, "ip6_pfxlen@lan0": "64",
        "ip6_pfxlen@lan1": "64", "product_class@system": "GW-1"}
_LEASE = {
    "ip6_proto@wan100": "dhcp", "ip6_addr@wan100": "3fff:1::5", "ip6_prefix@wan100": "3fff:1::",
    "ip6_pfxlen@wan100": "64", "ip6_gateway@wan100": "fe80::1", "ip6_dns_primary@wan100": "3fff::53",
    "ip6_dns_secondary@wan100": "3fff::54", "ip6_dns@wan100": "3fff::53 3fff::54", "ip6_domain@wan100": "isp.example",
    "ip6_lease@wan100": "3600", "ip6_life@wan100": "7200", "ip6_stateless@wan100": "0", "ip6_duid_type@wan100": "3",
    "ip6_dhcp6c_prefix_addr@system": "3fff:1234:5600::", "ip6_dhcp6c_prefix_length@system": "56",
    "ip6_wan_ready@system": "1", "ip4_wan_ready@system": "1", "dns@wan100": "192.0.2.53", "sdns@wan100": "192.0.2.54",
}
_OLD_LAN = {
    "ip6_addr@lan0": "3FFF:1234:5500:0001:0211:22FF:FE33:4455", "ip6_prefix@lan0": "3fff:1234:5500:1::",
    "ip6_addr@lan1": "3FFF:1234:5500:0002:0211:22FF:FE33:4466", "ip6_prefix@lan1": "3fff:1234:5500:2::",
}
_ADDRESSES = (("br-lan", LAN0_ULA + "/64"), ("br-lan1", LAN1_ULA + "/64"))
_BINDING = {
    "reason": "BOUND6", "interface": "ppp0", "stateless": "0", "new_ip6_address": "3fff:1::5",
    "new_ip6_prefixlen": "128", "new_ip6_prefix": "3fff:1234:5600::/56", "new_dhcp6_name_servers": "3fff::53 3fff::54",
    "new_dhcp6_domain_search": "isp.example.", "new_dhcp6_sntp_servers": "3fff::123", "new_preferred_life": "3600",
    "new_max_life": "7200", "new_renew": "1800", "new_rebind": "2880",
}
STORE_KEYS = 500


def padded(store, count=STORE_KEYS):
    """The store of a gateway that has other settings too."""
    others = {f"option_{number}@service{number % 20}": f"value {number}" for number in range(count - len(store))}
    return {**store, **others}


@dataclasses.dataclass
class Scene:
    store: dict = dataclasses.field(default_factory=lambda: padded(HOME))
    files: dict = dataclasses.field(default_factory=dict)
    answers: dict = dataclasses.field(default_factory=lambda: dict(DEVICE))
    env: dict = dataclasses.field(default_factory=dict)
    addresses: tuple = ()


def neighbor(number, uptime=None):
    """One line of the kernel's neighbor table, or with `uptime` of the stored one."""
    text = f"2001:db8:0:1::{number:x} dev br-lan lladdr 02:00:00:00:{number >> 8:02x}:{number & 255:02x}"
    return f"{text} STALE\n" if uptime is None else f"{text} uptime {uptime}\n"


def neighbors(count):
    """A LAN whose hosts are all known and all there."""
    return Scene(files={"/tmp/.ip6_neigh": "".join(neighbor(n, 900) for n in range(count))},
                 answers={**DEVICE, "ip": "".join(neighbor(n) for n in range(count))})


def lan_restart(**more):
    return Scene(padded({**HOME, **_ULA, **_LEASE, **_OLD_LAN, **more}), dict(SERVERS), addresses=_ADDRESSES)


# What is compared with the floor: name -> (words, scene).
FLOOR = {
    "zel_ipv6_lan": (("zel_ipv6_lan", "lan"), Scene(padded({**HOME, **_ULA}), addresses=_ADDRESSES)),
    "zel_ipv6cp_up": (("zel_ipv6cp_up",),
                      Scene(padded({**HOME, **_ULA, **_LEASE}), {RECORDS: record(**MANAGED), GUARD: "0"})),
    "zel_dhcp6c_update BOUND6": (("zel_dhcp6c_update",), Scene(padded({**HOME, **_ULA}), env=_BINDING)),
    "zel_dhcp6c_update EFFECT6": (
        ("zel_dhcp6c_update",),
        Scene(padded({**HOME, **_ULA, **_LEASE, **_OLD_LAN, "ip6_changed@wan100": "1"}), dict(SERVERS),
              env={"reason": "EFFECT6", "interface": "ppp0", "stateless": "0"}, addresses=_ADDRESSES)),
    "ipv6_lan_restart": (("ipv6_lan_restart",), lan_restart()),
    "zel_resolv_update": (("zel_resolv_update",), Scene(padded({**HOME, **_ULA, **_LEASE}), dict(SERVERS))),
}

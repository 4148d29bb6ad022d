"""One rich situation for each command, in which its whole sequence has something to do.

SCENES maps a name to a Scene; each command has one, the DHCPv6 client's hook two.
"""
from dataclasses import dataclass, field

from expected_texts import HOME
from sandbox import COMMANDS
from wan_setup import LEASES, MANAGED, PID_FILE, RECORDS, RUNNING_CLIENT, record

GUARD = "/tmp/zel_ipv6cp_script_running"
NEIGHBORS = ("fe80::a dev br-lan lladdr 00:11:22:33:44:0a router REACHABLE\n"
             "3fff:1234:0:5602::b dev br-lan1 lladdr 00:11:22:33:44:0b STALE\n")
KNOWN_NEIGHBOR = "fe80::c dev br-lan1 lladdr 00:11:22:33:44:0c uptime 900\n"
RULES = ("*filter\n:INPUT ACCEPT [0:0]\n:FORWARD ACCEPT [0:0]\n:OUTPUT ACCEPT [0:0]\n-A INPUT -i lo -j ACCEPT\n"
         "-A OUTPUT -o ppp0 -j DROP\nCOMMIT\n")
ANSWER = "Server:    192.0.2.53\nAddress 1: 192.0.2.53 dns\n\nName:      relay\nAddress 1: 192.0.2.254 relay\n"
LEASE = {
    "new_ip6_address": "3fff:1::5", "new_ip6_prefixlen": "128", "new_ip6_prefix": "3fff:1234:0:5700::/56",
    "new_dhcp6_name_servers": "3fff::53 3fff::54", "new_dhcp6_domain_search": "isp.example.",
    "new_dhcp6_sntp_servers": "3fff::123", "new_preferred_life": "3600", "new_max_life": "7200", "new_renew": "1800",
    "new_rebind": "2880",
}
# Files that one invocation leaves for a later one.
STATE_FILES = [GUARD, "/tmp/.ip6_neigh", "/tmp/resolv.conf.auto", "/tmp/resolv.conf", "/tmp/rdnssd", PID_FILE, LEASES]

_STORE = {
    **HOME,
    "ip6_changed@wan100": "1", "ip6_stateless@wan100": "0", "ip6_addr@wan100": "3fff:1::5", "ip6_pfxlen@wan100": "64",
    "ip6_gateway@wan100": "fe80::1", "ip6_dns_primary@wan100": "3fff::53", "ip6_domain@wan100": "isp.example",
    "ip6_lease@wan100": "3600", "ip6_life@wan100": "7200", "ip6_duid_type@wan100": "3",
    "ip6_dhcp6c_prefix_addr@system": "3fff:1234:0:5600::", "ip6_dhcp6c_prefix_length@system": "56",
    "ip6_filter_list@wan100": "web;3fff:1234:0:5601::10;tcp;80;80;;;;", "ip6_filter_cnt@wan100": "1",
    "ip6_wan_ready@system": "1", "ip4_wan_ready@system": "1", "product_class@system": "GW-1",
    "add_static_route@system": "1", "num_extra_routes@system": "2", "ip6_extra_sid@system": "12",
    "ip6_pre_routing_prefix@system": "3FFF:1234:0000:55",
    "extra_sid_1@system": "10", "extra_gateway_1@system": "fe80::a",
    "extra_sid_2@system": "11", "extra_gateway_2@system": "fe80::dead",
    "ip6_addr@lan0": "3FFF:1234:0000:5501:0211:22FF:FE33:4455", "ip6_prefix@lan0": "3fff:1234:0:5501::",
    "ip6_addr@lan1": "3FFF:1234:0000:5502:0211:22FF:FE33:4466", "ip6_prefix@lan1": "3fff:1234:0:5502::",
    "ip6_pfxlen@lan0": "64", "ip6_pfxlen@lan1": "64",
}
_STORE["ip6_pre_manual_gid@lan1"] = "1"     # the second LAN's id has to be made
_TUNNEL = {
    "ip6_proto@wan100": "tunnel", "ip6_tunnel_type@wan100": "2", "ip6_6rd_v4mask@wan100": "0",
    "ip6_6rd_pfxlen@wan100": "32", "ip6_6rd_prefix@wan100": "3fff:10::", "ip6_6rd_border_relay@wan100": "relay",
}


@dataclass
class Scene:
    command: str
    args: tuple = ()
    env: dict = field(default_factory=dict)
    store: dict = field(default_factory=dict)

    def furnish(self, gateway):
        furnish(gateway, {**_STORE, **self.store}, self.env)

    def run(self, gateway):
        return gateway.run(self.command, *self.args)


def furnish(gateway, store, env):
    """What all scenes have."""
    gateway.store.update(store)
    gateway.env.update(env)
    gateway.ip4["ppp0"] = "192.0.2.1/24"
    gateway.links["6rd"] = "00:11:22:33:44:88"
    gateway.file(RECORDS, record(**MANAGED))
    gateway.file(PID_FILE, "4242\n")
    gateway.file(LEASES, "lease\n")
    gateway.file("/tmp/rdnssd", "nameserver 3fff::99\n")
    gateway.file("/tmp/resolv.conf", "nameserver fe80::1\nnameserver 192.0.2.53\n")
    gateway.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\nnameserver 192.0.2.54\n")
    gateway.file("/tmp/.ip6_neigh", KNOWN_NEIGHBOR)
    gateway.file("/etc/config/.glbcfg", "settings\n")
    gateway.script("ip", "-6", "neigh", "show", stdout=NEIGHBORS)
    gateway.script("iptables-save", stdout=RULES)
    gateway.script("nslookup", stdout=ANSWER)
    gateway.script("ps", stdout=RUNNING_CLIENT)


def tunnel_store():
    return {**_STORE, **_TUNNEL}


def plain_store():
    return dict(_STORE)


_EVENT = {"interface": "ppp0", "stateless": "0"}
_ARGS = {"zel_ipv6_lan": ("lan",), "zel_ifconfig": ("br-lan", "fd00::1", "64", "1")}
_STORES = {"wan6c_restart": _TUNNEL, "ipv6rd_restart": _TUNNEL, "zel_ipv6cp_down": {"on-demand@wan100": "1"}}
SCENES = {name: Scene(name, _ARGS.get(name, ()), store=_STORES.get(name, {})) for name in COMMANDS}
SCENES["zel_dhcp6c_update"] = Scene("zel_dhcp6c_update", env={"reason": "BOUND6", **_EVENT, **LEASE})
SCENES["zel_dhcp6c_update EFFECT6"] = Scene("zel_dhcp6c_update", env={"reason": "EFFECT6", **_EVENT})

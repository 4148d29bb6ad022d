"""What the rehearsed gateway finds around it: interfaces, the WAN's router. Given, else of settings or machine, else assumed."""
import fcntl
import ipaddress
import os
import pathlib
import re
import socket
import struct

from .places import INSIDE, Unusable
from .words import shown

LINK = re.compile(r"(?!\.\.?\Z)[A-Za-z0-9_.][A-Za-z0-9_.-]{0,14}\Z")
SECTION = re.compile(r"[A-Za-z0-9_.-]{1,31}\Z")
MAC = re.compile(r"(?!00:00:00:00:00:00)[0-9a-f][02468ace](?::[0-9a-f]{2}){5}\Z")
HOST_ID = re.compile(r"[0-9A-Fa-f]{4}(?::[0-9A-Fa-f]{4}){3}\Z")
TAKEN = {"br-lan", "br-lan1", "6rd", "lo", "all", "default"}
BRIDGES = {"br-lan": "lan0", "br-lan1": "lan1"}     # and their sections
SIOCGIFADDR, SIOCGIFNETMASK = 0x8915, 0x891b    # linux/sockios.h
DOCUMENTED = "192.0.2.2/24"         # RFC 5737
ROUTER = "fe80::1"
ADVERTISED_PREFIX = "3fff:1::"      # RFC 9637
ADVERTISEMENTS = {"managed": 0x60, "other": 0xa0, "none": 0}   # received 0x20, Managed 0x40, Other 0x80


def delegated(text):
    """The settings that a lease with this prefix leaves behind; none for None."""
    if text is None:
        return []
    address, slash, _ = text.partition("/")
    try:
        prefix = ipaddress.IPv6Network(text, strict=False)
        host = ipaddress.IPv6Address(address)
    except ValueError as error:
        raise Unusable(f"--delegated {shown(text) or repr('')}: no IPv6 prefix, such as 3fff:1234:0:5600::/56") from error
    if not slash:
        raise Unusable(f"--delegated {text}: no length, such as /56")
    if host != prefix.network_address:
        raise Unusable(f"--delegated {text}: bits are set behind its length; the prefix is {prefix}")
    return [f"ip6_dhcp6c_prefix_addr@system={prefix.network_address}", f"ip6_dhcp6c_prefix_length@system={prefix.prefixlen}"]


def furnish(gateway, asked, own, released):
    """Gives the gateway its surroundings; returns its WAN interface and the lines that say what they are. `own`: it is this machine;
    `released`: a client gives the leased address back before anybody looks."""
    wan, section = _wan_of(gateway.store)
    gateway.wan(wan, section)
    told = [f"WAN interface {wan}, section {section}"]
    given = _given_macs(asked.mac, gateway.links)
    from_where = {}
    for link in gateway.links:
        gateway.links[link], from_where[link] = _mac(link, given, gateway.store) or (gateway.links[link], " (assumed)")
    told.append("hardware addresses: " + ", ".join(f"{link} {mac}{from_where[link]}" for link, mac in gateway.links.items()))
    ip4 = _ip4(asked.ip4) if asked.ip4 is not None else _own_ip4(wan) if own else None
    gateway.ip4[wan] = ip4 or DOCUMENTED
    told.append(f"IPv4 address of the WAN: {gateway.ip4[wan]}{'' if ip4 else ' (assumed)'}")
    leased = gateway.store.get(f"ip6_addr@{section}", "") if released else None
    addresses = _own_addresses(wan) if own else None
    if addresses is not None:
        addresses = [each for each in addresses if str(each.ip) != leased]
    told.append(_advertise(gateway, asked.advertised, wan, _router_of(gateway.store, section), addresses))
    return wan, told


def _advertise(gateway, what, wan, router, addresses):
    """Writes the router-advertisement records of the WAN; returns the line that says what they tell. `addresses`: None when not known."""
    flags = ADVERTISEMENTS[what]
    known = addresses is not None
    if not known:
        addresses = [_address_of(gateway.links[wan], ADVERTISED_PREFIX if flags else "fe80::")]
    gateway.file("/proc/net/if_flags6", "".join(_record(wan, address, flags, router or ROUTER) for address in addresses))
    told = ("no router advertises on the WAN" if what == "none" else
            f"the WAN's router {router or f'{ROUTER} (assumed)'} advertises {'Managed' if what == 'managed' else 'Other, not Managed'}")
    if known:
        return f"{told}; addresses of the WAN: {', '.join(map(str, addresses)) or 'none'}"
    return f"{told}, and the prefix {ADVERTISED_PREFIX}/64 (assumed)" if flags else told


def _wan_of(settings):
    """Interface and section as the stock scripts find them; a device's own may keep the interface elsewhere."""
    wan = settings.get("wandataif@system", "")
    if not LINK.match(wan) or wan in TAKEN:
        wan = "ppp0"
    section = settings.get(f"if2sect_{wan}@system", "")
    if not SECTION.match(section):
        sections = {key.partition("@")[2] for key in settings if key.startswith("ip6_proto@")}
        section = sections.pop() if len(sections) == 1 else ""
    return wan, section if SECTION.match(section) else "wan100"


def _router_of(settings, section):
    """The router that the gateway has stored; None where that is none of its link."""
    try:
        router = ipaddress.IPv6Address(settings.get(f"ip6_gateway@{section}", ""))
    except ValueError:
        return None
    return str(router) if router.is_link_local and router.scope_id is None else None


def _given_macs(given, links):
    found = {}
    for text in given:
        link, _, mac = text.partition("=")
        if link not in links:
            raise Unusable(f"--mac {shown(text)}: the gateway has {', '.join(links)}")
        if not MAC.match(mac.lower()):
            raise Unusable(f"--mac {shown(text)}: no hardware address of an interface, such as {link}=02:00:00:00:00:01")
        found[link] = mac.lower()
    return found


def _mac(link, given, settings):
    """(hardware address, how it is known) of an interface, None when nothing tells."""
    if link in given:
        return given[link], ""
    own = _own_mac(link)
    if own is not None:
        return own, ""
    made_of = _mac_of_host_id(settings, BRIDGES.get(link, ""))
    return (made_of, " (of its host id)") if made_of is not None else None


def _mac_of_host_id(settings, section):
    """The hardware address that a bridge's host id was made of (RFC 4291, appendix A); None when a person chose the id."""
    for kind in ("gua", "ula"):
        text = settings.get(f"ip6_{kind}_hostid@{section}", "")
        if settings.get(f"ip6_{kind}_manual_hostid@{section}") == "1" or not HOST_ID.match(text):
            continue
        octets = bytes.fromhex(text.replace(":", ""))
        mac = (bytes([octets[0] ^ 2]) + octets[1:3] + octets[5:]).hex(":")
        if octets[3:5] == b"\xff\xfe" and MAC.match(mac):
            return mac
    return None


def _own_mac(link):
    try:
        text = (pathlib.Path("/sys/class/net") / link / "address").read_text(encoding="ascii").strip()
    except (OSError, UnicodeDecodeError):
        return None
    return text if MAC.match(text) else None


def _ip4(text):
    try:
        return str(ipaddress.IPv4Interface(text if "/" in text else f"{text}/24"))
    except ValueError as error:
        raise Unusable(f"--ip4 {shown(text) or repr('')}: no IPv4 address, such as 192.0.2.2 or 192.0.2.2/24") from error


def _own_ip4(link):
    """The IPv4 address of this machine's interface of that name, with its length; None where it has none."""
    request = struct.pack("256s", link.encode("ascii"))      # struct ifreq; a socket address is 16 octets into it, its IPv4 address 4 more
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as asker:
        try:
            address, mask = (fcntl.ioctl(asker, number, request)[20:24] for number in (SIOCGIFADDR, SIOCGIFNETMASK))
        except OSError:
            return None
    return str(ipaddress.IPv4Interface(f"{socket.inet_ntoa(address)}/{socket.inet_ntoa(mask)}"))


def _own_addresses(link):
    """The IPv6 addresses of this machine's interface of that name; None when they cannot be known."""
    if INSIDE in os.environ or not (pathlib.Path("/sys/class/net") / link).exists():
        return None                 # in a network of its own it does not see the machine's
    try:
        lines = pathlib.Path("/proc/net/if_inet6").read_text(encoding="ascii").splitlines()
    except (OSError, UnicodeDecodeError):
        return None
    found = [columns for columns in map(str.split, lines) if len(columns) == 6 and columns[5] == link]
    return sorted(ipaddress.IPv6Interface((int(columns[0], 16), int(columns[2], 16))) for columns in found)


def _address_of(mac, prefix):
    """The address that the kernel makes of a prefix and a hardware address (RFC 4291, appendix A)."""
    octets = bytes.fromhex(mac.replace(":", ""))
    host = bytes([octets[0] ^ 2]) + octets[1:3] + b"\xff\xfe" + octets[3:]
    return ipaddress.IPv6Interface((ipaddress.IPv6Address(prefix).packed[:8] + host, 64))


def _record(link, address, flags, router):
    """A router-advertisement record (src/platform/ra_records.h) of the WAN: its address and who advertised."""
    scope = 0x20 if address.is_link_local else 0
    router = ipaddress.IPv6Address(router if flags else "::").packed
    return (f"{address.packed.hex()} 07 {address.network.prefixlen:02x} {scope:02x} 80 {1 if flags else 3:02x} {flags:08x} "
            f"{link:>8} {router.hex()}\n")

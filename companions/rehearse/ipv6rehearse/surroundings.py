"""What the rehearsed gateway finds around it: interfaces, the WAN's router. Taken from settings and machine, else assumed."""
import ipaddress
import pathlib
import re

from .places import Unusable

LINK = re.compile(r"(?!\.\.?\Z)[A-Za-z0-9_.][A-Za-z0-9_.-]{0,14}\Z")
SECTION = re.compile(r"[A-Za-z0-9_.-]{1,31}\Z")
MAC = re.compile(r"(?!00:00:00:00:00:00)[0-9a-f][02468ace](?::[0-9a-f]{2}){5}\Z")
TAKEN = {"br-lan", "br-lan1", "6rd", "lo", "all", "default"}
DOCUMENTED = "192.0.2.2/24"         # RFC 5737
ADVERTISEMENTS = {"managed": 0x60, "other": 0xa0, "none": 0}   # received 0x20, Managed 0x40, Other 0x80


def delegated(text):
    """The settings that a lease with this prefix leaves behind; none for an empty text."""
    if not text:
        return []
    try:
        prefix = ipaddress.IPv6Network(text)
    except ValueError as error:
        raise Unusable(f"--delegated: {error}") from error
    if "/" not in text:
        raise Unusable(f"--delegated {text}: no length, such as /56")
    return [f"ip6_dhcp6c_prefix_addr@system={prefix.network_address}", f"ip6_dhcp6c_prefix_length@system={prefix.prefixlen}"]


def furnish(gateway, advertisement, ip4):
    """Gives the gateway its surroundings; returns the lines that say what they are."""
    wan, section = _wan_of(gateway.store)
    gateway.wan(wan, section)
    told = [f"WAN interface {wan}, section {section}"]
    known = []
    for link in gateway.links:
        mac = _own_mac(link)
        if mac:
            gateway.links[link] = mac
            known.append(link)
    told.append("hardware addresses: " + ", ".join(f"{link} {mac}{'' if link in known else ' (assumed)'}"
                                                   for link, mac in gateway.links.items()))
    gateway.ip4[wan] = _ip4(ip4) if ip4 else DOCUMENTED
    told.append(f"IPv4 address of the WAN: {gateway.ip4[wan]}{'' if ip4 else ' (assumed)'}")
    gateway.file("/proc/net/if_flags6", _record(wan, gateway.links[wan], ADVERTISEMENTS[advertisement]))
    told.append({"managed": "the WAN's router advertises Managed", "other": "the WAN's router advertises Other, not Managed",
                 "none": "no router advertises on the WAN"}[advertisement])
    told.append("every outside program succeeds and says nothing; the log's clock stands at 1000 s")
    return told


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
        raise Unusable(f"--ip4: {error}") from error


def _record(link, mac, flags):
    """A router-advertisement record (src/platform/ra_records.h) of the WAN: its address and who advertised."""
    octets = bytearray.fromhex(mac.replace(":", ""))
    octets[0] ^= 2
    host = bytes(octets[:3]) + b"\xff\xfe" + bytes(octets[3:])
    prefix, scope = ("3fff:1::", 0) if flags else ("fe80::", 0x20)
    address = ipaddress.IPv6Address(prefix).packed[:8] + host
    router = ipaddress.IPv6Address("fe80::1" if flags else "::").packed
    return f"{address.hex()} 07 40 {scope:02x} 80 {1 if flags else 3:02x} {flags:08x} {link:>8} {router.hex()}\n"

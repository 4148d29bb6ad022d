"""The addresses that an invocation set or took away itself: through the kernel, so that no shell line tells of them."""
import contextlib
import ipaddress
import re
import socket
from dataclasses import dataclass

from ipv6trace.log_line import ADDRESS

ROUTINE = "set_ipv6_addr"
ACTION = re.compile(r"if_name\[([^\]\n]{0,63})\] (\S*) (-?\d{1,4}) (-?\d{1,10})", re.ASCII)
REFUSED = re.compile(r"(?:ioctl \w+|socket) error\.")


@dataclass(slots=True)
class AddressAction:
    line: object
    interface: str
    address: str                # in its usual short form, with its length; as it was logged when it is none
    came: bool                  # it was set; else it was taken away
    refused: bool = False       # by the kernel: mostly because it was there already, or was not


def address_actions(lines):
    """Those of an invocation's lines, in their order. Attempts without an address are left out."""
    found, newest = [], None
    for line in lines:
        if line.routine != ROUTINE:
            continue
        match = ACTION.fullmatch(line.message)
        if match:
            newest = AddressAction(line, match[1], short(match[2]) + "/" + match[3], match[4] == "1")
            if match[2]:
                found.append(newest)
        elif newest and REFUSED.fullmatch(line.message):
            newest.refused, newest = True, None
    return found


def short(text):
    """An address as `ip addr` shows it."""
    try:
        return socket.inet_ntop(socket.AF_INET6, socket.inet_pton(socket.AF_INET6, text))
    except (OSError, ValueError):
        return text


class Wanted:
    """What is looked for: a text, in capital letters or not; of an address (`3fff:1::7`) also every other way to write
    it, of a prefix (`3fff:1::/56`, or `3fff:1:0:2::` for the four groups that are there) every address in it."""

    def __init__(self, text):
        self.text = text.lower()
        self.network = None
        if ":" in text:
            groups = f"/{16 * (text.count(':') - 1)}" if text.endswith("::") else ""
            with contextlib.suppress(ValueError):
                self.network = ipaddress.IPv6Network(text + groups, strict=False)

    def __call__(self, text):
        return self.text in text.lower() or self.network is not None and any(map(self.within, ADDRESS.findall(text)))

    def within(self, text):
        with contextlib.suppress(ValueError):
            return ipaddress.IPv6Interface(text.rstrip(".")).ip in self.network
        return False

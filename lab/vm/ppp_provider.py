"""The provider at the far end of a PPP line: its services start with each session and end with it."""
import ipaddress
import shutil
import tempfile
from pathlib import Path

import pcap
from netlab import packets
from netlab.capture import Capture
from netlab.isp import ACCESS, DHCP_LEASES, Isp

LIBRARY = Path(__file__).resolve().parents[2] / "build" / "vm" / "ppp_as_ethernet.so"
PATH_LINE = "#!/bin/sh\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\nexport PATH\n"     # pppd's scripts have no environment
SESSION_UP = PATH_LINE + """\
ip -6 addr add {address}/64 dev {access} nodad
radvd -n -m stderr -d 1 -C /lab/out/radvd.conf -p /run/radvd.pid >>/lab/out/radvd.log 2>&1 &
echo $! >/run/session
LD_PRELOAD={preload} \
dhcpd -6 -d -cf /lab/out/dhcpd6.conf -lf {leases} -pf /run/dhcpd6.pid --no-pid {access} >>/lab/out/dhcpd6.log 2>&1 &
echo $! >>/run/session
"""
PRELOAD = "/usr/lib/ppp_as_ethernet.so"
SESSION_DOWN = PATH_LINE + """\
while read -r pid; do kill "$pid"; done </run/session
"""
RADVD_CONF = """\
interface {access} {{
  AdvSendAdvert on;
  AdvManagedFlag on;
  AdvOtherConfigFlag on;
  MinRtrAdvInterval 3;
  MaxRtrAdvInterval 4;
  prefix {prefix} {{
    AdvAutonomous off;
  }};
}};
"""
SLL2_HEADER = 20            # octets; the protocol is in the first two


class PppProvider(Isp):
    def prepare(self):
        """All that is there before anybody dials: public addresses, name service, the public server, settings."""
        make_ppp_ready(self)
        self.must("sysctl", "-q", "-w", "net.ipv6.conf.all.forwarding=1")
        config = self.config
        for address in (*config.name_servers, config.server_address):
            self.must("ip", "-6", "addr", "add", f"{address}/128", "dev", "lo", "nodad")
        for network in ipaddress.summarize_address_range(ipaddress.ip_address(config.delegated_from),
                                                         ipaddress.ip_address(config.delegated_to)):
            self.must("ip", "-6", "route", "add", "unreachable", str(network))
        self.start_servers()
        self.start_name_server()
        (self.out / "dhcpd6.conf").write_text("\n".join(self.dhcp_lines()) + "\n", encoding="utf-8")
        (self.out / "dhcpd6.leases").touch()
        (self.out / "dhcpd6.log").touch()
        self.python("delegation", "delegation_router", "/lab/out/dhcpd6.log", ACCESS)
        (self.out / "radvd.conf").write_text(
            RADVD_CONF.format(access=ACCESS, prefix=config.line_prefix), encoding="utf-8")
        up = SESSION_UP.format(address=self.line_address(), access=ACCESS, leases=DHCP_LEASES, preload=PRELOAD)
        write_ppp_scripts(self, {"ipv6-up": up, "ipv6-down": SESSION_DOWN})

    def line_capture(self):
        return LineCapture(self)


def make_ppp_ready(node):
    """Lets pppd and the stock DHCP programs work in a node."""
    node.must("mknod", "/dev/ppp", "c", "108", "0")
    shutil.copyfile(LIBRARY, node.path(PRELOAD))


def write_ppp_scripts(node, scripts):
    """Gives a node's pppd these scripts, and none of the distribution's nor its options."""
    folder = node.path("/etc/ppp")
    for name in ("ip-pre-up", "ip-up", "ip-down", "ipv6-up", "ipv6-down", "options"):
        (folder / name).unlink(missing_ok=True)
    (folder / "options").touch()
    for name, text in scripts.items():
        (folder / name).write_text(text, encoding="utf-8")
        (folder / name).chmod(0o755)


class LineCapture(Capture):
    """Everything of IPv6 on the provider's side, over all sessions: the interface of a session goes with it, so the
    capture is of any interface, in the format that tcpdump has for that."""

    def __init__(self, node):
        super().__init__(node, "any", "line")

    def packets(self, since=0.0):
        """As of a capture of Ethernet, without addresses of that layer."""
        with tempfile.NamedTemporaryFile(suffix=".pcap") as file:
            pcap.write(file, [(time, bytes(12) + frame[:2] + frame[SLL2_HEADER:])
                              for time, frame in pcap.frames(self.path)])
            return [packet for packet in packets.read_packets(Path(file.name)) if packet.time >= since]

"""Captures on the interfaces of nodes, kept as files and read while they grow."""
import signal

from netlab import packets
from netlab.wait import NotYet, wait_for


class Capture:
    """Everything of IPv6 that passes an interface, from the moment the constructor returns."""

    def __init__(self, node, interface, name, expression="ip6"):
        self.path = node.out / f"{name}.pcap"
        self.service = node.spawn(f"tcpdump-{name}", "/usr/bin/tcpdump", "-i", interface, "-U", "-n", "-p", "-s", "0",
                                  "--immediate-mode", "-Z", "root", "-w", f"/lab/out/{self.path.name}", expression)

        def probe():
            if "listening on" not in self.service.log():
                if not self.service.running():
                    raise RuntimeError(f"the capture {name} ended: {self.service.log().strip()}")
                raise NotYet(f"the capture {name} has not begun")
        wait_for(probe)

    def packets(self, since=0.0):
        """What was captured at or after a time of the wall clock."""
        return [packet for packet in packets.read_packets(self.path) if packet.time >= since]

    def dhcp(self, kind=None, since=0.0):
        return [message for message in packets.dhcp_messages(self.packets(since)) if kind in (None, message.kind)]

    def advertisements(self, since=0.0):
        return packets.advertisements(self.packets(since))

    def tcp_to(self, address, port, since=0.0):
        return [packet for packet in self.packets(since) if packet.protocol == 6 and packet.destination == address
                and packet.ports()[1] == port]

    def stop(self):
        self.service.stop(signal.SIGINT)

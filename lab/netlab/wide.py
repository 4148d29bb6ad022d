"""A provider whose DHCPv6 server is that of the WIDE project. It knows its subscriber by its identifier: address and
prefix of that one are in its configuration, and the route to the prefix is in the provider's router for good."""
import re

from netlab.isp import ACCESS, Isp
from netlab.kea import SUBSCRIBER

CONFIG = "dhcp6s.conf"
# What the server says of its bindings. It keeps them in its memory only.
SAID = re.compile(r"add_binding: add a new binding .* type=(?P<kind>PD)|lease_address: addr=(?P<leased>\S+)"
                  r"|release_binding_ia: bound (?:address|prefix) (?P<released>\S+) has been released")


class WideIsp(Isp):
    def dhcp_lines(self):
        config = self.config
        times = f"{config.preferred} {config.valid}"
        lines = [f"option domain-name-servers {' '.join(config.name_servers)};"] if config.name_servers else []
        return [*lines, *[f'option domain-name "{domain}";' for domain in config.domains],
                "host subscriber {", f"  duid {config.subscriber};", f"  address {config.fixed_address} {times};",
                f"  prefix {config.fixed_prefix} {times};", "};"]

    def start_dhcp(self):
        self.must("mkdir", "-p", "/var/lib/dhcpv6")
        self.must("ip", "-6", "route", "add", self.config.fixed_prefix, "via", SUBSCRIBER, "dev", ACCESS)
        self.serve_dhcp()

    def serve_dhcp(self):
        (self.out / CONFIG).write_text("\n".join(self.dhcp_lines()) + "\n", encoding="utf-8")
        self.dhcpd = self.spawn("dhcp6s", "/usr/sbin/dhcp6s", "-f", "-D", "-c", f"/lab/out/{CONFIG}", "-P",
                                "/run/dhcp6s.pid", ACCESS)

    def leases(self):
        found = {"na": {}, "pd": {}}
        for match in SAID.finditer(self.read("/lab/out/dhcp6s.log")):
            if match["kind"]:
                found["pd"][self.config.fixed_prefix] = "active"
            elif match["leased"]:
                found["na"][match["leased"]] = "active"
            else:
                found["pd" if "/" in match["released"] else "na"][match["released"]] = "released"
        return found

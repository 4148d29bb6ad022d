"""A provider whose DHCPv6 server is Kea. It hands a client another address or prefix in the middle of a lease when the
reservation for that client changes, and withdraws the former one in the same Reply (lifetimes of 0)."""
import ipaddress
import json

from netlab.isp import ACCESS, Isp

CONFIG = "kea-dhcp6.json"
LEASES = "kea-leases6.csv"
SUBSCRIBER = "fe80::ff:fe00:6401"       # link-local address of the gateway on the line


class KeaIsp(Isp):
    def dhcp_config(self):
        config = self.config
        subnet = {"id": 1, "subnet": config.line_prefix, "interface": ACCESS,
                  "pools": [{"pool": f"{config.pool[0]} - {config.pool[1]}"}], "pd-pools": [], "reservations": []}
        if config.delegated_length:
            last = ipaddress.ip_address(config.delegated_to) + (1 << (128 - config.delegated_length)) - 1
            for network in ipaddress.summarize_address_range(ipaddress.ip_address(config.delegated_from), last):
                subnet["pd-pools"].append({"prefix": str(network.network_address), "prefix-len": network.prefixlen,
                                           "delegated-len": config.delegated_length})
        if config.fixed_address or config.fixed_prefix:
            subnet["reservations"] = [{"duid": config.subscriber,
                                       "ip-addresses": [config.fixed_address] if config.fixed_address else [],
                                       "prefixes": [config.fixed_prefix] if config.fixed_prefix else []}]
        options = [{"name": "dns-servers", "data": ", ".join(config.name_servers)}] if config.name_servers else []
        options += [{"name": "domain-search", "data": ", ".join(config.domains)}] if config.domains else []
        return {"Dhcp6": {
            "data-directory": "/lab/out", "interfaces-config": {
                "interfaces": [ACCESS], "service-sockets-max-retries": 10000, "service-sockets-retry-wait-time": 100},
            "lease-database": {"type": "memfile", "persist": True, "name": f"/lab/out/{LEASES}", "lfc-interval": 0},
            "preferred-lifetime": config.preferred, "valid-lifetime": config.valid, "renew-timer": config.renew,
            "rebind-timer": config.rebind, "option-data": options, "subnet6": [subnet],
            "loggers": [{"name": "kea-dhcp6", "severity": "INFO", "output_options": [{"output": "stdout"}]}]}}

    def start_dhcp(self):
        self.must("mkdir", "-p", "/run/kea")
        self.serve_dhcp()
        self.python("delegation", "delegation_router", f"/lab/out/{LEASES}", ACCESS, SUBSCRIBER)

    def serve_dhcp(self):
        (self.out / CONFIG).write_text(json.dumps(self.dhcp_config(), indent=1) + "\n", encoding="utf-8")
        (self.out / LEASES).touch()
        self.dhcpd = self.spawn("kea-dhcp6", "/usr/sbin/kea-dhcp6", "-c", f"/lab/out/{CONFIG}",
                                env={"KEA_PIDFILE_DIR": "/run/kea", "KEA_LOCKFILE_DIR": "/run/kea"})

    def dhcp_can_listen(self):
        """Kea opens its sockets only when the line has a carrier; it tries again until then."""
        return "LOWER_UP" in self.json("ip", "-j", "link", "show", "dev", ACCESS)[0]["flags"]

    def leases(self):
        found = {"na": {}, "pd": {}}
        for line in self.read(f"/lab/out/{LEASES}").splitlines()[1:]:
            words = line.split(",")
            if len(words) > 13:
                kind, item = ("pd", f"{words[0]}/{words[8]}") if words[6] == "2" else ("na", words[0])
                found[kind][item] = "released" if words[2] == "0" else "active"
        return found

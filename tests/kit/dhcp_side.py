"""The DHCPv6 server on the other side of the link, and the command lines of the program for its client."""

import re

START = ("/usr/sbin/dhclient -6  -P -d -q -nw -cf /tmp/dhcp6c-wan.conf -sf /usr/sbin/recorder "
         "-lf /tmp/dhcp6c-wan.leases -pf /var/run/dhcp6c-wan.pid -e stateless=%d eth0 &")
DECLINE = ("/usr/sbin/dhclient -6 -dec -P -sf /usr/sbin/recorder -lf /tmp/dhcp6c-wan.leases "
           "-pf /var/run/dhcp6c-wan.pid eth0 &")
END = ("/usr/sbin/dhclient %s %s -cf /tmp/dhcp6c-wan.conf -sf /usr/sbin/recorder -lf /tmp/dhcp6c-wan.leases "
       "-pf /var/run/dhcp6c-wan.pid eth0 &")
TAIL = "-6 -P -d -q -nw"
PID = "/var/run/dhcp6c-wan.pid"

CONF = """request dhcp6.name-servers, dhcp6.domain-search, dhcp6.rapid-commit, dhcp6.sntp-servers;
send dhcp6.client-id 00:03:00:01:02:00:00:00:00:01;
"""


def times(valid, preferred, renew, rebind):
    return (f"default-lease-time {valid}; preferred-lifetime {preferred}; "
            f"option dhcp-renewal-time {renew}; option dhcp-rebinding-time {rebind};")


LONG = times(7200, 3600, 1800, 2880)
SHORT = times(24, 16, 3, 8)
BOTH = "range6 3fff:0:1::1000 3fff:0:1::1fff; prefix6 3fff:0:100:: 3fff:0:1ff:: /56;"
DOMAINS = '"isp.example", "second.example"'


class Isp:
    """The server's side of the link."""

    def __init__(self, gateway):
        self.gateway = gateway
        gateway.isp("sh", "-c", "ip link set lo up; ip link set isp0 up; ip addr add 3fff:0:1::1/64 dev isp0 nodad")
        gateway.sh("ip link set eth0 up")
        gateway.run("/usr/lib/ipv6ctl/adapters/enable")
        gateway.write("/tmp/dhcp6c-wan.conf", CONF)
        self.process = None
        # The server does not start on a link whose own address is not ready.
        gateway.wait_for(lambda: gateway.isp("ip", "-6", "-o", "addr", "show", "dev", "isp0", "scope", "link",
                                             "-tentative").stdout)

    def serve(self, lifetimes=LONG, what=BOTH, domains=DOMAINS):
        self.end()
        self.gateway.write("/tmp/isp.conf", f"{lifetimes}\noption dhcp6.name-servers 3fff:0:1::1, 3fff:0:1::2;\n"
                           f"option dhcp6.domain-search {domains};\nsubnet6 3fff:0:1::/64 {{ {what} }}\n")
        self.gateway.sh("umask 0; touch /tmp/isp.leases")
        self.process = self.gateway.isp_daemon("/tmp/isp.log", "dhcpd", "-6", "-f", "-d", "-cf", "/tmp/isp.conf",
                                               "-lf", "/tmp/isp.leases", "-pf", "/tmp/isp-dhcpd.pid", "isp0")
        self.gateway.wait_for(lambda: "Server starting service" in self.log())

    def end(self):
        if self.process is not None:
            self.gateway.sh("kill -9 $(cat /tmp/isp-dhcpd.pid)")
            self.process.wait()
            self.process = None

    def log(self):
        return self.gateway.read("/tmp/isp.log")

    def messages(self):
        return re.findall(r"^([A-Z][a-z-]+) message from", self.log(), re.M)


def reasons(gateway):
    return [call["reason"] for call in gateway.calls()]


def start(gateway, stateless=0, until="EFFECT6"):
    gateway.sh(START % stateless)
    gateway.wait_for(lambda: until in reasons(gateway))
    return gateway.calls()


def global_addresses(gateway):
    shown = gateway.run("ip", "-6", "-o", "addr", "show", "dev", "eth0", "scope", "global").stdout
    return re.findall(r"inet6 (\S+) ", shown)


def client_lines(gateway):
    lines = gateway.run("ps").stdout.splitlines()
    return [line for line in lines if "/usr/sbin/dhclient -" in line and " sh " not in line]


def processes(gateway):
    """Everything that belongs to a client, as the stock ps sees it."""
    text = gateway.run("/usr/lib/ipv6ctl/stock/ps", "-A", "-ww", "-o", "stat=,args=").stdout
    return [line for line in text.splitlines() if re.search(r"(usr/sbin|stock)/dhclient ", line)]

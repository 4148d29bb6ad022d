"""What the tests of the WAN have in common: router-advertisement records, the client's lines, parts of a run."""
import ipaddress

RECORDS = "/proc/net/if_flags6"
CONF, LEASES, PID_FILE = "/tmp/dhcp6c-wan.conf", "/tmp/dhcp6c-wan.leases", "/var/run/dhcp6c-wan.pid"
SCRIPT = "/usr/sbin/zel_dhcp6c_update"

LIST_CLIENTS = "ps | grep dhclient > /tmp/ps_dhcp6c_s.txt"
LIST_FOR_STOP = "ps | grep dhclient > /tmp/ps_dhcp6c.txt"
STOP_RADVD = "killall radvd; rm -f /tmp/run/radvd.pid"
REQUEST_ALL = "request dhcp6.name-servers, dhcp6.domain-search, dhcp6.rapid-commit, dhcp6.sntp-servers;\n"
REQUEST_WITHOUT_SERVERS = "request dhcp6.domain-search, dhcp6.rapid-commit, dhcp6.sntp-servers;\n"
LAN0_DUID = "00:03:00:01:00:11:22:33:44:55"

START_STATEFUL = ("/usr/sbin/dhclient -6  -P -d -q -nw -cf /tmp/dhcp6c-wan.conf -sf /usr/sbin/zel_dhcp6c_update "
                  "-lf /tmp/dhcp6c-wan.leases -pf /var/run/dhcp6c-wan.pid -e stateless=0 ppp0 &")
START_STATELESS = ("/usr/sbin/dhclient -6  -P -d -q -nw -cf /tmp/dhcp6c-wan.conf -sf /usr/sbin/zel_dhcp6c_update "
                   "-lf /tmp/dhcp6c-wan.leases -pf /var/run/dhcp6c-wan.pid -e stateless=1 ppp0 &")
START_DECLINE = ("/usr/sbin/dhclient -6 -dec -P -sf /usr/sbin/zel_dhcp6c_update -lf /tmp/dhcp6c-wan.leases "
                 "-pf /var/run/dhcp6c-wan.pid ppp0 &")

# The process list's line of a client that START_STATEFUL started.
RUNNING_CLIENT = ("4242 root 1832 /usr/sbin/dhclient -6 -P -d -q -nw -cf /tmp/dhcp6c-wan.conf -sf "
                  "/usr/sbin/zel_dhcp6c_update -lf /tmp/dhcp6c-wan.leases\n")
RELEASE = ("/usr/sbin/dhclient -r -6 -P -d -q -nw -cf /tmp/dhcp6c-wan.conf -sf /usr/sbin/zel_dhcp6c_update "
           "-lf /tmp/dhcp6c-wan.leases -pf /var/run/dhcp6c-wan.pid ppp0 &")
ONLY_STOP = RELEASE.replace("dhclient -r", "dhclient -x")
# What stopping that client says on the console.
STOPPED = [
    "[zel-ipv6 stop_dhcp6c] enter",
    '[stop_dhcp6c] tailstr="-6 -P -d -q -nw", line N ',
    "[stop_dhcp6c] ready to remove /tmp/ps_dhcp6c.txt",
    "[stop_dhcp6c] ip6_dhcp6c_rebind_instead_of_solicit=0",
    "[stop_dhcp6c] remove DHCP6C_LEASE_FILE",
    "[stop_dhcp6c] remove DHCP6C_PID_FILE",
]


def digits(address):
    """The 32 hexadecimal digits of an address."""
    return ipaddress.IPv6Address(address).exploded.replace(":", "")


def record(address, link="ppp0", plen=64, scope=0x00, address_flags=0x80, probes=1, if_flags=0, router="fe80::1"):
    """One line as the kernel's router-advertisement records have it."""
    return (f"{digits(address)} 07 {plen:02x} {scope:02x} {address_flags:02x} {probes:02x} {if_flags:08x} "
            f"{link:>8} {digits(router)}\n")


def record_log(address, link="ppp0", plen=64, scope=0x00, address_flags=0x80, probes=1, if_flags=0, router="fe80::1"):
    """What the diagnostic log says of that record."""
    return (f"{digits(address)} 07 {plen:02x} {scope:02x} {address_flags:02x} {probes:02x} {if_flags:08x} "
            f"{link:>20} {digits(router)}")


def record_console(address, link="ppp0", plen=64, scope=0x00, address_flags=0x80, probes=1, if_flags=0,
                   router="fe80::1"):
    """What the console says of it."""
    return [f"{digits(address)} 07 {plen:02x} scope = {scope:02x} {address_flags:02x} if_probes = {probes:02x} "
            f"if_flags6 = {if_flags:08x} devname = {link:>20} {digits(router)}", "wan_ifname=ppp0"]


# Records of a WAN interface: no router answered; Managed set; Managed clear.
SILENT = {"address": "fe80::211:22ff:fe33:4477", "scope": 0x20, "probes": 3, "router": "::"}
MANAGED = {"address": "3fff:1::211:22ff:fe33:4477", "if_flags": 0x60}
UNMANAGED = {"address": "3fff:1::211:22ff:fe33:4477", "if_flags": 0x20}


def own_lines(run):
    """The shell lines after the two that loading the parameters runs."""
    assert run.lines[:2] == ["ccfg_cli set ip6_pre_manual_gid@lan0=0", "ccfg_cli set ip6_pre_manual_gid@lan1=0"]
    return type(run.lines)(run.lines[2:])


def own_log(run):
    """The log between loading the parameters and the end line."""
    assert run.log_after_loading[-1:] == [""]
    return type(run.lines)(run.log_after_loading[:-2])


def own_console(run):
    """The console after loading the parameters."""
    assert "Auto_gid" in run.console_masked[0]
    return type(run.lines)(run.console_masked[1:])


def between(lines, first, last):
    """The lines from `first` to `last`, both included."""
    start = lines.index(first)
    return type(lines)(lines[start:lines.index(last, start) + 1])

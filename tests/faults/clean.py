"""What a command does when nothing is wrong, and the comparison of a run under a fault with it."""
import re

from scenes import SCENES
from wan_setup import PID_FILE

_seen = {}

CONF, NEIGHBOR_TABLE = "/tmp/dhcp6c-wan.conf", "/tmp/.ip6_neigh"
LOG_LINE = re.compile(r"\[[A-Za-z0-9_]+\]\[1000\] |\]$|$")

# The files that the program or its shell lines write or read, and what is not called when one of them can be neither
# written nor read.
_CLIENT, _CLIENT_STOP = r"/usr/sbin/dhclient -6", r"/usr/sbin/dhclient -r|\(pause 1000 ms\)"
_SERVER = r"/tmp/dhcp6d "
SILENCED = {
    "/tmp/radvd.conf": r"radvd -C|vorn_syslog_cli addEventCode",
    "/tmp/dhcp6d": _SERVER,
    "/tmp/dhcp6d.conf": _SERVER,
    "/tmp/dhcp6d.leases": _SERVER,
    "/var/run/dhcp6d.pid": _SERVER,
    NEIGHBOR_TABLE: None,
    "/tmp/.ip6_neigh_show": r"ip -6 neigh show",
    "/tmp/resolv.conf": None,
    "/tmp/resolv.conf.auto": r"dnsmasq_update.sh|/etc/init.d/dnsmasq2",
    "/tmp/rdnssd": None,
    CONF: _CLIENT,
    "/tmp/dhcp6c-wan.leases": None,
    "/tmp/ps_dhcp6c_s.txt": r"ps$|" + _CLIENT,
    "/tmp/ps_dhcp6c.txt": r"ps$|" + _CLIENT_STOP,
    PID_FILE: r"ps$|" + _CLIENT_STOP,
    "/tmp/sha.txt": None,
    "/tmp/ula.txt": None,
    "/tmp/zel_ipt_old": r"iptables-save|iptables-restore|conntrack",
    "/tmp/zel_ipt_new": None,
    "/tmp/host.log": r"nslookup",
    "/tmp/ip6_rt": r"/usr/sbin/ip -6 neigh show|/usr/sbin/ip -6 route add \*",
    "/tmp/zel_ipv6cp_script_running": None,
}
RULESET = "/tmp/.ip6t"


def clean_run(new_gateway, name):
    """The undisturbed run of a scene, made once a session."""
    if name not in _seen:
        gateway = new_gateway()
        SCENES[name].furnish(gateway)
        _seen[name] = SCENES[name].run(gateway)
        assert _seen[name].status == 1
    return _seen[name]


def steps(run):
    """The calls and pauses in their order, `*` for each argument that may be made of other values."""
    return [entry if entry.startswith("(") else " ".join(_masked(entry.split(" "))) for entry in run.journal]


def _masked(words):
    return words[:1] + ["*" if re.search(r"[0-9:]", word) and word != "-6" and word[0] != "/" else word
                        for word in words[1:]]


def programs(run):
    """The same, of each call the program only."""
    return [step if step.startswith("(") else step.split(" ")[0] for step in steps(run)]


def unexplained(seen, clean, allowed):
    """Where `seen` is more than `clean` without some of the steps that match the pattern `allowed` (None: of none)."""
    def skip_cost(step):
        return 0 if allowed is not None and re.match(allowed, step) is not None else 1

    # cost[i][j]: the fewest unexplained steps from clean[i] and seen[j] on
    cost = [[0] * (len(seen) + 1) for _ in range(len(clean) + 1)]
    for i in range(len(clean), -1, -1):
        for j in range(len(seen), -1, -1):
            ways = []
            if i < len(clean):
                ways.append(skip_cost(clean[i]) + cost[i + 1][j])
            if j < len(seen):
                ways.append(1 + cost[i][j + 1])
            if i < len(clean) and j < len(seen) and clean[i] == seen[j]:
                ways.append(cost[i + 1][j + 1])
            cost[i][j] = min(ways, default=0)
    found, i, j = [], 0, 0
    while i < len(clean) or j < len(seen):
        if i < len(clean) and j < len(seen) and clean[i] == seen[j] and cost[i][j] == cost[i + 1][j + 1]:
            i, j = i + 1, j + 1
        elif i < len(clean) and cost[i][j] == skip_cost(clean[i]) + cost[i + 1][j]:
            found += ["not seen: " + clean[i]] * skip_cost(clean[i])
            i += 1
        else:
            found.append("not expected: " + seen[j])
            j += 1
    return found


def ended_normally(run):
    """The end of a run that was not cut short, as the log has it."""
    return run.status == 1 and run.log_lines[-2:] == [f"[main][1000] ^_^[{run.argv[0]}] ERROR_NONE, end.", ""]


def torn_lines(run):
    """Log lines that are not whole."""
    return [line for line in run.log_lines if LOG_LINE.match(line) is None]

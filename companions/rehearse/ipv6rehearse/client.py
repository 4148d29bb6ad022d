"""The DHCPv6 client: its variables and events, and one that runs while a rehearsed command looks for it."""
import pathlib

from .words import meant

COMMAND = "zel_dhcp6c_update"       # the command that reads the variables
REASONS = ("PREINIT6", "BOUND6", "RENEW6", "REBIND6", "REBOOT6", "DEPREF6", "EXPIRE6", "RELEASE6", "STOP6", "EFFECT6")
# The variables that the program reads.
READ = (
    "reason", "interface", "stateless", "new_ip6_address", "new_ip6_prefixlen", "new_ip6_prefix", "new_dhcp6_name_servers",
    "new_dhcp6_domain_search", "new_dhcp6_domain_name", "new_dhcp6_host_name", "new_dhcp6_sntp_servers", "new_preferred_life",
    "new_max_life", "new_renew", "new_rebind", "old_ip6_address", "old_ip6_prefix",
)
# Variables of the client that look like those and are none of them.
UNREAD = ("old_ip6_prefixlen", "old_preferred_life", "old_max_life", "old_renew", "old_rebind", "cur_ip6_address", "cur_ip6_prefix",
          "old_dhcp6_name_servers", "old_dhcp6_domain_search", "old_dhcp6_sntp_servers", "new_iaid", "new_starts", "new_life_starts")

PID_FILE = "/var/run/dhcp6c-wan.pid"
PROGRAM = "/usr/sbin/dhclient"
ASSUMED_PID = 4242
FIRST, MOST = 10, 99999              # the first ones are those of the run itself; the program reads five digits


def odd_variables(command, variables):
    """What is odd about the variables for this command, a text each."""
    if command != COMMAND:
        return [f"only {COMMAND} reads the variables of --env"] if variables else []
    told = []
    reason = variables.get("reason", "")
    if reason and reason not in REASONS:
        told.append(f"{reason} is no reason of the DHCPv6 client{_perhaps(meant(reason, REASONS))}")
    for name, value in variables.items():
        if name in READ and len(value) > 1 and value[0] == value[-1] and value[0] in "'\"":
            told.append(f"the quotes around {name} are a part of its value")
        guess = meant(name, READ)
        if name not in READ + UNREAD and guess is not None:
            told.append(f"the program does not read {name}{_perhaps(guess)}")
    return told


def _perhaps(guess):
    return f"; did you mean {guess}?" if guess else ""


def own_client():
    """(process id, arguments) of the DHCPv6 client that runs on this machine; None where none does."""
    try:
        pid = int(pathlib.Path(PID_FILE).read_text(encoding="ascii"))
        words = pathlib.Path(f"/proc/{pid}/cmdline").read_bytes().decode("ascii").split("\0")[:-1]
    except (OSError, ValueError):
        return None
    if PROGRAM not in words[:2]:    # [:2]: a script has its shell in front
        return None
    return pid, words[words.index(PROGRAM) + 1:]


def let_run(gateway, wan, found):
    """A client runs on the gateway: `found` as from own_client, or as the program itself starts it for (None)."""
    pid, words = found if found else (ASSUMED_PID, [
        "-6", "-P", "-d", "-q", "-nw", "-cf", "/tmp/dhcp6c-wan.conf", "-sf", f"/usr/sbin/{COMMAND}", "-lf", "/tmp/dhcp6c-wan.leases",
        "-pf", PID_FILE, "-e", "stateless=0", wan])
    pid = pid if FIRST <= pid <= MOST else ASSUMED_PID
    gateway.file(PID_FILE, f"{pid}\n")
    # Once: who finds it lets it go, and starts another one only when it is gone.
    gateway.script("ps", stdout=f"{pid:5} root     12345 {PROGRAM} {' '.join(words)}\n", times=1)
    gateway.process(pid)
    return pid

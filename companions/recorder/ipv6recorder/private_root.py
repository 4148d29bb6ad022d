"""The private root that the program runs in: what is in it, and the line that starts a run there.

Nothing outlives the run: bwrap takes its process and mount namespaces with it.
"""
import os
import pathlib
import shutil

COMMANDS = [
    "zel_ipv6_lan", "zel_ip6neigh_update", "zel_dhcp6c_update", "zel_resolv_update", "zel_ipcp_up", "zel_ipcp_down",
    "zel_ipv6cp_up", "zel_ipv6cp_down", "zel_ifconfig", "wan6c_restart", "ipv6rd_restart", "dhcp6c_start",
    "dhcp6c_restart", "dhcp6c_release", "dhcp6c_renew", "ipv6_lan_restart",
]
RECORDERS = {
    "usr/sbin": ["ip", "ifconfig", "ip6tables", "ip6tables-restore", "iptables-save", "iptables-restore", "conntrack",
                 "dhclient", "dhcpd", "radvd", "rdnssd", "ecmh", "uboot_env", "sip_config", "resolv_update.sh",
                 "dnsmasq_update.sh", "wandataif.sh", "if2sect.sh", "vorn_syslog_cli", "firewallv6.user"],
    "usr/bin": ["killall", "nslookup", "ps"],
    "etc/init.d": ["dnsmasq2", "cron"],
}
REAL_TOOLS = ["sh", "sed", "cat", "rm", "cp", "mv", "mkdir", "ls", "touch", "sum", "sha1sum", "grep", "echo", "head",
              "tail", "cut", "sort", "tr", "true", "false", "env"]


class Template:
    """The read-only part of the root, and the programs that make it one: the program under observation and the store's
    tool, the recorder, the launcher and the preload that makes pauses instant."""

    def __init__(self, program, store_tool, recorder, launcher, preload):
        self.program, self.store_tool = program, store_tool
        self.recorder, self.launcher, self.preload = recorder, launcher, preload
        self.recorder_bytes = recorder.read_bytes()

    def build(self, root):
        """Makes the root's folders under `root`; the mounts of `command` go over the empty ones."""
        for folder in ("usr/lib", "usr/lib64", "usr/sbin", "usr/bin", "etc/config", "etc/init.d", "lib", "host", "var",
                       "tmp", "run", "proc", ".proc", "dev", "gw", "tools", "lib/firewall"):
            (root / folder).mkdir(parents=True)
        for name, target in {"bin": "usr/bin", "sbin": "usr/sbin", "lib64": "usr/lib64", "var/run": "../run"}.items():
            (root / name).symlink_to(target)
        for entry in os.listdir("/usr/lib"):
            if entry != "firewall":
                (root / "lib" / entry).symlink_to("/usr/lib/" + entry)
        for folder, names in RECORDERS.items():
            for name in names:
                shutil.copy(self.recorder, root / folder / name)
        for tool in REAL_TOOLS:
            real = pathlib.Path(shutil.which(tool, path="/usr/bin")).resolve()
            (root / "usr/bin" / tool).symlink_to(f"/host/{real.name}")
        for name in COMMANDS:
            (root / "usr/sbin" / name).symlink_to("ipv6ctl")
        for bound in ("usr/sbin/ipv6ctl", "usr/bin/ccfg_cli", "lib/firewall/firewallv6.user", "tools/launcher",
                      "tools/instant.so"):
            (root / bound).touch()


def command(template, root, base, variables, inner, shell=True, mounts=()):
    """The bwrap line that runs `inner` in the root; `base` holds the folders that belong to one gateway. `mounts` are
    words of bwrap for mounts over the usual ones."""
    line = ["bwrap", "--unshare-pid", "--as-pid-1", "--die-with-parent", "--clearenv", "--ro-bind", root, "/",
            "--ro-bind", "/usr/lib", "/usr/lib", "--ro-bind", "/usr/bin", "/host",
            "--ro-bind", template.program, "/usr/sbin/ipv6ctl", "--ro-bind", template.launcher,
            "/tools/launcher", "--ro-bind", template.preload, "/tools/instant.so",
            "--ro-bind", base / "firewallv6.user", "/lib/firewall/firewallv6.user", "--proc", "/.proc"]
    if (root / "usr/bin/ccfg_cli").exists():
        line += ["--ro-bind", template.store_tool, "/usr/bin/ccfg_cli"]
    if os.path.isdir("/usr/lib64"):
        line += ["--ro-bind", "/usr/lib64", "/usr/lib64"]
    for folder in ("tmp", "run", "proc", "dev", "gw", "etc/config"):
        line += ["--bind", base / folder, "/" + folder]
    line += ["--dev-bind", "/dev/null", "/dev/null"]
    if not shell:
        line += ["--ro-bind", base / "no-shell", "/host/" + os.path.basename(os.path.realpath("/bin/sh"))]
    line += mounts
    for name, value in variables.items():
        line += ["--setenv", name, value]
    return [str(word) for word in line] + ["--"] + inner

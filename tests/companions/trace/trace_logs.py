"""The tool as a user starts it, and logs as the program writes them."""
import subprocess
import sys
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[3]
TOOL = REPOSITORY / "companions" / "trace" / "bin" / "ipv6trace"
sys.path.insert(0, str(REPOSITORY / "companions" / "trace"))
sys.dont_write_bytecode = True


def start(word, uptime):
    return f"[main][{uptime}] ^_^[/usr/sbin/{word}] start.\n\n"


def end(word, uptime, how="ERROR_NONE, end."):
    return f"[main][{uptime}] ^_^[/usr/sbin/{word}] {how}\n\n"


def said(routine, uptime, message):
    return f"[{routine}][{uptime}] {message}\n"


def shell(uptime, line, status=0):
    return said("zel_system", uptime, f"[{status}]{line}")


def run_of(word, uptime, *lines):
    return start(word, uptime) + "".join(lines) + end(word, uptime)


def event(reason, uptime, prefix, *lines):
    return run_of("zel_dhcp6c_update", uptime, said("prepare_parm", uptime, f"ip6_prefix(lan0):{prefix}"),
                  said("prepare_parm", uptime, "ip6_pfxlen(lan0):64"),
                  said("prepare_parm", uptime, "wandataif is [eth0]"),
                  said("dhcp6c_main", uptime, f"The reason is {reason}, the interface is eth0."), *lines)


LEASE = event("BOUND6", 100, "", shell(100, "vorn_syslog_cli addEventCode -1 P005 3fff::/56")) + \
    event("EFFECT6", 101, "3fff::", shell(101, "killall radvd", 1), shell(105, "ip6tables-restore /tmp/.ip6t", 2))
CRON = "".join(run_of("zel_ip6neigh_update", 120 + n, shell(120 + n, "ip -6 neigh show > /tmp/.ip6_neigh_show"))
               for n in range(5))


class Tool:
    def __init__(self, folder):
        self.folder = folder

    def log(self, content, name="ipv6.log"):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode("utf-8", "surrogatepass"))
        return path

    def run(self, *arguments, log=None, **more):
        """The finished process, its output as bytes; `log` is written to a file first, whose name goes last."""
        words = [str(word) for word in arguments] + ([str(self.log(log))] if log is not None else [])
        return subprocess.run([str(TOOL), *words], capture_output=True, check=False, cwd=self.folder, **more)

    def text(self, *arguments, log=None, **more):
        done = self.run(*arguments, log=log, **more)
        assert (done.returncode, done.stderr) == (0, b"")
        return done.stdout.decode()

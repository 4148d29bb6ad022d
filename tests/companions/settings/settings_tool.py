"""ccfg_cli as the tests of the settings table run it."""

import fcntl
import os
import pty
import select
import struct
import subprocess
import termios
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
BUILD = Path(os.environ.get("IPV6CTL_BUILD", ROOT / "build"))


class Tool:
    """ccfg_cli over a store of its own."""

    def __init__(self, folder):
        self.folder = folder
        self.environment = {**os.environ, "TESA_STORE": str(folder / "ccfg.db"), "LC_ALL": "C"}

    def run(self, *arguments, text=""):
        data = text if isinstance(text, bytes) else text.encode()
        done = subprocess.run([BUILD / "ccfg_cli", *arguments], input=data, env=self.environment,
                              capture_output=True, check=False, timeout=60)
        return done.returncode, done.stdout.decode(errors="replace").splitlines(), done.stderr.decode(errors="replace")

    def on_terminal(self, columns, *words, keys=""):
        """(status, lines) of a command on a terminal of so many columns; `keys` are typed there."""
        child, terminal = pty.fork()
        if child == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 200, columns, 0, 0))
            os.execvpe(words[0], [str(word) for word in words], {**self.environment, "PATH": f"{BUILD}:{os.environ['PATH']}"})
        os.write(terminal, keys.encode())
        shown = b""
        while select.select([terminal], [], [], 60)[0]:
            try:
                piece = os.read(terminal, 65536)
            except OSError:     # the other end is closed
                break
            shown += piece
        status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        os.close(terminal)
        return status, shown.decode(errors="replace").replace("\r\n", "\n").splitlines()

    def findings(self, *lines):
        """What `check` says of these settings, and of ones that are fine in place of the others."""
        told = {line.split("=")[0] for line in lines}
        text = "\n".join([*(line for line in GOOD if line.split("=")[0] not in told), *lines]) + "\n"
        status, found, errors = self.run("check", "-", text=text)
        assert errors == "" and status == (1 if found else 0)
        return found


GOOD = ("ip6_pfxlen@lan0=64", "ip6_pfxlen@lan1=64", "ip6_gua_sid@lan0=01", "ip6_gua_sid@lan1=02",
        "ip6_duid_type@wan100=3", "ip6_proto@wan100=dhcp")

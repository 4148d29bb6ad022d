"""ccfg_cli as the tests of the settings table run it."""

import os
import subprocess
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

    def findings(self, *lines):
        """What `check` says of these settings, on top of ones that are fine."""
        text = "\n".join([*GOOD, *lines]) + "\n"
        status, found, errors = self.run("check", "-", text=text)
        assert errors == "" and status == (1 if found else 0)
        return found


GOOD = ("ip6_pfxlen@lan0=64", "ip6_pfxlen@lan1=64", "ip6_gua_sid@lan0=01", "ip6_gua_sid@lan1=02",
        "ip6_duid_type@wan100=3", "ip6_proto@wan100=dhcp")

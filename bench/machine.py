"""What the figures were taken on."""
import os
import pathlib
import platform
import re
import subprocess

from place import BUILD


def compiler():
    """The compiler of the build, its version, and the flags of the program."""
    cache = (BUILD / "CMakeCache.txt").read_text()
    name = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.M).group(1)
    version = subprocess.run([name, "--version"], capture_output=True, text=True, check=True).stdout.splitlines()[0]
    flags = (BUILD / "src/CMakeFiles/ipv6ctl.dir/flags.make").read_text()
    flags = re.search(r"^CXX_FLAGS = *(.*)$", flags, re.M).group(1)
    return {"compiler": version, "flags": re.sub(r"-ffile-prefix-map=\S+ ", "", flags)}


def machine():
    cpus = pathlib.Path("/proc/cpuinfo").read_text()
    model = re.search(r"^model name\s*: (.*)$", cpus, re.M)
    return {"cpu": model.group(1) if model else platform.machine(), "cpus": os.cpu_count(),
            "kernel": platform.release(), "libc": " ".join(platform.libc_ver()), "load": round(os.getloadavg()[0], 2),
            **compiler()}

"""Runs the device tests on the program of a foreign processor: `pytest -p emulation` with CROSS_BUILD naming the build
folder.

The program is started by qemu-user inside the private root, under the same argv[0]; everything that it starts, the
shell and the recorders, is native, but for the store's tool. A build for this processor with another C library is run
as it is. See tests/cross/CMakeLists.txt for the folder that goes into the root.
"""
import os
import pathlib
import shutil
import subprocess

FOLDER = pathlib.Path(os.environ["CROSS_BUILD"]).resolve() / "emulation"
os.environ["IPV6CTL"] = str(FOLDER / "program/ipv6ctl")
EMULATED = (FOLDER / "qemu").exists()
os.environ["CCFG_CLI"] = str(FOLDER / ("ccfg_cli" if EMULATED else "program/ccfg_cli"))


def pytest_collection_modifyitems():
    """The modules of the device tests are there by now, and none of their fixtures has run."""
    import gateway
    import sandbox

    build, make, command = sandbox.Template.build, sandbox.Template.__init__, sandbox.command
    sysroot = os.readlink(FOLDER / "sysroot") if EMULATED else "/emulation"

    def with_native_part(template):
        make(template)
        compiler = os.environ.get("CC", "cc")
        multiarch = subprocess.run([compiler, "-print-multiarch"], check=True, capture_output=True,
                                   text=True).stdout.strip()
        # A loader that does not know $LIB takes it for a name.
        for preload, folder in ((template.preload, FOLDER / "lib" / multiarch),
                                (FOLDER / "lib/own/instant.so", FOLDER / "$LIB")):
            if preload.exists():
                folder.mkdir(parents=True, exist_ok=True)
                fresh = folder / f"instant.so.{os.getpid()}"
                shutil.copy(preload, fresh)
                fresh.rename(folder / "instant.so")
        fresh = FOLDER / f"ipv6_address.{os.getpid()}"
        source = pathlib.Path(__file__).parent / "ipv6_address.c"
        subprocess.run([compiler, "-O1", "-Wall", "-Wextra", "-o", fresh, source], check=True)
        fresh.rename(FOLDER / "ipv6_address")

    def build_with_emulator(template, root):
        build(template, root)
        for place in ("emulation", sysroot.lstrip("/")):
            (root / place).mkdir(parents=True, exist_ok=True)

    def emulated_command(template, root, base, variables, inner, **options):
        variables = {**variables, "LD_PRELOAD": "/emulation/$LIB/instant.so"}
        if EMULATED:
            path = next(at for at in range(inner.index("--") + 1, len(inner)) if inner[at].startswith("/usr/sbin/"))
            inner = [*inner[:path], "/emulation/qemu", "qemu", "-0", inner[path + 1], "-L", "/emulation/sysroot",
                     inner[path], *inner[path + 2:]]
        line = command(template, root, base, variables, inner, **options)
        binds = ["--ro-bind", str(FOLDER), "/emulation"] + (["--ro-bind", sysroot, sysroot] if EMULATED else [])
        end = line.index("--proc")
        return [*line[:end], *binds, *line[end:]]

    sandbox.Template.__init__, sandbox.Template.build = with_native_part, build_with_emulator
    sandbox.command = gateway.command = emulated_command

"""A Debian system in a folder: made once by debootstrap, with the dependencies of the packages; a test changes a layer over it.

IPV6CTL_DEBIAN_BASE names the folder (default: debian-root in the build folder). It is made anew when it is not there, was not finished or
has other packages than are needed; that takes some minutes and needs Debian's archive.
"""
import os
import pathlib
import re
import shlex
import shutil
import subprocess

SUITE = "bookworm"
MIRROR = "http://deb.debian.org/debian"
BESIDE = ("bubblewrap", "cron", "logrotate", "ppp")     # what a gateway has and the packages do not need
READY = "var/lib/ready-for-packages"
# What dpkg and the C library keep for themselves and write anew.
BOOKKEEPING = re.compile(r"/(var/lib/dpkg/(status|available|diversions|lock|triggers|updates|statoverride)|var/log/|var/cache/"
                         r"|var/lib/apt/|etc/ld\.so\.cache|run/systemd)")


def dependencies(debs):
    """The packages that the given ones need beside each other; of alternatives the first."""
    own = {subprocess.check_output(["dpkg-deb", "-f", deb, "Package"], text=True).strip() for deb in debs}
    found = set()
    for deb in debs:
        for entry in subprocess.check_output(["dpkg-deb", "-f", deb, "Depends"], text=True).split(","):
            name = re.match(r"\s*([a-z0-9.+-]+)", entry).group(1)
            if name not in own:
                found.add(name)
    return sorted(found)


def unshared(script):
    """The words that run a script as root of private mount, process and network namespaces."""
    return ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--net", "sh", "-ec", script]


def make_base(base, debs):
    names = " ".join([*dependencies(debs), *BESIDE])
    if (base / READY).exists() and (base / READY).read_text(encoding="ascii") == names:
        return
    shutil.rmtree(base, ignore_errors=True)
    base.parent.mkdir(parents=True, exist_ok=True)
    subprocess.run(["debootstrap", "--variant=minbase", SUITE, base, MIRROR], check=True, stdout=subprocess.DEVNULL)
    (base / "usr/sbin/policy-rc.d").write_text("#!/bin/sh\nexit 101\n", encoding="utf-8")
    (base / "usr/sbin/policy-rc.d").chmod(0o755)
    install = f"export DEBIAN_FRONTEND=noninteractive; apt-get -qq update; apt-get -qq -y install --no-install-recommends {names}"
    # With the machine's network: the packages come from the archive.
    subprocess.run(["unshare", "--mount", "--pid", "--fork", "--kill-child", "sh", "-ec",
                    f"mount -t proc proc {base}/proc; exec chroot {base} sh -ec {shlex.quote(install)}"],
                   check=True, stdout=subprocess.DEVNULL)
    (base / READY).write_text(names, encoding="ascii")


class DebianRoot:
    def __init__(self, base, layer):
        self.base, self.layer = base, layer
        for name in ("upper", "work", "root"):
            (layer / name).mkdir()

    def run(self, script):
        """A shell script in the system, without network; what it writes is there for the next one."""
        root = self.layer / "root"
        # The root itself, not a folder that is taken for it: the lab makes further namespaces with roots over this one.
        mounts = (f"mount -t overlay overlay -o lowerdir={self.base},upperdir={self.layer}/upper,workdir={self.layer}/work {root};"
                  f"cd {root}; mount -t proc proc proc; mount -t tmpfs tmpfs run; mkdir -p packages run/old;"
                  f"pivot_root . run/old; umount -l /run/old; rmdir /run/old;"
                  f"exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C DEBIAN_FRONTEND=noninteractive "
                  f"sh -c {shlex.quote(script)}")
        return subprocess.run(unshared(mounts), capture_output=True, text=True, check=False, stdin=subprocess.DEVNULL)

    def must(self, script):
        result = self.run(f"set -e\n{script}")
        assert result.returncode == 0, f"{script}\n{result.stdout}{result.stderr}"
        return result.stdout

    def put(self, deb):
        """A package file, as /packages/NAME inside; returns that path."""
        folder = self.layer / "upper" / "packages"
        folder.mkdir(exist_ok=True)
        shutil.copy2(deb, folder)
        return f"/packages/{pathlib.Path(deb).name}"

    def listing(self):
        """{path: kind, mode, owner, link, sum of the contents} of every file of the system."""
        told = self.must(r"find / -xdev \( -path /proc -o -path /run -o -path /packages -o -path /dev \) -prune -o "
                         r"-printf '%p\t%y %m %U:%G %l\n'; "
                         r"find / -xdev \( -path /proc -o -path /run -o -path /packages -o -path /dev \) -prune -o "
                         r"-type f -print0 | xargs -0 md5sum | sed 's/^\([0-9a-f]*\) .\(.*\)$/\2\t\1/'")
        found = {}
        for line in told.splitlines():
            path, what = line.split("\t")
            if not BOOKKEEPING.match(path):
                found[path] = (*found.get(path, ()), what)
        return found


def build_folder():
    tree = pathlib.Path(__file__).resolve().parents[2]
    return pathlib.Path(os.environ.get("IPV6CTL_BUILD", tree / "build")).resolve()

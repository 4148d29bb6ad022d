"""A gateway root for the kit: the host's root with the kit laid over it, in its own namespaces, and an ISP beside it.

Needs root. Nothing is left behind: the end of the first process of the process namespace ends everything inside, and
that process ends with the one that runs the tests, however that goes.
"""

import os
import pathlib
import shutil
import subprocess
import time

import pytest
from dhcp_side import Isp

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
KIT = REPOSITORY / "platform" / "stock" / "kit"

STUB_STORE = """#!/bin/sh
# A store as plain as can be: one key@section=value a line.
[ "$1" = get ] || exit 2
line=$(grep -F -- "$2=" /etc/config/stub.ccfg 2>/dev/null | grep -m 1 "^$2=") || exit 1
printf '%s\\n' "${line#*=}"
"""

RECORDER = """#!/bin/sh
# In the place of the program: one file a call, the whole environment, then what the interface looks like.
n=$(find /tmp/calls -name '*.env' | wc -l)
env -0 >"/tmp/calls/$(printf '%03d' "$n").tmp"
ip -6 -o addr show dev eth0 scope global >"/tmp/calls/$(printf '%03d' "$n").addr"
[ -x /tmp/on_call ] && /tmp/on_call
mv "/tmp/calls/$(printf '%03d' "$n").tmp" "/tmp/calls/$(printf '%03d' "$n").env"
"""

# As the first process it also fetches every orphan that ends.
SETUP = """
set -e
root=$1
mount --make-rprivate /
mount -t tmpfs none "$root"
mkdir "$root/upper" "$root/work" "$root/gw"
cp -a "$2/." "$root/upper/"
mount -t overlay none -o "lowerdir=/,upperdir=$root/upper,workdir=$root/work" "$root/gw"
cd "$root/gw"
mount -t proc none proc
mount --rbind /dev dev
for folder in tmp run; do mount -t tmpfs -o mode=1777 none $folder; done
[ -L var/run ] || mount --bind run var/run
mkdir -p tmp/calls
ip link set lo up
unshare --net sleep infinity &
isp=$!
while there=$(readlink proc/$isp/ns/net) && [ "$there" = "$(readlink proc/$$/ns/net)" ]; do sleep 0.01; done
ip link add eth0 type veth peer name isp0 netns $isp
for bridge in br-lan br-lan1; do ip link add $bridge type bridge; ip link set $bridge up; done
echo $isp >tmp/isp.pid
exec chroot . /bin/sh -c 'echo ready >/tmp/ready; while :; do sleep 0.2; done'
"""


class Gateway:
    """The root and its namespaces; paths are those inside."""

    def __init__(self, folder):
        self.folder = folder
        overlay = folder / "overlay"
        shutil.copytree(KIT / "root", overlay)
        if os.path.islink("/lib"):  # a folder of that name in an overlay would hide the link
            shutil.copytree(overlay / "lib", overlay / "usr/lib")
            shutil.rmtree(overlay / "lib")
        shutil.copytree(KIT / "adapters", overlay / "usr/lib/ipv6ctl/adapters")
        (overlay / "usr/sbin/ccfg_cli").write_text(STUB_STORE)
        (overlay / "usr/sbin/recorder").write_text(RECORDER)
        for script in ("ccfg_cli", "recorder"):
            (overlay / "usr/sbin" / script).chmod(0o755)
        mountpoint = folder / "root"
        mountpoint.mkdir()
        self.unshare = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "unshare", "--mount", "--net", "--pid", "--uts", "--fork",
             "--kill-child", "/bin/sh", "-c", SETUP, "sh", str(mountpoint), str(overlay)],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.enter = None
        for _ in range(500):
            if self.unshare.poll() is not None:
                raise RuntimeError("no gateway root: " + self.unshare.stderr.read())
            children = pathlib.Path(f"/proc/{self.unshare.pid}/task/{self.unshare.pid}/children").read_text().split()
            if children and os.path.exists(f"/proc/{children[0]}/root/tmp/ready"):
                self.first = children[0]
                self.enter = ["nsenter", "--target", self.first, "--mount", "--net", "--pid", "--uts",
                              "--root", "--wdns=/"]
                break
            time.sleep(0.02)
        if self.enter is None:
            self.close()
            raise RuntimeError("no gateway root in time")
        self.environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C"}
        self.isp_processes = []

    def close(self):
        self.unshare.kill()
        self.unshare.wait()
        self.unshare.stderr.close()

    def run(self, *command, check=True, env=None, stdin=None, timeout=60):
        done = subprocess.run([*self.enter, *command], input=stdin, capture_output=True, text=True, timeout=timeout,
                              env={**self.environment, **(env or {})}, check=False)
        if check:
            assert done.returncode == 0, f"{command}: {done.returncode}\n{done.stdout}{done.stderr}"
        return done

    def sh(self, line, **more):
        return self.run("/bin/sh", "-c", line, **more)

    def isp(self, *command, **more):
        return self.run("nsenter", "--target", self.read("/tmp/isp.pid").strip(), "--net", *command, **more)

    def isp_daemon(self, log, *command):
        """Starts a daemon that stays in the foreground in the ISP's network; what it says goes to `log`."""
        with open(self.path(log), "wb") as output:
            self.isp_processes.append(subprocess.Popen(
                [*self.enter, "nsenter", "--target", self.read("/tmp/isp.pid").strip(), "--net", *command],
                stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, env=self.environment))
        return self.isp_processes[-1]

    def path(self, inside):
        inside = inside.replace("/var/run/", "/run/", 1)  # an absolute link would lead out of the root
        return pathlib.Path(f"/proc/{self.first}/root{inside}")

    def read(self, inside):
        return self.path(inside).read_text()

    def write(self, inside, text, mode=0o644):
        self.path(inside).write_text(text)
        self.path(inside).chmod(mode)

    def exists(self, inside):
        return os.path.lexists(self.path(inside))

    def store(self, **keys):
        """Sets the whole store; `key__section` stands for key@section."""
        self.write("/etc/config/stub.ccfg", "".join(f"{k.replace('__', '@')}={v}\n" for k, v in keys.items()))

    def calls(self):
        """The environments with which the recorder was called, in order."""
        found = []
        for file in sorted(self.path("/tmp/calls").glob("*.env")):
            pairs = [item.split("=", 1) for item in file.read_bytes().decode().split("\0") if item]
            found.append(dict(pairs))
        return found

    def wait_for(self, condition, seconds=30):
        """Waits until condition() is true and returns what it gave; fails when the time is over."""
        end = time.monotonic() + seconds
        while True:
            result = condition()
            if result:
                return result
            assert time.monotonic() < end, "not within %s seconds" % seconds
            time.sleep(0.05)


@pytest.fixture
def gateway(tmp_path):
    made = Gateway(tmp_path)
    yield made
    # Shown with a failed test only.
    print(made.sh("grep -rs . /tmp/*.log /var/run/ipv6ctl-dhclient/*/*.log; ls -l /tmp/calls; "
                  "grep -aoz '^reason=.*' /tmp/calls/*.env | tr '\\0' '\\n'", check=False).stdout)
    made.close()


@pytest.fixture
def isp(gateway):
    return Isp(gateway)

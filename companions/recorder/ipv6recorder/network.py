"""The network that a recorded run sees: a namespace with bridges, held by an open file only."""
import ctypes
import json
import os
import subprocess
import threading

_libc = ctypes.CDLL(None, use_errno=True)
_CLONE_NEWNET = 0x40000000


def _check(result, what):
    if result != 0:
        reason = os.strerror(ctypes.get_errno())
        raise OSError(ctypes.get_errno(), f"{what}: {reason} (a private network needs root, or `unshare -Urn` in front)")


class NetNamespace:
    """A network namespace; `with` puts the calling thread, and what it starts, into it."""

    def __init__(self):
        self._home = os.open("/proc/self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
        self._error = None
        thread = threading.Thread(target=self._create)      # so that the caller's own thread never leaves home
        thread.start()
        thread.join()
        if self._error:
            raise self._error

    def _create(self):
        try:
            _check(_libc.unshare(_CLONE_NEWNET), "unshare")
            self._own = os.open("/proc/thread-self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
        except OSError as error:
            self._error = error

    def __enter__(self):
        _check(_libc.setns(self._own, _CLONE_NEWNET), "setns")

    def __exit__(self, *_):
        _check(_libc.setns(self._home, _CLONE_NEWNET), "setns")


class World:
    """The network namespace of one process, with the links that its last run left in it."""

    def __init__(self):
        self._namespace = NetNamespace()
        self._links = {}
        self._ip4 = {}

    def _ip(self, *args, batch=None):
        with self._namespace:
            done = subprocess.run(["/usr/sbin/ip", *args], input=batch, capture_output=True, text=True)
        if done.returncode != 0:
            raise RuntimeError(f"ip {' '.join(args)}: {done.stderr}\n{batch or ''}")
        return done.stdout

    def arrange(self, links, addresses, fresh):
        """Makes the links as asked: {name: (mac, ip4 or None)}; `fresh` also drops addresses left by another run,
        then `addresses`, a list of (name, "address/length"), are added."""
        batch = []
        for name in [n for n in self._links if n not in links]:
            batch.append(f"link del dev {name}")
            del self._links[name]
            self._ip4.pop(name, None)
        for name, (mac, ip4) in links.items():
            if name not in self._links:
                batch += [f"link add name {name} address {mac} type bridge", f"link set dev {name} addrgenmode none",
                          f"link set dev {name} up"]
            elif self._links[name] != mac:
                batch.append(f"link set dev {name} address {mac}")
            elif fresh:
                batch.append(f"addr flush dev {name}")
                self._ip4.pop(name, None)
            self._links[name] = mac
            if self._ip4.get(name) != ip4:
                if name in self._ip4:
                    batch.append(f"addr del {self._ip4.pop(name)} dev {name}")
                if ip4:
                    batch.append(f"addr add {ip4} dev {name}")
                    self._ip4[name] = ip4
        batch += [f"addr add {address} dev {name}" for name, address in addresses]
        if batch:
            self._ip("-batch", "-", batch="\n".join(batch) + "\n")

    def addresses(self):
        """{name: ["address/length", ...]} of the IPv6 addresses, links without any included."""
        found = {name: [] for name in self._links}
        for link in json.loads(self._ip("-6", "-j", "addr", "show")):
            if link.get("ifname") in found:
                found[link["ifname"]] += [f"{a['local']}/{a['prefixlen']}" for a in link["addr_info"] if "local" in a]
        return {name: sorted(texts) for name, texts in found.items()}

    def popen(self, command, **options):
        with self._namespace:
            return subprocess.Popen(command, **options)

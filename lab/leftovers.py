"""Finds what a lab left behind on the machine: processes, namespaces, mounts, interfaces."""
import json
import os
from pathlib import Path

from netlab.wait import NotYet, wait_for

LAB_INTERFACES = {"access0", "lan0", "lan1", "br-lan", "br-lan1"}


class Watch:
    """Made before a lab starts; `note` while it runs; `nothing` when it is over; `close` at the end.

    Other labs may come and go meanwhile. What is looked for is this lab's alone: its folder's name in an environment,
    and its namespaces, which are kept open from `note` to `close`, since the kernel gives the number of one that is
    gone to the next. An open namespace keeps no process alive.
    """

    def __init__(self, folder):
        self.folder = str(folder)
        self.namespaces = {}                # "net:[4026532000]" -> descriptor
        self.interfaces = set(os.listdir("/sys/class/net"))

    def note(self):
        """Remembers the namespaces of the running lab; returns its state."""
        state = json.loads(Path(self.folder, "state.json").read_text(encoding="utf-8"))
        for node in state["nodes"].values():
            for kind, name in node["namespaces"].items():
                if name not in self.namespaces:
                    self.hold(f"/proc/{node['pid']}/ns/{kind}", name)
        return state

    def hold(self, path, name):
        """Opens a namespace, if it is still the one of that name."""
        try:
            descriptor = os.open(path, os.O_RDONLY | os.O_CLOEXEC)
        except OSError:
            return
        if os.readlink(f"/proc/self/fd/{descriptor}") == name:
            self.namespaces[name] = descriptor
        else:
            os.close(descriptor)

    def close(self):
        for descriptor in self.namespaces.values():
            os.close(descriptor)
        self.namespaces = {}

    def left(self):
        """One sentence for everything that is still there."""
        found = []
        for entry in filter(str.isdigit, os.listdir("/proc")):
            try:
                folder = f"IPV6CTL_LAB={self.folder}\0".encode()
                if folder in Path("/proc", entry, "environ").read_bytes():
                    found.append(f"process {entry} of the lab: {self.command_line(entry)}")
                for kind in os.listdir(f"/proc/{entry}/ns"):
                    if os.readlink(f"/proc/{entry}/ns/{kind}") in self.namespaces:
                        found.append(f"process {entry} in a {kind} namespace of the lab: {self.command_line(entry)}")
            except OSError:
                continue
        for line in Path("/proc/self/mountinfo").read_text(encoding="utf-8").splitlines():
            if self.folder in line or any(name in line for name in self.namespaces):
                found.append(f"mount {line}")
        new_interfaces = set(os.listdir("/sys/class/net")) - self.interfaces
        found += [f"interface {name}" for name in LAB_INTERFACES & new_interfaces]
        if Path(self.folder, "state.json").exists():
            found.append("the lab's state file")
        return found

    @staticmethod
    def command_line(entry):
        return Path("/proc", entry, "cmdline").read_bytes().replace(b"\0", b" ").decode(errors="replace").strip()

    def nothing(self, within=20, but=()):
        """Waits until nothing is left; fails with a list of it otherwise."""
        def probe():
            found = [text for text in self.left() if text not in but]
            if found:
                raise NotYet("\n".join(found))
        wait_for(probe, within)

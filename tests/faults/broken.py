"""A gateway that can be given faults, and the roots that lack or replace a program."""
import os
import shutil
import stat

from gateway import Gateway

LOG = "/tmp/ipv6.log"


class Roots:
    """The usual root, and copies of it in which a program is missing or is the recorder."""

    def __init__(self, plain, tmp_path_factory, sandbox):
        self.plain, self._factory, self._made = plain, tmp_path_factory, {}
        self._recorders = {name: f"{folder}/{name}" for folder, names in sandbox.RECORDERS.items() for name in names}

    def path_of(self, program):
        return self._recorders.get(program, "usr/bin/" + program)

    def without(self, program):
        return self._variant(("missing", program), lambda place: place.unlink())

    def with_recorder(self, program):
        """The usual root for a program that is recorded anyway."""
        if program in self._recorders:
            return self.plain

        def replace(place):
            place.unlink()
            os.link(self.plain / "usr/sbin/ip", place)
        return self._variant(("recorded", program), replace)

    def _variant(self, key, change):
        if key not in self._made:
            root = self._factory.mktemp("variant")
            shutil.copytree(self.plain, root, symlinks=True, copy_function=os.link, dirs_exist_ok=True)
            change(root / self.path_of(key[1]))
            self._made[key] = root
        return self._made[key]


class BrokenGateway(Gateway):
    """Beside what every gateway has:

    gateway.with_fault("-k", "500")   the next run's options of faulty.c
    gateway.refuse("posix_spawn:1:5") calls of the C library that fail (refuse.c)
    gateway.roots                     see `Roots`; gateway.use_root(root) takes another one
    gateway.place(path)               the file behind a path of the root
    """

    def __init__(self, world, template, roots, base):
        base.mkdir()
        super().__init__(world, template, roots.plain, base)
        self.roots = roots

    def use_root(self, root):
        self._root = root

    def clear_script(self, program):
        self._rules.pop(program, None)

    def place(self, path):
        return self._path(path)

    def with_fault(self, *options):
        self.starter = ["/tools/faulty", "faulty", *(str(option) for option in options), "--"] if options else []

    def refuse(self, *calls):
        self.env["LD_PRELOAD"] = "/tools/instant.so /tools/refuse.so"
        self.env["GW_REFUSE"] = " ".join(calls)

    def took(self):
        """How long the program ran, in microseconds (option -t)."""
        return int(self.read("/gw/took"))

    def fifo(self, path):
        self.remove(path)
        place = self._path(path)
        place.parent.mkdir(parents=True, exist_ok=True)
        os.mkfifo(place)

    def settings(self):
        """What the store holds now."""
        return self._read_store()

    def kernel_switches(self):
        return self._read_switches()

    def plain_files(self):
        return {path: text for path, text in self._read_files().items() if not text.startswith("-> ")}

    def set_switches(self, switches):
        for name, text in switches.items():
            self.file("/proc/sys/net/ipv6/conf/" + name, text)

    def owner(self, path):
        found = os.lstat(self._path(path))
        return found.st_uid, stat.S_IMODE(found.st_mode)

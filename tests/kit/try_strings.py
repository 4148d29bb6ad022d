"""Runs inside the gateway root: one script once for each hostile string; tells what it said and which files it left.

Standard input: JSON with "words" (the command line), "variables", "files" {path: content} that are written before each
run, "kept" (paths whose content is told and which are removed behind each run) and "strings". "@" in them all is the
string itself, as Latin-1, and \\1 an at sign. Standard output: JSON, a list with one entry a string.
"""
import json
import os
import subprocess
import sys

WATCHED = ("/tmp", "/run", "/etc/config", "/etc/init.d", "/etc/crontabs")


def listed():
    found = {}
    for folder in WATCHED:
        for here, folders, files in os.walk(os.fsencode(folder)):
            for name in folders + files:
                path = os.path.join(here, name)
                status = os.lstat(path)
                found[path.decode("latin-1")] = (status.st_mode, status.st_size, status.st_mtime_ns)
    found["/"] = sorted(os.listdir("/"))
    return found


def filled(text, string):
    return string.join(part.replace(b"\1", b"@") for part in text.encode("latin-1").split(b"@"))


def run(order, string):
    for path, content in order["files"].items():
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(filled(content, string))
    before = listed()
    variables = {b"PATH": b"/usr/sbin:/usr/bin:/sbin:/bin", b"LC_ALL": b"C"}
    variables.update({name.encode(): filled(value, string) for name, value in order["variables"].items()})
    done = subprocess.run([filled(word, string) for word in order["words"]], env=variables, cwd="/tmp/here", timeout=60,
                          stdin=subprocess.DEVNULL, capture_output=True, check=False)
    after = listed()
    told = {"status": done.returncode, "out": done.stdout.decode("latin-1"), "error": done.stderr.decode("latin-1"),
            "kept": {}}
    for path in order["kept"]:
        try:
            with open(path, "rb") as file:
                told["kept"][path] = file.read().decode("latin-1")
            os.unlink(path)
        except FileNotFoundError:
            pass
    told["touched"] = sorted(path for path in after.keys() | before.keys()
                             if path not in order["kept"] and before.get(path) != after.get(path)
                             and not os.path.isdir(path.encode("latin-1")))
    return told


def main():
    order = json.load(sys.stdin)
    os.makedirs("/tmp/here", exist_ok=True)
    json.dump([run(order, string.encode("latin-1")) for string in order["strings"]], sys.stdout)


main()

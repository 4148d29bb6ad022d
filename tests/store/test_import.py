"""Hostile text for `ccfg_cli import`: all of it or nothing, the bad line named, nothing outside the limits taken."""
import os
import re
import subprocess

from conftest import CLI, LONG, REPOSITORY

NAME = re.compile(rb"[A-Za-z0-9_.-]{1,63}\Z")


def hostile_strings():
    text = (REPOSITORY / "tests/fuzz/hostile/strings").read_bytes()
    for line in text.splitlines():
        yield re.sub(rb'\\(x[0-9A-Fa-f]{2}|[\\"])',
                     lambda m: bytes([int(m[1][1:], 16)]) if m[1].startswith(b"x") else m[1], line)


def is_setting(line):
    name, equals, value = line.partition(b"=")
    key, at, section = name.partition(b"@")
    return bool(equals and at and NAME.match(key) and NAME.match(section) and len(value) <= 1023
                and not re.search(rb"[\0-\x1f\x7f]", value))


def is_skipped(line):
    return line.startswith(b"#") or not line.strip(b" \t\r")


def test_hostile_strings_in_every_place_of_a_line_are_taken_whole_or_refused(store, figure):
    strings = list(hostile_strings())
    assert len(strings) >= 512
    whole = store.fill()
    before = store.listed()
    taken = refused = 0
    for number, text in enumerate(strings):
        places = (b"k1@lan0=" + text, text + b"@lan0=1", b"k1@" + text + b"=1", text)
        for line in places if LONG else (places[0], places[1 + number % 3])[number % 2:]:
            lines = line.split(b"\n")
            bad = [part for part in lines if not is_skipped(part) and not is_setting(part)]
            status, output, errors = store.cli("import", stdin=b"first@lan0=1\n" + line + b"\n")
            assert output == b""
            if bad or any(len(part) > 2047 for part in lines):
                assert status == 1 and errors.startswith(b"ccfg: standard input: line ") and errors.count(b"\n") == 1
                assert not re.search(rb"[\0-\x09\x0b-\x1f\x7f]", errors), errors
                assert store.path.read_bytes() == whole
                refused += 1
                continue
            assert (status, errors) == (0, b""), line
            wanted = dict(setting.split(b"=", 1) for setting in before.splitlines())
            wanted[b"first@lan0"] = b"1"
            wanted.update(part.split(b"=", 1) for part in lines if not is_skipped(part))
            # splitlines would also split at bytes that are part of a value
            assert dict(setting.split(b"=", 1) for setting in store.listed().split(b"\n")[:-1]) == wanted
            store.path.write_bytes(whole)
            taken += 1
    assert taken > 50 and refused > 50
    figure("hostile strings in an import", lines=taken + refused, taken=taken, refused=refused)


def test_files_that_are_no_settings_are_refused(store, tmp_path):
    whole = store.fill()
    cases = {
        "folder": (tmp_path, "Is a directory"),
        "missing": (tmp_path / "missing", "No such file or directory"),
        "itself": (store.path, None),
        "program": (CLI, "line "),
        "zeros": ("/dev/zero", "is more than a store can hold"),
    }
    for path, said in cases.values():
        status, output, errors = store.cli("import", path)
        if said is None:
            assert (status, output, errors) == (0, b"", b"")
        else:
            assert status == 1 and output == b"" and said.encode() in errors and errors.count(b"\n") == 1
        assert store.path.read_bytes() == whole
    for text in (b"# a comment that does not end" * 100, b"a@b=1\0", b"\xef\xbb\xbfa@b=1", b"k1@lan0=2\r", b"\x1e", b"\0"):
        assert store.cli("import", stdin=b"first@lan0=1\n" + text + b"\n")[0] == 1
    assert store.path.read_bytes() == whole


def test_more_than_a_store_can_hold_is_refused(store):
    whole = store.fill()
    line = b"x@y=" + b"v" * 1000 + b"\n"
    endless = line * (33 * 1024 * 1024 // len(line))
    status, _, errors = store.cli("import", stdin=endless)
    assert (status, errors) == (1, b"ccfg: standard input: is more than a store can hold\n")
    many = b"".join(b"k%d@y=%s\n" % (i, b"v" * 1000) for i in range(17000))
    assert store.cli("import", stdin=many) == (1, b"", store.said("cannot be changed: is full"))
    assert store.path.read_bytes() == whole
    assert store.names() == ["ccfg.db", "ccfg.db.lock"]


def test_an_import_reads_a_slow_source_to_its_end_before_it_locks_anything(store):
    store.fill()
    source, sink = os.pipe()
    with os.fdopen(sink, "wb") as lines:
        with subprocess.Popen([CLI, "import"], stdin=source, env=store.environment()) as importer:
            os.close(source)
            lines.write(b"slow@lan0=1\n")
            lines.flush()
            assert store.cli("set", "quick@lan0=1") == (0, b"", b"")
            lines.close()
            assert importer.wait(60) == 0
    assert b"quick@lan0=1\n" in store.listed() and b"slow@lan0=1\n" in store.listed()

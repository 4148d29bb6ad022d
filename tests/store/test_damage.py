"""A store that is missing, empty, cut, altered or out of reach: a clear message, the file left as it is."""
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile

import pytest

from conftest import CLI, DAMAGED, DRIVER, LONG, PROGRAM, Store, numbers_of

SERVICE_FAILED = b"Failed to start a transaction to zel middle\n"


def run_driver(store, kind, step):
    whole = store.fill(60 if LONG else 15)
    status, output, errors = store.run([DRIVER, "damage", kind, str(step)])
    assert status == 0, (output, errors)
    assert store.path.read_bytes() == whole
    numbers = numbers_of(output)
    assert numbers["refused"] + numbers["unchanged"] == numbers["cases"] > 0
    return numbers


def test_every_flipped_bit_is_noticed(store, figure):
    numbers = run_driver(store, "bits", 1)
    assert numbers["unchanged"] == 0
    figure("one flipped bit", **numbers)


def test_every_cut_is_noticed(store, figure):
    numbers = run_driver(store, "cuts", 1)
    assert numbers["unchanged"] == 0
    figure("a cut file", **numbers)


def test_lost_moved_and_overwritten_parts_are_noticed(store, figure):
    figure("random damage", **run_driver(store, "noise", 20000 if LONG else 300))


def run_program(store):
    """One run of the program itself with a /tmp and a system log of its own: status, standard error, log, syslog."""
    listener = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    listener.bind(str(store.folder.parent / "log.socket"))
    listener.settimeout(10)
    script = '"$0" 2>/tmp/errors; status=$?; cat /tmp/errors /tmp/ipv6.log; exit $status'
    done = subprocess.run(
        ["bwrap", "--dev-bind", "/", "/", "--dev", "/dev", "--bind", str(store.folder.parent / "log.socket"), "/dev/log",
         "--tmpfs", "/tmp", "--bind", str(store.folder), "/tmp/config", "--bind", str(PROGRAM), "/tmp/nothing",
         "--unshare-pid", "--die-with-parent", "--setenv", "TESA_STORE", "/tmp/config/ccfg.db",
         "/bin/sh", "-c", script, "/tmp/nothing"], capture_output=True, check=False, timeout=60)
    assert done.stderr == b""
    try:
        said = listener.recv(4096) if done.returncode == 255 else b""
    finally:
        listener.close()
        os.unlink(store.folder.parent / "log.socket")
    return done.returncode, done.stdout, said


@pytest.mark.parametrize("contents", [b"", b"x", b"#ccfg 1 ", b"#ccfg 1 00000000 0000000000000001\n", b"a@b=1\n",
                                      b"\0" * 8192, b"\xff" * 8192, os.urandom(20000)],
                         ids=["empty", "one byte", "half a head", "wrong sum", "no head", "zeros", "erased flash", "noise"])
def test_a_damaged_store_stops_the_program_and_the_tool_and_is_kept(store, contents):
    (store.folder / "ccfg.factory").write_bytes(b"a@b=factory\n")
    store.path.write_bytes(contents)
    os.chmod(store.path, 0o640)
    status, output, said = run_program(store)
    assert status == 255
    lines = output.splitlines(keepends=True)
    assert lines[0] == SERVICE_FAILED
    assert lines[1].startswith(b"[main][") and lines[1].endswith(b"^_^[/tmp/nothing] ERROR_INTERNAL, end\n")
    assert said.endswith(b"ccfg: /tmp/config/ccfg.db: " + DAMAGED.encode())
    for arguments in (("get", "a@b"), ("set", "a@b=1"), ("unset", "a@b"), ("list",), ("export",)):
        assert store.cli(*arguments) == (1, b"", store.said(DAMAGED))
    assert store.names() == ["ccfg.db", "ccfg.factory"]
    assert store.path.read_bytes() == contents
    # The way back, which keeps the damaged file.
    assert store.cli("import", stdin=b"c@d=mine\n")[0] == 0
    assert store.listed() == b"a@b=factory\nc@d=mine\n"
    assert (store.folder / "ccfg.db.damaged").read_bytes() == contents
    assert run_program(store)[0] == 1


def test_a_missing_store_is_created_and_a_missing_folder_is_not(store):
    (store.folder / "ccfg.factory").write_bytes(b"a@b=factory\n")
    assert run_program(store)[0] == 1
    assert store.listed() == b"a@b=factory\n"
    assert oct(store.path.stat().st_mode & 0o7777) == "0o600"
    store.path = store.folder / "none/ccfg.db"
    for arguments in (("get", "a@b"), ("set", "a@b=1"), ("import", "/dev/null")):
        assert store.cli(*arguments) == (1, b"", store.said("cannot be created: No such file or directory"))
    assert not store.path.parent.exists()


@pytest.fixture
def open_store():
    """A store whose folder everybody reaches, and a copy of the tool that everybody can run."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="ipv6ctl-store-"))
    os.chmod(folder, 0o755)
    (folder / "config").mkdir()
    shutil.copy(CLI, folder / "ccfg_cli")
    yield Store(folder / "config")
    os.chmod(folder / "config", 0o755)
    shutil.rmtree(folder)


def as_nobody(store, *arguments):
    """Runs the tool without root's right to write everything."""
    user = ["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups"] if os.geteuid() == 0 else []
    return store.run([*user, store.folder.parent / "ccfg_cli", *arguments])


def test_a_read_only_file_and_a_read_only_folder_can_be_read_and_not_changed(open_store):
    store = open_store
    whole = store.fill()
    os.chmod(store.path, 0o444)
    os.chmod(store.folder, 0o777)
    refused = (1, b"", store.said("cannot be changed: Permission denied"))
    assert as_nobody(store, "get", "k1@lan0") == (0, b"value1\n", b"")
    assert as_nobody(store, "set", "k1@lan0=2") == refused
    assert as_nobody(store, "set", "k1@lan0=value1") == (0, b"", b""), "nothing would change"
    os.chmod(store.path, 0o666)
    os.chmod(store.folder, 0o555)
    assert as_nobody(store, "get", "k1@lan0") == (0, b"value1\n", b"")
    assert as_nobody(store, "set", "k1@lan0=2") == refused
    assert store.names() == ["ccfg.db", "ccfg.db.lock"]
    assert store.path.read_bytes() == whole


def test_nobody_but_its_owner_reads_the_store(open_store):
    if os.geteuid() != 0:
        pytest.fail("needs root, to be somebody else too")
    open_store.fill()
    assert as_nobody(open_store, "get", "k1@lan0") == (1, b"", open_store.said("Permission denied"))


FULL_DISK = r'''
set -eu
mount -t tmpfs -o size=$2k,mode=700 none "$1"
mkdir "$1/config"
export TESA_STORE="$1/config/ccfg.db"
i=0
while [ $i -lt 60 ]; do echo "k$i@lan0=value$i"; i=$((i + 1)); done | "$3" import
"$3" list >"$1/../before"
cp "$TESA_STORE" "$1/../bytes"
cat /dev/zero >"$1/ballast" 2>/dev/null || :
while [ -s "$1/ballast" ]; do
    status=0
    "$3" import "$1/../more" 2>"$1/../said" || status=$?
    "$3" list >"$1/../after"
    [ ! -e "$TESA_STORE.new" ] || { echo "an unfinished file is left"; exit 1; }
    if [ $status -eq 0 ]; then
        cmp -s "$1/../wanted" "$1/../after" || { echo "a commit that succeeded is not there"; exit 1; }
        echo fits
        exit 0
    fi
    cmp -s "$1/../before" "$1/../after" || { echo "a commit that failed changed something"; exit 1; }
    cmp -s "$1/../bytes" "$TESA_STORE" || { echo "a commit that failed changed the file"; exit 1; }
    cat "$1/../said"
    size=$(stat -c %s "$1/ballast")
    truncate -s $((size - 4096)) "$1/ballast"
done
echo "it never fits"
exit 1
'''


def test_a_full_disk_is_said_and_changes_nothing(store, tmp_path, figure):
    mount = tmp_path / "disk"
    mount.mkdir()
    more = b"".join(b"big%d@lan1=%s\n" % (i, b"v" * 900) for i in range(40))
    (tmp_path / "more").write_bytes(more)
    store.fill()
    (tmp_path / "wanted").write_bytes(b"".join(sorted((store.listed() + more).splitlines(keepends=True))))
    privilege = ["-m"] if os.geteuid() == 0 else ["-Urm"]
    status, output, errors = store.run(["unshare", *privilege, "/bin/sh", "-c", FULL_DISK, "sh", mount, "256", CLI])
    lines = output.decode().splitlines()
    assert (status, errors, lines[-1]) == (0, b"", "fits"), output
    said = f"ccfg: {mount}/config/ccfg.db: cannot be changed: No space left on device"
    assert lines[:-1] == [said] * (len(lines) - 1) and len(lines) > 8
    figure("a disk that is full by a page more each time", refused=len(lines) - 1)

"""Who may change what `make install` puts on the device: root alone, whatever the umask of who installs."""
import os
import stat
import subprocess

import pytest

SCRIPT_FOLDERS = ("usr/sbin/", "etc/init.d/", "usr/lib/ipv6ctl/adapters/")


@pytest.fixture(scope="module", params=["000", "022"])
def image(build, request, tmp_path_factory):
    folder = tmp_path_factory.mktemp("image") / request.param
    folder.mkdir(mode=0o755)
    subprocess.run(["/bin/sh", "-c", 'umask "$1" && exec cmake --install "$2"', "sh", request.param, build], check=True,
                   env={**os.environ, "DESTDIR": str(folder)}, stdout=subprocess.DEVNULL)
    return folder


def entries(image):
    """{path: status} of everything below the image, links themselves."""
    found = {}
    for folder, folders, files in os.walk(image):
        for name in folders + files:
            path = os.path.join(folder, name)
            found[os.path.relpath(path, image)] = os.lstat(path)
    return found


def test_nobody_but_the_owner_can_write_anything(image):
    seen = entries(image)
    assert "usr/sbin/ipv6ctl" in seen and "usr/sbin/zel_ipv6cp_up" in seen
    assert [path for path, status in seen.items() if not stat.S_ISLNK(status.st_mode) and status.st_mode & 0o022] == []


def test_everything_belongs_to_who_installed_it(image):
    assert {(status.st_uid, status.st_gid) for status in entries(image).values()} == {(os.geteuid(), os.getegid())}


def test_nothing_runs_with_the_rights_of_its_owner(image):
    assert [path for path, status in entries(image).items()
            if not stat.S_ISLNK(status.st_mode) and status.st_mode & 0o7000] == []


def test_folders_can_be_entered_and_files_read_by_the_daemons(image):
    for path, status in entries(image).items():
        if stat.S_ISDIR(status.st_mode):
            assert status.st_mode & 0o777 == 0o755, path
        elif stat.S_ISREG(status.st_mode):
            assert status.st_mode & 0o444 == 0o444, path


def test_programs_and_scripts_can_be_started_and_nothing_else_can(image):
    for path, status in entries(image).items():
        if not stat.S_ISREG(status.st_mode) or path.startswith("usr/share/"):
            continue
        with open(image / path, "rb") as file:
            starts = file.read(4)
        program = starts == b"\x7fELF" and not path.endswith(".so") or starts[:2] == b"#!"
        assert bool(status.st_mode & 0o111) == program, path
        if path.startswith(SCRIPT_FOLDERS):
            assert program, path


def test_links_stay_inside_their_folder(image):
    links = [path for path, status in entries(image).items() if stat.S_ISLNK(status.st_mode)]
    assert len([path for path in links if path.startswith("usr/sbin/")]) >= 16
    for path in links:
        assert "/" not in os.readlink(image / path), path
        assert (image / path).exists(), path


def test_the_store_is_its_owners_alone_under_any_umask(build, tmp_path):
    for umask in (0o000, 0o022):
        path = tmp_path / f"{umask:o}" / "ccfg.db"
        path.parent.mkdir()
        done = subprocess.run([build / "ccfg_cli", "set", "a@b=c"], umask=umask,
                              env={**os.environ, "TESA_STORE": str(path)}, check=False)
        assert done.returncode == 0
        modes = {name: stat.S_IMODE(os.stat(path.parent / name).st_mode) for name in os.listdir(path.parent)}
        assert "ccfg.db" in modes and set(modes.values()) == {0o600}, modes

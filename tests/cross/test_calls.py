"""What a build asks of its libraries. Run by tests/cross/run; CROSS_BUILD names the build folder."""
import os
import pathlib
import re
import subprocess

import pytest

BUILD = pathlib.Path(os.environ["CROSS_BUILD"])

# Calls that fail or go wrong after 2038-01-19, or with a file above 2 GB or an inode number above 32 bits.
NARROW = {"open", "openat", "creat", "fopen", "freopen", "stat", "fstat", "lstat", "fstatat", "lseek", "truncate",
          "ftruncate", "mmap", "pread", "pwrite", "readdir", "mkstemp", "tmpfile", "time", "clock_gettime",
          "gettimeofday", "nanosleep", "clock_nanosleep", "setitimer", "utimensat", "futimens", "localtime", "gmtime",
          "mktime"}


def _imports(program):
    listing = subprocess.run(["readelf", "--wide", "--dyn-syms", program], check=True, capture_output=True, text=True)
    return set(re.findall(r" UND (\w+)", listing.stdout))


def _is_32_bit(program):
    return program.read_bytes()[4] == 1


@pytest.mark.parametrize("name", ["ipv6ctl", "ccfg_cli"])
def test_no_call_of_a_32_bit_build_ends_in_2038_or_at_2_gb(name):
    program = BUILD / name
    imports = _imports(program)
    wide_open = "open64" if _is_32_bit(program) else "open"
    assert any(call.startswith(wide_open) for call in imports), "the list of calls could not be read"
    if _is_32_bit(program):
        assert imports & NARROW == set()


@pytest.mark.parametrize("name", ["ipv6ctl", "ccfg_cli"])
def test_the_c_library_is_all_that_is_needed(name):
    listing = subprocess.run(["readelf", "--wide", "--dynamic", BUILD / name], check=True, capture_output=True, text=True)
    needed = re.findall(r"\(NEEDED\).*\[(.*)\]", listing.stdout)
    assert any(library.startswith("libc.so") for library in needed)
    assert [library for library in needed if not re.match(r"libc\.so|ld", library)] == []

"""pytest -p with_valgrind tests/device: every run of the program under valgrind's memcheck, leaks included.

A test whose program did something that memcheck objects to fails with memcheck's words, whatever it asserts itself.
"""
import pathlib
import re

import pytest

HERE = pathlib.Path(__file__).resolve().parent
TOOLS = "/usr/libexec/valgrind"
# Memcheck does not know SIOCDIFADDR and says so; what is handed to it is what SIOCSIFADDR takes, which it knows.
UNKNOWN_REQUEST = re.compile(r"(==\d+==) Warning: noted but unhandled ioctl 0x8936 .*\n(?:\1    .*\n)*")


@pytest.fixture(autouse=True)
def _no_run_with_an_error_of_memory(request):
    if "gateway" not in request.fixturenames:
        yield
        return
    gateway = request.getfixturevalue("gateway")
    template = gateway._template
    with template.locked():
        starter = template.compile("under-valgrind", HERE / "under_valgrind.c")
    for source, place in ((TOOLS, "valgrind"), (starter, "under-valgrind"), (HERE / "memcheck.supp", "memcheck.supp")):
        gateway.mounts += ["--ro-bind", source, f"/gw/{place}"]
    gateway.starter = ["/gw/under-valgrind", "under-valgrind"]
    yield
    said = [(log.name, UNKNOWN_REQUEST.sub("", log.read_text(errors="replace")))
            for log in sorted((gateway._base / "gw").glob("memcheck.[0-9n]*"))]
    assert said, "no run was under memcheck"
    assert not [text for _, text in said if text.strip()], "\n".join(f"{name}:\n{text}" for name, text in said)

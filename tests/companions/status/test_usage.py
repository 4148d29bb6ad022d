"""Arguments, colors, --watch, and what stands beside the program."""

import json
import os
import re
import select
import subprocess

import pytest

from status_gateway import BUILD, ROOT, VALIDATOR


def run(*arguments):
    done = subprocess.run([BUILD / "ipv6status", *arguments], capture_output=True, text=True, check=False, timeout=60,
                          env={**os.environ, "TESA_STORE": "/nonexistent/ccfg.db"})
    return done.returncode, done.stdout, done.stderr


SECTIONS = "system wan daemons lan0 lan1 firewall static_routes neighbors"


@pytest.mark.parametrize("arguments, complaint", [
    (("--jason",), "--jason is no option; did you mean --json?"),
    (("--wathc", "5"), "--wathc is no option; did you mean --watch?"),
    (("--json=1",), "--json=1 is no option; did you mean --json?"),
    (("-v",), "-v is no option"),
    (("--an-option-that-is-longer-than-any-that-there-is",), "--an-option-that-is-longer-than-any-that-there-is is no option"),
    (("--watch", "0"), '"0" is no whole number of seconds from 1 to 86400'),
    (("--watch", "0.5"), '"0.5" is no whole number of seconds from 1 to 86400'),
    (("--watch=",), '"" is no whole number of seconds from 1 to 86400'),
    (("--watch", "99999999999999999999"), '"99999999999999999999" is no whole number of seconds from 1 to 86400'),
    (("wna",), '"wna" is no section; did you mean wan?'),
    (("--watch", "bridge"), f'"bridge" is no section; there are {SECTIONS}'),
    (("static-routes",), '"static-routes" is no section; did you mean static_routes?'),
    (("a\x1b[31m\u00e9",), f'"a?[31m??" is no section; there are {SECTIONS}'),
    (("",), f'"" is no section; there are {SECTIONS}'),
    (("--json", "wan"), "--json writes every section; name none"),
    (("--help", "me"), "--help stands alone"),
    (("wan", "--version"), "--version stands alone")])
def test_called_wrongly(arguments, complaint):
    status, output, errors = run(*arguments)
    assert (status, output) == (2, "")
    assert errors.splitlines()[:2] == [f"ipv6status: {complaint}",
                                       "usage: ipv6status [--json] [--watch [SECONDS]] [SECTION...]"]


def test_help_and_version():
    status, output, errors = run("--help")
    assert (status, errors) == (0, "") and "Exit status: 0 healthy, 1 degraded, 2 cannot tell" in output
    assert run("-h") == (0, output, "")
    assert all(name in output for name in SECTIONS.split())
    assert re.fullmatch(r"ipv6status \d+\.\d+\.\d+\n", run("--version")[1])


def test_watch_looks_again_until_it_is_interrupted(gw):
    # The store is changed between the first look and the second.
    words = gw.command("/bin/sh", "-c", "/mnt/ipv6status --json --watch 1 & child=$!; read -r _; "
                       "kill -INT $child; wait $child")
    with subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as child:
        lines = [child.stdout.readline()]
        subprocess.run([BUILD / "ccfg_cli", "set", "ip6_wan_ready@system=0"], check=True,
                       env={**os.environ, "TESA_STORE": str(gw.path("config/ccfg.db"))})
        while json.loads(lines[-1])["health"] == "healthy":
            assert select.select([child.stdout], [], [], 60)[0], "no further look"
            lines.append(child.stdout.readline())
        child.stdin.write(b"\n")
        child.stdin.close()
        child.stdout.read()
        assert child.wait(60) == 1
    for line in lines:
        VALIDATOR.validate(json.loads(line))
    assert json.loads(lines[0])["health"] == "healthy" and json.loads(lines[-1])["health"] == "degraded"


def test_the_completion_offers_the_options():
    script = f'. {ROOT}/companions/status/completion/ipv6status; COMP_WORDS=(ipv6status --); COMP_CWORD=1; _ipv6status; ' \
             'echo "${COMPREPLY[@]}"'
    done = subprocess.run(["bash", "-c", script], capture_output=True, text=True, check=True)
    assert done.stdout.split() == ["--json", "--watch", "--help", "--version"]
    done = subprocess.run(["bash", "-c", script.replace("--)", "lan)")], capture_output=True, text=True, check=True)
    assert done.stdout.split() == ["lan0", "lan1"]


def test_the_examples_of_the_page(gw):
    source = (ROOT / "companions/status/ipv6status.1.scd").read_text(encoding="utf-8")
    examples = re.findall(r"^\t(.+)$", re.search(r"^# EXAMPLES\n(.*?)^# ", source, re.M | re.S).group(1), re.M)
    del gw.daemons["radvd"]
    gw.scripts["ipv6status"] = 'exec /mnt/ipv6status "$@"'
    gw.scripts["logger"] = 'echo "logged: $*"'
    printed = []
    for example in examples:
        words = ["timeout", "--preserve-status", "-s", "INT", "2"] if "--watch" in example else []
        line = example.replace("ipv6status", "exec ipv6status") if words else example
        done = subprocess.run(gw.command(*words, "sh", "-c", line), capture_output=True, text=True, check=False, timeout=60)
        assert done.stderr == "" and done.returncode == (1 if words else 0), (example, done)
        printed.append(done.stdout)
    assert len(examples) == 3
    assert "\nlan0\n" in printed[0] and "\nlan1\n" not in printed[0]
    assert printed[1].splitlines()[1:] == ["it is not advertised: radvd does not run"] * 3
    assert printed[2] == "logged: -t gateway IPv6 is degraded\n"


@pytest.mark.parametrize("arguments", [(), ("--json",), ("--watch", "600"), ("--help",)])
def test_what_cannot_be_written_is_told(arguments):
    with open("/dev/full", "wb") as full:
        done = subprocess.run([BUILD / "ipv6status", *arguments], stdout=full, stderr=subprocess.PIPE, text=True,
                              check=False, timeout=60)
    assert (done.returncode, done.stderr) == (2, "ipv6status: cannot write: No space left on device\n")


def test_the_page_is_sound_and_names_every_option():
    source = (ROOT / "companions/status/ipv6status.1.scd").read_text(encoding="utf-8")
    page = subprocess.run(["scdoc"], input=source, capture_output=True, text=True, check=True).stdout
    found = subprocess.run(["mandoc", "-T", "lint", "-W", "error"], input=page, capture_output=True, text=True,
                           check=False)
    assert (found.returncode, found.stdout) == (0, "")
    for option in ("--json", "--watch", "--help", "--version"):
        assert option in source


def test_it_needs_no_runtime_library_of_cpp():
    listed = subprocess.run(["ldd", BUILD / "ipv6status"], capture_output=True, text=True, check=True).stdout
    assert "libc.so" in listed and "libstdc++" not in listed

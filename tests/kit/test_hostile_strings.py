"""512 strings that have broken programs before, given to the device's scripts where a value of others can stand."""
import json
import re
import string as characters

import pytest
from conftest import REPOSITORY

STRINGS = REPOSITORY / "tests/fuzz/hostile/strings"
DRIVER = (REPOSITORY / "tests/kit/try_strings.py").read_text()
ADAPTERS = "/usr/lib/ipv6ctl/adapters/"
NAME = set(characters.ascii_letters + characters.digits)


def unescaped(line):
    """The escapes of the file: \\\\ \\" \\xHH."""
    return re.sub(rb"\\(x[0-9a-f]{2}|.)", lambda found: bytes([int(found[1][1:], 16)]) if found[1][:1] == b"x"
                  and len(found[1]) == 3 else found[1], line)


def hostile(without=b"\0"):
    """The strings that hold none of these bytes, as Latin-1; a word and a variable cannot hold a NUL."""
    strings = [unescaped(line) for line in STRINGS.read_bytes().split(b"\n")[:-1]]
    assert len(strings) == 512
    return [text.decode("latin-1") for text in strings if not set(text) & set(without)]


def is_made_of(text, others):
    return text != "" and set(text) <= NAME | set(others)


def visible(text):
    """How the scripts show a value in a line of a file: control characters as question marks."""
    return "".join("?" if ord(c) < 0x20 or ord(c) == 0x7f else c for c in text)


@pytest.fixture
def tried(gateway):
    """Runs a command line for each string; yields (string, what it did) and holds that no other file was touched."""
    def run(*words, strings, variables=None, files=None, kept=()):
        order = {"words": words, "variables": variables or {}, "files": files or {}, "kept": kept, "strings": strings}
        done = gateway.run("python3", "-c", DRIVER, stdin=json.dumps(order), timeout=600)
        results = json.loads(done.stdout)
        assert len(results) == len(strings) > 400
        for text, result in zip(strings, results):
            assert result["touched"] == [], (text, result)
        return list(zip(strings, results))
    return run


def test_the_wan_interface(tried):
    for text, did in tried("wandataif.sh", strings=hostile(b"\0\n"),
                           files={"/etc/config/stub.ccfg": "wandataif\1system=@\n"}):
        good = is_made_of(text, "_.:@-") and len(text) <= 15 and text not in (".", "..")
        assert (did["status"], did["out"]) == (0, (text if good else "eth0") + "\n"), (text, did)


def test_the_section_of_an_interface(tried):
    for text, did in tried("if2sect.sh", "@", strings=hostile()):
        assert (did["status"], did["out"]) == (0, "wan100\n"), (text, did)


def test_a_variable_of_the_boot_loader(tried):
    for text, did in tried("uboot_env", "--get", "--name", "@", strings=hostile(),
                           files={"/etc/config/uboot.env": "serial=S\n"}):
        assert (did["status"], did["out"]) == (1 if is_made_of(text, "_") else 2, ""), (text, did)
    for text, did in tried("uboot_env", "--get", "--name", "serial", strings=hostile(b"\0\n"),
                           files={"/etc/config/uboot.env": "serial=@\n"}):
        assert (did["status"], did["out"]) == (0, text + "\n"), (text, did)


def test_an_event(tried):
    for text, did in tried("vorn_syslog_cli", "addEventCode", "-1", "P001", "@", strings=hostile(),
                           kept=["/tmp/events"]):
        assert did["status"] == 0, (text, did)
        assert re.sub(r"^[0-9TZ:-]{20} ", "", did["kept"]["/tmp/events"]) == f"P001 {visible(text)}\n"


def test_the_addresses_for_the_voice_service(tried):
    for text, did in tried("sip_config", "SIP_CORE_SetVcIPAddr", "10", "@", "", strings=hostile(),
                           kept=["/tmp/sip_config"]):
        shown = re.sub(r'(["\\])', r"\\\1", visible(text))
        assert (did["status"], did["kept"]["/tmp/sip_config"]) == (0, f'SIP_CORE_SetVcIPAddr "10" "{shown}" ""\n')


def test_the_function_of_the_voice_service(tried):
    for text, did in tried("sip_config", "@", strings=hostile(), kept=["/tmp/sip_config"]):
        good = is_made_of(text, "_")
        assert (did["status"], did["kept"].get("/tmp/sip_config")) == ((0, text + "\n") if good else (2, None)), text


def test_name_servers(tried):
    six = r"nameserver ([0-9A-Fa-f:.]*:[0-9A-Fa-f:.]*|(\d{1,3}\.){3}\d{1,3})"
    settings = "dns\1wan100=@\nsdns\1wan100=@\nip6_dns1\1system=@\nip6_dns2\1system=@\n"
    for text, did in tried("resolv_update.sh", "SYSTEM", strings=hostile(b"\0\n"), kept=["/tmp/resolv.conf.auto"],
                           files={"/etc/config/stub.ccfg": settings, "/tmp/resolv.conf.auto": "@\nnameserver @\n"}):
        lines = did["kept"]["/tmp/resolv.conf.auto"].split("\n")
        assert (did["status"], lines[0], lines[-1]) == (0, "nameserver 127.0.0.1", ""), (text, did)
        assert all(re.fullmatch(six, line) for line in lines[:-1]), (text, lines)
        assert len(lines) <= 7, (text, lines)


def test_a_line_for_cron(tried):
    kept = ["/etc/crontabs/root", "/etc/crontabs/cron.update", "/run/crontabs-ipv6ctl.lock"]
    for text, did in tried("/etc/init.d/cron", "add", "name", "@", strings=hostile(), kept=kept):
        good = text != "" and not text.startswith("#") and visible(text) == text
        assert (did["status"], did["kept"].get(kept[0])) == (
            (0, f"# cron: name\n{text}\n") if good else (2, None)), (text, did)
    for text, did in tried("/etc/init.d/cron", "add", "@", "* * * * * true", strings=hostile(), kept=kept):
        good = is_made_of(text, "_.-")
        assert (did["status"], did["kept"].get(kept[0])) == (
            (0, f"# cron: {text}\n* * * * * true\n") if good else (2, None)), (text, did)


def test_a_name_to_look_up(tried, gateway):
    gateway.sh("mkdir -p /usr/lib/ipv6ctl/stock")
    gateway.write("/usr/lib/ipv6ctl/stock/nslookup", "#!/bin/sh\nprintf '[%s]' \"$@\" >/tmp/asked\n", mode=0o755)
    for words, place in (((ADAPTERS + "nslookup", "@"), 0), ((ADAPTERS + "nslookup", "a.example", "@"), 1)):
        for text, did in tried(*words, strings=hostile(), kept=["/tmp/asked"]):
            asked = did["kept"].get("/tmp/asked")
            if asked is None:
                assert did["status"] in (0, 2), (text, did)
                continue
            words_of_it = ["a.example", text] if place else [text]
            assert asked == "".join(f"[{word}]" for word in words_of_it if word), (text, did)
            assert text == "" or is_made_of(text, "_.:-%") and not text.startswith("-"), (text, did)


def test_the_interfaces_of_the_multicast_proxy(tried):
    for text, did in tried(ADAPTERS + "ecmh", "-i", "@", "-d", "br-lan", strings=hostile(), kept=["/tmp/ecmh"]):
        good = is_made_of(text, "_.:@-")
        assert (did["status"], did["kept"].get("/tmp/ecmh")) == (
            (0, f"from {text} to br-lan\n") if good else (2, None)), (text, did)


def test_what_the_client_was_given(tried, gateway):
    """The client's script passes every value on as it is, or not at all."""
    gateway.write("/usr/sbin/recorder", "#!/bin/sh\n{ env -0; printf '\\0'; } >>/tmp/called\n", mode=0o755)
    names = ["interface", "new_ip6_address", "new_ip6_prefixlen", "new_ip6_prefix", "new_dhcp6_name_servers",
             "new_dhcp6_domain_search", "new_max_life", "new_preferred_life", "old_ip6_address", "cur_ip6_address"]
    own = "/run/ipv6ctl-dhclient/own"
    gateway.sh(f"mkdir -p {own}")
    for reason in ("BOUND6", "EXPIRE6"):
        variables = {name: "@" for name in names}
        variables |= {"reason": reason, "adapter_script": "/usr/sbin/recorder", "adapter_own": own,
                      "adapter_kept": own, "stateless": "0"}
        kept = ["/tmp/called", own + "/bound", own + "/bound.leases", own + "/copy", own + "/address"]
        for text, did in tried(ADAPTERS + "dhclient-events", strings=hostile(), variables=variables, kept=kept):
            calls = [dict(item.split("=", 1) for item in call.split("\0") if item)
                     for call in did["kept"].get("/tmp/called", "").split("\0\0")[:-1]]
            assert [call["reason"] for call in calls] == [reason] + ["EFFECT6"] * (reason == "BOUND6"), (text, did)
            for call in calls:
                assert {call.get(name, text) for name in names} == {text}, (text, call)

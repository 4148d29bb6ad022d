"""Logs that are cut, huge, or written by somebody who means harm."""
import json
import re
import resource
import xml.etree.ElementTree as ElementTree
from html.parser import HTMLParser

import pytest
from trace_logs import end, event, run_of, said, shell, start

STEERING = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f\u200b-\u200f\u2028-\u202e\u2066-\u2069\ufeff]")
HOSTILE = ["\x1b]0;owned\x07\x1b[2J\x1b[31mred", "\x9b31mc1 control", "\u202egnp.exe\u2066", "tab\there\rback\x08\x08",
           "\x00nul\x7f", '</text></svg></pre><script>window.hurt = 1</script><img src=x onerror="hurt()">',
           '" onload="hurt()" x="', "]]><![CDATA[<!--", "&lt;b&gt;&#60;", "%s%n{0}", "\u2028\u2029\ufeff"]
FORMS = [(), ("--lines", "--parameters"), ("--brief",), ("--color", "always"), ("--json",), ("--json", "--lines"), 
         ("--svg",), ("--html",)]


def hostile_log(text):
    return start(text, 5) + said(text, 5, text) + shell(5, text, 3) + said("prepare_parm", 5, f"ip6_addr(lan0):{text}")\
        + said("prepare_parm", 5, f"{text}(lan0):{text}") + said("dhcp6c_main", 5, f"The reason is {text}") \
        + f"{text}\n" + end(text, 6) + said("x", 7, text) + start("zel_ipcp_up", 8) + shell(8, f"echo {text}")


@pytest.mark.parametrize("form", FORMS, ids=lambda form: "-".join(form) or "plain")
@pytest.mark.parametrize("number", range(len(HOSTILE)))
def test_text_of_others_stays_text(tool, form, number):
    text = tool.text(*form, log=hostile_log(HOSTILE[number]))
    own = re.sub("\033\\[[0-9;]*m", "", text) if "always" in form else text
    if form in (("--svg",), ("--html",)):
        own = own.replace("\t", "")         # a blank there
    assert not STEERING.search(own)
    if "--json" in form:
        lines = [line["text"] for each in json.loads(text)["invocations"] for line in each["shell_lines"]]
        assert f"echo {HOSTILE[number]}" in lines, "in JSON it is what the log has"
    elif "--svg" in form:
        assert allowed(ElementTree.fromstring(text).iter())
    elif "--html" in form:
        reader = Elements()
        reader.feed(text)
        assert reader.scripts == 1 and not reader.foreign


def allowed(elements):
    for element in elements:
        name = element.tag.removeprefix("{http://www.w3.org/2000/svg}")
        assert name in ("svg", "g", "rect", "text", "title", "style", "line", "path"), name
        assert not [key for key in element.attrib if key.startswith("on") or key.endswith("href")]
    return True


class Elements(HTMLParser):
    scripts = 0
    foreign = False

    def handle_starttag(self, tag, attrs):
        self.scripts += tag == "script"
        self.foreign |= tag in ("img", "b2") or any(key.startswith("on") for key, _ in attrs)


def test_bytes_that_are_no_text_are_shown_as_numbers(tool):
    text = tool.text(log=b"[main][1] ^_^[/usr/sbin/zel_ipcp_up] start.\n[zel_system][1] [1]echo \xff\xc3\x28\x00\n")
    assert "[1] echo \\xff\\xc3(\\x00   <-- failed" in text


def test_a_locale_without_utf_8_is_enough(tool):
    log = run_of("zel_ipcp_up", 1, shell(1, "echo \u6f22\u00e9", 4))
    plain = {"LC_ALL": "C", "PYTHONUTF8": "0", "PYTHONCOERCECLOCALE": "0", "PATH": "/usr/bin:/bin"}
    done = tool.run(log=log, env=plain)
    assert done.returncode == 0 and b"[4] echo \\u6f22\\xe9" in done.stdout


def test_a_log_cut_anywhere_can_be_read(tool):
    log = (event("BOUND6", 100, "3fff::", shell(100, "ip x", 2)) + start("zel_ipcp_up", 101)
           + "[zel_system][101] [0]a\nb\n").encode()
    for place in range(0, len(log), 7):
        for part in (log[:place], log[place:]):
            assert tool_in_process(part).line_count == part.count(b"\n") + (not part.endswith(b"\n") and part != b"")


@pytest.mark.parametrize("uptime", [10 ** 15, 10 ** 17 + 1])
def test_uptimes_that_leave_no_room_for_a_fraction_can_be_drawn(tool, uptime):
    log = run_of("dhcp6c_start", 5) + run_of("zel_ipcp_up", uptime, shell(uptime, "a"), shell(uptime, "b"))
    for form in ("--svg", "--html"):
        text = tool.text(form, log=log)
        assert ">zel_ipcp_up<" in text and "nan" not in text and "inf" not in text.replace("information", "")


def tool_in_process(content):
    import io

    from ipv6trace.log_reader import place, read_source
    from ipv6trace.log_source import Source
    log = read_source(Source(io.BytesIO(content)))
    place(log, log.invocations, log.strays)
    return log


def repeated(text, size):
    return text * (size // len(text) + 1)


MEGABYTE = 1 << 20
FORGED = {
    "no line end": repeated(b"A", 9 * MEGABYTE), "brackets": repeated(b"[", 9 * MEGABYTE),
    "frames without line ends": repeated(b"[main][1] ^_^[x] start. ", 9 * MEGABYTE), "nothing": b"\0" * 9 * MEGABYTE,
    "line ends": b"\n" * MEGABYTE, "no prefix": repeated(b"no prefix\n", 2 * MEGABYTE),
    "starts": repeated(b"[main][5] ^_^[/usr/sbin/zel_ipv6cp_up] start.\n", 2 * MEGABYTE),
    "starts of many names": b"".join(b"[main][5] ^_^[/%d] start.\n" % n for n in range(50000)),
    "ends": repeated(b"[main][5] ^_^[/usr/sbin/zel_ipv6cp_up] ERROR_NONE, end.\n", 2 * MEGABYTE),
    "a clock that runs back": b"".join(b"[main][%d] ^_^[a] start.\n" % (10 ** 9 - 5 * n) for n in range(50000)),
    "two that never end": b"[main][5] ^_^[a] start.\n[main][5] ^_^[b] start.\n"
                          + repeated(b"[start_ipv6][5] x\n[zel_system][5] [1]ip x\n", 2 * MEGABYTE),
    "one that never ends": b"[main][5] ^_^[a] start.\n" + repeated(b"[zel_system][5] [1]ip x\n", 2 * MEGABYTE),
    "one message that never ends": b"[main][5] ^_^[a] start.\n[x][5] y\n" + repeated(b"more\n", 2 * MEGABYTE),
    "numbers without an end": b"[main][" + b"9" * 100000 + b"] ^_^[a] start.\n"
                              b"[main][-999999999999999999] ^_^[a] start.\n"
                              b"[zel_system][1] [" + b"9" * 100000 + b"]x\n[zel_system][999999999999999999] [1]x\n",
}


@pytest.mark.parametrize("form", [(), ("--json", "--last", "100"), ("--svg",)], ids=["text", "json", "svg"])
@pytest.mark.parametrize("name", FORGED)
def test_a_forged_log_is_read_in_little_memory(tool, name, form):
    def limit():
        resource.setrlimit(resource.RLIMIT_AS, (700 * MEGABYTE, 700 * MEGABYTE))
    text = tool.text(*form, log=FORGED[name], preexec_fn=limit, timeout=300)
    assert len(text) < 12 * MEGABYTE
    assert max(map(len, text.splitlines())) < 5 * MEGABYTE


def gateway_log(size):
    """A year of a gateway: a run of cron each minute, lease events now and then, some at the same time as cron's."""
    neighbors = "".join(said("zel_ip6neigh_update", "@", f"2, fe80::{n:x} dev br-lan lladdr 02:00:00:00:00:{n:02x}.")
                        for n in range(12))
    cron = run_of("zel_ip6neigh_update", "@", shell("@", "ip -6 neigh show > /tmp/.ip6_neigh_show"), neighbors)
    parameters = "".join(said("prepare_parm", "@", f"ip6_value_{n}(lan0):{n}") for n in range(55))
    lines = "".join(shell("@", f"/usr/sbin/ip -6 route add 3fff:{n}::/64 dev br-lan", int(n == 20)) for n in range(30))
    lease = event("EFFECT6", "@", "3fff::", parameters, lines)
    half = lease.index("ip6_value_30")
    both = lease[:half].rpartition("\n")[0] + "\n" + cron + lease[half:].partition("\n")[2]
    parts, written, uptime = [], 0, 100
    while written < size:
        for block in (cron, cron, lease, cron, both):
            parts.append(block.replace("[@]", f"[{uptime}]"))
            written += len(parts[-1])
            uptime += 60
    return "".join(parts)


def test_a_hundred_megabytes_take_less_than_five_seconds(tool):
    """Of the processor's time, so that what else runs does not count, and on a machine that may be shared."""
    path = tool.log(gateway_log(100_000_000))
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    text = tool.text(path)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    assert "With failures" in text
    assert after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime < 5
    assert re.search(r"more with --all", text)


def test_a_log_that_shrinks_while_it_is_read(tmp_path):
    from ipv6trace.log_reader import read_source
    from ipv6trace.log_source import Source
    path = tmp_path / "log"
    path.write_text(run_of("zel_ipcp_up", 1, shell(1, "a")) * 100)
    with open(path, "r+b") as file:
        log = read_source(Source(file))
        file.truncate(100)
        assert [each.lines for each in log.invocations[5:]] == [[]] * 95
        assert len(read_source(Source(file)).invocations) == 1

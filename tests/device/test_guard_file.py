"""The guard file that keeps the two IPv6CP hooks apart."""
import pytest

GUARD = "/tmp/zel_ipv6cp_script_running"
HOOKS = ["zel_ipv6cp_up", "zel_ipv6cp_down"]
READ_TEXT = {"zel_ipv6cp_up": "zel_ipv6cp_up script_running[%s].",
             "zel_ipv6cp_down": "@zel_ipv6cp_down script_running[%s]."}


@pytest.fixture
def static_wan(gateway):
    gateway.store["ip6_proto@wan100"] = "static"        # the mode detection then ends at once
    return gateway


@pytest.mark.parametrize("hook", HOOKS)
def test_a_missing_guard_counts_as_not_busy(static_wan, hook):
    run = static_wan.run(hook)
    assert run.status == 1
    assert run.messages("main")[1] == READ_TEXT[hook] % "0"
    assert run.messages("set_tmp_value") == [f"{GUARD}[1].", f"{GUARD}[0]."]
    assert run.files[GUARD] == "0"


@pytest.mark.parametrize("hook", HOOKS)
def test_the_guard_is_one_while_the_hook_works(static_wan, hook):
    static_wan.script("if2sect.sh", sh=f"cat {GUARD} > /tmp/seen; echo wan100")
    run = static_wan.run(hook)
    assert run.files["/tmp/seen"] == "1"
    assert run.files[GUARD] == "0"


@pytest.mark.parametrize("hook", HOOKS)
@pytest.mark.parametrize("word, shown", [("1", "1"), ("1\n", "1"), ("2", "2"), ("7 0", "7"), ("1x", "1x")])
def test_a_busy_guard_ends_the_hook(static_wan, hook, word, shown):
    static_wan.store["ip6_wan_ready@system"] = "1"
    static_wan.file(GUARD, word)
    run = static_wan.run(hook)
    assert run.status == 255
    assert run.log == (f"[main][1000] ^_^[/usr/sbin/{hook}] start.\n\n"
                       f"[main][1000] {READ_TEXT[hook] % shown}\n"
                       f"[main][1000] ^_^[/usr/sbin/{hook}] ERROR_INTERNAL, end\n\n")
    assert run.console == ""
    assert run.stderr == ""
    assert run.journal == []
    assert run.files == {GUARD: word}
    assert run.switches == {}
    assert run.store_changes == {}


@pytest.mark.parametrize("hook", HOOKS)
@pytest.mark.parametrize("word, shown", [("0", "0"), ("0\n", "0"), ("-1", "-1"), ("busy", "busy"), ("x1", "x1"),
                                         (" \n 0 1", "0")])
def test_a_guard_that_is_no_positive_number_is_not_busy(static_wan, hook, word, shown):
    static_wan.file(GUARD, word)
    run = static_wan.run(hook)
    assert run.status == 1
    assert run.messages("main")[1] == READ_TEXT[hook] % shown
    assert run.files[GUARD] == "0"


@pytest.mark.parametrize("hook", HOOKS)
@pytest.mark.parametrize("text", ["", " \n\t"])
def test_an_empty_guard_is_not_busy(static_wan, hook, text):
    static_wan.file(GUARD, text)
    run = static_wan.run(hook)
    assert run.status == 1
    assert run.messages("main")[1] == READ_TEXT[hook] % ""
    assert run.files[GUARD] == "0"


def test_a_long_guard_word_is_cut_to_sixty_three_characters(static_wan):
    static_wan.file(GUARD, "0" * 300 + "1")
    run = static_wan.run("zel_ipv6cp_up")
    assert run.status == 1
    assert run.messages("main")[1] == READ_TEXT["zel_ipv6cp_up"] % ("0" * 63)
    assert run.files[GUARD] == "0"


def test_a_guard_that_cannot_be_written_is_logged_and_the_hook_works_on(static_wan):
    static_wan.folder(GUARD)
    run = static_wan.run("zel_ipv6cp_up")
    assert run.status == 1
    assert run.messages("set_tmp_value") == [f"{GUARD}[1].", f"{GUARD}[0]."]
    assert run.calls_of("ip6tables") == [["ip6tables", "-F"]]
    assert GUARD not in run.files


def test_a_hook_that_was_killed_blocks_the_next_ones_until_the_guard_goes(static_wan):
    static_wan.kill_program_at("ip6tables", "-F")
    run = static_wan.run("zel_ipv6cp_up")
    assert run.status == -9
    assert run.files[GUARD] == "1"
    assert static_wan.run("zel_ipv6cp_down").status == 255
    assert static_wan.run("zel_ipv6cp_up").status == 255
    static_wan.remove(GUARD)
    assert static_wan.run("zel_ipv6cp_down").status == 1


def test_the_busy_down_hook_neither_flushes_the_filter_nor_marks_the_wan_down(static_wan):
    static_wan.store.update({"ip6_wan_ready@system": "1", "on-demand@wan100": "1"})
    static_wan.file(GUARD, "1")
    run = static_wan.run("zel_ipv6cp_down")
    assert run.status == 255
    assert run.calls == []
    assert run.store["ip6_wan_ready@system"] == "1"


@pytest.mark.parametrize("name", ["zel_ipcp_up", "zel_ipcp_down", "dhcp6c_start", "zel_ipv6_lan", "ipv6_lan_restart"])
def test_other_commands_do_not_know_the_guard(static_wan, name):
    static_wan.file(GUARD, "1")
    static_wan.file("/tmp/resolv.conf.auto", "nameserver 192.0.2.53\n")
    run = static_wan.run(name, "lan")
    assert run.status == 1
    assert run.files[GUARD] == "1"


def test_the_guard_is_neither_read_nor_written_through_a_symbolic_link(static_wan):
    static_wan.file("/tmp/victim", "1")
    static_wan.symlink(GUARD, "victim")
    run = static_wan.run("zel_ipv6cp_up")
    assert run.status == 1
    assert run.messages("main")[1] == READ_TEXT["zel_ipv6cp_up"] % "0"
    assert run.files == {GUARD: "-> victim", "/tmp/victim": "1"}


def test_a_hook_that_starts_while_another_one_works_is_refused(static_wan):
    static_wan.script("ip6tables", "-F", sh="/usr/sbin/zel_ipv6cp_down; echo $? > /tmp/answer")
    run = static_wan.run("zel_ipv6cp_up")
    assert run.status == 1
    assert run.files == {"/tmp/answer": "255\n", GUARD: "0"}
    assert [text for text in run.messages("main") if "zel_ipv6cp_down" in text] == [
        "^_^[/usr/sbin/zel_ipv6cp_down] start.\n",
        "@zel_ipv6cp_down script_running[1].",
        "^_^[/usr/sbin/zel_ipv6cp_down] ERROR_INTERNAL, end\n",
    ]


def test_what_another_command_stores_meanwhile_is_kept(static_wan):
    static_wan.store.update({"ip6_wan_ready@system": "1", "ip4_wan_ready@system": "0"})
    static_wan.script("rdnssd", sh="/usr/sbin/zel_ipcp_up", times=1)
    run = static_wan.run("zel_ipv6cp_down")
    assert run.status == 1
    assert run.store["ip6_wan_ready@system"] == "0"
    assert run.store["ip4_wan_ready@system"] == "1"

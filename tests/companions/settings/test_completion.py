"""Completion of ccfg_cli, typed at an interactive bash."""

import pytest

from settings_tool import ROOT

COMPLETION = ROOT / "companions/settings/completion/ccfg_cli"
ALL = "\x1b*"       # insert every candidate
ONE = "\t"


@pytest.fixture(params=["plain", "with bash-completion"])
def type_in(tool, request, tmp_path):
    """type_in("ccfg_cli get m" + ONE): the command line that bash makes of it. With bash-completion, names of hosts are no longer
    completed and "@" breaks no words any more."""
    tool.run("import", text="ip6_proto@wan100=dhcp\nmtu@lan7=1500\n")
    rc = tmp_path / "rc"
    rc.write_text(f"PS1=; bind 'set bell-style none'; bind 'set enable-bracketed-paste off'; . {COMPLETION}\n"
                  + ("shopt -u hostcomplete; COMP_WORDBREAKS=${COMP_WORDBREAKS//@/}\n" if request.param != "plain" else ""))

    def type_in(keys):
        # The line becomes the argument of echo; what echo writes comes after all that the terminal shows of the editing.
        shown = tool.on_terminal(10_000, "bash", "--rcfile", rc, "-i", keys=f"{keys}\x05'\x01echo 'made: \rexit\r")[1]
        return [line for line in shown if line.startswith("made: ")][-1].removeprefix("made: ").rstrip()
    return type_in


def test_a_name_is_completed_before_at_and_behind_the_sign(type_in):
    assert type_in("ccfg_cli get ip6_pro" + ONE) == "ccfg_cli get ip6_proto@wan100"
    assert type_in("ccfg_cli get ip6_proto@" + ONE) == "ccfg_cli get ip6_proto@wan100"
    assert type_in("ccfg_cli get mtu@l" + ONE) == "ccfg_cli get mtu@lan7"
    assert type_in("ccfg_cli set ip6_gua_sid@lan1" + ONE) == "ccfg_cli set ip6_gua_sid@lan1="


def test_a_value_is_completed_where_it_is_one_of_a_few_words(type_in):
    assert type_in("ccfg_cli set ip6_proto@wan100=st" + ONE) == "ccfg_cli set ip6_proto@wan100=static"
    assert type_in("ccfg_cli set on-demand@wan100=" + ALL).endswith("@wan100=0 1")
    assert type_in("ccfg_cli set mtu@wan100=1" + ONE) == "ccfg_cli set mtu@wan100=1"


def test_help_offers_verbs_keys_and_sections(type_in):
    assert type_in("ccfg_cli help che" + ONE) == "ccfg_cli help check"
    assert type_in("ccfg_cli help syst" + ONE) == "ccfg_cli help system"
    assert type_in("ccfg_cli help ip6_prot" + ONE) == "ccfg_cli help ip6_proto"
    assert type_in("ccfg_cli help ip6_proto@" + ONE) == "ccfg_cli help ip6_proto@wan100"


def test_files_are_completed_for_check(type_in, tmp_path):
    (tmp_path / "mine.txt").write_text("")
    assert type_in(f"ccfg_cli check {tmp_path}/min" + ONE) == f"ccfg_cli check {tmp_path}/mine.txt"

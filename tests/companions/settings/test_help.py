"""`ccfg_cli help` tells what a key is for."""


def test_a_key_is_told_with_its_value_in_force(tool):
    assert tool.run("set", "mtu@wan100=1480")[0] == 0
    assert tool.run("help", "mtu") == (0, [
        "mtu",
        "  AdvLinkMTU of both LANs (RFC 4861, section 4.6.4). IPv6 needs 1280 at least (RFC 8200, section 5).",
        "",
        "  in:         the WAN's section",
        "  values:     number, 1280 to 65535",
        "  missing:    counts as 1492",
        "  read by:    ipv6_lan_restart",
        "  written by: nobody",
        "  in force:   mtu@wan100=1480",
    ], "")


def test_a_key_of_both_lans_is_told_for_the_one_that_is_asked(tool):
    tool.run("import", text="ip6_gua_sid@lan0=01\nip6_gua_sid@lan1=02\n")
    both = tool.run("help", "ip6_gua_sid")[1]
    assert both[-2:] == ["  in force:   ip6_gua_sid@lan0=01", "  in force:   ip6_gua_sid@lan1=02"]
    assert tool.run("help", "ip6_gua_sid@lan1")[1][-1] == "  in force:   ip6_gua_sid@lan1=02"


def test_a_numbered_key_is_told_by_its_number(tool):
    tool.run("import", text="extra_sid_1@system=10\nextra_sid_2@system=11\n")
    lines = tool.run("help", "extra_sid_2@system")[1]
    assert lines[0] == "extra_sid_N" and [line for line in lines if "in force" in line] == [
        "  in force:   extra_sid_2@system=11"]


def test_a_key_without_a_value_says_so_and_no_store_is_made_for_it(tool):
    assert tool.run("help", "ip6_sntp@wan100")[1][-1] == "  in force:   nothing stored"
    assert not (tool.folder / "ccfg.db").exists()


def test_a_key_that_the_wan_and_the_lans_have_is_told_for_each(tool):
    tool.run("import", text="ip6_pfxlen@lan1=64\nip6_pfxlen@wan100=128\n")
    told = {section: tool.run("help", "ip6_pfxlen" + section)[1] for section in ("", "@wan100", "@lan1")}
    assert [line for line in told["@wan100"] if line.startswith("  in:")] == ["  in:         the WAN's section"]
    assert [line for line in told["@lan1"] if line.startswith("  in:")] == ["  in:         lan0, lan1"]
    assert told[""] == [*told["@wan100"], "", *told["@lan1"]]


def test_a_store_that_cannot_be_read_is_not_called_empty(tool):
    assert tool.run("set", "mtu@wan100=1480")[0] == 0
    (tool.folder / "ccfg.db").write_bytes(b"\xff" * 100)
    status, lines, errors = tool.run("help", "mtu")
    assert status == 0 and lines[-1] == "  in force:   not known: the store cannot be read (it is damaged)"
    assert "ccfg.db" in errors


def test_an_unknown_key_names_the_nearest_one(tool):
    assert tool.run("help", "ip6_gua_sd") == (1, [], 'ccfg_cli: there is no key "ip6_gua_sd"; did you mean ip6_gua_sid?\n')
    assert tool.run("help", "ip6_mtu") == (1, [], 'ccfg_cli: there is no key "ip6_mtu"; did you mean mtu?\n')
    assert tool.run("help", "mtu@lan0") == (
        1, [], 'ccfg_cli: there is no key "mtu" in this section, only in the WAN\'s section\n')
    assert tool.run("help", "ip6_prefix@system")[2] == (
        'ccfg_cli: there is no key "ip6_prefix" in this section, only in lan0, lan1, the WAN\'s section\n')
    assert tool.run("help", "x" * 5000) == (1, [], f'ccfg_cli: there is no key "{"x" * 80}"\n')
    assert tool.run("help", "\x1b[31m") == (1, [], 'ccfg_cli: there is no key "?[31m"\n')
    assert tool.run("help", "a", "b")[0] == 2


def test_a_word_lists_the_keys_that_have_to_do_with_it(tool):
    status, lines, errors = tool.run("help", "DUID")
    assert (status, errors) == (1, 'ccfg_cli: there is no key "DUID"; these have it in their names:\n')
    assert [line.split()[0] for line in lines] == ["ip6_duid_type", "ip6_duid"]
    # No key is called so, but some are for it.
    status, lines, errors = tool.run("help", "radvd")
    keys = [line.split()[0] for line in lines]
    assert (status, errors) == (1, 'ccfg_cli: there is no key "radvd"; these have to do with it:\n')
    assert keys and all("radvd" not in key for key in keys)
    for key in keys:
        assert "radvd" in "\n".join(tool.run("help", key)[1])
    assert {"ip6_filter_cnt", "ip6_filter_list"} <= {line.split()[0] for line in tool.run("help", "firewall")[1]}
    assert tool.run("help", "zz") == (1, [], 'ccfg_cli: there is no key "zz"\n')


def test_the_only_key_that_has_the_word_is_told_at_once(tool):
    told = tool.run("help", "ip6_gua_sid")[1]
    assert tool.run("help", "GUA_SID") == (1, told, 'ccfg_cli: there is no key "GUA_SID"; this one has it in its name:\n')


def test_the_keys_of_a_section_are_listed(tool):
    status, lines, errors = tool.run("help", "lan0")
    assert (status, errors) == (0, "") and all("lan0" in line.split()[1] for line in lines)
    assert {"ip4addr", "ip6_gua_sid"} <= {line.split()[0] for line in lines}
    assert tool.run("help", "@lan0") == (0, lines, "")
    assert "ip4addr" not in {line.split()[0] for line in tool.run("help", "lan1")[1]}
    assert tool.run("help", "@lan7") == (1, [], 'ccfg_cli: there is no section "lan7"\n')


def test_help_alone_ends_with_every_key_and_what_it_is_for(tool):
    tool.run("import", text="wandataif@system=ppp0\nif2sect_ppp0@system=dsl\n")
    status, lines, errors = tool.run("help")
    assert (status, errors) == (0, "")
    keys = lines[lines.index("Keys:") + 1:]
    assert len(keys) == 77 and all(len(line.split()) > 3 for line in keys)
    assert "ip6_ula_eb               lan0,lan1 The bridge has a unique-local prefix." in keys
    assert "mtu                      dsl       AdvLinkMTU of both LANs (RFC 4861, section 4.6.4)." in keys


def test_a_verb_is_told_by_each_way_of_asking(tool):
    told = tool.run("help", "check")
    assert told[0] == 0 and told[2] == "" and told[1][0] == "usage: ccfg_cli check [FILE]" and len(told[1]) > 3
    assert tool.run("check", "--help") == told and tool.run("check", "-h") == told
    assert set(told[1][2:]) <= set(tool.run("--help")[1])
    assert not (tool.folder / "ccfg.db").exists()


def test_a_mistyped_verb_and_a_name_without_section_are_told_what_was_meant(tool):
    assert tool.run("chek") == (2, [], 'ccfg_cli: there is no verb "chek"; did you mean check?\nusage: ccfg_cli check [FILE]\n')
    assert "did you mean check?" in tool.run("chekc")[2] and "did you mean list?" in tool.run("lsit")[2]
    assert "did you mean" not in tool.run("show")[2] + tool.run("x")[2] + tool.run("")[2]
    for words in (["v" * 5000], ["check", "-" * 5000], ["get", "k" * 5000]):
        assert tool.run(*words)[2].splitlines()[0].endswith(f'{words[-1][:80]}"')
    usage = "usage: ccfg_cli get KEY@SECTION\n"
    assert tool.run("get", "ip6_gua_sid") == (
        2, [], f"ccfg_cli: there is no '@' in \"ip6_gua_sid\"; did you mean ip6_gua_sid@lan0 or ip6_gua_sid@lan1?\n{usage}")
    assert tool.run("get", "foo") == (2, [], f"ccfg_cli: there is no '@' in \"foo\"\n{usage}")
    tool.run("import", text="wandataif@system=ppp0\nif2sect_ppp0@system=dsl\n")
    assert "did you mean mtu@dsl?" in tool.run("set", "mtu=1500")[2]


def test_a_terminal_is_told_why_there_is_no_output(tool):
    tool.run("set", "mtu@wan100=1500")
    assert tool.run("get", "mtu@wan") == (1, [], "") and tool.run("list", "wan") == (0, [], "")
    assert tool.on_terminal(80, "ccfg_cli", "get", "mtu@wan") == (1, ["ccfg_cli: there is no such setting"])
    assert tool.on_terminal(80, "ccfg_cli", "list", "wan") == (0, ["ccfg_cli: there is no setting in this section"])
    assert tool.on_terminal(80, "ccfg_cli", "list") == (0, ["mtu@wan100=1500"])


def test_the_version_is_told(tool):
    status, lines, errors = tool.run("--version")
    assert (status, errors, len(lines)) == (0, "", 1) and lines[0].startswith("ccfg_cli (ipv6ctl) ")


def test_a_terminal_gets_no_line_that_it_would_break(tool):
    tool.run("set", "mtu@wan100=1480")
    for columns in (40, 80, 132):
        for asked in (["help", "ip6_6rd_info"], ["help", "ip6_gua_sid"], ["help", "wan"]):
            lines = tool.on_terminal(columns, "ccfg_cli", *asked)[1]
            assert max(map(len, lines)) <= columns or asked[1] == "wan" and columns < 60, (columns, asked)
    assert tool.on_terminal(60, "ccfg_cli", "help", "mtu")[1][:4] == [
        "mtu", "  AdvLinkMTU of both LANs (RFC 4861, section 4.6.4). IPv6", "  needs 1280 at least (RFC 8200, section 5).", ""]
    assert "mtu                      wan100    AdvLinkMTU of both LANs (RFC..." in tool.on_terminal(66, "ccfg_cli", "help", "wan")[1]
    assert max(map(len, tool.on_terminal(80, "ccfg_cli", "--help")[1])) <= 80

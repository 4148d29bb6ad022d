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


def test_an_unknown_key_names_the_nearest_one(tool):
    assert tool.run("help", "ip6_gua_sd") == (1, [], "ccfg_cli: there is no such key; did you mean ip6_gua_sid\n")
    assert tool.run("help", "ip6_mtu") == (1, [], "ccfg_cli: there is no such key; did you mean mtu\n")
    assert tool.run("help", "mtu@lan0") == (
        1, [], "ccfg_cli: there is no such key in this section, only in the WAN's section\n")
    assert tool.run("help", "ip6_prefix@system")[2] == (
        "ccfg_cli: there is no such key in this section, only in lan0, lan1, the WAN's section\n")
    assert tool.run("help", "x" * 5000) == (1, [], "ccfg_cli: there is no such key\n")
    assert tool.run("help", "a", "b")[0] == 2


def test_a_word_lists_the_keys_that_have_to_do_with_it(tool):
    told = "ccfg_cli: there is no such key; the word is in those above\n"
    status, lines, errors = tool.run("help", "DUID")
    assert (status, errors) == (1, told) and [line.split()[0] for line in lines] == ["ip6_duid_type", "ip6_duid"]
    # No key is called so, but some are for it.
    status, lines, errors = tool.run("help", "radvd")
    keys = [line.split()[0] for line in lines]
    assert (status, errors) == (1, told) and keys and all("radvd" not in key for key in keys)
    for key in keys:
        assert "radvd" in "\n".join(tool.run("help", key)[1])
    assert tool.run("help", "zz") == (1, [], "ccfg_cli: there is no such key\n")
    assert tool.run("help", "@lan0") == (1, [], "ccfg_cli: there is no such key\n")


def test_help_alone_ends_with_every_key(tool):
    status, lines, errors = tool.run("help")
    assert (status, errors) == (0, "")
    keys = lines[lines.index("Keys:") + 1:]
    assert "ip6_gua_sid                              lan0, lan1" in keys and len(keys) == 77

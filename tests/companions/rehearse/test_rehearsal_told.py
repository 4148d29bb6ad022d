"""What a rehearsal tells: shell lines, files, store, kernel, verdicts."""
import json
import os
import subprocess

import pytest
from rehearse_tool import BUILD, DELEGATED, FACTORY, file_of, lines_of, verdicts_of

SIGNS_OF_A_TERMINAL = "\033["


def test_the_shell_lines_stand_in_the_order_in_which_they_run(tool):
    found = tool.json(*DELEGATED, "--settings", tool.settings("wandataif@system=ppp0"))
    lines = lines_of(found)
    assert lines[:3] == ["ccfg_cli set ip6_pre_manual_gid@lan0=0", "ccfg_cli set ip6_pre_manual_gid@lan1=0",
                         "killall radvd; rm -f /tmp/run/radvd.pid"]
    assert lines.index("ip6tables -F") < lines.index("radvd -C /tmp/radvd.conf &") < lines.index("ip6tables-restore /tmp/.ip6t")
    assert "/tmp/dhcp6d -6 -cf /tmp/dhcp6d.conf&" in lines
    assert (found["good"], found["status"], found["failure"], found["advice"]) == (True, 1, None, None)


def test_files_store_and_kernel_are_told_as_they_were_left(tool):
    found = tool.json(*DELEGATED, "--set", "ip6_gua_sid@lan1=06", "--settings", tool.settings())
    assert "prefix 3fff:1234:0:5606::/64 {\n" in file_of(found, "/tmp/radvd.conf")
    assert "subnet6 3fff:1234:0:5601::/64 {\n" in file_of(found, "/tmp/dhcp6d.conf")
    assert {"key": "ip6_prefix@lan1", "before": None, "after": "3fff:1234:0:5606::"} in found["store"]
    assert {"key": "ip6_wan_ready@system", "before": "0", "after": "1"} in found["store"]
    assert any(address.startswith("3fff:1234:0:5606:") or address.startswith("fd") for address in found["addresses"]["br-lan1"])
    assert found["switches"]["br-lan/accept_ra"] == "0"
    assert set(verdicts_of(found).values()) == {"accepted"}


def test_two_rehearsals_of_the_same_are_the_same(tool):
    assert tool.json(*DELEGATED) == tool.json(*DELEGATED)


@pytest.mark.parametrize("setting, path", [
    ("ip6_ula_prefer@lan0=9999999", "/tmp/radvd.conf"),
    ("ip6_pfxlen@wan100=64", "/tmp/.ip6t"),
])
def test_a_file_that_a_daemon_refuses_is_told_with_its_line(tool, setting, path):
    assert tool.run("--quiet", *DELEGATED, "--settings", tool.settings()) == (0, "", "")
    found = tool.json(*DELEGATED, "--settings", tool.settings(setting))
    assert {at: verdict for at, verdict in verdicts_of(found).items() if verdict != "accepted"} == {path: "refused"}
    status, output, _ = tool.run("--quiet", *DELEGATED, "--settings", tool.settings(setting))
    assert status == 1 and output.count("REFUSED") == 1
    program = "radvd" if path == "/tmp/radvd.conf" else "ip6tables-restore"
    assert output.startswith(f"  REFUSED  {program} does not take {path}\n")


def test_without_a_delegated_prefix_all_three_refuse_and_the_way_out_is_told(tool):
    status, output, _ = tool.run("--quiet", "--settings", tool.settings())
    assert status == 1
    assert [line.strip() for line in output.splitlines() if line.startswith("  REFUSED")] == [
        "REFUSED  radvd does not take /tmp/radvd.conf", "REFUSED  dhcpd does not take /tmp/dhcp6d.conf",
        "REFUSED  ip6tables-restore does not take /tmp/.ip6t"]
    assert "             line 48: -A FORWARD -d /56 -p ipv6-icmp" in output
    assert output.count("             line 18: prefix /64 {\n") == 1
    assert "--delegated 3fff:1234:0:5600::/56" in output.splitlines()[-1]


def test_what_the_settings_check_says_stands_beside_it(tool):
    found = tool.json(*DELEGATED, "--settings", tool.settings("ip6_ula_prefer@lan0=9999999"))
    assert any(line.startswith("ip6_ula_prefer@lan0") for line in found["remarks"])


def test_a_key_that_nothing_reads_is_told_also_when_all_is_accepted(tool):
    typo = "ip6_gua_sd@lan1: nothing reads this key; did you mean ip6_gua_sid?"
    asked = *DELEGATED, "--settings", tool.settings(), "--set", "ip6_gua_sd@lan1=06"
    assert tool.run("--quiet", *asked) == (0, f"  check    {typo}\n", "")
    # Where a terminal still shows it: behind the long lists, before the verdict.
    lines = tool.run(*asked)[1].splitlines()
    assert lines.index("  " + typo) == lines.index("Verdict") - 2 > lines.index("Set in the kernel")


def test_an_event_without_its_reason_is_told(tool):
    asked = "--command", "zel_dhcp6c_update", "--env", "new_ip6_prefix=3fff:1::/56"
    assert "--env reason=BOUND6" in tool.json(*asked)["advice"]
    assert tool.run("--quiet", *asked, "--settings", tool.settings())[1].startswith(
        "  the DHCPv6 client always gives a reason: ")
    assert tool.json(*asked, "--env", "reason=BOUND6")["advice"] is None


def test_a_value_that_the_program_leaves_out_is_told(tool):
    found = tool.json(*DELEGATED, "--settings", tool.settings("ip6_filter_list@wan100=web;nonsense;tcp;80;80;;;;",
                                                              "ip6_filter_cnt@wan100=1"))
    assert len(found["left_out"]) == 1 and "is left out of the ruleset" in found["left_out"][0]


def test_a_lease_of_the_client_is_rehearsed_with_its_variables(tool):
    lease = tool.folder / "lease.env"
    lease.write_bytes(b"# as the client gives it\nreason=BOUND6\nnew_ip6_prefix=3fff:77::/56\nPATH=/nowhere\nLD_PRELOAD=x\n")
    status, output, errors = tool.run("--json", "--command", "zel_dhcp6c_update", "--env-file", str(lease),
                                      "--env", "new_ip6_address=3fff:1::5")
    assert (status, errors) == (0, "ipv6rehearse: passed over: PATH, LD_PRELOAD\n")
    changes = {entry["key"]: entry["after"] for entry in json.loads(output)["store"]}
    assert changes["ip6_dhcp6c_prefix_addr@system"] == "3fff:77::"
    assert changes["ip6_dhcp6c_prefix_length@system"] == "56"


def test_variables_may_come_as_the_kernel_has_them(tool):
    lease = tool.folder / "environ"
    lease.write_bytes(b"reason=BOUND6\0new_ip6_prefix=3fff:77::/56\0new_dhcp6_domain_search=isp\nexample\0")
    found = tool.json("--command", "zel_dhcp6c_update", "--env-file", str(lease))
    changes = {entry["key"]: entry["after"] for entry in found["store"]}
    assert changes["ip6_dhcp6c_prefix_addr@system"] == "3fff:77::"
    assert "ip6_domain@wan100" not in changes
    assert any("counts as absent" in note for note in found["left_out"])


@pytest.mark.parametrize("advertised, stateless", [("managed", "0"), ("other", "1"), ("none", "0")])
def test_what_the_router_advertises_can_be_chosen(tool, advertised, stateless):
    lines = lines_of(tool.json("--command", "dhcp6c_start", "--advertised", advertised))
    client = [line for line in lines if line.startswith("/usr/sbin/dhclient -6")]
    assert len(client) == 1 and f" -e stateless={stateless} " in client[0]


def test_a_tunnel_is_made_from_the_given_address(tool):
    settings = tool.settings("ip6_proto@wan100=tunnel", "ip6_tunnel_type@wan100=2", "ip6_6rd_v4mask@wan100=0",
                             "ip6_6rd_pfxlen@wan100=32", "ip6_6rd_prefix@wan100=3fff:10::",
                             "ip6_6rd_border_relay@wan100=192.0.2.254")
    found = tool.json("--command", "ipv6rd_restart", "--settings", settings, "--ip4", "198.51.100.7")
    assert {"key": "ip6_dhcp6c_prefix_addr@system", "before": None, "after": "3fff:10:c633:6407::"} in found["store"]


def test_state_of_earlier_runs_is_found_when_it_is_given(tool):
    state = tool.folder / "state"
    state.mkdir()
    (state / "zel_ipv6cp_script_running").write_text("1", encoding="ascii")
    status, output, _ = tool.run("--quiet", "--command", "zel_ipv6cp_up", "--state", str(state))
    assert status == 1
    assert output.startswith("  FAILED   the run ended with exit status 255, not 1; ")
    assert tool.run("--quiet", "--command", "zel_ipv6cp_up")[0] == 0


def test_a_file_is_written_also_where_it_stays_the_same_and_only_written_ones_are_judged(tool):
    kept, state = tool.folder / "kept", tool.folder / "state"
    kept.mkdir()
    state.mkdir()
    first = tool.json(*DELEGATED, "--keep", TMPDIR=str(kept))
    for name in ("radvd.conf", ".ip6t"):
        (state / name).write_text(file_of(first, f"/tmp/{name}"), encoding="ascii")
    (state / "dhcp6d.conf").write_text("nonsense }\n", encoding="ascii")
    status, output, _ = tool.run(*DELEGATED, "--diff", "--state", str(state))
    assert status == 0
    assert "  /tmp/radvd.conf  as it was\n" in output and "  /tmp/.ip6t  as it was\n" in output
    assert "  /tmp/dhcp6d.conf  differs from what was there\n    @@ -1 +1,18 @@\n    - nonsense }\n    + dhcpv6-lease-file-name" in output
    other = tool.json("--command", "zel_ipcp_up", "--state", str(state))
    assert other["verdicts"] == [] and [entry["path"] for entry in other["files"]] == ["/tmp/zel_ipt_new", "/tmp/zel_ipt_old"]


def test_a_second_step_of_a_lease_brings_the_lan_up(tool):
    found = tool.json(*DELEGATED, "--command", "zel_dhcp6c_update", "--env", "reason=EFFECT6", "--set", "ip6_changed@wan100=1")
    assert "radvd -C /tmp/radvd.conf &" in lines_of(found)
    assert "prefix 3fff:1234:0:5601::/64 {\n" in file_of(found, "/tmp/radvd.conf")


@pytest.mark.parametrize("settings, told", [
    (["wandataif@system=eth7", "if2sect_eth7@system=wan3", "ip6_proto@wan3=dhcp"], "eth7, section wan3"),
    (["wandataif@system=br-lan"], "ppp0, section wan100"),
    (["wandataif@system=../../x", "ip6_proto@lan0=x"], "ppp0, section wan100"),
])
def test_the_wan_is_the_one_of_the_settings(tool, settings, told):
    found = tool.json("--settings", tool.settings(*settings))
    assert found["surroundings"][0] == f"WAN interface {told}"
    assert f"ecmh -i {told.partition(',')[0]} -d br-lan" in lines_of(found)


def test_the_only_section_with_a_mode_is_the_wans(tool):
    found = tool.json("--settings", "-", given=b"ip6_proto@wan9=dhcp\n")
    assert found["surroundings"][0] == "WAN interface ppp0, section wan9"


def test_the_machines_own_store_is_taken_and_only_read(tool):
    store = tool.folder / "ccfg.db"
    environment = {"TESA_STORE": str(store), "PATH": os.environ["PATH"]}
    subprocess.run([BUILD / "ccfg_cli", "import", FACTORY], env=environment, check=True)
    subprocess.run([BUILD / "ccfg_cli", "set", "ip6_gua_sid@lan0=09"], env=environment, check=True)
    before = (store.read_bytes(), store.stat().st_mtime_ns, sorted(path.name for path in tool.folder.iterdir()))
    found = tool.json(*DELEGATED, TESA_STORE=str(store))
    assert found["settings"].startswith(f"the store {store}, 2 changed, ")
    assert "prefix 3fff:1234:0:5609::/64 {\n" in file_of(found, "/tmp/radvd.conf")
    assert (store.read_bytes(), store.stat().st_mtime_ns, sorted(path.name for path in tool.folder.iterdir())) == before


def test_without_a_store_the_factory_settings_are_taken_and_it_is_told(tool):
    assert tool.json()["settings"] == f"{FACTORY} (no store here), 41 settings"


def test_a_store_that_may_not_be_read_is_told(tool):
    assert tool.json(TESA_STORE="/dev/null/x")["settings"].startswith(f"{FACTORY} (/dev/null/x: Not a directory), ")


def test_text_has_every_section_and_steers_no_terminal(tool):
    status, output, errors = tool.run(*DELEGATED, "--settings", tool.settings())
    assert (status, errors) == (0, "")
    titles = [line for line in output.splitlines() if line and line[0].isupper()]
    assert [title.rstrip("0123456789, ") for title in titles] == [
        "Shell lines", "Files that it writes", "Changes in the store", "Set in the kernel", "Verdict"]
    assert [line for line in output.splitlines() if line.startswith("  ok ")] == [
        "  ok       the run came to its end", "  ok       radvd takes /tmp/radvd.conf",
        "  ok       dhcpd takes /tmp/dhcp6d.conf", "  ok       ip6tables-restore takes /tmp/.ip6t"]
    assert SIGNS_OF_A_TERMINAL not in output
    assert SIGNS_OF_A_TERMINAL in tool.run("--color", "always")[1]


def test_a_kept_root_has_the_files_and_the_log(tool):
    kept = tool.folder / "kept"
    kept.mkdir()
    found = tool.json("--keep", TMPDIR=str(kept))
    folder = kept / os.path.basename(found["kept"])
    assert (folder / "gateway/tmp/radvd.conf").read_text(encoding="ascii") == file_of(found, "/tmp/radvd.conf")
    assert (folder / "gateway/tmp/ipv6.log").is_file() and (folder / "gateway/gw/journal").is_file()


def test_brief_leaves_the_texts_of_files_out_and_log_adds_the_log(tool):
    words = [*DELEGATED, "--settings", tool.settings()]
    full, brief, logged = (tool.run(*words, *more)[1] for more in ((), ("--brief",), ("--brief", "--log")))
    assert brief.splitlines() == [line for line in full.splitlines() if not line.startswith("    | ")]
    lines = [line for line in tool.json(*words)["log"] if line]
    assert lines[0] == "[main][1000] ^_^[/usr/sbin/ipv6_lan_restart] start."
    assert lines[-1] == "[main][1000] ^_^[/usr/sbin/ipv6_lan_restart] ERROR_NONE, end."
    before, title, after = logged.partition(f"\nIts log, {len(lines)} lines\n")
    assert title and after.startswith("".join(f"    | {line}\n" for line in lines) + "\nFiles that it writes, 8\n")
    assert before.endswith("made instant here\n")


def test_an_address_that_the_kernel_refuses_is_told(tool):
    found = tool.json("zel_ifconfig", "br-lam", "3fff::1", "64", "1")
    assert found["left_out"] == ["if_name[br-lam] 3fff::1 64 1: ioctl SIOCSIFADDR error."]
    assert tool.json("zel_ifconfig", "br-lan", "3fff::1", "64", "0")["left_out"] == []

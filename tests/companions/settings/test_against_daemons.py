"""What a daemon refuses, `ccfg_cli check` has found before: the settings are rehearsed, and the real daemons judge the files."""
import json
import os
import subprocess

import pytest

from settings_tool import BUILD, ROOT

FACTORY = ROOT / "platform/stock/kit/root/etc/config/ccfg.factory"
DELEGATED = {"ip6_dhcp6c_prefix_addr@system": "3fff:1234:0:5600::", "ip6_dhcp6c_prefix_length@system": "56"}
BY_HAND = {"ip6_proto@wan100": "static", "ip6_addr@wan100": "3fff:9::2", "ip6_pfxlen@wan100": "64", "ip6_prefix@wan100": "3fff:9::",
           "ip6_gateway@wan100": "fe80::1", "ip6_prefix@lan0": "3fff:1234:0:5601::", "ip6_addr@lan0": "3fff:1234:0:5601::1",
           "ip6_prefix@lan1": "3fff:1234:0:5602::", "ip6_addr@lan1": "3fff:1234:0:5602::1"}


@pytest.fixture
def judged(tool):
    """judged(settings): the tools that refuse their file, and the settings that check names."""
    def judge(changed):
        settings = dict(line.split("=", 1) for line in FACTORY.read_text().splitlines()) | changed
        path = tool.folder / "settings.txt"
        path.write_text("".join(f"{name}={value}\n" for name, value in settings.items()))
        rehearsed = subprocess.run([ROOT / "companions/rehearse/bin/ipv6rehearse", "--json", "--settings", path],
                                   env={**os.environ, "IPV6CTL_BUILD": str(BUILD)}, capture_output=True, text=True, check=False)
        assert rehearsed.returncode in (0, 1), rehearsed.stderr
        refused = {each["program"] for each in json.loads(rehearsed.stdout)["verdicts"] if each["verdict"] == "refused"}
        named = {line.split(": ")[1] for line in tool.run("check", str(path))[1]}
        return refused, named
    return judge


@pytest.mark.parametrize("settings", [DELEGATED, DELEGATED | BY_HAND], ids=["delegated", "by hand"])
def test_good_settings_are_refused_by_nobody_and_found_fault_with_by_nobody(judged, settings):
    assert judged(settings) == (set(), set())


@pytest.mark.parametrize("settings, who, name", [
    (DELEGATED | {"ip6_ula_prefer@lan0": "100", "ip6_ula_valid@lan0": "50"}, "radvd", "ip6_ula_prefer@lan0"),
    (DELEGATED | {"ip6_lease@wan100": "4294967295"}, "radvd", "ip6_lease@wan100"),
    (DELEGATED | {"ip6_dhcp6c_prefix_length@system": ""}, "radvd", "ip6_dhcp6c_prefix_length@system"),
    (DELEGATED | BY_HAND | {"ip6_prefix@lan0": "3fff:1234:0:5601::5"}, "dhcpd", "ip6_prefix@lan0"),
    (DELEGATED | BY_HAND | {"ip6_prefix@lan1": ""}, "radvd", "ip6_prefix@lan1"),
    (BY_HAND, "ip6tables-restore", "ip6_dhcp6c_prefix_addr@system"),
], ids=lambda value: value if isinstance(value, str) else "")
def test_what_a_daemon_refuses_is_found(judged, settings, who, name):
    refused, named = judged(settings)
    assert who in refused and named == {name}

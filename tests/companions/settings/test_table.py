"""The table of settings says of the code what is true."""

import os
import re
import subprocess

from settings_tool import BUILD, ROOT

MAKE_TABLE = ROOT / "companions/settings/make_table.py"
TABLE = ROOT / "companions/settings/settings.txt"


def known():
    done = subprocess.run([MAKE_TABLE, "keys", TABLE], capture_output=True, text=True, check=True)
    return set(done.stdout.split())


def normal(name):
    """The name as the table has it: the WAN's section and numbers stand for all of them."""
    name = re.sub(r"@wan\d+$", "@wan", name)
    name = re.sub(r"_\d+@", "_N@", name)
    return re.sub(r"^if2sect_[^@]*@", "if2sect_IFNAME@", name)


def touched_by_the_program():
    environment = {**os.environ, "IPV6CTL_TOUCHED_SETTINGS": "1"}
    done = subprocess.run([BUILD / "unit_tests", "--gtest_brief=1"], capture_output=True, text=True, check=False,
                          env=environment)
    names = [line.removeprefix("touched ") for line in done.stdout.splitlines() if line.startswith("touched ")]
    assert len(names) > 90
    # An empty section is a routine tried without a WAN; "missing" is what a test of the loaders calls its key.
    return {normal(name) for name in names if not name.endswith("@") and name != "missing@lan0"}


def touched_by_the_kit():
    names = set()
    for script in (ROOT / "platform/stock/kit").rglob("*"):
        if not script.is_file():
            continue
        text = script.read_text(encoding="utf-8", errors="replace")
        for name in re.findall(r"ccfg_cli (?:get|set|unset) \"?([a-z0-9_]+(?:\$1)?@[$a-z0-9]+)", text):
            names.add(normal(name.replace("$1", "X").replace("@$section", "@wan100")))
    return names


def test_every_key_that_the_program_or_the_kit_touches_is_in_the_table_and_no_other():
    assert touched_by_the_kit() >= {"wandataif@system", "if2sect_IFNAME@system", "dns@wan"}
    assert touched_by_the_program() | touched_by_the_kit() == known()


def test_the_factory_settings_are_known_and_nothing_is_wrong_with_them(tool):
    factory = ROOT / "platform/stock/kit/root/etc/config/ccfg.factory"
    assert tool.run("check", str(factory)) == (0, [], "")


def test_a_record_with_a_wrong_type_is_refused_with_its_line(tmp_path):
    table = tmp_path / "settings.txt"
    record = ("key       mtu wan\nkind      setting\ntype      numbre 1 2\ndefault   -\nread      -\nwritten   -\n"
              "meaning   Size.\n")
    table.write_text("# head\n\n" + record)
    done = subprocess.run([MAKE_TABLE, "keys", table], capture_output=True, text=True, check=False)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == f"make_table.py: {table}:3: no such type: numbre 1 2\n"


def test_a_key_that_stands_twice_is_refused(tmp_path):
    table = tmp_path / "settings.txt"
    record = "key mtu wan\nkind setting\ntype flag\ndefault -\nread -\nwritten -\nmeaning Size.\n\n"
    table.write_text(record * 2)
    done = subprocess.run([MAKE_TABLE, "keys", table], capture_output=True, text=True, check=False)
    assert done.returncode == 1 and "mtu@wan stands there twice" in done.stderr

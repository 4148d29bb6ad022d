#!/usr/bin/python3
"""Makes what is derived from settings.txt: the table compiled into ccfg_cli, and the settings' page.

    make_table.py cpp  settings.txt OUT.cpp
    make_table.py page settings.txt IN.scd OUT.scd     (the line "@SETTINGS@" of IN becomes the settings)
    make_table.py keys settings.txt                    (one KEY@SECTION a line, for whoever compares)

Ends with status 1 and a message when a record of the table is not as its head says.
"""

import re
import sys
from dataclasses import dataclass

SECTIONS = ("system", "lan0", "lan1", "wan")
FIELDS = ("key", "kind", "type", "default", "read", "written", "meaning")
PLAIN_TYPES = ("flag", "ip6", "ip4", "host", "ip6-list", "name-list", "hex2", "gid", "hostid", "duid", "interface",
               "section", "filter", "sixrd", "sid-list")


class TableFault(Exception):
    """A record that is not as the table's head says; the text names its line."""


@dataclass
class Setting:
    key: str
    sections: tuple
    kind: str
    type: str
    arguments: tuple
    default: str
    read: str
    written: str
    meaning: str


def parse_type(text, where):
    word, *arguments = text.split()
    if word in PLAIN_TYPES and not arguments:
        return word, ()
    if word in ("number", "seconds") and len(arguments) == 2 and int(arguments[0]) <= int(arguments[1]):
        return word, tuple(arguments)
    if word == "word" and arguments:
        return word, tuple(arguments)
    if word == "text" and len(arguments) == 1 and int(arguments[0]) > 0:
        return word, tuple(arguments)
    raise TableFault(f"{where}: no such type: {text}")


def parse_record(lines, where):
    fields = {}
    for line in lines:
        name, _, value = line.partition(" ")
        if name not in FIELDS or name in fields:
            raise TableFault(f"{where}: no such field, or twice: {name}")
        fields[name] = value.strip()
    if tuple(fields) != FIELDS:
        raise TableFault(f"{where}: the fields are {', '.join(FIELDS)}, in this order")
    key, *sections = fields["key"].split()
    if not sections or any(section not in SECTIONS for section in sections):
        raise TableFault(f"{where}: sections of {key}")
    if fields["kind"] not in ("setting", "state"):
        raise TableFault(f"{where}: kind of {key}")
    kind, arguments = parse_type(fields["type"], where)
    return Setting(key, tuple(sections), fields["kind"], kind, arguments,
                   "" if fields["default"] == "-" else fields["default"],
                   fields["read"], fields["written"], fields["meaning"])


def read_table(path):
    settings, lines, start = [], [], 0
    with open(path, encoding="ascii") as table:
        for number, line in enumerate([*table, "\n"], 1):
            if line.startswith("#"):
                continue
            if line.strip():
                start = start if lines else number
                lines.append(line.strip())
            elif lines:
                settings.append(parse_record(lines, f"{path}:{start}"))
                lines = []
    names = [(setting.key, section) for setting in settings for section in setting.sections]
    for name in names:
        if names.count(name) > 1:
            raise TableFault(f"{path}: {name[0]}@{name[1]} stands there twice")
    return settings


def quoted(text):
    return '"' + re.sub(r'(["\\])', r"\\\1", text) + '"'


def describe_type(setting):
    return {
        "number": lambda a: f"number, {a[0]} to {a[1]}",
        "seconds": lambda a: f"seconds, {a[0]} to {a[1]}",
        "text": lambda a: f"text of up to {a[0]} characters",
        "word": lambda a: "one of: " + ", ".join(a),
        "flag": lambda a: "0 or 1",
        "ip6": lambda a: "IPv6 address",
        "ip4": lambda a: "IPv4 address",
        "host": lambda a: "IPv4 address or host name",
        "ip6-list": lambda a: "IPv6 addresses, blanks between them",
        "name-list": lambda a: "domain names, blanks between them",
        "hex2": lambda a: "two hexadecimal digits",
        "gid": lambda a: "40 bits as xx:xxxx:xxxx",
        "hostid": lambda a: "64 bits as xxxx:xxxx:xxxx:xxxx",
        "duid": lambda a: "octets in hexadecimal, colons between them",
        "interface": lambda a: "name of a network interface",
        "section": lambda a: "name of a section",
        "filter": lambda a: "records, / between them",
        "sixrd": lambda a: "mask length, prefix length, prefix, relay",
        "sid-list": lambda a: "subnet ids, semicolons between them",
    }[setting.type](setting.arguments)


def cpp_row(setting):
    low, high, words = "0", "0", ""
    if setting.type in ("number", "seconds"):
        low, high = setting.arguments
    elif setting.type == "text":
        high = setting.arguments[0]
    elif setting.type == "word":
        words = " ".join(setting.arguments)
    sections = " | ".join(f"in_{section}" for section in setting.sections)
    return (f"    {{{quoted(setting.key)}, {sections}, {'true' if setting.kind == 'state' else 'false'}, "
            f"SettingType::{setting.type.replace('-', '_')}, {low}LL, {high}LL, {quoted(words)}, "
            f"{quoted(describe_type(setting))}, {quoted(setting.default)},\n     {quoted(setting.read)},\n     {quoted(setting.written)},\n"
            f"     {quoted(setting.meaning)}}},\n")


def write_cpp(settings, path):
    with open(path, "w", encoding="ascii") as out:
        out.write('#include "settings_table.h"\n\nconst KnownSetting known_settings[] = {\n')
        out.writelines(cpp_row(setting) for setting in settings)
        out.write("};\nconst size_t known_setting_count = sizeof known_settings / sizeof known_settings[0];\n")


def scd_text(text):
    return re.sub(r"([_*\\])", r"\\\1", text)


def scd_section(settings, kind, title):
    out = [f"# {title}\n"]
    for setting in settings:
        if setting.kind != kind:
            continue
        names = ", ".join(f"*{scd_text(setting.key)}@{section}*" for section in setting.sections)
        default = setting.default or "empty"
        out.append(f"{names}\n\t{scd_text(setting.meaning)}++\n"
                   f"Values: {scd_text(describe_type(setting))}. Missing counts as: {scd_text(default)}.++\n"
                   f"Read by: {scd_text(setting.read)}. Written by: "
                   f"{scd_text(setting.written if setting.written != '-' else 'nobody')}.\n")
    return "\n".join(out)


def write_page(settings, source, path):
    with open(source, encoding="ascii") as page, open(path, "w", encoding="ascii") as out:
        for line in page:
            if line.strip() == "@SETTINGS@":
                out.write(scd_section(settings, "setting", "SETTINGS") + "\n"
                          + scd_section(settings, "state", "STATE"))
            else:
                out.write(line)


def main(arguments):
    try:
        match arguments:
            case ["cpp", table, out]:
                write_cpp(read_table(table), out)
            case ["page", table, source, out]:
                write_page(read_table(table), source, out)
            case ["keys", table]:
                for setting in read_table(table):
                    for section in setting.sections:
                        print(f"{setting.key}@{section}")
            case _:
                print(__doc__, file=sys.stderr)
                return 2
    except (TableFault, OSError, ValueError) as fault:
        print(f"make_table.py: {fault}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

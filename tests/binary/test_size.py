"""What the programs cost before they do anything: flash, and the loader's work at every start."""
import os
import pathlib
import subprocess

from elftools.elf.elffile import ELFFile
from elftools.elf.relocation import RelocationSection

TREE = pathlib.Path(__file__).resolve().parents[2]
R_X86_64_RELATIVE = 8                                                           # elf.h


def test_no_program_has_grown_unnoticed(build):
    done = subprocess.run([TREE / "bench/size", "--check"], env={**os.environ, "IPV6CTL_BUILD": str(build)},
                          capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (0, "")


def test_a_growth_is_noticed(build, tmp_path):
    """The same check on a program with 4 kB more."""
    for name in ("ccfg_cli", "ipv6status", "CMakeCache.txt"):
        (tmp_path / name).symlink_to(build / name)
    more = tmp_path / "more"
    more.write_bytes(b"x" * 4096)
    subprocess.run(["objcopy", f"--add-section=.more={more}", "--set-section-flags=.more=alloc,readonly,data",
                    build / "ipv6ctl", tmp_path / "ipv6ctl"], check=True, capture_output=True)
    done = subprocess.run([TREE / "bench/size", "--check"], env={**os.environ, "IPV6CTL_BUILD": str(tmp_path)},
                          capture_output=True, text=True, check=False)
    assert done.returncode == 1 and "ipv6ctl: text is " in done.stderr


def relocated(path):
    """The places with an address that the loader fills in, and those of them that stay writable."""
    with open(path, "rb") as file:
        elf = ELFFile(file)
        relro = next(s for s in elf.iter_segments() if s["p_type"] == "PT_GNU_RELRO")
        places = [relocation["r_offset"] for section in elf.iter_sections() if isinstance(section, RelocationSection)
                  for relocation in section.iter_relocations() if relocation["r_info_type"] == R_X86_64_RELATIVE]
    begin, end = relro["p_vaddr"], relro["p_vaddr"] + relro["p_memsz"]
    return places, [place for place in places if not begin <= place < end]


def test_the_addresses_of_the_commands_cannot_be_changed(build):
    """Of what is writable only the loader's own handle holds an address; what is left are the sixteen commands, the
    two ends of the program and the word that ra_records looks for."""
    places, writable = relocated(build / "ipv6ctl")
    assert len(writable) == 1
    assert len(places) == 16 + 2 + 1 + 1

"""What the hardening of a program looks like in its file (readelf reads the same)."""
from elftools.elf.dynamic import DynamicSection
from elftools.elf.elffile import ELFFile

DF_TEXTREL, DF_BIND_NOW, DF_1_NOW, DF_1_PIE = 0x4, 0x8, 0x1, 0x08000000     # elf.h
PF_X = 0x1


class Program:
    """The facts of one ELF file, read once."""

    def __init__(self, path):
        with open(path, "rb") as file:
            elf = ELFFile(file)
            self.type = elf["e_type"]
            self.segments = [(s["p_type"], s["p_flags"]) for s in elf.iter_segments()]
            dynamic = next(s for s in elf.iter_sections() if isinstance(s, DynamicSection))
            tags = list(dynamic.iter_tags())
            self.tags = {tag.entry.d_tag for tag in tags}
            self.needed = sorted(tag.needed for tag in tags if tag.entry.d_tag == "DT_NEEDED")
            self.flags = sum(tag.entry.d_val for tag in tags if tag.entry.d_tag == "DT_FLAGS")
            self.flags_1 = sum(tag.entry.d_val for tag in tags if tag.entry.d_tag == "DT_FLAGS_1")
            symbols = elf.get_section_by_name(".dynsym")
            self.imports = {s.name for s in symbols.iter_symbols() if s["st_shndx"] == "SHN_UNDEF" and s.name}

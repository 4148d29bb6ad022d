"""What a mistake in memory would meet in the programs as they are installed."""
import re

import pytest
from elf import DF_1_NOW, DF_1_PIE, DF_BIND_NOW, DF_TEXTREL, PF_X, Program


@pytest.fixture(params=["ipv6ctl", "ccfg_cli", "ipv6status"])
def program(build, request):
    return Program(build / request.param)


def test_the_program_is_loaded_at_another_address_each_time(program):
    assert program.type == "ET_DYN"
    assert program.flags_1 & DF_1_PIE == DF_1_PIE


def test_the_stack_is_not_executable(program):
    flags = [flags for kind, flags in program.segments if kind == "PT_GNU_STACK"]
    assert len(flags) == 1 and flags[0] & PF_X == 0


def test_no_memory_is_both_writable_and_executable(program):
    loads = [flags for kind, flags in program.segments if kind == "PT_LOAD"]
    assert loads and not [flags for flags in loads if flags & 0x3 == 0x3]


def test_the_table_of_library_calls_is_read_only_when_main_begins(program):
    assert [kind for kind, _ in program.segments].count("PT_GNU_RELRO") == 1
    assert program.flags & DF_BIND_NOW == DF_BIND_NOW
    assert program.flags_1 & DF_1_NOW == DF_1_NOW


def test_the_code_is_not_written_to_when_it_is_loaded(program):
    assert "DT_TEXTREL" not in program.tags
    assert program.flags & DF_TEXTREL == 0


def test_an_overrun_stack_ends_the_program(program):
    assert "__stack_chk_fail" in program.imports


def test_texts_are_formatted_with_a_check_of_the_room(program):
    assert {"__vsnprintf_chk", "__fprintf_chk"} & program.imports
    assert not {"vsnprintf", "vfprintf"} & program.imports


def test_nothing_but_the_c_library_is_linked(program):
    foreign = [name for name in program.needed if not re.match(r"(libc\.so|ld-linux|ld\.so)", name)]
    assert not foreign and program.needed


def test_no_library_is_looked_for_in_a_folder_of_the_builder(program):
    assert not {"DT_RPATH", "DT_RUNPATH"} & program.tags

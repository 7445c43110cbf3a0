"""The rules on include guards, spelling inside of identifiers and shared state: what is accepted and refused."""

from __future__ import annotations

import subprocess
import sys
from pathlib import Path

import pytest

from tools.source_rules import (BRITISH_STEMS, foreign_names, format_findings, guard_findings, guard_name,
                                shared_state_findings, spelling_findings)

TOP = Path(__file__).resolve().parents[2]
NAME = "ZELMOR_PYSHELL_MODULE_TYPES_CASTS_INL_H"
PATH = "pyshell/module_types/casts.inl.h"
HEADER = f"// About casts.\n\n#ifndef {NAME}\n#define {NAME}\n\n#include <string>\n\n#endif  // {NAME}\n"


def test_the_guard_is_named_after_the_path() -> None:
    assert guard_name(PATH) == NAME


def test_a_guarded_header_is_accepted() -> None:
    assert list(guard_findings(PATH, HEADER)) == []


@pytest.mark.parametrize("text", [
    HEADER.replace(f"#ifndef {NAME}", "#ifndef ZELMOR_CASTS_H"),
    HEADER.replace(f"#define {NAME}", "#define ZELMOR_CASTS_H"),
    "#include <string>\n" + HEADER,
    "// Nothing.\n",
])
def test_a_header_without_its_guard_is_refused(text: str) -> None:
    assert list(guard_findings(PATH, text)) == [f"{PATH}: does not begin with the include guard {NAME}"]


@pytest.mark.parametrize("text", [HEADER.replace("#endif  //", "#endif //"), HEADER + "int after;\n"])
def test_a_header_whose_guard_ends_early_is_refused(text: str) -> None:
    assert list(guard_findings(PATH, text)) == [f"{PATH}: does not end with #endif  // {NAME}"]


@pytest.mark.parametrize("line", ["#pragma once", "  #  pragma  once"])
def test_pragma_once_is_refused_in_sources_too(line: str) -> None:
    assert list(guard_findings("host/pal.cpp", f"int a;\n{line}\n")) == [
        "host/pal.cpp:2: #pragma once instead of an include guard"]


def test_a_source_needs_no_guard() -> None:
    assert list(guard_findings("host/pal.cpp", "// About #pragma once.\nint a;\n")) == []


@pytest.mark.parametrize("word", [
    "fill_colour", "FillColour", "FILL_COLOUR", "kFillColour", "recolouring", "uninitialised", "is_recognised",
    "toNormalised", "HTMLColour",
])
def test_a_british_part_is_found(word: str) -> None:
    assert list(spelling_findings("a.cpp", f"// One.\nint {word} = 0;\n", frozenset())) == [
        f"a.cpp:2: {word}: British spelling"]


@pytest.mark.parametrize("word", ["fill_color", "PercentResult", "kPercentReached", "initialize", "catalogue"])
def test_other_words_pass(word: str) -> None:
    assert list(spelling_findings("a.cpp", f"int {word} = 0;\n", frozenset())) == []


def test_foreign_names_pass_as_whole_names() -> None:
    foreign = frozenset({"colourspace"})
    assert list(spelling_findings("a.cpp", "image.colourspace(kind);\n", foreign)) == []
    assert list(spelling_findings("a.cpp", "my_colourspace(kind);\n", foreign)) == [
        "a.cpp:1: my_colourspace: British spelling"]


def test_foreign_names_stand_in_the_configuration() -> None:
    names = foreign_names(TOP / "setup.cfg")
    assert "NEAREST_NEIGHBOUR_RESAMPLE" in names
    assert all(any(stem in name.lower() for stem in BRITISH_STEMS) for name in names)


def test_the_tree_keeps_the_rules() -> None:
    run = subprocess.run([sys.executable, "-B", "tools/source_rules.py"], cwd=TOP, text=True, capture_output=True)
    assert (run.returncode, run.stdout, run.stderr) == (0, "", "")


@pytest.mark.parametrize("line", [
    "    static auto& all = *new std::vector<int>;", "    static int last = 0;", "    thread_local int depth;",
    "    static const Table* first = nullptr;", "std::atomic<bool> forked = false;", "int host;",
    "Callbacks all_callbacks;", "    static constinit bool due;", "constinit thread_local State state;",
])
def test_a_lasting_variable_needs_a_reason(line: str) -> None:
    path = "runtime/native/a.cpp"
    assert list(shared_state_findings(path, f"void f() {{\n{line}\n")) == [
        f"{path}:2: a variable that threads share, without the reason why they may"]
    assert list(shared_state_findings(path, f"// Under the lock.\nvoid f() {{\n{line}\n")) == []
    assert list(shared_state_findings(path, f"{line}  // set once\n")) == []
    assert list(shared_state_findings(path, f"// Of something else.\n\n{line}\n")) != []


def test_variables_that_stand_together_share_a_reason() -> None:
    together = "".join(f"ToPython convert_{number} = nullptr;\n" for number in range(9))
    assert list(shared_state_findings("pyshell/a.cpp", f"// Filled in by the import.\n{together}")) == []
    assert len(list(shared_state_findings("pyshell/a.cpp", f"// Of something else.\n\n{together}"))) == 9


@pytest.mark.parametrize("line", [
    "PyTypeObject type = {};", "constinit PyTypeObject type = made();", "PyModuleDef module = {",
    "PyMappingMethods m = {", "    static char* keywords[] = {nullptr};", "static PyBufferProcs procs = {",
])
def test_tables_of_the_interpreter_need_none(line: str) -> None:
    assert list(shared_state_findings("pyshell/a.cpp", f"void f() {{\n{line}\n")) == []


@pytest.mark.parametrize("line", [
    "    static const Names& names = *new Names;", "    static constexpr int kMost = 3;",
    "    static int of(int value);",
    "    static_assert(true);", "    static Point of(int x) { return {x}; }", "constexpr int kMost = 3;",
    "const BehaviorTable table({", "using api::Image;", "struct Arg;", "    int local = 0;", "    return found;",
])
def test_what_does_not_last_or_change_needs_none(line: str) -> None:
    assert list(shared_state_findings("runtime/native/a.cpp", f"void f() {{\n{line}\n")) == []


@pytest.mark.parametrize("line", ["if (facts.format == Format::kPng) {", "case imagework::Format::kTiff:",
                                  "return facts.variant == Variant::kApng;"])
def test_a_certain_format_outside_of_its_room_is_found(line: str) -> None:
    findings = list(format_findings("runtime/native/imagework/a.cpp", f"// One.\n{line}\n"))
    assert len(findings) == 1
    assert findings[0].startswith("runtime/native/imagework/a.cpp:2: ")


@pytest.mark.parametrize(("path", "line"), [
    ("runtime/native/formats/png/a.cpp", "return Format::kPng;"),
    ("tests/unit/imagework/a.cpp", "EXPECT_EQ(facts.format, Format::kPng);"),
    ("runtime/native/imagework/a.cpp", "if (facts.format == Format::kUnknown) {"),
    ("runtime/native/imagework/a.cpp", "facts.variant = Variant::kUsual;"),
    ("runtime/native/imagework/a.cpp", "int a;  // as Format::kPng"),
    ("runtime/native/imagework/a.cpp", "form = PixelFormat::kRgb24;"),
])
def test_a_format_in_its_room_is_accepted(path: str, line: str) -> None:
    assert list(format_findings(path, f"// One.\n{line}\n")) == []

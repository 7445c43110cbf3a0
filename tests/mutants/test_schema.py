"""Many changes in one text: each does what it does alone when it is chosen, and nothing when it is not."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest

from tools.mutants.changes import Change, changes
from tools.mutants.sample import PARTS, sources
from tools.mutants.schema import Schema, function_at, schema
from tools.mutants.structure import Structure

TREE = Path(__file__).parents[2]
# A program of one file that prints what its functions and tables give, and what a change of each leads to.
PROGRAM = """#include <cstdint>
#include <cstdio>

namespace {

struct Row {
    const char* name;
    uint8_t values[2];
    int extra = 3;
};

constexpr Row kRows[] = {{"a", {1, 2}}, {"b", {3, 4}, 5}};

struct Counter {
    Counter() : m_first(7) {}
    int next() { return m_first++; }

private:
    int m_first;
};

int twice(int x) { return x + x; }  // of any number

template <typename Number>
Number larger(Number a, Number b) {
    // A comment }
    return a < b ? b : a;
}

bool is_letter(char c) {
    const auto between = [c](char low, char high) { return low <= c && c <= high; };
    if (between('a', 'z')) {
        return true;
    }
    return between('A', 'Z');
}

}  // namespace

int main() {
    Counter counter;
    for (const Row& row : kRows) {
        std::printf("%s %d %d %d ", row.name, row.values[0], row.values[1], row.extra);
    }
    std::printf("%d ", counter.next());
    std::printf("%d %d %g %d%d\\n", counter.next(), twice(5), larger(1.5, 2.5), is_letter('b'), is_letter('1'));
}
"""


def numbered(source: str, *kinds: str) -> dict[int, Change]:
    return dict(enumerate((change for change in changes("x.cpp", source) if not kinds or change.kind in kinds), 1))


def of_one(source: str, *kinds: str) -> Schema:
    return schema(source, numbered(source, *kinds))


def build(folder: Path, text: str) -> Path | None:
    (folder / "x.cpp").write_text(text)
    made = subprocess.run(["c++", "-std=c++20", f"-I{TREE}", "x.cpp", "-o", "x"], cwd=folder, capture_output=True)
    return folder / "x" if made.returncode == 0 else None


def run(program: Path, **environment: str) -> tuple[int, bytes]:
    try:
        done = subprocess.run([str(program)], capture_output=True, timeout=10, env={**os.environ, **environment})
    except subprocess.TimeoutExpired:
        return 0, b"hangs"
    return done.returncode, done.stdout


@pytest.mark.skipif(shutil.which("c++") is None, reason="there is no compiler")
def test_a_chosen_change_does_what_it_does_alone(tmp_path: Path) -> None:
    # One of each kind and line; the changes of `main` would only repeat them.
    found = {(change.kind, change.line): change for change in changes("x.cpp", PROGRAM)
             if function_at(Structure(PROGRAM), change.start) != "main"}
    original = build(tmp_path, PROGRAM)
    assert original is not None
    unchanged = run(original)
    # What the compiler refuses is left out, as the trial does; the length of an array is no choice.
    alone = {change: run(tmp_path / "x") for change in found.values()
             if "[2]" not in PROGRAM.splitlines()[change.line - 1] and build(tmp_path, change.apply(PROGRAM))}
    chosen = dict(enumerate(alone, 1))
    made = schema(PROGRAM, chosen)
    assert not made.alone
    program = build(tmp_path, made.text)
    assert program is not None
    assert run(program) == unchanged
    assert run(program, ZELMOR_MUTANT="1000") == unchanged
    for number, change in chosen.items():
        assert run(program, ZELMOR_MUTANT=str(number)) == alone[change], change.describe(PROGRAM)
    assert sum(result != unchanged for result in alone.values()) > 10


@pytest.mark.skipif(shutil.which("c++") is None, reason="there is no compiler")
def test_the_places_that_a_program_reaches_are_recorded(tmp_path: Path) -> None:
    source = ("int f() { return 1 + 2; }\nint g() { return 3; }\nint kTable[] = {4};\n"
              "int main() { return f() + kTable[0] == f() + 4 ? EXIT_SUCCESS : EXIT_FAILURE; }\n")
    found = {number: change for number, change in numbered(source, "constant").items()
             if change.line < 4 and (change.line, change.replacement) != (3, "3")}
    program = build(tmp_path, schema(source, found).text)
    assert program is not None
    reached = tmp_path / "reached"
    reached.write_bytes(bytes(len(found) + 1))
    assert run(program, ZELMOR_MUTANTS_REACHED=str(reached)) == (0, b"")
    assert {found[number].line for number, seen in enumerate(reached.read_bytes()) if seen} == {1, 3}


@pytest.mark.skipif(shutil.which("c++") is None, reason="there is no compiler")
def test_a_helper_without_an_environment_runs_the_change_of_its_parent(tmp_path: Path) -> None:
    program = build(tmp_path, schema("int main() { return 1; }\n", numbered("int main() { return 1; }\n")).text)
    assert program is not None
    reached = tmp_path / "reached"
    reached.write_bytes(bytes(9))
    parent = "import subprocess, sys; sys.exit(subprocess.run([sys.argv[1]], env={}).returncode)"
    for number, code in (("0", 1), ("1", 2), ("2", 0)):
        done = subprocess.run([sys.executable, "-c", parent, str(program)], env={
            **os.environ, "ZELMOR_MUTANT": number, "ZELMOR_MUTANTS_REACHED": str(reached)})
        assert done.returncode == code
    assert reached.read_bytes()[1:3] == b"\1\1"


def test_a_body_stands_there_again() -> None:
    made = of_one("int f() {\n    return 1;\n}\n", "constant")
    assert made.text.splitlines() == [
        '#include "tools/mutants/selected.h"', "#line 1",
        "int f() {if (::zelmor_mutants::chosen(1)) {", "    return 2;", "", "} else if (::zelmor_mutants::chosen(2)) {",
        "    return 0;", "", "} else {", "    return 1;", "}}"]
    assert made.lines == {1: (1, 4), 2: (4, 7)}
    assert made.in_functions == {1, 2} and not made.alone


@pytest.mark.parametrize(("source", "expected"), [
    ("const int kA[] = {1, 2};\n", "const int kA[] = {::zelmor_mutants::either(1, 2, 1), 2};\n"),
    ("constexpr Row kA[] = {{\"x\", 1}};\n", "const Row kA[] = {{\"x\", ::zelmor_mutants::either(1, 2, 1)}};\n"),
    ("struct A {\n    int b = 1;\n};\n", "struct A {\n    int b = ::zelmor_mutants::either(1, 2, 1);\n};\n"),
    ("A::A() : b(1) {}\n", "A::A() : b((::zelmor_mutants::chosen(1) ? 2 : 1)) {}\n"),
    ("bool a = true;\n", "bool a = ::zelmor_mutants::either(1, false, true);\n"),
])
def test_a_constant_becomes_a_choice(source: str, expected: str) -> None:
    first = {1: numbered(source)[1]}
    made = schema(source, first)
    assert made.text.partition("#line 1\n")[2] == expected
    assert not made.alone and not made.in_functions


@pytest.mark.parametrize("source", [
    "enum class A {\n    kB = 1,\n};\n", "int a[1];\n", "A<1> a;\n", "struct A {\n    int b : 1;\n};\n",
    "constexpr int f() { return 1; }\n", "consteval int f(int a) {\n    return a + 1;\n}\n"])
def test_what_is_for_the_compiler_needs_a_build_of_its_own(source: str) -> None:
    made = of_one(source)
    assert made.alone == numbered(source).keys()
    assert made.text == source


@pytest.mark.parametrize(("source", "expected"), [
    ("int f() { return 1; }\n", "f"), ("A::A() : m_b(0) {\n    c(1);\n}\n", "A::A"),
    ("A::~A() {\n    c(1);\n}\n", "A::~A"), ("struct A {\n    int b = 1;\n};\n", ""),
    ("template <typename T>\nstd::vector<T> all(T t) {\n    return {1};\n}\n", "all"),
    ("DEFINE(a, b)\nnamespace {\n\nint f() { return 1; }\n\n}\n", "f"),
    ('__attribute__((target("ssse3"))) size_t f(int a) {\n    return 1;\n}\n', "f"),
])
def test_the_function_around_a_place(source: str, expected: str) -> None:
    assert function_at(Structure(source), source.index("1")) == expected


@pytest.mark.parametrize("part", PARTS)
def test_every_source_is_understood(part: str) -> None:
    for path in sources(TREE, [part]):
        source = (TREE / path).read_text()
        found = numbered(source)
        some = {number: found[number] for number in list(found)[::1 + len(found) // 4]}
        made = schema(source, some)
        assert made.lines.keys() | made.alone == some.keys(), path
        Structure(made.text)  # the brackets still nest

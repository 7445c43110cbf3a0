"""How one source of a changed tree is compiled: its changes are looked at closely, everything else as it always is."""

from __future__ import annotations

import subprocess
from pathlib import Path

from tools.mutants.changes import changes
from tools.mutants.schema import schema

SCRIPT = Path(__file__).resolve().parents[2] / "tools/mutants/compile.sh"
BEYOND = """#include <cassert>
#include <vector>
int last(const std::vector<int>& values) {
    assert(values.size() < 9);
    return values[values.size() - 1];
}
int main(int count, char**) { return last(std::vector<int>(count + 3, 0)); }
"""


def compiled(folder: Path, text: str) -> Path:
    source, program = folder / "one.cpp", folder / "one"
    source.write_text(text)
    subprocess.run(["sh", str(SCRIPT), "c++", "-std=c++20", "-O2", "-DNDEBUG", "-Werror", "-Wall",
                    "-I", str(SCRIPT.parents[2]), "-o", str(program), str(source)], check=True)
    return program


def code(program: Path, change: int, *arguments: str) -> int:
    return subprocess.run([program, *arguments], env={"ZELMOR_MUTANT": str(change)}, stderr=subprocess.PIPE).returncode


def test_a_changed_source_checks_its_indices_and_assertions(tmp_path: Path) -> None:
    found = dict(enumerate(changes("one.cpp", BEYOND), 1))
    beyond, = (number for number, change in found.items() if change.describe(BEYOND).endswith("arithmetic: - -> +"))
    program = compiled(tmp_path, schema(BEYOND, found).text)
    assert code(program, 0) == 0
    assert code(program, beyond) < 0
    assert code(program, 0, *"abcdefgh") < 0


def test_another_one_has_the_flags_of_the_project(tmp_path: Path) -> None:
    """But for what only earns a warning."""
    program = compiled(tmp_path, "int unused() { int nothing; return 0; }\n" + BEYOND)
    assert code(program, 0, *"abcdefgh") == 0

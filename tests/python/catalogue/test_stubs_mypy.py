"""mypy --strict and the built module agree on each line of a user's programs.

The programs are data files; their marks state the findings that mypy must report, line by line, and each of their
statements is executed.
"""

from __future__ import annotations

import ast
import re
import subprocess
from pathlib import Path
from typing import Any

import pytest

from support.other_programs import plain_environment
from support.places import BUILD_DIR, DATA

PROGRAMS = [pytest.param(DATA / "stubs" / f"{name}.py", id=name) for name in ("program", "program_collections")]
PACKAGE = BUILD_DIR / "python"
CACHE = BUILD_DIR / "mypy-stubs"
MARK = re.compile(r"# expect: ([a-z-]+(?:, [a-z-]+(?=$|,))*?)(?:, (or None|static))?$")


def run_mypy(*arguments: str) -> tuple[int, str]:
    """The exit status and the output of mypy, which finds the stubs as it would find those of installed packages."""
    # The plain interpreter: a debug build or a memory checker should not run mypy.
    done = subprocess.run(
        ["/usr/bin/python3", "-m", "mypy", "--strict", "--no-error-summary", "--show-error-codes",
         "--hide-error-context",
         "--config-file=", f"--cache-dir={CACHE}", *arguments],
        env={**plain_environment(), "PYTHONPATH": str(PACKAGE), "MYPY_FORCE_COLOR": ""}, cwd=PACKAGE / "zelmor-stubs",
        text=True, capture_output=True, check=False)
    assert not done.stderr
    return done.returncode, done.stdout


def expected(program: Path) -> dict[int, list[str]]:
    """The error codes that mypy must report, by line."""
    marks = {}
    for number, line in enumerate(program.read_text().splitlines(), 1):
        if "# expect:" in line:
            match = MARK.search(line)
            assert match is not None, line
            marks[number] = sorted(match[1].split(", "))
    return marks


def test_the_stubs_themselves_are_clean() -> None:
    status, output = run_mypy("-p", "zelmor")
    assert (status, output) == (0, "")


@pytest.mark.parametrize("program", PROGRAMS)
def test_mypy_finds_each_mistake_and_nothing_else(program: Path) -> None:
    status, output = run_mypy(str(program))
    found: dict[int, list[str]] = {}
    for line in output.splitlines():
        match = re.match(r"[^:]*program[a-z_]*\.py:(\d+): error: .*\[([a-z-]+)\]$", line)
        assert match is not None or ": note: " in line, line
        if match is not None:
            found.setdefault(int(match[1]), []).append(match[2])
    assert {number: sorted(codes) for number, codes in found.items()} == expected(program), output
    assert status == 1


def test_mypy_asks_for_a_test_where_a_property_can_be_none(tmp_path: Path) -> None:
    program = tmp_path / "none.py"
    program.write_text("from zelmor.imaging.imageoptions import PngOptions\n"
                       "PngOptions().source.get_stream_container()\n"
                       "assert (source := PngOptions().source)\n"
                       "source.get_stream_container()\n")
    status, output = run_mypy(str(program))
    assert status == 1 and output.count("[union-attr]") == 1 and "none.py:2:" in output


@pytest.fixture
def names(tmp_path: Path, picture: str) -> dict[str, Any]:
    return {"__name__": "program", "FOLDER": tmp_path, "PICTURE": picture}


@pytest.mark.parametrize("program", PROGRAMS)
def test_the_module_says_the_same_of_each_line(program: Path, names: dict[str, Any]) -> None:
    """Statements without a mark run, and those with one raise: the module refuses exactly the statements that mypy
    refuses."""
    text = program.read_text()
    lines = text.splitlines()
    for statement in ast.parse(text).body:
        if isinstance(statement, ast.If) and ast.unparse(statement.test) == "TYPE_CHECKING":
            continue
        if isinstance(statement, ast.AnnAssign) and statement.value is not None:
            statement.annotation = ast.copy_location(ast.Constant("Any"), statement)
        line = lines[statement.lineno - 1]
        code = compile(ast.Module([statement], []), str(program), "exec", flags=0)
        unmarked = "# expect:" not in line and "# beyond" not in line
        fine = unmarked or line.endswith((", or None", ", static"))
        if fine:
            exec(code, names)
            continue
        # Errors that only the managed side detects are managed exceptions.
        with pytest.raises((TypeError, AttributeError, *([RuntimeError] if "# beyond" in line else []))):
            exec(code, names)
            pytest.fail(f"line {statement.lineno} raised nothing")
    names.clear()

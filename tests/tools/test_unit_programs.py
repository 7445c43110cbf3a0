"""Programs of unit tests run as wholes: what is listed, what counts, and what a program that fails leaves behind."""

from __future__ import annotations

import os
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import pytest

from tools import unit_programs
from tools.run_tests import run_unit_tests
from tools.unit_programs import Program, programs_of

REPORT = '''<testsuites><testsuite name="S">{}</testsuite></testsuites>'''
PASSED = '<testcase name="{}" classname="S"/>'
FAILED = '<testcase name="{}" classname="S"><failure message="no"/></testcase>'
SKIPPED = '<testcase name="{}" classname="S"><skipped message="later"/></testcase>'


def write_programs(folder: Path, programs: dict[str, tuple[str, list[str]]]) -> None:
    """Programs by their names: the script, and the tests that ctest lists, none for a command that is one test."""
    lines = []
    for name, (script, tests) in programs.items():
        program = folder / name
        program.write_text(f"#!/bin/sh\nfor last; do :; done\n{script}\n")
        program.chmod(0o755)
        listed = [(f"{name}.{test}", f' "--gtest_filter={test}"') for test in tests] or [(name, ' "7"')]
        for test, argument in listed:
            lines.append(f'add_test([=[{test}]=] "{program}"{argument})\n'
                         f'set_tests_properties([=[{test}]=] PROPERTIES WORKING_DIRECTORY "{folder}")\n')
    (folder / "CTestTestfile.cmake").write_text("".join(lines))


def script_with(cases: list[str], code: int) -> str:
    """Writes a report of these cases to the file of --gtest_output=xml:FILE, says so, and ends with the code."""
    text = REPORT.format("".join(case.format(place) for place, case in enumerate(cases)))
    return f"echo said; cat > \"${{last#*xml:}}\" <<'E'\n{text}\nE\nexit {code}"


def test_programs_are_listed_once(tmp_path: Path) -> None:
    write_programs(tmp_path, {"many": ("", ["a", "b", "c"]), "one": ("", []), "few": ("", ["a"])})
    assert programs_of(tmp_path) == [
        Program("many", (str(tmp_path / "many"),), str(tmp_path), 3),
        Program("one", (str(tmp_path / "one"), "7"), str(tmp_path), 0),
        Program("few", (str(tmp_path / "few"),), str(tmp_path), 1)]


def test_what_only_ctest_can_do_is_refused(tmp_path: Path) -> None:
    write_programs(tmp_path, {"program": ("", ["a"])})
    with (tmp_path / "CTestTestfile.cmake").open("a") as file:
        file.write('set_tests_properties([=[program.a]=] PROPERTIES ENVIRONMENT "A=1" TIMEOUT 5)\n')
    with pytest.raises(ValueError, match=r"^program\.a: ENVIRONMENT, TIMEOUT: known to ctest alone$"):
        programs_of(tmp_path)


@pytest.mark.parametrize(("cases", "code", "tests", "count", "well", "said"), [
    ([PASSED, PASSED, SKIPPED], 0, 3, "2 passed, 0 failed, 1 skipped", True, None),
    ([PASSED, FAILED], 1, 2, "1 passed, 1 failed", False, "tests failed"),
    ([PASSED, PASSED], 1, 2, "2 passed, 1 failed", False, "ended with 1"),
    ([PASSED], 0, 2, "1 passed, 1 failed", False, "told of 1 tests of 2"),
    ([SKIPPED], 0, 1, "0 passed, 0 failed, 1 skipped", False, None),
])
def test_each_test_of_a_program_counts(cases: list[str], code: int, tests: int, count: str, well: bool,
                                       said: str | None, tmp_path: Path, capfd: pytest.CaptureFixture[str]) -> None:
    names = [str(number) for number in range(tests)]
    write_programs(tmp_path, {"program": (script_with(cases, code), names)})
    counted, flag = run_unit_tests(tmp_path, 2, dict(os.environ))
    assert (str(counted), flag) == (count, well)
    output = capfd.readouterr().out
    assert ("said\n" in output) == (said is not None)
    assert said is None or f"program: {said}\n" in output


def test_a_program_that_dies_is_a_failure(tmp_path: Path, capfd: pytest.CaptureFixture[str]) -> None:
    write_programs(tmp_path, {"dies": ("echo last words; kill -9 $$", ["a", "b"]),
                              "silent": ("exit 0", ["a"]), "lives": (script_with([PASSED], 0), ["a"])})
    (tmp_path / "unit-reports").mkdir()
    # What an earlier run left counts for nothing.
    (tmp_path / "unit-reports" / "dies.xml").write_text(REPORT.format(PASSED + PASSED))
    counted, flag = run_unit_tests(tmp_path, 1, dict(os.environ))
    assert (str(counted), flag) == ("1 passed, 2 failed", False)
    output = capfd.readouterr().out
    assert "last words\n\ndies: ended with -9\n" in output and "\nsilent: wrote no report\n" in output
    failed = {case.get("name") for case in ElementTree.parse(tmp_path / "ctest.xml").iter("testcase")
              if case.find("failure") is not None}
    assert failed == {"dies", "silent"}


@pytest.mark.parametrize(("code", "count", "well"), [(0, "1 passed, 0 failed", True), (3, "0 passed, 1 failed", False)])
def test_another_command_is_one_test(code: int, count: str, well: bool, tmp_path: Path,
                                     capfd: pytest.CaptureFixture[str]) -> None:
    write_programs(tmp_path, {"command": (f"echo \"$@ $VALUE\"; exit {code}", [])})
    counted, flag = run_unit_tests(tmp_path, 2, dict(os.environ, VALUE="11"))
    assert (str(counted), flag) == (count, well)
    assert ("7 11\n" in capfd.readouterr().out) != well


def test_a_program_that_hangs_is_ended(tmp_path: Path, monkeypatch: pytest.MonkeyPatch,
                                       capfd: pytest.CaptureFixture[str]) -> None:
    monkeypatch.setattr(unit_programs, "LIMIT", 0.3)
    write_programs(tmp_path, {"hangs": ("exec sleep 30", ["a"]), "lives": (script_with([PASSED], 0), ["a"])})
    counted, flag = run_unit_tests(tmp_path, 2, dict(os.environ))
    assert (str(counted), flag) == ("1 passed, 1 failed", False)
    assert "hangs: no end after 0 s\n" in capfd.readouterr().out

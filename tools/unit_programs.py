"""The programs of unit tests of a build tree, each run as a whole: a process for each test would take nearly
twice as long.

A program of GoogleTest stands in ctest's list once for each of its tests, anything else once.
"""

from __future__ import annotations

import json
import subprocess
import xml.etree.ElementTree as ElementTree
from collections.abc import Iterator, Mapping, Sequence
from concurrent.futures import ThreadPoolExecutor, as_completed
from dataclasses import dataclass
from pathlib import Path

#: A program that takes longer hangs.
LIMIT = 900.0
#: What ctest knows of a test and is kept here. GoogleTest tells by itself what it skipped, and labels only select.
_KNOWN = {"LABELS", "SKIP_REGULAR_EXPRESSION", "WORKING_DIRECTORY"}


@dataclass(frozen=True)
class Program:
    """A command that is one test, or all tests of a program of GoogleTest, and the directory that it runs in."""

    name: str
    command: tuple[str, ...]
    directory: str
    tests: int  # how many ctest lists; 0 where the command is one test


def programs_of(folder: Path) -> list[Program]:
    """The programs of a folder of a build tree, in the order of ctest. A test that asks for more of ctest than a
    directory, an environment or a limit of time say, is refused with a ValueError."""
    listed = json.loads(subprocess.run(["ctest", "--test-dir", str(folder), "--show-only=json-v1"], check=True,
                                       text=True, capture_output=True).stdout)
    found: dict[tuple[str, ...], Program] = {}
    for test in listed["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test["properties"]}
        if properties.keys() - _KNOWN:
            raise ValueError(f"{test['name']}: {', '.join(sorted(properties.keys() - _KNOWN))}: known to ctest alone")
        program, *arguments = test["command"]
        single = any(argument.startswith("--gtest_filter=") for argument in arguments)
        command = (program,) if single else (program, *arguments)
        before = found[command].tests if command in found else 0
        found[command] = Program(Path(program).name if single else test["name"], command,
                                 properties["WORKING_DIRECTORY"], before + 1 if single else 0)
    return list(found.values())


@dataclass(frozen=True)
class Result:
    """What became of a program. `cases` has an element for each test that it told of, as JUnit reports have them."""

    program: Program
    output: str
    trouble: str  # what is wrong beside tests that failed; empty if nothing is
    cases: Sequence[ElementTree.Element]


def run_program(program: Program, report: Path, environment: Mapping[str, str]) -> Result:
    """Runs a program; GoogleTest writes its report to the file."""
    report.unlink(missing_ok=True)
    more = ["--gtest_brief=1", f"--gtest_output=xml:{report}"] if program.tests else []
    try:
        done = subprocess.run([*program.command, *more], cwd=program.directory, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=LIMIT, env=environment)
    except subprocess.TimeoutExpired as failure:
        return Result(program, (failure.stdout or b"").decode(errors="replace"), f"no end after {LIMIT:.0f} s", [])
    output = done.stdout.decode(errors="replace")
    failed = f"ended with {done.returncode}" if done.returncode else ""
    if not program.tests:
        case = ElementTree.Element("testcase", name=program.name, classname=program.name)
        if failed:
            ElementTree.SubElement(case, "failure", message=failed)
        return Result(program, output, "", [case])
    if not report.is_file():
        return Result(program, output, failed or "wrote no report", [])
    cases = list(ElementTree.parse(report).iter("testcase"))
    if len(cases) != program.tests:
        return Result(program, output, f"told of {len(cases)} tests of {program.tests}", cases)
    known = any(case.find("failure") is not None for case in cases)
    return Result(program, output, "" if known else failed, cases)


def run_programs(programs: Sequence[Program], reports: Path, jobs: int,
                 environment: Mapping[str, str]) -> Iterator[Result]:
    """Runs programs, so many at a time as there are jobs; yields what became of them as they end. What is one
    test begins first, then those with most tests, so that nothing long is left alone at the end."""
    reports.mkdir(exist_ok=True)
    with ThreadPoolExecutor(jobs) as pool:
        begun = [pool.submit(run_program, program, reports / f"{program.name}.xml", environment)
                 for program in sorted(programs, key=lambda program: (program.tests > 0, -program.tests))]
        for future in as_completed(begun):
            yield future.result()


def write_report(results: Sequence[Result], report: Path) -> None:
    """One JUnit report of all programs; what is wrong with a program as a whole is a test of its own that failed."""
    suite = ElementTree.Element("testsuite", name="unit tests")
    for result in results:
        suite.extend(result.cases)
        if result.trouble:
            case = ElementTree.SubElement(suite, "testcase", name=result.program.name, classname="programs")
            ElementTree.SubElement(case, "failure", message=result.trouble)
    ElementTree.ElementTree(suite).write(report, encoding="utf-8", xml_declaration=True)

"""How changes are tried, on a made-up project whose build and test are small programs."""

from __future__ import annotations

import os
import re
import subprocess
import sys
import time
from collections.abc import Sequence
from dataclasses import replace
from pathlib import Path

import pytest

from tools.mutants.changes import Change, changes
from tools.mutants.equivalents import Equivalents, place_of
from tools.mutants.reach import Reach
from tools.mutants.trial import Outcome, Trial, UnchangedFails, Verdict, summary, try_all
from tools.mutants.workshop import BUILD, Commands, Occupied, Workshop

SOURCE = "src/a.cpp"
# The first seven are constants that a program chooses when it runs; the last two are constants for the compiler.
TEXT = "".join(f"int {name} = 1;\n" for name in ("seen", "lost", "slow", "wrong", "unused", "known", "deep"))
TEXT += "enum { alone = 1 };\nenum { listed = 1 };\n"
# A constant that a function of another source needs when it is compiled.
TEXT += "int far = 1;\n"
# What a member of a structure begins with, of which another source has a constant object.
TEXT += "int member = 1;\n"
# What a change from 1 to 2 leads to, by the name of the constant.
OUTCOMES = {"seen": Outcome.NOTICED, "lost": Outcome.SURVIVED, "slow": Outcome.HANGS, "wrong": Outcome.NO_PROGRAM,
            "unused": Outcome.SAME_CODE, "known": Outcome.EQUIVALENT, "deep": Outcome.NOTICED,
            "alone": Outcome.NOTICED, "listed": Outcome.NOTICED}
TESTS = ("tests/python/test_a.py", "tests/python/test_b.py")
# A build that refuses a choice for `wrong`, in the words of a compiler, and a change of it alone as well.
BUILD_PROGRAM = """
import pathlib, sys
text = pathlib.Path("src/a.cpp").read_text()
pathlib.Path("build/builds").open("a").write("build ")
for number, line in enumerate(text.split("#line 1\\n")[-1].splitlines(), 1):
    if "wrong = 2" in line or "wrong = ::" in line:
        sys.exit(f"src/a.cpp:{number}:1: error: wrong [-Werror=x]\\n../src/a.cpp:{number}:1: error: wrong")
    if "far = ::" in line:
        # The declaration begins on an earlier line than the constant.
        sys.exit(f"src/b.h:1:1: error: ...\\n../src/a.cpp:{number - 1}:1: note: 'far' was not declared 'constexpr'")
    if "member = ::" in line:
        sys.exit("src/b.cpp:9:1: error: call to non-'constexpr' function 'zelmor_mutants::Either<C>::operator Type()'")
if "listed = 2" in text:
    sys.exit("CMake Error: Error running test executable.")
pathlib.Path("build/a.o").write_text(text)
"""
# A test of the constants as the environment chooses them; it tells which choices it has met.
TEST_PROGRAM = """
import os, pathlib, re, subprocess, sys, time
text = pathlib.Path("build/a.o").read_text()
reached = os.environ.get("ZELMOR_MUTANTS_REACHED")
def choose(match):
    number, changed, original = match.groups()
    if reached:
        with open(reached, "r+b") as file:
            file.seek(int(number))
            file.write(bytes([1]))
    return changed if os.environ.get("ZELMOR_MUTANT") == number else original
mine = [line for line in text.splitlines() if any(("deep" in line) == ("test_b" in name) for name in sys.argv[1:])]
text = re.sub(r"::zelmor_mutants::either[(]([0-9]+), ([0-9]+), ([0-9]+)[)]", choose, chr(10).join(mine))
pathlib.Path("build/runs").open("a").write(" ".join(sys.argv[1:]) + chr(10))
if "slow = 2" in text:
    subprocess.Popen([sys.executable, "-c", "import time; time.sleep(600)", "child of " + os.getcwd()])
    pathlib.Path("build/child").write_text("child of " + os.getcwd())
    time.sleep(600)
for name in ("seen", "deep", "alone", "far", "member"):
    if f"{name} = 2" in text:
        sys.exit(f"FAILED {sys.argv[-1]}::test_{name} - assert 2 == 1")
"""
COMPILE_PROGRAM = """
import pathlib, sys
lines = pathlib.Path("src/a.cpp").read_text().splitlines()
pathlib.Path(sys.argv[-1]).write_text("".join(line for line in lines if "unused" not in line))
"""


def program(text: str, *arguments: str) -> list[str]:
    return [sys.executable, "-S", "-E", "-c", text, *arguments]


@pytest.fixture
def tree(tmp_path: Path) -> Path:
    tree = tmp_path / "tree"
    (tree / "src").mkdir(parents=True)
    (tree / SOURCE).write_text(TEXT)
    (tree / "unknown.txt").write_text("left out")
    (tree / ".gitignore").write_text("/unknown.txt\n")
    subprocess.run(["git", "init", "-q", str(tree)], check=True)
    return tree


def make_shop(tree: Path) -> Workshop:
    commands = Commands(configure=lambda place: program("import pathlib; pathlib.Path('build/made').write_text('x')"),
                        build=lambda tests: program(BUILD_PROGRAM),
                        test=lambda place, names: program(TEST_PROGRAM, *names),
                        compile=lambda copy, source, target: [program(COMPILE_PROGRAM, str(target))])
    workshop = Workshop(tree, tree.parent / "out" / "copy", commands)
    workshop.take_sources()
    return workshop


def make_trial(tree: Path, *names: str, tests: tuple[str, ...] = TESTS[:1], jobs: int = 1) -> Trial:
    """A trial of changes from 1 to 2 of these constants."""
    known = place_of(doubled("known"), TEXT)
    # The second test is named for another source only.
    table = [Reach("src/", tests), Reach("src/b", TESTS[1:])]
    return Trial(make_shop(tree), table, [doubled(name) for name in names], Equivalents({known: "nobody asks"}), jobs)


def doubled(name: str) -> Change:
    """The change of a constant from 1 to 2."""
    line = next(line for line, text in enumerate(TEXT.splitlines(), 1) if f" {name} = " in text)
    return next(change for change in changes(SOURCE, TEXT) if change.line == line and change.replacement == "2")


def contents(tree: Path) -> dict[str, str]:
    return {str(file.relative_to(tree)): file.read_text() for file in tree.rglob("*")
            if file.is_file() and ".git" not in file.relative_to(tree).parts}


def is_alive(argument: str) -> bool:
    """Whether a process was started with the argument; by its number it is known only to those beside it."""
    for file in Path("/proc").glob("[0-9]*/cmdline"):
        try:
            if argument.encode() in file.read_bytes().split(b"\0"):
                return True
        except (FileNotFoundError, ProcessLookupError):
            pass  # it has ended
    return False


@pytest.mark.parametrize("jobs", [1, 3])
def test_each_outcome(tree: Path, capsys: pytest.CaptureFixture[str], jobs: int) -> None:
    before = contents(tree)
    trial = make_trial(tree, *OUTCOMES, tests=TESTS, jobs=jobs)
    survivors = tree.parent / "out" / "survivors.txt"
    assert try_all(trial, survivors, slack=5) == 0
    lines = capsys.readouterr().out.splitlines()
    assert lines[0].startswith("built with 6 changes in it, ")
    assert lines[0].endswith("; 0 do not compile, 3 need builds of their own")
    told = {int(line[1:line.index("/")]): line for line in lines if line.startswith("[")}
    for number, (name, outcome) in enumerate(OUTCOMES.items(), 1):
        assert told[number].startswith(
            f"[{number}/{len(OUTCOMES)}] {outcome.value}: {SOURCE}:{number}: constant: 1 -> 2 ("), name
    assert "(tests/python/test_a.py::test_seen, " in told[1]
    assert "(tests/python/test_b.py::test_deep, " in told[7]
    assert "(the list of the unit tests, " in told[9]
    assert re.fullmatch(r"all +9 +1 +1 +1 +5 +1 +83 %", lines[-2])
    assert lines[-1] == f"the survivors: {survivors}"
    text = survivors.read_text()
    assert text.splitlines()[0] == f"{SOURCE}:2: constant: 1 -> 2 (1 groups of tests pass)"
    assert "-int lost = 1;\n+int lost = 2;\n" in text
    assert text.endswith("not noticed by\n    tests/python/test_a.py\n    tests/python/test_b.py\n")
    assert text.count("constant") == 1
    # Everything is as it was in the tree, and nothing is left running.
    assert contents(tree) == before
    child = (trial.workshop.copy / BUILD / "child").read_text()
    for _ in range(100):
        if not is_alive(child):
            break
        time.sleep(0.05)
    assert not is_alive(child)


def test_one_build_serves_all_changes_that_can_be_chosen(tree: Path) -> None:
    trial = make_trial(tree, "seen", "lost", "deep", "known")
    list(trial.prepare())
    assert [trial.judge(number).outcome for number in trial.changes] == [
        Outcome.NOTICED, Outcome.SURVIVED, Outcome.SURVIVED, Outcome.EQUIVALENT]
    assert (trial.workshop.copy / BUILD / "builds").read_text() == "build "


@pytest.mark.parametrize("name", ["far", "member"])
def test_a_constant_that_another_source_needs_at_compile_time_gets_its_own_build(tree: Path, name: str) -> None:
    trial = make_trial(tree, "seen", name)
    told = list(trial.prepare())
    assert told[0].endswith("; 0 do not compile, 2 need builds of their own")
    assert [trial.judge(number).outcome for number in trial.changes] == [Outcome.NOTICED, Outcome.NOTICED]


def test_only_the_tests_that_reach_a_change_are_run(tree: Path) -> None:
    trial = make_trial(tree, "lost", "deep", tests=TESTS)
    list(trial.prepare())
    assert trial.reached == {TESTS[0]: frozenset({1}), TESTS[1]: frozenset({2})}
    runs = trial.workshop.copy / BUILD / "runs"
    runs.unlink()
    trial.judge(1)
    trial.judge(2)
    assert runs.read_text().splitlines() == list(TESTS)


def test_only_the_single_tests_that_reach_a_change_are_run(tree: Path) -> None:
    """And those of a file as a whole only if none of them notices it."""
    (tree / SOURCE).write_text("int first() { return 1; }\nint second() { return 1; }\nint constant = 1;\n")
    shop = make_shop(tree)
    shop.take_sources()
    drawn = {change.line: change for change in changes(SOURCE, (tree / SOURCE).read_text())
             if change.kind == "constant" and change.replacement == "2"}
    trial = Trial(shop, [Reach("src/", (TESTS[0],))], [drawn[1], drawn[2], drawn[3]], Equivalents({}),
                  others=[TESTS[1]])
    shop.commands = replace(shop.commands, test=lambda place, names: program("""
import json, os, pathlib
record, only = (os.environ.get(f"ZELMOR_MUTANTS_{name}") for name in ("CASES", "ONLY"))
if record:
    pathlib.Path(os.environ["ZELMOR_MUTANTS_REACHED"]).write_bytes(bytes([0, 1, 1, 1]))
    pathlib.Path(record).write_text(json.dumps({"x": [[1], 1.0], "y": [[1, 2, 3], 90.0], "z": [[2], 150.0]}))
else:
    text = pathlib.Path(only).read_text() if only else "all"
    pathlib.Path("build/runs").open("a").write(text + chr(10))
"""))
    list(trial.prepare())
    list(trial.look_at_others())
    runs = shop.copy / BUILD / "runs"
    assert {trial.judge(number).outcome for number in (1, 2, 3)} == {Outcome.SURVIVED}
    # A constant is reached when its library is loaded, whichever test does so.
    assert runs.read_text().splitlines() == ['["x", "y"]', "all", '["y", "z"]', "all", '["x", "y", "z"]', "all"]
    runs.unlink()
    # Of other tests that would take longer than two minutes, every second, every third and so on.
    for number in (1, 2, 3):
        trial.judge_by_others(number)
    assert runs.read_text().splitlines() == ['["x", "y"]', '["y"]', '["x"]']


def test_a_file_that_fails_beside_another_only_has_noticed_nothing(tree: Path) -> None:
    trial = make_trial(tree, "lost", "seen", tests=TESTS)
    works = trial.workshop.commands

    def test(place: Path, names: Sequence[str]) -> list[str]:
        return program(f"print('FAILED {names[0]}::test_x'); raise SystemExit(1)") if len(names) > 1 else works.test(
            place, names)

    trial.workshop.commands = replace(works, test=test)
    list(trial.prepare())
    trial.reached = dict.fromkeys(TESTS, frozenset({1, 2}))
    assert trial.judge(1).outcome is Outcome.SURVIVED
    verdict = trial.judge(2)
    assert (verdict.outcome, verdict.by) == (Outcome.NOTICED, "tests/python/test_a.py::test_seen")


def test_a_test_that_the_map_does_not_name_is_asked_about_survivors(
        tree: Path, capsys: pytest.CaptureFixture[str]) -> None:
    (tree / "src" / "b.cpp").write_text("int other = 1;\n")
    trial = make_trial(tree, "deep")
    other = next(change for change in changes("src/b.cpp", "int other = 1;\n") if change.replacement == "2")
    both = Trial(trial.workshop, trial.table, [doubled("deep"), other], trial.equivalents)
    assert try_all(both, tree.parent / "out" / "survivors.txt") == 0
    told = [line for line in capsys.readouterr().out.splitlines() if line.startswith("[1/2]")]
    assert [line.split("]")[1].split(":")[0] for line in told] == [" SURVIVED", " noticed"]
    assert "(no test reaches it, " in told[0]
    assert "(tests/python/test_b.py::test_deep, which the map does not name, " in told[1]


@pytest.mark.parametrize(("broken", "told_as"), [
    ("import sys; sys.exit('broken')", "fails"), ("import time; time.sleep(600)", "hangs")])
def test_survivors_are_tried_by_all_other_tests_that_reach_them(
        tree: Path, capsys: pytest.CaptureFixture[str], monkeypatch: pytest.MonkeyPatch, broken: str,
        told_as: str) -> None:
    monkeypatch.setattr("tools.mutants.trial._OTHERS_LIMIT", 2.0)
    trial = make_trial(tree, "deep", "lost")
    failing = "tests/python/test_c.py"
    works = trial.workshop.commands
    trial.workshop.commands = replace(works, test=lambda place, names: (
        program(broken) if failing in names else works.test(place, names)))
    trial.others = [failing, *TESTS]
    assert try_all(trial, tree.parent / "out" / "survivors.txt") == 0
    lines = capsys.readouterr().out.splitlines()
    assert f"{failing} {told_as} without any change and is left out" in lines
    assert set(trial.reached) == set(TESTS)
    told = [line for line in lines if line.startswith("[1/2]")]
    assert [line.split("]")[1].split(":")[0] for line in told] == [" SURVIVED", " noticed"]
    assert "(tests/python/test_b.py::test_deep, which the map does not name, " in told[1]
    assert [line.split("]")[1].split(":")[0] for line in lines if line.startswith("[2/2]")] == [" SURVIVED"]


def test_no_change_is_begun_when_the_time_is_over(tree: Path, capsys: pytest.CaptureFixture[str]) -> None:
    assert try_all(make_trial(tree, "seen", "lost"), tree.parent / "out" / "survivors.txt", seconds=0) == 0
    lines = capsys.readouterr().out.splitlines()
    assert not any(line.startswith("[") for line in lines)
    assert lines[-1].split() == ["all", "0", "0", "0", "0", "0", "0", "-"]


def test_a_tree_that_fails_unchanged_is_told(tree: Path, capsys: pytest.CaptureFixture[str]) -> None:
    survivors = tree.parent / "out" / "survivors.txt"
    (tree / SOURCE).write_text(TEXT.replace("seen = 1", "seen = 2"))
    assert try_all(make_trial(tree, "lost"), survivors) == 1
    assert ("tests/python/test_a.py fails without any change:\nFAILED tests/python/test_a.py::test_seen"
            in capsys.readouterr().err)
    (tree / SOURCE).write_text(TEXT.replace("wrong = 1", "wrong = 2"))
    assert try_all(make_trial(tree, "lost"), survivors) == 1
    assert "the unchanged tree cannot be built:\n" in capsys.readouterr().err
    assert not survivors.exists()


def test_a_failing_configuration_is_told_and_tried_again(tree: Path) -> None:
    trial = make_trial(tree, "lost")
    works = trial.workshop.commands
    broken = replace(works, configure=lambda place: program("import sys; sys.exit('no compiler')"))
    for _ in range(2):
        other = Trial(Workshop(tree, trial.workshop.copy, broken), trial.table, [doubled("lost")], trial.equivalents)
        with pytest.raises(UnchangedFails, match="cannot be configured:\nno compiler"):
            list(other.prepare())
    assert len(list(trial.prepare())) == 2
    assert trial.workshop.configure() is None


def test_the_copy_follows_the_tree(tree: Path) -> None:
    shop = make_shop(tree)
    shop.take_sources()
    copied = shop.copy / SOURCE
    assert contents(shop.copy) == {SOURCE: TEXT, ".gitignore": "/unknown.txt\n"}
    os.utime(copied, ns=(1, 1))
    shop.take_sources()
    assert copied.stat().st_mtime_ns == 1  # the same text is not written again
    copied.write_text("left by a run that was broken off")
    (tree / "src" / "b.cpp").write_text("int b;\n")
    shop.take_sources()
    assert contents(shop.copy).keys() == {SOURCE, "src/b.cpp", ".gitignore"}
    assert copied.read_text() == TEXT
    (tree / "src" / "b.cpp").unlink()
    shop.take_sources()
    assert contents(shop.copy).keys() == {SOURCE, ".gitignore"}


def test_one_run_at_a_time(tree: Path) -> None:
    first, second = make_shop(tree), make_shop(tree)
    with first.reserve():
        with pytest.raises(Occupied, match="another run is at work in .*/out/copy$"):
            second.reserve()
    second.reserve().close()


def test_commands_see_the_copy(tree: Path) -> None:
    shop = make_shop(tree)
    shop.take_sources()
    (shop.copy / SOURCE).write_text("changed")
    run = shop.run(program(f"import os; print(os.getcwd(), open({str(shop.place / SOURCE)!r}).read())"))
    assert (run.code, run.output) == (0, f"{shop.place} changed\n")
    assert (tree / SOURCE).read_text() == TEXT


def test_commands_see_no_processes_but_their_own(tree: Path) -> None:
    """Else a change could make a test end all processes of the machine."""
    shop = make_shop(tree)
    if shop.place != tree.resolve():
        pytest.skip("needs namespaces of mounts and processes")
    shop.take_sources()
    run = shop.run(program("import os; print(sorted(int(name) for name in os.listdir('/proc') if name.isdigit()) == "
                           "sorted({1, os.getpid()}), open('/proc/self/stat').read().split()[0] == str(os.getpid()))"))
    assert (run.code, run.output) == (0, "True True\n")
    # What a program leaves behind ends with it.
    run = shop.run(program("import subprocess; subprocess.Popen(['sleep', '600']); raise SystemExit(3)"))
    assert run.code == 3 and run.seconds < 60


def test_the_share_leaves_out_what_no_test_can_notice() -> None:
    def verdict(part: str, outcome: Outcome) -> Verdict:
        return Verdict(Change(f"{part}/a.cpp", "constant", 1, 0, 1, "2"), outcome, "", 0)

    lines = summary([verdict("host", Outcome.NO_PROGRAM), verdict("runtime/native", Outcome.SURVIVED),
                     verdict("runtime/native", Outcome.NOTICED), verdict("runtime/native", Outcome.SAME_CODE),
                     verdict("pyshell", Outcome.HANGS), verdict("runtime/native", Outcome.EQUIVALENT)])
    assert re.split(r"\s{2,}", lines[0].strip()) == [
        "changes", "no program", "same code", "equivalent", "noticed", "survived", "share"]
    assert [line.split() for line in lines[1:]] == [
        ["host", "1", "1", "0", "0", "0", "0", "-"],
        ["runtime/native", "4", "0", "1", "1", "1", "1", "50", "%"],
        ["pyshell", "1", "0", "0", "0", "1", "0", "100", "%"],
        ["the", "bridge", "2", "1", "0", "0", "1", "0", "100", "%"],
        ["all", "6", "1", "1", "1", "2", "1", "67", "%"]]


def test_programs_of_unit_tests_run_as_a_whole(tmp_path: Path) -> None:
    ran = tmp_path / "ran"
    for name, code in (("good", 0), ("bad", 3), ("behind", 0)):
        program = tmp_path / name
        program.write_text(f"#!/bin/sh\necho {name} $* >> {ran}\nexit {code}\n")
        program.chmod(0o755)
    (tmp_path / "CTestTestfile.cmake").write_text("".join(
        f'add_test([=[{program}.{test}]=] "{tmp_path / program}" "--gtest_filter={test}")\n'
        f'set_tests_properties([=[{program}.{test}]=] PROPERTIES WORKING_DIRECTORY "{tmp_path}")\n'
        for program in ("good", "bad", "behind") for test in ("a", "b")))
    run = subprocess.run([sys.executable, "-m", "tools.mutants.unit_tests", str(tmp_path)], text=True,
                         capture_output=True, cwd=Path(__file__).resolve().parents[2])
    assert (run.returncode, run.stdout) == (1, "FAILED bad, which ended with 3\n")
    assert ran.read_text() == "".join(f"{name} --gtest_fail_fast --gtest_brief=1\n" for name in ("good", "bad"))


def test_a_folder_without_unit_tests_is_told(tmp_path: Path) -> None:
    run = subprocess.run([sys.executable, "-m", "tools.mutants.unit_tests", str(tmp_path)], text=True,
                         capture_output=True, cwd=Path(__file__).resolve().parents[2])
    assert (run.returncode, run.stdout) == (1, f"no unit tests in {tmp_path}\n")

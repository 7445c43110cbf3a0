"""How changes are tried, on a made-up project whose build and test are small programs."""

from __future__ import annotations

import os
import re
import subprocess
import sys
import time
from pathlib import Path

import pytest

from tools.mutants.changes import Change, changes
from tools.mutants.reach import Reach
from tools.mutants.trial import Outcome, Trial, UnchangedFails, Verdict, summary, try_all
from tools.mutants.workshop import Commands, Occupied, Workshop

SOURCE = "src/a.cpp"
TEXT = "int seen = 1;\nint lost = 1;\nint slow = 1;\nint wrong = 1;\nint unused = 1;\nint listed = 1;\n"
# What a change from 1 to 2 leads to, by the name of the constant.
OUTCOMES = {"seen": Outcome.NOTICED, "lost": Outcome.SURVIVED, "slow": Outcome.HANGS, "wrong": Outcome.NO_PROGRAM,
            "unused": Outcome.SAME_CODE, "listed": Outcome.NOTICED}
BUILD = """
import pathlib, sys
text = pathlib.Path("src/a.cpp").read_text()
if "wrong = 2" in text:
    sys.exit("error: wrong")
if "listed = 2" in text:
    sys.exit("CMake Error: Error running test executable.")
kept = [line for line in text.splitlines() if "unused" not in line]
pathlib.Path("build/a.o").write_text("\\n".join(kept))
"""
TEST = """
import pathlib, subprocess, sys, time
text = pathlib.Path("build/a.o").read_text()
if "slow = 2" in text:
    child = subprocess.Popen([sys.executable, "-c", "import time; time.sleep(600)"])
    pathlib.Path("build/child").write_text(str(child.pid))
    time.sleep(600)
if "seen = 2" in text:
    sys.exit("FAILED tests/test_a.py::test_seen - assert 2 == 1")
pathlib.Path("build/runs").open("a").write("run ")
"""


def program(text: str) -> list[str]:
    return [sys.executable, "-S", "-E", "-c", text]


@pytest.fixture
def tree(tmp_path: Path) -> Path:
    tree = tmp_path / "tree"
    (tree / "src").mkdir(parents=True)
    (tree / SOURCE).write_text(TEXT)
    (tree / "unknown.txt").write_text("left out")
    (tree / ".gitignore").write_text("/unknown.txt\n")
    subprocess.run(["git", "init", "-q", str(tree)], check=True)
    return tree


def make_trial(tree: Path, build: str = BUILD, test: str = TEST) -> Trial:
    commands = Commands(configure=lambda place: program("import pathlib; pathlib.Path('build/made').write_text('x')"),
                        build=lambda tests: program(build), test=lambda place, name: program(test))
    workshop = Workshop(tree, tree.parent / "out" / "copy", commands)
    workshop.take_sources()
    return Trial(workshop, [Reach("src/", ("tests/test_a.py",))])


def doubled(name: str) -> Change:
    """The change of a constant from 1 to 2."""
    line = [entry.split()[1] for entry in TEXT.splitlines()].index(name) + 1
    return next(change for change in changes(SOURCE, TEXT) if change.line == line and change.replacement == "2")


def contents(tree: Path) -> dict[str, str]:
    return {str(file.relative_to(tree)): file.read_text() for file in tree.rglob("*")
            if file.is_file() and ".git" not in file.relative_to(tree).parts}


def is_alive(pid: int) -> bool:
    try:
        state = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0]
    except FileNotFoundError:
        return False
    return state != "Z"


def test_each_outcome(tree: Path, capsys: pytest.CaptureFixture[str]) -> None:
    before = contents(tree)
    trial = make_trial(tree)
    survivors = tree.parent / "out" / "survivors.txt"
    assert try_all(trial, [doubled(name) for name in OUTCOMES], survivors, slack=5) == 0
    lines = capsys.readouterr().out.splitlines()
    told = [line for line in lines if line.startswith("[")]
    for number, (name, outcome) in enumerate(OUTCOMES.items(), 1):
        assert told[number - 1].startswith(
            f"[{number}/{len(OUTCOMES)}] {outcome.value}: {SOURCE}:{number}: constant: 1 -> 2 ("), name
    assert "(tests/test_a.py::test_seen, " in told[0]
    assert "(the list of the unit tests, " in told[5]
    assert re.fullmatch(r"all +6 +1 +1 +3 +1 +75 %", lines[-2])
    assert lines[-1] == f"the survivors: {survivors}"
    text = survivors.read_text()
    assert text.splitlines()[0] == f"{SOURCE}:2: constant: 1 -> 2"
    assert "-int lost = 1;\n+int lost = 2;\n" in text
    assert text.endswith("not noticed by\n    tests/test_a.py\n")
    assert text.count("constant") == 1
    # Everything is as it was, in the tree and in the copy, and nothing is left running.
    assert contents(tree) == before
    assert (trial.workshop.copy / SOURCE).read_text() == TEXT
    child = int((trial.workshop.copy / "build" / "child").read_text())
    for _ in range(100):
        if not is_alive(child):
            break
        time.sleep(0.05)
    assert not is_alive(child)


def test_a_tree_that_fails_unchanged_is_told(tree: Path, capsys: pytest.CaptureFixture[str]) -> None:
    survivors = tree.parent / "out" / "survivors.txt"
    (tree / SOURCE).write_text(TEXT.replace("seen = 1", "seen = 2"))
    assert try_all(make_trial(tree), [doubled("lost")], survivors) == 1
    assert "tests/test_a.py fails without any change:\nFAILED tests/test_a.py::test_seen" in capsys.readouterr().err
    (tree / SOURCE).write_text(TEXT.replace("wrong = 1", "wrong = 2"))
    assert try_all(make_trial(tree), [doubled("lost")], survivors) == 1
    assert "the unchanged tree cannot be built:\nerror: wrong" in capsys.readouterr().err
    assert not survivors.exists()


def test_a_failing_configuration_is_told_and_tried_again(tree: Path) -> None:
    trial = make_trial(tree)
    broken = Commands(lambda place: program("import sys; sys.exit('no compiler')"), trial.workshop.commands.build,
                      trial.workshop.commands.test)
    for _ in range(2):
        other = Trial(Workshop(tree, trial.workshop.copy, broken), trial.table)
        with pytest.raises(UnchangedFails, match="cannot be configured:\nno compiler"):
            list(other.check_unchanged([doubled("lost")]))
    assert len(list(trial.check_unchanged([doubled("lost")]))) == 2
    assert trial.workshop.configure() is None


def test_the_copy_follows_the_tree(tree: Path) -> None:
    shop = make_trial(tree).workshop
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
    first, second = make_trial(tree).workshop, make_trial(tree).workshop
    with first.reserve():
        with pytest.raises(Occupied, match="another run is at work in .*/out/copy$"):
            second.reserve()
    second.reserve().close()


def test_commands_see_the_copy(tree: Path) -> None:
    shop = make_trial(tree).workshop
    shop.take_sources()
    (shop.copy / SOURCE).write_text("changed")
    run = shop.run(program(f"import os; print(os.getcwd(), open({str(shop.place / SOURCE)!r}).read())"))
    assert (run.code, run.output) == (0, f"{shop.place} changed\n")
    assert (tree / SOURCE).read_text() == TEXT


def test_the_share_leaves_out_what_no_test_can_notice() -> None:
    def verdict(part: str, outcome: Outcome) -> Verdict:
        return Verdict(Change(f"{part}/a.cpp", "constant", 1, 0, 1, "2"), outcome, "", 0)

    lines = summary([verdict("host", Outcome.NO_PROGRAM), verdict("runtime/native", Outcome.SURVIVED),
                     verdict("runtime/native", Outcome.NOTICED), verdict("runtime/native", Outcome.SAME_CODE)])
    assert [line.split() for line in lines[1:]] == [
        ["host", "1", "1", "0", "0", "0", "-"],
        ["runtime/native", "3", "0", "1", "1", "1", "50", "%"],
        ["all", "4", "1", "1", "1", "1", "50", "%"]]

"""Tries changes one after the other: applies, builds, tests and takes back each."""

from __future__ import annotations

import re
import sys
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from enum import Enum
from pathlib import Path

from .changes import Change
from .reach import Reach, reaching
from .sample import part_of
from .workshop import Run, Workshop

# A changed build that takes longer than this is given up.
_BUILD_LIMIT = 3600.0
# The build runs the unit tests to list them: where that fails, the source has been compiled.
_LISTING_FAILED = "Error running test executable"
_FIRST_FAILURE = [
    re.compile(r"^(?:FAILED|ERROR) (\S+)", re.MULTILINE),  # pytest
    re.compile(r"^\s*\d+ - (\S+) \(", re.MULTILINE),  # ctest
]


class Outcome(Enum):
    """What became of a change."""

    NOTICED = "noticed"
    HANGS = "noticed (hangs)"
    SURVIVED = "SURVIVED"
    SAME_CODE = "same code"
    NO_PROGRAM = "does not compile"


@dataclass(frozen=True)
class Verdict:
    """A change with its outcome, and what told it."""

    change: Change
    outcome: Outcome
    by: str
    seconds: float


class UnchangedFails(Exception):
    """The tree fails without any change, so that nothing can be learned from it."""


def first_failure(name: str, run: Run) -> str:
    """The test that a runner names first as failed, or the runner's end."""
    for pattern in _FIRST_FAILURE:
        match = pattern.search(run.output)
        if match:
            return match[1]
    return f"{name} ended with {run.code}"


def _tail(run: Run) -> str:
    return "\n".join(run.output.splitlines()[-40:])


class Trial:
    """A workshop, the map of the tests, and how long each test may take."""

    def __init__(self, workshop: Workshop, table: list[Reach]) -> None:
        self.workshop = workshop
        self.table = table
        self.limits: dict[str, float] = {}

    def check_unchanged(self, changes: Sequence[Change], slack: float = 60.0) -> Iterator[str]:
        """Builds the copy as it was taken and runs all tests that the changes need. A test that passes may later take
        five times as long, and `slack` seconds more. Yields what it has done."""
        wanted = list(dict.fromkeys(test for change in changes for test in reaching(change.path, self.table)))
        run = self.workshop.configure()
        if run is not None and run.code != 0:
            raise UnchangedFails(f"the copy of the tree cannot be configured:\n{_tail(run)}")
        run = self.workshop.build(wanted)
        if run.code != 0:
            raise UnchangedFails(f"the unchanged tree cannot be built:\n{_tail(run)}")
        yield f"built without a change, {run.seconds:.0f} s"
        self.workshop.remember_objects()
        for name in wanted:
            run = self.workshop.test(name)
            if run.code != 0:
                raise UnchangedFails(f"{name} fails without any change:\n{_tail(run)}")
            self.limits[name] = 5 * run.seconds + slack
            yield f"{name} passes, {run.seconds:.0f} s"

    def judge(self, change: Change) -> Verdict:
        """Tries one change. The build that follows takes the source back to what it was."""
        source = self.workshop.copy / change.path
        before = source.read_text()
        tests = reaching(change.path, self.table)
        try:
            source.write_text(change.apply(before))
            return self._judge_written(change, tests)
        finally:
            source.write_text(before)

    def _judge_written(self, change: Change, tests: Sequence[str]) -> Verdict:
        run = self.workshop.build(tests, _BUILD_LIMIT, changed=True)
        seconds = run.seconds
        if run.code != 0:
            if _LISTING_FAILED in run.output:
                return Verdict(change, Outcome.NOTICED, "the list of the unit tests", seconds)
            return Verdict(change, Outcome.NO_PROGRAM, "the compiler", seconds)
        if self.workshop.same_objects():
            return Verdict(change, Outcome.SAME_CODE, "the compiler", seconds)
        for name in tests:
            run = self.workshop.test(name, self.limits[name])
            seconds += run.seconds
            if run.code is None:
                return Verdict(change, Outcome.HANGS, name, seconds)
            if run.code != 0:
                return Verdict(change, Outcome.NOTICED, first_failure(name, run), seconds)
        return Verdict(change, Outcome.SURVIVED, f"{len(tests)} groups of tests pass", seconds)


def summary(verdicts: Sequence[Verdict]) -> list[str]:
    """A line for each part and one for all: what was noticed of that which could be."""
    rows = [(part, [verdict for verdict in verdicts if part_of(verdict.change.path) == part])
            for part in dict.fromkeys(part_of(verdict.change.path) for verdict in verdicts)]
    lines = [f"{'':16}{'changes':>9}{'no program':>12}{'same code':>11}{'noticed':>9}{'survived':>10}{'share':>8}"]
    for name, row in [*rows, ("all", list(verdicts))]:
        counts = {outcome: sum(verdict.outcome is outcome for verdict in row) for outcome in Outcome}
        noticed = counts[Outcome.NOTICED] + counts[Outcome.HANGS]
        judged = noticed + counts[Outcome.SURVIVED]
        share = f"{100 * noticed / judged:.0f} %" if judged else "-"
        lines.append(f"{name:16}{len(row):9}{counts[Outcome.NO_PROGRAM]:12}{counts[Outcome.SAME_CODE]:11}"
                     f"{noticed:9}{counts[Outcome.SURVIVED]:10}{share:>8}")
    return lines


def survivors_text(verdicts: Sequence[Verdict], workshop: Workshop, table: list[Reach]) -> str:
    """The changes that no test noticed: where, what, and by which tests."""
    parts = []
    for verdict in verdicts:
        if verdict.outcome is Outcome.SURVIVED:
            source = (workshop.copy / verdict.change.path).read_text()
            tests = "\n".join(f"    {name}" for name in reaching(verdict.change.path, table))
            parts.append(f"{verdict.change.describe(source)}\n{verdict.change.diff(source)}not noticed by\n{tests}\n")
    return "\n".join(parts)


def try_all(trial: Trial, changes: Sequence[Change], survivors: Path, slack: float = 60.0) -> int:
    """Tries the changes and tells of each, writes the list of survivors, and gives the exit code of the command."""
    try:
        for line in trial.check_unchanged(changes, slack):
            print(line, flush=True)
    except UnchangedFails as failure:
        print(failure, file=sys.stderr)
        return 1
    verdicts: list[Verdict] = []
    survivors.write_text("")
    for number, change in enumerate(changes, 1):
        text = change.describe((trial.workshop.copy / change.path).read_text())
        verdict = trial.judge(change)
        verdicts.append(verdict)
        print(f"[{number}/{len(changes)}] {verdict.outcome.value}: {text} ({verdict.by}, {verdict.seconds:.0f} s)",
              flush=True)
        # After each change, so that a run which is broken off has told what it knows.
        survivors.write_text(survivors_text(verdicts, trial.workshop, trial.table))
    print("\n".join(summary(verdicts)))
    if any(verdict.outcome is Outcome.SURVIVED for verdict in verdicts):
        print(f"the survivors: {survivors}")
    return 0

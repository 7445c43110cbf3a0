"""Tries changes: builds many at once, chooses one after the other, and runs the tests that reach it."""

from __future__ import annotations

import json
import math
import re
import sys
import tempfile
import time
from collections.abc import Callable, Iterator, Sequence
from concurrent.futures import ThreadPoolExecutor, as_completed
from contextlib import contextmanager
from dataclasses import dataclass, replace
from enum import Enum
from pathlib import Path

from . import cases
from .changes import Change
from .equivalents import Equivalents
from .reach import Reach, reaching
from .sample import RUNTIME, part_of
from .schema import Schema, schema
from .workshop import BUILD, Run, Workshop

# A changed build that takes longer than this is given up.
_BUILD_LIMIT = 3600.0
# A test that is not named for any source of the sample, with no change chosen.
_OTHERS_LIMIT = 150.0
# What all of these tests may take for one change, as long as they took without it: of more, an even choice is run.
_OTHERS_SECONDS = 120.0
# The build runs the unit tests to list them: where that fails, the source has been compiled.
_LISTING_FAILED = "Error running test executable"
_FIRST_FAILURE = [
    re.compile(r"^\[  FAILED  \] (\S+?),? ", re.MULTILINE),  # GoogleTest
    re.compile(r"^(?:FAILED|ERROR) (\S+)", re.MULTILINE),  # pytest, and unit_tests.py
]
_REACHED = Path(BUILD) / "reached"


class Outcome(Enum):
    """What became of a change."""

    NOTICED = "noticed"
    HANGS = "noticed (hangs)"
    SURVIVED = "SURVIVED"
    EQUIVALENT = "changes nothing"
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


def first_failure(names: Sequence[str], run: Run) -> str:
    """The test that a runner names first as failed, or the runner's end."""
    for pattern in _FIRST_FAILURE:
        match = pattern.search(run.output)
        if match:
            return match[1]
    return f"{' '.join(names)} ended with {run.code}"


def _tail(run: Run) -> str:
    return "\n".join(run.output.splitlines()[-40:])


def _runs(names: Sequence[str]) -> list[list[str]]:
    """The tests by runs: each folder of unit tests by itself, all files of tests in Python together."""
    python = [name for name in names if name.endswith(".py")]
    return [[name] for name in names if not name.endswith(".py")] + ([python] if python else [])


class Trial:
    """A workshop, the map of the tests, and the changes by their numbers, which begin with one. So many tests run at a
    time as there are jobs. `others` are tests in Python that survivors are tried by wherever they reach them."""

    def __init__(self, workshop: Workshop, table: list[Reach], changes: Sequence[Change],
                 equivalents: Equivalents, jobs: int = 1, others: Sequence[str] = ()) -> None:
        self.workshop = workshop
        self.jobs = jobs
        self.table = table
        self.others = others
        self.changes = dict(enumerate(changes, 1))
        self.equivalents = equivalents
        self.sources = {path: (workshop.copy / path).read_text()
                        for path in sorted({change.path for change in changes})}
        self.limits: dict[str, float] = {}
        self.reached: dict[str, frozenset[int]] = {}  # by the name of a test
        # By the name of a file of tests in Python, its single tests, with what they reach and the seconds they took.
        self.cases: dict[str, dict[str, tuple[frozenset[int], float]]] = {}
        self.no_program: set[int] = set()
        self.alone: set[int] = set()  # the changes that need a build of their own
        self._schemas: dict[str, Schema] = {}

    def prepare(self, slack: float = 60.0) -> Iterator[str]:
        """Builds the copy with the changes in it and runs all tests that they need, with no change chosen. A test that
        passes may later take five times as long, and `slack` seconds more. Yields what it has done."""
        wanted = list(dict.fromkeys(test for change in self.changes.values()
                                    for test in reaching(change.path, self.table)))
        run = self.workshop.configure()
        if run is not None and run.code != 0:
            raise UnchangedFails(f"the copy of the tree cannot be configured:\n{_tail(run)}")
        begun = time.monotonic()
        self._write()
        run = self.workshop.build(wanted)
        while run.code != 0:
            if not self._leave_out(run):
                raise UnchangedFails(f"the unchanged tree cannot be built:\n{_tail(run)}")
            self._write()
            run = self.workshop.build(wanted)
        yield (f"built with {len(self.changes) - len(self.alone) - len(self.no_program)} changes in it, "
               f"{time.monotonic() - begun:.0f} s; {len(self.no_program)} do not compile, "
               f"{len(self.alone)} need builds of their own")
        for name, run in self._run_all_unchanged(wanted, slack):
            if run.code != 0:
                raise UnchangedFails(f"{name} fails without any change:\n{_tail(run)}")
            yield f"{name} passes, {run.seconds:.0f} s, {len(self.reached[name])} changes reached"

    def look_at_others(self, slack: float = 60.0) -> Iterator[str]:
        """Finds out which changes the other tests reach. One that fails without any change, or has no end, is left
        out; yields a line for each of these."""
        names = [name for name in self.others if name not in self.reached]
        for name, run in self._run_all_unchanged(names, slack, _OTHERS_LIMIT):
            if run.code != 0:
                del self.reached[name]
                yield f"{name} {'hangs' if run.code is None else 'fails'} without any change and is left out"

    def _run_all_unchanged(self, names: Sequence[str], slack: float,
                           limit: float | None = None) -> Iterator[tuple[str, Run]]:
        first = len(self.reached)
        with ThreadPoolExecutor(self.jobs) as pool:
            runs = [(name, pool.submit(self._run_unchanged, place, name, limit))
                    for place, name in enumerate(names, first)]
            try:
                for name, future in runs:
                    run, self.reached[name] = future.result()
                    self.limits[name] = 5 * run.seconds + slack
                    yield name, run
            finally:
                pool.shutdown(cancel_futures=True)

    def _run_unchanged(self, place: int, name: str, limit: float | None) -> tuple[Run, frozenset[int]]:
        """Runs a test with no change chosen, and records the changes that it reaches."""
        record = Path(f"{_REACHED}-{place}")
        file, single = self.workshop.copy / record, self.workshop.copy / f"{record}.json"
        file.write_bytes(bytes(max(self.changes) + 1))
        single.unlink(missing_ok=True)
        run = self.workshop.test([name], limit, {cases.REACHED: str(self.workshop.place / record),
                                                 cases.CASES: str(self.workshop.place / f"{record}.json")})
        if run.code == 0 and single.is_file():
            self.cases[name] = {test: (frozenset(numbers), seconds)
                                for test, (numbers, seconds) in json.loads(single.read_text()).items()}
        return run, frozenset(number for number, seen in enumerate(file.read_bytes()) if seen)

    def judge(self, number: int) -> Verdict:
        """Tries one change."""
        change = self.changes[number]
        begun = time.monotonic()
        if number in self.no_program:
            verdict = Verdict(change, Outcome.NO_PROGRAM, "the compiler", 0)
        elif number in self.alone:
            verdict = self._judge_alone(change)
        else:
            names = [name for name in reaching(change.path, self.table) if number in self.reached[name]]
            verdict = self._test(change, names, number)
            if verdict.outcome is Outcome.SURVIVED and any(name in self.cases for name in names):
                # What is set up once for a process is reached by the first test alone, and may be noticed by any.
                whole = [name for name in names if name in self.cases]
                again = self._test(change, whole, number, chosen=False)
                verdict = verdict if again.outcome is Outcome.SURVIVED else again
        if verdict.outcome is Outcome.SURVIVED:
            source = self.sources[change.path]
            if self.equivalents.reason(change, source) is not None:
                verdict = replace(verdict, outcome=Outcome.EQUIVALENT)
            elif change.path.endswith(".cpp"):
                # A header is compiled with each source that includes it; that takes too long.
                objects = self.workshop.objects_of(change.path, source)
                if objects and self.workshop.objects_of(change.path, change.apply(source)) == objects:
                    verdict = replace(verdict, outcome=Outcome.SAME_CODE, by="the compiler")
        return replace(verdict, seconds=time.monotonic() - begun)

    def judge_by_others(self, number: int) -> Verdict:
        """Tries a change by the tests that reach it and are not named for its source, the quickest first."""
        change = self.changes[number]
        names = sorted((name for name in self.reached
                        if number in self.reached[name] and name not in reaching(change.path, self.table)),
                       key=self.limits.__getitem__)
        return self._test(change, names, number, _OTHERS_SECONDS)

    def _test(self, change: Change, names: Sequence[str], number: int | None, seconds: float | None = None,
              chosen: bool = True) -> Verdict:
        """Runs tests with a change that is chosen by its number, or stands in the source if there is none. Single
        tests that do not reach it are left out if they are `chosen`, and where the others took more than `seconds`,
        some of these, too."""
        for group in _runs(names):
            while group:
                run = self._run(group, number, seconds, chosen)
                if run.code == 0:
                    break
                told = first_failure(group, run)
                name = told.split("::")[0]
                if run.code is not None and len(group) > 1 and name in group:
                    # Files that share a process may disturb each other: it has to fail by itself.
                    run = self._run([name], number, seconds, chosen)
                    if run.code == 0:
                        group = [other for other in group if other != name]
                        continue
                    told = first_failure([name], run)
                if run.code is None:
                    return Verdict(change, Outcome.HANGS, " ".join(group), 0)
                return Verdict(change, Outcome.NOTICED, told, 0)
        by = f"{len(names)} groups of tests pass" if names else "no test reaches it"
        return Verdict(change, Outcome.SURVIVED, by, 0)

    def _run(self, names: Sequence[str], number: int | None, seconds: float | None, chosen: bool) -> Run:
        with self._chosen(names, number, seconds, chosen) as environment:
            return self.workshop.test(names, sum(self.limits[name] for name in names), environment)

    @contextmanager
    def _chosen(self, names: Sequence[str], number: int | None, seconds: float | None,
                chosen: bool) -> Iterator[dict[str, str]]:
        """The environment for a run of tests, while the list of the single ones lies there."""
        if number is None:
            yield {}
            return
        # A constant outside of functions is reached once, when its library is loaded.
        made = self._schemas[self.changes[number].path]
        found = [(test, took) for name in names for test, (numbers, took) in self.cases.get(name, {}).items()
                 if number in numbers or number not in made.in_functions]
        if not found or not chosen:
            yield {"ZELMOR_MUTANT": str(number)}
            return
        step = max(1, math.ceil(sum(took for _, took in found) / seconds)) if seconds else 1
        with tempfile.NamedTemporaryFile("w", dir=self.workshop.copy / BUILD, suffix=".json") as file:
            json.dump([test for test, _ in found[::step]], file)
            file.flush()
            yield {"ZELMOR_MUTANT": str(number), cases.ONLY: str(self.workshop.place / BUILD / Path(file.name).name)}

    def _judge_alone(self, change: Change) -> Verdict:
        """Builds the one change. The build that follows takes the source back."""
        source, text = self.workshop.copy / change.path, self.sources[change.path]
        tests = reaching(change.path, self.table)
        try:
            source.write_text(change.apply(text))
            run = self.workshop.build(tests, _BUILD_LIMIT, alone=True)
            if run.code != 0:
                if _LISTING_FAILED in run.output:
                    return Verdict(change, Outcome.NOTICED, "the list of the unit tests", 0)
                return Verdict(change, Outcome.NO_PROGRAM, "the compiler", 0)
            return self._test(change, tests, None)
        finally:
            source.write_text(self._schemas[change.path].text)

    def _write(self) -> None:
        """Brings all changes into the copy that can be there together."""
        for path, text in self.sources.items():
            made = schema(text, {number: change for number, change in self.changes.items()
                                 if change.path == path and number not in self.no_program | self.alone})
            self.alone |= made.alone
            self._schemas[path] = made
            file = self.workshop.copy / path
            if file.read_text() != made.text:
                file.write_text(made.text)

    def _leave_out(self, run: Run) -> bool:
        """Takes out the changes that the compiler complains of; false where there are none."""
        lines = [line for line in run.output.splitlines() if "[-Werror=" not in line]
        errors = [line for line in lines if ": error: " in line]
        for told in (errors, lines):
            places = [(match[1], int(match[2])) for line in told
                      for match in re.finditer(r"([\w./-]+):(\d+):\d+", line)]
            # What does not compile within a function would not do so alone either.
            blamed = {number: self.no_program if number in made.in_functions else self.alone
                      for path, made in self._schemas.items() for place, line in places
                      if f"/{place}".endswith(f"/{path}")
                      for number, (first, last) in made.lines.items() if first <= line <= last}
            for number, group in blamed.items():
                group.add(number)
            if blamed:
                return True
        # The error may be elsewhere: a constant that became a choice is no constant expression for a function of
        # another file, or no value for a template that is instantiated at the end of the declaration. The messages
        # name the source of the change then, though with another line; of a structure whose member begins with the
        # constant they name the choice alone.
        named = {match[1] for line in lines for match in re.finditer(r"([\w./-]+):\d+:\d+", line)}
        remaining = [(path, made, number) for path, made in self._schemas.items()
                     for number in made.lines if number not in self.alone | self.no_program]
        suspects = [(made, number) for path, made, number in remaining
                    if any(f"/{place}".endswith(f"/{path}") for place in named)]
        constants = {number for made, number in suspects if number not in made.in_functions}
        if not constants and any("zelmor_mutants::Either" in line for line in errors):
            constants = {number for _, made, number in remaining if number not in made.in_functions}
        built_alone = constants or {number for _, number in suspects}
        self.alone |= built_alone
        return bool(built_alone)


def summary(verdicts: Sequence[Verdict]) -> list[str]:
    """A line for each part and one for all: what was noticed of that which could be."""
    rows = [(part, [verdict for verdict in verdicts if part_of(verdict.change.path) == part])
            for part in dict.fromkeys(part_of(verdict.change.path) for verdict in verdicts)]
    lines = [f"{'':16}{'changes':>9}{'no program':>12}{'same code':>11}{'equivalent':>12}"
             f"{'noticed':>9}{'survived':>10}{'share':>8}"]
    bridge = [verdict for verdict in verdicts if part_of(verdict.change.path) != RUNTIME]
    if len(rows) > 2 and len(bridge) < len(verdicts):
        rows.append(("the bridge", bridge))
    for name, row in [*rows, ("all", list(verdicts))]:
        counts = {outcome: sum(verdict.outcome is outcome for verdict in row) for outcome in Outcome}
        noticed = counts[Outcome.NOTICED] + counts[Outcome.HANGS]
        judged = noticed + counts[Outcome.SURVIVED]
        share = f"{100 * noticed / judged:.0f} %" if judged else "-"
        lines.append(f"{name:16}{len(row):9}{counts[Outcome.NO_PROGRAM]:12}{counts[Outcome.SAME_CODE]:11}"
                     f"{counts[Outcome.EQUIVALENT]:12}"
                     f"{noticed:9}{counts[Outcome.SURVIVED]:10}{share:>8}")
    return lines


def survivors_text(verdicts: Sequence[Verdict], trial: Trial) -> str:
    """The changes that no test noticed: where, what, and by which tests."""
    parts = []
    for verdict in verdicts:
        if verdict.outcome is Outcome.SURVIVED:
            source = trial.sources[verdict.change.path]
            tests = "\n".join(f"    {name}" for name in reaching(verdict.change.path, trial.table))
            parts.append(f"{verdict.change.describe(source)} ({verdict.by})\n{verdict.change.diff(source)}"
                         f"not noticed by\n{tests}\n")
    return "\n".join(parts)


def try_all(trial: Trial, survivors: Path, slack: float = 60.0, seconds: float = float("inf")) -> int:
    """Tries the changes, or as many as the time is enough for, and tells of each; writes the list of survivors, and
    gives the exit code of the command."""
    end = time.monotonic() + seconds
    try:
        for line in trial.prepare(slack):
            print(line, flush=True)
    except UnchangedFails as failure:
        print(failure, file=sys.stderr)
        return 1
    verdicts: dict[int, Verdict] = {}
    survivors.write_text("")

    def tell(number: int, verdict: Verdict) -> None:
        verdicts[number] = verdict
        text = verdict.change.describe(trial.sources[verdict.change.path])
        print(f"[{number}/{len(trial.changes)}] {verdict.outcome.value}: {text} ({verdict.by}, "
              f"{verdict.seconds:.0f} s)", flush=True)
        # After each change, so that a run which is broken off has told what it knows.
        survivors.write_text(survivors_text([verdict for _, verdict in sorted(verdicts.items())], trial))

    def in_time(judge: Callable[[int], Verdict], number: int) -> Verdict | None:
        return judge(number) if time.monotonic() < end else None

    def judge_all(judge: Callable[[int], Verdict], numbers: Sequence[int], jobs: int) -> Iterator[tuple[int, Verdict]]:
        with ThreadPoolExecutor(jobs) as pool:
            begun = {pool.submit(in_time, judge, number): number for number in numbers}
            for future in as_completed(begun):
                verdict = future.result()
                if verdict is not None:
                    yield begun[future], verdict

    for number, verdict in judge_all(trial.judge, [n for n in trial.changes if n not in trial.alone], trial.jobs):
        tell(number, verdict)
    lost = [number for number, verdict in verdicts.items() if verdict.outcome is Outcome.SURVIVED]
    if lost and time.monotonic() < end:
        for line in trial.look_at_others(slack):
            print(line, flush=True)
    for number, again in judge_all(trial.judge_by_others, lost, trial.jobs):
        if again.outcome is not Outcome.SURVIVED:
            tell(number, replace(again, by=f"{again.by}, which the map does not name"))
    # Each changes the sources, so that nothing else can run beside it.
    for number, verdict in judge_all(trial.judge, sorted(trial.alone), 1):
        tell(number, verdict)
    print("\n".join(summary([verdict for _, verdict in sorted(verdicts.items())])))
    if any(verdict.outcome is Outcome.SURVIVED for verdict in verdicts.values()):
        print(f"the survivors: {survivors}")
    return 0

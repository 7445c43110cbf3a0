"""Running the jobs of a command: what is planned, what is shown, what the exit status is."""

from __future__ import annotations

import argparse
import json
import os
import shutil
import sys
import tempfile
from collections.abc import Callable, Iterable, Sequence
from types import TracebackType
from typing import Any

from zelmor import batch
from zelmor.batch import Inspect, Job, Outcome, Report
from zelmor.batch.report import FAILED
from zelmor.command.errors import EndedError, UsageError
from zelmor.command.inputs import STANDARD, Input, Missing, Naming, expand
from zelmor.command.progress import Progress, error_of

#: Makes the job for an input and its target.
Maker = Callable[[Input, str], Job]


class Work:
    """The inputs of a command, and all that is done with them. Temporary files last as long as the context."""

    def __init__(self, arguments: argparse.Namespace) -> None:
        self.arguments = arguments
        self._scratch = ""
        self._names: dict[str, str] = {}
        #: Arguments that stand for no file: failures from the start.
        self.failures: list[Outcome] = []
        self.inputs: list[Input] = []

    def __enter__(self) -> Work:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        if self._scratch:
            shutil.rmtree(self._scratch, ignore_errors=True)

    def scratch(self) -> str:
        """A folder for temporary files."""
        if not self._scratch:
            self._scratch = tempfile.mkdtemp(prefix="zelmor-")
        return self._scratch

    def called(self, path: str) -> str:
        """How people call a file: the argument, and not the absolute or temporary path."""
        if path in self._names:
            return self._names[path]
        inside = os.path.relpath(path) if os.path.isabs(path) else path
        return path if inside.startswith(os.pardir) else inside

    def rename(self, path: str, name: str) -> None:
        """Lets a file be called by this name."""
        self._names[os.path.abspath(path)] = name

    def take(self, arguments: Sequence[str] | None = None) -> list[Input]:
        """The inputs that the arguments name."""
        listed = self.arguments.inputs if arguments is None else arguments
        for each in expand(listed, getattr(self.arguments, "recursive", False), self.scratch):
            if isinstance(each, Missing):
                self.fail(each.name, each.reason)
            else:
                self.rename(each.path, each.name)
                self.inputs.append(each)
        return self.inputs

    def fail(self, name: str, reason: str) -> None:
        """Notes that there is nothing to be done for an argument."""
        self.failures.append(Outcome(Inspect(name), FAILED, error=reason, error_type="FileNotFoundError"))

    def jobs(self, naming: Naming, make: Maker) -> list[Job]:
        """A job for each input, with the place for its result."""
        if naming.is_one_file() and len(self.inputs) > 1:
            raise UsageError(f"{len(self.inputs)} inputs and one file for the results: name a folder (with a / at its "
                             "end), or a pattern with {stem}")
        if naming.output == STANDARD and len(self.inputs) > 1:
            raise UsageError(f"standard output takes one result, and there are {len(self.inputs)} inputs")
        made = []
        for each in self.inputs:
            target = self.target(naming, each)
            if not naming.in_place and os.path.abspath(target) == os.path.abspath(each.path):
                self.fail(each.name, "the result would replace the input: name another place with --output or "
                                     "--suffix, or allow it with --in-place")
                continue
            self.rename(target, self._names.get(os.path.abspath(target), target))
            made.append(make(each, target))
        return made

    def target(self, naming: Naming, source: Input) -> str:
        """The path of the result; of what goes to standard output a temporary one."""
        if naming.output == STANDARD or (naming.output is None and source.name == STANDARD):
            if sys.stdout.isatty():
                raise UsageError("a picture is not written to a terminal: name a file with --output")
            if naming.number:
                raise UsageError("several results do not go to standard output: name a folder with --output")
            named = Naming(os.path.join(self.scratch(), "out") + "/", naming.to, extension=naming.extension)
            target = named.target(source)
            self.rename(target, STANDARD)
            return target
        return naming.target(source)

    def run(self, jobs: Sequence[Job], quiet: bool = False) -> Report:
        """Does the jobs, with a journal and progress as the arguments say."""
        arguments = self.arguments
        if arguments.jobs and arguments.cluster:
            raise UsageError("--jobs is for processes here, and --cluster says that the work is done elsewhere")
        with Progress(len(jobs), quiet or arguments.quiet, self.called) as progress:
            for failure in self.failures:
                progress.tell(failure)
            try:
                report = batch.run(jobs, processes=arguments.jobs, cluster=arguments.cluster,
                                   journal=getattr(arguments, "journal", ""), observer=progress.tell)
            except batch.ClusterLost as error:
                raise EndedError(str(error)) from None
            except (batch.ClusterError, batch.JournalError) as error:
                raise UsageError(str(error)) from None
        return Report((*self.failures, *report.outcomes), report.seconds)

    def finish(self, jobs: Sequence[Job]) -> int:
        """Does jobs that make files: dry or really, with a report at the end; returns the exit status."""
        if self.arguments.dry_run:
            return self._plan(jobs)
        standard = any(self.called(os.path.abspath(job.writes)) == STANDARD for job in jobs)
        if standard and self.arguments.json:
            raise UsageError("standard output takes either the picture or --json")
        report = self.run(jobs)
        for outcome in report.done:
            for path, _ in outcome.results:
                if self.called(path) == STANDARD:
                    with open(path, "rb") as file:
                        shutil.copyfileobj(file, sys.stdout.buffer)
        if self.arguments.json:
            self.print_json(self._named(report.to_data()))
        self.tell_end(report)
        return 1 if report.failed else 0

    def tell_end(self, report: Report) -> None:
        """The last lines: what was done, and what failed."""
        if len(report.outcomes) > 1 and not self.arguments.quiet:
            print(f"zelmor: {report}", file=sys.stderr)
        if len(report.outcomes) > 1 and report.failed:
            print("zelmor: failed:", file=sys.stderr)
            for outcome in report.failed:
                names = ", ".join(map(self.called, outcome.job.reads))
                print(f"  {names}: {error_of(outcome, self.called)}", file=sys.stderr)

    def _plan(self, jobs: Iterable[Job]) -> int:
        """Says what would be done; the exit status tells whether something would fail."""
        planned: list[dict[str, Any]] = [
            {"sources": list(failure.job.reads), "problem": failure.error} for failure in self.failures]
        targets: set[str] = set()
        for job in [batch.absolute(job) for job in jobs]:
            entry: dict[str, Any] = {"sources": list(job.reads), "target": job.writes}
            if job.writes in targets:
                entry["problem"] = "another input has the same target"
            elif os.path.lexists(job.writes) and not job.may_overwrite:
                entry["problem"] = "it exists; --overwrite replaces it"
            targets.add(job.writes)
            planned.append(entry)
        planned = self._named(planned)
        if self.arguments.json:
            self.print_json(planned)
        else:
            for entry in planned:
                target = f" -> {entry['target']}" if "target" in entry else ""
                problem = f": {entry['problem']}" if "problem" in entry else ""
                print(", ".join(entry["sources"]) + target + problem)
        return 1 if any("problem" in entry for entry in planned) else 0

    def _named(self, data: Any) -> Any:
        """Data for people and programs outside, with the names of files in them."""
        if isinstance(data, dict):
            return {key: self._named(value) for key, value in data.items()}
        if isinstance(data, list):
            return [self._named(value) for value in data]
        return self.called(data) if isinstance(data, str) and os.path.isabs(data) else data

    @staticmethod
    def print_json(data: Any) -> None:
        """JSON on standard output."""
        print(json.dumps(data, indent=2, ensure_ascii=False))

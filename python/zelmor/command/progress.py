"""Showing how far the work is: a bar on a terminal, lines elsewhere."""

from __future__ import annotations

import sys
from collections.abc import Callable
from types import TracebackType
from typing import Any

from zelmor.batch import Outcome
from zelmor.batch.report import DONE, FAILED


def size_text(count: int) -> str:
    """A number of bytes for people."""
    amount = float(count)
    for unit in ("B", "KB", "MB"):
        if amount < 1000:
            return f"{amount:.0f} {unit}" if unit == "B" or amount >= 10 else f"{amount:.1f} {unit}"
        amount /= 1000
    return f"{amount:.1f} GB"


def error_of(outcome: Outcome, called: Callable[[str], str]) -> str:
    """The error of an outcome, with the names of files that people know."""
    text = outcome.error
    for path in (outcome.job.writes, *outcome.job.reads):
        text = text.replace(path, called(path)) if path else text
    return text


def line(outcome: Outcome, called: Callable[[str], str]) -> str:
    """What became of a job, in one line. `called` gives the name of a path for people."""
    names = ", ".join(map(called, outcome.job.reads[:3])) + (", ..." if len(outcome.job.reads) > 3 else "")
    if outcome.status == FAILED:
        return f"{names}: {error_of(outcome, called)}"
    if outcome.status != DONE:
        return f"{names}: done before"
    if not outcome.results:
        return names
    targets = [called(path) for path, _ in outcome.results]
    shown = targets[0] if len(targets) == 1 else f"{targets[0]} ... {targets[-1]}"
    sizes = f"{outcome.details['before']} -> {outcome.details['after']}, " if "before" in outcome.details else ""
    amount = size_text(sum(size for _, size in outcome.results))
    note = f" ({outcome.note})" if outcome.note else ""
    return f"{names} -> {shown}  {sizes}{amount}, {outcome.seconds:.2f} s{note}"


class Progress:
    """Tells people what becomes of jobs, on standard error."""

    def __init__(self, total: int, quiet: bool, called: Callable[[str], str]) -> None:
        self._quiet = quiet
        self._called = called
        self._bar: Any = None
        if not quiet and total > 1 and sys.stderr.isatty():
            self._bar = _make_bar(total)

    def __enter__(self) -> Progress:
        if self._bar is not None:
            self._bar.start()
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        if self._bar is not None:
            self._bar.stop()

    def tell(self, outcome: Outcome) -> None:
        """Takes note of an outcome."""
        if outcome.status == FAILED:
            self._say(f"zelmor: {line(outcome, self._called)}")
        elif self._bar is None and not self._quiet and outcome.job.writes:
            self._say(line(outcome, self._called))
        if self._bar is not None:
            self._bar.advance(self._bar.task_ids[0])

    def _say(self, text: str) -> None:
        if self._bar is not None:
            self._bar.console.print(text, markup=False, highlight=False, soft_wrap=True)
        else:
            print(text, file=sys.stderr, flush=True)


def _make_bar(total: int) -> Any:
    """A bar with rate and remaining time, or None without the package rich."""
    try:
        from rich import progress
        from rich.console import Console
        from rich.text import Text
    except ImportError:
        return None

    class Rate(progress.ProgressColumn):
        """Files a second."""

        def render(self, task: progress.Task) -> Text:
            return Text(f"{task.speed:.1f}/s" if task.speed else "", style="progress.data.speed")

    bar = progress.Progress(progress.BarColumn(), progress.MofNCompleteColumn(), Rate(),
                            progress.TimeRemainingColumn(), console=Console(stderr=True))
    bar.add_task("", total=total)
    return bar

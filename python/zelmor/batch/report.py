"""What became of jobs."""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import dataclass, field
from typing import Any

from zelmor.batch.jobs import Job

DONE, SKIPPED, FAILED = "done", "skipped", "failed"


@dataclass(frozen=True)
class Outcome:
    """What became of one job: done, skipped because an earlier run did it, or failed."""

    job: Job
    status: str
    #: The files that were made, with their sizes in bytes.
    results: tuple[tuple[str, int], ...] = ()
    error: str = ""
    #: The type of the error, by the name that it has in the library.
    error_type: str = ""
    #: What the job found out, such as the sizes before and after.
    details: dict[str, Any] = field(default_factory=dict)
    note: str = ""
    seconds: float = 0.0
    #: How many workers were given the job; more than one if workers were lost.
    attempts: int = 1

    def to_data(self) -> dict[str, Any]:
        """The outcome as values that JSON has; what is empty is left out."""
        data: dict[str, Any] = {"status": self.status, "sources": list(self.job.reads)}
        if self.results:
            data["results"] = [{"path": path, "bytes": size} for path, size in self.results]
        for name in ("error", "error_type", "details", "note"):
            if getattr(self, name):
                data[name] = getattr(self, name)
        return data | {"seconds": round(self.seconds, 3), "attempts": self.attempts}


@dataclass(frozen=True)
class Report:
    """What became of all jobs, in their order, and how long it took."""

    outcomes: tuple[Outcome, ...]
    seconds: float

    def _with(self, status: str) -> list[Outcome]:
        return [outcome for outcome in self.outcomes if outcome.status == status]

    @property
    def done(self) -> list[Outcome]:
        """The jobs that were done."""
        return self._with(DONE)

    @property
    def skipped(self) -> list[Outcome]:
        """The jobs that an earlier run had done."""
        return self._with(SKIPPED)

    @property
    def failed(self) -> list[Outcome]:
        """The jobs that failed."""
        return self._with(FAILED)

    @property
    def retried(self) -> int:
        """How many workers were lost with a job in their hands."""
        return sum(outcome.attempts - 1 for outcome in self.outcomes)

    def to_data(self) -> dict[str, Any]:
        """The report as values that JSON has."""
        return {"done": len(self.done), "skipped": len(self.skipped), "failed": len(self.failed),
                "retried": self.retried, "seconds": round(self.seconds, 3),
                "jobs": [outcome.to_data() for outcome in self.outcomes]}

    def __str__(self) -> str:
        """One line."""
        parts = [f"{len(self.done)} done", f"{len(self.skipped)} skipped", f"{len(self.failed)} failed"]
        lost = f", {self.retried} retried" if self.retried else ""
        return f"{', '.join(parts)}{lost} in {self.seconds:.1f} s"


def merged(reports: Iterable[Report]) -> Report:
    """One report for several runs, one after the other."""
    parts = list(reports)
    return Report(tuple(outcome for part in parts for outcome in part.outcomes), sum(part.seconds for part in parts))

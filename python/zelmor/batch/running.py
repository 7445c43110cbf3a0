"""Running jobs: hands them to workers, gives their files names, keeps the journal, and reports."""

from __future__ import annotations

import contextlib
import json
import os
import secrets
import time
from collections import deque
from collections.abc import Callable, Iterable
from dataclasses import dataclass
from typing import Any

from zelmor.batch import jobs
from zelmor.batch.journal import Journal
from zelmor.batch.publishing import draft_folder, publish, remove_drafts
from zelmor.batch.report import DONE, FAILED, SKIPPED, Outcome, Report
from zelmor.batch.version import VERSION
from zelmor.batch.workers import LocalWorkers, Reply, Workers, processors

#: Is told the outcome of each job when it is known.
Observer = Callable[[Outcome], None]


def run(work: Iterable[jobs.Job], *, processes: int | None = None, cluster: str = "", journal: str = "",
        attempts: int = 3, observer: Observer | None = None) -> Report:
    """Does all jobs, and reports what became of each; a job that fails does not stop the others.

    The jobs are done by so many processes here (without a number, one for each processor), or by the workers of the
    Dask cluster with the address `cluster`. With the path of a journal, jobs that an earlier run with this journal did
    are skipped: those whose sources, options, version and results are what they were. A job whose worker is lost is
    given to another one, up to so many attempts.

    An interrupt ends all work at once; files are complete or not there.
    """
    if attempts < 1:
        raise ValueError(f"{attempts} attempts are too few")
    todo = [jobs.absolute(job) for job in work]
    if processes is not None and cluster:
        raise ValueError("processes here or a cluster: both are not possible")
    if cluster:
        from zelmor.batch.cluster import ClusterWorkers

        workers: Workers = ClusterWorkers(cluster)
    else:
        workers = LocalWorkers(processors() if processes is None else processes)
    with contextlib.closing(_Run(todo, workers, journal, attempts, observer)) as running:
        return running.report()


@dataclass
class _Ticket:
    """A job on its way: its place in the list, its fingerprint if the journal has it, how often it was handed out."""

    index: int
    job: jobs.Job
    fingerprint: str
    attempts: int = 0


def _prefix(ticket: _Ticket) -> str:
    """The names of the folders of a job's drafts begin with it."""
    return f"{ticket.index}-"


class _Run:
    """One run over a list of jobs."""

    def __init__(self, work: list[jobs.Job], workers: Workers, journal: str, attempts: int,
                 observer: Observer | None) -> None:
        self._started = time.monotonic()
        self._workers = workers
        self._attempts = attempts
        self._observer = observer
        self._id = secrets.token_hex(6)
        self._drafts: set[str] = set()
        self._outcomes: dict[int, Outcome] = {}
        self._waiting = deque(_Ticket(index, job, jobs.fingerprint(job, VERSION) if journal and job.writes else "")
                              for index, job in enumerate(work))
        self._out: dict[int, _Ticket] = {}
        self._journal: Journal | None = None
        try:
            self._journal = Journal(journal, self._id, VERSION) if journal else None
        except BaseException:
            workers.close()
            raise
        if self._journal is not None:
            for folder in self._journal.old_drafts:
                remove_drafts(folder)

    def report(self) -> Report:
        """Does all jobs."""
        self._refuse_twice()
        while self._waiting or self._out:
            while self._waiting and len(self._out) < self._workers.capacity:
                self._hand_out(self._waiting.popleft())
            if self._out:
                self._take(self._workers.wait())
        return Report(tuple(self._outcomes[index] for index in sorted(self._outcomes)),
                      time.monotonic() - self._started)

    def close(self) -> None:
        """Ends workers that still have something to do, and removes drafts."""
        self._workers.close()
        for folder in self._drafts:
            remove_drafts(folder)
        if self._journal is not None:
            self._journal.close()

    def _refuse_twice(self) -> None:
        """Jobs whose target is that of an earlier one fail: which file would stay would be left to chance."""
        targets: dict[str, jobs.Job] = {}
        for ticket in list(self._waiting):
            target = ticket.job.writes
            if not target:
                continue
            if target in targets:
                self._waiting.remove(ticket)
                self._fail(ticket, f"{target} is made of {', '.join(targets[target].reads)} already", "ValueError")
            else:
                targets[target] = ticket.job

    def _hand_out(self, ticket: _Ticket) -> None:
        known = self._journal.known.get(ticket.fingerprint) if self._journal is not None else None
        target = ticket.job.writes
        if target and not known and not ticket.job.may_overwrite and os.path.lexists(target):
            self._fail(ticket, f"{target} exists", "FileExistsError")
            return
        try:
            drafts = self._draft_folder(os.path.dirname(target)) if target else ""
        except OSError as error:
            self._fail(ticket, str(error), type(error).__name__)
            return
        ticket.attempts += 1
        self._out[ticket.index] = ticket
        self._workers.submit(ticket.index, json.dumps({
            "version": VERSION, "job": jobs.to_data(ticket.job), "drafts": drafts, "prefix": _prefix(ticket),
            "known": known, "digests": bool(ticket.fingerprint)}, ensure_ascii=True))

    def _draft_folder(self, target_folder: str) -> str:
        folder = draft_folder(target_folder, self._id)
        if folder not in self._drafts:
            os.makedirs(target_folder, exist_ok=True)
            self._drafts.add(folder)
            if self._journal is not None:
                self._journal.drafts(folder)
            os.mkdir(folder)
        return folder

    def _take(self, replies: list[Reply]) -> None:
        """Takes what workers replied. All that became ready is noted in the journal before any of it is published."""
        ready = []
        for reply in replies:
            ticket = self._out.pop(reply.ticket)
            if reply.lost:
                self._lost(ticket, reply)
                continue
            self._count_attempts(ticket)
            answer = json.loads(reply.answer)
            if answer["status"] == FAILED:
                self._fail(ticket, answer["error"], answer["type"], answer["seconds"])
            elif answer["status"] == SKIPPED:
                self._finish(ticket, Outcome(ticket.job, SKIPPED, seconds=answer["seconds"],
                                             attempts=ticket.attempts))
            else:
                ready.append((ticket, answer))
        noted = [(ticket, answer) for ticket, answer in ready if ticket.fingerprint]
        if self._journal is not None and noted:
            for ticket, answer in noted:
                self._journal.ready(ticket.fingerprint, answer["sources"], answer["results"])
            self._journal.sync()
        for ticket, answer in ready:
            self._publish(ticket, answer)

    def _publish(self, ticket: _Ticket, answer: dict[str, Any]) -> None:
        results = answer["results"]
        try:
            publish([(result["draft"], result["path"]) for result in results], ticket.job.may_overwrite,
                    adopt=bool(ticket.fingerprint))
        except (OSError, RuntimeError) as error:
            self._fail(ticket, str(error), type(error).__name__, answer["seconds"])
            return
        if self._journal is not None and ticket.fingerprint:
            self._journal.done(ticket.fingerprint)
        self._finish(ticket, Outcome(
            ticket.job, DONE, tuple((result["path"], result["size"]) for result in results),
            details=answer.get("details", {}), note=answer.get("note", ""), seconds=answer["seconds"],
            attempts=ticket.attempts))

    def _own_drafts(self, ticket: _Ticket) -> list[str]:
        """The folders that attempts of the job have made, one each."""
        folder = draft_folder(os.path.dirname(ticket.job.writes), self._id) if ticket.job.writes else ""
        if folder not in self._drafts:
            return []
        return [entry.path for entry in os.scandir(folder) if entry.name.startswith(_prefix(ticket))]

    def _count_attempts(self, ticket: _Ticket) -> None:
        """A cluster gives a job of a lost worker to another one by itself: the drafts tell."""
        ticket.attempts = max(ticket.attempts, len(self._own_drafts(ticket)))

    def _lost(self, ticket: _Ticket, reply: Reply) -> None:
        if ticket.attempts < self._attempts and not reply.final:
            self._waiting.appendleft(ticket)
        else:
            self._fail(ticket, f"given up after {ticket.attempts} attempts: {reply.lost}", "WorkerLost")

    def _fail(self, ticket: _Ticket, error: str, kind: str, seconds: float = 0.0) -> None:
        if self._journal is not None and ticket.fingerprint:
            self._journal.failed(ticket.fingerprint, error)
        self._finish(ticket, Outcome(ticket.job, FAILED, error=error, error_type=kind, seconds=seconds,
                                     attempts=max(1, ticket.attempts)))

    def _finish(self, ticket: _Ticket, outcome: Outcome) -> None:
        self._outcomes[ticket.index] = outcome
        for folder in self._own_drafts(ticket):
            remove_drafts(folder)
        if self._observer is not None:
            self._observer(outcome)

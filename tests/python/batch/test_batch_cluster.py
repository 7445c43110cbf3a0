"""Runs over a real cluster on this machine: a scheduler and worker processes of their own, one of which is killed."""

from __future__ import annotations

import json
import os
import signal
import subprocess
import sys
import time
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

import numpy as np
import pytest
from zelmor import batch
from zelmor.command import main

from support.image_oracles import noise, read, write
from support.places import BUILD_DIR

pytest.importorskip("distributed", reason="python3-distributed is not installed")

WORKERS = 3
#: Seconds that the processes may take to start, on a machine with much other work.
PATIENCE = 300


class Cluster:
    """A scheduler and its workers, which keep their files in a folder."""

    def __init__(self, folder: Path) -> None:
        self._folder = folder
        self._file = folder / "scheduler.json"
        self._processes: list[subprocess.Popen[bytes]] = []
        self._log = (folder / "log").open("wb")
        self._start("distributed.cli.dask_scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard",
                    "--scheduler-file", str(self._file))
        end = time.monotonic() + PATIENCE
        while not (self._file.exists() and self._file.read_text().endswith("}")):
            assert time.monotonic() < end, (folder / "log").read_text()
            time.sleep(0.05)
        self.scheduler = self._processes[0]
        self.address: str = json.loads(self._file.read_text())["address"]
        self.workers = [self.add_worker() for _ in range(WORKERS)]

    def _start(self, module: str, *arguments: str) -> subprocess.Popen[bytes]:
        process = subprocess.Popen([sys.executable, "-m", module, *arguments], stdout=self._log, stderr=self._log,
                                   cwd=self._folder, env=dict(os.environ, PYTHONPATH=str(BUILD_DIR / "python")))
        self._processes.append(process)
        return process

    def add_worker(self) -> subprocess.Popen[bytes]:
        """A worker process with one thread, which nobody starts again."""
        return self._start("distributed.cli.dask_worker", self.address, "--no-nanny", "--nthreads", "1",
                           "--no-dashboard", "--local-directory", str(self._folder))

    def wait(self) -> None:
        """Waits until all workers are there."""
        import distributed

        with distributed.Client(self.address, set_as_default=False) as client:
            client.wait_for_workers(WORKERS, timeout=PATIENCE)

    def close(self) -> None:
        """Ends all processes."""
        for process in self._processes:
            process.kill()
        for process in self._processes:
            process.wait()
        self._processes.clear()
        self._log.close()


@pytest.fixture
def cluster(tmp_path: Path) -> Iterator[Cluster]:
    """A cluster for one test."""
    (tmp_path / "cluster").mkdir()
    made = Cluster(tmp_path / "cluster")
    try:
        made.wait()
        yield made
    finally:
        made.close()


def test_a_worker_is_killed_in_the_middle(tmp_path: Path, cluster: Cluster) -> None:
    inputs = [Path(write(tmp_path / f"{index}.png", noise(3, index, 300))) for index in range(16)]
    out, journal = tmp_path / "out", tmp_path / "journal"
    jobs = [batch.Convert(str(path), str(out / f"{path.stem}.webp")) for path in inputs]
    jobs.append(batch.Convert(str(tmp_path / "none.png"), str(out / "none.webp")))
    seen: list[batch.Outcome] = []

    def kill_one(outcome: batch.Outcome) -> None:
        seen.append(outcome)
        if len(seen) == 2:
            cluster.workers[0].send_signal(signal.SIGKILL)

    report = batch.run(jobs, cluster=cluster.address, journal=str(journal), observer=kill_one)
    assert cluster.workers[0].wait(timeout=10) == -signal.SIGKILL
    assert (len(report.done), len(report.failed)) == (16, 1), report.to_data()
    for path in inputs:
        assert np.array_equal(read(out / f"{path.stem}.webp"), read(path))
    assert sorted(path.name for path in out.iterdir()) == sorted(f"{path.stem}.webp" for path in inputs)
    lines = [json.loads(line) for line in journal.read_text().splitlines()]
    done = [line["done"] for line in lines if "done" in line]
    assert len(done) == len(set(done)) == 16 and sum("ready" in line for line in lines) == 16

    # The same work by processes here: the journal and the jobs are the same for both.
    made = {path: path.stat().st_ino for path in out.iterdir()}
    again = batch.run(jobs, processes=1, journal=str(journal))
    assert (len(again.skipped), len(again.failed)) == (16, 1)
    assert {path: path.stat().st_ino for path in out.iterdir()} == made

    # And the command, on the workers that are left.
    assert main(["convert", str(inputs[0]), str(inputs[1]), "--to", "bmp", "-o", f"{tmp_path / 'command'}/", "--quiet",
                 "--cluster", cluster.address]) == 0
    for path in inputs[:2]:
        assert np.array_equal(read(tmp_path / "command" / f"{path.stem}.bmp"), read(path))


@contextmanager
def connecting_for(seconds: float) -> Iterator[None]:
    """How long a client tries to reach its scheduler."""
    import dask

    with dask.config.set({"distributed.comm.timeouts.connect": f"{seconds}s"}):
        yield


def test_the_scheduler_is_killed_in_the_middle(tmp_path: Path, cluster: Cluster) -> None:
    """The run ends with an error, its journal is true, and another run goes on."""
    inputs = [Path(write(tmp_path / f"{index}.png", noise(3, index, 300))) for index in range(16)]
    out, journal = tmp_path / "out", tmp_path / "journal"
    jobs = [batch.Convert(str(path), str(out / f"{path.stem}.webp")) for path in inputs]
    seen: list[batch.Outcome] = []

    def kill_scheduler(outcome: batch.Outcome) -> None:
        seen.append(outcome)
        if len(seen) == 2:
            cluster.scheduler.kill()

    with connecting_for(3), pytest.raises(batch.ClusterLost) as caught:
        batch.run(jobs, cluster=cluster.address, journal=str(journal), observer=kill_scheduler)
    assert str(caught.value) == f"the connection to the cluster at {cluster.address} is lost"
    lines = [json.loads(line) for line in journal.read_text().splitlines()]
    done = [line["done"] for line in lines if "done" in line]
    assert 2 <= len(done) == len(set(done)) == len(seen) < 16
    assert {outcome.status for outcome in seen} == {"done"}
    made = {path: path.stat().st_ino for path in out.glob("*.webp")}
    assert sorted(map(str, made)) == sorted(outcome.job.writes for outcome in seen)

    cluster.close()  # workers that lost their scheduler
    again = batch.run(jobs, processes=1, journal=str(journal))
    assert (len(again.skipped), len(again.done)) == (len(made), 16 - len(made)), again.to_data()
    assert sorted(path.name for path in out.iterdir()) == sorted(f"{path.stem}.webp" for path in inputs)
    assert {path: path.stat().st_ino for path in made} == made
    for path in inputs:
        assert np.array_equal(read(out / f"{path.stem}.webp"), read(path))


class Future:
    """A future of the cluster whose worker is lost with the answer, after the answer was announced."""

    def __init__(self, *states: str) -> None:
        self._states = list(states)

    @property
    def status(self) -> str:
        return self._states[0]

    def result(self) -> str:
        assert self._states[0] == "finished"
        return "{}"

    def go_on(self) -> None:
        """What happens while it is waited for."""
        del self._states[0]


def test_an_answer_that_is_lost_with_its_worker_is_waited_for() -> None:
    from zelmor.batch.cluster import ClusterWorkers

    class Finished:
        """Gives futures as `as_completed` does."""

        def __init__(self, *futures: Future) -> None:
            self.futures = list(futures)

        def add(self, future: Future) -> None:
            self.futures.append(future)

        def next_batch(self, block: bool) -> list[Future]:
            taken, self.futures = self.futures, []
            for future in taken:
                future.go_on()
            return taken

    workers = ClusterWorkers.__new__(ClusterWorkers)  # without a cluster, whose timing cannot be told
    future = Future("announced", "lost", "pending", "finished")
    vars(workers).update(_gone=False, _finished=Finished(future), _tickets={future: 7})
    assert [(reply.ticket, reply.answer) for reply in workers.wait()] == [(7, "{}")]
    assert not workers._tickets


def test_a_cluster_that_is_not_there() -> None:
    from zelmor.batch.cluster import ClusterWorkers

    begun = time.monotonic()
    with connecting_for(1), pytest.raises(batch.ClusterError, match="there is no cluster at tcp://127.0.0.1:9"):
        ClusterWorkers("tcp://127.0.0.1:9")
    assert time.monotonic() - begun < 20


def test_processes_and_a_cluster_are_not_both() -> None:
    with pytest.raises(ValueError, match="both are not possible"):
        batch.run([], processes=1, cluster="tcp://127.0.0.1:9")

"""Runs over a real cluster on this machine: a scheduler and worker processes of their own, one of which is killed."""

from __future__ import annotations

import json
import os
import signal
import subprocess
import sys
import time
from collections.abc import Iterator
from pathlib import Path

import numpy as np
import pytest
from zelmor import batch

from support.image_oracles import noise, read, write
from support.places import BUILD_DIR

pytest.importorskip("distributed", reason="python3-distributed is not installed")

WORKERS = 3


class Cluster:
    """A scheduler and its workers, which keep their files in a folder."""

    def __init__(self, folder: Path) -> None:
        self._folder = folder
        self._file = folder / "scheduler.json"
        self._processes: list[subprocess.Popen[bytes]] = []
        self._log = (folder / "log").open("wb")
        self._start("distributed.cli.dask_scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard",
                    "--scheduler-file", str(self._file))
        end = time.monotonic() + 60
        while not (self._file.exists() and self._file.read_text().endswith("}")):
            assert time.monotonic() < end, (folder / "log").read_text()
            time.sleep(0.05)
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
            client.wait_for_workers(WORKERS, timeout=60)

    def close(self) -> None:
        """Ends all processes."""
        for process in self._processes:
            process.kill()
        for process in self._processes:
            process.wait()
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


def test_a_cluster_that_is_not_there() -> None:
    from zelmor.batch.cluster import ClusterWorkers

    with pytest.raises(batch.ClusterError, match="there is no cluster at tcp://127.0.0.1:9"):
        ClusterWorkers("tcp://127.0.0.1:9", timeout=1)


def test_processes_and_a_cluster_are_not_both() -> None:
    with pytest.raises(ValueError, match="both are not possible"):
        batch.run([], processes=1, cluster="tcp://127.0.0.1:9")

"""Throughput: 500 photographs reduced by zelmor.batch and by Pillow, with one process and more.

Each contestant begins with no process and ends when all files are there. The time by the clock gives the files in a
second; the ratio is that of the processor time of all processes, which other work on the machine moves less. Both
reduce photographs of 1.5 MP to 600 pixels and save them with quality 80 and optimized tables. zelmor.batch flushes each
file to the disk before it gets its name; Pillow leaves that to the system.
"""

import os
import sys
import tempfile
import time
from collections.abc import Callable
from dataclasses import dataclass
from multiprocessing import get_context
from pathlib import Path
from resource import RUSAGE_CHILDREN, RUSAGE_SELF, getrusage

COUNT = 500
#: Different photographs; the others are copies of them.
DIFFERENT = 20
SIZE = (1500, 1000)
SIDE = 600
#: The most that the processor time of zelmor.batch may be of Pillow's.
LIMIT = 1.0


@dataclass
class Result:
    """Seconds by the clock and of the processors, with a number of processes."""

    processes: int
    ours: tuple[float, float]
    theirs: tuple[float, float]

    @property
    def ratio(self) -> float:
        return self.ours[1] / self.theirs[1]

    @property
    def met(self) -> bool:
        return self.ratio <= LIMIT


def write_photographs(folder: Path, count: int) -> list[str]:
    """Photographs as a camera has them, in JPEG files."""
    from operations import photograph
    from PIL import Image

    pixels = photograph(SIZE[0] + 40 * DIFFERENT, SIZE[1])
    paths = []
    for index in range(count):
        path = folder / f"{index:03}.jpg"
        if index < DIFFERENT:
            Image.fromarray(pixels[:, 40 * index:40 * index + SIZE[0]]).save(path, quality=88)
        else:
            path.write_bytes((folder / f"{index % DIFFERENT:03}.jpg").read_bytes())
        paths.append(str(path))
    return paths


def by_zelmor(paths: list[str], out: Path, processes: int) -> None:
    """The work as jobs of zelmor.batch."""
    from zelmor import batch

    output = batch.Output(settings={"quality": "80"})
    report = batch.run([batch.Convert(path, str(out / Path(path).name), (batch.Resize(SIDE, SIDE),), output)
                        for path in paths], processes=processes)
    if report.failed:
        raise RuntimeError(report.failed[0].error)


def reduce_with_pillow(job: tuple[str, str]) -> None:
    """One photograph."""
    from PIL import Image

    with Image.open(job[0]) as picture:
        picture.thumbnail((SIDE, SIDE), Image.Resampling.LANCZOS)
        picture.save(job[1], quality=80, optimize=True)


def by_pillow(paths: list[str], out: Path, processes: int) -> None:
    """The work in a pool of processes, which are new interpreters as those of zelmor.batch are."""
    with get_context("spawn").Pool(processes) as pool:
        for _ in pool.imap_unordered(reduce_with_pillow, [(path, str(out / Path(path).name)) for path in paths]):
            pass


def _timed(work: Callable[[list[str], Path, int], None], paths: list[str], processes: int) -> tuple[float, float]:
    with tempfile.TemporaryDirectory() as name:
        start, before = time.perf_counter(), _processor_time()
        work(paths, Path(name), processes)
        seconds, used = time.perf_counter() - start, _processor_time() - before
        made = len(os.listdir(name))
        if made != len(paths):
            raise RuntimeError(f"{made} files of {len(paths)} were made")
    return seconds, used


def _processor_time() -> float:
    """That of this process and of all that have ended."""
    return sum(used.ru_utime + used.ru_stime for used in map(getrusage, (RUSAGE_SELF, RUSAGE_CHILDREN)))


def process_counts() -> list[int]:
    """One process, twice as many again and again, and one for each processor."""
    most = len(os.sched_getaffinity(0))
    counts = [1]
    while counts[-1] * 2 < most:
        counts.append(counts[-1] * 2)
    return counts + [most] * (most > 1)


def run(count: int = COUNT) -> list[Result]:
    """Measures with each number of processes, and prints a line for it."""
    print(f"Throughput: {count} photographs of {SIZE[0]} by {SIZE[1]} reduced to {SIDE}: clock, processor time\n")
    print(f"{'processes':>9}{'zelmor.batch':>34}{'Pillow':>34}{'ratio':>8}{'target':>8}")
    results = []
    with tempfile.TemporaryDirectory() as name:
        paths = write_photographs(Path(name), count)
        for processes in process_counts():
            result = Result(processes, _timed(by_zelmor, paths, processes), _timed(by_pillow, paths, processes))
            results.append(result)
            cells = "".join(f"{clock:10.1f} s{count / clock:8.1f}/s{used:9.1f} s  " for clock, used in (
                result.ours, result.theirs))
            print(f"{processes:9}{cells:>68}{result.ratio:8.2f}{LIMIT:8.2f}{'' if result.met else '  MISS'}",
                  flush=True)
    return results


if __name__ == "__main__":
    run(int(sys.argv[1]) if len(sys.argv) > 1 else COUNT)

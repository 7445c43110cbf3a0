"""Files of tests among workers: each test runs once, each file in one process, and what follows if a worker dies."""

from __future__ import annotations

import subprocess
import sys
import time
from collections import Counter
from pathlib import Path
from types import SimpleNamespace

import pytest

from tools.pytest_files import FilesInTurn

TOP = Path(__file__).resolve().parents[2]


def run_files(folder: Path, *options: str, dies: bool = False) -> tuple[int, str, list[tuple[str, str, str]]]:
    """The code and the output of pytest, and for each test that ran its file, its name and its process."""
    for file in ("a", "b", "c", "d", "e"):
        (folder / f"test_{file}.py").write_text(
            "import os\nimport pytest\n"
            "@pytest.mark.parametrize('number', range(7))\n"
            "def test_it(number):\n"
            f"    with open({str(folder / 'ran')!r}, 'a') as file:\n"
            f"        file.write(f'{file} {{number}} {{os.getpid()}}\\n')\n"
            f"    if {dies and file == 'c'} and number == 3:\n"
            "        os._exit(3)\n")
    run = subprocess.run([sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", "-p", "tools.pytest_files",
                          "--rootdir", str(folder), *options, str(folder)], cwd=TOP, text=True, capture_output=True,
                         timeout=120, env={"PATH": "/usr/bin:/bin", "PYTHONDONTWRITEBYTECODE": "1"})
    ran = [tuple(line.split()) for line in (folder / "ran").read_text().splitlines()]
    return run.returncode, run.stdout, [(file, number, process) for file, number, process in ran]


@pytest.mark.parametrize("workers", [1, 2, 3, 8])
def test_each_file_runs_in_one_process(workers: int, tmp_path: Path) -> None:
    code, output, ran = run_files(tmp_path, "-n", str(workers), "--dist", "loadfile")
    assert code == 0 and "35 passed" in output, output
    assert Counter((file, number) for file, number, _ in ran) == {
        (file, str(number)): 1 for file in "abcde" for number in range(7)}
    processes = {file: {process for other, _, process in ran if other == file} for file in "abcde"}
    assert all(len(found) == 1 for found in processes.values())
    assert len(set.union(*processes.values())) == min(workers, 5)


@pytest.mark.parametrize("restarts", [1, 3])
def test_a_worker_that_dies_is_replaced(restarts: int, tmp_path: Path) -> None:
    """The rest of its file goes to the next worker. The scheduler of pytest-xdist 3.1 waits for ever here."""
    code, output, ran = run_files(tmp_path, "-n", "2", "--dist", "loadfile", f"--max-worker-restart={restarts}",
                                  dies=True)
    assert code == 1 and output.count("crashed while running 'test_c.py::test_it[3]'") == 1 + restarts, output
    times = Counter((file, number) for file, number, _ in ran)
    assert {number: count for (file, number), count in times.items() if file == "c"} == {
        "0": 1, "1": 1, "2": 1, "3": 1 + restarts}
    assert all(count == 1 for (file, _), count in times.items() if file != "c")


@pytest.mark.parametrize("options", [(), ("-n", "2"), ("-n", "2", "--dist", "loadscope")])
def test_other_ways_are_left_alone(options: tuple[str, ...], tmp_path: Path) -> None:
    code, output, ran = run_files(tmp_path, *options)
    assert code == 0 and "35 passed" in output and len(ran) == 35, output


class Worker:
    """What the scheduler needs of a worker: the tests that it was given, and whether it was told to end."""

    def __init__(self, name: str) -> None:
        self.gateway = SimpleNamespace(id=name)
        self.given: list[int] = []
        self.shutting_down = False

    def send_runtest_some(self, places: list[int]) -> None:
        self.given.extend(places)

    def shutdown(self) -> None:
        self.shutting_down = True


def test_forty_thousand_tests_take_no_time() -> None:
    """The scheduler of pytest-xdist goes through all tests for each of them, and takes twenty seconds here."""
    names = [f"test_{file}.py::test_it[{number}]" for file in ("a", "b", "c", "d") for number in range(10000)]
    workers = [Worker("first"), Worker("second")]
    scheduler = FilesInTurn(SimpleNamespace(getvalue=lambda name: ["2*popen"], option=None))
    begun = time.process_time()
    for worker in workers:
        scheduler.add_node(worker)
        scheduler.add_node_collection(worker, names)
    scheduler.schedule()
    ran: list[int] = []
    while not scheduler.tests_finished:
        for worker in workers:
            if worker.given:
                place = worker.given.pop(0)
                ran.append(place)
                scheduler.mark_test_complete(worker, place)
    ran += [place for worker in workers for place in worker.given]
    assert sorted(ran) == list(range(40000)) and all(worker.shutting_down for worker in workers)
    assert time.process_time() - begun < 3

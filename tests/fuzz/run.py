#!/usr/bin/python3
"""Tries altered picture files: makes the files, runs fuzz_pictures over them, and goes on after a crash.

Each altered file follows from the seed and its number, so that `--seed 1 --first 77 --count 1` tries number 77 of
seed 1 again. Files with findings are kept below the folder of the work, in `found`. The exit code is 0 if there were
none.
"""

from __future__ import annotations

import argparse
import os
import re
import shutil
import subprocess
import sys
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
from pathlib import Path

sys.path[:0] = [str(Path(__file__).resolve().parent), str(Path(__file__).resolve().parents[2])]

from seed_files import write_seed_files  # noqa: E402
from tools.preload import SANITIZERS, preloaded  # noqa: E402

#: Seconds that one file may take before it counts as one that never ends.
MOST_SECONDS = 120
#: What was freed is kept for a short time only, since it would count as memory in use. No file of some KiB needs a GiB.
SETTINGS = {"ASAN_OPTIONS": "detect_leaks=0:max_allocation_size_mb=1024:hard_rss_limit_mb=3072:quarantine_size_mb=4",
            "UBSAN_OPTIONS": "halt_on_error=1:print_stacktrace=1"}


@dataclass
class Tally:
    """What became of the files of one worker, or of all."""

    files: Counter[str] = field(default_factory=Counter)
    succeeded: int = 0
    refused: int = 0
    findings: int = 0


@dataclass
class Worker:
    """Runs the program over its share of the numbers, one range after the other."""

    command: list[str]
    environment: dict[str, str]
    folder: Path
    seed: int
    until: float

    def watch(self, process: subprocess.Popen[bytes]) -> bool:
        """Waits for the end; false if the process had to be ended because one file took too long."""
        number, since = b"", time.monotonic()
        while True:
            try:
                process.wait(timeout=2)
                return True
            except subprocess.TimeoutExpired:
                now = (self.folder / "number").read_bytes() if (self.folder / "number").exists() else b""
                if now != number:
                    number, since = now, time.monotonic()
                elif time.monotonic() - since > MOST_SECONDS:
                    process.kill()
                    process.wait()
                    return False

    def read(self, line: str, tally: Tally) -> None:
        """Counts and shows a line that the program wrote."""
        done = re.fullmatch(r"DONE (\w+) (\d+) files, (\d+) steps succeeded, (\d+) refused", line)
        if done:
            tally.files[done[1]] += int(done[2])
            tally.succeeded += int(done[3])
            tally.refused += int(done[4])
        elif line.startswith("FOUND"):
            tally.findings += 1
            print(line, flush=True)

    def run(self, first: int, count: int) -> Tally:
        """Tries the files with these numbers."""
        tally, end = Tally(), first + count
        while first < end and time.monotonic() < self.until:
            (self.folder / "number").unlink(missing_ok=True)
            minutes = (self.until - time.monotonic()) / 60
            log = self.folder / "log"
            with log.open("wb") as output:
                process = subprocess.Popen([*self.command, self.folder, str(self.seed), str(first), str(end - first),
                                            str(minutes)], stdout=output, stderr=subprocess.STDOUT,
                                           env={**os.environ, **SETTINGS, **self.environment})
                ended = self.watch(process)
            lines = log.read_text(errors="replace").splitlines()
            for line in lines:
                self.read(line, tally)
            if ended and process.returncode in (0, 1) and any(line.startswith("DONE") for line in lines):
                return tally
            # It crashed: keeps the file that was being tried, and goes on behind it.
            if not (self.folder / "number").exists():
                raise RuntimeError("\n".join(["the program did not start:", *lines]))
            number, name = (self.folder / "number").read_text().split(" ", 1)
            kept = self.folder / "found" / f"{self.seed}-{number}-{name}"
            shutil.copyfile(self.folder / "current", kept)
            kept.with_name(kept.name + ".log").write_text("\n".join(lines))
            why = f"exit code {process.returncode}" if ended else f"no end within {MOST_SECONDS} seconds"
            summary = next((line for line in lines if "SUMMARY:" in line or "runtime error:" in line), "")
            print(f"FOUND seed {self.seed} number {number} ({name}): {why}; {summary} (see {kept}.log)", flush=True)
            tally.findings += 1
            tally.files[name.split("-")[0]] += 1
            first = int(number) + 1
        return tally


def under_sanitizers(build: Path) -> dict[str, str]:
    """What the interpreter needs to load the modules of a build; with sanitizers their library comes first."""
    environment = {"PYTHONPATH": str(build / "python")}
    if "-fsanitize=address" in (build / "CMakeCache.txt").read_text():
        environment["LD_PRELOAD"] = preloaded(*SANITIZERS)
    return environment


def main() -> int:
    """Reads the arguments and does all."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, required=True, help="build tree that has the program")
    parser.add_argument("--work", type=Path, required=True, help="folder for all files")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--first", type=int, default=0)
    parser.add_argument("--count", type=int, default=20000)
    parser.add_argument("--minutes", type=float, default=1e6, help="no file is begun after so many minutes")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--drawings", action="store_true", help="files of drawings, through the API, instead")
    arguments = parser.parse_args()

    work, workers = arguments.work.resolve(), []  # programs that make files run in a folder below it
    share = -(-arguments.count // arguments.jobs)
    until = time.monotonic() + arguments.minutes * 60
    shutil.rmtree(work / "files", ignore_errors=True)
    work.mkdir(parents=True, exist_ok=True)
    command, environment = [str(arguments.build / "tests/fuzz/fuzz_pictures")], {}
    if arguments.drawings:
        command = ["/usr/bin/python3", "-B", str(Path(__file__).with_name("fuzz_drawings.py"))]
        environment = under_sanitizers(arguments.build)
        print(f"altering files of drawings, seed {arguments.seed}", flush=True)
    else:
        made = write_seed_files(work / "files")
        print(f"altering {made} files of other programs and those of the project's own encoders, seed "
              f"{arguments.seed}", flush=True)
    for i in range(arguments.jobs):
        folder = work / f"worker-{i}"
        (folder / "found").mkdir(parents=True, exist_ok=True)
        if not arguments.drawings and not (folder / "files").is_symlink():
            (folder / "files").symlink_to(Path("..") / "files")
        workers.append(Worker(command, environment, folder, arguments.seed, until))
    with ThreadPoolExecutor(arguments.jobs) as pool:
        ranges = [(arguments.first + i * share, max(0, min(share, arguments.count - i * share)))
                  for i in range(arguments.jobs)]
        tallies = list(pool.map(lambda pair: pair[0].run(*pair[1]), zip(workers, ranges)))

    total = Tally()
    for tally in tallies:
        total.files += tally.files
        total.succeeded += tally.succeeded
        total.refused += tally.refused
        total.findings += tally.findings
    print("altered files: " + ", ".join(f"{count} {name}" for name, count in sorted(total.files.items())) +
          f"; {total.succeeded} steps succeeded, {total.refused} were refused; {total.findings} findings")
    # A run that tried nothing has shown nothing.
    return 0 if total.findings == 0 and total.files.total() > 0 else 1


if __name__ == "__main__":
    sys.exit(main())

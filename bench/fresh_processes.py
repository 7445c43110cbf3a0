"""What benchmarks that compare fresh processes have in common."""

import subprocess
import sys
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path


@dataclass
class Used:
    """What a program used, with the programs that it started."""

    seconds: float  # of the processor
    peak: float  # of resident memory, MiB


# The peak of a child counts from that of the process that it was forked from, which is therefore a small one.
STARTER = """
import os, sys
quiet = [(os.POSIX_SPAWN_OPEN, number, os.devnull, os.O_WRONLY, 0) for number in (1, 2)]
pid = os.posix_spawnp(sys.argv[1], sys.argv[1:], os.environ, file_actions=quiet)
_, status, used = os.wait4(pid, 0)
print(status, used.ru_utime + used.ru_stime, used.ru_maxrss)
"""


def used_by(command: list[str]) -> Used:
    """Runs a program that shows nothing. Raises RuntimeError if it fails."""
    shown = subprocess.run([sys.executable, "-I", "-S", "-c", STARTER, *command], check=True, text=True,
                           capture_output=True).stdout
    status, seconds, kilobytes = map(float, shown.split())
    if status != 0:
        raise RuntimeError(f"{' '.join(command)} failed")
    return Used(seconds, kilobytes / 1024)


def main(write_sources: Callable[[Path], None], run: Callable[[str, int], object], rounds: int) -> None:
    """The command line: `[PART OF A NAME [ROUNDS]]`, or `--write FOLDER` for the files that are measured.

    The benchmark has them written by another process, since the peak of a child counts from that of its parent."""
    if sys.argv[1:2] == ["--write"]:
        write_sources(Path(sys.argv[2]))
    else:
        run(sys.argv[1] if len(sys.argv) > 1 else "", int(sys.argv[2]) if len(sys.argv) > 2 else rounds)

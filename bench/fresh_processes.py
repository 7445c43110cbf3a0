"""What benchmarks that compare fresh processes have in common."""

import os
import resource
import sys
from collections.abc import Callable
from pathlib import Path


def used_by(command: list[str]) -> resource.struct_rusage:
    """What a program that shows nothing uses, with the programs that it starts."""
    pid = os.posix_spawnp(command[0], command, os.environ, file_actions=[
        (os.POSIX_SPAWN_OPEN, number, os.devnull, os.O_WRONLY, 0) for number in (1, 2)])
    _, status, used = os.wait4(pid, 0)
    if status != 0:
        raise RuntimeError(f"{' '.join(command)} failed")
    return used


def main(write_sources: Callable[[Path], None], run: Callable[[str, int], object], rounds: int) -> None:
    """The command line: `[PART OF A NAME [ROUNDS]]`, or `--write FOLDER` for the files that are measured.

    The benchmark has them written by another process: the peak of a child counts from that of the process that it was
    forked from."""
    if sys.argv[1:2] == ["--write"]:
        write_sources(Path(sys.argv[2]))
    else:
        run(sys.argv[1] if len(sys.argv) > 1 else "", int(sys.argv[2]) if len(sys.argv) > 2 else rounds)

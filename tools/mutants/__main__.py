"""Changes the sources in single places and tells which changes no test notices (see docs/testing.md)."""

from __future__ import annotations

import argparse
import os
import sys
from pathlib import Path

from .equivalents import read_equivalents
from .reach import BadTable, read_table, reaching, tests_in_python
from .sample import PARTS, draw
from .trial import Trial, try_all
from .workshop import Occupied, Workshop, project_commands

TREE = Path(__file__).resolve().parents[2]


def main() -> int:
    parser = argparse.ArgumentParser(prog="tools.mutants", description=__doc__)
    parser.add_argument("--build", type=Path, default=TREE / "build", help="where the copy and the report go")
    parser.add_argument("--seed", type=int, default=1, help="another seed draws another sample")
    parser.add_argument("--count", type=int, default=20, help="how many changes")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    parser.add_argument("--launcher", default="", help="stands before the compiler, words separated by semicolons")
    parser.add_argument("--minutes", type=float, default=float("inf"), help="no change is begun after this time")
    parser.add_argument("--thorough", action="store_true", help="try survivors by every test that reaches them")
    parser.add_argument("--list", action="store_true", help="show the changes, and do nothing")
    parser.add_argument("paths", nargs="*", help="files and folders to change; without any, all of the product's")
    arguments = parser.parse_args()

    table = read_table()
    folder = arguments.build.resolve() / "mutants"
    root = TREE
    if not arguments.list:
        # The changes are drawn from the copy: somebody may be at work on the tree meanwhile.
        workshop = Workshop(TREE, folder / "tree", project_commands(arguments.jobs, arguments.launcher))
        try:
            held = workshop.reserve()
        except Occupied as error:
            parser.error(str(error))
        workshop.take_sources()
        root = workshop.copy
    try:
        changes = draw(root, arguments.paths or PARTS, arguments.seed, arguments.count)
    except FileNotFoundError as error:
        parser.error(str(error))
    if not changes:
        parser.error("nothing there can be changed")
    try:
        for change in changes:
            reaching(change.path, table)
    except BadTable as error:
        parser.error(str(error))
    if arguments.list:
        for change in changes:
            print(change.describe((root / change.path).read_text()))
        return 0

    with held:
        others = tests_in_python(root) if arguments.thorough else []
        trial = Trial(workshop, table, changes, read_equivalents(), arguments.jobs, others)
        return try_all(trial, folder / "survivors.txt", seconds=60 * arguments.minutes)


if __name__ == "__main__":
    sys.exit(main())

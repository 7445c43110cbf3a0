"""Runs the examples of a folder in one process, each with the sample files at hand.

Usage, from the top of the tree: python3 -m tools.run_examples FOLDER WORK

Each example runs in a folder of its own below WORK. Standard output gets a line of JSON for each: its name, the error
if there is one, the text that it printed, and the files that it left with their sizes. The exit status is 1 if an
example fails.
"""

from __future__ import annotations

import contextlib
import io
import json
import os
import runpy
import shutil
import sys
import traceback
from pathlib import Path

from examples.sample_files import write_samples


def run(program: Path, samples: Path, work: Path) -> dict[str, object]:
    """Runs one example; what went wrong is part of the result."""
    shutil.copytree(samples, work)
    before = {path.name: path.read_bytes() for path in work.iterdir()}
    os.chdir(work)
    printed, error = io.StringIO(), ""
    with contextlib.redirect_stdout(printed):
        try:
            runpy.run_path(str(program), run_name="__main__")
        except Exception:  # the caller decides what becomes of it
            error = traceback.format_exc()
    left = {path.name: path.stat().st_size for path in work.iterdir()
            if path.name not in before or before[path.name] != path.read_bytes()}
    for name in set(before) - set(left):  # what is left is what the example made
        (work / name).unlink()
    return {"name": program.stem, "error": error, "printed": printed.getvalue(), "files": left}


def main() -> int:
    """Runs all examples."""
    folder, work = (Path(argument).resolve() for argument in sys.argv[1:])
    shutil.rmtree(work, ignore_errors=True)
    samples = work / "samples"
    samples.mkdir(parents=True)
    write_samples(samples)
    failed = 0
    for program in sorted(folder.glob("*.py")):
        result = run(program, samples, work / program.stem)
        print(json.dumps(result), flush=True)
        if result["error"]:
            print(result["error"], file=sys.stderr)
            failed = 1
    return failed


if __name__ == "__main__":
    sys.exit(main())

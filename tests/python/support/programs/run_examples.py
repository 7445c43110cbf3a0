"""Runs the examples of a folder in one process, each with the sample files at hand.

Usage: run_examples.py FOLDER WORK. Each example runs in a folder of its own below WORK. Standard output gets a line of
JSON for each: its name, the error if there is one, the text that it printed, and the files that it left.
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

from support.sample_files import write_samples


def run(program: Path, samples: Path, work: Path) -> dict[str, object]:
    """Runs one example; what went wrong is part of the result."""
    shutil.copytree(samples, work)
    before = {path.name: path.read_bytes() for path in work.iterdir()}
    os.chdir(work)
    printed, error = io.StringIO(), ""
    with contextlib.redirect_stdout(printed):
        try:
            runpy.run_path(str(program), run_name="__main__")
        except Exception:  # whatever an example raises is what the test tells
            error = traceback.format_exc()
    left = {path.name: path.stat().st_size for path in work.iterdir()
            if path.name not in before or before[path.name] != path.read_bytes()}
    return {"name": program.stem, "error": error, "printed": printed.getvalue(), "files": left}


def main() -> None:
    folder, work = (Path(argument).resolve() for argument in sys.argv[1:])
    samples = work / "samples"
    samples.mkdir(parents=True)
    write_samples(samples)
    for program in sorted(folder.glob("*.py")):
        print(json.dumps(run(program, samples, work / program.stem)), flush=True)


if __name__ == "__main__":
    main()

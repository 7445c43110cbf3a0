"""Runs a folder of unit tests and stops at the first that fails: each program as a whole.

    python -m tools.mutants.unit_tests FOLDER
"""

from __future__ import annotations

import subprocess
import sys
from pathlib import Path

from ..unit_programs import programs_of


def main() -> int:
    folder = Path(sys.argv[1]).resolve()
    programs = programs_of(folder)
    if not programs:
        print(f"no unit tests in {folder}")
        return 1
    for program in programs:
        more = ["--gtest_fail_fast", "--gtest_brief=1"] if program.tests else []
        code = subprocess.run([*program.command, *more], cwd=program.directory).returncode
        if code != 0:
            print(f"FAILED {program.name}, which ended with {code}")
            return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())

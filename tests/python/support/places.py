"""Paths: the project, its tests and its catalogue, and the build tree that is tested."""

from __future__ import annotations

import os
from pathlib import Path

ROOT = Path(__file__).parents[3]
TESTS = ROOT / "tests" / "python"
DATA = ROOT / "tests" / "data"
PROGRAMS = TESTS / "support" / "programs"
CATALOGUE = ROOT / "api" / "catalogue"
BUILD_DIR = Path(os.environ.get("ZELMOR_BUILD_DIR", ROOT / "build")).resolve()
#: The import path of child processes, for the helpers (as `support`) and the generator (as `tools.generator`).
FOLDERS = [str(TESTS), str(ROOT)]

"""Random calls on both runtimes: threads, collections of garbage, Python code in the middle of calls, and a balance of
zero.

In `make test` some seconds from a fixed seed, in `make fuzz` ten minutes on .NET from a new one.
"""

from __future__ import annotations

import os
import random
import subprocess
import sys
from pathlib import Path

import pytest

from support.draws import EXPLORING
from support.dotnet import needs_dotnet
from support.places import BUILD_DIR, FOLDERS, PROGRAMS

SECONDS = {"dotnet": 600, "embedded": 60} if EXPLORING else {"dotnet": 6, "embedded": 3}
SEED = random.SystemRandom().getrandbits(40) if EXPLORING else 1


def play(runtime: str, log: Path, *options: str) -> subprocess.CompletedProcess[str]:
    """Runs the program to its end, which may be a crash or a failure."""
    variables = {name: value for name, value in os.environ.items() if not name.startswith("NETCORE_WRAPPER_")}
    variables |= {"PYTHONPATH": os.pathsep.join([str(BUILD_DIR / "python"), *FOLDERS]), "ZELMOR_RUNTIME": runtime,
                  "PYTHONFAULTHANDLER": "1"}
    return subprocess.run([sys.executable, "-B", PROGRAMS / "random_calls.py", "--log", log, *options], env=variables,
                          capture_output=True, text=True, timeout=SECONDS[runtime] + 300, check=False)


@pytest.mark.parametrize("runtime", [pytest.param("dotnet", marks=needs_dotnet), "embedded"])
def test_random_calls_leave_nothing(runtime: str, tmp_path: Path) -> None:
    done = play(runtime, tmp_path / "log", "--seed", str(SEED), "--seconds", str(SECONDS[runtime]))
    steps = (tmp_path / "log").read_text(errors="replace").splitlines()
    last = "\n".join([steps[0], "...", *steps[1:][-60:]])
    assert done.returncode == 0, f"{done.stdout[-2000:]}\n{done.stderr[-4000:]}\nthe last steps of the {last}"
    assert " rounds, " in done.stdout


@pytest.mark.parametrize("runtime", [pytest.param("dotnet", marks=needs_dotnet), "embedded"])
def test_a_failure_names_its_seed_and_steps(runtime: str, tmp_path: Path) -> None:
    """The program stops at a value that differs, as it would for a fault of the module."""
    done = play(runtime, tmp_path / "log", "--seed", "5", "--rounds", "1", "--break", "any_value")
    assert done.returncode == 1
    assert "a failure in the round with the seed 5: --seed 5 --rounds 1 --steps 400" in done.stdout
    steps = (tmp_path / "log").read_text().splitlines()
    assert steps[0] == "round with seed 5" and any(step.endswith(" any_value") for step in steps)
    assert "AssertionError: broken on purpose" in done.stderr

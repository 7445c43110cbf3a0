"""Value types on both runtimes: texts, hash codes, equality, properties and methods of the same random values."""

from __future__ import annotations

import os
import subprocess
import sys

import pytest

from support.draws import EXPLORING
from support.dotnet import needs_dotnet
from support.places import BUILD_DIR, FOLDERS, PROGRAMS

pytestmark = needs_dotnet
COUNT = 2000 if EXPLORING else 60
#: What .NET says of conversions by ICC profiles, which need a color management module.
NOT_THERE = "is not supported by this class library."


def lines(runtime: str, *arguments: str) -> dict[str, str]:
    """The answers of a runtime by their questions."""
    variables = {name: value for name, value in os.environ.items() if not name.startswith("NETCORE_WRAPPER_")}
    variables |= {"PYTHONPATH": os.pathsep.join([str(BUILD_DIR / "python"), *FOLDERS]), "ZELMOR_RUNTIME": runtime}
    done = subprocess.run([sys.executable, "-B", PROGRAMS / "same_on_both.py", *arguments], env=variables,
                          capture_output=True, text=True, timeout=600, check=False)
    assert done.returncode == 0, done.stderr[-3000:]
    return dict(line.split("\t", 1) for line in done.stdout.splitlines())


@pytest.mark.parametrize("seed", [1, 2])
def test_both_runtimes_say_the_same_of_value_types(seed: int) -> None:
    embedded, dotnet = (lines(runtime, "values", str(COUNT), str(seed)) for runtime in ("embedded", "dotnet"))
    assert embedded.keys() == dotnet.keys() and len(embedded) > 100 * COUNT
    missing = {question.split(" ")[2].split("(")[0] for question, told in dotnet.items() if NOT_THERE in told}
    assert all("icc" in member for member in missing), missing  # as docs/dotnet.md says
    differing = [f"{question}: {told} on .NET, {embedded[question]} on the embedded runtime"
                 for question, told in dotnet.items() if told != embedded[question] and NOT_THERE not in told]
    assert not differing, "\n".join(differing[:20])

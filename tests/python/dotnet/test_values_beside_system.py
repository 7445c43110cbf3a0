"""Decimals, dates, times, spans and texts beside System's own types, as many from Python as from .NET.

In `make test` a sample from a fixed seed, in `make fuzz` a million of each kind in each direction from a new one, and
each code point alone.
"""

from __future__ import annotations

import random

import pytest

from support.child import run_child
from support.draws import EXPLORING
from support.dotnet import needs_dotnet
from support.places import PROGRAMS

pytestmark = needs_dotnet
SEED = random.SystemRandom().getrandbits(31) if EXPLORING else 3
#: New York has summer time, and offsets that are negative.
VARIABLES = {"ZELMOR_RUNTIME": "dotnet", "MALLOC_PERTURB_": "0", "PYTHONMALLOC": "default", "TZ": "America/New_York"}


@pytest.mark.parametrize(("kind", "sample", "all_of_them"), [
    ("decimal", 12_500, 1_000_000), ("moment", 12_500, 1_000_000), ("moment_with_offset", 12_500, 1_000_000),
    ("span", 12_500, 1_000_000), ("text", 1, 1), ("text_alone", 5_000, 0x110000)])
def test_both_sides_say_the_same_of_a_value(kind: str, sample: int, all_of_them: int) -> None:
    program = (PROGRAMS / "system_values.py").read_text()
    run_child(program, kind, str(all_of_them if EXPLORING else sample), str(SEED), seconds=1800, **VARIABLES)

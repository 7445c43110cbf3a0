"""Seeds of tests that generate values in bulk: the same in each run, or new ones, and more of them, when exploring."""

from __future__ import annotations

import os
import random

from hypothesis import settings

EXPLORING = os.environ.get("HYPOTHESIS_PROFILE") == "fuzz"

# Hypothesis generates the same examples in each run of the tests, and new ones when exploring.
settings.register_profile("check", derandomize=True, database=None, deadline=None)
settings.register_profile("fuzz", deadline=None, print_blob=True)
settings.load_profile("fuzz" if EXPLORING else "check")


def examples(count: int) -> int:
    """The number of examples of a property test: `count` in the tests, fifty times as many when exploring."""
    return 50 * count if EXPLORING else count


def seeds(count: int) -> list[int]:
    """One seed for each part of a bulk test."""
    return [random.SystemRandom().getrandbits(64) for _ in range(10 * count)] if EXPLORING else list(range(count))

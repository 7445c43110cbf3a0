"""Seeds of tests that draw values in bulk: the same on each run, or new and more of them when exploring."""

from __future__ import annotations

import os
import random

EXPLORING = os.environ.get("HYPOTHESIS_PROFILE") == "fuzz"


def seeds(count: int) -> list[int]:
    """One seed for each part of a bulk test."""
    return [random.SystemRandom().getrandbits(64) for _ in range(10 * count)] if EXPLORING else list(range(count))

"""Value types on both runtimes: texts, hash codes, equality, properties and methods of the same random values."""

from __future__ import annotations

import pytest

from support.draws import EXPLORING
from support.dotnet import needs_dotnet
from support.same_answers import differing, lines

pytestmark = needs_dotnet
COUNT = 2000 if EXPLORING else 60


@pytest.mark.parametrize("seed", [1, 2])
def test_both_runtimes_say_the_same_of_value_types(seed: int) -> None:
    embedded, dotnet = (lines(runtime, "values", str(COUNT), str(seed)) for runtime in ("embedded", "dotnet"))
    assert embedded.keys() == dotnet.keys() and len(embedded) > 100 * COUNT
    differences = differing(embedded, dotnet)
    assert not differences, "\n".join(differences[:20])

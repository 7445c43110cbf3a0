"""Value types on both runtimes: texts, hash codes, equality, properties and methods of the same random values."""

from __future__ import annotations

import pytest

from support.draws import EXPLORING
from support.dotnet import needs_dotnet
from support.same_answers import differing, lines

pytestmark = needs_dotnet
COUNT = 2000 if EXPLORING else 60
#: What .NET says of conversions by ICC profiles, which need a color management module.
NOT_THERE = "is not supported by this class library."


@pytest.mark.parametrize("seed", [1, 2])
def test_both_runtimes_say_the_same_of_value_types(seed: int) -> None:
    embedded, dotnet = (lines(runtime, "values", str(COUNT), str(seed)) for runtime in ("embedded", "dotnet"))
    assert embedded.keys() == dotnet.keys() and len(embedded) > 100 * COUNT
    missing = {question.split(" ")[2].split("(")[0] for question, told in dotnet.items() if NOT_THERE in told}
    assert all("icc" in member for member in missing), missing  # as docs/dotnet.md says
    differences = differing(embedded, {question: told for question, told in dotnet.items() if NOT_THERE not in told})
    assert not differences, "\n".join(differences[:20])

"""New objects of all classes on both runtimes: the values of their properties, and the constants of the classes."""

from __future__ import annotations

from support.dotnet import needs_dotnet
from support.same_answers import differing, lines

pytestmark = needs_dotnet


def test_new_objects_have_the_same_values() -> None:
    embedded, dotnet = (lines(runtime, "defaults") for runtime in ("embedded", "dotnet"))
    assert embedded.keys() == dotnet.keys() and len(embedded) > 7000
    assert sum(told.startswith("RuntimeError") for told in embedded.values()) < len(embedded) / 10
    differences = differing(embedded, dotnet)
    assert not differences, "\n".join(differences[:20])

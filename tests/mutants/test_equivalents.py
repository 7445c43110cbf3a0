"""The changes that are said to change nothing: each is one that the sources offer, and says why."""

from __future__ import annotations

from pathlib import Path

import pytest

from tools.mutants.changes import changes
from tools.mutants.equivalents import Place, place_of, read_equivalents

TREE = Path(__file__).parents[2]


def test_every_entry_is_a_change_that_the_sources_offer_and_has_a_reason() -> None:
    reasons = read_equivalents().reasons
    for path in {place.path for place in reasons}:
        source = (TREE / path).read_text()
        offered = {place_of(change, source) for change in changes(path, source)}
        for place in reasons:
            assert place.path != path or place in offered, place
    for place, reason in reasons.items():
        assert len(reason.split()) > 3, place


def test_an_entry_holds_when_lines_move(tmp_path: Path) -> None:
    table = tmp_path / "t.toml"
    table.write_text('[[change]]\npath = "a.cpp"\nfunction = "A::f"\nline = "return 1;"\n'
                     'change = "constant: 1 -> 2"\nreason = "nobody asks for it"\n')
    known = read_equivalents(table)
    source = "int A::f() {\n    return 1;\n}\n"
    for text in (source, "\n// more\n" + source):
        reasons = [known.reason(change, text) for change in changes("a.cpp", text) if change.kind == "constant"]
        assert reasons == ["nobody asks for it", None]
    for text in (source.replace("A::f", "A::g"), source.replace("1;", "1 ;")):
        assert {known.reason(change, text) for change in changes("a.cpp", text)} == {None}


def test_an_entry_with_a_wrong_field_is_refused(tmp_path: Path) -> None:
    table = tmp_path / "t.toml"
    table.write_text('[[change]]\npath = "a.cpp"\nreason = "none"\n')
    with pytest.raises(TypeError):
        read_equivalents(table)
    assert Place("a", "b", "c", "d") not in read_equivalents().reasons

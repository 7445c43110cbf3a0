"""The table of identifiers."""

from __future__ import annotations

import zlib
from pathlib import Path

import pytest

from tools.generator.errors import CatalogueError
from tools.generator.identifiers import Identifiers, crc_identifier


def test_a_missing_row_is_computed_from_the_full_name(tmp_path: Path) -> None:
    table = Identifiers(path=tmp_path / "identifiers.tab")
    assert table.complete(["A.B", "A.C"], {}) == ["A.B", "A.C"]
    assert table.rows["A.B"][0] == f"{zlib.crc32(b'A.B'):08X}" == crc_identifier("A.B")
    assert table.rows["A.B"][1] != table.rows["A.B"][0]


def test_rows_that_are_given_stay(tmp_path: Path) -> None:
    path = tmp_path / "identifiers.tab"
    path.write_text("A.B 0000000A 0000000B\n")
    table = Identifiers.read(path)
    assert table.complete(["A.B", "A.C"], {}) == ["A.C"]
    table.write()
    assert Identifiers.read(path).rows == table.rows
    assert table.rows["A.B"] == ("0000000A", "0000000B")


@pytest.mark.parametrize(("text", "reason"), [
    ("A.B 0000000A\n", "a row is a full managed name and two identifiers of eight digits"),
    ("A.B 0000000a 0000000B\n", "a row is a full managed name and two identifiers of eight digits"),
    ("A.B 0000000A 0000000B\nA.B 0000000C 0000000D\n", "A.B has a row already"),
    ("A.B 0000000A 0000000B\nA.C 0000000A 0000000D\n", "0000000A is the identifier of A.B already"),
    ("A.B 0000000A 0000000B\nA.C 0000000C 0000000B\n", "0000000B is the identifier of A.B already"),
])
def test_a_row_that_does_not_fit_is_refused(tmp_path: Path, text: str, reason: str) -> None:
    path = tmp_path / "identifiers.tab"
    path.write_text(text)
    with pytest.raises(CatalogueError) as caught:
        Identifiers.read(path)
    assert caught.value.reason == reason

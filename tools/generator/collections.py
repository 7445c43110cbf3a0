"""The table of closed generic collections: which element types have which kinds of collection.

An element type is named by eight hexadecimal digits that both halves share. The order of the rows that have an argument
converter is the order of the callback slots for typed element access.
"""

from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

from .errors import CatalogueError, Place
from .rows import read_optional_rows

KINDS = ("array", "list", "ilist", "iterable", "iterator")
ARGUMENTS = ("array-argument", "list-argument")
_DIGITS = re.compile(r"[0-9A-F]{8}\Z")


@dataclass(frozen=True)
class CollectionLine:
    """One row: an element type and what there is of it."""

    place: Place
    identifier: str
    element: str
    kinds: tuple[str, ...]


def read_collections(path: Path) -> list[CollectionLine]:
    """Reads `collections.tab`; an assembly without one has no typed collections."""
    rows: list[CollectionLine] = []
    for place, text in read_optional_rows(path):
        parts = text.split()
        if len(parts) < 3 or not _DIGITS.match(parts[0]):
            raise CatalogueError(place, "a row is an identifier, an element type and the kinds that there are")
        unknown = [kind for kind in parts[2:] if kind not in KINDS + ARGUMENTS]
        if unknown:
            raise CatalogueError(place, f"there is no kind {unknown[0]}")
        if any(parts[0] == row.identifier or parts[1] == row.element for row in rows):
            raise CatalogueError(place, f"{parts[0]} or {parts[1]} has a row already")
        rows.append(CollectionLine(place, parts[0], parts[1], tuple(parts[2:])))
    return rows

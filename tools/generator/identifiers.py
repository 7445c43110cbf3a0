"""The table of type identifiers: eight hexadecimal digits on the Python side and eight on the managed side.

They are fixed by the managed assembly and stand in a file of their own, so that they can be replaced as a whole.
Where an assembly has not fixed one, it is the CRC-32 of the full managed name, on the managed side of the name behind
a fixed prefix.
"""

from __future__ import annotations

import re
import zlib
from dataclasses import dataclass, field
from pathlib import Path

from .errors import CatalogueError
from .rows import read_optional_rows

MANAGED_PREFIX = "managed:"
_DIGITS = re.compile(r"[0-9A-F]{8}\Z")


def crc_identifier(text: str) -> str:
    """The CRC-32 of `text` as eight upper-case hexadecimal digits."""
    return f"{zlib.crc32(text.encode()):08X}"


@dataclass
class Identifiers:
    """Full managed name to (Python-side identifier, managed-side identifier)."""

    rows: dict[str, tuple[str, str]] = field(default_factory=dict)
    path: Path | None = None

    @classmethod
    def read(cls, path: Path) -> Identifiers:
        """Reads the table; duplicate names or identifiers are refused."""
        table = cls(path=path)
        seen: tuple[dict[str, str], dict[str, str]] = ({}, {})
        for place, text in read_optional_rows(path):
            parts = text.split()
            if len(parts) != 3 or not all(_DIGITS.match(part) for part in parts[1:]):
                raise CatalogueError(place, "a row is a full managed name and two identifiers of eight digits")
            name, python_side, managed_side = parts
            if name in table.rows:
                raise CatalogueError(place, f"{name} has a row already")
            for side, identifier in zip(seen, (python_side, managed_side)):
                if identifier in side:
                    raise CatalogueError(place, f"{identifier} is the identifier of {side[identifier]} already")
                side[identifier] = name
            table.rows[name] = (python_side, managed_side)
        return table

    def complete(self, names: list[str], elements: dict[str, str]) -> list[str]:
        """Adds a computed row for each name that has none; returns the names added.

        The element of a typed collection has the element's identifier on the managed side.
        """
        added = [name for name in names if name not in self.rows]
        for name in added:
            self.rows[name] = (crc_identifier(name), elements.get(name, crc_identifier(MANAGED_PREFIX + name)))
        return added

    def write(self) -> None:
        """Writes the table back, sorted by name."""
        assert self.path is not None
        lines = [
            "# Identifiers of the managed assembly: full managed name, Python side, managed side.",
            "# Rows that are missing are added by `make identifiers`.",
        ]
        width = max(map(len, self.rows), default=0)
        lines += [f"{name:<{width}} {a} {b}" for name, (a, b) in sorted(self.rows.items())]
        self.path.write_text("\n".join(lines) + "\n")

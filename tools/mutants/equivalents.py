"""The changes that are known to change nothing, with the reasons (equivalents.toml).

An entry knows its change by the path, the function, the text of the line and the change itself, so that it stays valid
when lines move.
"""

from __future__ import annotations

import tomllib
from dataclasses import dataclass
from pathlib import Path

from .changes import Change
from .schema import function_at
from .structure import structure_of

TABLE = Path(__file__).with_name("equivalents.toml")


@dataclass(frozen=True)
class Place:
    """What an entry knows a change by; `function` is empty outside of functions."""

    path: str
    function: str
    line: str
    change: str


class Equivalents:
    """The reasons by the changes."""

    def __init__(self, reasons: dict[Place, str]) -> None:
        self.reasons = reasons

    def reason(self, change: Change, source: str) -> str | None:
        return self.reasons.get(place_of(change, source))


def place_of(change: Change, source: str) -> Place:
    """What an entry for this change has to say."""
    return Place(change.path, function_at(structure_of(source), change.start),
                 source.splitlines()[change.line - 1].strip(), change.describe(source).split(": ", 1)[1])


def read_equivalents(table: Path = TABLE) -> Equivalents:
    """The entries of the table; a field that is missing or unknown is a TypeError."""
    reasons: dict[Place, str] = {}
    for entry in tomllib.loads(table.read_text()).get("change", []):
        reason = entry.pop("reason")
        reasons[Place(**entry)] = reason
    return Equivalents(reasons)

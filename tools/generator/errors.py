"""Errors of the catalogue, each with the place in the file that a person has to look at."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Place:
    """A line of a catalogue file."""

    path: Path
    line: int

    def __str__(self) -> str:
        return f"{self.path}:{self.line}"


class CatalogueError(Exception):
    """A catalogue that does not hold together; the build stops with file, line and reason."""

    def __init__(self, place: Place, reason: str) -> None:
        super().__init__(f"{place}: {reason}")
        self.place = place
        self.reason = reason


class Findings(Exception):
    """What a check has found, as text to print; the command fails."""

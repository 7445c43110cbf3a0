"""The lines of a catalogue file: what all of its kinds have in common, whatever a line says."""

from __future__ import annotations

from collections.abc import Iterator
from pathlib import Path

from .errors import Place


def read_rows(path: Path) -> Iterator[tuple[Place, str]]:
    """The lines that say something, with their places, without comments and what is blank behind the text."""
    for number, raw in enumerate(path.read_text().splitlines(), 1):
        text = raw.split("#", 1)[0].rstrip()
        if text:
            yield Place(path, number), text


def read_optional_rows(path: Path) -> Iterator[tuple[Place, str]]:
    """The same of a table that an assembly can do without: none where there is no file."""
    if path.exists():
        yield from read_rows(path)

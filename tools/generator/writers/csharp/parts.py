"""Prints the hand-written parts of a class library as they are compiled: with the texts of the catalogue.

A comment stands above each member that carries the name of an entry point (implemented.py), so that editors show the
same words for generated and hand-written members. Lines keep the numbers that they have in the source.
"""

from __future__ import annotations

import re
from pathlib import Path

from ...entry_points import declared_overloads, declared_properties, of_getter, of_overload
from ...errors import CatalogueError, Place
from ...model import Model
from .documentation import XmlDocumentation
from .implemented import OF_OBJECTS, Parts

_MARK = re.compile(r'( *)\[Implements\("(\w+)"')


class DocumentedParts:
    """The hand-written parts of one class library."""

    def __init__(self, model: Model, directory: Path) -> None:
        self._directory = directory
        self._documentation = XmlDocumentation(model)
        self._types = {entry.full_name: entry for entry in model.types}
        self._comments: dict[str, dict[str, list[str]]] = {}

    def _comment(self, full_name: str, mark: str) -> list[str]:
        """The comment of a member of a type, by the name of its entry point."""
        if mark in OF_OBJECTS:
            return ["/// <inheritdoc/>"]
        if full_name not in self._comments:
            entry, words = self._types[full_name], self._documentation
            self._comments[full_name] = {
                **{of_getter(prop).name: words.of_property(prop) for prop in declared_properties(entry)},
                **{of_overload(overload).name: words.of_overload(overload)
                   for overload in [*entry.constructors, *declared_overloads(entry)]}}
        return self._comments[full_name][mark]

    def _documented(self, path: Path) -> list[str]:
        parts, lines = Parts(), path.read_text().splitlines()
        made = [f'#line 1 "{path.name}"']
        for number, line in enumerate(lines, 1):
            parts.read(line)
            mark = _MARK.match(line)
            if mark and not _MARK.match(lines[number - 2]):
                if lines[number - 2].lstrip().startswith("///"):
                    raise CatalogueError(Place(path, number), f"{mark[2]} has its comment from the catalogue")
                made += [mark[1] + comment for comment in self._comment(parts.entry, mark[2])]
                made.append(f'#line {number} "{path.name}"')
            made.append(line)
        return made

    def files(self) -> dict[str, list[str]]:
        """All files by name."""
        return {".".join(("part", *path.relative_to(self._directory).parts)): self._documented(path)
                for path in sorted(self._directory.rglob("*.cs"))}

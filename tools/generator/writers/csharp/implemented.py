"""What the hand-written parts of the class library do: the members that they mark as theirs.

A hand-written member stands in a partial class and carries the name of an entry point, `[Implements("call_000_Crop")]`.
The generator leaves out what it would otherwise write for it. A property is marked by its getter's entry point.

A Python file or collection that a member gets is released when .NET has no use for it any more, which only a garbage
collection finds out. A method that uses its arguments during the call alone says so by `Lends = true` in its mark, and
they are released at the end of the call.

Where the class library says `[assembly: HasPictureLibrary]`, objects live in the picture library, a native one: those
of all classes without a hand-written part.
"""

from __future__ import annotations

import re
from pathlib import Path

from ...entry_points import members_of
from ...errors import CatalogueError, Place
from ...model import Model, Type

_NAMESPACE = re.compile(r"^namespace ([\w.]+);")
_TYPE = re.compile(r"^public (?:(?:static|abstract|sealed|readonly) )*partial (?:class|struct|interface) (\w+)")
_MARK = re.compile(r'\[Implements\("(\w+)"(, Lends = true)?\)\]')
_LIBRARY = "[assembly: HasPictureLibrary]"
# Members that no entry point names: those that every object has, and that of collections.
OF_OBJECTS = ("Equals", "Dispose", "GetEnumerator")


class Parts:
    """Which type the lines of a file belong to, read one after the other."""

    def __init__(self) -> None:
        self.namespace, self.entry = "", ""

    def read(self, line: str) -> None:
        """The next line."""
        if found := _NAMESPACE.match(line):
            self.namespace = found[1]
        elif found := _TYPE.match(line):
            self.entry = f"{self.namespace}.{found[1]}"


class Implemented:
    """The marked members of all types."""

    def __init__(self, directory: Path | None) -> None:
        self._marks: dict[str, dict[str, Place]] = {}
        self._lends: set[tuple[str, str]] = set()
        self._written: set[str] = set()
        self._has_library = False
        for path in sorted(directory.rglob("*.cs")) if directory is not None else ():
            self._read(path)

    def _read(self, path: Path) -> None:
        parts = Parts()
        for number, line in enumerate(path.read_text().splitlines(), 1):
            parts.read(line)
            entry = parts.entry
            if entry:
                self._written.add(entry)
            if line == _LIBRARY:
                self._has_library = True
            for mark, lends in _MARK.findall(line):
                if lends:
                    self._lends.add((entry, mark))
                marks = self._marks.setdefault(entry, {})
                if mark in marks:
                    raise CatalogueError(Place(path, number), f"{entry} implements {mark} twice")
                marks[mark] = Place(path, number)

    def has(self, full_name: str, mark: str) -> bool:
        """Whether a type has a hand-written member with this mark."""
        return mark in self._marks.get(full_name, ())

    def keeps(self, full_name: str, mark: str) -> bool:
        """Whether a hand-written member may keep its arguments beyond the call."""
        return self.has(full_name, mark) and (full_name, mark) not in self._lends

    @property
    def has_library(self) -> bool:
        """Whether there is a picture library for the types of the catalogue."""
        return self._has_library

    def in_library(self, entry: Type) -> bool:
        """Whether the objects of a class live in the picture library."""
        return self._has_library and entry.full_name not in self._written

    def check(self, model: Model) -> None:
        """Refuses marks that name no entry point."""
        types = {entry.full_name: entry for entry in model.types}
        for full_name, marks in self._marks.items():
            entry = types.get(full_name)
            known = {point.name for point in members_of(entry)} if entry is not None else set()
            for mark, place in marks.items():
                if entry is None or mark not in (*known, *OF_OBJECTS):
                    raise CatalogueError(place, f"{full_name} has no entry point {mark}")

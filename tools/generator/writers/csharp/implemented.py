"""What the hand-written parts of the class library do: the members that they mark as theirs.

A hand-written member stands in a partial class and carries the name of an entry point, `[Implements("call_000_Crop")]`.
The generator leaves out what it would otherwise write for it. A property is marked by its getter's entry point.

A Python file or collection that a member gets is released when .NET has no use for it any more, which only a garbage
collection finds out. A method that uses its arguments during the call alone says so by `Lends = true` in its mark, and
they are released at the end of the call.

Objects of some classes live in the picture library, a native one. A line like
`[assembly: InPictureLibrary("Zelmor.Imaging.Image")]` says so of a class and of all that derive from it.
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
_IN_LIBRARY = re.compile(r'^\[assembly: InPictureLibrary\("([\w.]+)"\)\]')
# Members that no entry point names: those that every object has, and that of collections.
OF_OBJECTS = ("Equals", "Dispose", "GetEnumerator")


class Implemented:
    """The marked members of all types."""

    def __init__(self, directory: Path | None) -> None:
        self._marks: dict[str, dict[str, Place]] = {}
        self._lends: set[tuple[str, str]] = set()
        self._in_library: dict[str, Place] = {}
        for path in sorted(directory.rglob("*.cs")) if directory is not None else ():
            self._read(path)

    def _read(self, path: Path) -> None:
        namespace, entry = "", ""
        for number, line in enumerate(path.read_text().splitlines(), 1):
            if found := _IN_LIBRARY.match(line):
                self._in_library[found[1]] = Place(path, number)
            elif found := _NAMESPACE.match(line):
                namespace = found[1]
            elif found := _TYPE.match(line):
                entry = f"{namespace}.{found[1]}"
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
        return bool(self._in_library)

    def in_library(self, entry: Type) -> bool:
        """Whether the objects of a class live in the picture library."""
        return any(owner.full_name in self._in_library for owner in (entry, *entry.bases()))

    def check(self, model: Model) -> None:
        """Refuses marks that name no entry point, and those of classes that there are not."""
        types = {entry.full_name: entry for entry in model.types}
        for full_name, place in self._in_library.items():
            if full_name not in types or types[full_name].kind != "class":
                raise CatalogueError(place, f"{full_name} is no class")
        for full_name, marks in self._marks.items():
            entry = types.get(full_name)
            known = {point.name for point in members_of(entry)} if entry is not None else set()
            for mark, place in marks.items():
                if entry is None or mark not in (*known, *OF_OBJECTS):
                    raise CatalogueError(place, f"{full_name} has no entry point {mark}")

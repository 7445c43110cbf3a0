"""A copy of a catalogue that is changed line by line, and written back file by file."""

from __future__ import annotations

import re
import shutil
from collections.abc import Callable
from dataclasses import replace
from pathlib import Path

from tools.generator.builder import Builder
from tools.generator.catalogue import Catalogue, MemberLine, TypeLine, read_catalogue
from tools.generator.collections import read_collections
from tools.generator.errors import Place
from tools.generator.identifiers import Identifiers
from tools.generator.model import Model
from tools.generator.property_types import check_collections
from tools.generator.records import read_layouts

from .lines import member_text, type_text

_INDENT = "    "


class Draft:
    """The copy in a directory of its own. The lines that were read stand until `settle` writes the changed ones."""

    def __init__(self, catalogue: Path, directory: Path) -> None:
        self._catalogue = catalogue
        self.directory = directory
        shutil.copytree(catalogue, directory)
        self._texts: dict[Path, list[str | None]] = {}
        self._behind: dict[Place, list[str]] = {}
        self.lines: Catalogue
        self.builder: Builder
        self.model: Model
        self.read()

    def read(self) -> None:
        """Reads the copy; a catalogue that does not hold together is a CatalogueError."""
        self.lines = read_catalogue(self.directory)
        self.builder = Builder(self.lines, Identifiers.read(self.directory / "identifiers.tab"),
                               read_collections(self.directory / "collections.tab"))
        self.model = self.builder.build()

    def check(self) -> None:
        """Checks what the writers rely on beside the catalogue: uses of collections, and the layouts of records."""
        check_collections(self.model)
        read_layouts(self._catalogue.parent / "records", self.model)

    # -- changing lines ---------------------------------------------------------------------------------------------

    def text(self, path: Path) -> list[str | None]:
        """The lines of a file; None is one that goes."""
        if path not in self._texts:
            self._texts[path] = list(path.read_text().splitlines())
        return self._texts[path]

    def line(self, place: Place) -> str:
        """The text of a line."""
        return self.text(place.path)[place.line - 1] or ""

    def replace(self, place: Place, text: str) -> None:
        """Puts another text in a line; what stands behind # stays."""
        old = self.line(place)
        comment = re.search(r"\s*#.*", old)
        self.text(place.path)[place.line - 1] = text + (comment[0] if comment else "")

    def remove(self, place: Place) -> None:
        """Takes a line away."""
        self.text(place.path)[place.line - 1] = None

    def insert(self, place: Place, text: str) -> None:
        """Puts a line behind another, and behind what was put there before."""
        self.text(place.path)
        self._behind.setdefault(place, []).append(text)

    def member(self, line: MemberLine) -> None:
        """Writes a member line in its place."""
        self.replace(line.place, f"{_INDENT}{member_text(line)}")

    def insert_member(self, place: Place, line: MemberLine) -> None:
        """Writes a new member line behind a place."""
        self.insert(place, f"{_INDENT}{member_text(line)}")

    def type(self, line: TypeLine) -> None:
        """Writes a type line in its place."""
        self.replace(line.place, type_text(line))

    def words(self, path: Path, change: Callable[[str], str]) -> None:
        """Changes the lines of a table that are no comments."""
        if path.exists():
            lines = self.text(path)
            for at, line in enumerate(lines):
                if line is not None and not line.startswith("#"):
                    lines[at] = change(line)

    def word(self, word: str, home: str, namespace: str) -> str:
        """A type's word of one namespace as another one has to write it."""
        def change(found: re.Match[str]) -> str:
            name = found[0]
            if name not in self.builder.names:
                return name
            entry = self.builder.find(Place(self.directory, 0), name, home)
            return name if len(self.builder.names[name]) == 1 or entry.namespace == namespace else entry.full_name

        return re.sub(r"[\w.]+", change, word)

    def elsewhere(self, line: MemberLine, home: str, namespace: str) -> MemberLine:
        """The line as a type of another namespace repeats it."""
        params = tuple(replace(param, type=self.word(param.type, home, namespace)) for param in line.params)
        return replace(line, params=params, reason=None,
                       type=self.word(line.type, home, namespace) if line.type else None)

    def settle(self) -> None:
        """Writes the changed lines to the copy and reads it again."""
        self.save()
        self.read()

    def save(self) -> None:
        """Writes the changed lines to the copy."""
        for path, lines in self._texts.items():
            written: list[str] = []
            for number, line in enumerate(lines, 1):
                written += [line] if line is not None else []
                written += self._behind.get(Place(path, number), [])
            path.write_text("\n".join(written) + "\n")
        self._texts, self._behind = {}, {}

    # -- the result -------------------------------------------------------------------------------------------------

    def changed(self) -> list[Path]:
        """The files of the copy that differ from the catalogue, by their names."""
        return [path for path in sorted(self.directory.iterdir())
                if path.is_file() and path.read_bytes() != (self._catalogue / path.name).read_bytes()]

    def write_back(self) -> list[Path]:
        """Puts the changed files into the catalogue, each as a whole."""
        written = []
        for path in self.changed():
            target = self._catalogue / path.name
            beside = target.with_name(f".{target.name}.harvest")
            beside.write_bytes(path.read_bytes())
            beside.replace(target)
            written.append(target)
        return written

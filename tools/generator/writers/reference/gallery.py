"""The hand-written pages of the site, which show programs and the pictures that these made.

A line `{{ name }}` of such a page stands for the picture and the program of that name, a line `{{ code name }}` for the
program alone. The pictures are made by running the programs before the site is written.
"""

from __future__ import annotations

import ast
import re
from dataclasses import dataclass
from pathlib import Path

from ...errors import CatalogueError, Place

_SHOWN = re.compile(r"\{\{ (?P<code>code )?(?P<name>\w+) \}\}")


@dataclass(frozen=True)
class Program:
    """A program of the gallery: what it shows, its lines, and the picture that it made."""

    name: str
    title: str
    lines: list[str]
    picture: Path | None

    @property
    def picture_page(self) -> str:
        """Where the picture lies on the site."""
        assert self.picture is not None
        return f"gallery/{self.picture.name}"

    def code(self) -> list[str]:
        """The program as Markdown."""
        return ["```python", *self.lines, "```"]

    def shown(self) -> list[str]:
        """The title, the picture and the program as Markdown."""
        picture = [f"![{self.title}]({self.picture_page})", ""] if self.picture is not None else []
        return [f"{self.title}", "", *picture, f'??? example "{self.name}.py"', "",
                *(f"    {line}" if line else "" for line in self.code())]


def read_programs(folder: Path, pictures: Path) -> dict[str, Program]:
    """The programs of a folder; what a program made lies below the folder of its name, under its name."""
    found = {}
    for path in sorted(folder.glob("*.py")):
        text = path.read_text()
        title = ast.get_docstring(ast.parse(text)) or ""
        made = [picture for suffix in ("png", "gif") for picture in [pictures / path.stem / f"{path.stem}.{suffix}"]
                if picture.is_file()]
        lines = text.rstrip("\n").split("\n")[1:]
        found[path.stem] = Program(path.stem, title, lines[1:] if lines and not lines[0] else lines,
                                   made[0] if made else None)
    return found


def shown_page(path: Path, programs: dict[str, Program]) -> list[str]:
    """A page with the programs that it names."""
    lines: list[str] = []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        match = _SHOWN.fullmatch(line)
        if match is None:
            lines.append(line)
            continue
        program = programs.get(match["name"])
        if program is None:
            raise CatalogueError(Place(path, number), f"there is no program {match['name']} in the gallery")
        lines += program.code() if match["code"] else program.shown()
    return lines

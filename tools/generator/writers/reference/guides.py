"""The guides of the site: the pages of the project's documentation folder, in groups for the navigation."""

from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

#: Guides on how the project is made; all others are for those who use the library.
DEVELOPMENT = ("architecture", "catalogue", "dotnet", "lifetimes", "packaging", "performance", "testing")
#: A link to a file of the project that is no guide, and so has no page on the site.
_OUTSIDE = re.compile(r"(?<!!)\[([^\]]*)\]\(\.\./[^)]*\)")
_HEADING = re.compile(r"(#+) (.*)")


@dataclass(frozen=True)
class Section:
    """A heading of a guide with the text below it."""

    title: str
    level: int
    text: str

    @property
    def anchor(self) -> str:
        """The name by which links lead to the heading, as Python's Markdown makes it."""
        plain = re.sub(r"[^\w\s-]", "", self.title.replace("`", "")).strip().lower()
        return re.sub(r"[-\s]+", "-", plain)


def sections(text: str) -> list[Section]:
    """The sections of a page; what stands in code is no heading."""
    found: list[tuple[str, int, list[str]]] = []
    in_code = False
    for line in text.splitlines():
        in_code ^= line.startswith("```")
        match = None if in_code else _HEADING.fullmatch(line)
        if match is not None:
            found.append((match[2], len(match[1]), []))
        elif found:
            found[-1][2].append(line)
    return [Section(title, level, " ".join(lines)) for title, level, lines in found]


@dataclass(frozen=True)
class Guide:
    """One page of the documentation folder."""

    path: Path

    @property
    def page(self) -> str:
        """Its page on the site."""
        return f"guide/{self.path.name}"

    def text(self) -> str:
        """The text as the site has it: of links to files of the project that have no page, their texts are left."""
        return _OUTSIDE.sub(r"\1", self.path.read_text())

    @property
    def title(self) -> str:
        """Its first heading."""
        return sections(self.text())[0].title

    @property
    def for_developers(self) -> bool:
        """Whether it is about how the project is made."""
        return self.path.stem in DEVELOPMENT


def read_guides(folder: Path) -> list[Guide]:
    """All guides of a folder, by title."""
    return sorted((Guide(path) for path in folder.glob("*.md")), key=lambda guide: guide.title.lower())

"""Writes docs/cookbook.md from the programs in examples/cookbook.

    python3 -m tools.cookbook_page

The first line of a program's docstring is the heading, the rest the text above the program. `contents.txt` has the
order. A test fails if the page is not what this writes.
"""

from __future__ import annotations

import ast
import re
import sys
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).parents[1]
COOKBOOK = ROOT / "examples" / "cookbook"
PAGE = ROOT / "docs" / "cookbook.md"

HEAD = """\
# Cookbook

Jobs that people come for, each as a program. The programs are in [examples/cookbook](../examples/cookbook) and are run
by the tests, which make the pictures and look at the results with other libraries. This page is written from them
(`python3 -m tools.cookbook_page`).

`zelmor.open` is described in [package.md](package.md), arrays in [arrays.md](arrays.md). If you know Pillow, begin
with [from_pillow.md](from_pillow.md).
"""


@dataclass
class Section:
    """A part of the page."""

    title: str
    programs: list[str] = field(default_factory=list)


def sections() -> list[Section]:
    """The sections with the names of their programs."""
    found: list[Section] = []
    for line in (COOKBOOK / "contents.txt").read_text().splitlines():
        if line.startswith(" "):
            found[-1].programs.append(line.strip())
        elif line and not line.startswith("#"):
            found.append(Section(line))
    return found


@dataclass
class Program:
    """A program: its heading, its text, and what is left of it."""

    title: str
    text: str
    code: str


def program(name: str) -> Program:
    """The program of a name."""
    source = (COOKBOOK / f"{name}.py").read_text()
    tree = ast.parse(source)
    title, _, text = (ast.get_docstring(tree) or "").partition("\n\n")
    end = tree.body[0].end_lineno
    assert title and text and end is not None, f"{name}.py begins with a heading and a text"
    code = "\n".join(source.splitlines()[end:]).strip("\n")
    return Program(title, re.sub(r"\bdocs/(\w+)\.md", r"[\1.md](\1.md)", text), code)


def anchor(title: str) -> str:
    """The place of a heading on the page."""
    return re.sub(r"[^\w -]", "", title.lower()).replace(" ", "-")


def page() -> str:
    """The page."""
    parts = [HEAD]
    for section in sections():
        titles = [program(name).title for name in section.programs]
        parts.append("\n".join([f"*{section.title}*\n", *(f"- [{title}](#{anchor(title)})" for title in titles), ""]))
    for section in sections():
        parts.append(f"## {section.title}\n")
        for name in section.programs:
            shown = program(name)
            parts.append(f"### {shown.title}\n\n{shown.text}\n\n```python\n{shown.code}\n```\n")
    return "\n".join(parts).rstrip("\n") + "\n"


def main() -> int:
    PAGE.write_text(page())
    return 0


if __name__ == "__main__":
    sys.exit(main())

"""What the search of the site finds: modules, types and members by name, and the sections of the guides.

An entry is a title, an address on the site, a text and a weight, by which entries that fit a query equally well are
ordered. The search itself is docs/site/search.js.
"""

from __future__ import annotations

import posixpath
import re

from ...documentation import CONSTRUCTOR, described_members
from ...model import Type
from . import markdown as md
from .guides import Guide, sections
from .pages import ReferenceWriter

Entry = tuple[str, str, str, int]

# Weights: what people look for most often comes first.
_TYPE, _MODULE, _GUIDE, _SECTION, _MEMBER = 8, 7, 9, 6, 3
_EXAMPLE, _ROOT = 4, 2  # more for types with an example, and for those of the root module
_LONGEST = 300


def _address(page: str) -> str:
    path, mark, heading = page.partition("#")
    return posixpath.splitext(path)[0] + ".html" + mark + heading


def _plain(text: str) -> str:
    """A text of Markdown without its marks, shortened."""
    text = re.sub(r"```.*?```|!?\[([^\]]*)\]\([^)]*\)|[`*|#]|-{3,}",
                  lambda match: match[1] or "", text, flags=re.DOTALL)
    text = " ".join(text.split())
    return text if len(text) <= _LONGEST else text[:_LONGEST].rsplit(" ", 1)[0] + " ..."


def search_entries(writer: ReferenceWriter, guides: list[Guide]) -> list[Entry]:
    """All entries."""
    words = writer.universe.words
    found: list[Entry] = []
    for guide in guides:
        for number, section in enumerate(sections(guide.text())):
            page = guide.page if number == 0 else f"{guide.page}#{section.anchor}"
            title = section.title.replace("`", "")
            found.append((title if number == 0 else f"{title} - {guide.title}", _address(page), _plain(section.text),
                          _GUIDE if number == 0 else _SECTION))
    for module in writer.modules:
        found.append((module.name, _address(md.module_page(module.name)), _plain(words.of_module(module)), _MODULE))
        for entry in module.types:
            found += _of_type(writer, entry, _ROOT if module.name.count(".") == 1 else 0)
    return found


def _of_type(writer: ReferenceWriter, entry: Type, more: int) -> list[Entry]:
    words, page = writer.universe.words, md.page_of(entry)
    more += _EXAMPLE if entry in writer.examples else 0
    found = [(entry.name, _address(page), f"{_plain(words.of_type(entry))} ({entry.module})", _TYPE + more)]
    for python in described_members(entry):
        if python != CONSTRUCTOR:
            found.append((f"{entry.name}.{python}", _address(f"{page}#{python}"),
                          _plain(words.of_member(entry, python)), _MEMBER + more))
    return found

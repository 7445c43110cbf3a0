"""Markdown of the API reference: annotations with links in them, tables, and relative addresses of pages."""

from __future__ import annotations

import os
import re
from collections.abc import Sequence
from dataclasses import dataclass

from ...model import Model, Type
from ..stubs.annotations import Scope, Universe
from ..stubs.words import GENERIC, INTEROP, SUPPORT

#: The guide page that tells what the names stand for which are no types of the module.
SHARED_NAMES = "guide/stubs.md#shared-names"
#: The page of the closed generic collections.
COLLECTIONS_PAGE = "collections.md"
_LINK = re.compile("\x01([^\x02]*)\x02([^\x03]*)\x03")


def page_of(entry: Type) -> str:
    """The page of a class or enumeration."""
    return f"{entry.module}/{entry.name}.md"


def module_page(module: str) -> str:
    """The page of a module."""
    return f"{module}/index.md"


def address(target: str, origin: str) -> str:
    """The relative address of a page (with or without a heading) from another."""
    path, mark, heading = target.partition("#")
    return os.path.relpath(path, os.path.dirname(origin) or ".") + mark + heading


def escaped(text: str) -> str:
    """Text that Markdown, in a table as well, shows as it is."""
    return re.sub(r"([\\`*_\[\]|<>])", r"\\\1", text)


def code(text: str) -> str:
    """A piece of code in a line or in a table."""
    return f"`{text}`"


def link(text: str, target: str, origin: str) -> str:
    """A link to another page."""
    return f"[{escaped(text)}]({address(target, origin)})"


def table(head: tuple[str, ...], rows: Sequence[tuple[str, ...]]) -> list[str]:
    """A table with an empty line behind it, or nothing if it has no rows."""
    if not rows:
        return []
    return [f"| {' | '.join(head)} |", "|" + "---|" * len(head), *(f"| {' | '.join(row)} |" for row in rows), ""]


class LinkedUniverse(Universe):
    """All assemblies, with the addresses of their pages."""

    def __init__(self, models: list[Model]) -> None:
        super().__init__(models)
        #: The page of each type, by module and name.
        self.pages = {(entry.module, entry.name): page_of(entry) for entry in self.types}
        #: The interfaces by the name that stands for all that implement them.
        self.interfaces = {f"{entry.name}Like": entry for entry in self.types if entry.kind == "interface"}


@dataclass
class LinkedScope(Scope):
    """A scope whose names are links to the pages of what they mean."""

    universe: LinkedUniverse
    page: str = ""

    def name(self, module: str, name: str) -> str:
        """A name, as a link where there is a page."""
        target = self._target(module, name)
        return name.lstrip("_") if target is None else f"\x01{name}\x02{address(target, self.page)}\x03"

    def support(self, name: str) -> str:
        """A name of the module that the stubs share; that of an interface goes to the interface."""
        entry = self.universe.interfaces.get(name)
        if entry is not None:
            return f"\x01{entry.name}\x02{address(page_of(entry), self.page)}\x03"
        return self.name(SUPPORT, name)

    def _target(self, module: str, name: str) -> str | None:
        if module == SUPPORT:
            return COLLECTIONS_PAGE if name in self.universe.collection_names else SHARED_NAMES
        if module in (INTEROP, GENERIC):
            return SHARED_NAMES
        return self.universe.pages.get((module, name))

    def shown(self, text: str) -> str:
        """An annotation made by this scope, as Markdown."""
        parts = _LINK.split(text)
        out = [escaped(parts[0])]
        for number in range(1, len(parts), 3):
            out += [f"[{escaped(parts[number])}]({parts[number + 1]})", escaped(parts[number + 2])]
        return "".join(out)

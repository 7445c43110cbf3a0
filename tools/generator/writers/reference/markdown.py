"""Markdown of the API reference: annotations and texts with links in them, tables, and relative addresses of pages."""

from __future__ import annotations

import os
import re
from collections.abc import Sequence
from dataclasses import dataclass

from ...documentation import CONSTRUCTOR
from ...model import Model, Type
from ..stubs.annotations import Scope, Universe
from ..stubs.words import GENERIC, INTEROP, SUPPORT

#: The guide page that tells what the names stand for which are no types of the module.
SHARED_NAMES = "guide/stubs.md#shared-names"
#: The page of the closed generic collections.
COLLECTIONS_PAGE = "collections.md"
_LINK = re.compile("\x01([^\x02]*)\x02([^\x03]*)\x03")
_SENTENCE = re.compile(r"(?<=[^.\s][.?!])\s+(?=[A-Z`])")


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


def section(title: str) -> list[str]:
    """The heading of a part of a page; its name for links cannot be that of a member."""
    slug = re.sub(r"[^a-z]+", "-", title.lower())
    return [f"## {title} {{ #section-{slug} }}", ""]


def anchor(name: str) -> str:
    """A place in a table that links can lead to."""
    return f'<a id="{name}"></a>'


def with_facts(text: str, *facts: str) -> str:
    """A text in a table with smaller facts below it."""
    shown = f'<span class="facts">{"; ".join(filter(None, facts))}</span>'
    return f"{text} {shown}" if text else shown


def first_sentence(text: str) -> str:
    """The first sentence of a text: what a list shows of it."""
    return _SENTENCE.split(text, maxsplit=1)[0]


def table(head: tuple[str, ...], rows: Sequence[tuple[str, ...]]) -> list[str]:
    """A table with an empty line behind it, without columns that are empty in all rows; nothing if it has no rows."""
    if not rows:
        return []
    kept = [number for number in range(len(head)) if any(row[number] for row in rows)]
    shown = [[row[number] for number in kept] for row in (head, *rows)]
    lines = [f"| {' | '.join(row)} |" for row in shown]
    return [lines[0], "|" + "---|" * len(kept), *lines[1:], ""]


class LinkedUniverse(Universe):
    """All assemblies, with the addresses of their pages."""

    def __init__(self, models: list[Model]) -> None:
        super().__init__(models)
        #: The page of each type, by module and name.
        self.pages = {(entry.module, entry.name): page_of(entry) for entry in self.types}
        #: The interfaces by the name that stands for all that implement them.
        self.interfaces = {f"{entry.name}Like": entry for entry in self.types if entry.kind == "interface"}
        self._modules = {module.name for model in models for module in model.modules}
        self._dotted = {entry.dotted: entry for entry in self.types}
        self._named: dict[str, list[Type]] = {}
        for entry in self.types:
            self._named.setdefault(entry.name, []).append(entry)

    def target(self, code_name: str, near: Type | None, module: str) -> str | None:
        """The address of what a piece of code in a text names: a module, a type, or a member of a type.

        A plain name is that of a member of the type that the text is about, or else of a type.
        """
        name = code_name.removesuffix("()")
        if name in self._modules:
            return module_page(name)
        if near is not None and (found := self.member(near, name)) is not None:
            return found
        entry = self.find_type(name, module)
        if entry is not None:
            return page_of(entry)
        owner, _, python = name.rpartition(".")
        entry = self.find_type(owner, module)
        return None if entry is None else self.member(entry, python)

    def find_type(self, name: str, module: str) -> Type | None:
        """The type of a dotted or plain name: that of a module or of the nearest one above it, or else the only one."""
        found = self._dotted.get(name)
        while found is None and module:
            found = self._dotted.get(f"{module}.{name}")
            module = module.rpartition(".")[0]
        candidates = self._named.get(name, [])
        return found if found is not None else candidates[0] if len(candidates) == 1 else None

    @staticmethod
    def member(entry: Type, python: str) -> str | None:
        """The address of a member, on the page of the type that lists it."""
        for owner in [entry, *entry.bases()]:
            names = {name for name, _ in owner.values} | {prop.python for prop in owner.properties}
            names |= {method.python for method in owner.methods}
            if python in names or (python == CONSTRUCTOR and owner is entry and entry.constructors):
                return f"{page_of(owner)}#{python}"
        return None

    def linked(self, text: str, page: str, near: Type | None = None) -> str:
        """A documentation text as Markdown for a page; names in backticks are links where there is something."""
        module = near.module if near is not None else os.path.dirname(page)
        shown = []
        for number, part in enumerate(text.split("`")):
            if number % 2 == 0:
                shown.append(escaped(part))
                continue
            target = self.target(part, near, module)
            shown.append(code(part) if target is None else f"[{code(part)}]({address(target, page)})")
        return "".join(shown)


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

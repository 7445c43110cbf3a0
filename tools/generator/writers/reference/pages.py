"""Writes the pages of the API reference: one for each module, class and enumeration, and tables of what there is.

The signatures are those of the stubs; a page adds the documentation texts and where things lead: bases, derived
classes, who implements an interface, and the page of every type that a member names.
"""

from __future__ import annotations

from ...errors import Findings
from ...model import Model, Module, Type
from ..stubs.collections import typed_names
from . import markdown as md
from .markdown import LinkedScope, LinkedUniverse
from .types import TypePage

#: The page with a table of all modules.
MODULES_PAGE = "modules.md"


class ReferenceWriter:
    """Writes the pages of several assemblies; examples are programs by the name of the type that they are about."""

    def __init__(self, models: list[Model], examples: dict[str, list[str]] | None = None) -> None:
        self.universe = LinkedUniverse(models)
        self.modules = [module for model in models for module in model.modules]
        self.examples = self._examples(examples or {})

    def _examples(self, examples: dict[str, list[str]]) -> dict[Type, list[str]]:
        """The examples by their types, which are found as from the root module."""
        found: dict[Type, list[str]] = {}
        for name, lines in examples.items():
            entry = self.universe.find_type(name, self.modules[0].name)
            if entry is None:
                raise Findings(f"the example {name} is about no type, or about one of several")
            found[entry] = lines
        return found

    def write(self) -> dict[str, list[str]]:
        """All pages by their path, as lines."""
        pages = {MODULES_PAGE: self._overview(), md.COLLECTIONS_PAGE: self._collections()}
        for module in self.modules:
            pages[md.module_page(module.name)] = self._module(module)
            for entry in module.types:
                pages[md.page_of(entry)] = TypePage(self.universe, entry, self.examples.get(entry, [])).lines()
        return pages

    def _summary(self, text: str, page: str, near: Type | None = None) -> str:
        return self.universe.linked(md.first_sentence(text), page, near)

    def _overview(self) -> list[str]:
        words = self.universe.words
        rows = [(md.link(module.name, md.module_page(module.name), MODULES_PAGE),
                 self._summary(words.of_module(module), MODULES_PAGE), str(len(module.wrappers)),
                 str(len(module.enums))) for module in self.modules]
        return ["# Modules", "",
                "Every module, class and enumeration has a page; the search finds classes and members by name. "
                "How to read the types is told in " + md.link("Type stubs", "guide/stubs.md", MODULES_PAGE) + ".", "",
                "A call whose arguments no overload takes raises `TypeError`; where there are several overloads its "
                "value is a list with a message for each, in the order in which they stand here, which is the order in "
                "which they are tried. What goes wrong on the managed side comes as `RuntimeError` with the managed "
                "exception's name and message.", "",
                *md.table(("Module", "What it is for", "Classes", "Enumerations"), rows)]

    def _collections(self) -> list[str]:
        scope = LinkedScope(self.universe, "", set(), page=md.COLLECTIONS_PAGE)
        rows = [(self.universe.collection_name(row, kind), md.code(name), scope.shown(scope.element(row.element)),
                 scope.shown(scope.argument(row.element)))
                for row, kind, name in typed_names(self.universe.collections)]
        return ["# Typed collections", "",
                "Where the managed library has an array or a closed generic collection, results are of one of these "
                "types, each in `zelmor.imaging._wrpgen._generic`. They have the members of a Python list, as far as "
                "the managed collection can do it: an array neither grows nor shrinks, slices and `copy()` give Python "
                "lists. The names in the first column are those by which the type stubs call them.", "",
                *md.table(("Name in stubs", "Type", "Element", "Takes as element"), sorted(rows))]

    def _module(self, module: Module) -> list[str]:
        page, words = md.module_page(module.name), self.universe.words
        lines = [f"# {md.escaped(module.name)}", ""]
        if text := words.of_module(module):
            lines += [self.universe.linked(text, page), ""]
        lines += [f"Managed namespace {md.code(module.namespace)}.", ""]
        parent = next((other for other in self.modules if module in other.children), None)
        if parent is not None:
            lines += [f"Below {md.link(parent.name, md.module_page(parent.name), page)}.", ""]
        if module.children:
            lines += ["## Modules", "",
                      *md.table(("Name", "What it is for"), [
                          (md.link(child.name, md.module_page(child.name), page),
                           self._summary(words.of_module(child), page)) for child in module.children])]
        if module.wrappers:
            rows = [(md.link(entry.name, md.page_of(entry), page), self._summary(words.of_type(entry), page, entry),
                     entry.kind, md.link(entry.base.name, md.page_of(entry.base), page) if entry.base else "")
                    for entry in module.wrappers]
            lines += ["## Classes", "", *md.table(("Name", "What it is", "Kind", "Base"), rows)]
        if module.enums:
            rows = [(md.link(entry.name, md.page_of(entry), page), self._summary(words.of_type(entry), page, entry),
                     "flags" if entry.flags else "plain", str(len(entry.values))) for entry in module.enums]
            lines += ["## Enumerations", "", *md.table(("Name", "What it is", "Kind", "Members"), rows)]
        return lines

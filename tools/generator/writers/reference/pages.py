"""Writes the API reference: a Markdown page for each module, class and enumeration, and the settings of mkdocs.

The signatures are those of the stubs; a page adds where things lead: bases, derived classes, who implements an
interface, and the page of every type that a member names.
"""

from __future__ import annotations

import shutil
from pathlib import Path

from ...model import Method, Model, Module, Overload, Property, Type
from ..stubs.annotations import Scope
from ..stubs.collections import typed_names
from ..stubs.words import RANGES, managed_name
from ..text import write_if_changed
from . import markdown as md
from .markdown import LinkedScope, LinkedUniverse

#: The guide pages that the reference refers to.
GUIDES = ("stubs.md", "editor.md")

_SETTINGS = """# Written by the generator.
site_name: zelmor.imaging
docs_dir: pages
site_dir: html
use_directory_urls: false
theme:
  name: material
  font: false
  features: [navigation.instant, navigation.top]
plugins:
  - search:
      # Words of a name are found, and the whole name as well.
      separator: '[\\s\\-_.,()]+'
markdown_extensions:
  - toc: {permalink: true, toc_depth: 3}
  - tables
  - pymdownx.highlight
  - pymdownx.superfences
nav:
  - Overview: index.md
  - Guide:
      - Type stubs: guide/stubs.md
      - Editors: guide/editor.md
  - Typed collections: collections.md
  - Modules:"""


class ReferenceWriter:
    """Writes the pages of several assemblies."""

    def __init__(self, models: list[Model]) -> None:
        self._universe = LinkedUniverse(models)
        self._modules = [module for model in models for module in model.modules]

    def write(self) -> dict[str, list[str]]:
        """All pages by their path, as lines."""
        pages = {"index.md": self._overview(), md.COLLECTIONS_PAGE: self._collections()}
        for module in self._modules:
            pages[md.module_page(module.name)] = self._module(module)
            for entry in module.types:
                pages[md.page_of(entry)] = self._enumeration(entry) if entry.is_enum else self._class(entry)
        return pages

    def settings(self) -> list[str]:
        """What mkdocs reads; types are reached from their modules, since a list of all on each page helps nobody."""
        return [*_SETTINGS.split("\n"),
                *(f"      - {module.name}: {md.module_page(module.name)}" for module in self._modules)]

    # -- overview and modules ---------------------------------------------------------------------------------------

    def _overview(self) -> list[str]:
        rows = [(md.link(module.name, md.module_page(module.name), "index.md"), md.code(module.namespace),
                 str(len(module.wrappers)), str(len(module.enums))) for module in self._modules]
        return ["# API reference", "",
                "Every module, class and enumeration has a page; the search finds classes and members by name. "
                "How to read the types is told in " + md.link("Type stubs", "guide/stubs.md", "index.md") + ".", "",
                "A call whose arguments no overload takes raises `TypeError`; where there are several overloads its "
                "value is a list with a message for each, in the order in which they stand here, which is the order in "
                "which they are tried. What goes wrong on the managed side comes as `RuntimeError` with the managed "
                "exception's name and message.", "",
                *md.table(("Module", "Managed namespace", "Classes", "Enumerations"), rows)]

    def _collections(self) -> list[str]:
        scope = self._scope(md.COLLECTIONS_PAGE)
        rows = [(self._universe.collection_name(row, kind), md.code(name), scope.shown(scope.element(row.element)),
                 scope.shown(scope.argument(row.element)))
                for row, kind, name in typed_names(self._universe.collections)]
        return ["# Typed collections", "",
                "Where the managed library has an array or a closed generic collection, results are of one of these "
                "types, each in `zelmor.imaging._wrpgen._generic`. They have the members of a Python list, as far as "
                "the managed collection can do it: an array neither grows nor shrinks, slices and `copy()` give Python "
                "lists. The names in the first column are those by which the type stubs call them.", "",
                *md.table(("Name in stubs", "Type", "Element", "Takes as element"), sorted(rows))]

    def _module(self, module: Module) -> list[str]:
        page = md.module_page(module.name)
        lines = [f"# {md.escaped(module.name)}", "", f"Managed namespace {md.code(module.namespace)}.", ""]
        parent = next((other for other in self._modules if module in other.children), None)
        if parent is not None:
            lines += [f"Below {md.link(parent.name, md.module_page(parent.name), page)}.", ""]
        if module.children:
            lines += ["## Modules", "", *(f"- {md.link(child.name, md.module_page(child.name), page)}"
                                          for child in module.children), ""]
        if module.wrappers:
            rows = [(md.link(entry.name, md.page_of(entry), page), entry.kind,
                     md.link(entry.base.name, md.page_of(entry.base), page) if entry.base else "")
                    for entry in module.wrappers]
            lines += ["## Classes", "", *md.table(("Name", "Kind", "Base"), rows)]
        if module.enums:
            rows = [(md.link(entry.name, md.page_of(entry), page), "flags" if entry.flags else "plain",
                     str(len(entry.values))) for entry in module.enums]
            lines += ["## Enumerations", "", *md.table(("Name", "Kind", "Members"), rows)]
        return lines

    # -- classes ----------------------------------------------------------------------------------------------------

    def _scope(self, page: str) -> LinkedScope:
        return LinkedScope(self._universe, "", set(), page=page)

    def _class(self, entry: Type) -> list[str]:
        page = md.page_of(entry)
        scope = self._scope(page)
        lines = [f"# {entry.name}", "", md.code(f"from {entry.module} import {entry.name}"), "",
                 *self._relations(entry, page)]
        lines += ["## Constructors", ""]
        if entry.constructors:
            lines += self._overloads(scope, entry.name, entry.constructors)
        else:
            lines += ["None: calling the class raises `TypeError` \"type has no available constructor\".", ""]
        lines += self._properties(scope, "Properties", [prop for prop in entry.properties if not prop.static])
        lines += self._properties(scope, "Static properties and constants",
                                  [prop for prop in entry.properties if prop.static])
        methods = [method for method in entry.methods if method.overloads or method.static_overload]
        if methods:
            lines += ["## Methods", ""]
        for method in methods:
            lines += self._method(scope, method)
        return lines + self._beyond(entry, page)

    def _relations(self, entry: Type, page: str) -> list[str]:
        def names(types: list[Type]) -> str:
            return ", ".join(md.link(other.name, md.page_of(other), page) for other in types)

        module = md.link(entry.module, md.module_page(entry.module), page)
        lines = [f"Managed {entry.kind} {md.code(entry.full_name)}, in {module}.", ""]
        if entry.bases():
            lines += [f"Bases: {names(entry.bases())}.", ""]
        if derived := self._universe.derived(entry):
            lines += [f"Derived: {names(derived)}.", ""]
        if entry.implemented:
            lines += [f"Implements: {names(entry.implemented)}.", ""]
        if entry.kind == "interface" and (implementers := self._universe.implementers(entry)):
            lines += [f"Implemented by: {names(implementers)}, and what derives from them.", ""]
        if entry.disposable:
            lines += ["A context manager: `with` disposes of the managed object at its end.", ""]
        if entry.kind == "struct":
            lines += ["A value: where it is taken, None is not.", ""]
        return lines

    def _beyond(self, entry: Type, page: str) -> list[str]:
        lines = []
        inherited = [(base, [m.python for m in base.methods if entry.method(m.python) is None]
                      + [p.python for p in base.properties]) for base in entry.bases()]
        rows = [(md.link(base.name, md.page_of(base), page), ", ".join(map(md.code, names)))
                for base, names in inherited if names]
        if rows:
            lines += ["## Inherited", "", *md.table(("From", "Members"), rows)]
        if entry.shared:
            lines += ["## As a collection", "", ", ".join(map(md.code, entry.shared)) + ", with the meaning that these "
                      "have on a Python list.", ""]
        return lines

    def _overloads(self, scope: LinkedScope, name: str, overloads: list[Overload]) -> list[str]:
        lines: list[str] = []
        for overload in overloads:
            lines += ["```python", plain_signature(self._universe, name, overload), "```", ""]
            rows = [(md.code(param.name), scope.shown(_taken(scope, overload, number)),
                     ("by reference, " if param.by_ref else "written to, " if param.written else "")
                     + md.escaped(managed_name(param.wire)), RANGES.get(managed_name(param.wire), ""))
                    for number, param in enumerate(overload.params)]
            lines += md.table(("Parameter", "Takes", "Managed type", "Range"), rows)
            result = overload.result
            if result.kind != "void":
                lines += [f"Gives {scope.shown(scope.value(result))} (managed {md.escaped(managed_name(result))}).", ""]
        return lines

    def _method(self, scope: LinkedScope, method: Method) -> list[str]:
        kind = " (static)" if method.static and not method.mixed else ""
        lines = [f"### {md.code(method.python)}{kind}", ""]
        if method.static_overload is not None:
            lines += ["On the class:", "", *self._overloads(scope, method.python, [method.static_overload]),
                      "On an instance:", ""]
        return lines + self._overloads(scope, method.python, method.overloads)

    @staticmethod
    def _properties(scope: LinkedScope, title: str, properties: list[Property]) -> list[str]:
        rows = []
        for prop in properties:
            given, taken = scope.value(prop.wire), scope.argument(prop.wire)
            access = "read"
            if prop.writable:
                access = f"read, `set_{prop.python}`" if prop.static else "read, write"
            shown = scope.shown(given) + (f", takes {scope.shown(taken)}" if prop.writable and taken != given else "")
            rows.append((md.code(prop.python), shown, access, md.escaped(managed_name(prop.wire)),
                         RANGES.get(managed_name(prop.wire), "") if prop.writable else ""))
        if not rows:
            return []
        return [f"## {title}", "", *md.table(("Name", "Type", "Access", "Managed type", "Range"), rows)]

    # -- enumerations -------------------------------------------------------------------------------------------------

    def _enumeration(self, entry: Type) -> list[str]:
        assert entry.width is not None
        page = md.page_of(entry)
        base = "enum.IntFlag" if entry.flags else "enum.IntEnum"
        rows = [(md.code(name), str(value), f"0x{value & (2 ** 64 - 1):X}" if value >= 0 else "")
                for name, value in entry.values]
        return [f"# {entry.name}", "", md.code(f"from {entry.module} import {entry.name}"), "",
                f"Managed enumeration {md.code(entry.full_name)} of {managed_name(entry.width)}, in "
                f"{md.link(entry.module, md.module_page(entry.module), page)}; an {md.code(base)}. A parameter of this "
                "type takes its members alone, no plain integer.", "",
                *md.table(("Member", "Value", "Hexadecimal"), rows)]


def _taken(scope: Scope, overload: Overload, number: int) -> str:
    param = overload.params[number]
    if param.by_ref:
        return f"list[{scope.argument(param.wire)}]"
    return "writable buffer | None" if param.written else scope.argument(param.wire)


def plain_signature(universe: LinkedUniverse, name: str, overload: Overload) -> str:
    """A signature as code, without links."""
    scope = Scope(universe, overload.owner.module, set())
    params = ", ".join(f"{param.name}: {_taken(scope, overload, number).replace('writable buffer', 'WriteableBuffer')}"
                       for number, param in enumerate(overload.params))
    result = "" if name == overload.owner.name and not overload.python else f" -> {scope.value(overload.result)}"
    return f"{name}({params}){result}"


def write_reference(models: list[Model], out: Path, guides: list[Path]) -> int:
    """Writes all pages below `out`, with the guide pages that they refer to; the number of pages."""
    writer = ReferenceWriter(models)
    files = {out / "pages" / path: lines for path, lines in writer.write().items()}
    for path, lines in files.items():
        write_if_changed(path, lines)
    guide = out / "pages" / "guide"
    guide.mkdir(parents=True, exist_ok=True)
    for source in guides:
        shutil.copyfile(source, guide / source.name)
    write_if_changed(out / "mkdocs.yml", writer.settings())
    kept = {*files, *(guide / source.name for source in guides)}
    for path in (out / "pages").rglob("*.md"):
        if path not in kept:
            path.unlink()
    return len(kept)

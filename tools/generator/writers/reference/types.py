"""The pages of classes and enumerations: what they are for, an example, and their members with texts and signatures."""

from __future__ import annotations

from ...documentation import CONSTRUCTOR
from ...model import Method, Overload, Property, Type
from ..stubs.annotations import Scope
from ..stubs.words import RANGES, managed_name
from . import markdown as md
from .markdown import LinkedScope, LinkedUniverse


class TypePage:
    """Writes the page of one type."""

    def __init__(self, universe: LinkedUniverse, entry: Type, example: list[str]) -> None:
        self._universe = universe
        self._words = universe.words
        self._entry = entry
        self._example = example
        self._page = md.page_of(entry)
        self._scope = LinkedScope(universe, "", set(), page=self._page)

    def lines(self) -> list[str]:
        """The page as lines."""
        return self._enumeration() if self._entry.is_enum else self._class()

    def _linked(self, text: str) -> str:
        return self._universe.linked(text, self._page, self._entry)

    def _paragraph(self, text: str) -> list[str]:
        return [self._linked(text), ""] if text else []

    def _head(self) -> list[str]:
        entry = self._entry
        return [f"# {entry.name}", "", *self._paragraph(self._words.of_type(entry)), "```python",
                f"from {entry.module} import {entry.name}", "```", ""]

    def _examples(self) -> list[str]:
        if not self._example:
            return []
        return [*md.section("Example"), "```python", *self._example, "```", ""]

    # -- classes ----------------------------------------------------------------------------------------------------

    def _class(self) -> list[str]:
        entry = self._entry
        lines = [*self._head(), *self._relations(), *self._examples(), "## Constructors { #ctor }", ""]
        if entry.constructors:
            lines += [*self._paragraph(self._words.of_member(entry, CONSTRUCTOR)),
                      *self._overloads(entry.name, CONSTRUCTOR, entry.constructors), *self._raises(CONSTRUCTOR)]
        else:
            lines += ["None: calling the class raises `TypeError` \"type has no available constructor\".", ""]
        lines += self._properties("Properties", [prop for prop in entry.properties if not prop.static])
        lines += self._properties("Static properties and constants", [prop for prop in entry.properties if prop.static])
        methods = [method for method in entry.methods if method.overloads or method.static_overload]
        if methods:
            lines += md.section("Methods")
        for method in methods:
            lines += self._method(method)
        return lines + self._beyond()

    def _names(self, types: list[Type]) -> str:
        return ", ".join(md.link(other.name, md.page_of(other), self._page) for other in types)

    def _relations(self) -> list[str]:
        entry = self._entry
        module = md.link(entry.module, md.module_page(entry.module), self._page)
        lines = [f"Managed {entry.kind} {md.code(entry.full_name)}, in {module}.", ""]
        if entry.bases():
            lines += [f"Bases: {self._names(entry.bases())}.", ""]
        if derived := self._universe.derived(entry):
            lines += [f"Derived: {self._names(derived)}.", ""]
        if entry.implemented:
            lines += [f"Implements: {self._names(entry.implemented)}.", ""]
        if entry.kind == "interface" and (implementers := self._universe.implementers(entry)):
            lines += [f"Implemented by: {self._names(implementers)}, and what derives from them.", ""]
        if entry.disposable:
            lines += ["A context manager: `with` disposes of the managed object at its end.", ""]
        if entry.kind == "struct":
            lines += ["A value: where it is taken, None is not.", ""]
        return lines

    def _beyond(self) -> list[str]:
        entry, lines = self._entry, []
        rows = []
        for base in entry.bases():
            names = [*(m.python for m in base.methods if entry.method(m.python) is None),
                     *(p.python for p in base.properties)]
            links = ", ".join(f"[{md.code(name)}]({md.address(f'{md.page_of(base)}#{name}', self._page)})"
                              for name in names)
            if names:
                rows.append((md.link(base.name, md.page_of(base), self._page), links))
        if rows:
            lines += [*md.section("Inherited"), *md.table(("From", "Members"), rows)]
        if entry.shared:
            lines += [*md.section("As a collection"), ", ".join(map(md.code, entry.shared)) +
                      ", with the meaning that these have on a Python list.", ""]
        return lines

    # -- calls ------------------------------------------------------------------------------------------------------

    def _method(self, method: Method) -> list[str]:
        lines = [f"### {md.code(method.python)} {{ #{method.python} }}", "",
                 *self._paragraph(self._words.of_member(self._entry, method.python))]
        if method.static_overload is not None:
            lines += ["On the class:", "", *self._overloads(method.python, method.python, [method.static_overload]),
                      "On an instance:", ""]
        elif method.static:
            lines += ["A static method.", ""]
        lines += self._overloads(method.python, method.python, method.overloads)
        result = self._words.of_result(self._entry, method.python)
        return lines + self._paragraph(result and f"Result: {result}") + self._raises(method.python)

    def _raises(self, python: str) -> list[str]:
        errors = self._words.raises(self._entry, python)
        lines = [f"- Raises {md.code(name)}: {self._linked(text)}" for name, text in errors]
        return [*lines, ""] if lines else []

    def _overloads(self, name: str, python: str, overloads: list[Overload]) -> list[str]:
        lines: list[str] = []
        for overload in overloads:
            lines += ["```python", plain_signature(self._universe, name, overload), "```", ""]
            rows = []
            for number, param in enumerate(overload.params):
                kind = "by reference" if param.by_ref else "written to" if param.written else ""
                managed = managed_name(param.wire)
                meaning = self._linked(self._words.of_parameter(self._entry, overload, param.name))
                rows.append((md.code(param.name), self._scope.shown(_taken(self._scope, overload, number)),
                             md.with_facts(meaning, kind, f"managed {md.escaped(managed)}", RANGES.get(managed, ""))))
            lines += md.table(("Parameter", "Takes", "Meaning"), rows)
            result = overload.result
            if result.kind != "void" and python != CONSTRUCTOR:
                lines += [f"Gives {self._scope.shown(self._scope.value(result))} "
                          f"(managed {md.escaped(managed_name(result))}).", ""]
        return lines

    # -- properties and values --------------------------------------------------------------------------------------

    def _properties(self, title: str, properties: list[Property]) -> list[str]:
        rows = []
        for prop in properties:
            given, taken = self._scope.value(prop.wire), self._scope.argument(prop.wire)
            access = "read-only"
            if prop.writable:
                access = f"written by `set_{prop.python}`" if prop.static else ""
            shown = self._scope.shown(given)
            if prop.writable and taken != given:
                shown += f", takes {self._scope.shown(taken)}"
            text = self._linked(self._words.of_member(self._entry, prop.python))
            errors = "".join(f" Raises {md.code(name)}: {self._linked(reason)}"
                             for name, reason in self._words.raises(self._entry, prop.python))
            managed = managed_name(prop.wire)
            meaning = md.with_facts(f"{md.anchor(prop.python)}{text}{errors}", access, f"managed {md.escaped(managed)}",
                                    RANGES.get(managed, "") if prop.writable else "")
            rows.append((md.code(prop.python), shown, meaning))
        return [*md.section(title), *md.table(("Name", "Type", "Meaning"), rows)] if rows else []

    def _enumeration(self) -> list[str]:
        entry = self._entry
        assert entry.width is not None
        base = "enum.IntFlag" if entry.flags else "enum.IntEnum"
        rows = [(md.code(name), str(value), f"0x{value & (2 ** 64 - 1):X}" if value >= 0 else "",
                 md.anchor(name) + self._linked(self._words.of_member(entry, name))) for name, value in entry.values]
        return [*self._head(),
                f"Managed enumeration {md.code(entry.full_name)} of {managed_name(entry.width)}, in "
                f"{md.link(entry.module, md.module_page(entry.module), self._page)}; an {md.code(base)}. A parameter "
                "of this type takes its members alone, no plain integer.", "", *self._examples(),
                *md.section("Members"), *md.table(("Member", "Value", "Hexadecimal", "Meaning"), rows)]


def _taken(scope: Scope, overload: Overload, number: int) -> str:
    param = overload.params[number]
    if param.by_ref:
        return f"list[{scope.argument(param.wire)}]"
    return "writable buffer | None" if param.memory else scope.argument(param.wire)


def plain_signature(universe: LinkedUniverse, name: str, overload: Overload) -> str:
    """A signature as code, without links."""
    scope = Scope(universe, overload.owner.module, set())
    params = ", ".join(f"{param.name}: {_taken(scope, overload, number).replace('writable buffer', 'WriteableBuffer')}"
                       for number, param in enumerate(overload.params))
    result = "" if name == overload.owner.name and not overload.python else f" -> {scope.value(overload.result)}"
    return f"{name}({params}){result}"

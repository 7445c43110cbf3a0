"""What a value is to a type checker: the annotations of parameters, results and properties, and the imports they need.

An annotation says what the converters accept and what the results are, as near as the checker's types come. Two facts
lie beyond them: `bool` and the members of integer enumerations are kinds of `int` to a checker, and are refused.
"""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import dataclass, field

from ...declaration import Declaration
from ...documentation import Documentation
from ...errors import CatalogueError
from ...model import Model, Type
from ...wires import TYPED_SHAPES, Collection, Scalar, SiblingEnumeration, SiblingRecord, Struct, TypedCollection, Wire
from .words import INTEROP, SHAPES, SUPPORT, WIRES


class Universe:
    """All assemblies at once: which module a type is in, who implements an interface, and what is said of members."""

    def __init__(self, models: list[Model]) -> None:
        self.models = models
        self.words = Documentation.of(models)
        self.types = [entry for model in models for entry in model.types]
        self.modules = {module.namespace: module.name for model in models for module in model.modules}
        self.collections = [row for model in models for row in model.collections]
        self._implementers: dict[Declaration, list[Type]] = {}
        for entry in self.types:
            for interface in self._all_interfaces(entry):
                self._implementers.setdefault(interface, []).append(entry)
        self._names = self._collection_names()

    @classmethod
    def _all_interfaces(cls, entry: Type) -> list[Type]:
        found: dict[Type, None] = {}
        for ancestor in [entry, *entry.bases()]:
            for interface in ancestor.implemented:
                found[interface] = None
                found.update(dict.fromkeys(cls._all_interfaces(interface)))
        return list(found)

    def implementers(self, interface: Declaration) -> list[Type]:
        """The types whose instances an interface takes, without those that derive from another of them."""
        everyone = self._implementers.get(interface, [])
        return [entry for entry in everyone if not any(base in everyone for base in entry.bases())]

    def derived(self, entry: Type) -> list[Type]:
        """The types that derive directly from one."""
        return [other for other in self.types if other.base is entry]

    def _collection_names(self) -> dict[tuple[str, str], str]:
        names = {(row.identifier, kind): self.element_name(row.element) + SHAPES[shape].suffix
                 for row in self.collections for kind, shape in TYPED_SHAPES.items() if kind in row.kinds}
        if len(set(names.values())) != len(names):
            raise CatalogueError(self.collections[0].place, "two typed collections would have one name in the stubs")
        return names

    def element_name(self, wire: Wire) -> str:
        """A word for an element type: `Int32`, `Point`, `DrawingColor`."""
        if wire.type is not None:
            return wire.type.name
        if wire.sibling:
            return "Drawing" + wire.sibling.rsplit(".", 1)[-1]
        if wire.collection is not None:
            return self.element_name(wire.collection.element) + "Array"
        return {"bytes": "Bytes"}.get(wire.name) or WIRES[wire.name].managed

    @property
    def collection_names(self) -> set[str]:
        """The words for all typed collections."""
        return set(self._names.values())

    def collection_name(self, row: Collection, kind: str) -> str:
        """The word for a typed collection: `Int32Array`."""
        return self._names[(row.identifier, kind)]


@dataclass
class Scope:
    """The names that one stub file uses: what it defines itself, and what it has to import."""

    universe: Universe
    module: str
    defined: set[str]
    imports: dict[tuple[str, str], str] = field(default_factory=dict)
    shadowed: frozenset[str] = frozenset()  # members of the class at hand that hide builtins of the same name

    def name(self, module: str, name: str) -> str:
        """The text by which a name of a module is meant here."""
        if module == self.module:
            return name
        key = (module, name)
        if key not in self.imports:
            taken = self.defined | set(self.imports.values())
            self.imports[key] = name if name not in taken else f"_{module.rsplit('.', 1)[-1]}_{name}"
        return self.imports[key]

    def builtin(self, name: str) -> str:
        """A builtin, spelled out where the class has a member of that name."""
        if name in self.shadowed:
            self.imports.setdefault(("builtins", ""), "builtins")
            return f"builtins.{name}"
        return name

    def typing(self, name: str) -> str:
        """A name of the typing module."""
        return self.name("typing", name)

    def support(self, name: str) -> str:
        """A name of the module that the stubs share."""
        return self.name(SUPPORT, name)

    def of(self, entry: Declaration) -> str:
        """A class or enumeration."""
        return self.name(entry.module, entry.name)

    def import_lines(self) -> list[str]:
        """The import statements, sorted."""
        lines = [f"import {module}" for module, name in self.imports if not name]
        by_module: dict[str, list[str]] = {}
        for (module, name), text in self.imports.items():
            if name:
                by_module.setdefault(module, []).append(name if text == name else f"{name} as {text}")
        return sorted(lines) + [line for module in sorted(by_module)
                                for line in _import(module, sorted(by_module[module]))]

    # -- annotations -----------------------------------------------------------------------------------------------

    def argument(self, wire: Wire) -> str:
        """What a parameter or a setter takes."""
        return self._one_of(self._accepted(wire))

    def result(self, wire: Wire) -> str:
        """What a method gives; a checker does not insist on a test for None where the managed side may have none."""
        text, nullable = self._given(wire)
        return f"{text} | {self.support('MaybeNone')}" if nullable else text

    def value(self, wire: Wire) -> str:
        """What a property that can be set to None gives."""
        text, nullable = self._given(wire)
        return f"{text} | None" if nullable else text

    def element(self, wire: Wire) -> str:
        """What a collection holds, as it comes out."""
        return self._given(wire)[0]

    def _one_of(self, parts: Iterable[str]) -> str:
        return " | ".join(dict.fromkeys(parts))

    def _plain(self, name: tuple[str, str]) -> str:
        module, text = name
        return self.builtin(text) if module == "builtins" else self.name(module, text)

    def _accepted(self, wire: Wire) -> list[str]:
        words = WIRES.get(wire.name)
        if words is not None:
            return [*map(self._plain, words.accepted), *(["None"] if words.takes_none else [])]
        if isinstance(wire, TypedCollection):
            items = self._one_of(self._accepted(wire.row.element))
            return [self._wrapper(wire), f"{self.name('collections.abc', 'Sequence')}[{items}]", "None"]
        return [self._declared(wire), *([] if self._never_none(wire) else ["None"])]

    @staticmethod
    def _never_none(wire: Wire) -> bool:
        """Whether the wire of a type that has a declaration takes and gives no None."""
        return isinstance(wire, (Scalar, Struct, SiblingRecord, SiblingEnumeration))

    def _declared(self, wire: Wire) -> str:
        """A type of the catalogue or of a sibling module."""
        if wire.type is not None:
            return self.interface(wire.type) if wire.type.kind == "interface" else self.of(wire.type)
        namespace, _, name = wire.sibling.rpartition(".")
        return self.name(self.universe.modules[namespace], name)

    def interface(self, entry: Declaration) -> str:
        """An interface: its own wrapper or that of any class that implements it."""
        if not self.universe.implementers(entry):
            return self.of(entry)
        return self.support(f"{entry.name}Like")

    def _wrapper(self, wire: TypedCollection) -> str:
        kind = wire.name.split(" of ", 1)[0]
        if kind not in wire.row.kinds:  # only ever built from a Python sequence
            return self.name(INTEROP, "_ArrayWrapper")
        return self.support(self.universe.collection_name(wire.row, kind))

    def _given(self, wire: Wire) -> tuple[str, bool]:
        """The annotation of a result, and whether it can be None as well."""
        if wire.kind == "void":
            return "None", False
        words = WIRES.get(wire.name)
        if words is not None:
            return self._plain(words.given), words.gives_none
        if isinstance(wire, TypedCollection):
            return self._wrapper(wire), True
        return self._declared(wire), not self._never_none(wire)


def _import(module: str, names: list[str]) -> list[str]:
    line = f"from {module} import {', '.join(names)}"
    if len(line) <= 120:
        return [line]
    return [f"from {module} import (", *(f"    {name}," for name in names), ")"]

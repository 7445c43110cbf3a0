"""Builds the model from catalogue lines and checks that they hold together.

Every refusal names the file and the line. What is checked: names follow the naming rules or are marked as exceptions;
every type that is named exists; bases and interfaces are of the right kind; the overloads of a
name are the type's own and then the inherited ones, in the order in which the dispatch tries them; an interface has the
members of the interfaces that it extends from these; what is pinned and what is counted is as the tables say.
"""

from __future__ import annotations

from pathlib import Path

from .catalogue import PROPERTY_KINDS, Catalogue, MemberLine, ModuleLine, TypeLine, read_catalogue
from .collections import CollectionLine, read_collections
from .errors import CatalogueError, Place
from .identifiers import Identifiers
from .interfaces import check_inherited
from .model import INTEROP_INTERFACES, Method, Model, Module, Overload, Param, Property, Type
from .naming import snake_case, upper_snake_case
from .pinned import check_pinned, read_pinned
from .property_types import disagreement
from .totals import check_totals, read_totals
from .wires import (NULLABLES, PLAIN_WIRES, SCALARS, TYPED_SHAPES, VOID, Collection, Enumeration, Instance, Interface,
                    Nullable, Scalar, Shape, Struct, TypedCollection, Wire, Words)

_ENUM_WIDTHS = ("uint8", "int16", "uint16", "int32", "uint32", "uint64")
_RANGES = {name: (0, 2 ** int(name[4:]) - 1) if name[0] == "u" else (-(2 ** (int(name[3:]) - 1)),
           2 ** (int(name[3:]) - 1) - 1) for name in _ENUM_WIDTHS}


class Builder:
    """One pass over a catalogue; `build` gives the finished model."""

    def __init__(self, catalogue: Catalogue, identifiers: Identifiers,
                 collections: list[CollectionLine]) -> None:
        self._catalogue = catalogue
        self._collection_lines = collections
        self._identifiers = identifiers
        self._by_full_name: dict[str, Type] = {}
        self.names: dict[str, list[Type]] = {}  # the types by their simple names
        self._lines: dict[Type, TypeLine] = {}
        self._collections: dict[str, Collection] = {}  # by the name of the element's wire

    def build(self) -> Model:
        """The model, or CatalogueError at the first line that does not fit."""
        modules = self._module_tree(self._catalogue.modules)
        by_namespace = {module.namespace: module for module in modules}
        for line in self._catalogue.types:
            module = by_namespace.get(line.namespace)
            if module is None:
                raise CatalogueError(line.place, f"namespace {line.namespace} has no row in modules.tab")
            module.types.append(self._declare(line, module))
        types = list(self._lines)
        for entry in types:
            self._relate(entry)
        self._resolve_collections()
        for entry in self._base_first(types):
            self._members(entry)
        self._publish(types)
        return Model(self._catalogue.directory, self._catalogue.assembly, modules[0], modules, types,
                     list(self._collections.values()))

    def _resolve_collections(self) -> None:
        """Finds the element types of the rows; arrays of arrays name the row of the inner element, so they come last."""
        slots = [line.identifier for line in self._collection_lines if any("argument" in k for k in line.kinds)]
        for line in sorted(self._collection_lines, key=lambda line: line.element.endswith("[]")):
            wire = self.wire(line.place, line.element, "")
            slot = slots.index(line.identifier) if line.identifier in slots else None
            self._collections[wire.name] = Collection(line.place, line.identifier, wire, line.kinds, slot)
        order = {line.identifier: number for number, line in enumerate(self._collection_lines)}
        self._collections = dict(sorted(self._collections.items(), key=lambda item: order[item[1].identifier]))

    def _module_tree(self, lines: list[ModuleLine]) -> list[Module]:
        modules = [Module(line.namespace, line.module, line.identifier) for line in lines]
        by_name = {module.name: module for module in modules}
        place = Place(self._catalogue.directory / "modules.tab", 1)
        if len({module.identifier for module in modules}) != len(modules) or len(by_name) != len(modules):
            raise CatalogueError(place, "a module or an identifier stands twice")
        for module in modules[1:]:
            parent = by_name.get(module.name.rpartition(".")[0])
            if parent is None:
                raise CatalogueError(place, f"{module.name} has no parent module")
            parent.children.append(module)
        for module in modules:
            module.children.sort(key=lambda child: child.namespace)
        return modules

    def _declare(self, line: TypeLine, module: Module) -> Type:
        full_name = f"{line.namespace}.{line.name}"
        if full_name in self._by_full_name:
            raise CatalogueError(line.place, f"{full_name} is there already")
        row = self._identifiers.rows.get(full_name)
        if row is None:
            raise CatalogueError(line.place, f"{full_name} has no row in identifiers.tab; run `make identifiers`")
        kind = "enum" if line.kind.startswith("enum") else line.kind
        entry = Type(line.place, kind, line.namespace, module.name, line.name, *row, line.disposable,
                     line.kind == "enum flags", line.converts)
        if line.converts and kind not in ("class", "struct"):
            raise CatalogueError(line.place, "only classes and structs convert themselves")
        self._by_full_name[full_name] = entry
        self.names.setdefault(line.name, []).append(entry)
        self._lines[entry] = line
        return entry

    # -- types that are named ------------------------------------------------------------------------------------

    def find(self, place: Place, name: str, namespace: str) -> Type:
        """The type of a simple or full name."""
        if name in self._by_full_name:
            return self._by_full_name[name]
        local = self._by_full_name.get(f"{namespace}.{name}")
        if local is not None:
            return local
        candidates = self.names.get(name, [])
        if len(candidates) > 1:
            raise CatalogueError(place, f"{name} is one of several types; write its full name")
        if not candidates:
            raise CatalogueError(place, f"there is no type {name}")
        return candidates[0]

    def wire(self, place: Place, name: str, namespace: str) -> Wire:
        """The wire of a type as a line within a namespace names it."""
        if name in PLAIN_WIRES:
            return PLAIN_WIRES[name]
        if name.endswith("?"):
            return self._nullable(place, self.wire(place, name[:-1], namespace))
        typed = self._element(name)
        if typed is not None:
            return self._typed_collection(place, *typed, namespace)
        entry = self.find(place, name, namespace)
        if entry.is_enum:
            assert entry.width is not None
            return Enumeration(entry.full_name, entry.width.form, entry, entry.width)
        kinds = {"struct": Struct, "interface": Interface}
        return kinds.get(entry.kind, Instance)(entry.full_name, entry)

    @staticmethod
    def _nullable(place: Place, inner: Wire) -> Wire:
        if inner.name not in NULLABLES or not isinstance(inner, Words):
            raise CatalogueError(place, f"{inner.name} does not cross as nullable")
        return Nullable(f"{inner.name}?", inner)

    @staticmethod
    def _element(name: str) -> tuple[str, str] | None:
        """The kind and the element type of a typed collection."""
        if name.endswith("[]"):
            return "array", name[:-2]
        for prefix, kind in (("List[", "list"), ("IList[", "ilist")):
            if name.startswith(prefix) and name.endswith("]"):
                return kind, name[len(prefix):-1]
        for kind in ("iterable", "iterator"):
            if name.startswith(f"{kind} of "):
                return kind, name[len(f"{kind} of "):]
        return None

    def _typed_collection(self, place: Place, kind: str, element: str, namespace: str) -> Wire:
        wire = self.wire(place, element, namespace)
        row = self._collections.get(wire.name)
        if row is None or not {kind, f"{kind}-argument"} & set(row.kinds):
            raise CatalogueError(place, f"collections.tab has no {kind} of {wire.name}")
        return TypedCollection(f"{kind} of {wire.name}", TYPED_SHAPES[kind], row)

    def _relate(self, entry: Type) -> None:
        line = self._lines[entry]
        if entry.is_enum:
            self._enumeration(entry, line)
            return
        if line.base is not None:
            base = self.find(line.place, line.base, line.namespace)
            if entry.kind != "class" or base.kind != "class":
                raise CatalogueError(line.place, "only a class derives, and only from a class")
            if base is entry or entry in base.bases():
                raise CatalogueError(line.place, f"{entry.name} derives from itself")
            entry.base = base
            if base.disposable and not entry.disposable:
                raise CatalogueError(line.place, f"{base.name} is disposable, and so is what derives from it")
        for name in line.interfaces:
            if name in INTEROP_INTERFACES:
                entry.interfaces.append(name)
                continue
            interface = self.find(line.place, name, line.namespace)
            if interface.kind != "interface":
                raise CatalogueError(line.place, f"{name} is no interface")
            entry.interfaces.append(interface)
        for name in line.stands_for:
            interface = self.find(line.place, name, line.namespace)
            if interface.kind != "interface":
                raise CatalogueError(line.place, f"{name} is no interface")
            if interface in entry.implemented:
                raise CatalogueError(line.place, f"{entry.name} has {name} twice")
            entry.stands_for.append(interface)

    def _enumeration(self, entry: Type, line: TypeLine) -> None:
        if line.base not in _ENUM_WIDTHS:
            raise CatalogueError(line.place, f"the width of an enumeration is one of {', '.join(_ENUM_WIDTHS)}")
        entry.width = SCALARS[line.base]
        low, high = _RANGES[line.base]
        if not line.values:
            raise CatalogueError(line.place, f"{entry.name} has no members")
        if len({name for name, _ in line.values}) != len(line.values):
            raise CatalogueError(line.place, f"a member of {entry.name} stands twice")
        for name, value in line.values:
            if not low <= value <= high:
                raise CatalogueError(line.place, f"{name} does not fit {line.base}")
            if name != name.upper() or not name.isidentifier():
                raise CatalogueError(line.place, f"{name} is no name of a member")
        entry.values = line.values

    # -- members --------------------------------------------------------------------------------------------------

    @staticmethod
    def _base_first(types: list[Type]) -> list[Type]:
        done: dict[Type, None] = {}

        def visit(entry: Type) -> None:
            if entry in done:
                return
            for ancestor in [entry.base, *entry.interfaces]:
                if isinstance(ancestor, Type):
                    visit(ancestor)
            done[entry] = None

        for entry in types:
            visit(entry)
        return list(done)

    def _members(self, entry: Type) -> None:
        if entry.is_enum:
            return
        for line in self._lines[entry].members:
            self._check_name(line)
            self._check_reason(line)
            if line.kind == "ctor":
                if line.origin is not None:
                    raise CatalogueError(line.place, "a constructor is not inherited")
                overload = self._overload(entry, line)
                overload.managed, overload.number = entry.name, len(entry.constructors)
                if any(other.signature == overload.signature for other in entry.constructors):
                    raise CatalogueError(line.place, "two constructors take the same types")
                entry.constructors.append(overload)
            elif line.kind == "shared":
                if not {"_IListWrapper", "_IColWrapper"} & set(map(str, entry.interfaces)):
                    raise CatalogueError(line.place, "only a class that is a list or a collection has shared members")
                entry.shared.append(line.python)
            elif line.kind == "items":
                entry.items = next((prop for prop in entry.properties if prop.python == line.python), None)
                if entry.items is None or entry.items.static:
                    raise CatalogueError(line.place, f"{entry.name} has no property {line.python} above this line")
            elif line.kind == "writer":
                entry.writers += self._writer(entry, line)
            elif line.kind in PROPERTY_KINDS:
                self._property(entry, line)
            else:
                self._method(entry, line)
        if entry.kind in ("interface", "static class") and entry.constructors:
            raise CatalogueError(entry.place, "only classes and structs have constructors")
        left_out = {prop.python for prop in entry.properties if prop.static and prop.writable}
        left_out -= {prop.python for prop in entry.static_writers}
        if left_out:
            raise CatalogueError(entry.place, f"the writers of {entry.name} lack {', '.join(sorted(left_out))}")
        for method in entry.methods:
            self._check_group(entry, method)
        check_inherited(entry)
        for prop in entry.properties:
            contradiction = disagreement(prop)
            if contradiction is not None:
                raise CatalogueError(prop.place, contradiction)

    @staticmethod
    def _writer(entry: Type, line: MemberLine) -> list[Property]:
        found = [prop for prop in entry.properties if prop.python == line.python and prop.static and prop.writable]
        if not found:
            raise CatalogueError(line.place, f"{entry.name} writes no static property {line.python} above this line")
        if found[0] in entry.writers:
            raise CatalogueError(line.place, f"the writer of {line.python} stands twice")
        return found

    @staticmethod
    def _check_name(line: MemberLine) -> None:
        if line.kind in ("ctor", "shared", "items", "writer"):
            return
        rule = upper_snake_case(line.managed) if line.kind == "const" else snake_case(line.managed)
        if (rule != line.python) != line.exception:
            state = "follows the rules and is no exception" if line.exception else f"is {rule} by the rules"
            raise CatalogueError(line.place, f"{line.managed} {state}")

    @staticmethod
    def _check_reason(line: MemberLine) -> None:
        """A value of type `object` can be anything, which is rarely meant: the line says why."""
        anything = "object" in (line.type, *(param.type for param in line.params))
        if anything and not line.origin and not line.reason:
            raise CatalogueError(line.place, f"{line.managed} is of type object and does not say because of what")
        if line.reason and not anything:
            raise CatalogueError(line.place, "only a member of type object has a reason")
        if line.reason and line.origin:
            raise CatalogueError(line.place, f"the reason stands at {line.origin}")

    def _overload(self, entry: Type, line: MemberLine) -> Overload:
        params = []
        for param in line.params:
            by_ref, written = param.type.startswith("ref "), param.type.startswith("out ")
            wire = self.wire(line.place, param.type.removeprefix("ref ").removeprefix("out "), entry.namespace)
            if by_ref and not isinstance(wire, Scalar):
                raise CatalogueError(line.place, "only scalars cross by reference")
            if written and wire.kind != "bytes" and wire.shape is not Shape.ARRAY:
                raise CatalogueError(line.place, "only bytes and typed arrays are written to in place")
            if wire.type is not None and wire.type.kind == "static class":
                raise CatalogueError(line.place, f"{wire.name} has no instances")
            params.append(Param(param.name, wire, by_ref, written))
        result = self.wire(line.place, line.type, entry.namespace) if line.type else VOID
        static = line.kind in ("static", "mixed_static")
        return Overload(entry, line.place, line.python, line.managed, static, params, result)

    def _method(self, entry: Type, line: MemberLine) -> None:
        method = entry.method(line.python)
        if any(prop.python == line.python for prop in entry.properties):
            raise CatalogueError(line.place, f"{line.python} is there already")
        if method is None:
            method = Method(entry, line.python, mixed=line.kind.startswith("mixed"))
            entry.methods.append(method)
        elif method.mixed != line.kind.startswith("mixed"):
            raise CatalogueError(line.place, f"{line.python} is mixed on one line and not on the other")
        overload = self._overload(entry, line)
        if line.origin is not None:
            overload = self._inherited(entry, line, overload)
        else:
            overload.number = sum(own.managed == line.managed for other in entry.methods for own in other.own)
        named = [*method.overloads, *([method.static_overload] if method.static_overload else [])]
        if named and named[0].managed != overload.managed:
            raise CatalogueError(line.place, f"{line.python} is {named[0].managed} on another line")
        if line.kind == "mixed_static":
            if method.static_overload is not None:
                raise CatalogueError(line.place, "a mixed method has one overload on the class")
            method.static_overload = overload
            return
        if method.overloads and method.static != overload.static:
            raise CatalogueError(line.place, "static and instance overloads share a name in a mixed method only")
        method.overloads.append(overload)

    def _ancestor(self, entry: Type, line: MemberLine) -> Type:
        assert line.origin is not None
        ancestor = self.find(line.place, line.origin, entry.namespace)
        candidates = [*entry.bases(), *Builder._extended(entry)]
        if ancestor not in candidates or (ancestor.kind == "interface") != (entry.kind == "interface"):
            raise CatalogueError(line.place, f"{line.origin} is no ancestor of {entry.name} to inherit members from")
        return ancestor

    @staticmethod
    def _extended(entry: Type) -> list[Type]:
        """The interfaces that an interface or class names, and those that these extend."""
        found: list[Type] = []
        for interface in entry.interfaces:
            if isinstance(interface, Type):
                found += [interface, *Builder._extended(interface)]
        return found

    def _inherited(self, entry: Type, line: MemberLine, stated: Overload) -> Overload:
        ancestor = self._ancestor(entry, line)
        method = ancestor.method(line.python)
        for overload in method.overloads if method else []:
            if overload.owner is ancestor and overload.signature == stated.signature:
                if [p.name for p in overload.params] != [p.name for p in stated.params]:
                    raise CatalogueError(line.place, f"{ancestor.name} names the parameters otherwise")
                if overload.managed != stated.managed:
                    raise CatalogueError(line.place, f"{line.python} of {ancestor.name} is {overload.managed}")
                if (overload.static, overload.result) != (stated.static, stated.result):
                    raise CatalogueError(line.place, f"{line.python} of {ancestor.name} gives {overload.result.name}"
                                         if overload.static == stated.static else
                                         f"{line.python} is static here or in {ancestor.name}, not in both")
                return overload
        raise CatalogueError(line.place, f"{ancestor.name} declares no such overload of {line.python}")

    def _check_group(self, entry: Type, method: Method) -> None:
        """Own overloads first, then those of the nearest ancestor that are not overridden, in its order."""
        if method.mixed and (method.static_overload is None or not method.overloads):
            raise CatalogueError(entry.place, f"{method.python} is mixed and has only one of its two sides")
        signatures = [overload.signature for overload in method.overloads]
        if len(set(signatures)) != len(signatures):
            raise CatalogueError(method.overloads[-1].place, f"two overloads of {method.python} take the same types")
        ancestor = next((base.method(method.python) for base in entry.bases() if base.method(method.python)), None)
        own = [overload.signature for overload in method.overloads if overload.owner is entry]
        inherited = [overload for overload in method.overloads if overload.owner is not entry]
        if entry.kind == "interface":
            return
        expected = [o for o in ancestor.overloads if o.signature not in own] if ancestor else []
        stated = method.overloads[len(own):]
        if stated != inherited or inherited != expected:
            order = "; ".join(f"({', '.join(o.signature)}) from {o.owner.name}" for o in expected) or "nothing"
            raise CatalogueError(method.overloads[0].place,
                                 f"behind its own overloads {entry.name}.{method.python} inherits {order}")

    def _property(self, entry: Type, line: MemberLine) -> None:
        assert line.type is not None
        wire = self.wire(line.place, line.type, entry.namespace)
        declared_by = entry
        if line.origin is not None:
            if entry.kind != "interface":
                raise CatalogueError(line.place, "a class has the properties of its base, and lists none of them")
            declared_by = self._ancestor(entry, line)
            own = next((prop for prop in declared_by.properties if prop.python == line.python), None)
            if own is None or own.declared_by is not declared_by:
                raise CatalogueError(line.place, f"{declared_by.name} declares no property {line.python}")
            if (own.managed, own.wire, own.writable) != (
                    line.managed, wire, line.kind in ("getset", "static_getset")):
                kind = "getset" if own.writable else "get"
                raise CatalogueError(line.place, f"{declared_by.name} declares {kind} {own.python} {own.managed} "
                                     f"{own.wire.name}")
        if entry.method(line.python) is not None or any(other.python == line.python for other in entry.properties):
            raise CatalogueError(line.place, f"{line.python} is there already")
        entry.properties.append(Property(
            entry, line.place, line.python, line.managed, wire, line.kind in ("getset", "static_getset"),
            line.kind in ("static_get", "static_getset", "const"), declared_by, line.reason))

    @staticmethod
    def _publish(types: list[Type]) -> None:
        """Numbers the overloads that groups of derived types call, per declaring type and name."""
        wanted = {overload for entry in types for method in entry.methods for overload in method.overloads
                  if overload.owner is not entry}
        for entry in types:
            for method in entry.methods:
                number = 0
                for overload in method.own:
                    if overload in wanted:
                        overload.published = number
                        number += 1


def load(directory: Path) -> Model:
    """Reads and checks the catalogue of a directory."""
    model = Builder(read_catalogue(directory), Identifiers.read(directory / "identifiers.tab"),
                    read_collections(directory / "collections.tab")).build()
    check_pinned(model, read_pinned(directory / "pinned.tab"))
    check_totals(model, read_totals(directory / "totals.tab"))
    return model

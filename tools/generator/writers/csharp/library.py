"""Prints the class library: one partial class, structure, interface or enumeration for each type of a catalogue.

What no hand-written part does has a rule here or reports that it is not supported: a property that can be written, or
that a constructor fills, stores its value; a constructor fills the properties that its parameters are named after, or
takes over the values of another object of its class. A member that a class declares again in the same way is the
inherited one.

Objects of some classes live in the picture library (implemented.py): their members call it, and so do static members
that neither a hand-written part nor a rule does.
"""

from __future__ import annotations

import re
from collections.abc import Iterator

from ...entry_points import (EntryPoint, declared_overloads, declared_properties, of_getter, of_overload,
                             of_setter)
from ...model import Model, Overload, Param, Property, Type
from ...wires import Enumeration, Scalar, Wire
from .documentation import XmlDocumentation
from .implemented import Implemented
from .text import block, camel_case, escaped, member_name, quoted, separated
from .words import FORMS, FRAMEWORK_TYPES, member_type, net_type

_NAME = re.compile(r"\b(?:[A-Z]\w*\.)+[A-Z]\w*\b")
# The .NET interfaces of the collections that a class can be, each with its members behind those of the one before.
_ENUMERABLE = "System.Collections.IEnumerable"
_COLLECTION = "System.Collections.ICollection"
_LIST = "System.Collections.IList"
_COLLECTIONS = {"_IterableWrapper": _ENUMERABLE, "_IColWrapper": _COLLECTION, "_IListWrapper": _LIST}
#: The comment of a member that .NET itself declares.
_INHERITED = "/// <inheritdoc/>"
_EXPLICIT = {
    _ENUMERABLE: ("System.Collections.IEnumerator {}.GetEnumerator()",),
    _COLLECTION: ("int {}.Count", "bool {}.IsSynchronized", "object {}.SyncRoot",
                  "void {}.CopyTo(System.Array array, int index)"),
    _LIST: ("bool {}.IsFixedSize", "bool {}.IsReadOnly", "object? {}.this[int index]", "int {}.Add(object? value)",
            "void {}.Clear()", "bool {}.Contains(object? value)", "int {}.IndexOf(object? value)",
            "void {}.Insert(int index, object? value)", "void {}.Remove(object? value)",
            "void {}.RemoveAt(int index)"),
}


def parameter_type(param: Param) -> str:
    """The type of a parameter; memory that is written to is a span."""
    if param.memory:
        return "System.Span<byte>"
    return f"ref {member_type(param.wire)}" if param.by_ref else member_type(param.wire)


def result_type(overload: Overload) -> str:
    """The type of a method's result."""
    return member_type(overload.result)


def _signature(overload: Overload) -> tuple[str, ...]:
    return (overload.managed, *(parameter_type(param).rstrip("?") for param in overload.params))


def _methods(entry: Type) -> list[Overload]:
    return [overload for overload in declared_overloads(entry) if overload.python]


def _is_number(wire: Wire) -> bool:
    return type(wire) is Scalar and wire.name not in ("bool", "char", "timedelta")


class Library:
    """Prints the types of one catalogue."""

    def __init__(self, model: Model, implemented: Implemented) -> None:
        self._model = model
        self._implemented = implemented
        self._documentation = XmlDocumentation(model)
        self._types = {entry.full_name: entry for entry in model.types}
        self._namespaces = {".".join(parts[:count]) for entry in model.types
                            for parts in [entry.namespace.split(".")] for count in range(1, len(parts) + 1)}
        self._fills = {overload: filled for entry in model.types for overload in entry.constructors
                       for filled in [self._filled(overload)] if filled is not None}
        self._called: dict[Type, dict[str, tuple[Type, str]]] = {}
        self._stored = {prop for filled in self._fills.values() for prop in filled}

    # -- names --------------------------------------------------------------------------------------------------------

    def _short(self, text: str, namespace: str) -> str:
        """The text with the names of types as short as they can be within a namespace."""
        return _NAME.sub(lambda found: self._short_name(found[0], namespace), text)

    def _short_name(self, full_name: str, namespace: str) -> str:
        if full_name not in self._types:
            return full_name
        name = full_name.rpartition(".")[2]
        while namespace:
            found = f"{namespace}.{name}"
            if found in self._types or found in self._namespaces:
                return name if found == full_name else full_name
            namespace = namespace.rpartition(".")[0]
        return full_name

    @staticmethod
    def _missing(entry: Type, member: str) -> str:
        return f"throw Missing.Member({quoted(f'{entry.name}.{member}')})"

    # -- the picture library -----------------------------------------------------------------------------------------

    def _is_native(self, entry: Type) -> bool:
        return entry.kind == "class" and self._implemented.in_library(entry)

    def _calls(self, entry: Type, static: bool) -> bool:
        """Whether the members of a type that nothing else does call the picture library."""
        return entry.kind != "interface" and (
            self._is_native(entry) or (static and self._implemented.has_library and entry.kind != "enum"))

    def _base_is_native(self, entry: Type) -> bool:
        return entry.base is not None and self._is_native(entry.base)

    def _call(self, entry: Type, static: bool, point: EntryPoint, result: str, arguments: list[str],
              interface: Type | None = None) -> str:
        """The expression that calls an entry of the library; an empty result is that of a constructor. The entry is the
        type's, or that of an interface that it implements."""
        name = point.name if interface is None else f"{interface.name}_{point.name}"
        self._called.setdefault(entry, {})[name] = (interface or entry, point.name)
        function = "Make" if not result else "Run" if result == "void" else f"Get<{result}>"
        target = "null" if static else "this"
        return f"Pictures.{function}({target}, PictureCalls.{name}, [{', '.join(arguments)}])"

    def _native_body(self, overload: Overload, result: str, of: Type | None = None) -> list[str]:
        """The statements that call a member of the library, in a class that implements it for its interface."""
        entry, interface = (of, overload.owner) if of is not None else (overload.owner, None)
        arguments = [f"PictureMemory.Of({camel_case(param.name)}Memory, {escaped(camel_case(param.name))}.Length)"
                     if param.memory else escaped(camel_case(param.name)) for param in overload.params]
        written = [param for param in overload.params if param.memory]
        references = [(number, param) for number, param in enumerate(overload.params) if param.by_ref]
        point = of_overload(overload)
        if not references:
            call = self._call(entry, overload.static, point, result, arguments, interface)
            body = [f"{'' if result in ('', 'void') else 'return '}{call};"]
        else:
            call = self._call(entry, overload.static, point, result, ["arguments"], interface)
            call = call.replace("[arguments]", "arguments")
            body = [f"var arguments = new object?[] {{ {', '.join(arguments)} }};",
                    f"{'var result = ' if result != 'void' else ''}{call};",
                    *(f"{escaped(camel_case(param.name))} = ({net_type(param.wire)})arguments[{number}]!;"
                      for number, param in references), *(["return result;"] if result != "void" else [])]
        for param in written:
            body = block(f"fixed (byte* {camel_case(param.name)}Memory = {escaped(camel_case(param.name))})", body)
        return body

    def _native_constructor(self, overload: Overload) -> list[str]:
        base = " : base(default(NotMade))" if self._base_is_native(overload.owner) else ""
        head = f"public {overload.owner.name}({self._parameters(overload)}){base}"
        return block(head, self._native_body(overload, ""))

    def _native_property(self, prop: Property, head: str) -> list[str]:
        result = self._short(member_type(prop.wire), prop.owner.namespace)
        getter = self._call(prop.owner, prop.static, of_getter(prop), result, [])
        if not prop.writable:
            return [f"{head} => {getter};"]
        setter = self._call(prop.owner, prop.static, of_setter(prop), "void", ["value"])
        return block(head, [f"get => {getter};", f"set => {setter};"])

    def _native_members(self, entry: Type) -> Iterator[list[str]]:
        """What a class has because its objects live in the library."""
        base = " : base(none)" if self._base_is_native(entry) else ""
        yield block(f"private protected {entry.name}(NotMade none){base}", [])
        if self._base_is_native(entry):
            return
        yield ["PictureHandle? IPictureObject.Handle { get; set; }"]
        yield [_INHERITED, "public override bool Equals(object? obj) => Pictures.Equal(this, obj);"]
        yield [_INHERITED, "public override int GetHashCode() => Pictures.Hash(this);"]
        yield [_INHERITED, "public override string ToString() => Pictures.Text(this);"]

    def _entries(self, entry: Type) -> list[str]:
        """The class with the entries of the library that the members of a type call."""
        called = self._called.get(entry, {})
        return block("private static class PictureCalls", [
            f"public static readonly PictureEntry {name} = new({quoted(owner.full_name)}, {quoted(point)});"
            for name, (owner, point) in called.items()]) if called else []

    # -- rules --------------------------------------------------------------------------------------------------------

    def _is_done(self, prop: Property) -> bool:
        return self._implemented.has(prop.owner.full_name, of_getter(prop).name)

    def _filled(self, overload: Overload) -> list[Property] | None:
        """The properties that the parameters of a constructor are named after; None where not all have one."""
        owners = (overload.owner, *overload.owner.bases())
        filled = []
        for param in overload.params:
            prop = next((prop for owner in owners for prop in declared_properties(owner)
                         if prop.python.lower() == param.name and not prop.static), None)
            if prop is None or param.by_ref:
                return None
            prop = self._storing(prop)
            if not prop.writable and self._is_done(prop):
                return None
            same = net_type(prop.wire) == net_type(param.wire) or prop.wire.name == "object"
            if not same and not (_is_number(prop.wire) and _is_number(param.wire)):
                return None
            filled.append(prop)
        return filled

    def _storing(self, prop: Property) -> Property:
        """The property that stores the value: a property that is declared again in the same way is the inherited one.
        """
        inherited = self._inherited_property(prop)
        if inherited is None or self._is_done(prop) or not self._is_same(inherited, prop):
            return prop
        return self._storing(inherited)

    @staticmethod
    def _is_same(inherited: Property, prop: Property) -> bool:
        return net_type(inherited.wire) == net_type(prop.wire) and inherited.writable >= prop.writable

    def _inherited_property(self, prop: Property) -> Property | None:
        for base in prop.owner.bases():
            for other in declared_properties(base):
                if other.managed == prop.managed:
                    return other
        return None

    @staticmethod
    def _inherited_method(overload: Overload) -> Overload | None:
        for base in overload.owner.bases():
            for other in _methods(base):
                if _signature(other) == _signature(overload):
                    return other
        return None

    # -- members ------------------------------------------------------------------------------------------------------

    def _property(self, prop: Property) -> list[str]:
        entry, inherited = prop.owner, self._inherited_property(prop)
        same = inherited is not None and self._is_same(inherited, prop)
        overrides = (inherited is not None and same and not prop.static and self._is_native(inherited.owner)
                     and not self._is_done(inherited))
        if self._is_done(prop) or (same and not overrides):
            return []
        modifiers = "public new " if inherited is not None else "public "
        if overrides:
            modifiers = "public override "
        elif prop.static:
            modifiers += "static "
        elif entry.kind == "class":
            modifiers += "virtual "
        if entry.kind == "interface":
            modifiers = ""
        head = f"{modifiers}{self._short(member_type(prop.wire), entry.namespace)} {prop.managed}"
        if entry.kind == "interface":
            return [f"{head} {{ get; set; }}" if prop.writable else f"{head} {{ get; }}"]
        if self._is_native(entry) or entry.kind == "static class" and self._calls(entry, True) or (
                prop.static and not prop.writable and self._calls(entry, True)):
            return self._native_property(prop, head)
        if prop.writable:
            return [f"{head} {{ get; set; }}{self._initial(prop)}"]
        if prop in self._stored:
            return [f"{head} {{ get; }}" if entry.kind == "struct" else
                    f"{head} {{ get; protected internal set; }}{self._initial(prop)}"]
        return [f"{head} => {self._missing(entry, prop.managed)};"]

    def _initial(self, prop: Property) -> str:
        """The first value of an enumeration that has no zero."""
        entry = prop.wire.type
        if not isinstance(prop.wire, Enumeration) or not isinstance(entry, Type) or prop.owner.kind == "struct":
            return ""
        if entry.flags or not entry.values or any(value == 0 for _, value in entry.values):
            return ""
        return f" = {self._short(entry.full_name, prop.owner.namespace)}.{member_name(entry.values[0][0])};"

    def _parameters(self, overload: Overload) -> str:
        return ", ".join(f"{self._short(parameter_type(param), overload.owner.namespace)} "
                         f"{escaped(camel_case(param.name))}" for param in overload.params)

    def _constructor(self, overload: Overload) -> list[str]:
        entry = overload.owner
        if self._implemented.has(entry.full_name, overload.entry) or (entry.kind == "struct" and not overload.params):
            return []
        if self._is_native(entry):
            return self._native_constructor(overload)
        head = f"public {entry.name}({self._parameters(overload)})"
        filled = self._fills.get(overload)
        if filled is None:
            copied = self._copied(overload)
            return block(head, copied or [self._missing(entry, entry.name) + ";"])
        body = []
        for param, prop in zip(overload.params, filled):
            cast = f"({net_type(prop.wire)})" if net_type(prop.wire) != net_type(param.wire) else ""
            cast = "" if prop.wire.name == "object" else cast
            body.append(f"{prop.managed} = {cast}{escaped(camel_case(param.name))};")
        return block(head, body)

    def _copied(self, overload: Overload) -> list[str]:
        """The body of a constructor that takes another object of its class: it has the same values."""
        entry = overload.owner
        if entry.kind != "class" or [param.wire.type for param in overload.params] != [entry]:
            return []
        other = escaped(camel_case(overload.params[0].name))
        stored = {self._storing(prop).managed: prop for owner in (*reversed(list(entry.bases())), entry)
                  for prop in declared_properties(owner)
                  if not prop.static and not self._is_done(prop) and (prop.writable or prop in self._stored)}
        return [f"System.ArgumentNullException.ThrowIfNull({other});",
                *(f"{name} = {other}.{name};" for name in stored)]

    def _rule(self, overload: Overload) -> str | None:
        """The body of a static method that many classes have under the same name."""
        entry = overload.owner
        if not overload.static or entry.kind == "static class":
            return None
        takes_object = [param.wire.name for param in overload.params] == ["object"]
        if takes_object and overload.managed == "IsInstance" and overload.result.name == "bool":
            return f"{camel_case(overload.params[0].name)} is {entry.name}"
        if overload.result.type is not entry:
            return None
        if takes_object and overload.managed == "CastTo":
            return f"({entry.name}{'?' if entry.kind != 'struct' else ''}){camel_case(overload.params[0].name)}" + (
                "!" if entry.kind == "struct" else "")
        arguments = [(param.name, param.wire) for param in overload.params]
        if overload.managed.startswith("Create") and any(
                [(param.name, param.wire) for param in made.params] == arguments for made in entry.constructors):
            return f"new({', '.join(escaped(camel_case(name)) for name, _ in arguments)})"
        return None

    def _method(self, overload: Overload) -> list[str]:
        entry, inherited = overload.owner, self._inherited_method(overload)
        if self._implemented.has(entry.full_name, overload.entry) or _signature(overload) == ("Equals", "object"):
            return []
        rule = self._rule(overload)
        same = inherited is not None and rule is None and result_type(inherited) == result_type(overload)
        overrides = (inherited is not None and same and not overload.static and self._is_native(inherited.owner)
                     and not self._implemented.has(inherited.owner.full_name, inherited.entry))
        if same and not overrides:
            return []
        head = (f"{self._short(result_type(overload), entry.namespace)} {overload.managed}"
                f"({self._parameters(overload)})")
        if entry.kind == "interface":
            return [f"{head};"]
        modifiers = "public new " if inherited is not None else "public "
        modifiers += "static " if overload.static else "virtual " if entry.kind == "class" else ""
        if overrides:
            modifiers = "public override "
        if rule is None and self._calls(entry, overload.static):
            result = self._short(result_type(overload), entry.namespace)
            statements = self._native_body(overload, result)
            unsafe = "unsafe " if any(param.memory for param in overload.params) else ""
            if len(statements) == 1:
                return [f"{modifiers}{head} => {statements[0].removeprefix('return ')}"]
            return block(f"{modifiers}{unsafe}{head}", statements)
        body = rule if rule is not None else self._missing(entry, overload.managed)
        return [f"{modifiers}{head} => {self._short(body, entry.namespace)};"]

    # -- interfaces ---------------------------------------------------------------------------------------------------

    @staticmethod
    def _all_interfaces(entry: Type) -> list[Type]:
        """The interfaces of a type with those that they extend."""
        found: list[Type] = []
        waiting = list(entry.implemented)
        while waiting:
            item = waiting.pop(0)
            if item not in found:
                found.append(item)
                waiting += item.implemented
        return found

    def _explicit(self, entry: Type) -> Iterator[list[str]]:
        """The members of interfaces that the class has under no name of its own."""
        owners = (entry, *entry.bases())
        known = {interface for base in entry.bases() for interface in self._all_interfaces(base)}
        for interface in self._all_interfaces(entry):
            if interface in known:
                continue
            name = self._short(interface.full_name, entry.namespace)
            for prop in declared_properties(interface):
                found = next((other for owner in owners for other in declared_properties(owner)
                              if other.managed == prop.managed and not other.static), None)
                same = found is not None and net_type(found.wire) == net_type(prop.wire)
                if same and found is not None and found.writable >= prop.writable:
                    continue
                if self._is_native(entry):
                    yield self._interface_property(entry, interface, prop)
                    continue
                missing = self._missing(interface, prop.managed)
                head = f"{self._short(member_type(prop.wire), entry.namespace)} {name}.{prop.managed}"
                getter = prop.managed if same else missing
                if prop.writable:
                    yield block(head, [f"get => {getter};", f"set => {missing};"])
                else:
                    yield [f"{head} => {getter};"]
            for overload in _methods(interface):
                found_method = next((other for owner in owners for other in _methods(owner)
                                     if _signature(other) == _signature(overload) and not other.static), None)
                if found_method is not None and result_type(found_method) == result_type(overload):
                    continue
                if self._is_native(entry):
                    yield self._interface_method(entry, interface, overload)
                    continue
                result = self._short(result_type(overload), entry.namespace)
                parameters = ", ".join(f"{self._short(parameter_type(param), entry.namespace)} "
                                       f"{escaped(camel_case(param.name))}" for param in overload.params)
                yield [f"{result} {name}.{overload.managed}({parameters}) => "
                       f"{self._missing(interface, overload.managed)};"]

    @staticmethod
    def _collection(entry: Type) -> list[str]:
        """The .NET interfaces of the collection that the class is, which no base class is."""
        named = [_COLLECTIONS[item] for item in entry.interfaces if isinstance(item, str) and item in _COLLECTIONS]
        inherited = [_COLLECTIONS[item] for base in entry.bases() for item in base.interfaces
                     if isinstance(item, str) and item in _COLLECTIONS]
        return [name for name in _EXPLICIT if name in named and name not in inherited]

    def _collection_members(self, entry: Type) -> Iterator[list[str]]:
        if self._implemented.has(entry.full_name, "GetEnumerator"):
            return
        for interface in self._collection(entry):
            if interface == _ENUMERABLE and self._is_native(entry):
                yield [f"{_EXPLICIT[interface][0].format(interface)} => Pictures.Elements(this).GetEnumerator();"]
                continue
            for member in _EXPLICIT[interface]:
                missing = self._missing(entry, re.split(r"[(\[]", member.partition("{}.")[2])[0])
                if "[" in member:
                    yield block(member.format(interface), [f"get => {missing};", f"set => {missing};"])
                else:
                    yield [f"{member.format(interface)} => {missing};"]

    def _disposes(self, entry: Type) -> bool:
        return entry.disposable or any(interface.disposable for interface in self._all_interfaces(entry))

    # -- types --------------------------------------------------------------------------------------------------------

    def _enumeration(self, entry: Type) -> list[str]:
        assert entry.width is not None
        rows = [line for name, value in entry.values
                for line in [*self._documentation.of_value(entry, name), f"{member_name(name)} = {value},"]]
        flags = ["[System.Flags]"] if entry.flags else []
        body = block(f"public enum {entry.name} : {FORMS[entry.width.form]}", rows)
        return [*self._documentation.of_type(entry), *flags, *body]

    def _head(self, entry: Type) -> str:
        kind = {"class": "partial class", "static class": "static partial class", "struct": "partial struct",
                "interface": "partial interface"}[entry.kind]
        parents = [entry.base.full_name] if entry.base is not None else []
        inherited = {interface for base in entry.bases() for interface in base.implemented}
        parents += [item.full_name for item in entry.implemented if item not in inherited]
        if self._disposes(entry) and not any(self._disposes(base) for base in entry.bases()):
            parents.append("System.IDisposable")
        parents += self._collection(entry)
        if self._is_native(entry) and not self._base_is_native(entry):
            parents.append("IPictureObject")
        if entry.kind == "struct":
            parents.append(f"System.IEquatable<{entry.name}>")
        parents = [self._short(parent, entry.namespace) for parent in parents if parent != "System.Object"]
        return f"public {kind} {entry.name}" + (f" : {', '.join(parents)}" if parents else "")

    def _equality(self, entry: Type) -> Iterator[list[str]]:
        """The equality and the text of a structure by the properties that it stores."""
        if entry.kind != "struct":
            return
        yield ["/// <summary>Whether two values are equal.</summary>",
               f"public static bool operator ==({entry.name} left, {entry.name} right) => left.Equals(right);"]
        yield ["/// <summary>Whether two values differ.</summary>",
               f"public static bool operator !=({entry.name} left, {entry.name} right) => !left.Equals(right);"]
        if self._implemented.has(entry.full_name, "Equals"):
            return
        stored = [prop for prop in declared_properties(entry)
                  if not prop.static and not self._is_done(prop) and (prop.writable or prop in self._stored)]
        names = [prop.managed for prop in stored]
        equal = " && ".join(f"Equals({name}, other.{name})" for name in names) or "true"
        yield [_INHERITED, f"public bool Equals({entry.name} other) => {equal};"]
        yield [_INHERITED, f"public override bool Equals(object? obj) => obj is {entry.name} other && Equals(other);"]
        yield [_INHERITED, "public override int GetHashCode()", "{", "    var hash = new System.HashCode();",
               *(f"    hash.Add({name});" for name in names), "    return hash.ToHashCode();", "}"]
        if names:
            # Each property as the embedded runtime shows it: a number, of an enumeration too.
            shown = ", ".join(f"{name}={{{f'{name}:D' if prop.wire.type is not None else name}}}"
                              for name, prop in zip(names, stored))
            yield [_INHERITED, "public override string ToString()", "{",
                   "    return string.Create(System.Globalization.CultureInfo.InvariantCulture,",
                   f'        $"{{{{{shown}}}}}");', "}"]

    def _type(self, entry: Type) -> list[str]:
        if entry.is_enum:
            return self._enumeration(entry)
        comment = self._documentation
        groups: list[list[str]] = [self._documented(comment.of_overload(overload), self._constructor(overload))
                                   for overload in entry.constructors]
        if self._is_native(entry):
            groups += self._native_members(entry)
        elif entry.kind == "class" and not any(not overload.params for overload in entry.constructors):
            groups.append(["/// <summary>For derived classes.</summary>",
                           *block(f"protected internal {entry.name}()", [])])
        groups += [self._documented(comment.of_property(prop), self._property(prop))
                   for prop in declared_properties(entry)]
        groups += [self._documented(comment.of_overload(overload), self._method(overload))
                   for overload in _methods(entry)]
        if entry.kind in ("class", "struct"):
            groups += self._explicit(entry)
            groups += self._collection_members(entry)
            groups += self._equality(entry)
            if (self._disposes(entry) and not any(self._disposes(base) for base in entry.bases())
                    and not self._implemented.has(entry.full_name, "Dispose")):
                done = "Pictures.Dispose(this)" if self._is_native(entry) else self._missing(entry, "Dispose")
                groups.append([_INHERITED, f"public virtual void Dispose() => {done};"])
        groups.append(self._entries(entry) if entry.kind != "interface" else [])
        lines = [*self._documentation.of_type(entry), *block(self._head(entry), separated(groups))]
        if entry.kind == "interface" and self._implemented.has_library:
            lines += ["", *self._interface_object(entry)]
        return lines

    def _interface_object(self, entry: Type) -> list[str]:
        """The class of objects of the picture library that a program knows by an interface alone."""
        members = [["PictureHandle? IPictureObject.Handle { get; set; }"],
                   ["public override bool Equals(object? obj) => Pictures.Equal(this, obj);"],
                   ["public override int GetHashCode() => Pictures.Hash(this);"],
                   ["public override string ToString() => Pictures.Text(this);"]]
        for interface in (entry, *self._all_interfaces(entry)):
            members += [self._interface_property(entry, interface, prop) for prop in declared_properties(interface)]
            members += [self._interface_method(entry, interface, overload) for overload in _methods(interface)]
        parents = [entry.name, "IPictureObject"]
        if self._disposes(entry):
            members.append(["void System.IDisposable.Dispose() => Pictures.Dispose(this);"])
        members.append(self._entries(entry))
        return block(f"internal sealed class {entry.name}Object : {', '.join(parents)}", separated(members))

    def _interface_property(self, entry: Type, interface: Type, prop: Property) -> list[str]:
        """A property of an interface in a class that calls the picture library for it."""
        result = self._short(member_type(prop.wire), entry.namespace)
        head = f"{result} {self._short(interface.full_name, entry.namespace)}.{prop.managed}"
        getter = self._call(entry, False, of_getter(prop), result, [], interface)
        if not prop.writable:
            return [f"{head} => {getter};"]
        return block(head, [f"get => {getter};",
                            f"set => {self._call(entry, False, of_setter(prop), 'void', ['value'], interface)};"])

    def _interface_method(self, entry: Type, interface: Type, overload: Overload) -> list[str]:
        """A method of an interface in such a class."""
        result = self._short(result_type(overload), entry.namespace)
        parameters = ", ".join(f"{self._short(parameter_type(param), entry.namespace)} "
                               f"{escaped(camel_case(param.name))}" for param in overload.params)
        unsafe = "unsafe " if any(param.memory for param in overload.params) else ""
        return block(f"{unsafe}{result} {self._short(interface.full_name, entry.namespace)}.{overload.managed}"
                     f"({parameters})", self._native_body(overload, result, entry))

    @staticmethod
    def _documented(comment: list[str], member: list[str]) -> list[str]:
        """A member with its comment; one that is hand-written or inherited is not there."""
        return [*comment, *member] if member else []

    def files(self) -> dict[str, list[str]]:
        """All files by name, one for each namespace."""
        namespaces: dict[str, list[list[str]]] = {}
        for entry in self._model.types:
            if entry.full_name not in FRAMEWORK_TYPES:
                namespaces.setdefault(entry.namespace, []).append(self._type(entry))
        return {f"{namespace}.cs": [f"// Written by the generator from the catalogue of {namespace}.",
                                    "#nullable enable", "", f"namespace {namespace};", "", *separated(types)]
                for namespace, types in namespaces.items()}

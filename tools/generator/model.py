"""The model of the API: types with their methods, overloads and properties, and the tree of modules.

The model holds what the catalogue says, with every name resolved. `builder` makes it from the lines of the catalogue
and refuses lines that contradict each other. Back ends print the model and know no rules of the API.
"""

from __future__ import annotations

from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

from .declaration import Declaration
from .errors import Place
from .wires import Collection, Scalar, Wire

# The interfaces of the .NET library that a type line can name.
INTEROP_INTERFACES = ("_IDisposableWrapper", "_IterWrapper", "_IterableWrapper", "_IColWrapper", "_IListWrapper")


@dataclass
class Param:
    """A parameter; a by-reference one takes a one-slot list in Python and two arguments on the wire. One that is
    written to is memory, which takes no buffer that is read-only, or an array whose elements the call changes."""

    name: str
    wire: Wire
    by_ref: bool = False
    written: bool = False

    @property
    def memory(self) -> bool:
        """Whether it is memory that the call writes to."""
        return self.written and self.wire.kind == "bytes"

    @property
    def type(self) -> str:
        """The type as the library declares it: nothing tells there that the elements of an array are written to."""
        return ("ref " if self.by_ref else "out " if self.memory else "") + self.wire.name


@dataclass(eq=False, repr=False)
class Overload:
    """One managed overload of a method, or one constructor."""

    owner: Type
    place: Place
    python: str
    managed: str
    static: bool
    params: list[Param]
    result: Wire
    number: int = 0  # position among the managed overloads of this name
    published: int | None = None  # index among those that derived groups call

    def __repr__(self) -> str:
        return f"{self.owner.full_name}.{self.entry}"

    @property
    def entry(self) -> str:
        """The entry point that a delegate binds to."""
        role = "ctor" if self.managed == self.owner.name and not self.python else "call"
        return f"{role}_{self.number:03}_{self.managed}"

    @property
    def signature(self) -> tuple[str, ...]:
        """What an overriding overload has to equal: the types of the parameters."""
        return tuple(param.type for param in self.params)


@dataclass(eq=False, repr=False)
class Method:
    """A Python name with its overloads in the order in which they are tried."""

    owner: Type
    python: str
    overloads: list[Overload] = field(default_factory=list)
    static_overload: Overload | None = None  # of a mixed method: what the name means on the class
    mixed: bool = False

    def __repr__(self) -> str:
        return f"{self.owner.full_name}.{self.python}"

    @property
    def static(self) -> bool:
        """Whether the method is a static one; a mixed method's overloads are those of the instance."""
        return self.overloads[0].static

    @property
    def is_group(self) -> bool:
        """Whether calls are dispatched over several overloads."""
        return len(self.overloads) > 1

    @property
    def own(self) -> list[Overload]:
        """The overloads that the owner declares itself, the static one of a mixed method included."""
        extra = [self.static_overload] if self.static_overload else []
        return [overload for overload in [*extra, *self.overloads] if overload.owner is self.owner]


@dataclass(eq=False, repr=False)
class Property:
    """An instance property, or a static one, which a constant is too."""

    owner: Type
    place: Place
    python: str
    managed: str
    wire: Wire
    writable: bool
    static: bool
    declared_by: Type  # the owner, or the interface that it inherits the property from
    reason: str | None = None  # why a value of it can be anything, where its type is `object`

    def __repr__(self) -> str:
        return f"{self.owner.full_name}.{self.python}"


@dataclass(eq=False, repr=False)
class Type(Declaration):
    """A class, static class, interface, struct or enumeration with its members."""

    base: Type | None = None
    interfaces: list[Type | str] = field(default_factory=list)  # an interop interface stands by its name
    stands_for: list[Type] = field(default_factory=list)  # interfaces of the managed class that the wrapper is not told
    constructors: list[Overload] = field(default_factory=list)
    methods: list[Method] = field(default_factory=list)
    properties: list[Property] = field(default_factory=list)
    shared: list[str] = field(default_factory=list)  # members served by the collection machinery
    items: Property | None = None  # by which the class is indexed
    writers: list[Property] = field(default_factory=list)  # of static properties, where their order is stated
    width: Scalar | None = None  # of an enumeration
    values: list[tuple[str, int]] = field(default_factory=list)

    @property
    def static_writers(self) -> list[Property]:
        """The static properties with a method `set_<name>`, in the order of the method table."""
        return self.writers or [prop for prop in self.properties if prop.static and prop.writable]

    @property
    def implemented(self) -> list[Type]:
        """The interfaces for which the managed side takes an instance."""
        return [*(item for item in self.interfaces if isinstance(item, Type)), *self.stands_for]

    @property
    def markers(self) -> list[Type | str]:
        """The interfaces that the type's marker sets hold, in order."""
        extra = ["_IDisposableWrapper"] if self.disposable else []
        return [*self.interfaces, *extra]

    @property
    def services(self) -> list[str]:
        """The built-in services of the type's host, in binding order."""
        if self.is_enum:
            names = ["TypeOf", "CastTo", "ReInterpretObj", "AsUniEnum", "CastAs", "IsAssignable", "GetType"]
        elif self.kind == "static class":
            names = ["TypeOf"]
        elif self.kind == "interface":
            names = ["TypeOf", "CastTo", "CastAs", "IsAssignable"]
        else:
            names = ["TypeOf", "CastTo", "ReInterpretObj", "CastAs", "IsAssignable"]
            if self.cast_from:
                names.insert(2, "CastFrom")
        return [f"btp_{name}" for name in names]

    def entry_points(self) -> Counter[str]:
        """How many entry points the type's host binds beside the built-in services, by role."""
        declared = [prop for prop in self.properties if prop.declared_by is self]
        counts = Counter({"ctor": len(self.constructors), "call": sum(len(method.own) for method in self.methods)})
        for prop in declared:
            counts["getsa" if prop.static else "get"] += 1
            counts["setsa" if prop.static else "set"] += prop.writable
        return counts

    def bases(self) -> list[Type]:
        """The chain of base classes, nearest first."""
        return [base for base in super().bases() if isinstance(base, Type)]

    def method(self, python: str) -> Method | None:
        """The method that this very type lists under a name."""
        return next((method for method in self.methods if method.python == python), None)

    def referenced(self) -> list[Type | str]:
        """The types whose validity this type's validity rests on, in the order in which they are asked.

        These are the managed base, the disposable wrapper, and the ancestors and interfaces whose functions stand in
        this type's own tables.
        """
        result: list[Type | str] = [self.base] if self.base is not None else []
        if self.disposable:
            result.append("_IDisposableWrapper")
        result += [item for item in self.interfaces if isinstance(item, str)]
        owners = [overload.owner for method in self.methods for overload in method.overloads]
        owners += [prop.declared_by for prop in self.properties]
        for owner in owners:
            if owner is not self and owner not in result:
                result.append(owner)
        return result


@dataclass(eq=False, repr=False)
class Module:
    """A Python module of the tree and the managed namespace behind it."""

    namespace: str
    name: str
    identifier: str
    types: list[Type] = field(default_factory=list)
    children: list[Module] = field(default_factory=list)

    def __repr__(self) -> str:
        return self.name

    @property
    def last(self) -> str:
        """The last component of the dotted name."""
        return self.name.rsplit(".", 1)[-1]

    @property
    def symbol(self) -> str:
        """What stands in the module's symbols: `EA2A999D_imaging`."""
        return f"{self.identifier}_{self.last}"

    @property
    def enums(self) -> list[Type]:
        """Enumerations in ordinal order."""
        return sorted((t for t in self.types if t.is_enum), key=lambda t: t.name)

    @property
    def wrappers(self) -> list[Type]:
        """Wrapper types in ordinal order."""
        return sorted((t for t in self.types if not t.is_enum), key=lambda t: t.name)


@dataclass
class Model:
    """A whole assembly."""

    directory: Path
    assembly: str
    root: Module
    modules: list[Module]
    types: list[Type]
    collections: list[Collection] = field(default_factory=list)

    def entry_points(self) -> Counter[str]:
        """How many entry points all hosts bind beside the built-in services, by role."""
        return sum((entry.entry_points() for entry in self.types), Counter())

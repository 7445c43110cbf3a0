"""The contract in an assembly: its hosts with their identifiers and entry points.

A host is a static class. That of a type is `WrpNs_<segment>...WrpCs_<name>_<identifier>`, with the first eight letters
of the type's name; those of typed collections are `Zelmor.WrpGen.Generic.SiApi<kind>_<identifier>`.
"""

from __future__ import annotations

import re
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

from .bodies import types_named_in
from .errors import AssemblyError
from .machine import PRIMITIVES, Machine, machine_of
from .metadata import Assembly, Method, TypeDefinition

EXCHANGE = "Zelmor.WrpGen.Interop.ExchangeHost"
_HOST = re.compile(r"(?P<namespace>(?:WrpNs_\w+\.)+)WrpCs_(?P<name>\w{1,8})_(?P<identifier>[0-9A-F]{8})\Z", re.ASCII)
_GENERIC = re.compile(r"Zelmor\.WrpGen\.Generic\.(?P<kind>SiApi[A-Za-z]+)_(?P<identifier>[0-9A-F]{8})\Z")
_OVERLOAD = re.compile(r"(?P<role>ctor|call)_(?P<number>\d{3})_(?P<member>[A-Za-z_]\w*)\Z", re.ASCII)
_PROPERTY = re.compile(r"(?P<role>getsa|setsa|get|set)_(?P<member>[A-Za-z_]\w*)\Z", re.ASCII)
_NAME = re.compile(r"[A-Za-z_]\w*(\.[A-Za-z_]\w*)*\Z", re.ASCII)


@dataclass(frozen=True)
class Entry:
    """An entry point: its name in parts, and the machine types of its arguments."""

    name: str
    role: str  # ctor, call, get, set, getsa, setsa or btp
    number: int
    member: str
    returned: Machine
    arguments: tuple[Machine, ...]
    names: tuple[str, ...]  # of the arguments, where the file has them

    @property
    def machines(self) -> tuple[Machine, ...]:
        """The machine types of the arguments and of the return value."""
        return (*self.arguments, self.returned)

    @property
    def signature(self) -> str:
        """The machine types as text."""
        return f"({', '.join(map(str, self.arguments))}) -> {self.returned}"


@dataclass(eq=False)
class Host:
    """The host of a type."""

    name: str  # of the class
    namespace: str
    prefix: str  # the first letters of the type's name
    identifier: str
    entries: dict[str, Entry]  # in their order
    named: set[str]  # the full names of the types that the code of its services names

    @cached_property
    def type_name(self) -> str | None:
        """The simple name of the type, where it is told: by a constructor, by the code, or by being short."""
        for entry in self.entries.values():
            if entry.role == "ctor":
                return entry.member
        if len(self.prefix) < 8:
            return self.prefix
        start = f"{self.namespace}."
        names = [name.removeprefix(start) for name in self.named if name.startswith(start + self.prefix)]
        names = [name for name in names if "." not in name]
        told = [name for name in names if _NAME.match(name)]
        return told[0] if len(told) == 1 else None

    @property
    def kind(self) -> str | None:
        """The kind of type that has these services, as the catalogue calls it; None where they do not tell."""
        services = {name for name, entry in self.entries.items() if entry.role == "btp"}
        if "btp_AsUniEnum" in services:
            return "enum"
        if "btp_CastTo" not in services:
            return "static class"
        if "btp_ReInterpretObj" not in services:
            return "interface"
        tested, source = (self.entries[name].arguments[:1] if name in self.entries else ()
                          for name in ("btp_IsAssignable", "btp_CastTo"))
        if not tested or not source or source[0].is_address:  # with a pointer to a record, a handle can be told apart
            return None
        return "class" if tested[0].is_address else "struct"

    @property
    def width(self) -> str | None:
        """Of an enumeration: the machine type of its values."""
        shown = self.entries.get("btp_AsUniEnum")
        return shown.arguments[0].word if shown is not None and shown.arguments else None


class Contract:
    """All hosts of an assembly; an assembly without the exchange host and without any other has no contract."""

    def __init__(self, path: Path) -> None:
        self.assembly = Assembly.read(path)
        self.name = self.assembly.name
        self._beside = path.parent
        if not _NAME.match(self.name):
            raise AssemblyError("the file is damaged: the name of the assembly is none")
        if EXCHANGE not in self.assembly.types:
            raise AssemblyError(f"{self.name} is a .NET assembly, but no interop assembly: it has no class {EXCHANGE}")
        self.library = self._library()
        self.hosts: list[Host] = []
        self.generics: dict[str, dict[str, dict[str, Entry]]] = {}  # by identifier, then by kind
        self.services: dict[str, dict[str, Entry]] = {}  # by the full name of the class
        for name, definition in self.assembly.types.items():
            if match := _HOST.match(name):
                namespace = ".".join(part.removeprefix("WrpNs_") for part in match["namespace"][:-1].split("."))
                self.hosts.append(Host(name, namespace, match["name"], match["identifier"],
                                       self._entries(definition), self._named(definition)))
            elif match := _GENERIC.match(name):
                self.generics.setdefault(match["identifier"], {})[match["kind"]] = self._entries(definition)
            elif name.startswith("Zelmor.WrpGen.Interop."):
                self.services[name] = self._entries(definition)

    def _library(self) -> list[Assembly]:
        """The assemblies that it refers to and that lie beside it."""
        found = []
        for name in self.assembly.references:
            path = self._beside / f"{name}.dll"
            if _NAME.match(name) and path.is_file():
                try:
                    found.append(Assembly.read(path))
                except AssemblyError as error:
                    raise AssemblyError(f"{path.name}, which lies beside it, cannot be read: {error}") from None
        return found

    def type(self, name: str) -> TypeDefinition | None:
        """A type of the assembly or of those beside it."""
        for assembly in (self.assembly, *self.library):
            if name in assembly.types:
                return assembly.types[name]
        return None

    def _underlying(self, name: str) -> str | None:
        found = self.type(name)
        if found is None or not found.is_enumeration or found.underlying is None:
            return None
        return PRIMITIVES.get(found.underlying.name)

    def _entries(self, definition: TypeDefinition) -> dict[str, Entry]:
        """The entry points of a class: its public static methods."""
        entries: dict[str, Entry] = {}
        for method in definition.methods:
            if method.is_public and method.is_static and not method.signature.variables:
                entries.setdefault(method.name, self._entry(method))
        return entries

    def _named(self, definition: TypeDefinition) -> set[str]:
        """The types that the code of the services names."""
        return {name for method in definition.methods if method.name in ("btp_TypeOf", "btp_IsAssignable")
                for name in types_named_in(self.assembly, method.number)}

    def _entry(self, method: Method) -> Entry:
        match = _OVERLOAD.match(method.name) or _PROPERTY.match(method.name)
        role, member, number = "btp", method.name.removeprefix("btp_"), 0
        if match is not None and not method.name.startswith("btp_"):
            role, member = match["role"], match["member"]
            number = int(match["number"]) if "number" in match.groupdict() else 0
        signature = method.signature
        return Entry(method.name, role, number, member, machine_of(signature.returned, self._underlying),
                     tuple(machine_of(term, self._underlying) for term in signature.parameters), method.parameters)

"""Reads catalogue files into plain records, one per line, without knowing what the names mean.

docs/catalogue.md describes the format. Everything that needs more than one line to judge is the model's business.
"""

from __future__ import annotations

import re
from dataclasses import dataclass, field
from pathlib import Path

from .errors import CatalogueError, Place
from .rows import read_rows

METHOD_KINDS = ("static", "method", "mixed", "mixed_static")
PROPERTY_KINDS = ("get", "getset", "static_get", "static_getset", "const")

_TYPE_LINE = re.compile(
    r"(?P<kind>class|static class|struct|interface|enum flags|enum) (?P<name>\w+)"
    r"(?: : (?P<base>[\w.]+))?(?P<disposable> disposable)?(?P<converts> converts)?"
    r"(?: implements (?P<interfaces>[\w.]+(?:, [\w.]+)*))?(?: stands for (?P<stands_for>[\w.]+(?:, [\w.]+)*))?\Z"
)
# What can stand behind any member.
_END = r"(?: from (?P<origin>[\w.]+))?(?P<exception> exception)?(?: because \"(?P<reason>[^\"]+)\")?\Z"
_MEMBER_LINE = re.compile(
    r"(?P<kind>\w+)(?: (?P<python>\w+) (?P<managed>\w+))? \((?P<params>[^()]*)\)(?: -> (?P<result>[\w.\[\]? ]+?))?"
    + _END
)
_PROPERTY_LINE = re.compile(
    r"(?P<kind>\w+) (?P<python>\w+) (?P<managed>\w+) (?P<type>[\w.\[\]? ]+?)" + _END
)


@dataclass(frozen=True)
class ParamLine:
    """`keyword: type` in a parameter list."""

    name: str
    type: str


@dataclass(frozen=True)
class MemberLine:
    """A constructor, method or property line."""

    place: Place
    kind: str
    python: str
    managed: str
    params: tuple[ParamLine, ...] = ()
    type: str | None = None  # of the result, or of the property
    origin: str | None = None  # the ancestor or interface that declares it, where it is inherited
    exception: bool = False  # the Python name does not follow the rules
    reason: str | None = None  # why a value of it can be anything


@dataclass
class TypeLine:
    """A type with its members."""

    place: Place
    kind: str
    namespace: str
    name: str
    base: str | None = None  # of an enumeration: its underlying integer
    disposable: bool = False
    converts: bool = False  # the managed type converts itself to other types
    interfaces: tuple[str, ...] = ()
    stands_for: tuple[str, ...] = ()
    members: list[MemberLine] = field(default_factory=list)
    values: list[tuple[str, int]] = field(default_factory=list)  # of an enumeration


@dataclass(frozen=True)
class ModuleLine:
    """A namespace and its Python module."""

    namespace: str
    module: str
    identifier: str


@dataclass
class Catalogue:
    """All lines of one assembly's catalogue."""

    directory: Path
    assembly: str
    modules: list[ModuleLine]
    types: list[TypeLine]


def _parameters(place: Place, text: str) -> tuple[ParamLine, ...]:
    params = []
    for part in filter(None, (piece.strip() for piece in text.split(","))):
        name, colon, type_name = part.partition(":")
        if not colon or not name.strip().isidentifier() or not type_name.strip():
            raise CatalogueError(place, f"'{part}' is no parameter; write 'keyword: type'")
        params.append(ParamLine(name.strip(), type_name.strip()))
    if len({param.name for param in params}) != len(params):
        raise CatalogueError(place, "a keyword stands twice in one parameter list")
    return tuple(params)


def _member(place: Place, text: str) -> MemberLine:
    kind = text.split(" ", 1)[0]
    if kind in ("shared", "items", "writer"):
        parts = text.split()
        if len(parts) != 2:
            raise CatalogueError(place, f"a line of {kind} is one name")
        return MemberLine(place, kind, parts[1], parts[1])
    if kind == "ctor" or kind in METHOD_KINDS:
        match = _MEMBER_LINE.match(text)
    elif kind in PROPERTY_KINDS:
        match = _PROPERTY_LINE.match(text)
    else:
        raise CatalogueError(place, f"'{kind}' is no kind of member")
    if match is None or (kind != "ctor") != (match["python"] is not None):
        raise CatalogueError(place, f"cannot read this {kind} line")
    params: tuple[ParamLine, ...]
    if kind in PROPERTY_KINDS:
        params, type_name = (), match["type"]
    else:
        params, type_name = _parameters(place, match["params"]), match["result"]
    return MemberLine(place, kind, match["python"] or "", match["managed"] or "", params, type_name,
                      match["origin"], bool(match["exception"]), match["reason"])


def read_types(path: Path) -> list[TypeLine]:
    """Reads one namespace's file."""
    types: list[TypeLine] = []
    namespace = None
    for place, line in read_rows(path):
        if line.startswith("namespace "):
            namespace = line.split()[1]
        elif not line.startswith(" "):
            match = _TYPE_LINE.match(line)
            if match is None:
                raise CatalogueError(place, "expected a type line or an indented member")
            if namespace is None:
                raise CatalogueError(place, "a type before the namespace line")
            interfaces, stands_for = (tuple(match[part].split(", ")) if match[part] else ()
                                      for part in ("interfaces", "stands_for"))
            types.append(TypeLine(place, match["kind"], namespace, match["name"], match["base"],
                                  bool(match["disposable"]), bool(match["converts"]), interfaces, stands_for))
        elif not types:
            raise CatalogueError(place, "a member before the first type")
        elif types[-1].kind.startswith("enum"):
            name, _, value = line.strip().partition(" ")
            try:
                types[-1].values.append((name, int(value, 0)))
            except ValueError:
                raise CatalogueError(place, "a member of an enumeration is a name and an integer") from None
        else:
            types[-1].members.append(_member(place, line.strip()))
    return types


def read_catalogue(directory: Path) -> Catalogue:
    """Reads `modules.tab` and every namespace file of a directory."""
    table = directory / "modules.tab"
    assembly = None
    modules: list[ModuleLine] = []
    for place, text in read_rows(table):
        parts = text.split()
        if parts[0] == "assembly" and len(parts) == 2:
            assembly = parts[1]
        elif len(parts) == 3:
            modules.append(ModuleLine(*parts))
        else:
            raise CatalogueError(place, "a row is a namespace, a Python module and an identifier")
    if assembly is None or not modules:
        raise CatalogueError(Place(table, 1), "the assembly or its modules are missing")
    types = [entry for path in sorted(directory.glob("*.cat")) for entry in read_types(path)]
    return Catalogue(directory, assembly, modules, types)

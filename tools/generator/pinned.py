"""Names that other assemblies and modules rely on: identifiers, managed names, entry points and symbols.

The rest of the catalogue can be corrected freely; what stands in `pinned.tab` can not, since it is known from outside.
Each row is checked against the model, those of symbols against what is written from it. The types of an entry point's
arguments are stated by their C++ names.
"""

from __future__ import annotations

import re
from collections.abc import Callable, Iterable
from dataclasses import dataclass
from pathlib import Path

from .entry_points import entry_points
from .errors import CatalogueError, Place
from .model import Method, Model, Property, Type
from .rows import read_optional_rows
from .writers.cpp.words import slot_type

_NUMBERS = {"type": (3, 4), "module": (3,), "name": (3,), "host": (3,), "entry": (3,), "hosts": (4,),
            "member": (4,), "symbol": (2,)}


@dataclass(frozen=True)
class PinnedLine:
    """One row: what kind of name it pins, and the words behind that."""

    place: Place
    kind: str
    words: tuple[str, ...]


def read_pinned(path: Path) -> list[PinnedLine]:
    """Reads `pinned.tab`; an assembly without one has nothing that is known from outside."""
    rows: list[PinnedLine] = []
    for place, text in read_optional_rows(path):
        parts = text.split()
        if parts[0] not in _NUMBERS:
            raise CatalogueError(place, f"'{parts[0]}' is no kind of name")
        if len(parts) not in _NUMBERS[parts[0]]:
            raise CatalogueError(place, f"cannot read this {parts[0]} row")
        row = PinnedLine(place, parts[0], tuple(parts[1:]))
        if any((row.kind, row.words) == (other.kind, other.words) for other in rows):
            raise CatalogueError(place, "this row is there already")
        rows.append(row)
    return rows


def _find(model: Model, full_name: str) -> Type | None:
    return next((entry for entry in model.types if entry.full_name == full_name), None)


def _type(model: Model, words: tuple[str, ...]) -> str | None:
    entry = _find(model, words[0])
    if entry is None:
        return f"there is no type {words[0]}"
    found = (entry.identifier, entry.managed_identifier)
    wrong = [f"{there} instead of {wanted}" for there, wanted in zip(found, words[1:]) if wanted not in ("-", there)]
    return f"{words[0]} has the identifier {wrong[0]}" if wrong else None


def _module(model: Model, words: tuple[str, ...]) -> str | None:
    found = next((module.identifier for module in model.modules if module.name == words[0]), "none")
    return None if found == words[1] else f"{words[0]} has the identifier {found} instead of {words[1]}"


class _Names:
    """The members of all types by their names: the Python and the managed name and the member, once for each line."""

    def __init__(self, model: Model) -> None:
        self.by_python: dict[str, list[tuple[str, str, Method | Property]]] = {}
        self.by_managed: dict[str, list[tuple[str, str, Method | Property]]] = {}
        for entry in model.types:
            for method in entry.methods:
                for overload in [*method.overloads, *([method.static_overload] if method.static_overload else [])]:
                    self._add(overload.python, overload.managed, method)
            for prop in entry.properties:
                self._add(prop.python, prop.managed, prop)

    def _add(self, python: str, managed: str, member: Method | Property) -> None:
        row = (python, managed, member)
        self.by_python.setdefault(python, []).append(row)
        self.by_managed.setdefault(managed, []).append(row)


def _name(names: _Names, words: tuple[str, ...]) -> str | None:
    python, managed = words
    found = names.by_managed.get(managed, [])
    wrong = [f"{member!r} is {managed} on the managed side, which is {python} in Python"
             for name, _, member in found if name != python]
    wrong += [f"{member!r} stands for {other}, and {managed} differs from it in the case of letters only"
              for _, other, member in names.by_python.get(python, []) if other != managed
              and other.lower() == managed.lower()]
    return wrong[0] if wrong else None if found else f"nothing is called {managed}"


def _member(names: _Names, words: tuple[str, ...]) -> str | None:
    found = [member for name, _, member in names.by_managed.get(words[2], [])
             if (name, member.owner.full_name) == (words[1], words[0])]
    return None if found else f"{words[0]} has no {words[1]} that is {words[2]} on the managed side"


def _host(model: Model, words: tuple[str, ...]) -> str | None:
    entry = _find(model, words[0])
    found = entry.host_class if entry else "none"
    return None if found == words[1] else f"{words[0]} has the host {found} instead of {words[1]}"


def _entry(model: Model, words: tuple[str, ...]) -> str | None:
    """An entry point, with the types of its arguments behind it: `call_000_Load(PyStringArg,void)`."""
    entry = _find(model, words[0])
    match = re.fullmatch(r"(\w+)(?:\(([\w,]*)\))?", words[1])
    if entry is None or match is None:
        return f"there is no type {words[0]}" if match else f"'{words[1]}' is no entry point"
    found = next((point.arguments for point in entry_points(entry) if point.name == match[1]), None)
    if found is None:
        return f"{words[0]} has no entry point {match[1]}"
    plain = ",".join(slot_type(argument.slot).removeprefix("const ").rstrip("*") for argument in found)
    if match[2] is not None and match[2] != plain:
        return f"{words[0]}.{match[1]} takes ({plain}) instead of ({match[2]})"
    return None


def _hosts(model: Model, words: tuple[str, ...]) -> str | None:
    """How many entry points a host has, and which, if they are not dots: in binding order."""
    entry = _find(model, words[0])
    if entry is None:
        return f"there is no type {words[0]}"
    found = [point.name for point in entry_points(entry)]
    if len(found) != int(words[1]):
        return f"{words[0]} has {len(found)} entry points instead of {words[1]}"
    if words[2] != "..." and found != words[2].split(","):
        return f"{words[0]} binds {','.join(found)} instead of {words[2]}"
    return None


_CHECKS: dict[str, Callable[[Model, tuple[str, ...]], str | None]] = {
    "type": _type, "module": _module, "host": _host, "entry": _entry, "hosts": _hosts}
_NAME_CHECKS: dict[str, Callable[[_Names, tuple[str, ...]], str | None]] = {"name": _name, "member": _member}


def check_pinned(model: Model, rows: list[PinnedLine]) -> None:
    """Refuses a model in which a pinned name is another."""
    names = _Names(model)
    for row in rows:
        reason = None
        if row.kind in _CHECKS:
            reason = _CHECKS[row.kind](model, row.words)
        elif row.kind in _NAME_CHECKS:
            reason = _NAME_CHECKS[row.kind](names, row.words)
        if reason is not None:
            raise CatalogueError(row.place, reason)


def check_symbols(rows: list[PinnedLine], sources: Iterable[str]) -> None:
    """Refuses written sources that lack a pinned symbol."""
    missing = {row.words[0]: row for row in rows if row.kind == "symbol"}
    for source in sources:
        for symbol in [symbol for symbol in missing if symbol in source]:
            if re.search(rf"\b{re.escape(symbol)}\b", source):
                del missing[symbol]
    for row in missing.values():
        raise CatalogueError(row.place, f"nothing that is written has the symbol {row.words[0]}")

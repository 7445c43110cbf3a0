"""What the types and members of the modules are for: the entries of a file that the build makes from the stubs.

An entry is a module, a type or a member; the overloads of a method are one. The file has a part for each module, which
is read when one of its names is asked for.
"""

from __future__ import annotations

import json
import zipfile
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from functools import cache
from pathlib import Path
from typing import Any

_FILE = Path(__file__).with_name("_words.zip")
_ROOT = "zelmor.imaging"
_FOLDINGS: tuple[Callable[[str], str], ...] = (str, str.lower)


@dataclass(frozen=True)
class Entry:
    """What is known of a module, a type or a member."""

    #: The full name, such as "zelmor.imaging.Image.load". That of the constructors ends in "ctor".
    name: str
    #: "module", "class", "enumeration", "constructor", "method", "static method", "method of the class and of its
    #: objects", "property", "read-only property", "constant" or "value".
    kind: str
    #: The full names of the base classes.
    bases: tuple[str, ...] = ()
    #: The calls that are possible, or the type of a property.
    signatures: tuple[str, ...] = ()
    text: str = ""

    @property
    def owner(self) -> str:
        """The full name of the type or the module that has it."""
        return self.name.rpartition(".")[0]

    @property
    def last(self) -> str:
        """The last part of the name."""
        return self.name.rpartition(".")[2]

    @property
    def short(self) -> str:
        """The name without the module: `Image`, `Image.load`."""
        return self.name if self.kind in ("module", "function") else self.last if self.is_type else \
            f"{self.owner.rpartition('.')[2]}.{self.last}"

    @property
    def is_type(self) -> bool:
        """Whether it is a class or an enumeration."""
        return self.kind in ("class", "enumeration")

    @property
    def summary(self) -> str:
        """The first sentence of the text."""
        first = " ".join(self.text.partition("\n\n")[0].split())
        if first.startswith("Managed "):
            return ""
        end = first.find(". ")
        return first if end < 0 else first[:end + 1]


@cache
def _index() -> dict[str, list[str]]:
    """The full names of the types of each module."""
    found: dict[str, list[str]] = _read("index.json")
    return found


@cache
def _module(name: str) -> dict[str, Entry]:
    """The entries of a module by full name, in their order."""
    return {item["name"]: Entry(item["name"], item["kind"], tuple(item.get("bases", ())),
                                tuple(item.get("signatures", ())), item.get("text", ""))
            for item in _read(f"{name}.json")}


def _read(part: str) -> Any:
    with zipfile.ZipFile(_FILE) as archive:
        return json.loads(archive.read(part))


@cache
def types() -> dict[str, str]:
    """The module of each type by the type's full name."""
    return {name: module for module, names in _index().items() for name in names}


def modules() -> list[str]:
    """The names of all modules."""
    return list(_index())


def everything() -> Iterator[Entry]:
    """All entries."""
    for name in _index():
        yield from _module(name).values()


def entry(name: str) -> Entry | None:
    """The entry of a full name; members are looked for in the base classes too."""
    if name in _index():
        return _module(name)[name]
    module = types().get(name)
    if module is not None:
        return _module(module)[name]
    owner, _, last = name.rpartition(".")
    return member(owner, last) if owner in types() else None


def member(owner: str, last: str) -> Entry | None:
    """A member of a type or of the nearest of its bases."""
    own = _module(types()[owner])
    found = own.get(f"{owner}.{last}")
    if found is not None or last == "ctor":
        return found
    return next((found for base in own[owner].bases if base in types()
                 and (found := member(base, last)) is not None), None)


def members(owner: str) -> list[Entry]:
    """What a type declares itself, or the types and the modules that stand directly in a module."""
    if owner in _index():
        below = [_module(name)[name] for name in _index() if name.rpartition(".")[0] == owner]
        return below + [found for found in _module(owner).values() if found.is_type]
    return [found for found in _module(types()[owner]).values() if found.owner == owner]


def lookup(name: str) -> list[Entry]:
    """The entries that a person may mean by a name, the likeliest first.

    The name may leave out the modules (`PngOptions.progressive`), and the type as well (`progressive`), and need not
    have the right case where nothing has it. What `zelmor.imaging` has goes before what the smaller
    modules have.
    """
    name = name.strip().removesuffix("()")
    exact = entry(name) or entry(f"{_ROOT}.{name}") or entry(f"zelmor.{name}")
    if exact is not None:
        return [exact]
    ways: list[Callable[[str, Callable[[str], str]], list[Entry]]] = [_types_called, _modules_called, _members_called]
    for way in ways:
        for folded in _FOLDINGS:
            found = way(name, folded)
            if found:
                main = [one for one in found if one.name.startswith(_ROOT + ".")]
                return sorted(main or found, key=lambda one: (one.name.count("."), one.name))
    return []


def _types_called(name: str, folded: Callable[[str], str]) -> list[Entry]:
    """Types whose full names end in the name."""
    return [_module(module)[full] for full, module in types().items() if folded(full).endswith("." + folded(name))]


def _modules_called(name: str, folded: Callable[[str], str]) -> list[Entry]:
    """Modules whose names end in the name."""
    return [_module(full)[full] for full in _index() if folded(full).endswith("." + folded(name))]


def _members_called(name: str, folded: Callable[[str], str]) -> list[Entry]:
    """Members of the types that the name names, or of all."""
    head, _, last = folded(name).rpartition(".")
    if not head:
        return [one for one in everything() if folded(one.last) == last and not one.is_type and one.kind != "module"]
    owners = [full for full in types() if folded(full).endswith("." + head)]
    return list(dict.fromkeys(one for owner in owners for one in all_members(owner) if folded(one.last) == last))


def all_members(owner: str) -> Iterator[Entry]:
    """The members of a type and of its bases; the nearest first."""
    seen: set[str] = set()
    pending = [owner]
    while pending:
        here = pending.pop(0)
        if here in types():
            for one in members(here):
                if one.last not in seen:
                    seen.add(one.last)
                    yield one
            pending += _module(types()[here])[here].bases

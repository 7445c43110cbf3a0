"""Repeats the overloads that a class inherits: behind its own overloads of a name a class lists those of its base.

Where a base class has got other overloads, the lists of the classes below it follow.
"""

from __future__ import annotations

from dataclasses import dataclass, replace

from tools.generator.catalogue import METHOD_KINDS, MemberLine, TypeLine, read_catalogue
from tools.generator.model import Param, Type

from .draft import Draft

_KINDS = tuple(kind for kind in METHOD_KINDS if kind != "mixed_static")


@dataclass(frozen=True)
class _Listed:
    """An overload as a class lists it: its types in full, the class that declares it, and the line."""

    signature: tuple[str, ...]
    owner: str
    line: MemberLine


class _Groups:
    """The overloads of each name in each class."""

    def __init__(self, draft: Draft) -> None:
        self._draft = draft
        lines = read_catalogue(draft.directory)
        self._types: dict[str, TypeLine] = {f"{line.namespace}.{line.name}": line for line in lines.types}
        self._known: dict[tuple[str, str], list[_Listed]] = {}

    def _listed(self, entry: TypeLine, line: MemberLine) -> _Listed:
        owner = f"{entry.namespace}.{entry.name}"
        if line.origin:
            owner = self._draft.builder.find(line.place, line.origin, entry.namespace).full_name
        signature = []
        for param in line.params:
            prefix = param.type[:4] if param.type[:4] in ("ref ", "out ") else ""
            wire = self._draft.builder.wire(line.place, param.type.removeprefix(prefix), entry.namespace)
            signature.append(Param(param.name, wire, prefix == "ref ", prefix == "out ").type)
        return _Listed(tuple(signature), owner, line)

    def of(self, entry: Type, python: str) -> list[_Listed]:
        """The overloads of a name, changed to what they have to be."""
        key = (entry.full_name, python)
        if key not in self._known:
            self._known[key] = self._read(entry, python)
        return self._known[key]

    def _read(self, entry: Type, python: str) -> list[_Listed]:
        type_line = self._types[entry.full_name]
        listed = [self._listed(type_line, line) for line in type_line.members
                  if line.python == python and line.kind in _KINDS]
        if not listed:
            return []
        own = [item for item in listed if not item.line.origin]
        inherited = [item for item in listed if item.line.origin]
        groups = (self.of(base, python) for base in entry.bases())
        above: list[_Listed] = next(filter(None, groups), [])
        signatures = {item.signature for item in own}
        expected = [item for item in above if item.signature not in signatures]
        if [(item.owner, item.signature) for item in inherited] == [(item.owner, item.signature) for item in expected]:
            return listed
        behind = (own or listed)[-1].line.place
        for item in inherited:
            self._draft.remove(item.line.place)
        for item in expected:
            self._draft.insert_member(behind, self._repeat(item, entry))
        return [*own, *expected]

    def _repeat(self, item: _Listed, entry: Type) -> MemberLine:
        """The line of an overload as another class repeats it, with full names where short ones mean another type."""
        home = item.owner.rpartition(".")[0]
        return replace(self._draft.elsewhere(item.line, home, entry.namespace),
                       origin=self._draft.word(item.owner.rpartition(".")[2], home, entry.namespace))

    def run(self) -> None:
        """All classes."""
        for entry in self._draft.model.types:
            if entry.kind != "class" or not entry.bases():
                continue
            for python in {line.python for line in self._types[entry.full_name].members if line.kind in _KINDS}:
                self.of(entry, python)


def repeat_inherited(draft: Draft) -> None:
    """Brings the lists of inherited overloads of a saved draft up to date."""
    _Groups(draft).run()
    draft.save()

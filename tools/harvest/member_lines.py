"""Changes of member lines: in the type that declares the member, and wherever a type repeats what it inherits."""

from __future__ import annotations

from collections import defaultdict
from dataclasses import replace

from tools.generator.catalogue import PROPERTY_KINDS, MemberLine, TypeLine
from tools.generator.errors import Place
from tools.generator.model import Overload, Param, Property, Type

from .draft import Draft


class MemberLines:
    """The member lines of a draft."""

    def __init__(self, draft: Draft) -> None:
        self._draft = draft
        self._at: dict[Place, MemberLine] = {}
        self._types: dict[str, TypeLine] = {}
        self._repeats: dict[tuple[str, str], list[tuple[TypeLine, MemberLine]]] = defaultdict(list)
        for entry in draft.lines.types:
            self._types[f"{entry.namespace}.{entry.name}"] = entry
            for line in entry.members:
                self._at[line.place] = line
                if line.origin:
                    origin = draft.builder.find(line.place, line.origin, entry.namespace)
                    self._repeats[origin.full_name, line.python].append((entry, line))

    def of(self, member: Overload | Property) -> MemberLine:
        """The line that declares a member."""
        return self._at[member.place]

    def type(self, entry: Type) -> TypeLine:
        """The lines of a type."""
        return self._types[entry.full_name]

    def _repeated(self, member: Overload | Property) -> list[tuple[TypeLine, MemberLine]]:
        """The lines that repeat a member, with their types."""
        owner = member.owner if isinstance(member, Overload) else member.declared_by
        lines = self._repeats[owner.full_name, member.python]
        if isinstance(member, Property):
            return lines
        return [(entry, line) for entry, line in lines if self._signature(entry, line) == member.signature]

    def _signature(self, entry: TypeLine, line: MemberLine) -> tuple[str, ...]:
        found = []
        for param in line.params:
            prefix = param.type[:4] if param.type[:4] in ("ref ", "out ") else ""
            wire = self._draft.builder.wire(line.place, param.type.removeprefix(prefix), entry.namespace)
            found.append(Param(param.name, wire, prefix == "ref ", prefix == "out ").type)
        return tuple(found)

    # -- changes ------------------------------------------------------------------------------------------------------

    def change(self, member: Overload | Property, line: MemberLine) -> None:
        """Writes the line of a member and those that repeat it."""
        self._draft.member(line)
        home = member.owner.namespace
        for entry, repeat in self._repeated(member):
            kind = repeat.kind if isinstance(member, Overload) else line.kind
            self._draft.member(replace(self._draft.elsewhere(line, home, entry.namespace), place=repeat.place,
                                       origin=repeat.origin, kind=kind))
            if repeat.python != line.python:
                self._document(entry, repeat.python, line.python)
        if member.python != line.python:
            self._mentions(member, line.python)
            self._document(self.type(member.owner), member.python, line.python)

    def remove(self, member: Overload | Property) -> None:
        """Takes away the line of a member and those that repeat it; the documentation goes with the last overload."""
        owner = self.type(member.owner)
        for entry, line in [(owner, self.of(member)), *self._repeated(member)]:
            self._draft.remove(line.place)
            entry.members.remove(line)
            if not any(other.python == line.python for other in entry.members if other.kind not in (
                    "shared", "items", "writer")):
                self._document(entry, line.python or "ctor", None)
        if isinstance(member, Property):
            self._mentions(member, None)

    def _mentions(self, member: Overload | Property, python: str | None) -> None:
        """The lines that name a property beside its own."""
        for line in self.type(member.owner).members:
            if line.kind in ("items", "writer") and line.python == member.python:
                if python is None:
                    self._draft.remove(line.place)
                else:
                    self._draft.member(replace(line, python=python))

    def add(self, entry: Type, behind: Place, line: MemberLine) -> None:
        """Writes a new line; the interfaces that extend the type repeat it."""
        self._draft.insert_member(behind, line)
        if entry.kind != "interface":
            return
        for other in self._draft.model.types:
            if other.kind == "interface" and entry in self._extended(other):
                last = max((found.place for found in self.type(other).members), key=lambda place: place.line,
                           default=other.place)
                origin = self._draft.word(entry.name, entry.namespace, other.namespace)
                self._draft.insert_member(last, replace(
                    self._draft.elsewhere(line, entry.namespace, other.namespace), origin=origin))

    @staticmethod
    def _extended(entry: Type) -> set[Type]:
        found: set[Type] = set()
        waiting = [entry]
        while waiting:
            new = [item for item in waiting.pop().interfaces if isinstance(item, Type) and item not in found]
            found.update(new)
            waiting += new
        return found

    def behind(self, entry: Type, kinds: str) -> Place:
        """Where a new line goes if nothing else tells: behind the last one of its kind, or below the type's line."""
        wanted = PROPERTY_KINDS if kinds == "property" else (kinds,)
        places = [line.place for line in self.type(entry).members if line.kind in wanted]
        return max(places, key=lambda place: place.line, default=entry.place)

    # -- documentation ------------------------------------------------------------------------------------------------

    def _document(self, entry: TypeLine, python: str, new: str | None) -> None:
        """Renames the text of a member, or takes it away."""
        directory = self._draft.directory
        for path in [directory / f"{entry.namespace}.doc", *sorted(directory.glob(f"{entry.namespace}.part*.doc"))]:
            if not path.exists():
                continue
            lines, inside, dropping = self._draft.text(path), False, False
            for at, line in enumerate(lines):
                if line is None or not line.strip():
                    dropping = dropping and line is None
                    continue
                indent = len(line) - len(line.lstrip())
                if indent == 0:
                    inside, dropping = line.startswith(f"{entry.name}:"), False
                elif indent == 2:
                    dropping = inside and line.startswith(f"  {python}:")
                    if dropping and new is not None:
                        lines[at], dropping = f"  {new}:{line.partition(':')[2]}", False
                if dropping and new is None:
                    lines[at] = None

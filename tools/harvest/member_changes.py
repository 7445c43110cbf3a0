"""The differences of members: entry points that one side lacks, other names, and other types on the wire."""

from __future__ import annotations

from collections import defaultdict
from collections.abc import Iterable
from dataclasses import dataclass, replace

from tools.generator.catalogue import MemberLine, ParamLine
from tools.generator.entry_points import (EntryPoint, declared_overloads, declared_properties, entry_points,
                                          of_overload, of_property, services_of)
from tools.generator.errors import Place
from tools.generator.model import Overload, Property, Type
from tools.generator.naming import snake_case
from tools.generator.wires import Slot

from .contract import Contract, Entry, Host
from .differences import Difference, Kind
from .draft import Draft
from .fitting import Fitting, Found
from .library import Library, Words
from .lines import renamed, retyped
from .machine import Machine, Records
from .matching import Matches
from .member_lines import MemberLines
from .overloads import align

# A name of a type: what it is (ctor, call or property) and the managed name.
Key = tuple[str, str]
_PROPERTY_ROLES = ("get", "set", "getsa", "setsa")


@dataclass
class _Members:
    """What a type has by name, on both sides."""

    overloads: dict[Key, list[Overload]]
    properties: dict[Key, Property]
    entries: dict[Key, list[Entry]]

    @property
    def own(self) -> list[Key]:
        """The names in the catalogue."""
        return [*self.overloads, *self.properties]


def _slots(point: EntryPoint) -> list[Slot]:
    return [*(argument.slot for argument in point.arguments), point.returned]


def _collect(entry: Type, host: Host) -> _Members:
    overloads: dict[Key, list[Overload]] = defaultdict(list)
    for overload in declared_overloads(entry):
        overloads["call" if overload.python else "ctor", overload.managed].append(overload)
    for same in overloads.values():
        same.sort(key=lambda overload: overload.number)
    entries: dict[Key, list[Entry]] = defaultdict(list)
    for found in host.entries.values():
        if found.role in _PROPERTY_ROLES:
            entries["property", found.member].append(found)
        elif found.role != "btp":
            entries[found.role, found.member].append(found)
    for numbered in entries.values():
        numbered.sort(key=lambda found: found.number)
    properties = {("property", prop.managed): prop for prop in declared_properties(entry)}
    return _Members(dict(overloads), properties, dict(entries))


def _shown(words: Words) -> str:
    """The types as a catalogue line has them."""
    params = ", ".join(f"{keyword}: {word}" for keyword, word in words.params)
    return f"({params})" + (f" -> {words.result}" if words.result else "")


def _types(line: MemberLine) -> Words:
    return Words(tuple((param.name, param.type) for param in line.params), line.type, line.kind == "static")


class MemberChanges:
    """Compares the members of each type with the entry points of its host, and changes the draft."""

    def __init__(self, contract: Contract, draft: Draft, matches: Matches) -> None:
        self._draft = draft
        self._matches = matches
        self._lines = MemberLines(draft)
        self._records = Records()
        self._records.learn(self._pairs())
        self._library = Library(contract, draft)
        self._fitting = Fitting(self._library, self._records)
        self.differences: list[Difference] = []

    def _pairs(self) -> Iterable[tuple[Slot, Machine]]:
        for entry, host in self._matches.hosts.items():
            for point in entry_points(entry):
                found = host.entries.get(point.name)
                if found is not None and len(found.machines) == len(point.arguments) + 1:
                    yield from zip(_slots(point), found.machines)

    def run(self) -> None:
        """All types that have a host."""
        for entry, host in self._matches.hosts.items():
            members = _collect(entry, host)
            names = self._renamed(entry, members)
            for key, same in members.overloads.items():
                self._overloads(entry, key, same, members.entries.get(names.get(key, key), []),
                                names[key][1] if key in names else None)
            for key, prop in members.properties.items():
                self._property(entry, prop, members.entries.get(names.get(key, key), []),
                               names[key][1] if key in names else None)
            taken = {*members.own, *names.values()}
            for key, entries in members.entries.items():
                if key not in taken:
                    self._extra(entry, key, entries, host)
            self._services(entry, host)
            self._order(entry, host)

    def _add(self, kind: Kind, entry: Type, member: str, text: str) -> None:
        self.differences.append(Difference(kind, entry.full_name, member, text))

    # -- names ------------------------------------------------------------------------------------------------------

    def _renamed(self, entry: Type, members: _Members) -> dict[Key, Key]:
        """Names that are others in the assembly: between the same neighbors, with the same machine types."""
        own, found = members.own, list(members.entries)
        common = [key for key in own if key in members.entries]
        result: dict[Key, Key] = {}
        for before, after in zip([None, *common], [*common, None]):
            gone = self._between(own, before, after, members.entries)
            new = self._between(found, before, after, set(own))
            for key, other in zip(gone, new) if len(gone) == len(new) else ():
                if key[0] == other[0] != "ctor" and self._is_alike(members, key, other):
                    result[key] = other
        for key, other in list(result.items()):
            python = snake_case(other[1])
            if any(line.python == python for line in self._lines.type(entry).members):
                del result[key]
        return result

    @staticmethod
    def _between(keys: list[Key], before: Key | None, after: Key | None, other: Iterable[Key]) -> list[Key]:
        first = keys.index(before) + 1 if before is not None else 0
        last = keys.index(after) if after is not None else len(keys)
        return [key for key in keys[first:last] if key not in other]

    def _is_alike(self, members: _Members, key: Key, other: Key) -> bool:
        entries = members.entries[other]
        if key[0] == "property":
            prop = members.properties[key]
            roles = {point.name.partition("_")[0] for point in of_property(prop)}
            return roles == {entry.role for entry in entries} and self._fitting.property_fits(prop, entries)
        overloads = members.overloads[key]
        return len(overloads) == len(entries) and all(
            self._fitting.fits(of_overload(overload), entry) for overload, entry in zip(overloads, entries))

    # -- properties -------------------------------------------------------------------------------------------------

    def _property(self, entry: Type, prop: Property, entries: list[Entry], name: str | None) -> None:
        line = changed = self._lines.of(prop)
        roles = {found.role for found in entries}
        if not roles & {"get", "getsa"}:
            for point in of_property(prop):
                if point.name not in {found.name for found in entries}:
                    self._add(Kind.LACKING, entry, prop.managed, f"there is no {point.name}; the line is removed")
            self._lines.remove(prop)
            return
        if name is not None:
            changed = renamed(changed, name)
            self._add(Kind.WRITTEN, entry, prop.managed, f"the name is {name} instead of {prop.managed}")
        static = "getsa" in roles
        entries = [found for found in entries if found.role in (("getsa", "setsa") if static else ("get", "set"))]
        writable = bool(roles & {"set", "setsa"})
        if static != prop.static:
            self._add(Kind.WRITTEN, entry, prop.managed, f"it is {'static' if static else 'of an instance'}")
        elif writable != prop.writable:
            self._add(*(Kind.EXTRA, entry, prop.managed, "it can be written") if writable else
                      (Kind.LACKING, entry, prop.managed, "there is no setter; it is read-only now"))
        if (static, writable) != (prop.static, prop.writable):
            kind = ("static_" if static else "") + ("getset" if writable else "get")
            changed = replace(changed, kind=kind)
        changed = self._property_type(entry, prop, changed, entries)
        if changed is not line:
            self._lines.change(prop, changed)

    def _property_type(self, entry: Type, prop: Property, line: MemberLine, entries: list[Entry]) -> MemberLine:
        static = entries[0].role == "getsa"
        same = replace(prop, managed=line.managed, static=static, writable=True)
        found = self._fitting.property(entry, line.managed, entries)
        fits = self._fitting.property_fits(same, entries)
        if fits and (found is None or not found.is_certain or self._is_wire(entry, found.words.result, prop)):
            return line
        if fits and self._library.property(entry, line.managed) is None:
            return line  # one type of several that fit
        if found is None:
            self._add(Kind.OPEN, entry, prop.managed,
                      f"the type is {line.type}, and the assembly passes {entries[0].signature}")
            return line
        self._add(Kind.WRITTEN, entry, prop.managed, f"the type is {found.words.result} instead of {line.type}"
                  + ("" if found.is_certain else ", or another of that width"))
        return retyped(line, None, [], found.words.result)

    def _is_wire(self, entry: Type, word: str | None, prop: Property) -> bool:
        return word is not None and self._library.wire(word, entry.namespace) == prop.wire

    # -- overloads --------------------------------------------------------------------------------------------------

    def _is_equal(self, overload: Overload, entry: Entry) -> bool:
        """Whether an overload passes what the entry point takes, and is one of the library's where that is told."""
        if not self._fitting.fits(of_overload(overload), entry):
            return False
        told = self._fitting.told(overload.owner, entry.member, entry)
        return not told or any(self._same_types(overload, other) for _, other in told)

    @staticmethod
    def _same_types(first: Overload, second: Overload) -> bool:
        return ((first.signature, first.result.name) == (second.signature, second.result.name)
                and (first.static == second.static or not first.python))

    def _overloads(self, entry: Type, key: Key, overloads: list[Overload], entries: list[Entry],
                   name: str | None) -> None:
        member = key[1]
        if [found.number for found in entries] != list(range(len(entries))):
            self._add(Kind.OPEN, entry, member, "its overloads are numbered "
                      f"{', '.join(str(found.number) for found in entries)}, which leaves some out")
            return
        found = align(overloads, entries, self._is_equal)
        used = [overload for overload, _ in found.pairs if overload is not None]
        types: list[Found | None] = []
        for at, (overload, point) in enumerate(found.pairs):
            types.append(self._types_of(entry, at in found.same | found.moved, overload, point, used))
        for at, ((overload, point), new) in enumerate(zip(found.pairs, types)):
            if new is not None:
                continue
            others = any(other is not None for other, _ in found.pairs[at + 1:])
            if overload is not None or others:
                self._add(Kind.OPEN, entry, point.name, f"the assembly passes {point.signature}, which does not tell "
                          "the types" + ("; the overloads behind it have other numbers" if others else ""))
                return
        self._write(entry, overloads, found.pairs, found.same, found.moved, types, name)
        for overload in found.removed:
            self._add(Kind.LACKING, entry, member,
                      f"there is no overload {_shown(_types(self._lines.of(overload)))}; the line is removed")
            self._lines.remove(overload)

    def _types_of(self, entry: Type, same: bool, overload: Overload | None, point: Entry,
                  used: list[Overload]) -> Found | None:
        """The types of an entry point; None where nothing tells them."""
        if same and overload is not None:
            return Found(_types(self._lines.of(overload)), True)
        told = [(words, other) for words, other in self._fitting.told(entry, point.member, point)
                if not any(self._same_types(one, other) for one in used)]
        if told:
            return Found(told[0][0], len(told) == 1)
        if overload is None:
            return self._fitting.guess(entry, point)
        return self._fitting.changed(overload, point, _types(self._lines.of(overload)))

    def _write(self, entry: Type, overloads: list[Overload], pairs: list[tuple[Overload | None, Entry]],
               same: set[int], moved: set[int], types: list[Found | None], name: str | None) -> None:
        """Writes the lines of one name in the order of the assembly."""
        behind: Place | None = None
        for at, ((overload, point), found) in enumerate(zip(pairs, types)):
            member = point.member if overload is None else overload.managed
            if found is None:
                self._add(Kind.EXTRA, entry, point.name, f"{point.signature}, which does not tell the types")
                continue
            doubt = "" if found.is_certain else ", or what else has these machine types"
            if overload is None:
                python = overloads[0].python if overloads else snake_case(point.member)
                line = self._new_line(entry, python, point, found.words, overloads)
                self._add(Kind.EXTRA, entry, member,
                          f"an overload {_shown(found.words)}{doubt}; the line is added")
                self._lines.add(entry, behind or self._lines.behind(entry, line.kind), line)
                continue
            line = changed = self._lines.of(overload)
            if name is not None:
                changed = renamed(changed, name)
                self._add(Kind.WRITTEN, entry, member, f"the name is {name} instead of {member}")
            if at not in same | moved:
                words = found.words
                self._add(Kind.WRITTEN, entry, member,
                          f"the types are {_shown(words)} instead of {_shown(_types(line))}{doubt}")
                changed = replace(changed, params=tuple(
                    ParamLine(old.name, "") for old in line.params) if len(line.params) == len(words.params)
                    else tuple(ParamLine(keyword, "") for keyword, _ in words.params))
                changed = retyped(changed, self._kind(line.kind, words.is_static),
                                  [word for _, word in words.params], words.result)
            if at in moved:
                self._add(Kind.WRITTEN, entry, member, f"the overload {_shown(_types(line))} has the number "
                                                       f"{point.number} instead of {overload.number}")
                self._lines.remove(overload)
                self._lines.add(entry, behind or self._lines.behind(entry, line.kind), changed)
                continue
            if changed is not line:
                self._lines.change(overload, changed)
            behind = line.place

    @staticmethod
    def _kind(kind: str, static: bool) -> str:
        """The kind of a method's line with other types."""
        if kind in ("static", "method"):
            return "static" if static else "method"
        return kind

    def _new_line(self, entry: Type, python: str, point: Entry, words: Words, overloads: list[Overload]) -> MemberLine:
        kind = "ctor" if point.role == "ctor" else "static" if words.is_static else "method"
        if overloads and self._lines.of(overloads[0]).kind.startswith("mixed"):
            kind = "mixed_static" if words.is_static else "mixed"
        names = (python, overloads[0].managed if overloads else point.member) if point.role != "ctor" else ("", "")
        params = tuple(ParamLine(keyword, "") for keyword, _ in words.params)
        line = MemberLine(Place(entry.place.path, 0), kind, *names, params,
                          exception=bool(names[0]) and snake_case(names[1]) != names[0])
        return retyped(line, None, [word for _, word in words.params], words.result)

    # -- what only the assembly has -----------------------------------------------------------------------------------

    def _extra(self, entry: Type, key: Key, entries: list[Entry], host: Host) -> None:
        role, member = key
        python = snake_case(member)
        taken = any(line.python == python for line in self._lines.type(entry).members) and role != "ctor"
        if role != "property":
            if taken or role == "ctor" and member != entry.name:
                for point in entries:
                    self._add(Kind.EXTRA, entry, point.name, point.signature)
                return
            self._overloads(entry, key, [], entries, None)
            return
        readers = [found for found in entries if found.role in ("get", "getsa")]
        static = any(found.role == "getsa" for found in readers)
        accessors = [found for found in entries if found.role in (("getsa", "setsa") if static else ("get", "set"))]
        found_type = self._fitting.property(entry, member, accessors) if readers and not taken else None
        if found_type is None or found_type.words.result is None:
            for point in entries:
                self._add(Kind.EXTRA, entry, point.name, f"{point.signature}, which does not tell the type")
            return
        kind = ("static_" if static else "") + ("getset" if len(accessors) > 1 else "get")
        doubt = "" if found_type.is_certain else ", or another of that width"
        self._add(Kind.EXTRA, entry, member, f"a property of the type {found_type.words.result}{doubt}; the line is "
                                             "added")
        line = retyped(MemberLine(entry.place, kind, python, member), None, [], found_type.words.result)
        self._lines.add(entry, self._before(entry, host, entries[0]) or self._lines.behind(entry, "property"), line)

    def _before(self, entry: Type, host: Host, point: Entry) -> Place | None:
        """The line of the property that stands before an entry point in the assembly."""
        properties = {prop.managed: prop for prop in declared_properties(entry)}
        found: Place | None = None
        for other in host.entries.values():
            if other is point:
                break
            if other.role in _PROPERTY_ROLES and other.member in properties:
                found = self._lines.of(properties[other.member]).place
        return found

    # -- services and order -------------------------------------------------------------------------------------------

    def _services(self, entry: Type, host: Host) -> None:
        for point in services_of(entry):
            found = host.entries.get(point.name)
            if found is None:
                self._add(Kind.OPEN, entry, point.name, "the assembly lacks this service, and the type cannot be used")
            elif not self._fitting.fits(point, found):
                self._add(Kind.OPEN, entry, point.name, f"the service passes {found.signature}")

    def _order(self, entry: Type, host: Host) -> None:
        wanted = [point.name for point in entry_points(entry) if point.name in host.entries]
        found = [name for name in host.entries if name in set(wanted)]
        for first, second in zip(wanted, found):
            if first != second:
                self._add(Kind.NOTED, entry, "", f"the order is another: {second} stands in the place of {first}")
                return

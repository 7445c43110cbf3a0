"""The differences of types as a whole: names, identifiers, kinds, widths and values of enumerations."""

from __future__ import annotations

import re
from dataclasses import replace

from tools.generator.catalogue import TypeLine
from tools.generator.errors import CatalogueError, Place
from tools.generator.model import Type
from tools.generator.wires import SCALARS
from tools.generator.writers.csharp.words import FORMS

from .contract import Contract, Host
from .differences import Difference, Kind
from .draft import Draft
from .machine import PRIMITIVES
from .matching import Matches, plain

# The widths that an enumeration can have, by the machine type.
_WIDTHS = {FORMS[SCALARS[name].form]: name for name in ("uint8", "int16", "uint16", "int32", "uint32", "uint64")}


class TypeChanges:
    """Compares each type with its host, and changes the draft."""

    def __init__(self, contract: Contract, draft: Draft, matches: Matches) -> None:
        self._contract = contract
        self._draft = draft
        self._matches = matches
        self._lines = {f"{line.namespace}.{line.name}": line for line in draft.lines.types}
        self.differences: list[Difference] = []

    def run(self) -> None:
        """All types, and the name of the assembly."""
        model = self._draft.model
        if self._contract.name != model.assembly:
            self._add(Kind.WRITTEN, "modules.tab", "", f"the assembly is {self._contract.name} instead of "
                                                       f"{model.assembly}")
            self._draft.words(self._draft.directory / "modules.tab", lambda line: re.sub(
                r"^(assembly\s+)\S+", lambda found: found[1] + self._contract.name, line))
        identifiers: dict[str, str] = {}
        names: dict[str, str] = {}
        for entry, host in self._matches.hosts.items():
            if host.identifier != entry.managed_identifier:
                identifiers[entry.full_name] = host.identifier
                self._add(Kind.WRITTEN, entry.full_name, "", f"the identifier on the managed side is "
                                                             f"{host.identifier} instead of {entry.managed_identifier}")
            if entry.name[:8] != host.prefix or host.type_name not in (None, entry.name):
                self._rename(entry, host, names)
            self._compare(entry, host)
        self._write_identifiers(identifiers)
        for entry, name in [(entry, names[entry.full_name]) for entry in self._matches.hosts
                            if entry.full_name in names]:
            self._write_name(entry, name)
        for entry in self._matches.lacking:
            self._add(Kind.LACKING, entry.full_name, "", f"there is no class {entry.host_class}; the type stays in the "
                      "catalogue, and using it raises TypeError")
        for host in self._matches.extra:
            self._extra(host)

    def _add(self, kind: Kind, subject: str, member: str, text: str) -> None:
        self.differences.append(Difference(kind, subject, member, text))

    def _extra(self, host: Host) -> None:
        name = host.type_name or f"{host.prefix}..."
        width = f" of {host.width}" if host.kind == "enum" else ""
        self._add(Kind.EXTRA, f"{host.namespace}.{name}", "", f"{host.kind or 'type'}{width}, identifier "
                                                              f"{host.identifier}")
        for entry in host.entries.values():
            if entry.role != "btp":
                self._add(Kind.EXTRA, f"{host.namespace}.{name}", entry.name, entry.signature)

    # -- names and identifiers ----------------------------------------------------------------------------------------

    def _rename(self, entry: Type, host: Host, names: dict[str, str]) -> None:
        known = f"{host.namespace}.{host.type_name}" in self._lines
        if host.type_name is None or host.namespace != entry.namespace or known:
            self._add(Kind.OPEN, entry.full_name, "", f"its host is {host.name}, which does not tell the type's name"
                      if host.type_name is None else f"its host is {host.name}, and the name is taken")
            return
        names[entry.full_name] = host.type_name
        self._add(Kind.WRITTEN, entry.full_name, "", f"the name is {host.type_name} instead of {entry.name}")

    def _write_identifiers(self, identifiers: dict[str, str]) -> None:
        def change(line: str) -> str:
            name = line.split()[0] if line.split() else ""
            return re.sub(r"\S+\s*$", identifiers[name], line) if name in identifiers else line

        self._draft.words(self._draft.directory / "identifiers.tab", change)

    def _write_name(self, entry: Type, name: str) -> None:
        """Renames the type in all lines of the catalogue and in the headings of its documentation."""
        full_name = f"{entry.namespace}.{name}"
        for line in self._draft.lines.types:
            text = self._draft.line(line.place)
            if f"{line.namespace}.{line.name}" == entry.full_name:
                text = re.sub(rf"^((?:static )?\w+ (?:flags )?){entry.name}\b", rf"\g<1>{name}", text)
            head, colon, rest = text.partition(" : ") if " : " in text else text.partition(" implements ")
            if rest and not line.kind.startswith("enum"):
                text = head + colon + self._references(rest, line.namespace, entry, name, line.place)
            self._replace(line.place, text)
            for member in line.members:
                old = self._draft.line(member.place)
                start = old.find(member.managed) + len(member.managed) if member.managed else 0
                self._replace(member.place, old[:start] + self._references(old[start:], line.namespace, entry, name,
                                                                           member.place))
        whole = re.compile(rf"(?<![\w.]){re.escape(entry.full_name)}(?![\w.])( *)")

        def change(found: re.Match[str]) -> str:
            column = len(found[0])  # what stands behind it stays in its column, if there is room
            return full_name if not found[1] else f"{full_name:<{max(column - 1, len(full_name))}} "

        for table in ("identifiers.tab", "collections.tab", "pinned.tab"):
            self._draft.words(self._draft.directory / table, lambda line: whole.sub(change, line))
        for path in sorted(self._draft.directory.glob(f"{entry.namespace}*.doc")):
            if re.fullmatch(rf"{re.escape(entry.namespace)}(\.part\d+)?", path.stem):
                self._draft.words(path, lambda line: re.sub(rf"^{entry.name}:", f"{name}:", line))

    def _replace(self, place: Place, text: str) -> None:
        """Puts a whole line, with its comment, in the place of another."""
        self._draft.text(place.path)[place.line - 1] = text

    def _references(self, text: str, namespace: str, entry: Type, name: str, place: Place) -> str:
        """The text with another name where it refers to the type, and not where a keyword has the same letters."""
        code, sign, comment = text.partition("#")
        code, because, reason = code.partition(" because ")

        def change(found: re.Match[str]) -> str:
            word = found[0]
            try:
                refers = self._draft.builder.find(place, word, namespace) is entry
            except CatalogueError:
                refers = False
            return word[:len(word) - len(entry.name)] + name if refers else word

        pattern = rf"(?<![\w.])(?:{re.escape(entry.namespace)}\.)?{entry.name}(?![\w.:])"
        return re.sub(pattern, change, code) + because + reason + sign + comment

    # -- kinds, widths, values ----------------------------------------------------------------------------------------

    def _compare(self, entry: Type, host: Host) -> None:
        line = self._lines[entry.full_name]
        if host.kind is not None and host.kind != entry.kind:
            self._add(Kind.OPEN, entry.full_name, "", f"it is of the kind '{host.kind}' instead of '{entry.kind}'")
            return
        converts = "btp_CastFrom" in host.entries
        if converts != entry.cast_from and entry.kind in ("class", "struct"):
            line = replace(line, converts=converts)
            self._write_type(line, f"it {'converts' if converts else 'does not convert'} itself to other types")
        if entry.is_enum:
            self._enumeration(entry, host, line)

    def _write_type(self, line: TypeLine, text: str) -> None:
        self._lines[f"{line.namespace}.{line.name}"] = line
        self._add(Kind.WRITTEN, f"{line.namespace}.{line.name}", "", text)
        self._draft.type(line)

    def _enumeration(self, entry: Type, host: Host, line: TypeLine) -> None:
        assert entry.width is not None
        own = FORMS[entry.width.form]
        definition = self._contract.type(f"{host.namespace}.{host.type_name or entry.name}")
        found = host.width
        if found is None and definition is not None and definition.underlying is not None:
            found = PRIMITIVES.get(definition.underlying.name)
        if found is not None and found != own:
            if found in _WIDTHS:
                line = replace(line, base=_WIDTHS[found])
                self._write_type(line, f"the values are {_WIDTHS[found]} instead of {entry.width.name}")
            else:
                self._add(Kind.OPEN, entry.full_name, "", f"the values are {found}, which no enumeration has")
        if definition is None or not definition.is_enumeration:
            return
        flags = "System.FlagsAttribute" in definition.attributes
        if flags != entry.flags:
            self._write_type(replace(line, kind="enum flags" if flags else "enum"),
                             "it is one of flags" if flags else "it is none of flags")
        self._values(entry, {plain(value.name): (value.name, value.value) for value in definition.fields
                             if value.is_static and value.value is not None})

    def _values(self, entry: Type, found: dict[str, tuple[str, int | None]]) -> None:
        changed: dict[str, int] = {}
        for name, value in entry.values:
            other = found.get(plain(name))
            if other is None:
                self._add(Kind.LACKING, entry.full_name, name, "there is no such value; it stays in the catalogue")
            elif other[1] is not None and other[1] != value:
                changed[name] = other[1]
                self._add(Kind.WRITTEN, entry.full_name, name, f"the value is {other[1]} instead of {value}")
        known = {plain(name) for name, _ in entry.values}
        for key, (name, number) in found.items():
            if key not in known:
                self._add(Kind.EXTRA, entry.full_name, name, f"a value, {number}")
        if changed:
            self._write_values(entry, changed)

    def _write_values(self, entry: Type, changed: dict[str, int]) -> None:
        lines = self._draft.text(entry.place.path)
        for at in range(entry.place.line, len(lines)):
            line = lines[at] or ""
            if line[:1] not in (" ", "", "#"):
                break
            parts = line.split("#")[0].split()
            if len(parts) == 2 and parts[0] in changed:
                value = changed[parts[0]]
                text = hex(value) if parts[1].lower().startswith("0x") else str(value)
                self._draft.replace(Place(entry.place.path, at + 1), f"    {parts[0]} {text}")

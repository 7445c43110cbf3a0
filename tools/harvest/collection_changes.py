"""The differences of typed collections: the identifiers of their elements, and the services that there are of them."""

from __future__ import annotations

import re
from collections.abc import Iterable, Mapping
from pathlib import Path

from tools.generator.wires import Collection
from tools.generator.writers.csharp.services import INTEROP_SERVICES, services_of

from .contract import Contract
from .differences import Difference, Kind
from .draft import Draft

#: Where the names of the two hosts that every assembly has stand, once.
_FIXED = Path(__file__).resolve().parents[2] / "exchange" / "wire" / "entry_points.h"
#: The wire's list of the elements with callbacks: the identifiers of the rows of collections.tab that have an argument.
ELEMENTS = _FIXED.with_name("callback_tables.h")
_HOSTS = {"kExchangeHostEntryPoints": "ExchangeHost", "kObjectHostEntryPoints": "ObjectHost"}


def _wanted(row: Collection) -> dict[str, tuple[str, ...]]:
    """The services of an element, by the kind of class."""
    return {f"SiApi{end}": names for end, _, names in services_of(row)}


def fixed_services() -> dict[str, tuple[str, ...]]:
    """The entry points of the classes that every interop assembly has, by their full names."""
    namespace = "Zelmor.WrpGen.Interop"
    found = {f"{namespace}.SiApi{end}": names for end, _, names in INTEROP_SERVICES}
    for constant, host in _HOSTS.items():
        match = re.search(rf"{constant} = {{(.*?)}};", _FIXED.read_text(), re.DOTALL)
        assert match is not None
        found[f"{namespace}.{host}"] = tuple(dict.fromkeys(re.findall(r'"(\w+)"', match[1])))
    return found


class CollectionChanges:
    """Compares the rows of collections.tab with the services in the assembly, and changes the draft."""

    def __init__(self, contract: Contract, draft: Draft, identifiers: dict[str, str]) -> None:
        self._contract = contract
        self._draft = draft
        self._new = identifiers  # of types whose identifier on the managed side is another, by the old one
        self.differences: list[Difference] = []
        self.changed: dict[str, str] = {}  # identifiers of elements, by the old ones

    def run(self) -> None:
        """All rows, and the services that are there for any element."""
        rows = self._draft.model.collections
        generics = self._contract.generics
        gone = [row for row in rows if row.identifier not in generics]
        extra = [identifier for identifier in generics if identifier not in {row.identifier for row in rows}]
        changed = {row.identifier: found for row in gone for found in [self._partner(row, gone, extra)] if found}
        for row in rows:
            identifier = changed.get(row.identifier, row.identifier)
            if identifier != row.identifier:
                self._add(Kind.WRITTEN, row.element.name, "",
                          f"the identifier of the element is {identifier} instead of {row.identifier}")
            if identifier not in generics:
                if _wanted(row):
                    self._add(Kind.LACKING, row.element.name, "", f"there are no collections {row.identifier}; the row "
                              "stays in collections.tab, and using them raises TypeError")
                continue
            self._compare(row.element.name, _wanted(row), generics[identifier])
        for identifier in extra:
            if identifier not in changed.values():
                kinds = ", ".join(f"{kind}_{identifier}" for kind in generics[identifier])
                self._add(Kind.EXTRA, "collections.tab", "", f"collections of an unknown element: {kinds}")
        self._write(changed)
        self.changed = changed
        for name, names in fixed_services().items():
            found = self._contract.services.get(name)
            if found is None:
                self._add(Kind.OPEN, name, "", "the assembly lacks this class, and no module can use it")
            else:
                self._missing(name, names, found)

    def _add(self, kind: Kind, subject: str, member: str, text: str) -> None:
        subject = subject if "." in subject or subject.endswith(".tab") else f"collections of {subject}"
        self.differences.append(Difference(kind, subject, member, text))

    def _partner(self, row: Collection, gone: list[Collection], extra: list[str]) -> str | None:
        """The identifier that an element has in the assembly: its type's, or that of the only one with such services.
        """
        if self._new.get(row.identifier) in extra:
            return self._new[row.identifier]
        kinds = set(_wanted(row))
        alike = [identifier for identifier in extra if set(self._contract.generics[identifier]) == kinds]
        rivals = [other for other in gone if set(_wanted(other)) == kinds and self._new.get(other.identifier) is None]
        return alike[0] if len(alike) == len(rivals) == 1 and rivals[0] is row else None

    def _compare(self, subject: str, wanted: dict[str, tuple[str, ...]], found: Mapping[str, Mapping[str, object]]
                 ) -> None:
        for kind, names in wanted.items():
            if kind not in found:
                self._add(Kind.LACKING, subject, "", f"there is no {kind} of it; using one raises TypeError")
            else:
                self._missing(subject, names, found[kind], f"{kind}.")
        for kind in found:
            if kind not in wanted:
                self._add(Kind.EXTRA, subject, "", f"there is a {kind} of it")

    def _missing(self, subject: str, names: Iterable[str], found: Mapping[str, object], prefix: str = "") -> None:
        for name in names:
            if name not in found:
                self._add(Kind.OPEN, subject, f"{prefix}{name}", "the assembly lacks this entry point")

    @staticmethod
    def listed(changed: dict[str, str]) -> str | None:
        """The text of the wire's list with other identifiers; None where none of these stands in it."""
        text = ELEMENTS.read_text()
        head, name, body = text.partition("kGenericElements[")
        table, end, rest = body.partition("};")
        new = re.sub(r"[0-9A-F]{8}", lambda found: changed.get(found[0], found[0]), table)
        return head + name + new + end + rest if new != table else None

    def _write(self, changed: dict[str, str]) -> None:
        self._draft.words(self._draft.directory / "collections.tab", lambda line: re.sub(
            r"^[0-9A-F]{8}", lambda found: changed.get(found[0], found[0]), line))

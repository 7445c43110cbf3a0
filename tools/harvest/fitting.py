"""The catalogue's types for a member of an assembly: those that pass what its entry points take.

The library's own signature decides where it is there. Without it the machine types tell numbers apart, and records, but
neither the class of a handle nor a truth value from a byte.
"""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import dataclass

from tools.generator.entry_points import EntryPoint, of_getter, of_overload, of_setter
from tools.generator.errors import Place
from tools.generator.model import Overload, Param, Property, Type
from tools.generator.naming import snake_case
from tools.generator.wires import PLAIN_WIRES, VOID, Scalar, Wire

from .contract import Entry
from .library import Library, Words, keywords
from .machine import Machine, Records

# The words that are tried where nothing else tells: a number before what has the same width.
_NUMBERS = ("int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64", "float", "double")
_OTHERS = ("bool", "string", "bytes", "datetimeoffset", "decimal")


@dataclass(frozen=True)
class Found:
    """A member's types, and whether something else would fit as well."""

    words: Words
    is_certain: bool


def _tells(machines: Iterable[Machine]) -> bool:
    """Whether machine types tell anything of a value: an address can be of any object."""
    return any(not machine.is_address and machine.word != "void" for machine in machines)


class Fitting:
    """Finds types for entry points."""

    def __init__(self, library: Library, records: Records) -> None:
        self._library = library
        self._records = records

    def fits(self, point: EntryPoint, entry: Entry) -> bool:
        """Whether an entry point of the catalogue is what the assembly has."""
        slots = [*(argument.slot for argument in point.arguments), point.returned]
        return len(slots) == len(entry.machines) and all(map(self._records.fits, slots, entry.machines))

    # -- properties -------------------------------------------------------------------------------------------------

    @staticmethod
    def _property(owner: Type, managed: str, wire: Wire, writable: bool, static: bool) -> Property:
        return Property(owner, Place(owner.place.path, 0), "", managed, wire, writable, static, owner)

    def property_fits(self, prop: Property, accessors: Iterable[Entry]) -> bool:
        """Whether a property reads and writes as the assembly does."""
        return all(self.fits(of_getter(prop) if entry.role in ("get", "getsa") else of_setter(prop), entry)
                   for entry in accessors)

    def property(self, owner: Type, managed: str, accessors: list[Entry]) -> Found | None:
        """The type of a property."""
        static = accessors[0].role in ("getsa", "setsa")

        def fits(word: str) -> bool:
            wire = self._library.wire(word, owner.namespace)
            return wire is not None and self.property_fits(
                self._property(owner, managed, wire, True, static), accessors)

        words = self._library.property(owner, managed)
        if words is not None and words.result is not None and words.is_static == static and fits(words.result):
            return Found(words, True)
        passed = [machine for entry in accessors for machine in entry.machines[0 if static else 1:]]
        if not _tells(passed):
            return None
        fitting = [word for word in (*_NUMBERS, *_OTHERS) if fits(word)]
        return Found(Words((), fitting[0], static), len(fitting) == 1) if fitting else None

    # -- methods ----------------------------------------------------------------------------------------------------

    def overload(self, owner: Type, managed: str, python: str, words: Words) -> Overload | None:
        """An overload with these types; None where the catalogue has no wire for one of them."""
        params = []
        for keyword, word in words.params:
            wire = self._library.wire(word.removeprefix("ref ").removeprefix("out "), owner.namespace)
            by_ref = word.startswith("ref ")
            if wire is None or by_ref and not isinstance(wire, Scalar):
                return None
            params.append(Param(keyword, wire, by_ref, word.startswith("out ")))
        result = self._library.wire(words.result, owner.namespace) if words.result else VOID
        if result is None:
            return None
        return Overload(owner, Place(owner.place.path, 0), python, managed, words.is_static, params, result)

    def _fits_words(self, owner: Type, managed: str, python: str, words: Words, entry: Entry) -> Overload | None:
        overload = self.overload(owner, managed, python, words)
        return overload if overload is not None and self.fits(of_overload(overload), entry) else None

    def told(self, owner: Type, managed: str, entry: Entry) -> list[tuple[Words, Overload]]:
        """The overloads of the library that the entry point can be."""
        python = "" if entry.role == "ctor" else snake_case(managed)
        found = ((words, self._fits_words(owner, managed, python, words, entry))
                 for words in self._library.methods(owner, managed))
        return [(words, overload) for words, overload in found if overload is not None]

    def changed(self, overload: Overload, entry: Entry, words: Words) -> Found | None:
        """The types of an overload whose machine types are others, by as few changes as there can be.

        `words` are its types in the catalogue. Those that fit stay; a number takes the place of one that does not.
        """
        point = of_overload(overload)
        if len(point.arguments) != len(entry.arguments):
            return None
        params, certain = list(words.params), True
        for number, (keyword, _) in enumerate(words.params):
            group = [at for at, argument in enumerate(point.arguments) if argument.keyword == keyword]
            machines = [entry.arguments[at] for at in group]
            if all(self._records.fits(point.arguments[at].slot, machine) for at, machine in zip(group, machines)):
                continue
            fitting: list[str] = []
            for word in () if not _tells(machines) else (*_NUMBERS, *_OTHERS):
                wire = PLAIN_WIRES[word]
                slots = list(wire.taken)
                if overload.params[number].by_ref and isinstance(wire, Scalar):
                    slots.append(wire.by_reference)
                if len(slots) == len(machines) and all(map(self._records.fits, slots, machines)):
                    fitting.append(word)
            if not fitting:
                return None
            certain &= len(fitting) == 1
            params[number] = (keyword, f"{'ref ' if overload.params[number].by_ref else ''}{fitting[0]}")
        result = words.result
        if not self._records.fits(point.returned, entry.returned):
            results = [word for word in (*_NUMBERS, *_OTHERS) if not PLAIN_WIRES[word].given
                       and self._records.fits(PLAIN_WIRES[word].returned, entry.returned)]
            if entry.returned.word == "void":
                result = None
            elif not results or not _tells([entry.returned]):
                return None
            else:
                result, certain = results[0], certain and len(results) == 1
        changed = Words(tuple(params), result, words.is_static)
        if self._fits_words(overload.owner, overload.managed, overload.python, changed, entry) is None:
            return None
        return Found(changed, certain)

    def guess(self, owner: Type, entry: Entry) -> Found | None:
        """The types of an overload that only the assembly has, if its machine types tell them: numbers and text.

        An address can be of an instance, of an argument or of a result, so that only the library tells about one.
        """
        params: list[tuple[str, str]] = []
        names = keywords(entry.names)
        for number, machine in enumerate(entry.arguments):
            fitting = [word for word in (*_NUMBERS, "string") if len(PLAIN_WIRES[word].taken) == 1
                       and not machine.is_address and self._records.fits(PLAIN_WIRES[word].taken[0], machine)]
            if not fitting:
                return None
            params.append((names[number], fitting[0]))
        results = [word for word in _NUMBERS if self._records.fits(PLAIN_WIRES[word].returned, entry.returned)]
        is_void = entry.returned.word == "void" or entry.role == "ctor"
        if not is_void and not results:
            return None
        words = Words(tuple(params), None if is_void else results[0], entry.role == "call")
        python = "" if entry.role == "ctor" else snake_case(entry.member)
        return Found(words, False) if self._fits_words(owner, entry.member, python, words, entry) else None

"""The documentation texts of a catalogue: what each module, type, member, value and parameter is for.

They are written by people, in files `<namespace>.doc` beside the catalogue; docs/catalogue.md describes the format. The
back ends that print for people (stubs, reference, class library) read them; the C++ does not, so that a changed text
compiles nothing. A text is found where the member is declared: inherited members, the writers of static properties and
the parameters of constructors named like a property take theirs from there.
"""

from __future__ import annotations

import re
from collections.abc import Iterator
from dataclasses import dataclass, field
from pathlib import Path

from .errors import CatalogueError, Place
from .model import Model, Module, Overload, Property, Type

#: The key of the constructors, and of the texts of parameters that all members of a type share.
CONSTRUCTOR = "ctor"
SHARED_PARAMETERS = "parameters"
_MODULE = "module"
_WIDTH = 120

_PART = re.compile(r"\.part\d+\Z")
_KEYED = re.compile(r"(?P<key>\w+):(?: +(?P<text>.*))?\Z")
_RESULT = re.compile(r"-> +(?P<text>.*)\Z")
_RAISES = re.compile(r"! +(?P<key>[\w.]+):(?: +(?P<text>.*))?\Z")


@dataclass
class Text:
    """One text and the line where it begins."""

    place: Place
    text: str


@dataclass
class MemberWords:
    """The texts about a member, over all of its overloads."""

    own: Text
    parameters: dict[str, Text] = field(default_factory=dict)
    result: Text | None = None
    raises: list[tuple[str, Text]] = field(default_factory=list)


@dataclass
class TypeWords:
    """The texts about a type and its members."""

    own: Text
    members: dict[str, MemberWords] = field(default_factory=dict)
    parameters: dict[str, Text] = field(default_factory=dict)  # shared by all methods and constructors
    shared: Place | None = None  # where these stand


@dataclass
class NamespaceWords:
    """What the files of one namespace say."""

    own: Text | None = None
    types: dict[str, TypeWords] = field(default_factory=dict)


def namespace_of(path: Path) -> str:
    """The namespace that a file is about; a large one may have several files, as in `Name.Space.part2.doc`."""
    return _PART.sub("", path.stem)


class _Reader:
    """Reads one file into the texts of its namespace; faults are collected, so that a person sees all at once."""

    def __init__(self, path: Path, into: NamespaceWords, faults: list[CatalogueError]) -> None:
        self._path = path
        self._into = into
        self._faults = faults
        self._type: TypeWords | None = None
        self._member: MemberWords | None = None
        self._sharing = False  # below the pseudo member with the parameters that members share
        self._last: Text | None = None  # what a continuation line goes on with
        self._continued = 0  # the indentation of its continuation lines
        self._skipped = False  # the entry above could not be read, and neither can what belongs to it

    def read(self) -> None:
        """Reads all lines."""
        for number, line in enumerate(self._path.read_text().splitlines(), 1):
            place = Place(self._path, number)
            if len(line) > _WIDTH:
                self._refuse(place, f"the line is longer than {_WIDTH} columns")
            text = line.strip()
            if not text or line.startswith("#"):
                continue
            if "\t" in line or line != line.rstrip():
                self._refuse(place, "tabs and spaces at the end of a line are not allowed")
            self._line(place, len(line) - len(line.lstrip()), text)

    def _refuse(self, place: Place, reason: str) -> None:
        self._faults.append(CatalogueError(place, reason))

    def _line(self, place: Place, indent: int, text: str) -> None:
        below_member = self._member is not None or self._sharing
        if self._last is not None and indent == self._continued and not (indent == 4 and below_member):
            self._last.text = f"{self._last.text} {text}".strip()
        elif indent == 0:
            self._open_type(place, text)
        elif indent == 2 and self._type is not None:
            self._open_member(place, text)
        elif indent == 4 and below_member:
            self._open_detail(place, text)
        elif not self._skipped:
            self._refuse(place, "the indentation fits no entry above: types have 0, members 2, parameters 4, and "
                                "continuation lines 4 more than the start of their entry")

    def _entry(self, place: Place, text: str, indent: int) -> Text:
        self._skipped = False
        self._last = Text(place, text)
        self._continued = indent + 4
        return self._last

    def _fail(self, place: Place, reason: str) -> None:
        self._last, self._skipped = None, True
        self._refuse(place, reason)

    def _open_type(self, place: Place, text: str) -> None:
        self._type, self._member, self._sharing = None, None, False
        match = _KEYED.match(text)
        if match is None:
            self._fail(place, "expected 'Name: text' of a type, or 'module: text'")
            return
        entry = self._entry(place, match["text"] or "", 0)
        if match["key"] == _MODULE:
            if self._into.own is not None:
                self._fail(place, f"the module has a text already, at {self._into.own.place}")
                return
            self._into.own = entry
            return
        self._type = TypeWords(entry)
        there = self._into.types.setdefault(match["key"], self._type)
        if there is not self._type:
            self._refuse(place, f"{match['key']} has a text already, at {there.own.place}")

    def _open_member(self, place: Place, text: str) -> None:
        assert self._type is not None
        self._member, self._sharing = None, False
        match = _KEYED.match(text)
        if match is None:
            self._fail(place, "expected 'name: text' of a member")
        elif match["key"] == SHARED_PARAMETERS and not match["text"]:  # with a text it is a property of this name
            self._last, self._sharing, self._skipped = None, True, False
            if self._type.shared is not None:
                self._refuse(place, f"'parameters:' stands already at {self._type.shared}")
            self._type.shared = place
        else:
            self._member = MemberWords(self._entry(place, match["text"] or "", 2))
            there = self._type.members.setdefault(match["key"], self._member)
            if there is not self._member:
                self._refuse(place, f"{match['key']} has a text already, at {there.own.place}")

    def _open_detail(self, place: Place, text: str) -> None:
        assert self._type is not None
        result, raises, keyed = _RESULT.match(text), _RAISES.match(text), _KEYED.match(text)
        if self._member is not None and result is not None:
            if self._member.result is not None:
                self._refuse(place, f"the result has a text already, at {self._member.result.place}")
            self._member.result = self._entry(place, result["text"], 4)
        elif self._member is not None and raises is not None:
            self._member.raises.append((raises["key"], self._entry(place, raises["text"] or "", 4)))
        elif keyed is not None:
            texts = self._type.parameters if self._member is None else self._member.parameters
            entry = self._entry(place, keyed["text"] or "", 4)
            there = texts.setdefault(keyed["key"], entry)
            if there is not entry:
                self._refuse(place, f"{keyed['key']} has a text already, at {there.place}")
        else:
            kinds = "'name: text' of a parameter"
            if self._member is not None:
                kinds += ", '-> text' of the result or '! Exception: text'; the text of a " \
                         "member goes on after 6 spaces"
            self._fail(place, f"expected {kinds}")


def read_words(directory: Path, faults: list[CatalogueError]) -> dict[str, NamespaceWords]:
    """The texts of all files of a directory by namespace; lines that cannot be read are added to the faults."""
    found: dict[str, NamespaceWords] = {}
    for path in sorted(directory.glob("*.doc")):
        _Reader(path, found.setdefault(namespace_of(path), NamespaceWords()), faults).read()
    return found


def origin_of(entry: Type, python: str) -> Type | None:
    """The type in whose documentation a member's text stands; None if the type has no such member of its own.

    A member of which the type declares an overload itself is described there; others, listed with `from`, where they
    come from. `ctor` is the name of the constructors.
    """
    if python == CONSTRUCTOR:
        return entry if entry.constructors else None
    if entry.is_enum:
        return entry if any(name == python for name, _ in entry.values) else None
    method = entry.method(python)
    if method is not None:
        return entry if method.own else method.overloads[0].owner
    found = next((prop for prop in entry.properties if prop.python == python), None)
    return None if found is None else found.declared_by


def property_named(entry: Type, python: str) -> Property | None:
    """The instance property of a name in a type or in its bases."""
    return next((prop for owner in [entry, *entry.bases()] for prop in owner.properties
                 if prop.python == python and not prop.static), None)


class Documentation:
    """The texts of some assemblies, found by what they are about; an empty text says that there is none."""

    def __init__(self, words: dict[str, NamespaceWords]) -> None:
        self._words = words

    @classmethod
    def read(cls, *directories: Path) -> Documentation:
        """Reads the files of the catalogues of some assemblies; the first line that cannot be read is raised."""
        faults: list[CatalogueError] = []
        words: dict[str, NamespaceWords] = {}
        for directory in directories:
            words |= read_words(directory, faults)
        if faults:
            raise faults[0]
        return cls(words)

    @classmethod
    def of(cls, models: list[Model]) -> Documentation:
        """The texts beside the catalogues that some models were made from."""
        return cls.read(*(model.directory for model in models))

    def _type(self, entry: Type) -> TypeWords | None:
        namespace = self._words.get(entry.namespace)
        return None if namespace is None else namespace.types.get(entry.name)

    def of_module(self, module: Module) -> str:
        """What a module is for."""
        namespace = self._words.get(module.namespace)
        return "" if namespace is None or namespace.own is None else namespace.own.text

    def of_type(self, entry: Type) -> str:
        """What a type is for."""
        words = self._type(entry)
        return "" if words is None else words.own.text

    def words_of(self, entry: Type, python: str) -> MemberWords | None:
        """The texts about a member: `ctor`, a method, a property, a value, or the writer of a static property."""
        if python.startswith("set_"):
            written = [prop for prop in entry.static_writers if f"set_{prop.python}" == python]
            if written:
                return self.words_of(entry, written[0].python)
        origin = origin_of(entry, python)
        words = None if origin is None else self._type(origin)
        return None if words is None else words.members.get(python)

    def of_member(self, entry: Type, python: str) -> str:
        """What a member is for."""
        words = self.words_of(entry, python)
        return "" if words is None else words.own.text

    def of_result(self, entry: Type, python: str) -> str:
        """What a method gives."""
        words = self.words_of(entry, python)
        return "" if words is None or words.result is None else words.result.text

    def raises(self, entry: Type, python: str) -> list[tuple[str, str]]:
        """The errors of a member that are worth telling: the exception and when it is raised."""
        words = self.words_of(entry, python)
        return [] if words is None else [(name, text.text) for name, text in words.raises]

    def of_parameter(self, entry: Type, overload: Overload, keyword: str) -> str:
        """What a parameter of an overload that a type lists is for.

        That is the text at the member or the shared one of the type, or of the one that declares an inherited overload;
        a constructor's parameter has that of the property of its name otherwise.
        """
        python = overload.python or CONSTRUCTOR
        for owner in [entry, overload.owner]:
            of_type = self._type(owner)
            if of_type is not None:
                words = of_type.members.get(python)
                for texts in ([] if words is None else [words.parameters]) + [of_type.parameters]:
                    if keyword in texts:
                        return texts[keyword].text
        prop = property_named(entry, keyword) if python == CONSTRUCTOR else None
        return "" if prop is None else self.of_member(prop.declared_by, keyword)


def described_members(entry: Type) -> Iterator[str]:
    """The keys under which a type's own members are described, in their order."""
    if entry.is_enum:
        yield from (name for name, _ in entry.values)
        return
    if entry.constructors:
        yield CONSTRUCTOR
    yield from (method.python for method in entry.methods if method.own)
    yield from (prop.python for prop in entry.properties if prop.declared_by is entry)

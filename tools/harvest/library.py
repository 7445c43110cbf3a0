"""The members of the class library that lies beside an interop assembly, in the words of the catalogue.

The wire does not tell everything apart: a handle can be of any class, a byte can be a truth value. Where the library
is there, its own signatures do.
"""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from dataclasses import dataclass
from keyword import iskeyword

from tools.generator.errors import CatalogueError, Place
from tools.generator.model import Type
from tools.generator.naming import snake_case
from tools.generator.wires import PLAIN_WIRES, TYPED_SHAPES, Shape, Wire
from tools.generator.writers.csharp.words import SHAPES, net_type

from .contract import Contract
from .draft import Draft
from .machine import PRIMITIVES
from .metadata import Method, TypeDefinition
from .signatures import Term

# The words of .NET's own types, by their C# names; a word that another type has first is not the usual one.
_PLAIN: dict[str, str] = {}
for _word, _wire in (*PLAIN_WIRES.items(), ("datetime?", None)):
    _PLAIN.setdefault(net_type(_wire) if _wire is not None else "System.DateTime?", _word)
_SPELLED = {"System.String": "string", "System.Object": "object", "System.Decimal": "decimal",
            **{name: word for name, word in PRIMITIVES.items() if word not in ("nint", "void")}}
# The closed generic collections: .NET's generic type, and the words around the element's.
_GENERIC = {SHAPES[shape].removesuffix("<{}>"): word for shape, word in (
    (Shape.LIST, "List[{}]"), (Shape.LIST_INTERFACE, "IList[{}]"), (Shape.ENUMERABLE, "iterable of {}"),
    (Shape.ENUMERATOR, "iterator of {}"))}
assert len(_GENERIC) + 1 == len(TYPED_SHAPES)  # arrays are no generic type


@dataclass(frozen=True)
class Words:
    """A member's types: those of its parameters with their keywords, and that of its result or value."""

    params: tuple[tuple[str, str], ...]
    result: str | None
    is_static: bool


def keywords(names: Iterable[str]) -> list[str]:
    """The keywords of parameters with these names, each once; what cannot be one is numbered."""
    found: list[str] = []
    for number, name in enumerate(names):
        word = snake_case(name)
        usable = word.isascii() and word.isidentifier() and not iskeyword(word) and word not in found
        found.append(word if usable else f"value{number}")
    return found


class Library:
    """The members of the types of a library, by the catalogue's types."""

    def __init__(self, contract: Contract, draft: Draft) -> None:
        self._contract = contract
        self._draft = draft
        self._names = {entry.full_name: entry for entry in draft.model.types}

    # -- types ------------------------------------------------------------------------------------------------------

    def word(self, term: Term, namespace: str) -> str | None:
        """The catalogue's word for a type; None where it has none."""
        if term.kind == "vector":
            if term.parts[0].name == "System.Byte":
                return "bytes"
            element = self.word(term.parts[0], namespace)
            return f"{element}[]" if element is not None else None
        if term.kind == "generic":
            return self._generic(term, namespace)
        if term.kind != "named":
            return None
        plain = _PLAIN.get(_SPELLED.get(term.name, term.name))
        return plain if plain is not None else self._own(term.name, namespace)

    def _generic(self, term: Term, namespace: str) -> str | None:
        head = re.sub(r"`\d+\Z", "", term.parts[0].name)
        inner = self.word(term.parts[1], namespace) if len(term.parts) == 2 else None
        if inner is None:
            return None
        if head == "System.Nullable":
            return _PLAIN.get(f"{_SPELLED.get(term.parts[1].name, term.parts[1].name)}?")
        return _GENERIC[head].format(inner) if head in _GENERIC else None

    def _own(self, name: str, namespace: str) -> str | None:
        """The name of a type of the catalogue, as short as it can be."""
        entry = self._names.get(name)
        if entry is None:
            return None
        try:
            short = self._draft.builder.find(entry.place, entry.name, namespace) is entry
        except CatalogueError:
            short = False
        return entry.name if short else name

    def wire(self, word: str, namespace: str) -> Wire | None:
        """The wire of a word; None where the catalogue has no such collection."""
        try:
            return self._draft.builder.wire(Place(self._draft.directory, 0), word, namespace)
        except CatalogueError:
            return None

    # -- members ----------------------------------------------------------------------------------------------------

    def _definitions(self, entry: Type) -> Iterator[TypeDefinition]:
        """The type of the library and its base classes, nearest first."""
        seen: set[str] = set()
        name: str | None = entry.full_name
        while name is not None and name not in seen:
            seen.add(name)
            definition = self._contract.type(name)
            if definition is None:
                return
            yield definition
            name = definition.base.name if definition.base is not None else None

    def property(self, entry: Type, managed: str) -> Words | None:
        """A property, or a constant."""
        for definition in self._definitions(entry):
            for prop in definition.properties:
                if prop.name == managed:
                    return Words((), self.word(prop.type, entry.namespace), prop.is_static)
            for field in definition.fields:
                if field.name == managed:
                    return Words((), self.word(field.type, entry.namespace), field.is_static)
        return None

    def methods(self, entry: Type, managed: str) -> list[Words]:
        """The methods of a name, those of the nearest class first; constructors by the name of the type."""
        found: list[Words] = []
        is_constructor = managed == entry.name
        for definition in self._definitions(entry):
            for method in (method for method in definition.methods
                           if method.is_public and method.name == (".ctor" if is_constructor else managed)):
                words = self._method(method, entry.namespace)
                if words is not None and words not in found:
                    found.append(words)
            if is_constructor:
                break
        if is_constructor and entry.kind == "struct":
            found.append(Words((), None, False))  # which every structure has
        return found

    def _method(self, method: Method, namespace: str) -> Words | None:
        params = []
        for keyword, term in zip(keywords(method.parameters), method.signature.parameters):
            word = self._parameter(term, namespace)
            if word is None:
                return None
            params.append((keyword, word))
        returned = method.signature.returned
        result = None if returned.name == "System.Void" else self.word(returned, namespace)
        if result is None and returned.name != "System.Void":
            return None
        return Words(tuple(params), result, method.is_static)

    def _parameter(self, term: Term, namespace: str) -> str | None:
        if term.kind == "reference":
            inner = self.word(term.parts[0], namespace)
            return f"ref {inner}" if inner is not None else None
        if str(term) == "System.Span`1<System.Byte>":
            return "out bytes"
        return self.word(term, namespace)

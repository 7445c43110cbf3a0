"""Prints the stubs of the collection wrappers: those of any element, and the closed generic ones.

A wrapper is no Python sequence by inheritance, but has the members of a list, typed by its element.
"""

from __future__ import annotations

from ...wires import Collection
from ..text import indent
from .annotations import Scope
from .casts import cast_family, get_type
from .words import INTEROP, managed_name

# The members by what a kind has of them; the values are templates over the element that comes out (O), the one that
# goes in (I) and the class itself (C).
COLLECTION_MEMBERS = {
    "length": ["@{property}", "def length(self) -> {int}: ..."],
    "__len__": ["def __len__(self) -> {int}: ..."],
    "__contains__": ["def __contains__(self, value: {I}, /) -> {bool}: ..."],
    "__add__": ["def __add__(self, other: {Iterable}[{T}], /) -> {list}[{O} | {T}]: ..."],
    "__mul__": ["def __mul__(self, count: {SupportsIndex}, /) -> {list}[{O}]: ..."],
    "__rmul__": ["def __rmul__(self, count: {SupportsIndex}, /) -> {list}[{O}]: ..."],
    "count": ["def count(self, value: {I}, /) -> {int}: ..."],
    "contains": ["def contains(self, value: {I}, /) -> {bool}: ..."],
    "copy": ["def copy(self) -> {list}[{O}]: ..."],
}
INDEXED_MEMBERS = {
    "__getitem__": ["@{overload}", "def __getitem__(self, key: {SupportsIndex}, /) -> {O}: ...",
                    "@{overload}", "def __getitem__(self, key: {slice}, /) -> {list}[{O}]: ..."],
    "__setitem__": ["@{overload}", "def __setitem__(self, key: {SupportsIndex}, value: {I}, /) -> None: ...",
                    "@{overload}", "def __setitem__(self, key: {slice}, value: {Items}[{I}], /) -> None: ..."],
    "index": ["def index(self, value: {I}, start: {SupportsIndex} = ..., stop: {SupportsIndex} = ..., /)"
              " -> {int}: ..."],
    "sort": ["def sort(self, key: None = ..., reverse: {bool} = ...) -> None: ..."],
    "reverse": ["def reverse(self) -> None: ..."],
}
GROWING_MEMBERS = {
    "append": ["def append(self, value: {I}, /) -> None: ..."],
    "insert": ["def insert(self, index: {SupportsIndex}, value: {I}, /) -> None: ..."],
    "extend": ["def extend(self, values: {Iterable}[{I}], /) -> None: ..."],
    "remove": ["def remove(self, value: {I}, /) -> None: ..."],
    "pop": ["def pop(self, index: {SupportsIndex} | None = ..., /) -> {O}: ..."],
    "clear": ["def clear(self) -> None: ..."],
    "__delitem__": ["def __delitem__(self, key: {SupportsIndex} | {slice}, /) -> None: ..."],
    "__iadd__": ["def __iadd__(self, values: {Iterable}[{I}], /) -> {C}: ..."],
    "__imul__": ["def __imul__(self, count: {SupportsIndex}, /) -> {C}: ..."],
}
_MEMBERS = {**COLLECTION_MEMBERS, **INDEXED_MEMBERS, **GROWING_MEMBERS}
_BUILTINS = ("property", "int", "bool", "list", "slice")
# Members whose element is narrower than that of the base, which takes any.
_NARROWED = ("__contains__", "__setitem__", "count", "contains", "index")

_COUNTED = ["__len__", "__contains__", "__add__", "__mul__", "__rmul__", "count", "contains", "copy", "length"]
_ARRAY = [*_COUNTED, *INDEXED_MEMBERS]
_LIST = [*_ARRAY, *GROWING_MEMBERS]
_TYPED: dict[str, tuple[str, list[str]]] = {
    "array": ("_ArrayWrapper", _ARRAY), "list": ("_ListWrapper", _LIST), "ilist": ("_IListWrapper", _LIST),
    "iterable": ("_IterableWrapper", []), "iterator": ("_IterWrapper", [])}


def element_members(scope: Scope, names: list[str], given: str, taken: str, own: str,
                    narrowed: bool = False) -> list[str]:
    """Members of a list, typed by the element; a narrowed one takes less than the same member of its base."""
    words = {name: scope.builtin(name) for name in _BUILTINS}
    words |= {"O": given, "I": taken, "C": own, "T": scope.support("T"),
              "SupportsIndex": scope.typing("SupportsIndex"), "overload": scope.typing("overload"),
              "Iterable": scope.name("collections.abc", "Iterable"),
              "Items": scope.name("_typeshed", "SupportsLenAndGetItem")}
    lines: list[str] = []
    for name in names:
        text = [line.format_map(words) for line in _MEMBERS[name]]
        if name == "__iadd__":  # gives the collection itself, where `+` gives a list
            text[0] += "  # type: ignore[misc]"
        if narrowed and name in _NARROWED:
            text[0] += "  # type: ignore[override]"
        lines += text
    return lines


def _no_constructor(scope: Scope) -> str:
    return f"def __init__(self, type_has_no_available_constructor: {scope.typing('Never')}) -> None: ..."


def _cast_members(scope: Scope, name: str, instantiable: bool) -> list[str]:
    return [get_type(scope), *cast_family(scope, name, False, instantiable)]


def _interop_class(scope: Scope, name: str, doc: str, members: list[str], iterates: str = "",
                   extra: list[str] | None = None, instantiable: bool = False) -> list[str]:
    given, taken = scope.typing("Any"), scope.support("Variant")
    body = [f'"""{doc}"""', _no_constructor(scope), *(extra or [])]
    if iterates:
        body.append(f"def __iter__(self) -> {iterates}: ...")
    body += element_members(scope, members, given, taken, name)
    body += _cast_members(scope, name, instantiable)
    return [f"class {name}:", *indent(body), ""]


def write_interop(scope: Scope) -> list[str]:
    """The wrappers of any element, the memory view and the stream."""
    context = ["def __enter__(self) -> {}: ...", f"def __exit__(self, *args: {scope.builtin('object')}) -> None: ..."]
    following = [f"def __next__(self) -> {scope.typing('Any')}: ..."]
    lines = [
        *_interop_class(scope, "_IDisposableWrapper", "A managed IDisposable.", [],
                        extra=[context[0].format("_IDisposableWrapper"), context[1]]),
        *_interop_class(scope, "_IterWrapper", "A managed IEnumerator.", [], "_IterWrapper", following),
        *_interop_class(scope, "_IterableWrapper", "A managed IEnumerable.", [], "_IterWrapper"),
        *_interop_class(scope, "_IColWrapper", "A managed ICollection.", _COUNTED, "_IterWrapper"),
        *_interop_class(scope, "_IListWrapper", "A managed IList.", _LIST, "_IterWrapper"),
        *_interop_class(scope, "_RoColBaseWrapper", "A managed ReadOnlyCollectionBase.", _COUNTED, "_IterWrapper",
                        instantiable=True),
        *_interop_class(scope, "_ColBaseWrapper", "A managed CollectionBase.", _LIST, "_IterWrapper",
                        instantiable=True),
        *_interop_class(scope, "_ArrayWrapper", "A managed array; it neither grows nor shrinks.", _ARRAY,
                        "_IterWrapper", instantiable=True),
        *_interop_class(scope, "_ArrListWrapper", "A managed ArrayList.", _LIST, "_IterWrapper", instantiable=True),
        "class _ShlBufferView:", '    """Memory of the managed side, during a call."""',
        *indent([_no_constructor(scope)]), ""]
    return lines + _write_stream(scope)


def _write_stream(scope: Scope) -> list[str]:
    index, none = scope.typing("SupportsIndex"), f"{scope.typing('SupportsIndex')} | None"
    readable, writable = scope.name("_typeshed", "ReadableBuffer"), scope.name("_typeshed", "WriteableBuffer")
    iterable = scope.name("collections.abc", "Iterable")
    body = [
        '"""A managed stream as a binary file."""', _no_constructor(scope),
        "@property", "def closed(self) -> bool: ...",
        "def close(self) -> None: ...", "def flush(self) -> None: ...", "def readable(self) -> bool: ...",
        "def seekable(self) -> bool: ...", "def writable(self) -> bool: ...", "def tell(self) -> int: ...",
        f"def seek(self, offset: {index}, whence: int = ..., /) -> int: ...",
        f"def truncate(self, size: {none} = ..., /) -> int: ...",
        f"def write(self, data: {readable}, /) -> int: ...",
        f"def writelines(self, lines: {iterable}[{readable}], /) -> None: ...",
        f"def readline(self, size: {none} = ..., /) -> bytes: ...",
        f"def readlines(self, hint: {none} = ..., /) -> list[bytes]: ...",
        f"def readinto(self, buffer: {writable}, /) -> int: ...",
        f"def read(self, size: {none} = ..., /) -> bytes: ...", "def readall(self) -> bytes: ...",
        f"def fileno(self) -> {scope.typing('NoReturn')}: ...", "def isatty(self) -> bool: ...",
        "def __enter__(self) -> _StreamWrapper: ...", "def __exit__(self, *args: object) -> None: ...",
        "def __iter__(self) -> _StreamWrapper: ...", "def __next__(self) -> bytes: ...",
        *_cast_members(scope, "_StreamWrapper", True)]
    return ["class _StreamWrapper:", *indent(body), ""]


def _typed_class(scope: Scope, row: Collection, kind: str) -> list[str]:
    stem, members = _TYPED[kind]
    name, given, taken = f"{stem}_{row.identifier}", scope.element(row.element), scope.argument(row.element)
    base = f"({scope.name(INTEROP, '_ArrayWrapper')})" if kind == "array" else ""
    body = [f'"""{_described(kind)} {managed_name(row.element)}."""', _no_constructor(scope)]
    iterator, enumerable = f"_IterWrapper_{row.identifier}", "  # type: ignore[override]" if base else ""
    body.append(f"def __iter__(self) -> {iterator}: ...{enumerable}")
    if kind == "iterator":
        body += [f"def __next__(self) -> {given}: ...", f"def __enter__(self) -> {name}: ...",
                 "def __exit__(self, *args: object) -> None: ..."]
    body += element_members(scope, members, given, taken, name, narrowed=bool(base))
    body += _cast_members(scope, name, kind in ("array", "list"))
    return [f"@{scope.typing('final')}", f"class {name}{base}:", *indent(body), ""]


def _described(kind: str) -> str:
    return {"array": "A managed array of", "list": "A managed List of", "ilist": "A managed IList of",
            "iterable": "A managed IEnumerable of", "iterator": "A managed IEnumerator of"}[kind]


def typed_names(collections: list[Collection]) -> list[tuple[Collection, str, str]]:
    """Each closed generic collection: its row, its kind and the name of its Python type."""
    triples = [(row, kind, f"{_TYPED[kind][0]}_{row.identifier}")
               for row in collections for kind in row.kinds if kind in _TYPED]
    return sorted(triples, key=lambda triple: triple[2])


def write_generic(scope: Scope, collections: list[Collection]) -> list[str]:
    """The closed generic collections."""
    return [line for row, kind, _ in typed_names(collections) for line in _typed_class(scope, row, kind)]

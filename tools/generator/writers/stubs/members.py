"""Prints the stub of one class or enumeration, with a docstring on each member."""

from __future__ import annotations

from collections.abc import Iterable

from ...documentation import CONSTRUCTOR
from ...model import Method, Overload, Param, Property, Type
from ...wires import Scalar
from ..text import indent
from .annotations import Scope
from .casts import cast_family, get_type
from .collections import COLLECTION_MEMBERS, GROWING_MEMBERS, INDEXED_MEMBERS, element_members
from .docstrings import call_sections, described, raises_section, values_section
from .words import RANGES, managed_name


def signature(overload: Overload) -> str:
    """The managed signature without the name: `(Int32, ref Int32)`."""
    return "(" + ", ".join(("ref " if p.by_ref else "") + managed_name(p.wire) for p in overload.params) + ")"


def _ranges(params: Iterable[Param]) -> str:
    """What the numbers among some parameters may be, each kind of number once."""
    kinds: dict[str, list[str]] = {}
    for param in params:
        if (note := RANGES.get(managed_name(param.wire))) is not None:
            kinds.setdefault(note, []).append(param.name)
    return "".join(f" {', '.join(names)}: {note}." for note, names in kinds.items())


def _overload_doc(scope: Scope, entry: Type, overload: Overload, name: str) -> list[str]:
    python = overload.python or CONSTRUCTOR
    origin = f" of {overload.owner.name}" if overload.owner.kind == "interface" else ""
    text = f"Managed {name}{signature(overload)}{origin}.{_ranges(overload.params)}"
    if any(param.by_ref for param in overload.params):
        text += " A one-slot list takes what the call gives back."
    return described(scope.universe.words.of_member(entry, python), [text],
                     call_sections(scope, entry, overload, python))


def parameter(scope: Scope, param: Param) -> str:
    """A parameter with its annotation."""
    text = scope.argument(param.wire)
    if param.by_ref:
        text = f"{scope.builtin('list')}[{text}]"
    elif param.memory:
        text = f"{scope.name('_typeshed', 'WriteableBuffer')} | None"
    return f"{param.name}: {text}"


def function(scope: Scope, name: str, overload: Overload, decorators: list[str], first: str, result: str,
             doc: list[str]) -> list[str]:
    """One signature; a long one gets a line for each parameter."""
    params = [*([first] if first else []), *(parameter(scope, param) for param in overload.params)]
    head = f"def {name}({', '.join(params)}) -> {result}:"
    lines = [head] if len(head) <= 110 else [f"def {name}(", *indent(f"{text}," for text in params), f") -> {result}:"]
    return [*decorators, *lines, *indent(doc)]


# -- what a checker finds fault with, and is so nevertheless -----------------------------------------------------------

def _reordered(method: Method) -> bool:
    """Whether the overloads of a base class are tried in another order here, or not all of them."""
    own = [overload.signature for overload in method.overloads]
    for base in method.owner.bases():
        inherited = base.method(method.python)
        theirs = [overload.signature for overload in inherited.overloads] if inherited else []
        if [signature for signature in own if signature in theirs] != theirs:
            return True
    return False


def _covers(scope: Scope, broad: Param, narrow: Param) -> bool:
    """Whether one parameter takes everything that another takes, to a checker."""
    if broad.name != narrow.name:
        return False
    wide, less = scope.argument(broad.wire), scope.argument(narrow.wire)
    if wide == less or broad.wire.kind == "object":
        return True
    if isinstance(narrow.wire, Scalar):  # enumerations are kinds of `int` to a checker, and `int` one of `float`
        kind = "int" if narrow.wire.type is not None or less == "bool" else less
        return wide == kind or (wide, kind) == ("float", "int")
    return narrow.wire.type is not None and broad.wire.type in narrow.wire.type.bases()


def _never_tried(scope: Scope, overloads: list[Overload], number: int) -> bool:
    """Whether an overload comes behind one that takes the same, to a checker: it does not tell all numbers apart."""
    last = overloads[number].params
    return any(len(first.params) == len(last) and all(map(_covers, [scope] * len(last), first.params, last))
               for first in overloads[:number])


def _with_ignores(lines: list[str], codes: list[str]) -> list[str]:
    return [f"{lines[0]}  # type: ignore[{', '.join(codes)}]", *lines[1:]] if codes else lines


def _overloads(scope: Scope, entry: Type, name: str, overloads: list[Overload], decorators: list[str], first: str,
               managed: str | None, reordered: bool = False) -> list[str]:
    """All signatures of a name; a constructor gives nothing."""
    many = [f"@{scope.typing('overload')}"] if len(overloads) > 1 else []
    lines: list[str] = []
    for number, overload in enumerate(overloads):
        result = scope.result(overload.result) if managed is None else "None"
        text = function(scope, name, overload, [*many, *decorators], first, result,
                        _overload_doc(scope, entry, overload, managed or overload.managed))
        codes = (["misc"] if _never_tried(scope, overloads, number) else []) + (
            ["override"] if reordered and number == 0 else [])
        lines += _with_ignores(text, codes)
    return lines


def write_method(scope: Scope, method: Method) -> list[str]:
    """All overloads of a name, in the order in which they are tried."""
    decorators, first = ([f"@{scope.builtin('staticmethod')}"], "") if method.static else ([], "self")
    return _overloads(scope, method.owner, method.python, method.overloads, decorators, first, None,
                      _reordered(method))


def write_constructors(scope: Scope, entry: Type) -> list[str]:
    """The constructors; a type without any gets one that cannot be called, whose parameter says why."""
    overloads = entry.constructors
    if not overloads:
        never = scope.typing("Never")
        return [f"def __init__(self, type_has_no_available_constructor: {never}) -> None: ..."]
    return _overloads(scope, entry, "__init__", overloads, [], "self", entry.name)


def _property_doc(scope: Scope, prop: Property) -> list[str]:
    state = "static" if prop.static else "" if prop.writable else "read-only"
    note = RANGES.get(managed_name(prop.wire)) if prop.writable else None
    parts = [f"Managed {prop.managed}: {managed_name(prop.wire)}", *([state] if state else [])]
    fact = ", ".join(parts) + "." + (f" {note[0].upper()}{note[1:]}." if note else "")
    return described(scope.universe.words.of_member(prop.owner, prop.python), [fact],
                     raises_section(scope, prop.owner, prop.python))


def write_property(scope: Scope, prop: Property) -> list[str]:
    """An instance or static property; a static one can be written by its `set_` method alone."""
    name, doc = prop.python, _property_doc(scope, prop)
    if prop.static:
        return [f"{name}: {scope.typing('Final')}[{scope.result(prop.wire)}]", *doc]
    if not prop.writable:
        return [f"@{scope.builtin('property')}", f"def {name}(self) -> {scope.result(prop.wire)}:", *indent(doc)]
    given, taken = scope.value(prop.wire), scope.argument(prop.wire)
    # To a checker, what can be read and written is an attribute.
    annotation = given if given == taken else f"{scope.support('Attribute')}[{given}, {taken}]"
    return [f"{name}: {annotation}", *doc]


def write_setter_method(scope: Scope, prop: Property) -> list[str]:
    """The static method that writes a static property."""
    return [f"@{scope.builtin('staticmethod')}",
            f"def set_{prop.python}(value: {scope.argument(prop.wire)}, /) -> None:",
            *indent(described(scope.universe.words.of_member(prop.owner, prop.python),
                              [f"Sets the managed {prop.managed}."]))]


def _class_doc(scope: Scope, entry: Type) -> list[str]:
    text = f"Managed {entry.kind} {entry.full_name}"
    if entry.disposable:
        text += ", a context manager"
    lines = [text + "."]
    named = [item.name if isinstance(item, Type) else item for item in entry.interfaces]
    if named:
        lines.append(f"Implements {', '.join(named)}.")
    if not entry.constructors:
        lines.append("It has no available constructor.")
    elif len(entry.constructors) > 1:
        lines.append("Constructors are tried in the order in which they stand.")
    return described(scope.universe.words.of_type(entry), lines)


def write_class(scope: Scope, entry: Type) -> list[str]:
    """A class, struct, interface or static class."""
    members = {method.python for method in entry.methods} | {prop.python for prop in entry.properties}
    scope.shadowed = frozenset(members | set(entry.shared))
    body = [*_class_doc(scope, entry), *write_constructors(scope, entry)]
    if entry.disposable:
        body += [f"def __enter__(self) -> {entry.name}: ...",
                 f"def __exit__(self, *args: {scope.builtin('object')}) -> None: ..."]
    before: list[str] = []
    for method in sorted(entry.methods, key=lambda method: not method.is_group):
        if not method.overloads:
            continue
        if method.mixed:
            before += write_mixed(scope, method)
            body.append(f"{method.python}: {scope.typing('ClassVar')}[{_mixed_name(method)}]")
        else:
            body += write_method(scope, method)
    body += _collection_members(scope, entry)
    body.append(get_type(scope))
    for prop in entry.properties:
        if prop.static and prop.writable:
            body += write_setter_method(scope, prop)
    body += cast_family(scope, entry.name, entry.cast_from, entry.kind in ("class", "struct"),
                        derived=entry.base is not None)
    for prop in entry.properties:
        body += write_property(scope, prop)
    final = [] if scope.universe.derived(entry) else [f"@{scope.typing('final')}"]
    base = f"({scope.of(entry.base)})" if entry.base else ""
    scope.shadowed = frozenset()
    return [*before, *final, f"class {entry.name}{base}:", *indent(body), ""]


def _collection_members(scope: Scope, entry: Type) -> list[str]:
    """What a class has that is a collection itself."""
    body: list[str] = []
    if entry.kind == "class" and "_IterableWrapper" in entry.interfaces:
        body.append(f"def __iter__(self) -> {scope.name('zelmor.imaging._wrpgen._interop', '_IterWrapper')}: ...")
    if entry.items is not None:
        index = f"{scope.name('typing', 'SupportsIndex')} | {scope.builtin('slice')}"
        body += [f"def __len__(self) -> {scope.builtin('int')}: ...",
                 f"def __getitem__(self, key: {index}, /) -> {scope.typing('Any')}: ..."]
    inherited = any("_IListWrapper" in base.interfaces for base in entry.bases())
    if entry.shared and not inherited:
        given, taken = scope.typing("Any"), scope.support("Variant")
        slots = ["__len__", "__add__", "__mul__", "__rmul__", "__contains__"]
        if "_IListWrapper" in entry.interfaces:
            slots += ["__getitem__", "__setitem__", "__delitem__", "__iadd__", "__imul__"]
        known = {*COLLECTION_MEMBERS, *INDEXED_MEMBERS, *GROWING_MEMBERS}
        wanted = [name for name in [*entry.shared, *slots] if name in known]
        body += element_members(scope, wanted, given, taken, entry.name)
    return body


# -- names that mean a static method on the class and others on an instance --------------------------------------------

def _mixed_name(method: Method) -> str:
    return f"_{method.owner.name}_{method.python}"


def write_mixed(scope: Scope, method: Method) -> list[str]:
    """The types, for checkers alone, of what such a name gives on the class and on an instance."""
    name, owner, only = _mixed_name(method), method.owner.name, scope.typing("type_check_only")
    assert method.static_overload is not None
    lines: list[str] = []
    for suffix, overloads in (("_on_class", [method.static_overload]), ("_on_instance", method.overloads)):
        body = _overloads(scope, method.owner, "__call__", overloads, [], "self", None)
        lines += [f"@{only}", f"class {name}{suffix}({scope.typing('Protocol')}):", *indent(body), ""]
    overload, kind = scope.typing("overload"), f"{scope.builtin('type')}[{owner}]"
    body = [f"@{overload}", f"def __get__(self, instance: None, owner: {kind}, /) -> {name}_on_class: ...",
            f"@{overload}", f"def __get__(self, instance: {owner}, owner: {kind}, /) -> {name}_on_instance: ..."]
    return [*lines, f"@{only}", f"class {name}:", *indent(body), ""]


# -- enumerations ------------------------------------------------------------------------------------------------------

def write_enumeration(scope: Scope, entry: Type) -> list[str]:
    """An enumeration with its members and values."""
    assert entry.width is not None
    base = scope.name("enum", "IntFlag" if entry.flags else "IntEnum")
    note = "A parameter takes its members alone, no plain integer."
    words = scope.universe.words
    body = described(words.of_type(entry),
                     [f"Managed enumeration {entry.full_name} of {managed_name(entry.width)}. {note}"],
                     values_section(scope, entry))
    for name, value in entry.values:
        text = words.of_member(entry, name)
        body += [f"{name} = {value}", *(described(text, []) if text else [])]
    body = [*body,
            *cast_family(scope, entry.name, False, True, enum=True), get_type(scope)]
    return [f"class {entry.name}({base}):", *indent(body), ""]

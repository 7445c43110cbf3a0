"""Every member of every class is used: constructed, read, written and called, with valid and with invalid values.

A member either works or raises a managed exception that says why not; its result is of the kind that the catalogue
states; a refused value changes nothing. The checks are counted.
"""

from __future__ import annotations

import contextlib
import enum
import re
from collections.abc import Callable, Iterator
from typing import Any

import pytest

from support.counts import COUNTS
from support.samples import MODEL, Cannot, Unfit, arguments, is_kind, make, python_type, samples
from tools.generator.model import Overload, Property, Type
from tools.generator.wires import Wire

WRAPPERS = [entry for entry in MODEL.types if not entry.is_enum]
MANAGED = re.compile(r"Proxy error\(\w+\)|-?\d+ is not a valid \w+")

#: Properties that store a different value than the one that was set, with the reason.
NORMALIZED = {
    ("RectangleF", "right"): "sets the width in single precision",
    ("RectangleF", "bottom"): "sets the height in single precision",
    ("TiffOptions", "tags"): "has one tag of each number",
    **{("ExifData", name): "is never null: None takes the tags away"
       for name in ("properties", "common_tags", "exif_tags", "gps_tags")},
    **{(owner, f"{side}_resolution"): "is kept as whole dots in a meter, as far as a file can hold them"
       for owner in ("RasterImage", "TiffFrame", "TiffImage") for side in ("horizontal", "vertical")},
}
#: Properties of type object that store a value in the type that the file format defines.
TYPED_OBJECTS = ("Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes",)
#: Members that would end the use of the object under test, or wait for somebody.
LEFT_OUT = {"dispose", "wait_on_done"}


@pytest.fixture(autouse=True)
def in_a_directory_of_its_own(tmp_path: Any, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)


def attempt(count: str, action: Callable[[], Any]) -> tuple[bool, Any]:
    """Whether an action succeeded, and its result or the managed error; other errors are raised."""
    COUNTS[count] += 1
    try:
        return True, action()
    except (RuntimeError, ValueError) as error:
        assert MANAGED.match(str(error)), str(error)
        return False, str(error)


def instance(entry: Type) -> Any:
    """An instance; None if the runtime cannot create one, which the constructors then report."""
    try:
        return make(entry)
    except Cannot:
        for overload in entry.constructors:
            with contextlib.suppress(Cannot):
                worked, reason = attempt("constructed", lambda: python_type(entry)(*arguments(overload)))
                assert not worked, f"{overload} gives one: {reason!r}"
        return None


def same(value: Any, given: Any) -> bool:
    """Whether the value that was read equals the value that was set; a managed collection equals a list with the
    same items."""
    if isinstance(given, list):
        return value is not None and len(value) == len(given) and all(map(same, value, given))
    return bool(value == given)


def unchanged(found: Any, before: Any) -> bool:
    """Whether two reads returned the same value; a property may return its list as a new collection each time."""
    if hasattr(type(found), "__len__") and not isinstance(found, (str, bytearray, enum.Enum)):
        return type(found) is type(before) and list(found) == list(before)
    return bool(found == before) or found != found


@pytest.mark.parametrize("entry", [e for e in WRAPPERS if e.constructors], ids=lambda e: e.full_name)
def test_constructors(entry: Type) -> None:
    for overload in entry.constructors:
        with contextlib.suppress(Cannot):
            worked, made = attempt("constructed", lambda: python_type(entry)(*arguments(overload)))
            assert not worked or type(made) is python_type(entry)
        refused(overload, python_type(entry))


def refused(overload: Overload, call: Any) -> None:
    """An invalid value in the place of each argument in turn is refused before the managed side is called."""
    for index, param in enumerate(overload.params):
        COUNTS["arguments refused"] += 1
        try:
            fitting = arguments(overload)
        except Cannot:
            return
        fitting[index] = Unfit()
        with pytest.raises(TypeError):
            call(*fitting)


@pytest.mark.parametrize("entry", [e for e in WRAPPERS if e.kind != "static class"], ids=lambda e: e.full_name)
def test_properties(entry: Type) -> None:
    target = instance(entry)
    for prop in entry.properties if target is not None else []:
        if prop.static:
            continue
        readable, value = attempt("read", lambda: getattr(target, prop.python))
        assert not readable or is_kind(value, prop.wire), f"{prop}: {value!r}"
        if prop.writable:
            write(target, prop, readable)


def write(target: Any, prop: Property, readable: bool) -> None:
    for unfit in unfits(prop.wire):
        COUNTS["values refused"] += 1
        with pytest.raises((TypeError, OverflowError)):
            setattr(target, prop.python, unfit)
    with contextlib.suppress(Cannot):
        for value in samples(prop.wire):
            before = getattr(target, prop.python) if readable else None
            written, _ = attempt("written", lambda: setattr(target, prop.python, value))
            if not readable:
                continue
            COUNTS["read back"] += 1
            found = getattr(target, prop.python)
            if not written:
                assert unchanged(found, before), f"{prop}: a refused {value!r} left {found!r}"
            elif not normalized(prop):
                assert same(found, value), f"{prop}: {value!r} came back as {found!r}"


def normalized(prop: Property) -> bool:
    typed = prop.wire.name == "object" and prop.owner.namespace in TYPED_OBJECTS
    return typed or (prop.owner.name, prop.python) in NORMALIZED


def unfits(wire: Wire) -> Iterator[Any]:
    """Values that the converter of a kind refuses."""
    yield Unfit()
    if wire.name == "object":
        yield from ({}, {1}, object(), range(3))
        return
    yield from ({}, object())
    if wire.kind == "scalar" and wire.name.startswith(("int", "uint")) and wire.type is None:
        yield from (1 << 70, -(1 << 70), "1", None, 1.5)
    elif wire.name in ("float", "double"):
        yield from ("1.5", None, b"1")
    elif wire.type is not None and wire.type.is_enum:
        yield from (1, "1", None, 1.5)
    elif wire.type is not None:
        yield from (1, "text", 2.5, b"bytes")
    elif wire.name == "string":
        yield from (1, b"text", 2.5)
    elif wire.shape is not None:
        yield from (1, 2.5)


@pytest.mark.parametrize("entry", [e for e in WRAPPERS if any(p.static for p in e.properties)],
                         ids=lambda e: e.full_name)
def test_static_properties(entry: Type) -> None:
    found = python_type(entry)
    for prop in entry.properties:
        if not prop.static:
            continue
        readable, value = attempt("read", lambda: getattr(found, prop.python))
        assert not readable or is_kind(value, prop.wire), f"{prop}: {value!r}"
        if not prop.writable:
            continue
        setter = getattr(found, f"set_{prop.python}")
        for unfit in unfits(prop.wire):
            COUNTS["values refused"] += 1
            with pytest.raises((TypeError, OverflowError)):
                setter(unfit)
        if readable:
            attempt("written", lambda: setter(value))
            assert getattr(found, prop.python) == value


@pytest.mark.parametrize("entry", [e for e in WRAPPERS if e.methods], ids=lambda e: e.full_name)
def test_methods(entry: Type) -> None:
    for method in entry.methods:
        overloads = [(o, o.static) for o in method.overloads]
        if method.static_overload is not None:
            overloads.append((method.static_overload, True))
        for overload, static in overloads:
            if method.python in LEFT_OUT:
                continue
            try:
                target = python_type(entry) if static else make(entry)
                fitting = arguments(overload)
            except Cannot:
                continue
            worked, result = attempt("called", lambda: getattr(target, method.python)(*fitting))
            if worked and not method.is_group:
                assert is_kind(result, overload.result), f"{overload}: {result!r}"
            refused(overload, getattr(target, method.python))


@pytest.mark.parametrize("entry", [e for e in WRAPPERS if e.constructors], ids=lambda e: e.full_name)
def test_constructors_set_the_properties_named_by_their_arguments(entry: Type) -> None:
    properties = {prop.python: prop for owner in (entry, *entry.bases()) for prop in owner.properties
                  if not prop.static}
    for overload in entry.constructors:
        named = [param for param in overload.params
                 if param.name in properties and properties[param.name].wire.name == param.wire.name]
        with contextlib.suppress(Cannot):
            given = arguments(overload)
            worked, made = attempt("constructed", lambda: python_type(entry)(*given))
            for param, value in zip(overload.params, given):
                if worked and param in named:
                    readable, found = attempt("read back", lambda: getattr(made, param.name))
                    kept = not readable or normalized(properties[param.name]) or same(found, value)
                    assert kept, f"{overload}: {param.name} is {found!r}"

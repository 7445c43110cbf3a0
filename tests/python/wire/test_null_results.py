"""Results that are returned as complete Python objects (text, bytes, values of type object): null without an error
becomes None."""

from __future__ import annotations

import re
from collections.abc import Callable
from typing import Any

import pytest
from support.anything import HOLDER, holder
from support.collections import make_interop, make_typed
from support.control import Control
from support.forked import outcome_of
from zelmor.imaging import Color, ColorMatrix, ColorTranslator, Size
from zelmor.imaging.imageoptions import BmpOptions, JpegOptions

STRING, BYTES = "CBE911FC", "8A028265"
GENERIC = "Zelmor.WrpGen.Generic.SiApi"
INTEROP = "Zelmor.WrpGen.Interop.SiApi"

#: Members by the kind of their result: the entry point, and an expression that calls it.
MEMBERS: dict[str, tuple[str, str, Callable[[], Any]]] = {
    "a property": ("Zelmor.Imaging.Color", "get_Name", lambda: Color.red.name),
    "a property of an object": ("Zelmor.Imaging.ImageOptions.JpegOptions", "get_Comment",
                                lambda: JpegOptions().comment),
    "a property of any kind": (HOLDER, "get_Value", lambda: holder().value),
    "a method": ("Zelmor.Imaging.ColorMatrix", "call_000_GetMatrix", lambda: ColorMatrix().get_matrix()),
    "a static method": ("Zelmor.Imaging.ColorTranslator", "call_000_ToHtml",
                        lambda: ColorTranslator.to_html(Color.red)),
}


@pytest.mark.parametrize("member", MEMBERS)
def test_a_null_result_of_a_member(control: Control, member: str) -> None:
    type_, entry, use = MEMBERS[member]
    control.return_next(type_, entry, 0)
    assert use() is None


#: Collections: a collection with two elements, and the class of its services.
COLLECTIONS: dict[str, tuple[Callable[[], Any], str]] = {
    "array of strings": (lambda: make_typed(STRING, "array", ["a", "b"]), f"{GENERIC}Array_{STRING}"),
    "list of strings": (lambda: make_typed(STRING, "list", ["a", "b"]), f"{GENERIC}List_{STRING}"),
    "array of byte arrays": (lambda: make_typed(BYTES, "array", [b"a", b"b"]), f"{GENERIC}Array_{BYTES}"),
    "array": (lambda: make_interop("array", ["a", "b"]), INTEROP + "Array"),
    "array list": (lambda: make_interop("arrlist", ["a", "b"]), INTEROP + "ArrayList"),
    "list by its interface": (lambda: make_interop("ilist", ["a", "b"]), INTEROP + "CntList"),
}


@pytest.mark.parametrize("kind", COLLECTIONS)
def test_a_null_element_by_index(control: Control, kind: str) -> None:
    make, services = COLLECTIONS[kind]
    collection = make()
    control.return_next(services, "SqGetItem", 0)
    assert collection[1] is None


@pytest.mark.parametrize("kind", COLLECTIONS)
def test_null_elements_of_what_is_read_at_once(control: Control, kind: str) -> None:
    make, services = COLLECTIONS[kind]
    collection = make()
    for use, expected in ((lambda: collection[:], 2), (lambda: collection.copy(), 2), (lambda: collection * 2, 4),
                          (lambda: collection + [1], 3)):
        control.return_next(services, "SqGetItemNoCheck", 0)
        control.return_next(services, "SqGetItemNoCheck", 0)
        assert use() == [None] * 2 + ([None] * 2 if expected == 4 else [1] * (expected - 2))


@pytest.mark.parametrize("kind", [kind for kind in COLLECTIONS if "list" in kind])
def test_a_null_element_that_is_taken_out(control: Control, kind: str) -> None:
    make, services = COLLECTIONS[kind]
    collection = make()
    control.return_next(services, "Pop", 0)
    assert collection.pop() is None


@pytest.mark.parametrize("kind", COLLECTIONS)
def test_a_null_element_of_an_iteration(control: Control, kind: str) -> None:
    make, services = COLLECTIONS[kind]
    iterator = iter(make())
    suffix = services.rpartition("_")[1] + services.rpartition("_")[2] if services.startswith(GENERIC) else ""
    control.return_next((GENERIC if suffix else INTEROP) + "Enumerator" + suffix, "MoveNext", 0)
    assert next(iterator, "the end") is None


@pytest.mark.parametrize(("service", "value"), [("ToStringOfObj", BmpOptions), ("ToStringOfStc", Size)])
def test_a_null_text_of_an_object_gives_the_default_one(control: Control, service: str, value: Any) -> None:
    """In a forked child: a null that is returned as the text would crash the process."""
    shown = value()

    def step() -> bool:
        control.return_next("Zelmor.WrpGen.Interop.ObjectHost", service, 1)
        name = f"{type(shown).__module__}.{type(shown).__qualname__}"
        return re.fullmatch(f"<{re.escape(name)} object at 0x{id(shown):x}>", str(shown)) is not None

    assert outcome_of(step) == "True"

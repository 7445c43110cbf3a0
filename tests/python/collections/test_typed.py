"""The typed collections: their list, their markers, the conversion of elements, and the accepted arguments."""

from __future__ import annotations

import ctypes
import struct
from typing import Any

import pytest
from support.collections import (GENERIC, INTEROP, MODEL, NAMES, ROWS, TYPED, cast, make_interop, make_typed,
                                 new_object, typed, values_of)
from support.control import Control
from support.runtimes import embedded_only
from zelmor.imaging import Color, Point, Rectangle
from zelmor.imaging.imageoptions import DxfOptions

from tools.generator.model import Property
from tools.generator.writers.cpp.words import SHAPES

PREFIX = "Zelmor.WrpGen.Generic.SiApi"
INT32 = "A4A29720"
PRIVATE = ["_type_of", "_cast_to", "_cast_from", "_reinterpret_obj", "_cast_as", "_is_assignable"]
METHODS = {
    "array": ["index", "count", "sort", "reverse", "copy", "contains"],
    "list": ["extend", "append", "insert", "remove", "pop", "clear", "index", "count", "sort", "reverse", "copy",
             "contains"],
    "ilist": ["extend", "insert", "pop", "index", "count", "sort", "reverse", "copy", "append", "remove", "clear",
              "contains"],
    "iterable": [],
    "iterator": ["__enter__", "__exit__"],
}
ALL = [(identifier, kind) for identifier, row in ROWS.items() for kind in row.kinds if kind in NAMES]


def methods(calls: list[Any]) -> list[str]:
    return [call.method for call in calls if call.type.startswith(PREFIX)]


def handle_of(wrapper: Any) -> int:
    return ctypes.c_void_p.from_address(id(wrapper) + 16).value or 0


def a_typed(identifier: str, kind: str) -> Any:
    """An instance of any kind, enumerators included."""
    if kind in ("array", "list", "ilist"):
        return make_typed(identifier, kind, values_of(ROWS[identifier]))
    owner = next(kind for kind in ("array", "list", "ilist") if kind in ROWS[identifier].kinds)
    collection = make_typed(identifier, owner, values_of(ROWS[identifier]))
    return iter(collection) if kind == "iterator" else cast(typed(identifier, "iterable"), collection)


# The list of typed collections


def test_there_are_155_types_of_five_kinds() -> None:
    found = [name for name in vars(GENERIC) if not name.startswith("__")]
    assert found == sorted(NAMES[kind] + identifier for identifier, kind in ALL)
    assert {kind: sum(k == kind for _, k in ALL) for kind in NAMES} == {
        "array": 68, "list": 9, "ilist": 3, "iterable": 1, "iterator": 74}


@pytest.mark.parametrize(("identifier", "kind"), ALL)
def test_a_type_stands_as_its_kind_has_it(identifier: str, kind: str) -> None:
    type_ = typed(identifier, kind)
    assert type_.__module__ == "zelmor.imaging._wrpgen._generic"
    assert type_.__base__ is (INTEROP._ArrayWrapper if kind == "array" else object)
    assert type_.__basicsize__ == 24
    own = [name for name in vars(type_) if name in PRIVATE or name in METHODS[kind] or name == "get_type"]
    assert own == [*PRIVATE, *METHODS[kind], "get_type"]
    assert ("length" in vars(type_)) == (kind in ("array", "list", "ilist"))
    with pytest.raises(TypeError, match="^type has no available constructor$"):
        type_()


@pytest.mark.parametrize(("identifier", "kind"), ALL)
def test_a_type_is_marked_with_its_interfaces(identifier: str, kind: str) -> None:
    interfaces = {"array": ["_IListWrapper", "_IColWrapper", "_IterableWrapper"],
                  "list": ["_IListWrapper", "_IColWrapper", "_IterableWrapper"], "ilist": ["_IterableWrapper"],
                  "iterable": ["_IterableWrapper"], "iterator": ["_IDisposableWrapper", "_IterWrapper"]}[kind]
    expected = {getattr(INTEROP, name) for name in interfaces}
    if identifier == INT32 and kind in ("array", "list"):
        expected.add(GENERIC._IterableWrapper_A4A29720)
    marks = vars(typed(identifier, kind))
    assert marks["_additional_interfaces"] == marks["_implicit_interfaces"] == expected
    assert marks["_zelmor_clr_host"] is marks["_zelmor_clr_castable_obj"] is None


# Elements


@pytest.mark.parametrize(("identifier", "kind"), TYPED)
def test_iteration_is_by_the_enumerator_of_the_element(control: Control, identifier: str, kind: str) -> None:
    values = values_of(ROWS[identifier])
    collection = make_typed(identifier, kind, values)
    with control.journal() as calls:
        iterator = iter(collection)
        assert type(iterator) is typed(identifier, "iterator")
        assert [element for element in iterator] == values
    assert methods(calls) == ["GetEnumerator", *["MoveNext"] * (len(values) + 1)]


def test_leaving_an_enumerators_block_disposes_of_it(control: Control) -> None:
    collection = make_typed(INT32, "list", [1, 2])
    with control.journal() as calls:
        with iter(collection) as iterator:
            assert next(iterator) == 1
    assert [call.method for call in calls if call.method == "Dispose"] == ["Dispose"]


@embedded_only("the enumerator of a .NET list does not mind being disposed of")
def test_an_enumerator_that_was_disposed_of_says_so() -> None:
    with iter(make_typed(INT32, "list", [1, 2])) as iterator:
        assert next(iterator) == 1
    with pytest.raises(RuntimeError, match="ObjectDisposedException"):
        next(iterator)


WRONG = [(INT32, "x", "can't build 'Int32' from 'str'"), (INT32, True, "can't build 'Int32' from 'bool'"),
         ("CBE911FC", 5, "can't build String from 'int'"), ("8A028265", 5, "can't build byte[] from 'int'"),
         ("4161C915", 5, "can't build Color value from 'int'"), ("4B725488", 5, "can't build Image value from 'int'"),
         ("102D05D1", 5, "can't build IImageLoaderDescriptor value from 'int'"),
         ("A57BD1E8", 5, "can't build EmfPointEnum value from 'int'"),
         ("DAF680C1", 5, "can't build Array value from 'int'"), ("D065E58A", None, "can't build Point value from "
                                                                 "'NoneType'")]


@pytest.mark.parametrize(("identifier", "value", "message"), WRONG)
def test_a_value_of_the_wrong_type_is_refused_before_any_call(control: Control, identifier: str, value: Any,
                                                              message: str) -> None:
    collection = make_typed(identifier, "array", values_of(ROWS[identifier])[:1])
    actions = [lambda: collection.__setitem__(0, value), lambda: value in collection, lambda: collection.index(value),
               lambda: collection.count(value), lambda: collection.contains(value)]
    for action in actions:
        with control.journal() as calls, pytest.raises(TypeError) as refused:
            action()
        assert str(refused.value) == message
        assert [name for name in methods(calls) if name != "SqLength"] == []
    with pytest.raises(TypeError) as refused:
        collection[:] = [value]
    assert str(refused.value) == message


def test_numbers_cross_in_their_own_width(control: Control) -> None:
    for identifier, code in (("CF33F510", "c"), ("A2718E40", "s"), ("57AC8DC4", "S"), (INT32, "i"), ("110A8374", "I"),
                             ("E7C32114", "l"), ("72D20219", "L"), ("FCB07591", "f"), ("1BA766B5", "d")):
        collection = make_typed(identifier, "array", [1])
        with control.journal() as calls:
            collection[0] = 2
            assert collection.copy() == [2]
        signatures = {call.method: call.signature for call in calls}
        assert signatures["SqSetItem"] == f"ipi{code}"
        assert signatures["SqGetItemNoCheck"] == f"{code}pi"


def test_an_array_of_arrays_takes_a_python_list_for_an_inner_array() -> None:
    collection = make_typed("DAF680C1", "array", [None, None])
    collection[0] = [1, 2, 3]
    collection[1] = make_typed(INT32, "array", [4])
    assert [type(inner) for inner in collection] == [GENERIC._ArrayWrapper_A4A29720] * 2
    assert [inner.copy() for inner in collection] == [[1, 2, 3], [4]]
    with pytest.raises(RuntimeError):
        collection[0] = ["x"]


def test_an_element_that_a_conversion_fails_on_leaves_the_earlier_ones() -> None:
    collection = make_typed(INT32, "list", [1, 2, 3])
    with pytest.raises(TypeError):
        collection.extend([4, "x", 5])
    assert collection.copy() == [1, 2, 3, 4]
    with pytest.raises(TypeError):
        collection[1:3] = [7, None]
    assert collection.copy() == [1, 7, 3, 4]


def sent(calls: list[Any], method: str) -> list[int]:
    (call,) = [call for call in calls if call.method == method]
    return [struct.unpack("<i", struct.pack("<I", word & 0xFFFFFFFF))[0] for word in call.arguments[1:]]


def test_a_deleted_slice_is_named_as_the_kind_has_it(control: Control) -> None:
    values = values_of(ROWS["156DD088"])
    for collection, start in ((make_typed(INT32, "list", range(5)), 1), (make_typed("156DD088", "ilist", values), 3)):
        with control.journal() as calls:
            del collection[1:4]
        assert sent(calls, "MpRemoveItems") == [start, 3, -1]


def test_an_interface_list_is_served_by_its_two_classes(control: Control) -> None:
    value = values_of(ROWS["156DD088"])[0]
    collection = make_typed("156DD088", "ilist", [value])
    with control.journal() as calls:
        collection.append(value)
        collection.remove(value)
        assert value in collection
        assert collection.contains(value) is True
        assert len(collection) == collection.length == 1
        assert collection.count(value) == 1
        assert collection.index(value) == 0
        collection.insert(0, value)
        collection += collection
        collection *= 1
        collection.pop()
        collection.clear()
    served: dict[str, list[str]] = {}
    for call in calls:
        if call.type.startswith(PREFIX):
            served.setdefault(call.type.removeprefix(PREFIX), []).append(call.method)
    assert served == {
        "CntCollection_156DD088": ["Add", "Remove", "SqContains", "SqContains", "SqLength", "SqLength", "Clear"],
        "CntList_156DD088": ["CountOf", "IndexBy", "Insert", "SqInplaceConcat", "SqInplaceRepeat", "Pop"]}


def test_room_is_made_in_a_typed_list(control: Control) -> None:
    collection = make_typed(INT32, "list")
    with control.journal() as calls:
        collection += (1, 2)
    assert methods(calls) == ["EnsureCapacity", "Add", "Add"]


@pytest.mark.parametrize(("identifier", "kind"), ALL)
def test_casts_go_by_the_managed_type(identifier: str, kind: str) -> None:
    value = a_typed(identifier, kind)
    type_ = typed(identifier, kind)
    assert type_._is_assignable(value) is True
    for operation in (type_._cast_to, type_._cast_as):
        result = operation(value)
        assert result.status == 1
        assert type(result.value) is type_
        assert result.value == value
    assert type_._cast_to(None).value is None
    assert type_._cast_to(None).status == 1
    for wrong in (5, None):
        assert type_._cast_as(wrong).status == 0
        assert type_._is_assignable(wrong) is False
    assert type_._is_assignable(Point(1, 2)) is False
    assert value._cast_from(5).status == 0
    with pytest.raises(TypeError) as refused:
        type_._reinterpret_obj(5)
    assert str(refused.value) == (
        "_reinterpret_obj() expects a .Net Object argument, got a int object" if kind in ("array", "list") else
        f"cannot convert from  'int' to 'zelmor.imaging._wrpgen._generic.{type_.__name__}'")


# Parameters


def setter(identifier: str, kind: str) -> Property | None:
    """A property of this collection type, in a class that can be instantiated."""
    for entry in MODEL.types:
        for prop in entry.properties:
            takes = prop.wire
            if (prop.writable and not prop.static and entry.kind == "class" and takes.collection is not None
                    and takes.collection.identifier == identifier and takes.shape is not None
                    and SHAPES[takes.shape].converter == kind and prop.owner is prop.declared_by):
                return prop
    return None


SETTERS = [(identifier, kind, prop) for identifier in ROWS for kind in ("array", "list")
           if (prop := setter(identifier, kind)) is not None]


class MyList(list):  # type: ignore[type-arg]
    """An instance of a subclass of list."""


def test_most_parameter_converters_have_a_property_to_be_tested_by() -> None:
    assert len(SETTERS) > 25


@pytest.mark.parametrize(("identifier", "kind", "prop"), SETTERS, ids=[f"{i}-{k}" for i, k, _ in SETTERS])
def test_a_parameter_takes_wrappers_by_handle_and_python_lists_by_reference(control: Control, identifier: str,
                                                                            kind: str, prop: Property) -> None:
    owner = new_object(prop.owner.full_name)
    entry = f"set_{prop.managed}"

    def crossed(value: Any) -> tuple[int, int]:
        control.return_next(prop.owner.full_name, entry)
        with control.journal() as calls:
            setattr(owner, prop.python, value)
        (call,) = [call for call in calls if call.method == entry]
        record = call.records[-1]
        assert record is not None
        tag, word = struct.unpack("<i4xQ", record)
        return tag, word

    assert crossed(None) == (0, 0)
    values = values_of(ROWS[identifier])
    if kind in ROWS[identifier].kinds:
        own = make_typed(identifier, kind, values)
        assert crossed(own) == (0, handle_of(own))
    if kind == "array":
        untyped = cast(INTEROP._ArrayWrapper, make_typed(identifier, "array", values)) if (
            "array" in ROWS[identifier].kinds) else None
        if untyped is not None:
            assert crossed(untyped) == (0, handle_of(untyped))
    for listed in ([], values, MyList(values), ["anything at all"]):
        assert crossed(listed) == (2, id(listed))
    for sequence in ((), tuple(values), "text", range(3), b"bytes"):
        assert crossed(sequence) == (3, id(sequence))
    for wrong in (5, {1: 2}, {1}, iter([]), object()):
        with pytest.raises(TypeError) as refused:
            setattr(owner, prop.python, wrong)
        assert str(refused.value) == f"can't build {kind.capitalize()} value from '{type(wrong).__name__}'"
    for wrapper in (DxfOptions(), Point(1, 2), make_interop("arrlist", [1])):
        with pytest.raises(TypeError) as refused:
            setattr(owner, prop.python, wrapper)
        dotted = f"{type(wrapper).__module__}.{type(wrapper).__name__}"
        assert str(refused.value) == f"can't build {kind.capitalize()} value from '{dotted}'"


def test_a_typed_array_is_an_array_through_its_base_and_a_list_is_not(control: Control) -> None:
    array, listed = make_typed(INT32, "array", [1]), make_typed(INT32, "list", [1])
    assert isinstance(array, INTEROP._ArrayWrapper)
    assert not isinstance(listed, INTEROP._ArrayWrapper)


def test_a_list_of_the_wrong_elements_fails_where_the_managed_side_reads_them() -> None:
    collection = make_typed("DAF680C1", "array", [None])
    with pytest.raises(RuntimeError, match="TypeError: can't build 'Int32' from 'str'$"):
        collection[0] = [1, "x"]


def test_colors_and_rectangles_are_copies() -> None:
    rectangle = Rectangle(1, 2, 3, 4)
    collection = make_typed("6569C051", "array", [rectangle])
    rectangle.x = 9
    assert collection[0] == Rectangle(1, 2, 3, 4)
    collection[0].x = 7
    assert collection[0] == Rectangle(1, 2, 3, 4)
    colors = make_typed("4161C915", "array", [Color.red])
    assert colors[0] == Color.red
    assert type(colors[0]) is Color

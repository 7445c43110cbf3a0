"""The interop collection wrappers: their calls of the managed side, their refusals, and their reference counts.

test_machine.py compares their behavior with that of a list.
"""

from __future__ import annotations

import struct
import sys
from collections.abc import Iterator
from typing import Any

import pytest
from support.collections import INTEROP, INTEROP_KINDS, cast, make_interop, make_typed
from support.control import Call, Control, control
from zelmor.imaging import Point, Size

PREFIX = "Zelmor.WrpGen.Interop.SiApi"
#: The managed class whose services access the elements of a kind.
SERVICES = {"array": "Array", "arrlist": "ArrayList", "ilist": "CntList", "icol": "CntCollection",
            "colbase": "CntList", "rocolbase": "CntCollection"}
INDEXED = ["array", "arrlist", "ilist", "colbase"]
GROWING = ["arrlist", "ilist", "colbase"]
COUNTED = list(INTEROP_KINDS)


def service(kind: str) -> str:
    return PREFIX + SERVICES[kind]


def asked(calls: list[Call]) -> list[tuple[str, str]]:
    """Managed class and entry point of each call to a collection service."""
    return [(call.type.removeprefix(PREFIX), call.method) for call in calls if call.type.startswith(PREFIX)]


def methods(calls: list[Call]) -> list[str]:
    return [method for _, method in asked(calls)]


def signed(word: int) -> int:
    """A 32-bit argument word as a signed number."""
    return struct.unpack("<i", struct.pack("<I", word & 0xFFFFFFFF))[0]


def arguments(calls: list[Call], method: str) -> list[int]:
    """The arguments of the only call that a method makes, without the handle."""
    (call,) = [call for call in calls if call.method == method]
    return [signed(word) for word in call.arguments[1:]]


class Foreign:
    """An iterable without a length."""

    def __init__(self, *items: Any) -> None:
        self._items = items

    def __iter__(self) -> Iterator[Any]:
        return iter(self._items)


# The entry points that an operation calls


@pytest.mark.parametrize(("kind", "expected"), [
    ("array", ["SqLength", "SqGetItem"]), ("arrlist", ["SqLength", "SqGetItem"]), ("ilist", ["SqLength", "SqGetItem"]),
])
def test_an_element_is_read_with_its_bounds_left_to_the_managed_side(control: Control, kind: str,
                                                                     expected: list[str]) -> None:
    collection = make_interop(kind, "abc")
    with control.journal() as calls:
        assert collection[-1] == "c"
    assert methods(calls) == expected
    assert arguments(calls, "SqGetItem")[0] == 2


def test_a_list_asks_its_length_of_the_collection_service() -> None:
    collection = make_interop("ilist", "abc")
    with control.journal() as calls:
        assert len(collection) == 3
        assert "a" in collection
        assert collection.count("a") == 1
    assert asked(calls) == [("CntCollection", "SqLength"), ("CntList", "SqContains"), ("CntList", "CountOf")]


@pytest.mark.parametrize("kind", INDEXED)
def test_a_slice_is_read_without_checks(kind: str) -> None:
    collection = make_interop(kind, "abcdef")
    with control.journal() as calls:
        assert collection[4:0:-2] == ["e", "c"]
    assert methods(calls) == ["SqLength", "SqGetItemNoCheck", "SqGetItemNoCheck"]


@pytest.mark.parametrize("kind", INDEXED)
def test_an_empty_slice_reads_no_element(kind: str) -> None:
    collection = make_interop(kind, "abc")
    with control.journal() as calls:
        assert collection[2:2] == []
    assert methods(calls) == ["SqLength"]


@pytest.mark.parametrize("kind", INDEXED)
def test_the_last_of_an_empty_collection_is_out_of_range(kind: str) -> None:
    collection = make_interop(kind)
    with control.journal() as calls, pytest.raises(IndexError, match="^list index out of range$"):
        collection[-1]
    assert arguments(calls, "SqGetItem")[0] == -1


@pytest.mark.parametrize("kind", INDEXED)
@pytest.mark.parametrize("index", [2**31, 2**32, -2**32, sys.maxsize, -sys.maxsize - 1])
def test_an_index_beyond_the_width_of_the_wire_is_out_of_range(kind: str, index: int) -> None:
    collection = make_interop(kind, "abc")
    for action in (lambda: collection[index], lambda: collection.__setitem__(index, "x")):
        with pytest.raises(IndexError, match="^list index out of range$"):
            action()
    with pytest.raises(IndexError, match="^cannot fit 'int' into an index-sized integer$"):
        collection[2**64]
    assert collection.index("a", 0, sys.maxsize) == 0
    assert collection.index("c", -sys.maxsize) == 2


@pytest.mark.parametrize("kind", GROWING)
@pytest.mark.parametrize(("part", "lowest_first", "highest_first"), [
    (slice(1, 4), (1, 3, -1), (3, 3, -1)),
    (slice(0, 6, 2), (4, 3, -2), (4, 3, -2)),
    (slice(3, 0, -1), (1, 3, -1), (3, 3, -1)),
    (slice(5, None, -2), (5, 3, -2), (5, 3, -2)),
    (slice(2, 2), (2, 0, -1), (1, 0, -1)),
    (slice(0, 0), (0, 0, -1), (0, 0, -1)),
    (slice(1, 2, sys.maxsize), (1, 1, -2**31), (1, 1, -2**31)),
])
def test_a_slice_is_deleted_downward(kind: str, part: slice, lowest_first: tuple[int, ...],
                                     highest_first: tuple[int, ...]) -> None:
    collection = make_interop(kind, "abcdef")
    expected = list("abcdef")
    del expected[part]
    with control.journal() as calls:
        del collection[part]
    assert tuple(arguments(calls, "MpRemoveItems")) == (lowest_first if kind == "arrlist" else highest_first)
    assert collection.copy() == expected


def test_nothing_is_asked_when_an_element_of_an_array_is_deleted() -> None:
    collection = make_interop("array", "abc")
    with control.journal() as calls:
        for key in (0, slice(0, 2), slice(2, 2), -9):
            with pytest.raises(ValueError, match="^elements removing not supported$"):
                del collection[key]
    assert calls == []


@pytest.mark.parametrize("kind", INDEXED)
def test_a_slice_of_the_same_size_is_copied_by_the_managed_side(kind: str) -> None:
    collection, other = make_interop(kind, "abc"), make_interop("arrlist", "xy")
    with control.journal() as calls:
        collection[0:3:2] = other
    assert [name for _, name in asked(calls)] == ["SqLength", "SqLength", "MpSetItems"]
    assert arguments(calls, "MpSetItems")[1:] == [0, 2, 2]
    assert collection.copy() == ["x", "b", "y"]


@pytest.mark.parametrize("kind", INDEXED)
def test_a_copy_that_the_managed_side_declines_goes_element_by_element(kind: str) -> None:
    collection, other = make_interop(kind, "abc"), make_interop("arrlist", "xyz")
    control.return_next(service(kind), "MpSetItems", 0)
    with control.journal() as calls:
        collection[:] = other
    assert methods(calls).count("SqSetItemNoCheck" if kind in ("ilist", "colbase") else "SqSetItemNoChek") == 3
    assert collection.copy() == ["x", "y", "z"]


@pytest.mark.parametrize("kind", INDEXED)
def test_the_size_of_a_managed_source_is_compared_first(kind: str) -> None:
    collection, other = make_interop(kind, "abc"), make_interop("arrlist", "x")
    with control.journal() as calls, pytest.raises(ValueError, match=(
            "^attempt to assign sequence of size 1 to extended slice of size 2$")):
        collection[0:2] = other
    assert "MpSetItems" not in methods(calls)


@pytest.mark.parametrize("kind", GROWING)
def test_a_collection_is_extended_by_itself_on_the_managed_side(kind: str) -> None:
    collection = make_interop(kind, "ab")
    with control.journal() as calls:
        collection += collection
    assert methods(calls) == ["SqInplaceConcat"]
    assert collection.copy() == ["a", "b", "a", "b"]


@pytest.mark.parametrize("kind", GROWING)
def test_an_extension_that_the_managed_side_declines_goes_element_by_element(kind: str) -> None:
    collection = make_interop(kind, "ab")
    control.return_next(service(kind), "SqInplaceConcat", 0)
    with control.journal() as calls:
        collection.extend(collection)
    assert methods(calls).count("Add") == 2
    assert collection.copy() == ["a", "b", "a", "b"]


@pytest.mark.parametrize("items", [["x", "y"], ("x", "y"), {0: "x"}.values(), "xy"])
def test_room_is_made_where_the_number_of_new_elements_is_known(items: Any) -> None:
    collection = make_interop("arrlist", "ab")
    with control.journal() as calls:
        collection.extend(items)
    known = isinstance(items, (list, tuple, str))
    assert methods(calls) == ["EnsureCapacity"] * known + ["Add"] * len(items)
    if known:
        assert arguments(calls, "EnsureCapacity") == [2]


def test_a_list_known_by_its_interface_makes_no_room() -> None:
    collection = make_interop("ilist", "ab")
    with control.journal() as calls:
        collection.extend(["x"])
    assert methods(calls) == ["Add"]


@pytest.mark.parametrize("kind", GROWING)
@pytest.mark.parametrize(("given", "sent"), [((), [0, 0]), ((1,), [1, 1]), ((-1,), [1, -1]), ((None,), [1, 0])])
def test_pop_tells_whether_it_was_given_an_argument(kind: str, given: tuple[Any, ...], sent: list[int]) -> None:
    collection = make_interop(kind, "abc")
    with control.journal() as calls:
        collection.pop(*given)
    assert arguments(calls, "Pop")[:2] == sent


@pytest.mark.parametrize("kind", INDEXED)
@pytest.mark.parametrize(("bounds", "sent"), [((), [0, 0, 0, 0]), ((-2,), [1, -2, 0, 0]), ((0, -1), [1, 0, 1, -1])])
def test_the_bounds_of_a_search_travel_as_they_are(kind: str, bounds: tuple[int, ...], sent: list[int]) -> None:
    collection = make_interop(kind, "abc")
    with control.journal() as calls:
        assert collection.index("b", *bounds) == 1
    assert arguments(calls, "IndexBy")[:4] == sent


@pytest.mark.parametrize("kind", GROWING)
@pytest.mark.parametrize(("index", "sent"), [(-1, -1), (99, 99), (2**40, 2**31 - 1), (-2**40, -2**31)])
def test_the_place_of_an_insertion_is_not_adjusted(kind: str, index: int, sent: int) -> None:
    collection = make_interop(kind, "abc")
    with control.journal() as calls:
        collection.insert(index, "x")
    assert arguments(calls, "Insert")[0] == sent


@pytest.mark.parametrize("kind", GROWING)
def test_a_repetition_is_cut_to_32_bits(kind: str) -> None:
    collection = make_interop(kind, "ab")
    with control.journal() as calls:
        collection *= 2**32 + 2
    assert arguments(calls, "SqInplaceRepeat") == [2]
    assert len(collection) == 4


@pytest.mark.parametrize("kind", INDEXED)
def test_each_element_is_read_once_for_all_repeats(kind: str) -> None:
    collection = make_interop(kind, [Point(1, 2), "b"])
    with control.journal() as calls:
        repeated = collection * 3
    assert methods(calls) == ["SqLength", "SqGetItemNoCheck", "SqGetItemNoCheck"]
    assert repeated[0] is repeated[2] is repeated[4]
    with control.journal() as calls:
        assert collection * 0 == collection * -3 == []
    assert methods(calls) == ["SqLength", "SqGetItemNoCheck", "SqGetItemNoCheck"] * 2


@pytest.mark.parametrize("kind", COUNTED)
def test_an_iterator_is_a_managed_enumerator(kind: str) -> None:
    collection = make_interop(kind, "ab")
    with control.journal() as calls:
        iterator = iter(collection)
        assert type(iterator) is INTEROP._IterWrapper
        assert list(iterator) == ["a", "b"]
    assert asked(calls) == [("Enumerable", "GetEnumerator"), *[("Enumerator", "MoveNext")] * 3]


# Refusals


@pytest.mark.parametrize("kind", INDEXED)
def test_a_key_that_is_no_index_is_refused(kind: str) -> None:
    collection = make_interop(kind, "abc")
    for key, name in (("a", "str"), (1.0, "float"), (None, "NoneType"), ((0, 1), "tuple")):
        for action in (lambda key=key: collection[key], lambda key=key: collection.__setitem__(key, "x")):
            with pytest.raises(TypeError) as refused:
                action()
            assert str(refused.value) == f"list indices must be integers or slices, not {name}"


@pytest.mark.parametrize("kind", INDEXED)
@pytest.mark.parametrize("value", [5, None, iter("ab"), {"a", "b"}, {1: 2}, Foreign("a")])
def test_only_a_sequence_with_a_length_is_assigned_to_a_slice(kind: str, value: Any) -> None:
    collection = make_interop(kind, "abc")
    with pytest.raises(TypeError, match="^must assign iterable to extended slice$"):
        collection[0:1] = value


@pytest.mark.parametrize("kind", INDEXED)
def test_a_slice_assignment_never_changes_the_length(kind: str) -> None:
    collection = make_interop(kind, "abc")
    for part, value, size, count in ((slice(0, 2), ["x"], 1, 2), (slice(1, 1), "xy", 2, 0), (slice(None), (), 0, 3)):
        with pytest.raises(ValueError) as refused:
            collection[part] = value
        assert str(refused.value) == f"attempt to assign sequence of size {size} to extended slice of size {count}"
    assert collection.copy() == ["a", "b", "c"]


@pytest.mark.parametrize("kind", INDEXED)
def test_an_assignment_that_fails_keeps_what_it_stored(kind: str) -> None:
    collection = make_interop(kind, "abc")
    with pytest.raises(TypeError, match="^unknown variant type$"):
        collection[:] = ["x", {}, "z"]
    assert collection.copy() == ["x", "b", "c"]


@pytest.mark.parametrize("kind", GROWING)
@pytest.mark.parametrize("form", [list, tuple, Foreign, iter])
def test_an_extension_that_fails_keeps_what_it_added(kind: str, form: Any) -> None:
    items = ["x", {}, "z"]
    collection = make_interop(kind, "ab")
    with pytest.raises(TypeError, match="^unknown variant type$"):
        collection.extend(Foreign(*items) if form is Foreign else form(items))
    assert collection.copy() == ["a", "b", "x"]


@pytest.mark.parametrize("kind", COUNTED)
def test_only_what_can_be_walked_is_added(kind: str) -> None:
    collection = make_interop(kind, "ab")
    with pytest.raises(ValueError, match="^argument must be iterable or sequence$"):
        collection + 5
    if kind in GROWING:
        for action in (lambda: collection.extend(5), lambda: collection.__iadd__(None)):
            with pytest.raises(ValueError, match="^argument must be iterable or sequence$"):
                action()


@pytest.mark.parametrize("kind", COUNTED)
@pytest.mark.parametrize("other", [["x"], ("x",), "x", {"x": 1}, {"x"}, Foreign("x")])
def test_anything_that_can_be_walked_is_added_behind_the_own_elements(kind: str, other: Any) -> None:
    assert make_interop(kind, "ab") + other == ["a", "b", "x"]


def test_a_failing_operand_passes_its_error_on() -> None:
    class Failing:
        def __len__(self) -> int:
            raise KeyError("mine")

        def __getitem__(self, index: int) -> Any:
            raise AssertionError

    class Short(Failing):
        def __len__(self) -> int:
            return 2

        def __getitem__(self, index: int) -> Any:
            if index:
                raise KeyError("mine")
            return "x"

    collection = make_interop("arrlist", "ab")
    for operand in (Failing(), Short()):
        for action in (lambda o=operand: collection + o, lambda o=operand: collection.__setitem__(slice(None), o)):
            with pytest.raises(KeyError, match="mine"):
                action()
    assert collection.copy() == ["x", "b"]
    with pytest.raises(KeyError, match="mine"):
        collection.extend(Short())
    assert collection.copy() == ["x", "b", "x"]


@pytest.mark.parametrize("kind", INDEXED)
def test_a_sorting_key_is_refused_before_anything_else(kind: str) -> None:
    collection = make_interop(kind, [3, 1, 2])
    with control.journal() as calls, pytest.raises(ValueError, match="^custom sorting key is not supported$"):
        collection.sort(key=len)
    assert calls == []
    collection.sort(None, True)
    assert collection.copy() == [3, 2, 1]
    collection.sort(reverse=[])
    assert collection.copy() == [1, 2, 3]
    with pytest.raises(TypeError):
        collection.sort(reversed=True)


@pytest.mark.parametrize("kind", COUNTED)
def test_a_value_that_does_not_convert_is_not_simply_absent(kind: str) -> None:
    collection = make_interop(kind, "ab")
    searches = [lambda: {} in collection, lambda: collection.count({}), lambda: collection.contains({})]
    if kind in INDEXED:
        searches.append(lambda: collection.index({}))
    if kind in GROWING:
        searches.append(lambda: collection.remove({}))
    with control.journal() as calls:
        for search in searches:
            with pytest.raises(TypeError, match="^unknown variant type$"):
                search()
    assert calls == []


@pytest.mark.parametrize("kind", GROWING)
def test_what_is_not_there_cannot_be_taken(kind: str) -> None:
    collection = make_interop(kind)
    for given in ((), (0,), (None,), (5,)):
        with pytest.raises(IndexError, match="^pop from empty list$"):
            collection.pop(*given)
    with pytest.raises(ValueError, match=r"^list\.remove\(x\): x not in list$"):
        collection.remove("a")
    with pytest.raises(ValueError, match="^value is not in list$"):
        collection.index("a")
    collection.append("a")
    for index in (1, -2, 2**40, -2**40):
        with pytest.raises(IndexError, match="^pop index out of range$"):
            collection.pop(index)
    with pytest.raises(TypeError, match=r"^pop\(\) takes at most 1 argument \(2 given\)$"):
        collection.pop(1, 2)


@pytest.mark.parametrize("kind", COUNTED)
def test_a_kind_has_the_methods_that_it_supports(kind: str) -> None:
    collection = make_interop(kind, "ab")
    growing = {"append", "insert", "extend", "remove", "pop", "clear"}
    ordered = {"index", "sort", "reverse"}
    offered = {name for name in dir(collection) if not name.startswith("_")} - {"get_type", "length"}
    assert offered == {"count", "contains", "copy"} | (ordered if kind in INDEXED else set()) | (
        growing if kind in GROWING else set())
    assert hasattr(collection, "__getitem__") == (kind in INDEXED)
    assert hasattr(collection, "__iadd__") == (kind in GROWING)
    with pytest.raises(AttributeError):
        collection.length = 5


# Errors of the managed side


@pytest.mark.parametrize("kind", COUNTED)
def test_a_managed_failure_ends_the_operation(kind: str) -> None:
    collection = make_interop(kind, "ab")
    length = service(kind) if kind in ("array", "arrlist") else PREFIX + "CntCollection"
    operations = {"SqLength": (length, lambda: len(collection)),
                  "SqContains": (service(kind), lambda: "a" in collection),
                  "CountOf": (service(kind), lambda: collection.count("a")),
                  "GetEnumerator": (PREFIX + "Enumerable", lambda: iter(collection))}
    if kind in INDEXED:
        operations |= {"SqGetItem": (service(kind), lambda: collection[0]),
                       "SqGetItemNoCheck": (service(kind), lambda: collection.copy()),
                       "SqSetItem": (service(kind), lambda: collection.__setitem__(0, "x")),
                       "Reverse": (service(kind), lambda: collection.reverse()),
                       "Sort": (service(kind), lambda: collection.sort()),
                       "IndexBy": (service(kind), lambda: collection.index("a"))}
    if kind in GROWING:
        operations |= {"Add": (service(kind), lambda: collection.append("x")),
                       "Insert": (service(kind), lambda: collection.insert(0, "x")),
                       "Remove": (service(kind), lambda: collection.remove("a")),
                       "RemoveAt": (service(kind), lambda: collection.__delitem__(0)),
                       "Pop": (service(kind), lambda: collection.pop()),
                       "Clear": (service(kind), lambda: collection.clear()),
                       "SqInplaceConcat": (service(kind), lambda: collection.extend(collection)),
                       "SqInplaceRepeat": (service(kind), lambda: collection.__imul__(2)),
                       "MpRemoveItems": (service(kind), lambda: collection.__delitem__(slice(None)))}
    for method, (type_name, operation) in operations.items():
        control.raise_next(type_name, method, "InvalidOperationException", "not now")
        with pytest.raises(RuntimeError, match=r"^Proxy error\(InvalidOperationException\): not now$"):
            operation()
    assert list(collection) == ["a", "b"]


def test_an_enumerator_passes_on_what_the_managed_side_reports() -> None:
    collection = make_interop("arrlist", "ab")
    iterator = iter(collection)
    collection.append("c")
    with pytest.raises(RuntimeError, match="InvalidOperationException"):
        next(iterator)


def test_a_collection_that_yields_more_or_fewer_than_it_has_is_not_copied() -> None:
    collection = make_interop("icol", "ab")
    for length in (1, 3):
        for operation in (lambda: collection.copy(), lambda: collection * 2, lambda: collection + [1]):
            control.return_next(PREFIX + "CntCollection", "SqLength", length)
            with pytest.raises(ValueError, match="^argument must be iterable or sequence$"):
                operation()


# References and handles


@pytest.mark.parametrize("kind", COUNTED)
def test_operations_leave_the_references_of_their_arguments_alone(kind: str) -> None:
    collection = make_interop(kind, "ab")
    value, items = "a value of its own", ["another value", "and one more"]
    before = sys.getrefcount(value), sys.getrefcount(items), sys.getrefcount(items[0]), sys.getrefcount(None)
    for _ in range(200):
        assert (value in collection) == (collection.count(value) > 0)
        collection + items
        if kind in INDEXED:
            collection[:2] = items
            collection[0] = value
        if kind in GROWING:
            collection += items
            collection.append(value)
            collection.insert(0, value)
            collection.remove(value)
            collection.pop()
            del collection[2:]
    after = sys.getrefcount(value), sys.getrefcount(items), sys.getrefcount(items[0]), sys.getrefcount(None)
    assert after[:3] == before[:3]
    assert abs(after[3] - before[3]) < 50


@pytest.mark.parametrize("kind", INDEXED)
def test_elements_are_wrapped_anew_on_each_read(kind: str) -> None:
    collection = make_interop(kind, [Size(1, 2)])
    first, second = collection[0], collection[0]
    assert first == second == Size(1, 2)
    assert first is not second


def test_a_view_of_another_kind_shows_the_same_collection() -> None:
    collection = make_interop("arrlist", "ab")
    for name in ("_IListWrapper", "_IColWrapper", "_IterableWrapper"):
        view = cast(getattr(INTEROP, name), collection)
        assert view == collection
        assert list(view) == ["a", "b"]
    cast(INTEROP._IListWrapper, collection).append("c")
    assert len(collection) == 3


def test_an_array_is_no_array_list() -> None:
    assert INTEROP._ArrListWrapper._cast_as(make_interop("array")).status == 0
    assert INTEROP._ArrListWrapper._is_assignable(make_typed("A4A29720", "list")) is False
    assert INTEROP._ArrayWrapper._is_assignable(make_typed("A4A29720", "array")) is True

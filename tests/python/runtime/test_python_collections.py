"""Python collections on the managed side: copies where a class is expected, proxies where an interface is.

Any exception in Python while the managed side works on a Python collection arrives as one RuntimeError with its text.
"""

from __future__ import annotations

import ctypes
import sys
from collections.abc import Callable
from typing import Any

import pytest
import zelmor.imaging
from support.anything import holder
from support.collections import GENERIC, INTEROP, new_object
from support.control import Control, control
from support.records import VariantArg
from support.runtimes import embedded_only

from zelmor.imaging import LoadOptions, NonGenericList, Point, PointF, Rectangle
from zelmor.imaging.fileformats.cdr.objects import CdrOutline
from zelmor.imaging.fileformats.cdr.types import CdrGradient, CdrGradientStop
from zelmor.imaging.fileformats.emf.emf.objects import EmfDesignVector, EmfRegionData
from zelmor.imaging.fileformats.emf.emf.records import EmfPolyBezier
from zelmor.imaging.shapes import PolygonShape


class Broken:
    """A sequence that raises in selected methods."""

    def __init__(self, place: str, items: tuple[Any, ...] = (1, 2, 3)) -> None:
        self.place, self.items = place, items

    def __len__(self) -> int:
        if self.place == "len":
            raise KeyError("no length today")
        return len(self.items)

    def __getitem__(self, index: int) -> Any:
        if self.place == "getitem":
            raise LookupError("no item today")
        return self.items[index]

    def __iter__(self) -> Any:
        if self.place == "iter":
            raise ValueError("no iterator today")
        for item in self.items:
            yield item
        if self.place == "next":
            raise ArithmeticError("no further item today")


class Incomparable:
    """Comparing it raises an exception."""

    __hash__ = None  # type: ignore[assignment]

    def __eq__(self, other: object) -> bool:
        raise OverflowError("no comparison today")


def _raises(text: str) -> Any:
    return pytest.raises(RuntimeError, match=rf"(?s)^Proxy error\(\w+\): .* failed in Python: .*{text}$")


# A typed array or list is a copy


@pytest.mark.parametrize("form", [list, tuple, lambda items: Broken("nowhere", tuple(items))])
def test_an_array_property_takes_a_copy(form: Callable[[list[int]], Any]) -> None:
    vector = EmfDesignVector()
    given = form([3, -1, 2])
    vector.values = given
    assert type(vector.values) is GENERIC._ArrayWrapper_A4A29720
    assert list(vector.values) == [3, -1, 2]
    assert str(vector.values.get_type()) == "System.Int32[]"
    if isinstance(given, list):
        given.append(9)
    assert len(vector.values) == 3
    vector.values = None
    assert vector.values is None


def test_what_a_property_gives_is_the_array_itself() -> None:
    vector = EmfDesignVector()
    vector.values = [1, 2]
    vector.values[0] = 7
    assert list(vector.values) == [7, 2]
    other = EmfDesignVector()
    other.values = vector.values
    other.values[1] = 8
    assert list(vector.values) == [7, 8]
    assert other.values == vector.values


@pytest.mark.parametrize(("given", "text"), [
    ([1, "2"], "can't build .* from 'str'"), ([2**64], "OverflowError"), ([None], "NoneType"),
    (Broken("len"), "KeyError: 'no length today'"), (Broken("getitem"), "LookupError: no item today"),
])
def test_an_element_that_does_not_fit_stores_nothing(given: Any, text: str) -> None:
    vector = EmfDesignVector()
    vector.values = [5]
    with pytest.raises(RuntimeError, match=rf"(?s)^Proxy error\(PythonException\): Reading .*({text})"):
        vector.values = given
    assert list(vector.values) == [5]


def test_structs_are_copied_with_their_array() -> None:
    data = EmfRegionData()
    area = Rectangle(1, 2, 3, 4)
    data.data = [area, Rectangle()]
    area.x = 50
    assert [each.x for each in data.data] == [1, 0]
    data.data[0].x = 9
    assert data.data[0].x == 1
    with pytest.raises(RuntimeError, match="can't build Rectangle value from 'int'"):
        data.data = [3]
    with pytest.raises(RuntimeError, match="can't build Rectangle value from 'NoneType'"):
        data.data = [None]


def test_objects_are_shared_with_their_list() -> None:
    gradient = CdrGradient()
    stop = CdrGradientStop()
    gradient.stops = [stop, None]
    assert type(gradient.stops) is GENERIC._ListWrapper_793CE1A2
    assert gradient.stops[0] == stop and gradient.stops[1] is None
    gradient.stops.append(CdrGradientStop())
    assert len(gradient.stops) == 3


def test_a_list_parameter_makes_a_list_and_takes_no_array() -> None:
    outline, vector = CdrOutline(), EmfDesignVector()
    outline.dash_array = (4, 2)
    assert str(outline.dash_array.get_type()) == "System.Collections.Generic.List`1[System.Int32]"
    outline.dash_array.append(1)
    assert list(outline.dash_array) == [4, 2, 1]
    vector.values = [1]
    with pytest.raises(TypeError, match="^can't build List value from "):
        outline.dash_array = vector.values


def test_the_managed_side_refuses_another_array_itself(control: Control) -> None:
    vector, record = EmfDesignVector(), EmfPolyBezier()
    record.a_points = [Point(1, 2)]
    handle = control.new_list("array", "D065E58A", 0)
    with control.journal() as calls:
        vector.values = []
    setter = next(call for call in calls if call.method == "set_Values")
    argument = VariantArg(0, handle)
    set_values = control.delegate(setter.type, "set_Values", None, ctypes.c_void_p, ctypes.POINTER(VariantArg))
    with pytest.raises(RuntimeError, match=r"^Proxy error\(InvalidCastException\): Unable to cast object of type "
                       r"'Zelmor.Imaging.Point\[\]' to type 'System.Int32\[\]'\.$"):
        set_values(setter.arguments[0], ctypes.byref(argument))
    control.callback("olist", "write_clr_array")(handle)


def test_a_constructor_copies_its_array_into_the_property_of_its_name() -> None:
    shape = PolygonShape([PointF(1, 2), PointF(3, 4)], True)
    assert [(point.x, point.y) for point in shape.points] == [(1, 2), (3, 4)]
    assert shape.is_closed is True


# A property of type object stores a list as an ArrayList, a tuple as an array


def test_a_list_is_kept_as_an_array_list_and_a_tuple_as_an_array() -> None:
    tag = holder()
    tag.value = [1, "two", [3.5, None]]
    kept = tag.value
    assert type(kept) is INTEROP._ArrListWrapper
    assert list(kept[:2]) == [1, "two"] and list(kept[2]) == [3.5, None]
    tag.value = (1, Point(2, 3))
    assert type(tag.value) is INTEROP._ArrayWrapper
    assert tag.value[1] == Point(2, 3)


def test_a_list_that_holds_itself_is_refused() -> None:
    tag = holder()
    endless: list[Any] = []
    endless.append(endless)
    with pytest.raises(RuntimeError, match="The list is nested too deeply, or holds itself."):
        tag.value = endless
    assert tag.value is None


# An interface uses the Python object itself


def test_a_list_behind_an_interface_is_worked_on_in_place() -> None:
    items: list[Any] = [3, 1, 2]
    shown = NonGenericList(items)
    shown.append("x")
    assert items == [3, 1, 2, "x"] and shown.length == 4
    shown.remove("x")
    shown.insert(0, 9)
    assert items == [9, 3, 1, 2]
    shown.sort()
    assert items == [1, 2, 3, 9]
    shown.reverse()
    assert items == [9, 3, 2, 1]
    assert (shown.index(2), shown.count(3), shown.contains(9), shown.contains(8)) == (2, 1, True, False)
    assert shown.pop() == 1
    items.append(7)
    assert shown.copy() == [9, 3, 2, 7]
    shown.clear()
    assert items == []


def test_elements_keep_their_references() -> None:
    marker = LoadOptions()
    items: list[Any] = [marker]
    before = sys.getrefcount(items), sys.getrefcount(marker)
    shown = NonGenericList(items)
    assert shown.contains(marker) and shown.index(marker) == 0 and not shown.contains(5)
    shown.append(marker)
    assert items[1] == marker
    shown.pop()
    assert shown.copy() == [marker]
    del shown
    control.settle()
    assert (sys.getrefcount(items), sys.getrefcount(marker)) == before


def test_another_sequence_behind_an_interface_is_read_only() -> None:
    items = (3, 1, LoadOptions(), "a text of its own" * 2)
    before = [sys.getrefcount(item) for item in items[2:]]
    holder = [NonGenericList(items)]
    assert holder[0].copy() == list(items) and holder[0].length == 4
    assert holder[0].contains(1) and holder[0].index(1) == 1
    for name, arguments in (("append", (1,)), ("insert", (0, 1)), ("clear", ()), ("remove", (1,)), ("pop", ()),
                            ("sort", ()), ("reverse", ())):
        with pytest.raises(RuntimeError, match=r"^Proxy error\(NotSupportedException\): "):
            getattr(holder[0], name)(*arguments)
    assert holder.pop().copy() == list(items)
    control.settle()
    assert [sys.getrefcount(item) for item in items[2:]] == before


def test_what_a_sequence_raises_is_in_the_error() -> None:
    with _raises("KeyError: 'no length today'"):
        NonGenericList(Broken("len")).length  # noqa: B018
    with _raises("LookupError: no item today"):
        NonGenericList(Broken("getitem")).copy()
    with _raises("LookupError: no item today"):
        NonGenericList(Broken("getitem")).contains(2)
    with _raises("KeyError: 'no length today'"):
        NonGenericList(Broken("len")).contains(2)


@pytest.mark.parametrize("form", [list, tuple])
def test_a_comparison_that_raises_is_in_the_error(form: Callable[[Any], Any]) -> None:
    shown = NonGenericList(form([Incomparable()]))
    for search in (shown.contains, shown.index):
        with _raises("OverflowError: no comparison today"):
            search(5)


def test_a_list_that_changes_under_a_walk_is_walked_as_python_does() -> None:
    items = [1, 2]
    walk = iter(NonGenericList(items))
    assert next(walk) == 1
    items.append(3)
    assert list(walk) == [2, 3]


# Enumerators


def _array_list(items: list[Any]) -> Any:
    made = control.callback("olist", "write_clr_arrlist")(control.new_list("arraylist", "", 0))
    made.extend(items)
    return made


def test_a_changed_list_ends_its_enumerations() -> None:
    for change in (lambda each: each.append(3), lambda each: each.__setitem__(0, 5), lambda each: each.sort(),
                   lambda each: each.reverse(), lambda each: each.pop(), lambda each: each.clear()):
        numbers = _array_list([1, 2])
        walk = iter(numbers)
        assert next(walk) == 1
        change(numbers)
        with pytest.raises(RuntimeError, match=r"^Proxy error\(InvalidOperationException\): Collection was modified"):
            next(walk)


def test_an_array_may_change_under_its_enumerator() -> None:
    vector = EmfDesignVector()
    vector.values = [1, 2]
    walk = iter(vector.values)
    assert next(walk) == 1
    vector.values[1] = 5
    assert list(walk) == [5]


@embedded_only("the enumerators of .NET's own arrays and lists go on after Dispose")
def test_a_disposed_enumerator_walks_no_further() -> None:
    vector = EmfDesignVector()
    vector.values = [1, 2]
    with iter(vector.values) as walk:
        assert next(walk) == 1
    with pytest.raises(RuntimeError, match=r"^Proxy error\(ObjectDisposedException\): "):
        next(walk)


# The values of managed lists


@pytest.mark.parametrize(("value", "error"), [
    (128, "OverflowException"), (-129, "OverflowException"), ("1", "InvalidCastException"),
    (1.0, "InvalidCastException"), (None, "InvalidCastException"),
])
def test_an_untyped_view_of_numbers_takes_what_fits(value: Any, error: str) -> None:
    view = control.callback("olist", "write_clr_array")(control.new_list("array", "CF33F510", 2))
    view[0] = -128
    with pytest.raises(RuntimeError, match=rf"^Proxy error\({error}\): "):
        view[1] = value
    assert list(view) == [-128, 0]


def test_values_of_several_kinds_have_no_order() -> None:
    mixed = _array_list([2, "x", 1])
    with pytest.raises(RuntimeError, match=r"^Proxy error\(InvalidOperationException\): Failed to compare"):
        mixed.sort()
    assert list(mixed) == [2, "x", 1]
    numbers = _array_list([2.0, float("nan"), 1.0, None])
    numbers.sort(reverse=True)
    assert numbers[:2] == [2.0, 1.0] and numbers[3] is None


def test_a_dictionary_keeps_its_pairs() -> None:
    pairs = new_object("Zelmor.Imaging.NonGenericDictionary")
    pairs.add("a", 1)
    pairs.add(2, [3])
    assert pairs.length == 2 and pairs.contains("a") and not pairs.contains("b")
    assert list(pairs.keys) == ["a", 2] and list(pairs.values)[0] == 1
    with pytest.raises(RuntimeError, match="An item with the same key has already been added."):
        pairs.add("a", 5)
    pairs.remove("a")
    assert list(pairs) == [2]
    pairs.clear()
    assert pairs.length == 0 and (pairs.is_read_only, pairs.is_fixed_size) == (False, False)


def test_the_module_names_what_it_found() -> None:
    assert zelmor.imaging.PixelDataFormat.cmyk == zelmor.imaging.PixelDataFormat.get_cmyk(8)
    assert list(zelmor.imaging.PixelDataFormat.get_rgb(5, 6, 5).channel_bits) == [5, 6, 5]
    assert str(zelmor.imaging.PixelDataFormat.rgb_16_bpp_555) == "Rgb16Bpp555"


def test_the_cache_goes_back_to_its_defaults() -> None:
    cache = zelmor.imaging.Cache
    cache.set_cache_folder("/somewhere")
    cache.set_max_disk_space_for_cache(5)
    cache.set_defaults()
    assert (cache.cache_folder, cache.max_disk_space_for_cache, cache.exact_reallocate_only) == (None, 0, False)
    assert (cache.allocated_disk_bytes_count, cache.allocated_memory_bytes_count) == (0, 0)

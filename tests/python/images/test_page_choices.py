"""Which pages options choose: every way to make them, as the catalogue lists them, and ranges of numbers."""

from __future__ import annotations

from typing import Any

import pytest
from zelmor.imaging import IntRange, Rectangle
from zelmor.imaging.imageoptions import DjvuMultiPageOptions, MultiPageMode, MultiPageOptions

from support.collections import MODEL
from support.image_oracles import managed_error

AREA = Rectangle(3, 4, 50, 60)
#: A value for each parameter; the mode and what is chosen by it.
PARAMETERS: dict[str, tuple[Any, MultiPageMode, str, list[Any]]] = {
    "pages": ([4, 0, 4], MultiPageMode.PAGES, "pages", [4, 0, 4]),
    "page_titles": (["cover", "map"], MultiPageMode.TITLES, "page_titles", ["cover", "map"]),
    "ranges": ([IntRange(2, 2), IntRange(0, 1)], MultiPageMode.RANGE, "pages", [2, 3, 0]),
    "range": (IntRange(5, 3, -2), MultiPageMode.RANGE, "pages", [5, 3, 1]),
    "page": (7, MultiPageMode.PAGES, "pages", [7]),
}


def ways() -> list[Any]:
    """The type, the name of a static method or None, and the names of the parameters."""
    found = []
    for type_ in (MultiPageOptions, DjvuMultiPageOptions):
        entry = next(entry for entry in MODEL.types if entry.dotted.endswith(f".{type_.__name__}"))
        found += [(type_, None, [param.name for param in overload.params]) for overload in entry.constructors]
        found += [(type_, method.python, [param.name for param in overload.params]) for method in entry.methods
                  if method.python.startswith("create") for overload in method.overloads]
    return found


@pytest.mark.parametrize(("type_", "method", "params"), ways(), ids=lambda value: value.__name__ if isinstance(
    value, type) else "-".join(value) if isinstance(value, list) else str(value))
def test_a_choice_has_what_it_was_made_of(type_: Any, method: str | None, params: list[str]) -> None:
    values = {name: AREA if name == "export_area" else PARAMETERS[name][0] for name in params}
    options = (getattr(type_, method) if method else type_)(**values)
    assert type(options) is type_
    assert options.export_area == (AREA if "export_area" in params else Rectangle(0, 0, 0, 0))
    named = [name for name in params if name != "export_area"]
    if not named:
        assert options.mode == MultiPageMode.ALL_PAGES and not options.pages and not options.page_titles
        return
    _, mode, prop, expected = PARAMETERS[named[0]]
    assert options.mode == mode and list(getattr(options, prop)) == expected
    other = {"pages": "page_titles", "page_titles": "pages"}[prop]
    assert not getattr(options, other)
    if named[0] in ("range", "ranges", "page_titles"):
        with managed_error("ArgumentNullException", named[0]):
            (getattr(type_, method) if method else type_)(**{**values, named[0]: None})


def test_pages_are_chosen_by_ranges_later() -> None:
    options = MultiPageOptions()
    options.init_pages([IntRange(3, 2), IntRange(9, 1)])
    assert options.mode == MultiPageMode.RANGE and list(options.pages) == [3, 4, 9]
    with managed_error("ArgumentNullException", "ranges"):
        options.init_pages([IntRange(3, 2), None])
    assert list(options.pages) == [3, 4, 9]


@pytest.mark.parametrize(("start", "count", "delta", "expected"), [
    (5, 3, 1, [5, 6, 7]), (5, 3, -2, [5, 3, 1]), (5, 0, 1, []), (5, 1, 10**9, [5]), (5, 3, 0, [5, 5, 5]),
    (2**31 - 3, 3, 1, [2**31 - 3, 2**31 - 2, 2**31 - 1]), (-2**31 + 2, 3, -1, [-2**31 + 2, -2**31 + 1, -2**31])])
def test_ranges_are_steps(start: int, count: int, delta: int, expected: list[int]) -> None:
    range_ = IntRange(start, count, delta)
    assert list(range_.range) == list(IntRange.get_range(start, count, delta)) == expected
    if delta == 1:
        assert list(IntRange(start, count).range) == expected
    for index, number in enumerate(expected):
        assert list(range_.get_array_one_item_from_index(index)) == [number]
    for index in (-1, len(expected)):
        with managed_error("ArgumentOutOfRangeException", f"The value {index} is not the index of one of the range's "
                                                          f"{len(expected)} numbers.", "'index'"):
            range_.get_array_one_item_from_index(index)


def test_ranges_that_are_none() -> None:
    for make in (lambda *values: IntRange(*values), lambda *values: IntRange.get_range(*values)):
        with managed_error("ArgumentOutOfRangeException", "The value -1 is negative.", "'count'"):
            make(0, -1, 1)
        for start, count, delta in ((2**31 - 3, 4, 1), (-2**31 + 2, 4, -1), (0, 3, 2**30), (0, 2**31 - 1, 2**31 - 1)):
            with managed_error("OverflowException", "The last number of the range is outside 32 bits."):
                make(start, count, delta)
        with managed_error("ArgumentOutOfRangeException", "The value 10000001 is too large.", "'count'"):
            make(0, 10_000_001, 1)
    assert list(IntRange([9, 1]).range) == [9, 1]
    with managed_error("ArgumentNullException", "range"):
        IntRange(None)

"""A typed collection cast to an untyped kind: its elements keep their values, in both directions."""

from __future__ import annotations

from typing import Any

import pytest
from support.collections import GENERIC, INTEROP, MODEL, NAMES, ROWS, cast, make_typed, same, values_of

import zelmor.imaging
from zelmor import pydrawing
from zelmor.imaging.extensions import ColorExtensions, PointExtensions

#: The untyped kinds that a typed collection can be cast to.
UNTYPED = {"array": ("_ArrayWrapper", "_IListWrapper", "_IColWrapper", "_IterableWrapper"),
           "list": ("_IListWrapper", "_IColWrapper", "_IterableWrapper"),
           "ilist": ("_IListWrapper", "_IColWrapper", "_IterableWrapper")}
EVERY = [(row.identifier, kind, name) for row in MODEL.collections for kind, names in UNTYPED.items()
         if kind in row.kinds for name in names]
#: The values of the drawing module, which have no managed representation outside of its own types.
RECORDS = {pydrawing.PointF: zelmor.imaging.PointF, pydrawing.Color: zelmor.imaging.Color}


def shown(value: Any) -> Any:
    """The value of an element in an untyped collection."""
    if type(value) is pydrawing.PointF:
        return zelmor.imaging.PointF(value.x, value.y)
    if type(value) is pydrawing.Color:
        return next((color for color in (zelmor.imaging.Color.red,) if value == pydrawing.Color.red),
                    zelmor.imaging.Color.from_argb(value.a, value.r, value.g, value.b))
    if isinstance(value, int) and type(value) not in (int, bool):
        return int(value)  # an enumeration member becomes a number
    return value


def listed(collection: Any) -> list[Any]:
    """All elements, by iteration."""
    return list(iter(collection))


@pytest.mark.parametrize(("identifier", "kind", "name"), EVERY)
def test_every_element_is_readable(identifier: str, kind: str, name: str) -> None:
    typed = make_typed(identifier, kind, values_of(ROWS[identifier]))
    before = listed(typed)
    untyped = cast(getattr(INTEROP, name), typed)
    found = listed(untyped)
    assert len(found) == len(before)
    for one, other in zip(found, before):
        expected = shown(other)
        if ROWS[identifier].element.name.startswith("array of ") and other is not None:
            assert type(one) is INTEROP._ArrayWrapper and listed(one) == listed(cast(INTEROP._ArrayWrapper, other))
        elif ROWS[identifier].element.name == "float":
            assert one == other
        else:
            assert one == expected, (one, expected)
    if hasattr(type(untyped), "__getitem__"):
        assert [untyped[i] for i in range(len(untyped))] == found
        assert untyped[:] == found
    if hasattr(type(untyped), "__contains__"):
        assert all(value in untyped and untyped.count(value) >= 1 for value in found if value == value)
    assert listed(cast(getattr(GENERIC, NAMES[kind] + identifier), untyped)) == before


@pytest.mark.parametrize(("identifier", "kind"), sorted({entry[:2] for entry in EVERY}))
def test_what_was_read_can_be_written_back(identifier: str, kind: str) -> None:
    typed = make_typed(identifier, kind, values_of(ROWS[identifier]))
    untyped = cast(INTEROP._IListWrapper, typed)
    before = listed(typed)
    for i, value in enumerate(listed(untyped)):
        untyped[i] = value
    assert same(listed(typed), before) or listed(typed) == before
    untyped[0] = untyped[len(before) - 1]
    assert listed(typed) == [before[-1], *before[1:]]


@pytest.mark.parametrize("typed", [
    lambda: PointExtensions.to_gdi_points([zelmor.imaging.PointF(1, 2), zelmor.imaging.PointF(3, 4)]),
    lambda: ColorExtensions.to_gdi_colors([zelmor.imaging.Color.red, zelmor.imaging.Color.from_argb(1, 2, 3, 4)])])
def test_an_array_of_records_takes_none_but_such(typed: Any) -> None:
    array = typed()
    before = listed(array)
    untyped = cast(INTEROP._ArrayWrapper, array)
    for wrong, name in ((1, "System.Int32"), ("text", "System.String"), (None, "null"),
                        (zelmor.imaging.Size(1, 2), "Zelmor.Imaging.Size")):
        with pytest.raises(RuntimeError, match=rf"^Proxy error\(InvalidCastException\): Unable to cast object of type "
                                               rf"'{name}' to type 'System.Drawing.\w+'\.$"):
            untyped[0] = wrong
    assert listed(array) == before
    assert type(before[0]) in RECORDS and type(untyped[0]) is RECORDS[type(before[0])]
    assert untyped.index(untyped[1]) == 1 and 5 not in untyped

"""Marker attributes, by which wrappers and enumerations of the module are recognized."""

from __future__ import annotations

import enum
from typing import Any

import pytest

import zelmor.imaging as imaging
from zelmor.imaging._wrpgen import _interop
from zelmor.pydrawing import Pen as SiblingPen

from support.module_tree import API_WRAPPERS, CASTABLE_MARKER, ENUMS, HOST_MARKER, MODEL, MODULES, WRAPPERS, dotted

ADDITIONAL = "_additional_interfaces"
IMPLICIT = "_implicit_interfaces"


def wrapper(name: str) -> Any:
    """The wrapper with this simple name in the managed namespaces; the name has to be unique."""
    (found,) = [type_ for type_ in API_WRAPPERS if type_.__name__ == name]
    return found


class TestHostMarker:
    """The marker that makes a type a wrapper."""

    def test_is_none_on_a_class_and_ellipsis_on_a_struct(self) -> None:
        assert imaging.Image._zelmor_clr_host is None
        assert imaging.Size._zelmor_clr_host is ...

    def test_ellipsis_tells_the_structs(self) -> None:
        structs = {dotted(type_) for type_ in WRAPPERS if vars(type_)[HOST_MARKER] is ...}
        assert structs == {entry.dotted for entry in MODEL.types if entry.kind == "struct"}
        assert all(vars(type_)[HOST_MARKER] in (None, ...) for type_ in WRAPPERS)

    def test_stands_in_the_dictionary_of_every_wrapper_itself(self) -> None:
        unmarked = [
            dotted(value)
            for module in MODULES
            for value in vars(module).values()
            if isinstance(value, type)
            and hasattr(value, "get_type")
            and not issubclass(value, enum.Enum)
            and HOST_MARKER not in vars(value)
        ]
        assert unmarked == []

    def test_a_class_of_python_that_borrows_it_is_refused(self) -> None:
        class Forged:
            __slots__ = ()
            _zelmor_clr_host = None

        class ForgedStruct:
            _zelmor_clr_host = ...

        for forged in (Forged(), ForgedStruct()):
            with pytest.raises(TypeError, match="^can't build Size value from 'Forged"):
                imaging.Point.create_from_size(forged)
            with pytest.raises(TypeError, match="^can't build StreamContainer value from 'Forged"):
                imaging.SplitStreamContainer.create_from_stream_container(forged, False)
            assert imaging.Size(1, 2) != forged
            assert not imaging.Size._is_assignable(forged)

    def test_a_siblings_wrapper_is_recognized(self) -> None:
        assert SiblingPen._zelmor_clr_host is None
        assert SiblingPen not in WRAPPERS


class TestCastableMarker:
    """The marker of every type that can be cast."""

    def test_is_none_on_every_wrapper(self) -> None:
        assert [dotted(type_) for type_ in WRAPPERS if vars(type_).get(CASTABLE_MARKER, "absent") is not None] == []

    def test_is_ellipsis_on_every_enumeration(self) -> None:
        enums = [
            value
            for module in MODULES
            for value in vars(module).values()
            if isinstance(value, type) and issubclass(value, enum.Enum)
        ]
        assert sorted(map(dotted, enums)) == sorted(map(dotted, ENUMS))

    def test_an_enumeration_has_no_host_marker(self) -> None:
        assert [dotted(type_) for type_ in ENUMS if hasattr(type_, HOST_MARKER)] == []


class TestInterfaceSets:
    """The two sets of interfaces that a wrapper lists."""

    def test_both_are_there_or_neither(self) -> None:
        assert [dotted(type_) for type_ in WRAPPERS if (ADDITIONAL in vars(type_)) != (IMPLICIT in vars(type_))] == []

    def test_hold_the_same_wrappers_in_sets_of_their_own(self) -> None:
        listing = [type_ for type_ in WRAPPERS if ADDITIONAL in vars(type_)]
        assert listing
        for type_ in listing:
            additional, implicit = vars(type_)[ADDITIONAL], vars(type_)[IMPLICIT]
            assert type(additional) is set
            assert type(implicit) is set
            assert additional == implicit
            assert additional is not implicit
            assert 1 <= len(additional) <= 6
            assert all(HOST_MARKER in vars(interface) for interface in additional)

    @pytest.mark.parametrize(
        ("name", "interfaces"),
        [
            (
                "VectorMultipageImage",
                {"IObjectWithBounds", "IObjectWithSizeF", "IMultipageImage", "_IDisposableWrapper"},
            ),
            ("Image", {"IObjectWithBounds", "_IDisposableWrapper"}),
            ("ColorPalette", {"IColorPalette"}),
            ("NonGenericList", {"_IListWrapper", "_IColWrapper", "_IterableWrapper"}),
        ],
    )
    def test_list_what_the_managed_type_implements(self, name: str, interfaces: set[str]) -> None:
        assert {interface.__name__ for interface in vars(wrapper(name))[IMPLICIT]} == interfaces

    def test_an_interface_is_never_a_base_of_a_class(self) -> None:
        listed = {interface for type_ in WRAPPERS for interface in vars(type_).get(IMPLICIT, ())}
        assert [dotted(type_) for type_ in API_WRAPPERS if type_.__base__ in listed] == []

    def test_interop_wrappers_are_named_before_their_own_module_exists(self) -> None:
        assert _interop._IDisposableWrapper in vars(imaging.Image)[ADDITIONAL]


def test_external_ancestors_are_not_used_here() -> None:
    assert [dotted(type_) for type_ in WRAPPERS if "_external_ancestor" in vars(type_)] == []

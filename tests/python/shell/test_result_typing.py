"""The Python type of a managed result, which depends on its declared and its run-time type."""

from __future__ import annotations

import ctypes
import io
import itertools
import struct
import sys
from typing import Any

import pytest

import zelmor.imaging as imaging
from zelmor.imaging import ColorPalette, IColorPalette, Image, LoadOptions, Size, StreamContainer
from zelmor.imaging._wrpgen import _interop
from zelmor.imaging.imageoptions import BmpOptions

from support.control import Call, Control
from support.module_tree import API_WRAPPERS, MODEL, dotted

#: Run-time type ids that no managed type uses: the type of an id is cached for the whole process.
NEW_IDS = itertools.count(1 << 40)
UNREGISTERED = "System.Object"


def asked_for_names(calls: list[Call]) -> int:
    """The number of requests for the name of a run-time type."""
    return sum(call.method == "GetTypeName" for call in calls)


class Typed:
    """Results of one declared type, from scripted calls."""

    def __init__(self, control: Control) -> None:
        self._control = control
        self._options = BmpOptions()
        self._container: Any = StreamContainer.__new__(StreamContainer)  # empty: its results are scripted

    def palette(self, managed_type: str, type_id: int) -> Any:
        """An interface result that holds a new object of a managed type."""
        handle = self._control.new_object(managed_type)
        record = struct.pack("<Qq", handle, type_id)
        self._control.return_next("Zelmor.Imaging.ImageOptionsBase", "get_Palette", 0, 1, record)
        return self._options.palette

    def null_palette(self) -> Any:
        """An interface result that is null."""
        self._control.return_next("Zelmor.Imaging.ImageOptionsBase", "get_Palette", 0, 1, struct.pack("<Qq", 0, 5))
        return self._options.palette

    def stream(self, kind: int, value: int, type_id: int) -> Any:
        """A result of the abstract class of streams."""
        record = struct.pack("<ixxxxQq", kind, value, type_id)
        self._control.return_next("Zelmor.Imaging.StreamContainer", "get_Stream", 0, 1, record)
        return self._container.stream


@pytest.fixture
def typed(control: Control) -> Typed:
    return Typed(control)


class TestClassResults:
    """A result of class or struct type has its declared type."""

    def test_an_image_of_a_derived_type_stays_an_image(self, control: Control, picture: str) -> None:
        with control.journal() as calls:
            loaded = Image.load(picture)
        assert type(loaded) is Image
        assert asked_for_names(calls) == 0
        assert loaded.get_type() == imaging.fileformats.png.PngImage._type_of()

    def test_the_cast_shows_what_it_is(self, picture: str) -> None:
        loaded = Image.load(picture)
        casted = imaging.RasterCachedImage._cast_to(loaded).value
        assert type(casted) is imaging.RasterCachedImage
        assert casted == loaded
        assert casted is not loaded

    def test_it_is_accepted_where_its_run_time_type_is_declared(self, picture: str) -> None:
        loaded = Image.load(picture)
        passes = imaging.RasterImage._is_assignable(loaded), imaging.VectorImage._is_assignable(loaded)
        assert passes == (True, False)

    def test_each_crossing_makes_a_new_wrapper(self) -> None:
        rectangle = imaging.Rectangle(1, 2, 3, 4)
        assert type(rectangle.size) is Size
        assert rectangle.size is not rectangle.size
        assert rectangle.size == rectangle.size

    def test_null_is_none(self) -> None:
        assert BmpOptions().source is None


class TestInterfaceResults:
    """An interface result has the wrapper of its run-time type, if that type is marked with the interface."""

    def test_null_is_none_before_any_lookup(self, control: Control, typed: Typed) -> None:
        with control.journal() as calls:
            assert typed.null_palette() is None
        assert asked_for_names(calls) == 0

    def test_a_registered_type_that_lists_it(self, typed: Typed) -> None:
        assert type(typed.palette("Zelmor.Imaging.ColorPalette", next(NEW_IDS))) is ColorPalette

    def test_a_registered_type_that_does_not_list_it(self, typed: Typed) -> None:
        assert type(typed.palette("Zelmor.Imaging.LoadOptions", next(NEW_IDS))) is IColorPalette

    def test_an_unknown_type(self, typed: Typed) -> None:
        assert type(typed.palette(UNREGISTERED, next(NEW_IDS))) is IColorPalette

    @pytest.mark.parametrize("managed_type", ["Zelmor.Imaging.ColorPalette", UNREGISTERED])
    def test_a_type_is_asked_for_its_name_once(self, control: Control, typed: Typed, managed_type: str) -> None:
        type_id = next(NEW_IDS)
        with control.journal() as calls:
            first, second = typed.palette(managed_type, type_id), typed.palette(managed_type, type_id)
        assert type(first) is type(second)
        assert asked_for_names(calls) == 1

    def test_a_failure_to_tell_the_name_propagates_and_is_not_remembered(self, control: Control, typed: Typed) -> None:
        type_id = next(NEW_IDS)
        control.raise_next("Zelmor.WrpGen.Interop.ExchangeHost", "GetTypeName", "NoName", "none at all")
        with pytest.raises(RuntimeError, match=r"^Proxy error\(NoName\): none at all$"):
            typed.palette("Zelmor.Imaging.ColorPalette", type_id)
        assert type(typed.palette("Zelmor.Imaging.ColorPalette", type_id)) is ColorPalette


class TestStreamResults:
    """A stream result has the Python type of its run-time type."""

    def test_null_is_none_before_any_lookup(self, control: Control, typed: Typed) -> None:
        with control.journal() as calls:
            assert [typed.stream(kind, 0, next(NEW_IDS)) for kind in (0, 1, 2)] == [None] * 3
        assert asked_for_names(calls) == 0

    def test_a_python_object_that_the_managed_side_held(self, control: Control, typed: Typed) -> None:
        held = io.BytesIO(b"0123456789")
        references = sys.getrefcount(held)
        with control.journal() as calls:
            result = typed.stream(2, id(held), next(NEW_IDS))
        assert result is held
        assert sys.getrefcount(held) == references + 1
        assert asked_for_names(calls) == 0

    def test_a_registered_type_wins_whatever_it_is(self, control: Control, typed: Typed) -> None:
        result = typed.stream(0, control.new_object("Zelmor.Imaging.LoadOptions"), next(NEW_IDS))
        assert type(result) is LoadOptions

    def test_an_unknown_type_is_a_stream_wrapper(self, control: Control, typed: Typed) -> None:
        result = typed.stream(0, control.new_object(UNREGISTERED), next(NEW_IDS))
        assert type(result) is _interop._StreamWrapper

    def test_a_file_that_went_in_comes_back_itself(self) -> None:
        file = io.BytesIO(b"0123456789")
        assert StreamContainer(file).stream is file


class TestWritersOfTheManagedSide:
    """The two callbacks that create a wrapper for an object without a useful declared type."""

    def test_a_registered_type(self, control: Control) -> None:
        write = control.callback("write", "tpo")
        wrapper = write(control.new_object("Zelmor.Imaging.LoadOptions"), next(NEW_IDS))
        assert type(wrapper) is LoadOptions

    def test_an_unknown_type(self, control: Control) -> None:
        write = control.callback("write", "tpo")
        with pytest.raises(TypeError, match="^unknown wrapper type$"):
            write(control.new_object(UNREGISTERED), next(NEW_IDS))

    def test_a_type_that_was_mapped_to_the_declared_type_before(self, control: Control, typed: Typed) -> None:
        type_id = next(NEW_IDS)
        assert type(typed.palette(UNREGISTERED, type_id)) is IColorPalette
        with pytest.raises(TypeError, match="^unknown wrapper type$"):
            control.callback("write", "tpo")(control.new_object(UNREGISTERED), type_id)

    def test_a_hit_is_remembered_and_a_miss_is_not(self, control: Control) -> None:
        write = control.callback("write", "tpo")
        known, unknown = next(NEW_IDS), next(NEW_IDS)
        with control.journal() as calls:
            for _ in range(2):
                write(control.new_object("Zelmor.Imaging.LoadOptions"), known)
        assert asked_for_names(calls) == 1
        with control.journal() as calls:
            for _ in range(2):
                with pytest.raises(TypeError):
                    write(control.new_object(UNREGISTERED), unknown)
        assert asked_for_names(calls) == 2

    def test_the_form_that_tries(self, control: Control) -> None:
        try_write = control.callback("tpo_api", "try_write_tpo")
        out = ctypes.c_void_p()
        assert try_write(control.new_object("Zelmor.Imaging.LoadOptions"), next(NEW_IDS), ctypes.byref(out)) == 1
        wrapper = ctypes.cast(out, ctypes.py_object).value
        assert type(wrapper) is LoadOptions
        ctypes.pythonapi.Py_DecRef(ctypes.py_object(wrapper))  # the reference that the callback returned

    def test_the_form_that_tries_gives_the_handle_of_an_unknown_type_back(self, control: Control) -> None:
        try_write = control.callback("tpo_api", "try_write_tpo")
        out = ctypes.c_void_p()
        assert try_write(control.new_object(UNREGISTERED), next(NEW_IDS), ctypes.byref(out)) == 0
        assert out.value is None


class TestRegisteredNames:
    """The Python types that a run-time type can be mapped to."""

    def test_are_those_of_the_catalogue(self) -> None:
        assert set(map(dotted, API_WRAPPERS)) == {entry.dotted for entry in MODEL.types if not entry.is_enum}

    def test_have_names_of_their_own(self) -> None:
        assert len(set(map(dotted, API_WRAPPERS))) == len(API_WRAPPERS)

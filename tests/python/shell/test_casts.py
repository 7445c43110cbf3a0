"""The cast family of wrapper types."""

from __future__ import annotations

import ctypes
import io

import pytest
import zelmor.imaging
import zelmor.pyreflection
from support.control import Control
from zelmor.imaging import (
    ColorPaletteHelper, IColorPalette, Image, LoadOptions, Point, RasterCachedImage, RasterImage, Size, SizeF,
    StreamContainer,
)
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.imageoptions import BmpOptions, PngOptions


@pytest.fixture
def image(picture: str):
    with Image.load(picture) as loaded:
        yield loaded


def test_a_loaded_image_casts_to_its_run_time_type(image: Image) -> None:
    result = RasterCachedImage._cast_to(image)
    assert bool(result) and result.status == 1
    assert type(result.value) is RasterCachedImage
    assert result.value == image and result.value is not image


def test_a_cast_that_the_managed_side_refuses_has_no_value() -> None:
    result = PngOptions._cast_to(BmpOptions())
    assert not result and (result.status, result.value) == (0, None)


def test_a_cast_of_something_that_is_no_wrapper_just_fails() -> None:
    for cast in (PngOptions._cast_to, PngOptions._cast_as, Size._cast_to, Size._cast_as, IColorPalette._cast_to,
                 IColorPalette._cast_as):
        result = cast(5)
        assert (result.status, result.value) == (0, None)


def test_cast_as_answers_no_value_where_cast_to_does() -> None:
    assert PngOptions._cast_as(BmpOptions()).status == 0
    assert type(PngOptions._cast_as(PngOptions()).value) is PngOptions


def test_none_reaches_the_managed_side_through_cast_to_alone() -> None:
    assert Size._cast_as(None).status == 0
    assert PngOptions._cast_as(None).status == 0
    assert PngOptions._cast_to(None).value is None


def test_none_is_assignable_to_nothing() -> None:
    assert PngOptions._is_assignable(None) is False
    assert Size._is_assignable(None) is False


def test_assignability_follows_the_managed_types(image: Image) -> None:
    assert RasterImage._is_assignable(image) is True
    assert PngOptions._is_assignable(BmpOptions()) is False
    assert Size._is_assignable(Size(1, 2)) is True
    assert Size._is_assignable(Point(1, 2)) is False
    assert Image._is_assignable(5) is False


def test_a_static_class_answers_without_the_managed_side() -> None:
    assert ColorPaletteHelper._is_assignable(Size()) is False
    assert ColorPaletteHelper._cast_to(Size()).status == 0
    assert ColorPaletteHelper._cast_as(Size()).status == 0
    with pytest.raises(TypeError) as refused:
        ColorPaletteHelper._reinterpret_obj(5)
    assert str(refused.value) == "cannot convert from  'int' to 'zelmor.imaging.ColorPaletteHelper'"


def test_an_interface_refuses_reinterpretation() -> None:
    with pytest.raises(TypeError) as refused:
        IColorPalette._reinterpret_obj(Size())
    assert str(refused.value) == "cannot convert from  'zelmor.imaging.Size' to 'zelmor.imaging.IColorPalette'"


def test_type_of_works_for_every_kind_of_type() -> None:
    for kind in (Image, Size, IColorPalette, ColorPaletteHelper):
        found = kind._type_of()
        assert isinstance(found, zelmor.pyreflection.Type)
        assert str(found) == f"Zelmor.Imaging.{kind.__name__}"


def test_get_type_returns_the_run_time_type(image: Image) -> None:
    assert image.get_type() == PngImage._type_of()
    assert image.get_type() != RasterCachedImage._type_of()
    assert Size(1, 2).get_type() == Size._type_of()


def test_most_types_convert_themselves_to_nothing() -> None:
    for value in (PngOptions(), LoadOptions()):
        assert value._cast_from(object()).status == 0


def test_a_size_converts_itself_by_the_managed_operators() -> None:
    result = Size(3, 4)._cast_from(Point._type_of())
    assert result.status == 1
    assert isinstance(result.value, zelmor.pyreflection.Object)
    assert Point._reinterpret_obj(result.value) == Point(3, 4)
    assert SizeF._reinterpret_obj(Size(3, 4)._cast_from(SizeF._type_of()).value) == SizeF(3.0, 4.0)


def test_a_conversion_needs_a_type() -> None:
    for value in (Size(), Point(), SizeF(), StreamContainer.__new__(StreamContainer)):
        with pytest.raises(TypeError) as refused:
            value._cast_from(5)
        assert str(refused.value) == "_cast_from() expects a .Net Type argument, got a int object"


def test_reinterpretation_needs_an_object() -> None:
    with pytest.raises(TypeError) as refused:
        Size._reinterpret_obj(5)
    assert str(refused.value) == "_reinterpret_obj() expects a .Net Object argument, got a int object"


def test_each_cast_makes_a_wrapper_with_a_handle_of_its_own(image: Image) -> None:
    first = RasterImage._cast_to(image).value
    second = RasterImage._cast_to(image).value
    assert first is not second and first == second
    del first
    assert second.width == image.width


def test_a_cast_that_fails_says_so_at_once(control: Control) -> None:
    container = StreamContainer(io.BytesIO(b"abc"))
    stream = zelmor.imaging._wrpgen._interop._StreamWrapper._type_of()
    assert container._cast_from(stream).status == 1
    with container:
        pass
    with control.journal() as calls:
        with pytest.raises(RuntimeError, match=r"^Proxy error\(ObjectDisposedException\): "):
            container._cast_from(stream)
    assert [(call.method, ctypes.c_int(call.result).value) for call in calls if "Cast" in call.method] == [
        ("btp_CastFrom", -1)]

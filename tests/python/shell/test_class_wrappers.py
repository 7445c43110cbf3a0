"""Wrapper types in use: static and instance members, arguments of class and struct types, guards."""

from __future__ import annotations

import pytest
import zelmor.imaging
from zelmor.imaging import (
    Cache, Color, ColorPaletteHelper, Image, ImageResizeSettings, LoadOptions, Point, RasterImage, ResizeType, Size,
    SizeF,
)
from zelmor.imaging.imageoptions import BmpOptions, PngOptions, TimeInterval


def test_a_static_method_works_on_the_class_without_an_instance(picture: str) -> None:
    assert Image.can_load(picture) is True
    assert Image.can_load(__file__) is False


def test_a_method_can_be_called_through_the_class() -> None:
    settings = ImageResizeSettings()
    descriptor = vars(ImageResizeSettings)["entries_count"]
    descriptor.__set__(settings, 7)
    assert descriptor.__get__(settings) == 7
    point = Point(1, 2)
    Point.offset(point, 10, 20)
    assert (point.x, point.y) == (11, 22)


def test_a_class_parameter_takes_none_and_passes_a_null_handle() -> None:
    with pytest.raises(RuntimeError) as refused:
        Image.load("no such file.png", None)
    assert "no such file.png" in str(refused.value)


def test_a_struct_parameter_refuses_none() -> None:
    with pytest.raises(TypeError) as refused:
        Size.truncate(None)
    assert str(refused.value) == "can't build SizeF value from 'NoneType'"


def test_an_unrelated_wrapper_is_refused_by_name() -> None:
    with pytest.raises(TypeError) as refused:
        Size.truncate(Size(1, 2))
    assert str(refused.value) == "can't build SizeF value from 'zelmor.imaging.Size'"
    with pytest.raises(TypeError) as refused:
        ColorPaletteHelper.get_uniform_color_palette(PngOptions())
    assert str(refused.value) == "can't build RasterImage value from 'zelmor.imaging.imageoptions.PngOptions'"


def test_a_wrapper_of_a_derived_class_is_accepted_without_a_question() -> None:
    options = BmpOptions(BmpOptions())
    assert type(options) is BmpOptions


def test_an_image_wrapper_that_holds_a_raster_image_passes_as_one(picture: str) -> None:
    with Image.load(picture) as image:
        assert type(image) is Image
        assert RasterImage._is_assignable(image) is True


def test_a_constructor_without_parameters_refuses_stray_arguments() -> None:
    with pytest.raises(TypeError):
        LoadOptions(1)
    with pytest.raises(TypeError):
        LoadOptions(stray=1)


def test_an_empty_constructor_overload_stands_for_itself() -> None:
    size = Size()
    assert (size.width, size.height) == (0, 0)


def test_each_overload_of_a_constructor_can_be_reached() -> None:
    assert Size(Point(3, 4)) == Size(3, 4)
    assert Size(width=3, height=4) == Size(3, 4)
    assert Size(point=Point(3, 4)) == Size(3, 4)


def test_a_read_only_property_refuses_assignment() -> None:
    with pytest.raises(AttributeError) as refused:
        Size().is_empty = True
    assert str(refused.value) == "attribute 'is_empty' of 'zelmor.imaging.Size' objects is not writable"


def test_a_setter_with_a_wrong_value_leaves_the_property_alone() -> None:
    size = Size(5, 6)
    with pytest.raises(TypeError) as refused:
        size.width = "7"
    assert str(refused.value) == "can't build 'Int32' from 'str'"
    assert size == Size(5, 6)


def test_a_deleted_property_raises_and_stays() -> None:
    size = Size(5, 6)
    with pytest.raises(AttributeError) as refused:
        del size.width
    assert str(refused.value) == "can't delete attribute 'width'"
    assert size.width == 5


def test_a_static_property_answers_on_the_class_and_on_an_instance() -> None:
    assert Size.empty == Size(0, 0)
    assert Size(1, 2).empty == Size(0, 0)


def test_a_writable_static_property_has_a_method_to_write_it() -> None:
    before = Cache.max_memory_for_cache
    try:
        assert Cache.set_max_memory_for_cache(before + 1) is None
        assert Cache.max_memory_for_cache == before + 1
    finally:
        Cache.set_max_memory_for_cache(before)


def test_the_writer_of_a_static_property_takes_one_positional_argument() -> None:
    with pytest.raises(TypeError, match=r"takes exactly one argument \(0 given\)"):
        Cache.set_max_memory_for_cache()
    with pytest.raises(TypeError, match="takes no keyword arguments"):
        Cache.set_max_memory_for_cache(value=1)
    with pytest.raises(TypeError) as refused:
        Cache.set_max_memory_for_cache("1")
    assert str(refused.value) == "can't build 'Int32' from 'str'"


def test_a_property_whose_name_is_a_keyword_of_the_language_reads_by_its_longer_name() -> None:
    interval = TimeInterval(5, 9)
    assert (interval.from_address, interval.to) == (5, 9)
    assert TimeInterval(from_address=1, to=2).from_address == 1


def test_by_reference_parameters_come_back_in_their_lists() -> None:
    packed = Point(7, -3).to_long()
    x: list[int] = []
    y = [99, "kept"]
    Point.from_long(packed, x, y)
    assert (x, y) == ([7], [-3, "kept"])


def test_a_by_reference_parameter_that_is_no_list_is_refused() -> None:
    with pytest.raises(TypeError) as refused:
        Point.from_long(0, (), [])
    assert str(refused.value) == "argument should be empty list or list contains default value, not 'tuple'"


def test_an_instance_method_without_parameters_refuses_arguments() -> None:
    with pytest.raises(TypeError, match=r"takes no arguments \(1 given\)"):
        SizeF(1.0, 2.0).to_size(1)


def test_enumeration_parameters_are_strict() -> None:
    settings = ImageResizeSettings()
    with pytest.raises(TypeError) as refused:
        settings.mode = 1
    assert str(refused.value) == "can't build ResizeType value from 'int'"
    settings.mode = ResizeType.LEFT_TOP_TO_LEFT_TOP
    assert settings.mode is ResizeType.LEFT_TOP_TO_LEFT_TOP


def test_color_from_argb_picks_the_overload_by_count_and_types() -> None:
    assert Color.from_argb(255, 0, 0) == Color.from_argb(255, 255, 0, 0)
    assert Color.from_argb(128, Color.red).a == 128
    assert Color.from_argb(-1) == Color.from_argb(255, 255, 255, 255)


def test_version_and_threshold_are_published() -> None:
    assert str(zelmor.imaging.VERSION) == "23.6.0.0"
    assert type(zelmor.imaging.VERSION) is zelmor.imaging._ModuleVersionType


@pytest.mark.parametrize(("kind", "names"), [
    (Cache, ["set_exact_reallocate_only", "set_cache_folder", "set_max_memory_for_cache",
             "set_max_disk_space_for_cache", "set_cache_type"]),
    (zelmor.imaging.FontSettings, ["set_get_system_alternative_font", "set_default_font_name"]),
])
def test_the_writers_of_static_properties_stand_in_their_order_behind_the_methods(
    kind: type[object], names: list[str]
) -> None:
    members = list(vars(kind))
    behind = members.index("get_type") + 1
    assert members[behind:behind + len(names)] == names

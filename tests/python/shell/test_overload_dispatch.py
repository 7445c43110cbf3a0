"""Overload dispatch: the order of attempts, the list of reasons, and the effects of a failed attempt."""

from __future__ import annotations

import sys

import pytest
from zelmor.imaging import Color, Image, Point, RasterImage, ResizeType, Size


@pytest.fixture
def image(picture: str):
    with Image.load(picture) as loaded:
        yield loaded


def reasons(call, *args: object, **kwargs: object) -> list[str]:
    with pytest.raises(TypeError) as failed:
        call(*args, **kwargs)
    assert len(failed.value.args) == 1
    value = failed.value.args[0]
    assert isinstance(value, list)
    assert failed.value.__cause__ is None and failed.value.__context__ is None
    return value


def test_the_first_overload_that_parses_is_called(image: Image) -> None:
    image.resize(3, 2)
    assert image.size == Size(3, 2)


def test_a_third_argument_of_the_wrong_kind_fails_all_three(image: Image) -> None:
    before = image.size
    assert reasons(image.resize, 1, 2, 3) == [
        "function takes at most 2 arguments (3 given)",
        "can't build ResizeType value from 'int'",
        "can't build ImageResizeSettings value from 'int'",
    ]
    assert image.size == before


def test_each_overload_has_its_string_in_trial_order(image: Image) -> None:
    assert reasons(image.resize_width_proportionally, "x") == ["can't build 'Int32' from 'str'"] * 3
    assert reasons(image.resize_width_proportionally, 1, "x") == [
        "function takes at most 1 argument (2 given)",
        "can't build ResizeType value from 'str'",
        "can't build ImageResizeSettings value from 'str'",
    ]
    assert reasons(image.resize_width_proportionally, resize_type=ResizeType.NONE) == [
        "function missing required argument 'new_width' (pos 1)"] * 3


def test_keywords_reach_an_overload_that_an_earlier_one_shadows(image: Image) -> None:
    image.resize(new_width=3, new_height=2, resize_type=ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    assert image.size == Size(3, 2)


def test_none_selects_the_first_overload_with_a_class_in_that_place(image: Image) -> None:
    """None is refused for the enumeration and accepted for the settings, where the managed side then refuses it."""
    with pytest.raises(RuntimeError):
        image.resize(1, 2, None)


def test_save_without_arguments_takes_the_empty_overload(image: Image) -> None:
    messages = reasons(image.save, stray=1)
    assert messages[1] == "function missing required argument 'file_path' (pos 1)"


def test_a_managed_exception_ends_the_search(image: Image) -> None:
    with pytest.raises(RuntimeError) as failed:
        image.resize(0, 5, ResizeType.LANCZOS_RESAMPLE)
    assert str(failed.value).startswith("Proxy error(")
    assert failed.value.__cause__ is None and failed.value.__context__ is None


def test_an_overflow_becomes_one_string_of_the_list() -> None:
    messages = reasons(Color.from_argb, 1 << 64)
    assert messages[0] == "Python int too large to convert to C long"
    assert len(messages) == 4


def test_constructors_dispatch_alike() -> None:
    assert reasons(Size, 1) == [
        "can't build Point value from 'int'",
        "function missing required argument 'height' (pos 2)",
        "function takes at most 0 arguments (1 given)",
    ]
    assert reasons(Size, "x", 1)[1] == "can't build 'Int32' from 'str'"


def test_a_bool_is_no_integer() -> None:
    assert reasons(Size, True, 1)[1] == "can't build 'Int32' from 'bool'"


def test_the_exception_prints_as_a_list() -> None:
    with pytest.raises(TypeError) as failed:
        Size(1)
    assert str(failed.value) == str(failed.value.args[0])
    assert str(failed.value).startswith('["can\'t build Point value')


def test_failed_attempts_leave_no_reference_behind() -> None:
    argument = object()
    before = sys.getrefcount(argument)
    for _ in range(50):
        with pytest.raises(TypeError):
            Size(argument)
        with pytest.raises(TypeError):
            Color.from_argb(argument, argument)
    assert sys.getrefcount(argument) == before


def test_a_failed_first_attempt_leaves_no_error_behind() -> None:
    assert Size(1, 2).width == 1
    assert Point(5).x == 5


def test_a_derived_group_carries_the_inherited_overloads(picture: str, tmp_path) -> None:
    with Image.load(picture) as image:
        raster = RasterImage._cast_to(image).value
        target = tmp_path / "out.png"
        raster.save(str(target), True)
        assert target.exists()


def test_a_static_group_works_by_class_and_by_instance(image: Image, picture: str) -> None:
    assert image.can_load(picture) is True
    assert Image.can_load(file_path=picture) is True

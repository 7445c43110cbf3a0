"""The strokes that are found without arguments, place by place, and layers at their limits."""

from __future__ import annotations

from collections.abc import Iterator, Sequence

import numpy as np
import pytest
from zelmor.imaging import Color, Rectangle
from zelmor.imaging.imageoptions import JpegOptions
from zelmor.imaging.masking import ImageMasking
from zelmor.imaging.masking.options import (
    AssumedObjectData, AutoMaskingGraphCutOptions, DetectedObjectType, ManualMaskingArgs, MaskingOptions,
    SegmentationMethod)
from zelmor.imaging.memorymanagement import Configuration

from support import masks as known
from support.arrays import Pixels
from support.image_oracles import managed_error
from support.masks import argb, image

BELOW, ABOVE = (40, 90, 130), (220, 90, 130)
HUMAN, OTHER = DetectedObjectType.HUMAN, DetectedObjectType.OTHER
Area = tuple[int, int, int, int]
Places = list[tuple[int, int]]


def flat(width: int, height: int, *areas: tuple[Area, tuple[int, int, int]]) -> Pixels:
    """A picture of plain colors: rectangles over the background."""
    pixels = np.full((height, width, 3), BELOW, np.uint8)
    for (x, y, wide, high), color in areas:
        pixels[y:y + high, x:x + wide] = color
    return pixels


def strokes(pixels: Pixels, assumed: Sequence[tuple[DetectedObjectType, Area]] = ()) -> tuple[
        Places, Places, list[Rectangle]]:
    """The foreground, the background and the rectangles that a separation finds."""
    options = AutoMaskingGraphCutOptions()
    options.calculate_default_strokes = True
    if assumed:
        options.assumed_objects = [AssumedObjectData(kind, Rectangle(*area)) for kind, area in assumed]
    ImageMasking(image(pixels)).decompose(options)
    return ([(point.x, point.y) for point in options.default_foreground_strokes],
            [(point.x, point.y) for point in options.default_background_strokes],
            list(options.default_objects_rectangles))


def places(area: Area) -> Places:
    x, y, width, height = area
    return [(x + i % width, y + i // width) for i in range(width * height)]


def edge(width: int, height: int) -> Places:
    """The edge of a picture, clockwise."""
    return ([(x, 0) for x in range(width - 1)] + [(width - 1, y) for y in range(height - 1)]
            + [(x, height - 1) for x in range(width - 1, 0, -1)] + [(0, y) for y in range(height - 1, 0, -1)])


def few(found: Places) -> Places:
    """Every n-th place, where n is the least that leaves no more than 256."""
    return found[::next(n for n in range(1, len(found) + 1) if len(found[::n]) <= 256)]


# ---- Where strokes are

@pytest.mark.parametrize(("width", "height", "margin"), [
    (9, 3, 1), (3, 8, 1), (50, 39, 1), (40, 45, 2), (70, 59, 2), (70, 60, 3), (71, 60, 3), (81, 100, 4)])
def test_without_objects_all_but_a_margin_is_looked_at(width: int, height: int, margin: int) -> None:
    """A twentieth of the shorter side, and one pixel at least; 256 places of the edge are all used, 258 every other."""
    bounds = (margin, margin, width - 2 * margin, height - 2 * margin)
    foreground, background, rectangles = strokes(flat(width, height, (bounds, ABOVE)))
    assert rectangles == [Rectangle(*bounds)]
    assert background == few(edge(width, height))
    assert len(background) == {(70, 60): 256, (71, 60): 129}.get((width, height), len(background))
    aside, above = bounds[2] // 8, bounds[3] // 8
    assert foreground == few(places((margin + aside, margin + above, bounds[2] - 2 * aside, bounds[3] - 2 * above)))


@pytest.mark.parametrize(("kind", "core"), [(OTHER, (11, 7, 38, 26)), (HUMAN, (17, 7, 26, 26))])
def test_the_core_of_an_object(kind: DetectedObjectType, core: Area) -> None:
    """An eighth less at each side; of people, a quarter at the left and at the right."""
    bounds = (5, 3, 50, 34)
    foreground, background, rectangles = strokes(flat(64, 44, (bounds, ABOVE)), [(kind, bounds)])
    assert rectangles == [Rectangle(*bounds)]
    assert foreground == few(places(core)) and background == few(edge(64, 44))


@pytest.mark.parametrize("area", [(5, 10, 6, 13), (49, 9, 6, 20), (12, 3, 30, 4), (20, 33, 9, 4)])
def test_what_is_beside_the_core_is_used_where_nothing_is_in_it(area: Area) -> None:
    foreground, _, _ = strokes(flat(64, 44, (area, ABOVE)), [(OTHER, (5, 3, 50, 34))])
    assert foreground == few(places(area))


def test_strokes_of_several_objects_follow_each_other() -> None:
    """Each with as many places as a stroke has. The edge inside of one is none of the background."""
    first, second = (30, 0, 16, 20), (2, 24, 40, 32)
    foreground, background, rectangles = strokes(
        flat(50, 60, (first, ABOVE), (second, ABOVE)), [(OTHER, first), (HUMAN, second)])
    assert rectangles == [Rectangle(*first), Rectangle(*second)]
    assert foreground == few(places((32, 2, 12, 16))) + few(places((12, 28, 20, 24)))
    assert background == [(x, y) for x, y in edge(50, 60) if y > 0 or not 30 <= x < 46]


@pytest.mark.parametrize(("between", "counts"), [(20, (12, 9)), (60, (12, 9)), (75, (12, 9)), (120, (12, 9)),
                                                 (80, (3, 20)), (80, (20, 3)), (95, (20, 3)), (95, (3, 20))])
def test_what_stands_out_is_above_the_level_that_divides_best(between: int, counts: tuple[int, int]) -> None:
    """Otsu's method over three groups: the background, a shade between, and the object."""
    shade, thing = (20, 12, counts[0], 8), (20, 22, counts[1], 8)
    bounds = (12, 8, 40, 28)
    numbers = {0: 40 * 28 - 8 * sum(counts), between: 8 * counts[0], 180: 8 * counts[1]}

    def divided(level: int) -> float:
        groups = [[(value, count) for value, count in numbers.items() if (value > level) == above]
                  for above in (False, True)]
        (low, mean_low), (high, mean_high) = (
            (size := sum(count for _, count in group), sum(value * count for value, count in group) / size)
            for group in groups)
        return low * high * (mean_high - mean_low) ** 2

    both = divided(0) > divided(between)
    red, green, blue = BELOW
    foreground, _, _ = strokes(
        flat(64, 44, (shade, (red + between, green, blue)), (thing, ABOVE)), [(OTHER, bounds)])
    assert foreground == few((places(shade) if both else []) + places(thing))


def test_each_color_of_the_edge_is_background() -> None:
    """Up to four: what has one of them does not stand out inside either."""
    pixels = flat(48, 40)
    for x, color in enumerate([(40, 90, 130), (40, 240, 130), (250, 90, 20), (5, 5, 5)]):
        pixels[:, 12 * x:12 * x + 12] = color
    pixels[14:22, 21:29] = (200, 230, 250)
    foreground, background, _ = strokes(pixels, [(OTHER, (4, 4, 40, 32))])
    assert foreground == places((21, 14, 8, 8)) and background == edge(48, 40)


# ---- Layers

def by_hand(area: Area) -> MaskingOptions:
    options, arguments = MaskingOptions(), ManualMaskingArgs()
    arguments.mask = known.rectangles(area)
    options.method, options.args = SegmentationMethod.MANUAL, arguments
    return options


def test_a_color_behind_a_picture_without_alpha_is_opaque() -> None:
    options = by_hand((3, 60, 20, 9))
    options.export_options, options.background_replacement_color = JpegOptions(), Color.from_argb(128, 9, 50, 200)
    result = ImageMasking(image(flat(31, 131))).decompose(options)
    for layer in result.layers:
        shown = np.zeros((131, 31), bool)
        shown[60:69, 3:23] = True
        wanted = np.where((shown == (layer.object_number == 1))[..., None], (255, *BELOW), (255, 9, 50, 200))
        assert (argb(layer.get_image()) == wanted).all()


@pytest.fixture
def _hint() -> Iterator[None]:
    yield
    Configuration.set_buffer_size_hint(0)


def test_a_layer_may_take_all_that_the_limit_allows(_hint: None) -> None:
    """512 lines of 512 pixels of four bytes are a megabyte; one more line is too much."""
    found = []
    for height in (512, 513):
        options = by_hand((3, 5, 20, 9))
        options.masking_area = Rectangle(0, 0, 40, 30)
        found.append(ImageMasking(image(flat(512, height))).decompose(options).layers[1])
    Configuration.set_buffer_size_hint(1)
    shown = argb(found[0].get_mask())
    assert (shown[5:14, 3:23] == 255).all() and (shown[..., 1] == 255).sum() == 20 * 9
    with managed_error("OutOfMemoryException", "The pixels of a layer take 2 megabytes, and BufferSizeHint allows 1."):
        found[1].get_mask()

"""Regions of many rectangles in metafiles: frames of them, and clips that are made of several."""

from __future__ import annotations

import time

import numpy as np
import pytest

from support.drawn_metafiles import RED, drawn
from support.metafiles import BOUNDS, NULL_PEN, SIDE, Box, brush, emf, emf_record, region, select, words

AND, OR, XOR, DIFFERENCE, COPY = range(1, 6)


def grid(step: int, size: int, first: int = 0) -> list[Box]:
    """Squares on a grid over the whole picture."""
    places = range(first, SIDE - size + 1, step)
    return [(x, y, x + size, y + size) for y in places for x in places]


def covered(boxes: list[Box]) -> np.ndarray:
    """The pixels of the boxes."""
    inside = np.zeros((SIDE, SIDE), bool)
    for left, top, right, bottom in boxes:
        inside[top:bottom, left:right] = True
    return inside


def clip(mode: int, boxes: list[Box]) -> bytes:
    """The record that changes the clip by a region."""
    data = region(boxes)
    return emf_record(75, words(len(data), mode) + data)


def red_pixels(*records: bytes) -> np.ndarray:
    """Where a picture is red; it is white elsewhere."""
    pixels = np.asarray(drawn(emf(select(NULL_PEN), brush(1, RED), *records)))
    red = (pixels == [255, 0, 0]).all(axis=2)
    assert (red | (pixels == 255).all(axis=2)).all()
    return red


@pytest.mark.parametrize(("step", "size", "width", "height"), [
    (4, 3, 1, 1), (8, 7, 1, 1), (16, 12, 3, 2), (12, 10, 1, 2), (32, 24, 5, 9)])
def test_a_frame_is_what_no_move_to_the_sides_leaves_in_the_region(step: int, size: int, width: int,
                                                                   height: int) -> None:
    boxes = grid(step, size)
    whole = np.pad(covered(boxes), 16)
    inner = whole.copy()
    for move, axis in ((width, 1), (-width, 1), (height, 0), (-height, 0)):
        inner &= np.roll(whole, move, axis)
    data = region(boxes)
    frame = emf_record(72, BOUNDS + words(len(data), 1, width, height) + data)
    assert np.array_equal(red_pixels(frame), (whole & ~inner)[16:-16, 16:-16])


@pytest.mark.parametrize("mode", [AND, OR, XOR, DIFFERENCE, COPY])
@pytest.mark.parametrize("step", [4, 12])
def test_regions_of_many_rectangles_change_the_clip(mode: int, step: int) -> None:
    first, second = grid(step, 3), grid(step, 3, 2)
    left, right = covered(first), covered(second)
    expected = {AND: left & right, OR: left | right, XOR: left ^ right, DIFFERENCE: left & ~right, COPY: right}[mode]
    everything = emf_record(43, words(-10, -10, SIDE + 10, SIDE + 10))
    assert np.array_equal(red_pixels(clip(COPY, first), clip(mode, second), everything), expected)


def test_a_region_that_takes_too_long_is_refused() -> None:
    # The edges of 9,000 rectangles of other heights each stand side by side.
    boxes = [(number, number, 20_000 + number, 20_000 + number) for number in range(9_000)]
    data = region(boxes)
    frame = emf_record(72, BOUNDS + words(len(data), 1, 1, 1) + data)
    begun = time.monotonic()
    with pytest.raises(RuntimeError) as caught:
        red_pixels(frame)
    assert "the regions take too long to work out: the metafile has too many lines in them" in str(caught.value)
    assert time.monotonic() - begun < 60

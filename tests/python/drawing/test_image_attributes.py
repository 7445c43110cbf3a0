"""What each setting of ImageAttributes makes of single colors, beside NumPy: alone, for a kind of use, and cleared."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import (
    Color, ColorAdjustType, ColorChannelFlag, ColorMap, ColorMatrix, ColorMatrixFlag, Graphics, GraphicsUnit,
    ImageAttributes, Rectangle)
from zelmor.imaging.brushes import TextureBrush

from support.arrays import Pixels
from support.image_oracles import load, managed_error, pixels, write

#: Shades of gray, colors of which two parts are equal, and such around the limits that the tests set.
COLORS = np.array([[
    (0, 0, 0), (127, 127, 127), (128, 128, 128), (255, 255, 255), (90, 90, 10), (10, 90, 90), (90, 10, 90),
    (91, 90, 90), (90, 91, 90), (90, 90, 91), (40, 80, 120), (39, 80, 120), (40, 79, 120), (40, 80, 119),
    (50, 90, 130), (51, 90, 130), (50, 91, 130), (50, 90, 131), (200, 3, 77), (2, 201, 54)]], np.uint8)
GRAYS = (COLORS[..., 0] == COLORS[..., 1]) & (COLORS[..., 1] == COLORS[..., 2])


def drawn(tmp_path: Path, attributes: ImageAttributes, colors: Pixels = COLORS, brush: bool = False) -> Pixels:
    """The colors as they are drawn on a clear sheet, by an image or a brush, as RGBA."""
    image = load(write(tmp_path / "colors.png", colors))
    sheet = load(write(tmp_path / "sheet.png", np.zeros((1, colors.shape[1], 4), np.uint8)))
    area = Rectangle(0, 0, colors.shape[1], 1)
    if brush:
        Graphics(sheet).fill_rectangle(TextureBrush(image, area, attributes), area)
    else:
        Graphics(sheet).draw_image(image, area, GraphicsUnit.PIXEL, attributes)
    return pixels(sheet, tmp_path, "RGBA").astype(int)


def matrix_of(values: Any) -> ColorMatrix:
    matrix = ColorMatrix()
    for row in range(5):
        for column in range(5):
            setattr(matrix, f"matrix{row}{column}", float(values[row][column]))
    return matrix


#: Each of its numbers counts: it mixes all parts, moves them, and goes beyond both ends.
MIXED = np.array([[0.5, 0.25, 0, 0, 0], [0.125, 0.75, 1.5, 0, 0], [-0.5, 0, 0.5, 0, 0], [0, 0, 0, 1, 0],
                  [0.1, -0.05, 0.2, 0, 1]])
HALF = np.diag([0.5, 0.5, 0.5, 1, 1])


def mapped(values: Any, colors: Pixels = COLORS) -> Pixels:
    rows = np.concatenate([colors / 255.0, np.ones((*colors.shape[:2], 5 - colors.shape[2]))], -1)
    return np.rint(np.clip(rows @ values, 0, 1) * 255)[..., :3].astype(int)


def key_of() -> Pixels:
    return ((COLORS >= (40, 80, 120)) & (COLORS <= (50, 90, 130))).all(axis=-1)


def change(old: tuple[int, int, int], new: tuple[int, int, int]) -> ColorMap:
    found = ColorMap()
    found.old_color, found.new_color = Color.from_argb(*old), Color.from_argb(*new)
    return found


def remapped() -> Pixels:
    expected = COLORS.astype(int)
    expected[0, 4], expected[0, 0] = (1, 2, 3), (7, 8, 9)
    return expected


REMAP = [change((90, 90, 10), (1, 2, 3)), change((0, 0, 0), (7, 8, 9)), change((90, 90, 10), (4, 5, 6))]
Setting = tuple[Callable[..., None], Callable[..., None], Callable[[], Pixels]]

#: How it is set and cleared, for any use or one, and what becomes of the colors.
SETTINGS: dict[str, Setting] = {
    "matrix": (lambda a, *use: a.set_color_matrix(matrix_of(MIXED), *([ColorMatrixFlag.DEFAULT, *use] if use else [])),
               lambda a, *use: a.clear_color_matrix(*use), lambda: mapped(MIXED)),
    "matrices": (lambda a, *use: a.set_color_matrices(matrix_of(MIXED), matrix_of(HALF), *(
        [ColorMatrixFlag.ALT_GRAYS, *use] if use else [])), lambda a, *use: a.clear_color_matrix(*use),
        lambda: mapped(MIXED)),
    "threshold": (lambda a, *use: a.set_threshold(0.5, *use), lambda a, *use: a.clear_threshold(*use),
                  lambda: np.where(COLORS > 127, 255, 0)),
    "gamma": (lambda a, *use: a.set_gamma(2.2, *use), lambda a, *use: a.clear_gamma(*use),
              lambda: np.rint((COLORS / 255.0) ** 2.2 * 255).astype(int)),
    "table": (lambda a, *use: a.set_remap_table(REMAP, *use), lambda a, *use: a.clear_remap_table(*use), remapped),
}


@pytest.mark.parametrize("name", SETTINGS)
def test_a_setting_alone(name: str, tmp_path: Path) -> None:
    set_it, clear_it, expected = SETTINGS[name]
    attributes = ImageAttributes()
    set_it(attributes)
    for brush in (False, True):
        found = drawn(tmp_path, attributes, brush=brush)
        assert np.abs(found[..., :3] - expected()).max() <= 1 and (found[..., 3] == 255).all()
    attributes.set_no_op()
    assert np.array_equal(drawn(tmp_path, attributes)[..., :3], COLORS)
    attributes.clear_no_op()
    assert np.abs(drawn(tmp_path, attributes)[..., :3] - expected()).max() <= 1
    clear_it(attributes)
    assert np.array_equal(drawn(tmp_path, attributes)[..., :3], COLORS)


@pytest.mark.parametrize("name", SETTINGS)
@pytest.mark.parametrize("use", [ColorAdjustType.BITMAP, ColorAdjustType.BRUSH, ColorAdjustType.PEN])
def test_a_setting_for_one_use(name: str, use: ColorAdjustType, tmp_path: Path) -> None:
    set_it, clear_it, expected = SETTINGS[name]
    wanted = expected()
    if name == "matrices":
        wanted[GRAYS] = mapped(HALF)[GRAYS]
    attributes = ImageAttributes()
    set_it(attributes, use)
    for brush in (False, True):
        counts = use == (ColorAdjustType.BRUSH if brush else ColorAdjustType.BITMAP)
        found = drawn(tmp_path, attributes, brush=brush)[..., :3]
        assert np.abs(found - (wanted if counts else COLORS)).max() <= 1
    # What is set for the use stands before what is set for all of them, and so does that nothing changes.
    attributes.set_threshold(0.25)
    for brush in (False, True):
        if use == (ColorAdjustType.BRUSH if brush else ColorAdjustType.BITMAP):
            if name != "threshold":
                assert np.abs(drawn(tmp_path, attributes, brush=brush)[..., :3] - wanted).max() <= 1
            attributes.set_no_op(use)
            assert np.array_equal(drawn(tmp_path, attributes, brush=brush)[..., :3], COLORS)
            attributes.clear_no_op(use)
        else:
            assert np.array_equal(drawn(tmp_path, attributes, brush=brush)[..., :3], np.where(COLORS > 63, 255, 0))
    clear_it(attributes, use)
    assert np.array_equal(drawn(tmp_path, attributes)[..., :3], np.where(COLORS > 63, 255, 0))


def test_a_range_of_colors_is_clear(tmp_path: Path) -> None:
    """From the lower color to the higher one in each part, with both."""
    attributes = ImageAttributes()
    for use in ((), (ColorAdjustType.BITMAP,)):
        attributes.set_color_key(Color.from_argb(40, 80, 120), Color.from_argb(50, 90, 130), *use)
        found = drawn(tmp_path, attributes)
        assert np.array_equal(found[..., 3] == 0, key_of()) and key_of().sum() == 2
        assert np.array_equal(found[~key_of()][:, :3], COLORS[~key_of()])
        attributes.clear_color_key(*use)
        assert (drawn(tmp_path, attributes)[..., 3] == 255).all()


@pytest.mark.parametrize(("flag", "for_grays"), [
    (ColorMatrixFlag.DEFAULT, MIXED), (ColorMatrixFlag.SKIP_GRAYS, np.eye(5)), (ColorMatrixFlag.ALT_GRAYS, HALF)])
def test_the_matrix_of_grays(flag: ColorMatrixFlag, for_grays: Any, tmp_path: Path) -> None:
    """A gray is a color whose three parts are equal."""
    attributes = ImageAttributes()
    attributes.set_color_matrices(matrix_of(MIXED), matrix_of(HALF), flag)
    expected = np.where(GRAYS[..., None], mapped(for_grays), mapped(MIXED))
    assert np.abs(drawn(tmp_path, attributes)[..., :3] - expected).max() <= 1
    attributes.set_color_matrix(matrix_of(MIXED), flag)
    if flag == ColorMatrixFlag.ALT_GRAYS:  # of which there is none any more
        expected = np.where(GRAYS[..., None], COLORS, mapped(MIXED))
    assert np.abs(drawn(tmp_path, attributes)[..., :3] - expected).max() <= 1


def test_a_matrix_changes_the_alpha(tmp_path: Path) -> None:
    values = np.eye(5)
    values[3][3], values[0][3] = 0.5, 0.25
    attributes = ImageAttributes()
    attributes.set_color_matrix(matrix_of(values))
    colors = np.array([[(200, 40, 90, 255), (100, 40, 90, 255), (0, 40, 90, 128)]], np.uint8)
    found = drawn(tmp_path, attributes, colors)
    expected = np.rint(colors[..., 3] / 2 + colors[..., 0] / 4)
    assert np.abs(found[..., 3] - expected).max() <= 1


def test_what_comes_first(tmp_path: Path) -> None:
    """The table, the clear range, the matrix, the exponent, and the threshold at last."""
    attributes = ImageAttributes()
    attributes.set_remap_table([change((200, 3, 77), (45, 85, 125)), change((2, 201, 54), (128, 128, 250))])
    attributes.set_color_key(Color.from_argb(40, 80, 120), Color.from_argb(50, 90, 130))
    attributes.set_color_matrix(matrix_of(HALF))
    attributes.set_gamma(0.5)
    attributes.set_threshold(0.5)
    found = drawn(tmp_path, attributes)
    assert found[0, 18, 3] == 0  # became a color of the range
    assert found[0, 19].tolist() == [255, 255, 255, 255]  # half of 128 is a quarter, whose root is a half
    assert found[0, 0].tolist() == [0, 0, 0, 255]


@pytest.mark.parametrize(("set_it", "text"), [
    (lambda a, *use: a.set_output_channel(ColorChannelFlag.COLOR_CHANNEL_C, *use), "SetOutputChannel"),
    (lambda a, *use: a.set_output_channel_color_profile("a.icc", *use), "SetOutputChannelColorProfile")])
def test_what_is_not_drawn_is_said(set_it: Any, text: str, tmp_path: Path) -> None:
    for use in ((), (ColorAdjustType.BITMAP,)):
        attributes = ImageAttributes()
        set_it(attributes, *use)
        with managed_error("NotSupportedException", text):
            drawn(tmp_path, attributes)
        getattr(attributes, "clear_" + ("output_channel" if text == "SetOutputChannel"
                                        else "output_channel_color_profile"))(*use)
        assert np.array_equal(drawn(tmp_path, attributes)[..., :3], COLORS)


def test_a_table_of_brushes(tmp_path: Path) -> None:
    attributes = ImageAttributes()
    attributes.set_brush_remap_table(REMAP)
    assert np.array_equal(drawn(tmp_path, attributes, brush=True)[..., :3], remapped())
    assert np.array_equal(drawn(tmp_path, attributes)[..., :3], COLORS)
    attributes.clear_brush_remap_table()
    assert np.array_equal(drawn(tmp_path, attributes, brush=True)[..., :3], COLORS)

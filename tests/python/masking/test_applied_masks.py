"""Masks that are applied to pictures, to the exact value of each sample."""

from __future__ import annotations

import io
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image, RasterImage, Rectangle
from zelmor.imaging.masking import ImageMasking
from zelmor.imaging.masking.options import MaskingOptions

from support.arrays import Pixels
from support.image_oracles import managed_error, write_16_bits
from support.masks import argb, image

WIDE, HIGH = 37, 23


def random(seed: int, *shape: int, top: int = 256) -> Pixels:
    return np.random.default_rng(seed).integers(0, top, shape)


def nearest(numbers: Pixels, by: Pixels | int) -> Pixels:
    """Quotients to the nearest whole number, halves up."""
    return (2 * numbers + by) // (2 * np.asarray(by))


def over(colors: Pixels, alpha: Pixels, below: tuple[int, ...], under: int, most: int) -> tuple[Pixels, Pixels]:
    """Straight colors over a plain one (Porter and Duff): the colors and alpha of the mixture."""
    of_color, of_below = alpha * most, under * (most - alpha)
    both = of_color + of_below
    mixed = nearest(colors * of_color[..., None] + np.array(below) * of_below[..., None], both[..., None])
    return mixed, nearest(both, most)


def test_a_mask_shows_its_brightness_as_far_as_it_is_opaque() -> None:
    """Red counts 299, green 587 and blue 114 of 1000; only the area is changed."""
    pixels, shown, options = random(1, HIGH, WIDE, 4), random(2, 9, 14, 4), MaskingOptions()
    options.masking_area = Rectangle(6, 11, 14, 9)
    target = image(pixels.astype(np.uint8))
    ImageMasking.apply_mask(target, image(shown.astype(np.uint8)), options)
    gray = nearest(shown[..., :3] @ np.array([299, 587, 114]), 1000)
    levels = nearest(gray * shown[..., 3], 255)
    wanted = pixels[..., [3, 0, 1, 2]]
    part = wanted[11:20, 6:20]
    part[..., 0] = nearest(part[..., 0] * levels, 255)
    assert (argb(target) == wanted).all()


@pytest.mark.parametrize("under", [1, 90, 254, 255])
def test_a_masked_picture_with_alpha_over_a_color(under: int) -> None:
    pixels, shown, options = random(3, HIGH, WIDE, 4), random(4, HIGH, WIDE), MaskingOptions()
    options.background_replacement_color = Color.from_argb(under, 250, 30, 120)
    target = image(pixels.astype(np.uint8))
    ImageMasking.apply_mask(target, image(shown.astype(np.uint8)), options)
    colors, alpha = over(pixels[..., :3], nearest(pixels[..., 3] * shown, 255), (250, 30, 120), under, 255)
    found = argb(target)
    assert (found[..., 0] == alpha).all() and (found[..., 1:] == colors).all()


@pytest.mark.parametrize("under", [200, 255])
def test_a_deep_picture_over_a_color(under: int, tmp_path: Path) -> None:
    """The color has 16 bits by repeating its eight."""
    deep, shown, options = random(5, HIGH, WIDE, 4, top=65536), random(6, HIGH, WIDE), MaskingOptions()
    options.background_replacement_color = Color.from_argb(under, 250, 30, 120)
    target = RasterImage._cast_to(Image.load(write_16_bits(tmp_path / "deep.png", deep.astype(np.uint16)))).value
    ImageMasking.apply_mask(target, image(shown.astype(np.uint8)), options)
    below = (250 * 257, 30 * 257, 120 * 257)
    colors, alpha = over(deep[..., :3], nearest(deep[..., 3] * shown, 255), below, under * 257, 65535)
    packed = np.array(list(target.load_argb_64_pixels(target.bounds)), np.int64).view(np.uint64).reshape(HIGH, WIDE)
    found = np.stack([packed >> np.uint64(shift) & np.uint64(65535) for shift in (48, 32, 16, 0)], -1).astype(int)
    assert (found[..., 0] == alpha).all() and (found[..., 1:] == colors).all()


def test_a_picture_with_a_palette_has_none_behind_a_mask() -> None:
    indices, shown = random(7, HIGH, WIDE, top=5).astype(np.uint8), random(8, HIGH, WIDE)
    entries = np.array([(9, 80, 200), (250, 3, 7), (0, 0, 0), (60, 61, 62), (255, 255, 1)])
    picture, file = Pillow.fromarray(indices, "P"), io.BytesIO()
    picture.putpalette(entries.astype(np.uint8).tobytes())
    picture.save(file, "PNG")
    target = RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value
    assert target.palette is not None
    ImageMasking.apply_mask(target, image(shown.astype(np.uint8)), MaskingOptions())
    found = argb(target)
    assert target.palette is None and (found[..., 0] == shown).all() and (found[..., 1:] == entries[indices]).all()


@pytest.mark.parametrize(("width", "height"), [(14, 10), (13, 9), (14, HIGH), (WIDE, 9), (WIDE, HIGH - 1), (9, 14)])
def test_a_mask_has_both_sides_of_the_area_or_of_the_image(width: int, height: int) -> None:
    options = MaskingOptions()
    options.masking_area = Rectangle(6, 11, 14, 9)
    target = image(random(9, HIGH, WIDE, 3).astype(np.uint8))
    with managed_error("ArgumentException", f"The mask is {width} by {height} pixels and the area 14 by 9: it has to "
                       "be as large as the area or as the image. (Parameter 'mask')"):
        ImageMasking.apply_mask(target, image(np.zeros((height, width), np.uint8)), options)


@pytest.mark.parametrize(("width", "height"), [(WIDE, HIGH + 1), (WIDE - 1, HIGH)])
def test_a_mask_is_for_all_frames(width: int, height: int) -> None:
    first, second = (Pillow.new("RGB", size, (20, 40, 60)) for size in ((WIDE, HIGH), (width, height)))
    file = io.BytesIO()
    first.save(file, "TIFF", save_all=True, append_images=[second])
    target = RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value
    with managed_error("ArgumentException", f"A frame of the image is {width} by {height} pixels, and the mask is for "
                       f"{WIDE} by {HIGH}. (Parameter 'mask')"):
        ImageMasking.apply_mask(target, image(np.zeros((HIGH, WIDE), np.uint8)), MaskingOptions())

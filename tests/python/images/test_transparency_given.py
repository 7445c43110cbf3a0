"""A picture without alpha gains one when it is given transparency, and only then."""

from __future__ import annotations

from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, ResizeType

from support.image_oracles import HEIGHT, WIDTH, Pixels, load, noise, pixels, read, worst, write

CLEAR = Color.from_argb(0, 0, 0, 0)
HALF = Color.from_argb(128, 10, 20, 30)


def spotted(bands: int = 3) -> Pixels:
    """Random colors and a white block."""
    source = noise(bands) // 2
    source[5:20, 10:30] = 255
    return source


@pytest.mark.parametrize("bands, mode", [(1, "LA"), (3, "RGBA")])
def test_white_becomes_clear(tmp_path: Path, bands: int, mode: str) -> None:
    source = spotted(bands)
    image = load(write(tmp_path / "a.png", source))
    assert not image.has_alpha
    image.replace_color(Color.white, 0, CLEAR)
    assert image.has_alpha
    image.save(str(tmp_path / "b.png"))
    found = read(tmp_path / "b.png", "RGBA")
    inside = np.zeros((HEIGHT, WIDTH), bool)
    inside[5:20, 10:30] = True
    assert (found[inside] == 0).all()
    assert (found[~inside][:, 3] == 255).all()
    colors = np.repeat(source[..., None], 3, -1) if bands == 1 else source
    assert worst(found[~inside][:, :3], colors[~inside]) == 0


def test_a_color_within_the_tolerance(tmp_path: Path) -> None:
    source = noise()
    old = source[3, 4].astype(int)
    image = load(write(tmp_path / "a.png", source))
    image.replace_color(Color.from_argb(255, *old.tolist()), 60, HALF)
    near = (np.abs(source.astype(int) - old) <= 60).all(-1)
    assert 1 < near.sum() < near.size
    expected = np.dstack([source, np.full((HEIGHT, WIDTH), 255)])
    expected[near] = (10, 20, 30, 128)
    image.save(str(tmp_path / "b.png"))
    assert worst(read(tmp_path / "b.png", "RGBA"), expected) == 0


def test_the_alpha_of_the_color_counts_where_pixels_have_one(tmp_path: Path) -> None:
    """Without alpha all pixels are opaque, and so is any color that is looked for."""
    source = noise(4)
    source[2, 3], source[4, 5], source[6, 7] = (9, 8, 7, 100), (9, 8, 7, 255), (9, 8, 7, 101)
    for alpha, tolerance, places in ((100, 0, [(2, 3)]), (255, 0, [(4, 5)]), (100, 1, [(2, 3), (6, 7)])):
        image = load(write(tmp_path / "a.png", source))
        image.replace_color(Color.from_argb(alpha, 9, 8, 7), tolerance, Color.from_argb(255, 1, 2, 3))
        image.save(str(tmp_path / "b.png"))
        expected = source.copy()
        for y, x in places:
            expected[y, x] = (1, 2, 3, 255)
        assert worst(read(tmp_path / "b.png", "RGBA"), expected) == 0
    opaque = noise()
    opaque[2, 3] = (9, 8, 7)
    image = load(write(tmp_path / "a.png", opaque))
    image.replace_color(Color.from_argb(100, 9, 8, 7), 0, Color.from_argb(255, 1, 2, 3))
    assert tuple(pixels(image, tmp_path)[2, 3]) == (1, 2, 3) and not image.has_alpha
    image = load(write(tmp_path / "a.png", opaque))
    image.replace_color(Color.from_argb(100, 9, 8, 7), 0, HALF)
    assert image.get_pixel(3, 2) == HALF


def test_no_alpha_where_nothing_is_replaced(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise() // 2))
    image.replace_color(Color.white, 0, CLEAR)
    image.replace_color(Color.from_argb(255, *noise()[0, 0].tolist()), 0, Color.red)
    assert not image.has_alpha
    assert worst(pixels(image, tmp_path), noise() // 2) == 0


def test_sixteen_bits_stay(tmp_path: Path) -> None:
    source = np.random.default_rng(2).integers(0, 60000, (HEIGHT, WIDTH), dtype=np.uint16)
    source[7, 8] = 65535
    Pillow.fromarray(source).save(tmp_path / "a.png")
    image = load(tmp_path / "a.png")
    image.replace_color(Color.white, 0, CLEAR)
    assert image.get_pixel(8, 7).a == 0
    words = np.array(image.load_argb_64_pixels(image.bounds)).astype(np.uint64).reshape(HEIGHT, WIDTH)
    seen = source != 65535
    assert ((words & np.uint64(0xFFFF))[seen] == source[seen]).all()


@pytest.mark.parametrize("angle, grow, gains", [(30, True, True), (30, False, True), (90, True, False),
                                                (90, False, True), (180, False, False)])
def test_turned_on_a_clear_background(tmp_path: Path, angle: float, grow: bool, gains: bool) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.rotate(angle, grow, CLEAR)
    assert image.has_alpha == gains
    found = pixels(image, tmp_path, "RGBA")
    if gains:
        assert found[0, 0, 3] == 0 and found[found.shape[0] // 2, found.shape[1] // 2, 3] == 255
    opaque = load(write(tmp_path / "b.png", noise()))
    opaque.rotate(angle, grow, Color.white)
    assert not opaque.has_alpha
    # Away from the edges the picture is the same on any background.
    middle = np.s_[found.shape[0] // 2 - 5:found.shape[0] // 2 + 5, found.shape[1] // 2 - 5:found.shape[1] // 2 + 5]
    assert worst(found[middle][..., :3], pixels(opaque, tmp_path)[middle]) <= 1


def test_a_larger_canvas_of_a_clear_color(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.has_background_color = True
    image.background_color = CLEAR
    image.resize(WIDTH, HEIGHT - 3, ResizeType.NONE)
    assert not image.has_alpha
    image.resize(WIDTH + 4, HEIGHT, ResizeType.NONE)
    assert image.has_alpha
    found = pixels(image, tmp_path, "RGBA")
    assert (found[:, WIDTH:] == 0).all()
    assert worst(found[:HEIGHT - 3, :WIDTH, :3], noise()[:HEIGHT - 3]) == 0


def test_all_colors_by_one(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.replace_non_transparent_colors(HALF)
    assert (pixels(image, tmp_path, "RGBA") == (10, 20, 30, 128)).all()
    image = load(write(tmp_path / "b.png", noise(4)))
    image.replace_non_transparent_colors(HALF)
    found = pixels(image, tmp_path, "RGBA")
    assert (found[..., :3] == (10, 20, 30)).all()
    assert worst(found[..., 3], noise(4)[..., 3]) == 0
    image = load(write(tmp_path / "c.png", noise()))
    image.replace_non_transparent_colors(Color.from_argb(255, 10, 20, 30))
    assert not image.has_alpha

"""Effects of EMF+: those that look at the pixels around each, beside ImageMagick, and those of single pixels, by their
formulas."""

from __future__ import annotations

import subprocess
import uuid
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow

from support.drawn_metafiles import drawn
from support.metafiles import VERSION, emf, floats, plus, plus_object, plus_record, rows24, words

BLUR, SHARPEN, RED_EYES = ("633C80A4-1843-482B-9EF2-BE2834C5FDD4", "63CBF3EE-C526-402C-8F71-62C540BF5142",
                           "74D29D05-69A4-4266-9549-3CC52836B632")
LEFT, TOP, WIDTH, HEIGHT = 24, 20, 40, 30


def picture() -> Any:
    """Opaque areas, edges and noise."""
    pixels = np.random.default_rng(5).integers(0, 60, (HEIGHT, WIDTH, 3), np.uint8)
    pixels[5:20, 10:25] += 120
    pixels[:, 30:] //= 2
    return pixels


def shown(pixels: Any, identifier: str, data: bytes) -> Any:
    """The page on which the image was drawn after the effect, a pixel for each of its own."""
    height, width = pixels.shape[:2]
    rows = [[int(r) << 16 | int(g) << 8 | int(b) for r, g, b in row] for row in pixels]
    image = VERSION + words(1, width, height, 3 * width, 0x21808, 0) + rows24(list(reversed(rows)))
    corners = floats(LEFT, TOP, LEFT + width, TOP, LEFT, TOP + height)
    records = plus(plus_object(5, 5, image), plus_record(0x4021, 5),
                   plus_record(0x4038, 0, uuid.UUID(identifier).bytes_le + words(len(data)) + data),
                   plus_record(0x401B, 0x2005, words(0, 2) + floats(0, 0, width, height) + words(3) + corners))
    return np.asarray(drawn(emf(records))).astype(int)


def by_magick(folder: Path, pixels: Any, *arguments: str) -> Any:
    Pillow.fromarray(pixels).save(folder / "a.png")
    subprocess.run(["convert", folder / "a.png", *arguments, folder / "b.png"], check=True)
    return np.asarray(Pillow.open(folder / "b.png").convert("RGB")).astype(int)


def blurred(pixels: Any, radius: int) -> Any:
    """By the definition, on white: sums of the samples, and of how much of the image there is."""
    weights = np.exp(-np.arange(-radius, radius + 1)**2 / (2 * (radius / 2)**2))
    weights /= weights.sum()
    samples = np.dstack([pixels, np.full(pixels.shape[:2], 255)]).astype(float)
    samples = np.pad(samples, ((2 * radius, 2 * radius), (2 * radius, 2 * radius), (0, 0)))
    for axis in (0, 1):
        count = samples.shape[axis] - 2 * radius
        samples = sum(weight * np.take(samples, range(i, i + count), axis) for i, weight in enumerate(weights))
    return samples[..., :3] + 255 - samples[..., 3:]


@pytest.mark.parametrize("radius", [2, 6, 15])
def test_blurred_edges_reach_beyond_the_image(radius: int, tmp_path: Path) -> None:
    ours = shown(picture(), BLUR, floats(radius) + words(1))
    expected = np.full(ours.shape, 255.0)
    expected[TOP - radius:TOP + HEIGHT + radius, LEFT - radius:LEFT + WIDTH + radius] = blurred(picture(), radius)
    assert np.abs(ours - expected).max() <= 2
    assert np.abs(ours - 255).max(axis=2)[TOP - 1, LEFT + 5] > 20  # soft, but there
    # Far from the edges it is what another program makes, whose weights differ a little.
    theirs = by_magick(tmp_path, picture(), "-blur", f"{radius}x{radius / 2}")
    inside = np.s_[radius:HEIGHT - radius, radius:WIDTH - radius]
    assert radius == 15 or np.abs(ours[TOP:TOP + HEIGHT, LEFT:LEFT + WIDTH][inside] - theirs[inside]).max() <= 4


def test_blurred_edges_are_cut_off() -> None:
    ours = shown(picture(), BLUR, floats(6) + words(0))
    grown = shown(picture(), BLUR, floats(6) + words(1))
    inside = np.zeros(ours.shape[:2], bool)
    inside[TOP:TOP + HEIGHT, LEFT:LEFT + WIDTH] = True
    assert (ours[inside] == grown[inside]).all()
    assert (ours[~inside] == 255).all()


@pytest.mark.parametrize("amount", [30, 100])
def test_sharpening(amount: int, tmp_path: Path) -> None:
    ours = shown(picture(), SHARPEN, floats(4, amount))
    theirs = by_magick(tmp_path, picture(), "-unsharp", f"4x2+{amount / 100}+0")
    assert np.abs(ours[TOP:TOP + HEIGHT, LEFT:LEFT + WIDTH] - theirs).max() <= 3
    assert np.abs(theirs - picture()).max() > 10


@pytest.mark.parametrize("identifier, data", [(BLUR, floats(0) + words(1)), (SHARPEN, floats(0, 50)),
                                              (SHARPEN, floats(5, 0)), (BLUR, floats(float("nan")) + words(1))])
def test_effects_without_strength(identifier: str, data: bytes) -> None:
    assert (shown(picture(), identifier, data)[TOP:TOP + HEIGHT, LEFT:LEFT + WIDTH] == picture()).all()


def test_red_eyes() -> None:
    """Only red pixels of the areas lose their red; areas may lie outside in part."""
    pixels = np.full((HEIGHT, WIDTH, 3), (200, 60, 40), np.uint8)
    pixels[:, 20:] = (180, 160, 140)
    areas = [(5, 5, 15, 15), (15, 20, 25, 300), (-9, -9, 2, 2)]
    data = words(len(areas), *(side for area in areas for side in area))
    ours = shown(pixels, RED_EYES, data)[TOP:TOP + HEIGHT, LEFT:LEFT + WIDTH]
    expected = pixels.copy()
    for left, top, right, bottom in areas:
        area = expected[max(top, 0):bottom, max(left, 0):min(right, 20)]
        area[..., 0] = 50
    assert (ours == expected).all()


# ---- Effects of single pixels

MATRIX, TABLES, CONTRAST, BALANCE, CURVE, LEVELS = (
    "718F2615-7933-40E3-A511-5F68FE14DD74", "A7CE72A9-0F7F-40D7-B3CC-D0C02D5C3212",
    "D3A1DBE1-8EC4-4C17-9F4C-EA97AD1C343D", "537E597D-251E-48DA-9664-29CA496B70F8",
    "DD6A0022-58E4-4A67-9D9B-D48EB881A53D", "99C354EC-2A31-4F3A-8C34-17A803B33A25")


def levels() -> Any:
    """Each level of each channel, and gray."""
    ramp = np.arange(256, dtype=np.uint8).reshape(16, 16)
    return np.concatenate([np.dstack([ramp, 255 - ramp, ramp // 2]), np.dstack([ramp] * 3)], axis=1)


def rounded(values: Any) -> Any:
    return np.floor(np.clip(values, 0, 255) + 0.5)


def within(pixels: Any, identifier: str, data: bytes) -> Any:
    height, width = pixels.shape[:2]
    return shown(pixels, identifier, data)[TOP:TOP + height, LEFT:LEFT + width]


@pytest.mark.parametrize("brightness, contrast", [(0, 0), (40, 0), (-40, 0), (255, 0), (0, 50), (0, 98), (0, 100),
                                                  (0, -50), (0, -100), (20, -30)])
def test_brightness_and_contrast(brightness: int, contrast: int) -> None:
    """More contrast steepens the line about the middle until it is a step, less flattens it to gray."""
    slope = 1 / max(1 - contrast / 100, 0.01) if contrast > 0 else 1 + contrast / 100
    expected = rounded((levels() - 127.5) * slope + 127.5 + brightness)
    assert np.array_equal(within(levels(), CONTRAST, words(brightness, contrast)), expected)


@pytest.mark.parametrize("shifts", [(0, 0, 0), (100, 0, 0), (0, -20, 0), (0, 0, 30), (10, -10, 50)])
def test_balance_of_colors(shifts: tuple[int, int, int]) -> None:
    assert np.array_equal(within(levels(), BALANCE, words(*shifts)), rounded(levels() + np.array(shifts) * 2.55))


@pytest.mark.parametrize("highlight, middle, shadow", [(100, 0, 0), (80, 0, 20), (100, 50, 0), (100, -50, 0),
                                                       (60, 100, 30), (50, 0, 50), (20, 0, 60)])
def test_levels(highlight: int, middle: int, shadow: int) -> None:
    """What is as dark as the shadow is black, as light as the highlight white, with a gamma between them."""
    low, high = shadow * 2.55, highlight * 2.55
    part = np.clip((levels() - low) / (high - low), 0, 1) if high > low else (levels() >= high).astype(float)
    expected = rounded(255 * part**(4**(-middle / 100)))
    assert np.array_equal(within(levels(), LEVELS, words(highlight, middle, shadow)), expected)


#: By the number of the adjustment: the intensities, and what becomes of a level.
CURVES: dict[int, tuple[tuple[int, ...], Callable[[Any, float], Any]]] = {
    0: ((-255, -100, 0, 100, 255), lambda level, by: level * 2**(by / 255)),
    1: ((-255, -100, 0, 100, 255), lambda level, by: 255 - (255 - level) * 2**(-by / 255)),
    2: ((-100, -30, 0, 30, 100), lambda level, by: (level - 127.5) * (1 + by / 100) + 127.5),
    3: ((-100, -30, 30, 100), lambda level, by: level * (1 + by / 200 * (level / 255))),
    4: ((-100, -30, 30, 100), lambda level, by: level + by / 200 * (255 - level)**2 / 255),
    5: ((-100, -30, 30, 100), lambda level, by: 255 * (level / 255)**(2**(-by / 100))),
    6: ((0, 1, 100, 255), lambda level, by: level * 255 / max(by, 1)),
    7: ((0, 100, 254, 255), lambda level, by: (level - by) * 255 / max(255 - by, 1)),
}


@pytest.mark.parametrize("channel", [0, 1, 2, 3])
@pytest.mark.parametrize("adjustment", CURVES)
def test_curves(adjustment: int, channel: int) -> None:
    """Of all channels, or of one of red, green and blue."""
    intensities, curve = CURVES[adjustment]
    for by in intensities if channel == 0 else intensities[-2:]:
        expected = rounded(curve(levels().astype(float), by))
        if channel:
            others = [each for each in range(3) if each != channel - 1]
            expected[..., others] = levels()[..., others]
        found = within(levels(), CURVE, words(adjustment, channel, by))
        assert np.abs(found - expected).max() <= (1 if adjustment in (3, 4) else 0), by  # sums in another order


def test_tables_of_levels() -> None:
    """The tables of blue, green, red and alpha, in this order; what is half there lets half of white through."""
    blue, green, red = (np.random.default_rng(seed).permutation(256).astype(np.uint8) for seed in (1, 2, 3))
    for alpha in (255, 51):
        data = blue.tobytes() + green.tobytes() + red.tobytes() + bytes([7] * 255 + [alpha])
        found = within(levels(), TABLES, data)
        mapped = np.dstack([table[levels()[..., i]] for i, table in enumerate((red, green, blue))]).astype(float)
        assert np.abs(found - (255 + (mapped - 255) * alpha / 255)).max() <= (0 if alpha == 255 else 1)


def test_matrices_of_colors() -> None:
    """Rows are what red, green, blue, alpha and one give to the four channels."""
    matrix = np.array([[0.5, 0.1, 0, 0, 0], [0, 0.25, 1, 0, 0], [0.2, -0.3, 0.1, 0, 0], [0.1, 0, 0, 0.4, 0],
                       [0, 0.2, -0.1, 0.6, 1]])
    found = within(levels(), MATRIX, matrix.astype(np.float32).tobytes())
    own = np.concatenate([levels(), np.full((16, 32, 2), 255)], axis=2).astype(float)
    assert np.abs(found - rounded(own @ matrix)[..., :3]).max() <= 1
    half = matrix.copy()
    half[4, 3] = 0  # alpha is 0.4 then
    found = within(levels(), MATRIX, half.astype(np.float32).tobytes())
    assert np.abs(found - (255 + (rounded(own @ half)[..., :3] - 255) * 0.4)).max() <= 1

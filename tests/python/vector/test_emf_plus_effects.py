"""Effects of EMF+ that look at the pixels around each, beside ImageMagick."""

from __future__ import annotations

import subprocess
import uuid
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

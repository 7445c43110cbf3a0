"""Tags of DNG files: those of every kind that are read, and values that they cannot have."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Image
from zelmor.imaging.fileformats.dng import DngImage
from zelmor.imaging.imageoptions import PngOptions

from support import png_files
from support.arrays import Pixels
from support.dng_files import LONG, RATIONAL, SHORT, Dng, rationals
from support.image_oracles import managed_error

WIDTH, HEIGHT = 60, 40
LINEARIZATION, ACTIVE, ORIGIN, SIZE = 50712, 50829, 50719, 50720


def light(bands: int = 3, bits: int = 16) -> Pixels:
    shape = (HEIGHT, WIDTH, bands) if bands > 1 else (HEIGHT, WIDTH)
    return np.random.default_rng(bands).integers(0, 1 << bits, shape).astype(np.uint16)


def srgb(share: Any) -> Any:
    return np.where(share <= 0.0031308, 12.92 * share, 1.055 * share ** (1 / 2.4) - 0.055) * 65535


def opened(dng: Dng) -> Any:
    return DngImage._cast_to(Image.load(io.BytesIO(dng.tobytes()))).value


def samples(image: Any) -> Any:
    file = io.BytesIO()
    image.save(file, PngOptions())
    return png_files.from_bytes(file.getvalue()).samples.astype(int)


@pytest.mark.parametrize("below", [False, True])
@pytest.mark.parametrize(("tags", "across", "down"), [
    ({282: (RATIONAL, [(300, 1)]), 283: (RATIONAL, [(300, 2)]), 296: (SHORT, 2)}, 300, 150),
    ({282: (RATIONAL, [(300, 1)]), 283: (RATIONAL, [(300, 2)])}, 300, 150),
    ({282: (RATIONAL, [(100, 1)]), 283: (RATIONAL, [(50, 1)]), 296: (SHORT, 3)}, 254, 127),
    ({282: (RATIONAL, [(100, 1)]), 283: (RATIONAL, [(50, 1)]), 296: (SHORT, 1)}, 96, 96),
    ({282: (RATIONAL, [(100, 1)]), 296: (SHORT, 2)}, 96, 96), ({283: (RATIONAL, [(100, 1)]), 296: (SHORT, 2)}, 96, 96),
    ({282: (RATIONAL, [(0, 1)]), 283: (RATIONAL, [(50, 1)]), 296: (SHORT, 2)}, 96, 96), ({}, 96, 96)])
def test_the_resolution_of_a_file(tags: dict[int, Any], across: float, down: float, below: bool) -> None:
    image = opened(Dng(light(), None, tags=tags, below=below))
    assert (image.horizontal_resolution, image.vertical_resolution) == (pytest.approx(across), pytest.approx(down))


def test_the_resolution_of_the_raw_picture_goes_before_that_of_the_file() -> None:
    own = {282: (RATIONAL, [(400, 1)]), 283: (RATIONAL, [(200, 1)]), 296: (SHORT, 2)}
    other = {282: (RATIONAL, [(72, 1)]), 283: (RATIONAL, [(72, 1)]), 296: (SHORT, 2)}
    image = opened(Dng(light(), None, tags=other, raw_tags=own, below=True))
    assert (image.horizontal_resolution, image.vertical_resolution) == (400, 200)


def test_a_table_makes_deep_samples_of_few_bits() -> None:
    stored = light(3, 8)
    table = [round((i / 255) ** 2 * 65535) for i in range(256)]
    image = opened(Dng(stored, None, 8, 65535, raw_tags={LINEARIZATION: (SHORT, table)}))
    assert image.bits_per_pixel == 48
    assert np.abs(samples(image) - srgb(np.array(table)[stored] / 65535)).max() <= 16


@pytest.mark.parametrize("count", [2, 5])
def test_counts_of_samples_that_are_not_read(count: int) -> None:
    data = Dng(light(count), None, neutral=None).tobytes()
    with managed_error("NotSupportedException", f"this runtime does not read DNG data with {count} samples per pixel."):
        Image.load(io.BytesIO(data))


@pytest.mark.parametrize("area", [
    [2, 2, 2, 10], [2, 2, 10, 2], [10, 2, 2, 10], [0, 0, HEIGHT + 1, WIDTH], [0, 0, HEIGHT, WIDTH + 1], [0, 0, 5]])
def test_an_active_area_that_is_none(area: list[int]) -> None:
    """The library takes another picture then than the file tells."""
    image = opened(Dng(light(), None, raw_tags={ACTIVE: (LONG, area)}))
    with managed_error("NotSupportedException",
                       "this runtime does not read DNG data whose raw picture is stored in this way."):
        samples(image)


@pytest.mark.parametrize("area", [(0, 0, HEIGHT, WIDTH), (1, 2, HEIGHT, WIDTH), (0, 0, HEIGHT - 1, WIDTH - 2)])
def test_active_areas(area: tuple[int, int, int, int]) -> None:
    stored = light()
    image = opened(Dng(stored, None, raw_tags={ACTIVE: (LONG, list(area))}))
    top, left, bottom, right = area
    assert (image.width, image.height) == (right - left, bottom - top)
    assert np.abs(samples(image) - srgb(stored[top:bottom, left:right] / 65535)).max() <= 16


@pytest.mark.parametrize(("origin", "size", "expected"), [
    ((3.0, 1.0), (10, 8), (3, 1, 10, 8)), ((0.0, 0.0), (WIDTH, HEIGHT), (0, 0, WIDTH, HEIGHT)),
    ((3.4, 1.6), (10, 8), (3, 2, 10, 8)), ((WIDTH - 1.0, HEIGHT - 1.0), (1, 1), (WIDTH - 1, HEIGHT - 1, 1, 1)),
    ((1.0, 0.0), (WIDTH, HEIGHT), (0, 0, WIDTH, HEIGHT)), ((0.0, 1.0), (WIDTH, HEIGHT), (0, 0, WIDTH, HEIGHT)),
    ((0.0, 0.0), (0, 5), (0, 0, WIDTH, HEIGHT)), ((0.0, 0.0), (5, 0), (0, 0, WIDTH, HEIGHT)),
    ((0.0, 0.0), (WIDTH + 1, 5), (0, 0, WIDTH, HEIGHT))])
def test_crops(origin: tuple[float, float], size: tuple[int, int], expected: tuple[int, int, int, int]) -> None:
    stored = light()
    image = opened(Dng(stored, None, raw_tags={ORIGIN: (RATIONAL, rationals(*origin)), SIZE: (LONG, list(size))}))
    left, top, width, height = expected
    assert (image.width, image.height) == (width, height)
    assert np.abs(samples(image) - srgb(stored[top:top + height, left:left + width] / 65535)).max() <= 16


@pytest.mark.parametrize(("name", "text"), [("Müller".encode(), "Müller"), ("Müller".encode("latin-1"), "Müller"),
                                            (b"plain", "plain"), (b"\xff\xfe", "\xff\xfe")])
def test_texts_in_utf_8_and_in_latin_1(name: bytes, text: str) -> None:
    image = opened(Dng(light(), None, tags={315: (1, name + b"\0")}))
    assert image.img_data.image_other_parameters.artist == text

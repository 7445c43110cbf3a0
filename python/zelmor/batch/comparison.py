"""How much two pictures differ."""

from __future__ import annotations

import math
from collections import Counter
from operator import ne
from typing import Any

from zelmor.imaging import PixelDataFormat, RasterImage, RawDataSettings, Rectangle

#: Pixels that are compared at a time, so that memory does not grow with the picture.
_CHUNK = 1 << 18


def compare(first: RasterImage, second: RasterImage) -> dict[str, Any]:
    """Sizes, the share of pixels that differ, the greatest and the mean difference of a sample, and the ratio of the
    peak signal to noise in decibels (None for equal pictures).

    Samples are those of red, green, blue and alpha, of 8 bits.
    """
    sizes = [[image.width, image.height] for image in (first, second)]
    found: dict[str, Any] = {"sizes": sizes, "equal": False}
    if sizes[0] != sizes[1]:
        return found
    width, height = sizes[0]
    differing = 0
    pairs = Counter[tuple[int, int]]()
    rows = max(1, _CHUNK // width)
    for top in range(0, height, rows):
        area = Rectangle(0, top, width, min(rows, height - top))
        one, other = _samples(first, area), _samples(second, area)
        if one != other:
            differing += sum(map(ne, memoryview(one).cast("I"), memoryview(other).cast("I")))
            pairs.update(zip(one, other))
    samples = width * height * 4
    distances = Counter[int]()
    for (mine, yours), count in pairs.items():
        distances[abs(mine - yours)] += count
    squares = sum(distance * distance * count for distance, count in distances.items()) / samples
    return found | {
        "equal": differing == 0,
        "differing": round(differing / (width * height), 6),
        "greatest": max((distance for distance in distances if distances[distance]), default=0),
        "mean": round(sum(distance * count for distance, count in distances.items()) / samples, 6),
        "psnr": round(10 * math.log10(255 * 255 / squares), 3) if squares else None,
    }


def _samples(image: RasterImage, area: Rectangle) -> bytes:
    settings = RawDataSettings()
    settings.pixel_data_format = PixelDataFormat.rgba_32_bpp
    return bytes(image.get_default_raw_data(area, settings))

"""Pictures whose objects are known, and masks as arrays."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
from PIL import Image as Pillow
from zelmor.imaging import Figure, GraphicsPath, Image, Point, RasterImage, Rectangle, RectangleF
from zelmor.imaging.masking.result import IMaskingLayer, MaskingResult
from zelmor.imaging.shapes import RectangleShape

from support.arrays import Pixels

WIDTH, HEIGHT = 96, 72


def image(pixels: Pixels) -> RasterImage:
    """An image of the pixels."""
    file = io.BytesIO()
    Pillow.fromarray(pixels).save(file, "PNG")
    return RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value


def argb(found: RasterImage) -> Pixels:
    """The pixels of an image as rows of A, R, G, B."""
    packed = np.array(list(found.load_argb_32_pixels(found.bounds)), dtype=np.int32).view(np.uint32)
    rows = packed.reshape(found.height, found.width)
    return np.stack([rows >> shift & 0xFF for shift in (24, 16, 8, 0)], -1).astype(int)


def mask(layer: IMaskingLayer) -> Pixels:
    """The mask of a layer, from 0 to 255."""
    found = argb(layer.get_mask())
    assert (found[..., 0] == 255).all() and (found[..., 1] == found[..., 2]).all()
    return found[..., 1]


def masks(result: MaskingResult) -> dict[int, Pixels]:
    """The masks of a result by the number of their object."""
    return {layer.object_number: mask(layer) for layer in result.layers}


def disk(x: int, y: int, radius: int) -> Pixels:
    """Where a disk is."""
    rows, columns = np.mgrid[0:HEIGHT, 0:WIDTH]
    return (columns - x) ** 2 + (rows - y) ** 2 <= radius ** 2


def noisy(where: dict[tuple[int, int, int], Pixels], below: tuple[int, int, int] = (60, 110, 160)) -> Pixels:
    """A picture with areas of a color each, and some noise over all of it."""
    pixels = np.empty((HEIGHT, WIDTH, 3), dtype=int)
    pixels[:] = below
    for color, area in where.items():
        pixels[area] = color
    noise = np.random.default_rng(7).integers(-12, 13, pixels.shape)
    return np.clip(pixels + noise, 0, 255).astype(np.uint8)


def rectangles(*corners: tuple[int, int, int, int]) -> GraphicsPath:
    """A path with a figure for each rectangle."""
    path = GraphicsPath()
    for corner in corners:
        figure = Figure()
        figure.add_shape(RectangleShape(RectangleF(*map(float, corner))))
        path.add_figure(figure)
    return path


def inside(x: int, y: int, width: int, height: int) -> Pixels:
    """Where a rectangle is."""
    found = np.zeros((HEIGHT, WIDTH), dtype=bool)
    found[y:y + height, x:x + width] = True
    return found


def overlap(a: Pixels, b: Pixels) -> float:
    """The share of the pixels of both areas in those of either."""
    return float((a & b).sum() / (a | b).sum())


def points(area: Pixels, count: int = 12) -> list[Point]:
    """Points of an area, spread over it."""
    rows, columns = np.nonzero(area)
    step = max(1, len(rows) // count)
    return [Point(int(x), int(y)) for x, y in list(zip(columns, rows))[::step]]


def around(x: int, y: int, radius: int) -> Rectangle:
    """A rectangle around a disk, with a margin."""
    return Rectangle(x - radius - 5, y - radius - 5, 2 * radius + 11, 2 * radius + 11)


def gaussian(values: Any, radius: int) -> Pixels:
    """A mask with soft edges, as NumPy computes it."""
    steps = np.arange(-radius, radius + 1)
    weights = np.exp(-steps ** 2 / (2 * (radius / 2) ** 2))
    weights /= weights.sum()
    padded = np.pad(np.asarray(values, dtype=float), radius, mode="edge")
    across = sum(weight * padded[:, i:padded.shape[1] - 2 * radius + i] for i, weight in enumerate(weights))
    return sum(weight * across[i:across.shape[0] - 2 * radius + i] for i, weight in enumerate(weights))

"""Where a drawing stands on its page, by the page, the borders, the scales and the kind of positions of the options."""

from __future__ import annotations

import io
import itertools
import math
from dataclasses import dataclass
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image, Rectangle, SizeF, SmoothingMode
from zelmor.imaging.imageoptions import PngOptions, PositioningTypes, SvgRasterizationOptions

from support.image_oracles import managed_error

WIDTH, HEIGHT = 40, 20
#: What is seen of the drawing: left, top, width, height.
INK = (10, 5, 20, 10)
DOCUMENT = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}">'
            '<rect x="10" y="5" width="20" height="10" fill="red"/></svg>').encode()


@dataclass
class Layout:
    page: tuple[float, float] = (0, 0)
    border: tuple[float, float] = (0, 0)
    scale: tuple[float, float] = (1, 1)
    kind: PositioningTypes = PositioningTypes.DEFINED_BY_DOCUMENT
    center: bool = False

    def options(self) -> Any:
        made = SvgRasterizationOptions()
        made.page_size = SizeF(*self.page)
        made.border_x, made.border_y = self.border
        made.scale_x, made.scale_y = self.scale
        made.positioning, made.center_drawing = self.kind, self.center
        made.background_color = Color.white
        made.smoothing_mode = SmoothingMode.NONE
        return made

    def expected(self) -> tuple[tuple[float, float], tuple[float, ...]]:
        """The size of the page, and the place of the red rectangle."""
        by_options = self.kind == PositioningTypes.DEFINED_BY_OPTIONS
        area = INK if self.kind == PositioningTypes.RELATIVE else (0, 0, WIDTH, HEIGHT)
        size = [area[2 + i] * self.scale[i] for i in (0, 1)]
        page = [self.page[i] or size[i] + 2 * self.border[i] for i in (0, 1)]
        if not by_options:
            for i in (0, 1):
                if self.page[1 - i] and not self.page[i]:
                    page[i] = (self.page[1 - i] - 2 * self.border[1 - i]) * size[i] / size[1 - i] + 2 * self.border[i]
        room = [page[i] - 2 * self.border[i] for i in (0, 1)]
        factor = 1 if by_options else min(room[i] / size[i] for i in (0, 1))
        scale = [self.scale[i] * factor for i in (0, 1)]
        corner = [self.border[i] + (self.center and (room[i] - area[2 + i] * scale[i]) / 2) for i in (0, 1)]
        place = [corner[i] + (INK[i] - area[i]) * scale[i] for i in (0, 1)]
        return (page[0], page[1]), (*place, *(INK[2 + i] * scale[i] for i in (0, 1)))


def drawn(options: Any) -> Any:
    png, file = PngOptions(), io.BytesIO()
    png.vector_rasterization_options = options
    Image.load(io.BytesIO(DOCUMENT)).save(file, png)
    return np.asarray(Pillow.open(file).convert("RGB"))


@pytest.mark.parametrize("kind", [PositioningTypes.DEFINED_BY_DOCUMENT, PositioningTypes.DEFINED_BY_OPTIONS,
                                  PositioningTypes.RELATIVE])
@pytest.mark.parametrize("center", [False, True])
@pytest.mark.parametrize("page", [(0, 0), (60, 0), (0, 60), (100, 60), (60, 100), (30, 30)])
def test_places_on_the_page(kind: PositioningTypes, center: bool, page: tuple[float, float]) -> None:
    for border, scale in itertools.product([(0, 0), (4, 0), (0, 6), (5, 3)], [(1, 1), (2, 1), (0.5, 1.5)]):
        layout = Layout(page, border, scale, kind, center)
        size, (left, top, width, height) = layout.expected()
        pixels = drawn(layout.options())
        assert pixels.shape[:2] == (math.ceil(size[1] - 1e-3), math.ceil(size[0] - 1e-3)), layout
        rows, columns = np.nonzero(pixels[..., 1] == 0)
        found = (columns.min(), rows.min(), columns.max() + 1, rows.max() + 1)
        wanted = (max(left, 0), max(top, 0), min(left + width, size[0]), min(top + height, size[1]))
        assert np.abs(np.array(found) - wanted).max() <= 1, (layout, found, wanted)


@pytest.mark.parametrize("change", [{"border": (20, 0), "page": (40, 20)}, {"border": (0, 10), "page": (40, 20)},
                                    {"border": (30, 0), "page": (40, 20)}, {"border": (20, 10), "page": (40, 20)}])
def test_borders_that_leave_no_room(change: dict[str, Any]) -> None:
    layout = Layout(**change)
    name, value = ("BorderX", layout.border[0]) if layout.border[0] else ("BorderY", layout.border[1])
    with managed_error("ArgumentOutOfRangeException", f"The value {value} of SvgRasterizationOptions.{name} is not a "
                       "border that leaves room on the page."):
        drawn(layout.options())


@pytest.mark.parametrize(("name", "value", "reason"), [
    *[(name, value, "a length") for name in ("border_x", "border_y", "page_width", "page_height")
      for value in (-0.5, math.inf, -math.inf, math.nan)],
    *[(name, value, "a scale") for name in ("scale_x", "scale_y") for value in (0.0, -1.0, math.inf, math.nan)]])
def test_lengths_and_scales_that_are_none(name: str, value: float, reason: str) -> None:
    options = Layout().options()
    setattr(options, name, value)
    managed = name.title().replace("_", "")
    with managed_error("ArgumentOutOfRangeException", f"of SvgRasterizationOptions.{managed} is not {reason}."):
        drawn(options)


def test_parts_of_the_page() -> None:
    whole = drawn(Layout((61, 41)).options())
    png = PngOptions()
    png.vector_rasterization_options = Layout((60.5, 40.25)).options()

    def part(*area: int) -> Any:
        file = io.BytesIO()
        Image.load(io.BytesIO(DOCUMENT)).save(file, png, Rectangle(*area))
        return np.asarray(Pillow.open(file).convert("RGB"))
    assert part(0, 0, 61, 41).shape == (41, 61, 3) == whole.shape
    page = part(0, 0, 61, 41)
    for x, y, width, height in ((0, 0, 1, 1), (60, 40, 1, 1), (20, 10, 30, 20), (5, 0, 56, 41)):
        assert np.array_equal(part(x, y, width, height), page[y:y + height, x:x + width])
    for area in ((-1, 0, 5, 5), (0, -1, 5, 5), (0, 0, 0, 5), (0, 0, 5, 0), (0, 0, 62, 5), (0, 0, 5, 42),
                 (57, 0, 5, 5), (0, 37, 5, 5), (1, 0, 2**31 - 1, 5), (0, 1, 5, 2**31 - 1)):
        with managed_error("ArgumentOutOfRangeException", "the rectangle lies outside of the page"):
            part(*area)

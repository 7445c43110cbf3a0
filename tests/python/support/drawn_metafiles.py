"""Metafiles as pixels, without smoothing of their edges."""

from __future__ import annotations

import io
from typing import Any

from PIL import Image as Pillow
from zelmor.imaging import Color, Image, SmoothingMode, TextRenderingHint
from zelmor.imaging.imageoptions import EmfRasterizationOptions, PngOptions

from support.metafiles import SIDE

WHITE, BLACK, RED, GREEN, BLUE = 0xFFFFFF, 0, 0xFF0000, 0x00FF00, 0x0000FF


def drawn(file: bytes, layout: Any = None, **options: Any) -> Pillow.Image:
    png, layout = PngOptions(), layout or EmfRasterizationOptions()
    layout.page_width, layout.page_height = float(SIDE), float(SIDE)
    layout.background_color = Color.white
    layout.smoothing_mode = SmoothingMode.NONE
    layout.text_rendering_hint = TextRenderingHint.ANTI_ALIAS
    for name, value in options.items():
        setattr(layout, name, value)
    png.vector_rasterization_options = layout
    target = io.BytesIO()
    with Image.load(io.BytesIO(file)) as image:
        image.save(target, png)
    return Pillow.open(io.BytesIO(target.getvalue())).convert("RGB")


def color_at(picture: Pillow.Image, place: tuple[int, int]) -> int:
    red, green, blue = picture.getpixel(place)
    return red << 16 | green << 8 | blue


def dark(picture: Pillow.Image) -> tuple[int, int, int, int]:
    """The box around everything that is dark: there has to be something."""
    box = picture.convert("L").point(lambda value: 255 if value < 128 else 0).getbbox()
    assert box is not None, "nothing is drawn"
    return box

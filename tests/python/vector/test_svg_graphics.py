"""SvgGraphics2D: what is drawn with it, as an SVG document and as pixels."""

from __future__ import annotations

import io
import re
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import (Color, Figure, Font, FontStyle, GraphicsPath, Image, Pen, Point, PointF, RasterImage,
                            Rectangle, RectangleF, RotateFlipType, Size)
from zelmor.imaging.brushes import LinearGradientBrush, SolidBrush, TextureBrush
from zelmor.imaging.fileformats.svg import SvgImage
from zelmor.imaging.fileformats.svg.graphics import SvgGraphics2D
from zelmor.imaging.imageoptions import PngOptions, SvgOptions
from zelmor.imaging.shapes import EllipseShape

from support.drawn_documents import CONTENTS, HEIGHT, WIDTH, difference, document, drawn, rgba
from support.image_oracles import managed_error, noise


def text_of(image: Any) -> str:
    file = io.BytesIO()
    image.save(file, SvgOptions())
    return file.getvalue().decode()


def shown(graphics: SvgGraphics2D) -> Any:
    """The pixels of the recording, which rsvg-convert and the image itself agree about."""
    image = graphics.end_recording()
    pixels = drawn(text_of(image).encode())
    file = io.BytesIO()
    image.save(file, PngOptions())
    assert difference(pixels, rgba(file.getvalue())) < 0.2
    return pixels


def by_hand(content: str) -> Any:
    return drawn(document(content))


def picture(pixels: Any) -> Any:
    file = io.BytesIO()
    Pillow.fromarray(pixels).save(file, "PNG")
    return RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value


def recording() -> SvgGraphics2D:
    return SvgGraphics2D(WIDTH, HEIGHT, 96)


PEN = 'fill="none" stroke="#ff0000" stroke-width="3" stroke-miterlimit="10"'


def path() -> GraphicsPath:
    figure = Figure()
    figure.add_shape(EllipseShape(RectangleF(20.0, 10.0, 60.0, 40.0)))
    result = GraphicsPath()
    result.add_figure(figure)
    return result


DRAWINGS: dict[str, tuple[Any, str]] = {
    "draw_line": (lambda g, pen, brush: g.draw_line(pen, 5, 6, 100, 70), f'<path d="M5 6L100 70" {PEN}/>'),
    "draw_rectangle": (lambda g, pen, brush: g.draw_rectangle(pen, 5, 6, 100, 70),
                       f'<rect x="5" y="6" width="100" height="70" {PEN}/>'),
    "fill_rectangle": (lambda g, pen, brush: g.fill_rectangle(pen, brush, 5, 6, 100, 70),
                       f'<rect x="5" y="6" width="100" height="70" fill="#0000ff"/>'
                       f'<rect x="5" y="6" width="100" height="70" {PEN}/>'),
    "draw_arc": (lambda g, pen, brush: g.draw_arc(pen, Rectangle(10, 10, 80, 60), 0.0, 90.0),
                 f'<path d="M90 40A40 30 0 0 1 50 70" {PEN}/>'),
    "fill_arc": (lambda g, pen, brush: g.fill_arc(pen, brush, Rectangle(10, 10, 80, 60), 0.0, 90.0),
                 f'<path d="M50 40L90 40A40 30 0 0 1 50 70Z" {PEN.replace("none", "#0000ff")}/>'),
    "draw_cubic_bezier": (lambda g, pen, brush: g.draw_cubic_bezier(pen, PointF(5, 5), PointF(40, 90), PointF(80, -20),
                                                                    PointF(110, 80)),
                          f'<path d="M5 5C40 90 80 -20 110 80" {PEN}/>'),
    "draw_path": (lambda g, pen, brush: g.draw_path(pen, path()), f'<ellipse cx="50" cy="30" rx="30" ry="20" {PEN}/>'),
    "fill_path": (lambda g, pen, brush: g.fill_path(pen, brush, path()),
                  f'<ellipse cx="50" cy="30" rx="30" ry="20" {PEN.replace("none", "#0000ff")}/>'),
}


@pytest.mark.parametrize("name", DRAWINGS)
def test_shapes(name: str) -> None:
    draw, content = DRAWINGS[name]
    graphics = recording()
    draw(graphics, Pen(Color.red, 3.0), SolidBrush(Color.blue))
    assert difference(shown(graphics), by_hand(content)) < 0.2


@pytest.mark.parametrize("name", [name for name in DRAWINGS if name.startswith("fill")])
def test_areas_without_a_pen(name: str) -> None:
    draw, content = DRAWINGS[name]
    graphics = recording()
    draw(graphics, None, SolidBrush(Color.blue))
    content = re.sub(r"<rect[^>]*none[^>]*>", "", re.sub(' stroke="#ff0000"', "", content))
    assert difference(shown(graphics), by_hand(content)) < 0.2


@pytest.mark.parametrize("name", DRAWINGS)
def test_missing_pens_and_brushes(name: str) -> None:
    draw, _ = DRAWINGS[name]
    fills = name.startswith("fill")
    with managed_error("ArgumentNullException", "brush" if fills else "pen"):
        draw(recording(), Pen(Color.red) if fills else None, None if fills else SolidBrush(Color.blue))


def test_brushes() -> None:
    graphics = recording()
    graphics.fill_rectangle(None, LinearGradientBrush(PointF(0, 0), PointF(60, 0), Color.red, Color.blue), 0, 0, 60, 90)
    graphics.fill_rectangle(None, TextureBrush(picture(noise(width=10, height=10))), 60, 0, 60, 90)
    pixels = shown(graphics)
    assert pixels[40, 3, 0] > 230 and pixels[40, 56, 2] > 230
    tile = noise(width=10, height=10)
    assert difference(pixels[20:30, 70:80, :3], tile.astype(float)) < 3


def test_text() -> None:
    graphics = SvgGraphics2D(WIDTH, HEIGHT, 144)
    graphics.draw_string(Font("DejaVu Sans", 12.0), "Text <&\u00e9>", Point(10, 20), Color.from_argb(128, 0, 0, 255))
    image = graphics.end_recording()
    text = text_of(image)
    assert "Text &lt;&amp;\u00e9&gt;" in text and 'font-family="DejaVu Sans"' in text
    # Twelve points are 24 pixels, of which 144 make an inch.
    assert 'font-size="24"' in text
    pixels = drawn(text.encode())
    wanted = by_hand('<text x="10" y="42.3" font-family="DejaVu Sans" font-size="24" fill="blue" fill-opacity="0.502">'
                     'Text &lt;&amp;&#xE9;&gt;</text>')
    assert difference(pixels, wanted) < 2
    with managed_error("ArgumentNullException", "font"):
        recording().draw_string(None, "a", Point(0, 0), Color.red)


@pytest.mark.parametrize(("style", "expected"), [
    (FontStyle.REGULAR, {}),
    (FontStyle.BOLD, {"font-weight": "bold"}),
    (FontStyle.ITALIC, {"font-style": "italic"}),
    (FontStyle.UNDERLINE, {"text-decoration": "underline"}),
    (FontStyle.STRIKEOUT, {"text-decoration": "line-through"}),
    (FontStyle.BOLD | FontStyle.ITALIC | FontStyle.UNDERLINE | FontStyle.STRIKEOUT,
     {"font-weight": "bold", "font-style": "italic", "text-decoration": "underline line-through"}),
])
def test_styles_of_texts(style: FontStyle, expected: dict[str, str]) -> None:
    graphics = recording()
    graphics.draw_string(Font("DejaVu Sans", 12.0, style), "ab", Point(10, 20), Color.red)
    found = re.search("<text[^>]*>", text_of(graphics.end_recording()))
    assert found is not None
    styles = re.findall('(font-weight|font-style|text-decoration)="([^"]*)"', found[0])
    assert dict(styles) == expected and len(styles) == len(expected)


def test_pictures() -> None:
    pixels = noise(4, width=20, height=10)
    image = picture(pixels)
    graphics = recording()
    graphics.draw_image(image, Point(5, 6))
    graphics.draw_image(image, Point(30, 6), Size(40, 20))
    graphics.draw_image(Rectangle(10, 0, 10, 10), Rectangle(5, 40, 10, 10), image)
    graphics.draw_image_point_size(image, Point(80, 6), Size(20, 10))
    graphics.draw_image_src_dst_rects(Rectangle(0, 5, 5, 5), Rectangle(30, 40, 5, 5), image)
    found = shown(graphics)
    wanted = pixels.astype(float)
    wanted[..., :3] *= wanted[..., 3:] / 255
    for part, place in ((wanted, found[6:16, 5:25]), (wanted[:, 10:], found[40:50, 5:15]),
                        (wanted, found[6:16, 80:100]), (wanted[5:, :5], found[40:45, 30:35])):
        assert difference(part, place) < 0.6
    assert abs(found[6:26, 30:70].mean() - wanted.mean()) < 4
    with managed_error("ArgumentOutOfRangeException", "src_rect", "not a part of the image of 20 by 10 pixels"):
        recording().draw_image(Rectangle(15, 0, 10, 10), Rectangle(0, 0, 10, 10), image)
    with image:
        pass
    with managed_error("ObjectDisposedException"):
        recording().draw_image(image, Point(5, 6))


@pytest.mark.parametrize("turned", [False, True])
def test_on_an_image(turned: bool) -> None:
    data = document(CONTENTS["gradients"] + CONTENTS["clips"] + '<g id="r-c1"/>')
    image = SvgImage(io.BytesIO(data))
    below = drawn(data)
    if turned:
        image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
        below = np.rot90(below, -1)
    graphics = SvgGraphics2D(image)
    graphics.fill_rectangle(None, SolidBrush(Color.lime), 20, 30, 25, 15)
    graphics.fill_rectangle(None, LinearGradientBrush(PointF(0, 0), PointF(0, 9), Color.red, Color.red), 0, 0, 9, 9)
    with image:
        pass  # the recording has what it needs
    pixels = shown(graphics)
    wanted = below.copy()
    wanted[30:45, 20:45] = (0, 255, 0, 255)
    wanted[0:9, 0:9] = (255, 0, 0, 255)
    assert difference(pixels, wanted) < 1.5


def test_on_an_empty_image() -> None:
    graphics = SvgGraphics2D(SvgImage(30, 20))
    graphics.fill_rectangle(None, SolidBrush(Color.lime), 0, 0, 30, 20)
    assert np.all(shown(graphics) == (0, 255, 0, 255))


def test_the_end_of_a_recording() -> None:
    graphics = recording()
    image = graphics.end_recording()
    assert image.size == Size(WIDTH, HEIGHT)
    with managed_error("InvalidOperationException", "The recording has ended."):
        graphics.end_recording()
    with managed_error("InvalidOperationException", "The recording has ended."):
        graphics.draw_line(Pen(Color.red), 0, 0, 1, 1)


@pytest.mark.parametrize("numbers", [(0, 5, 96), (5, -1, 96), (5, 5, 0)])
def test_sizes_out_of_range(numbers: tuple[int, int, int]) -> None:
    with managed_error("ArgumentOutOfRangeException", "is not positive"):
        SvgGraphics2D(*numbers)
    with managed_error("ArgumentNullException", "image"):
        SvgGraphics2D(None)


def test_texts_without_letters() -> None:
    for text in ("", None):
        graphics = recording()
        graphics.draw_string(Font("DejaVu Sans", 20.0), text, Point(5, 5), Color.red)
        assert "<text" not in text_of(graphics.end_recording())
    with managed_error("ArgumentNullException", "font"):
        recording().draw_string(None, "", Point(5, 5), Color.red)


@pytest.mark.parametrize("width, height", [(10000001, 5), (5, 20000000)])
def test_recordings_that_are_too_large(width: int, height: int) -> None:
    with managed_error(r"\w+", f"the SVG document is too large: {width} by {height} pixels"):
        SvgGraphics2D(width, height, 96).end_recording()
    assert SvgGraphics2D(min(width, 10000000), min(height, 10000000), 96).end_recording().size == Size(
        min(width, 10000000), min(height, 10000000))

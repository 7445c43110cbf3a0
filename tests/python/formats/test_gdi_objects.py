"""Conversions to the drawing module: objects of its classes, values of this library, and bitmaps."""

from __future__ import annotations

import io
from collections.abc import Callable
from typing import Any

import pytest
import zelmor.pydrawing
from zelmor.imaging import (
    Color, ColorBlend, ColorMap, ColorMatrix, Figure, Font, GraphicsPath, GraphicsUnit, Image, ImageAttributes, Matrix,
    Pen, PointF, RasterImage, Rectangle, RectangleF, Region, StringFormat)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.extensions import (
    BrushExtensions, ColorBlendExtensions, ColorExtensions, ColorMapExtensions, ColorMatrixExtensions, FontExtensions,
    GraphicsPathExtensions, ImageAttributesExtensions, ImageExtensions, MatrixExtensions, PenExtensions,
    PointExtensions, RectangleExtensions, RegionExtensions, StringFormatExtensions)
from zelmor.imaging.fileformats.bmp import BmpImage
from zelmor.imaging.fileformats.emf import EmfImage
from zelmor.imaging.shapes import RectangleShape

from support.pictures import png_bytes


def picture() -> Any:
    return Image.load(io.BytesIO(png_bytes(2, 1, [(1, 2, 3), (4, 5, 6)])))


def graphics_path() -> Any:
    path, figure = GraphicsPath(), Figure()
    figure.add_shape(RectangleShape(RectangleF(1, 2, 3, 4)))
    path.add_figure(figure)
    return path


def font_in_pixels(font: Any) -> Any:
    return FontExtensions.to_gdi_font(font, GraphicsUnit.PIXEL)


def test_single_values_are_those_of_this_library() -> None:
    assert PointExtensions.to_gdi_point(PointF(1.5, 2)) == PointF(1.5, 2)
    assert ColorExtensions.to_gdi_color(Color.red) == Color.red
    assert RectangleExtensions.to_gdi_rectangle(Rectangle(1, 2, 3, 4)) == Rectangle(1, 2, 3, 4)
    assert RectangleExtensions.to_gdi_rectangle_f(RectangleF(1.5, 2, 3, 4)) == RectangleF(1.5, 2, 3, 4)
    assert RectangleExtensions.to_gdi_rectangle(RectangleF(1.5, 2.5, 3.4, -4.6)) == Rectangle(2, 2, 3, -5)
    with pytest.raises(RuntimeError, match="OverflowException"):
        RectangleExtensions.to_gdi_rectangle(RectangleF(3e9, 0, 1, 1))


#: What makes an object of the drawing module, an argument for it, the class of that object, and the parameter.
OBJECTS: list[tuple[Callable[[Any], Any], Callable[[], Any], Any, str]] = [
    (BrushExtensions.to_gdi_brush, lambda: SolidBrush(Color.red), zelmor.pydrawing.Brush, "brush"),
    (ColorBlendExtensions.to_gdi_color_blend, ColorBlend, zelmor.pydrawing.drawing2d.ColorBlend, "color_blend"),
    (ColorMapExtensions.to_gdi_color_map, ColorMap, zelmor.pydrawing.imaging.ColorMap, "color_map"),
    (ColorMatrixExtensions.to_gdi_color_matrix, ColorMatrix, zelmor.pydrawing.imaging.ColorMatrix, "color_matrix"),
    (FontExtensions.to_gdi_font, lambda: Font("DejaVu Sans", 12.0), zelmor.pydrawing.Font, "font"),
    (font_in_pixels, lambda: Font("DejaVu Sans", 12.0), zelmor.pydrawing.Font, "font"),
    (GraphicsPathExtensions.to_gdi_graphics_path, graphics_path, zelmor.pydrawing.drawing2d.GraphicsPath,
     "graphics_path"),
    (ImageAttributesExtensions.to_gdi_image_attributes, ImageAttributes, zelmor.pydrawing.imaging.ImageAttributes,
     "image_attributes"),
    (MatrixExtensions.to_gdi_matrix, lambda: Matrix(1, 2, 3, 4, 5, 6), zelmor.pydrawing.drawing2d.Matrix, "matrix"),
    (PenExtensions.to_gdi_pen, lambda: Pen(Color.red, 2.0), zelmor.pydrawing.Pen, "pen"),
    (RegionExtensions.to_gdi_region, lambda: Region(RectangleF(1, 2, 3, 4)), zelmor.pydrawing.Region, "region"),
    (StringFormatExtensions.to_gdi_string_format, StringFormat, zelmor.pydrawing.StringFormat, "string_format"),
    (ImageExtensions.to_gdi_image, picture, zelmor.pydrawing.Bitmap, "image"),
]


@pytest.mark.parametrize("convert, make, kind, parameter", OBJECTS)
def test_objects_are_of_the_class_of_the_drawing_module(convert: Callable[[Any], Any], make: Callable[[], Any],
                                                        kind: Any, parameter: str) -> None:
    found = convert(make())
    assert type(found) is kind and str(found).endswith("." + kind.__name__)
    with pytest.raises(RuntimeError, match=f"ArgumentNullException.*{parameter}"):
        convert(None)


def test_a_converted_object_outlives_what_it_was_made_of() -> None:
    with StringFormat() as text_format:
        found = StringFormatExtensions.to_gdi_string_format(text_format)
    assert type(found) is zelmor.pydrawing.StringFormat
    with pytest.raises(RuntimeError, match="ObjectDisposedException"):
        StringFormatExtensions.to_gdi_string_format(text_format)


def test_arrays_of_color_maps() -> None:
    found = ColorMapExtensions.to_gdi_color_maps([ColorMap(), ColorMap()])
    assert [type(each) for each in found] == [zelmor.pydrawing.imaging.ColorMap] * 2
    with pytest.raises(RuntimeError, match="ArgumentNullException"):
        ColorMapExtensions.to_gdi_color_maps([None])


def test_bitmaps_are_of_images_with_pixels_and_of_drawings() -> None:
    assert type(RasterImage._cast_to(picture()).value.to_bitmap()) is zelmor.pydrawing.Bitmap
    assert type(BmpImage(4, 3).to_bitmap()) is zelmor.pydrawing.Bitmap
    assert type(ImageExtensions.to_gdi_image(EmfImage(10, 10))) is zelmor.pydrawing.Bitmap
    with picture() as image:
        pass
    with pytest.raises(RuntimeError, match="ObjectDisposedException"):
        ImageExtensions.to_gdi_image(image)

"""Text: any font of the system, as letters or as outlines to fill."""

from zelmor.imaging import (
    Color, Figure, Font, FontStyle, Graphics, GraphicsPath, Pen, PointF, RectangleF, SmoothingMode, StringFormat)
from zelmor.imaging.brushes import LinearGradientBrush, SolidBrush
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.shapes import TextShape

with PngImage(480, 200) as image:
    graphics = Graphics(image)
    graphics.smoothing_mode = SmoothingMode.ANTI_ALIAS
    graphics.clear(Color.ivory)
    letters, figure = Font("DejaVu Sans", 72.0, FontStyle.BOLD), Figure()
    figure.add_shape(TextShape("Letters", RectangleF(30.0, 20.0, 440.0, 110.0), letters, StringFormat()))
    path = GraphicsPath([figure])
    graphics.fill_path(LinearGradientBrush(image.bounds, Color.orange, Color.crimson, 0.0), path)
    graphics.draw_path(Pen(Color.maroon, 2.0), path)
    graphics.draw_string("filled with a gradient", Font("DejaVu Serif", 16.0), SolidBrush(Color.maroon),
                         PointF(130.0, 145.0))
    image.save("text.png")

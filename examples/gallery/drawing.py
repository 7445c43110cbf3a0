"""Shapes: gradients, transparency and smooth edges."""

from zelmor.imaging import Color, Graphics, Pen, Rectangle, SmoothingMode
from zelmor.imaging.brushes import LinearGradientBrush, SolidBrush
from zelmor.imaging.fileformats.png import PngImage

with PngImage(480, 300) as image:
    graphics = Graphics(image)
    graphics.smoothing_mode = SmoothingMode.ANTI_ALIAS
    graphics.fill_rectangle(LinearGradientBrush(image.bounds, Color.midnight_blue, Color.plum, 90.0), image.bounds)
    for step in range(12):
        circle = Rectangle(30 + 30 * step, 150 - 9 * step, 40 + 8 * step, 40 + 8 * step)
        graphics.fill_ellipse(SolidBrush(Color.from_argb(70, 255, 255 - 15 * step, 20 * step)), circle)
        graphics.draw_ellipse(Pen(Color.from_argb(180, 255, 255, 255), 1.5), circle)
    image.save("drawing.png")

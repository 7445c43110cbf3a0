"""Curves: one path, turned again and again."""

import math

from zelmor.imaging import Color, Graphics, Pen, PointF, SmoothingMode
from zelmor.imaging.fileformats.png import PngImage

with PngImage(300, 300) as image:
    graphics = Graphics(image)
    graphics.smoothing_mode = SmoothingMode.ANTI_ALIAS
    graphics.clear(Color.white)
    for step in range(36):
        turn = math.radians(10 * step)
        ends = [PointF(150 + 130 * math.cos(turn + a), 150 + 130 * math.sin(turn + a)) for a in (0.0, 0.9, 2.2, 3.1)]
        graphics.draw_bezier(Pen(Color.from_argb(160, 7 * step, 60, 255 - 7 * step), 1.2), *ends)
    image.save("curves.png")

"""Draw an SVG

What is drawn stays shapes and text.
"""

from zelmor.imaging import Color, Font, Pen, Point
from zelmor.imaging.fileformats.svg.graphics import SvgGraphics2D

graphics = SvgGraphics2D(300, 200, 96)
for step in range(10):
    graphics.draw_line(Pen(Color.teal, 2.0), 20 + 26 * step, 20, 280 - 26 * step, 150)
graphics.draw_string(Font("DejaVu Sans", 14.0), "lines", Point(130, 170), Color.black)
with graphics.end_recording() as drawing:
    drawing.save("lines.svg")

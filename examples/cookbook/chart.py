"""A chart

Bars, a grid and labels in a new picture. Between `begin_update` and `end_update` drawing is fast.
"""

from zelmor.imaging import (Color, Font, FontStyle, Graphics, Image, Pen, Rectangle, RectangleF, SmoothingMode,
                            StringAlignment, StringFormat)
from zelmor.imaging.brushes import LinearGradientBrush, SolidBrush
from zelmor.imaging.imageoptions import PngOptions

WIDTH, HEIGHT, BASE = 420, 260, 220
values = {"Mon": 42, "Tue": 65, "Wed": 58, "Thu": 81, "Fri": 97}

with Image.create(PngOptions(), WIDTH, HEIGHT) as picture:
    graphics = Graphics(picture)
    graphics.smoothing_mode = SmoothingMode.ANTI_ALIAS
    graphics.begin_update()
    graphics.clear(Color.white)
    title, label = Font("DejaVu Sans", 16.0, FontStyle.BOLD), Font("DejaVu Sans", 10.0)
    graphics.draw_string("Visitors", title, SolidBrush(Color.black), 16.0, 8.0)
    for level in range(0, 101, 25):
        y = BASE - level * 1.7
        graphics.draw_line(Pen(Color.light_gray, 1.0), 50.0, y, WIDTH - 20.0, y)
        graphics.draw_string(str(level), label, SolidBrush(Color.gray), 16.0, y - 8.0)
    middle = StringFormat()
    middle.alignment = StringAlignment.CENTER
    for index, (day, value) in enumerate(values.items()):
        left, height = 60 + index * 70, round(value * 1.7)
        bar = Rectangle(left, BASE - height, 48, height)
        graphics.fill_rectangle(LinearGradientBrush(bar, Color.cornflower_blue, Color.royal_blue, 90.0), bar)
        graphics.draw_string(day, label, SolidBrush(Color.black), RectangleF(left, BASE + 4.0, 48.0, 20.0), middle)
    graphics.end_update()
    picture.save("chart.png")

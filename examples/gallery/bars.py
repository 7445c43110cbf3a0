"""A chart: bars, a grid and labels."""

from zelmor.imaging import Color, Font, Graphics, Pen, Point, PointF, Rectangle
from zelmor.imaging.brushes import LinearGradientBrush, SolidBrush
from zelmor.imaging.fileformats.png import PngImage

months, rain = ["Jan", "Feb", "Mar", "Apr", "May", "Jun"], [61, 48, 55, 39, 70, 82]
with PngImage(480, 260) as image:
    graphics, font, ink = Graphics(image), Font("DejaVu Sans", 11.0), SolidBrush(Color.dim_gray)
    graphics.clear(Color.white)
    for line in range(0, 100, 20):
        graphics.draw_line(Pen(Color.light_gray), Point(40, 220 - 2 * line), Point(470, 220 - 2 * line))
        graphics.draw_string(str(line), font, ink, PointF(10.0, 212.0 - 2 * line))
    for number, (month, value) in enumerate(zip(months, rain)):
        bar = Rectangle(55 + 70 * number, 220 - 2 * value, 45, 2 * value)
        graphics.fill_rectangle(LinearGradientBrush(bar, Color.sky_blue, Color.steel_blue, 90.0), bar)
        graphics.draw_string(month, font, ink, PointF(63.0 + 70 * number, 230.0))
    image.save("bars.png")

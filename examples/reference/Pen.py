from zelmor.imaging import Color, DashStyle, Graphics, LineCap, Pen, Point
from zelmor.imaging.fileformats.png import PngImage

pen = Pen(Color.crimson, 6.0)
pen.dash_style = DashStyle.DASH_DOT
pen.end_cap = LineCap.ARROW_ANCHOR
with PngImage(200, 60) as image:
    Graphics(image).draw_line(pen, Point(10, 30), Point(180, 30))
    image.save("arrow.png")

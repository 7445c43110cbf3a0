"""A watermark: large, turned and faint."""

from zelmor.imaging import Color, Font, FontStyle, Graphics, Image, Matrix, PointF
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.imageoptions import PngOptions

with Image.load("photo.jpg") as image:
    graphics, turned = Graphics(image), Matrix()
    turned.translate(30.0, 190.0)
    turned.rotate(-30.0)
    graphics.transform = turned
    graphics.draw_string("PREVIEW", Font("DejaVu Sans", 40.0, FontStyle.BOLD),
                         SolidBrush(Color.from_argb(110, 255, 255, 255)), PointF(0.0, 0.0))
    image.save("preview.png", PngOptions())

from zelmor.imaging import Color, Font, FontStyle, Graphics, PointF
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngImage

with PngImage(300, 60) as image:
    font = Font("DejaVu Sans", 24.0, FontStyle.BOLD)
    Graphics(image).draw_string("Printed words", font, SolidBrush(Color.black), PointF(10.0, 10.0))
    image.save("words.png")

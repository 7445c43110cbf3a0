"""A watermark of text

The text is drawn half transparent in the lower right corner.
"""

import zelmor
from zelmor.imaging import Color, Font, FontStyle, Graphics, RasterImage, RectangleF, StringAlignment, StringFormat
from zelmor.imaging.brushes import SolidBrush

with zelmor.open("photo.jpg", RasterImage) as image:
    graphics = Graphics(image)
    place = StringFormat()
    place.alignment = StringAlignment.FAR
    place.line_alignment = StringAlignment.FAR
    font = Font("DejaVu Sans", 18.0, FontStyle.BOLD)
    graphics.draw_string("A. Photographer", font, SolidBrush(Color.from_argb(150, 255, 255, 255)),
                         RectangleF(0.0, 0.0, image.width - 8.0, image.height - 8.0), place)
    image.save("marked.jpg")

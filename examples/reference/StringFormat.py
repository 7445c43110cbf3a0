from zelmor.imaging import Color, Font, Graphics, RectangleF, StringAlignment, StringFormat
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngImage

layout = StringFormat()
layout.alignment = layout.line_alignment = StringAlignment.CENTER
with PngImage(200, 80) as image:
    Graphics(image).draw_string(
        "in the middle", Font("DejaVu Sans", 14.0), SolidBrush(Color.black), RectangleF(0.0, 0.0, 200.0, 80.0), layout)
    image.save("centered.png")

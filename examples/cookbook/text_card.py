"""Text with fonts

Fonts are those of the system, and those of folders that the program names. A long text is broken into lines in its
rectangle.
"""

from zelmor.imaging import (Color, Font, FontStyle, Graphics, Image, RectangleF, StringAlignment, StringFormat,
                            TextRenderingHint)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.imageoptions import PngOptions

QUOTE = "A picture is a rectangle of numbers, and looks best when nobody notices."

with Image.create(PngOptions(), 400, 200) as card:
    graphics = Graphics(card)
    graphics.text_rendering_hint = TextRenderingHint.ANTI_ALIAS
    graphics.clear(Color.from_argb(255, 28, 42, 68))
    middle = StringFormat()
    middle.alignment = StringAlignment.CENTER
    middle.line_alignment = StringAlignment.CENTER
    graphics.draw_string(QUOTE, Font("DejaVu Serif", 16.0, FontStyle.ITALIC), SolidBrush(Color.white),
                         RectangleF(20.0, 10.0, 360.0, 180.0), middle)
    card.save("card.png")

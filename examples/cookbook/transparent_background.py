"""A background becomes transparent

All pixels whose color is near to white become transparent. For photographs see docs/masking.md, which cuts out objects.
"""

import zelmor
from zelmor.imaging import Color, RasterImage

with zelmor.open("scan.png", RasterImage) as image:
    image.replace_color(Color.white, 40, Color.transparent)
    image.save("cut_out.png")

"""Dots per inch

The resolution says how large a picture is printed. The pixels stay as they are.
"""

import zelmor
from zelmor.imaging import RasterImage

with zelmor.open("logo.png", RasterImage) as image:
    image.set_resolution(300.0, 300.0)
    image.save("logo_300.png")

"""Brightness, contrast, gamma

Brightness is added, from -255 to 255. Contrast goes from -100 to 100. A gamma above 1 brightens the middle tones.
"""

import zelmor
from zelmor.imaging import RasterImage

with zelmor.open("photo.jpg", RasterImage) as image:
    image.adjust_brightness(10)
    image.adjust_contrast(20.0)
    image.adjust_gamma(1.2)
    image.save("toned.png")

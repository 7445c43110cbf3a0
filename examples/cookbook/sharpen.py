"""Sharpen and take out noise

A median takes out single wrong pixels and keeps edges. Sharpening comes last.
"""

import zelmor
from zelmor.imaging import RasterImage
from zelmor.imaging.imagefilters.filteroptions import MedianFilterOptions, SharpenFilterOptions

with zelmor.open("photo.jpg", RasterImage) as image:
    image.filter(image.bounds, MedianFilterOptions(3))
    image.filter(image.bounds, SharpenFilterOptions(5, 1.0))
    image.save("sharp.png")

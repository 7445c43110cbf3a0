"""Few colors

A PNG with a palette of 16 colors that suit the picture; the errors of the colors are spread over the neighbors.
"""

import zelmor
from zelmor.imaging import DitheringMethod, RasterImage
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.imageoptions import PngOptions

with zelmor.open("photo.jpg", RasterImage) as image:
    image.dither(DitheringMethod.FLOYD_STEINBERG_DITHERING, 4)
    options = PngOptions()
    options.color_type = PngColorType.INDEXED_COLOR
    options.palette = image.palette
    image.save("few_colors.png", options)

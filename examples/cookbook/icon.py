"""An icon of several sizes

An ICO file holds a picture in several sizes; a program takes the one that fits.
"""

import zelmor
from zelmor.imaging import RasterImage, ResizeType
from zelmor.imaging.fileformats.ico import IcoImage
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.imageoptions import IcoOptions

with zelmor.open("logo.png", RasterImage) as logo:
    sizes: list[RasterImage] = []
    for side in (16, 32, 48):
        small = PngImage(logo)
        small.resize(side, side, ResizeType.LANCZOS_RESAMPLE)
        sizes.append(small)
    icon = IcoImage(sizes[0], IcoOptions())
    for picture in sizes[1:]:
        icon.add_page(picture)
    icon.save("favicon.ico")

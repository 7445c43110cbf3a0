"""Make a part unrecognizable

A part of the picture is blurred, another one becomes large blocks.
"""

import zelmor
from zelmor import arrays
from zelmor.imaging import RasterImage, Rectangle
from zelmor.imaging.imagefilters.filteroptions import GaussianBlurFilterOptions

with zelmor.open("photo.jpg", RasterImage) as image:
    image.filter(Rectangle(20, 20, 60, 60), GaussianBlurFilterOptions(25, 12.0))

    part = arrays.to_numpy(image, area=(120, 20, 64, 64))
    blocks = part[::16, ::16].repeat(16, axis=0).repeat(16, axis=1)
    arrays.write_numpy(image, blocks, at=(120, 20))
    image.save("hidden.png")

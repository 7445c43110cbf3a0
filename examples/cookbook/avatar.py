"""A square cut from the middle

The largest square in the middle of a photograph becomes a picture of 128 by 128 pixels.
"""

import zelmor
from zelmor.imaging import RasterImage, Rectangle, ResizeType

with zelmor.open("photo.jpg", RasterImage) as image:
    side = min(image.width, image.height)
    image.crop(Rectangle((image.width - side) // 2, (image.height - side) // 2, side, side))
    image.resize(128, 128, ResizeType.LANCZOS_RESAMPLE)
    image.save("avatar.png")

"""Turn by quarters, by any angle, and mirror

Quarters and mirrors move pixels and lose nothing. Any other angle mixes them, and shows a background in the corners.
"""

import zelmor
from zelmor.imaging import Color, RasterImage, RotateFlipType

with zelmor.open("photo.jpg", RasterImage) as image:
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    image.save("quarter.png")
    image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X)
    image.save("mirrored.png")
    image.rotate(10.0, True, Color.white)  # clockwise; the picture grows, so that nothing is cut off
    image.save("tilted.png")

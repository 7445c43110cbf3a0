"""A picture in a frame of a given size

The picture is scaled to fit, and bars fill the rest of the frame. A `resize` with one of the types that place a picture
makes the canvas larger and leaves the pixels as they are.
"""

import zelmor
from zelmor.imaging import Color, RasterImage, ResizeType

WIDTH, HEIGHT = 320, 320

with zelmor.open("photo.jpg", RasterImage) as image:
    share = min(WIDTH / image.width, HEIGHT / image.height)
    image.resize(round(image.width * share), round(image.height * share), ResizeType.LANCZOS_RESAMPLE)
    image.background_color = Color.from_argb(255, 30, 30, 30)
    image.has_background_color = True
    image.resize(WIDTH, HEIGHT, ResizeType.CENTER_TO_CENTER)
    image.save("letterbox.png")

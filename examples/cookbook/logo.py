"""A logo over a picture

The transparency of the logo counts. `draw_image` with a rectangle scales it.
"""

import zelmor
from zelmor.imaging import Graphics, RasterImage, Rectangle

with zelmor.open("photo.jpg", RasterImage) as image, zelmor.open("logo.png", RasterImage) as logo:
    Graphics(image).draw_image(logo, Rectangle(image.width - 72, image.height - 72, 64, 64))
    image.save("branded.png")

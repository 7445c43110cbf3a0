"""Turn photographs upright

Cameras store pictures as the sensor sees them, with a note in the EXIF data how to turn them. `auto_rotate` turns the
pixels and resets the note, so that every program shows the picture the same way.
"""

import zelmor
from zelmor.imaging.fileformats.jpeg import JpegImage

with zelmor.open("sideways.jpg", JpegImage) as image:
    image.auto_rotate()
    image.save("upright.jpg")

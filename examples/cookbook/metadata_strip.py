"""Remove all metadata

What a property shows is removed from the file when it is set to None. The color profile stays, since it belongs to the
pixels. A JPEG is compressed again: give it the quality that you want.
"""

import zelmor

with zelmor.open("camera.jpg") as image:
    for name in ("exif_data", "xmp_data", "comment", "jfif"):
        if hasattr(image, name):
            setattr(image, name, None)
    image.save("anonymous.jpg")

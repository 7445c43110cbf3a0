"""The first steps: load a picture, work on its pixels, save it in another format."""

from zelmor.imaging import Image, RasterImage, ResizeType
from zelmor.imaging.imageoptions import WebPOptions

with Image.load("photo.jpg") as image:
    image.resize_width_proportionally(200, ResizeType.LANCZOS_RESAMPLE)
    # load() gives an Image, the base of all pictures; a RasterImage has pixels.
    made, picture = RasterImage._cast_to(image)
    picture.adjust_contrast(15.0)
    options = WebPOptions()
    options.quality = 80.0
    picture.save("photo.webp", options)

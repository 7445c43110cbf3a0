"""The first steps: load a picture, work on its pixels, save it in another format."""

from zelmor.imaging import Image, RasterImage, ResizeType
from zelmor.imaging.imageoptions import WebPOptions

with Image.load("photo.jpg") as image:
    image.resize_width_proportionally(200, ResizeType.LANCZOS_RESAMPLE)
    made, picture = RasterImage._cast_to(image)  # load() gives an Image; this gives access to pixels
    picture.adjust_contrast(15.0)
    options = WebPOptions()
    options.quality = 80.0
    picture.save("photo.webp", options)

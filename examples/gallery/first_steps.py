"""The first steps: load a picture, work on its pixels, save it in another format."""

import zelmor
from zelmor.imaging import RasterImage, ResizeType
from zelmor.imaging.imageoptions import WebPOptions

with zelmor.open("photo.jpg", RasterImage) as picture:  # pictures with pixels are RasterImages
    picture.resize_width_proportionally(200, ResizeType.LANCZOS_RESAMPLE)
    picture.adjust_contrast(15.0)
    options = WebPOptions()
    options.lossless = False
    options.quality = 80.0
    picture.save("photo.webp", options)

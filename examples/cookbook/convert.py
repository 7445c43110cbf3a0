"""Convert to other formats

The extension of the name decides on the format. Options say how the file is written.
"""

import zelmor
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import JpegOptions, PngOptions, TiffOptions, WebPOptions

with zelmor.open("photo.jpg") as image:
    image.save("photo.bmp")
    image.save("photo.gif")

    png = PngOptions()
    png.compression_level = 9
    png.progressive = True
    image.save("photo.png", png)

    webp = WebPOptions()
    webp.lossless = False
    webp.quality = 75.0
    image.save("photo.webp", webp)

    jpeg = JpegOptions()
    jpeg.quality = 70
    image.save("smaller.jpg", jpeg)

    image.save("photo.tif", TiffOptions(TiffExpectedFormat.TIFF_DEFLATE_RGB))

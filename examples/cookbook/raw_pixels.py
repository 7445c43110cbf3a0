"""Raw pixels as bytes

Bytes in a layout of one's choice, for a program that wants them so: here, in the order blue, green, red.
"""

import zelmor
from zelmor.imaging import Image, PixelDataFormat, RasterImage, RawDataSettings
from zelmor.imaging.imageoptions import BmpOptions

with zelmor.open("photo.jpg", RasterImage) as image:
    settings = RawDataSettings()
    settings.pixel_data_format = PixelDataFormat.get_bgr(8)
    data = image.get_default_raw_data(image.bounds, settings)
    first = tuple(data[:3])
    print("blue, green, red of the first pixel:", first)

    with Image.create(BmpOptions(), image.width, image.height) as made:
        raster = zelmor.specific(made)
        assert isinstance(raster, RasterImage)
        raster.save_raw_data(data, 0, raster.bounds, settings)
        raster.save("from_bytes.bmp")

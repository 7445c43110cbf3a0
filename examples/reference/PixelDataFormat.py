from zelmor.imaging import Image, PixelDataFormat, RasterImage

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    print(raster.raw_data_format.bits_per_pixel, PixelDataFormat.get_cmyk(8).channels_count)

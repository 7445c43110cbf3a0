from zelmor.imaging import DitheringMethod, Image, RasterImage
from zelmor.imaging.imageoptions import PngOptions

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    raster.dither(DitheringMethod.FLOYD_STEINBERG_DITHERING, 1)
    raster.save("black-and-white.png", PngOptions())

from zelmor.imaging import Image, RasterImage
from zelmor.imaging.imagefilters.filteroptions import SharpenFilterOptions

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    raster.filter(raster.bounds, SharpenFilterOptions(5, 2.0))
    raster.save("sharp.jpg")

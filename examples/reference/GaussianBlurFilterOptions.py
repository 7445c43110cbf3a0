from zelmor.imaging import Image, RasterImage
from zelmor.imaging.imagefilters.filteroptions import GaussianBlurFilterOptions

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    raster.filter(raster.bounds, GaussianBlurFilterOptions(7, 3.0))
    raster.save("soft.jpg")

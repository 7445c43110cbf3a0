from zelmor.imaging import Image, RasterImage
from zelmor.imaging.imagefilters.filteroptions import GaussWienerFilterOptions

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    raster.filter(raster.bounds, GaussWienerFilterOptions(5, 2.0))  # takes a blur away
    raster.save("in-focus.jpg")

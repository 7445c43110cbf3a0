from zelmor.imaging import Image, RasterImage
from zelmor.imaging.imagefilters.filteroptions import BilateralSmoothingFilterOptions

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    raster.filter(raster.bounds, BilateralSmoothingFilterOptions(5))  # keeps edges
    raster.save("smooth.jpg")

from zelmor.imaging import Image, RasterImage
from zelmor.imaging.imagefilters.filteroptions import MotionWienerFilterOptions

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    raster.filter(raster.bounds, MotionWienerFilterOptions(10, 1.0, 90.0))
    raster.save("steady.jpg")

from zelmor.imaging import Image, RasterImage
from zelmor.imaging.imagefilters.filteroptions import MedianFilterOptions

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    raster.filter(raster.bounds, MedianFilterOptions(5))  # removes single wrong pixels
    raster.save("clean.jpg")

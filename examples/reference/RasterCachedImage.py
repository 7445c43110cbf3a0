from zelmor.imaging import Image, RasterCachedImage

with Image.load("photo.jpg") as image:
    made, raster = RasterCachedImage._cast_to(image)
    raster.cache_data()
    raster.grayscale()
    raster.rotate(12.5)
    raster.save("turned.jpg")

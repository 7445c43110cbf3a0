from zelmor.imaging import Color, Image, RasterImage

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    raster.adjust_contrast(20.0)
    raster.set_pixel(0, 0, Color.red)
    print(raster.get_pixel(0, 0).r)
    raster.save("clearer.jpg")

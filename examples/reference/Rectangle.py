from zelmor.imaging import Image, RasterImage, Rectangle

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    middle = Rectangle(image.width // 4, image.height // 4, image.width // 2, image.height // 2)
    raster.crop(middle)
    raster.save("middle.jpg")

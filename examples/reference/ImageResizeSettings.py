from zelmor.imaging import Image, ImageResizeSettings, ResizeType

settings = ImageResizeSettings()
settings.mode = ResizeType.CATMULL_ROM
with Image.load("photo.jpg") as image:
    image.resize(160, 120, settings)
    image.save("small.jpg")

from zelmor.imaging import Image, ResizeType
from zelmor.imaging.imageoptions import PngOptions

with Image.load("photo.jpg") as image:
    print(image.width, image.height, image.file_format)
    image.resize(320, 200, ResizeType.LANCZOS_RESAMPLE)
    image.save("small.png", PngOptions())

from zelmor.imaging import Image
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.imageoptions import PngOptions

options = PngOptions()
options.color_type = PngColorType.GRAYSCALE
options.compression_level = 9
with Image.load("photo.jpg") as image:
    image.save("gray.png", options)

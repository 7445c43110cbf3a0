from zelmor.imaging import Image
from zelmor.imaging.imageoptions import BmpOptions

options = BmpOptions()
options.bits_per_pixel = 24
with Image.load("photo.jpg") as image:
    image.save("photo.bmp", options)

from zelmor.imaging import Image
from zelmor.imaging.imageoptions import WebPOptions

options = WebPOptions()
options.lossless = False
options.quality = 75.0
with Image.load("photo.jpg") as image:
    image.save("photo.webp", options)

from zelmor.imaging import Image
from zelmor.imaging.imageoptions import IcoOptions

with Image.load("picture.png") as image:
    image.resize(64, 64)
    image.save("picture.ico", IcoOptions())

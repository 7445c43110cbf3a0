from zelmor.imaging import Image
from zelmor.imaging.imageoptions import TgaOptions

with Image.load("picture.png") as image:
    image.save("picture.tga", TgaOptions())

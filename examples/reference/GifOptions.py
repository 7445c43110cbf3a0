from zelmor.imaging import Image
from zelmor.imaging.imageoptions import GifOptions

options = GifOptions()
options.interlaced = True
with Image.load("photo.jpg") as image:
    image.save("photo.gif", options)

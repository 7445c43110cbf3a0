from zelmor.imaging import Color, Image, LoadOptions
from zelmor.imaging.imageoptions import JpegOptions

options = LoadOptions()
options.data_background_color = Color.white
with Image.load("picture.png", options) as image:
    image.save("on-white.jpg", JpegOptions())

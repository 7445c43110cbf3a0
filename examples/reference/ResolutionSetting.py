from zelmor.imaging import Image, ResolutionSetting
from zelmor.imaging.imageoptions import PngOptions

options = PngOptions()
options.resolution_settings = ResolutionSetting(300.0, 300.0)
with Image.load("photo.jpg") as image:
    image.save("print.png", options)

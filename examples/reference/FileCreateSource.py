from zelmor.imaging import Color, Graphics, Image
from zelmor.imaging.imageoptions import PngOptions
from zelmor.imaging.sources import FileCreateSource

options = PngOptions()
options.source = FileCreateSource("blank.png", False)
with Image.create(options, 320, 200) as image:
    Graphics(image).clear(Color.light_blue)
    image.save()

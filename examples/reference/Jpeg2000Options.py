from zelmor.imaging import Image
from zelmor.imaging.fileformats.jpeg2000 import Jpeg2000Codec
from zelmor.imaging.imageoptions import Jpeg2000Options

options = Jpeg2000Options()
options.codec = Jpeg2000Codec.JP2
with Image.load("photo.jpg") as image:
    image.save("photo.jp2", options)

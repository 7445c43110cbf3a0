from zelmor.imaging import Image
from zelmor.imaging.fileformats.jpeg import JpegCompressionMode
from zelmor.imaging.imageoptions import JpegOptions

options = JpegOptions()
options.quality = 85
options.compression_type = JpegCompressionMode.PROGRESSIVE
with Image.load("picture.png") as image:
    image.save("picture.jpg", options)

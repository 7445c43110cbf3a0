from zelmor.imaging import Image
from zelmor.imaging.fileformats.psd import CompressionMethod
from zelmor.imaging.imageoptions import PsdOptions

options = PsdOptions()
options.compression_method = CompressionMethod.RLE
with Image.load("picture.png") as image:
    image.save("picture.psd", options)

from zelmor.imaging import Image
from zelmor.imaging.fileformats.tiff.enums import TiffCompressions, TiffExpectedFormat
from zelmor.imaging.imageoptions import TiffOptions

options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
options.compression = TiffCompressions.DEFLATE
with Image.load("photo.jpg") as image:
    image.save("photo.tif", options)

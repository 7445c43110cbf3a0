from zelmor.imaging import Image, IntRange
from zelmor.imaging.imageoptions import MultiPageOptions, TiffOptions
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat

options = TiffOptions(TiffExpectedFormat.TIFF_DEFLATE_RGB)
options.multi_page_options = MultiPageOptions(IntRange(0, 2))
with Image.load("pages.tif") as image:
    image.save("first-two.tif", options)

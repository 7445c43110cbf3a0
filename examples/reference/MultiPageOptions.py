from zelmor.imaging import Image
from zelmor.imaging.imageoptions import MultiPageOptions, PngOptions

options = PngOptions()
options.multi_page_options = MultiPageOptions(1)  # the second page
with Image.load("pages.tif") as image:
    image.save("second.png", options)

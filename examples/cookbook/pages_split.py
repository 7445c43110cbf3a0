"""The pages of a TIFF as files

A document of any length takes the memory of a page.
"""

import zelmor
from zelmor.imaging.fileformats.tiff import TiffImage
from zelmor.imaging.imageoptions import PngOptions

with zelmor.open("pages.tif", TiffImage) as document:
    for number, page in enumerate(document.frames, start=1):
        page.save(f"page_{number}.png", PngOptions())

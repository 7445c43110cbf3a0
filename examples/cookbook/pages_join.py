"""Several pictures as one TIFF

Pages are appended, one is moved to the front, and one is removed.
"""

from pathlib import Path

import zelmor
from zelmor.imaging import RasterImage
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import TiffOptions

frames = []
for path in sorted(Path("photos").glob("*.jpg")):
    with zelmor.open(path, RasterImage) as picture:
        frames.append(TiffFrame(picture))

with TiffImage(frames) as document:
    last = document.remove_frame(document.page_count - 1)
    document.insert_frame(0, last)
    document.remove_frame(1)
    document.save("document.tif", TiffOptions(TiffExpectedFormat.TIFF_DEFLATE_RGB))

"""Thumbnails of a folder

Each picture of a folder gets a small one beside it, at most 160 pixels to a side, with the same proportions. A JPEG is
decoded at a fraction of its size for this, which is much faster than decoding it as a whole.
"""

from pathlib import Path

import zelmor
from zelmor.imaging import RasterImage, ResizeType
from zelmor.imaging.imageoptions import JpegOptions

LARGEST = 160

target = Path("thumbnails")
target.mkdir(exist_ok=True)
for path in sorted(Path("photos").glob("*.jpg")):
    with zelmor.open(path, RasterImage) as image:
        share = min(1.0, LARGEST / max(image.width, image.height))
        width, height = round(image.width * share), round(image.height * share)
        image.resize(max(1, width), max(1, height), ResizeType.LANCZOS_RESAMPLE)
        options = JpegOptions()
        options.quality = 85
        image.save(str(target / path.name), options)
